local function make(n, seed)
  local rows = {}
  for i = 0, n - 1 do
    local row = {}
    for j = 0, n - 1 do row[j] = (i * seed + j * 3) % 17 end
    rows[i] = row
  end
  return rows
end
local function main()
  local N = 110 -- @N
  local a, b = make(N, 7), make(N, 5)
  local trace = 0
  for r = 0, 1 do
    local c = {}
    for i = 0, N - 1 do
      local row = {}
      local own = a[i]
      for j = 0, N - 1 do
        local sum = 0
        for k = 0, N - 1 do sum = sum + own[k] * b[k][j] end
        row[j] = sum
      end
      c[i] = row
    end
    for d = 0, N - 1 do trace = trace + c[d][d] end
  end
  return trace
end
print(string.format("%d", main()))
