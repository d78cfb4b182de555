-- What is passed by reference is a field of a table.
local function advance(at, step)
  for i = 1, 100 do
    at.v = at.v + step
    at.x = at.x + at.v * 0.5
    if at.x > 1000 then at.x = at.x - 1000 end
  end
end
local function main()
  local N = 10000 -- @N
  local at = {x = 0.0, v = 1}
  for n = 0, N - 1 do
    at.v = 1
    advance(at, n % 3)
  end
  return math.floor(at.x * 10)
end
print(string.format("%d", main()))
