local function main()
  local N = 1000000 -- @N
  local state, count, seed = "start", 0, 7
  for i = 0, N - 1 do
    seed = (seed * 1103 + 12345) % 65536
    if state == "start" then state = "open"
    elseif state == "open" then
      local k = seed % 3
      if k == 0 then state = "read"
      elseif k == 1 then state = "write"
      else state = "close" end
    elseif state == "read" then
      count = count + 1
      if seed % 5 == 0 then state = "close" end
    elseif state == "write" then count = count + 2; state = "open"
    elseif state == "close" then state = "start" end
  end
  return count
end
print(string.format("%d", main()))
