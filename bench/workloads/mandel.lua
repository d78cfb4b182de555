local function main()
  local N = 220 -- @N
  local inside = 0
  for py = 0, N - 1 do
    for px = 0, N - 1 do
      local cx, cy = px * 3.0 / N - 2, py * 2.0 / N - 1
      local x, y, n = 0.0, 0.0, 0
      while n < 100 and x * x + y * y < 4 do
        local t = x * x - y * y + cx
        y = 2 * x * y + cy
        x = t
        n = n + 1
      end
      if n == 100 then inside = inside + 1 end
    end
  end
  return inside
end
print(string.format("%d", main()))
