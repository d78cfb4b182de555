local function sum_of(t, value)
  local sum = 0
  for i = 1, #t do sum = sum + value(t[i]) end
  return sum
end
local function sum_where(t, holds, value)
  local sum = 0
  for i = 1, #t do
    if holds(t[i]) then sum = sum + value(t[i]) end
  end
  return sum
end
local function count_where(t, holds)
  local count = 0
  for i = 1, #t do
    if holds(t[i]) then count = count + 1 end
  end
  return count
end
local function first_where(t, holds)
  for i = 1, #t do
    if holds(t[i]) then return i - 1 end
  end
  return -1
end
local function filter(t, holds)
  local shown = {}
  for i = 1, #t do
    if holds(t[i]) then shown[#shown + 1] = t[i] end
  end
  return shown
end
local function main()
  local N = 50000 -- @N
  local t = {}
  for n = 0, N - 1 do
    t[#t + 1] = { item = "item" .. n % 100, qty = n % 17, price = n % 1000 / 4 }
  end
  local function price(r) return r.price end
  local sum = 0
  for round = 0, 19 do
    sum = sum + sum_of(t, function(r) return r.qty * r.price end)
    sum = sum + sum_where(t, function(r) return r.qty > 5 and r.price < 200 end, price)
    sum = sum + count_where(t, function(r) return r.item == "item7" or r.qty == round end)
    sum = sum + first_where(t, function(r) return r.qty * r.price > 3990 end)
  end
  local shown = filter(t, function(r) return r.qty > 3 end)
  return sum + #shown + sum_of(shown, price)
end
print(string.format("%d", main() // 1))
