calls = 0
local function clamp(x, low, high)
  if x < low then return low end
  if x > high then return high end
  return x
end
local function mix(a, b)
  calls = calls + 1
  return clamp((a * 7 + b) % 1001, 10, 900)
end
local function main()
  local N = 1500000 -- @N
  local v = 1
  for i = 0, N - 1 do v = mix(v, i) end
  return v + calls
end
print(string.format("%d", main()))
