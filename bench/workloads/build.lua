local function main()
  local N = 60000 -- @N
  local t = {}
  for i = 0, N - 1 do
    t[#t + 1] = string.char(97 + i % 26)
    if i % 10 == 9 then t[#t + 1] = "," .. i end
  end
  local s = table.concat(t)
  local vowels, sum = 0, 0
  for k = 1, #s do
    local c = string.sub(s, k, k)
    if c == "a" or c == "e" or c == "i" or c == "o" or c == "u" then vowels = vowels + 1 end
    sum = (sum * 31 + string.byte(c)) % 1000003
  end
  for part in string.gmatch(s, "[^,]+") do
    local at = string.find(part, "z", 1, true)
    sum = (sum + (at and at - 1 or -1)) % 1000003
  end
  return vowels * 1000 + sum % 1000
end
print(string.format("%d", main()))
