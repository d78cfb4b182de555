local function sort(list, low, high)
  while low < high do
    if high - low < 12 then
      for i = low + 1, high do
        local x, j = list[i], i - 1
        while j >= low and list[j] > x do list[j + 1] = list[j]; j = j - 1 end
        list[j + 1] = x
      end
      return
    end
    local pivot, a, b = list[(low + high) // 2], low, high
    while a <= b do
      while list[a] < pivot do a = a + 1 end
      while list[b] > pivot do b = b - 1 end
      if a <= b then
        list[a], list[b] = list[b], list[a]
        a = a + 1
        b = b - 1
      end
    end
    if b - low < high - a then sort(list, low, b); low = a
    else sort(list, a, high); high = b end
  end
end
local function main()
  local N = 200000 -- @N
  local list, seed = {}, 42
  for i = 0, N - 1 do seed = (seed * 1103 + 12345) % 1000003; list[i] = seed end
  sort(list, 0, N - 1)
  local sum = 0
  for k = 0, N - 1, 1000 do sum = (sum * 31 + list[k]) % 1000003 end
  return sum
end
print(string.format("%d", main()))
