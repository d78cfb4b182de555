local function main()
  local N = 300000 -- @N
  local line = "  key = some value ;"
  local total = 0
  local function trim(s) return s:match("^%s*(.-)%s*$") end
  for i = 1, N do
    local text = trim(line)
    local at = text:find("=", 1, true) - 1
    local name = trim(text:sub(1, at)):upper()
    total = total + #name + #text:sub(at + 2, at + 6) + #text
  end
  return total
end
print(string.format("%d", main()))
