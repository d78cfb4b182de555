#!/usr/bin/env bash
# bench/functions.sh: one call of each of the most used built-in functions in a loop, and what is
# done most to texts and lists, in kt and in Lua 5.4, and the ratio of the times (bench/compare.sh
# does the running).
#
# Each row: name | expression in KtScript | the same in Lua. In both, `i` is the round and `s` a text
# of 60 characters; the results are summed up by `+` or by length, so nothing can be left out, and
# compare.sh fails when the sums differ. Before the expression may stand a statement that runs first,
# ended by `;;`. It may use `list` and `out`, which are empty lists in the beginning, and `grid`, a
# list of 100 lists of two numbers.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

count=${COUNT:-300000}
text='The quick brown fox jumps over the lazy dog; 0123456789 abc'

while IFS='|' read -r name kts lua; do
  [ -n "$name" ] || continue
  kts_first='' lua_first=''
  [[ $kts != *';;'* ]] || { kts_first="${kts%%;;*};" kts=${kts#*;;}; }
  [[ $lua != *';;'* ]] || { lua_first="${lua%%;;*};" lua=${lua#*;;}; }
  cat > "$work/$name.kts" <<END
function main() {
  var s = "$text";
  var h = 0, list = [], out = [], text = "", grid = [];
  for (var k = 0; k < 100; k++) grid[k] = [k, 1];
  for (var i = 0; i < $count; i++) { $kts_first h = (h + $kts) % 1000003; }
  return floor(h * 16) % 1000003;
}
END
  cat > "$work/$name.lua" <<END
local function split(s, sep)
  local t, n, at = {}, 0, 1
  while true do
    local found = string.find(s, sep, at, true)
    n = n + 1
    if not found then t[n] = string.sub(s, at); return t end
    t[n] = string.sub(s, at, found - 1)
    at = found + #sep
  end
end
local function iif(c, a, b) if c then return a end return b end
local function round(x) return x >= 0 and math.floor(x + 0.5) or math.ceil(x - 0.5) end
local s = "$text"
local h, list, out, grid = 0, {}, {}, {}
for k = 0, 99 do grid[k + 1] = { k, 1 } end
local function array(n) local t = {} for k = 1, n do t[k] = 0 end return t end
for i = 0, $count - 1 do $lua_first h = (h + $lua) % 1000003 end
print(string.format("%d", (h * 16 // 1) % 1000003))
END
done <<'ROWS'
abs|abs(3 - i % 7)|math.abs(3 - i % 7)
append-list|list[length(list)] = i;;length(list)|list[#list + 1] = i;;#list
append-text|text += "ab";;length(text) % 7|out[#out + 1] = "ab";;#out * 2 % 7
array|list = array(20); list[i % 20] = i;;list[i % 20]|list = array(20) list[i % 20 + 1] = i;;list[i % 20 + 1]
asc|asc(mid(s, i % 50, 1))|string.byte(string.sub(s, i % 50 + 1, i % 50 + 1))
charat|length(charat(s, i % 60))|#string.sub(s, i % 60 + 1, i % 60 + 1)
chr|length(chr(65 + i % 26))|#string.char(65 + i % 26)
ceil|ceil(i / 8)|math.ceil(i / 8)
floor|floor(i / 8)|math.floor(i / 8)
grid|grid[i % 100] = [i, i + 1];;grid[i % 100][1] + grid[(i + 7) % 100][0]|grid[i % 100 + 1] = { i, i + 1 };;grid[i % 100 + 1][2] + grid[(i + 7) % 100 + 1][1]
iif|iif(i % 3 == 0, 1, 2)|iif(i % 3 == 0, 1, 2)
indexOf|indexOf(s, "0123")|string.find(s, "0123", 1, true) - 1
left|length(left(s, i % 50))|#string.sub(s, 1, (i % 50 == 0) and -1 or (i % 50))
length|length(s)|#s
lpad|length(lpad(toString(i % 1000), "0", 8))|#string.format("%08d", i % 1000)
mid|length(mid(s, i % 40, 10))|#string.sub(s, i % 40 + 1, i % 40 + 10)
pos|pos(s, "lazy")|string.find(s, "lazy", 1, true) - 1
replace|length(replace(s, "o", "00"))|#(string.gsub(s, "o", "00"))
right|length(right(s, i % 50))|((i % 50 == 0) and #s or #string.sub(s, -(i % 50)))
round|round(i / 8)|round(i / 8)
split|length(split(s, " "))|#split(s, " ")
sqrt|floor(sqrt(i))|math.floor(math.sqrt(i))
toInteger|toInteger("123") + i % 5|tonumber("123") + i % 5
toNumber|toNumber("12.5") + i % 5|tonumber("12.5") + i % 5
toString|length(toString(i))|#tostring(i)
toUpper|length(toUpper(s))|#string.upper(s)
trim|length(trim("  abc  "))|#string.match("  abc  ", "^%s*(.-)%s*$")
ROWS

ROUNDS=${ROUNDS:-3} bash "$root/bench/compare.sh" "$work"
