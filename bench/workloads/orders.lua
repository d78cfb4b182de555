local function weight(order)
  local sum = 0
  local lines = order[3]
  for i = 1, #lines do sum = sum + lines[i][2] * lines[i][3] end
  return sum
end
local function make(id)
  local lines = {}
  for i = 0, id % 7 do lines[i + 1] = {"item" .. i, i + 1, id % 13 + 0.5} end
  return {"order" .. id, id % 5, lines}
end
local function main()
  local N = 40 -- @N
  local orders = {}
  for i = 0, 1999 do orders[i + 1] = make(i) end
  local total = 0
  for n = 0, N - 1 do
    for k = 1, #orders do
      local order = orders[k]
      if order[2] == n % 5 then total = total + weight(order) end
      if order[1] == "order77" then total = total + 1 end
    end
  end
  return math.floor(total)
end
print(string.format("%d", main()))
