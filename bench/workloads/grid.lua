local function main()
  local N = 100 -- @N
  local grid = {}
  for y = 0, 99 do
    local line = {}
    for x = 0, 99 do line[x + 1] = (x * 7 + y * 3) % 10 end
    grid[y + 1] = line
  end
  for n = 0, N - 1 do
    for y = 1, 99 do
      for x = 1, 99 do
        local row = grid[y + 1]
        row[x + 1] = (row[x] + grid[y][x + 1] + n) % 1000
        grid[y + 1] = row
      end
    end
  end
  local total = 0
  for y = 1, 100 do for x = 1, 100 do total = total + grid[y][x] end end
  return total
end
print(string.format("%d", main()))
