local function build(depth, n)
  if depth == 0 then return n end
  local left, right = build(depth - 1, n * 2), build(depth - 1, n * 2 + 1)
  return {left, "k", right}
end
local function total(node, depth)
  if depth == 0 then return node % 7 end
  return total(node[1], depth - 1) + total(node[3], depth - 1)
end
local function text(node, depth)
  if depth == 0 then return tostring(node) end
  return "{" .. text(node[1], depth - 1) .. ":" .. node[2] .. ":" .. text(node[3], depth - 1) .. "}"
end
local function main()
  local N = 14 -- @N
  local sum = 0
  for r = 0, 2 do
    local tree = build(N, 1)
    for k = 0, 3 do sum = sum + total(tree, N) end
    sum = sum + #text(tree, N) % 1000
  end
  return sum
end
print(string.format("%d", main()))
