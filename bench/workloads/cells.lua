local function main()
  local N = 20000 -- @N
  local t = {}
  for n = 0, N - 1 do
    local row = {}
    t[#t + 1] = row
    row.item = "item" .. n % 100
    row.qty = n % 17
    row.price = n % 1000 / 4
  end
  for round = 0, 4 do
    for i = 1, N do
      t[i].total = t[i].qty * t[i].price + round
    end
  end
  local sum = 0
  for k = 1, N do
    if t[k].qty > 5 and t[k].item ~= "item7" then sum = sum + t[k].total end
  end
  return sum // 1
end
print(string.format("%d", main()))
