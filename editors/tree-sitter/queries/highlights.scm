; Where several patterns fit, the last one counts. The lists of names are written by editors/names.mjs:
; as the documents have them and in small letters.

(comment) @comment
(string) @string
(include_path) @string
(number) @number
(constant) @constant.builtin
(identifier) @variable

["var" "function"] @keyword
["if" "else" "switch" "case" "default"] @keyword.conditional
["for" "while" "break" "continue"] @keyword.repeat
"return" @keyword.return
["#" "include"] @keyword.import
["and" "or"] @keyword.operator

["=" "+=" "-=" "*=" "/=" "%=" "||" "&&" "==" "<>" "!=" "<" "<=" ">" ">=" "+" "-" "*" "/" "%" "!" "++" "--"]
  @operator
["&" "|"] @operator
["(" ")" "[" "]" "{" "}"] @punctuation.bracket
["," ";" "." ":"] @punctuation.delimiter

(function_definition (identifier) @function)
(parameters (identifier) @variable.parameter)
(member (member_name) @variable.member)
(call . (identifier) @function.call)
(call . (member (member_name) @function.method.call))

(call . (identifier) @keyword.modifier
  (#any-of? @keyword.modifier "ref" "trace" "tracevar" "tracedata"))

(call . (identifier) @function.builtin
  (#any-of? @function.builtin
; names function
    "abs" "acos" "addDate" "adddate" "addMonth" "addmonth" "args" "array" "asc" "asin" "atan"
    "atan2" "binToText" "bintotext" "bound" "ceil" "charat" "chr" "cos" "currency" "dataset"
    "datetime" "decode" "dumpdatastatus" "eval" "exp" "ExponentFormat" "exponentformat" "floor"
    "full2half" "getDate" "getdate" "getDay" "getday" "greatest" "Half2Full" "half2full" "iif"
    "indexOf" "indexof" "isalnum" "isalpha" "isdigit" "isinf" "islower" "isspace" "isupper"
    "isValid" "isvalid" "isValidObject" "isvalidobject" "least" "left" "length" "lengthb" "loadData"
    "loaddata" "log" "lpad" "ltrim" "lunar2solar" "lunar2solarEx" "lunar2solarex" "mid" "midb"
    "NToken" "ntoken" "NumFormat" "numformat" "NumFormatLoc" "numformatloc" "object" "parseCurrency"
    "parsecurrency" "parseDateTime" "parsedatetime" "parseFloat" "parsefloat" "parseInt" "parseint"
    "pos" "pow" "print" "quote" "random" "readText" "readtext" "replace" "right" "round" "rpad"
    "rtrim" "saveData" "savedata" "sin" "solar2lunar" "solar2lunarEx" "solar2lunarex" "space"
    "split" "split2" "sqrt" "stripNum" "stripnum" "substr" "tan" "textToBin" "texttobin" "time"
    "timem" "today" "toFloat" "tofloat" "toInteger" "tointeger" "toLower" "tolower" "toLowerCase"
    "tolowercase" "toNumber" "tonumber" "toString" "tostring" "toUpper" "toupper" "toUpperCase"
    "touppercase" "trim" "truncate" "type" "unquote" "urlDecode" "urldecode" "urlEncode" "urlencode"
    "view" "WorkDate" "workdate" "writeText" "writetext"
; names end
))
(member (member_name) @function.builtin
  (#any-of? @function.builtin
; names function
    "abs" "acos" "addDate" "adddate" "addMonth" "addmonth" "args" "array" "asc" "asin" "atan"
    "atan2" "binToText" "bintotext" "bound" "ceil" "charat" "chr" "cos" "currency" "dataset"
    "datetime" "decode" "dumpdatastatus" "eval" "exp" "ExponentFormat" "exponentformat" "floor"
    "full2half" "getDate" "getdate" "getDay" "getday" "greatest" "Half2Full" "half2full" "iif"
    "indexOf" "indexof" "isalnum" "isalpha" "isdigit" "isinf" "islower" "isspace" "isupper"
    "isValid" "isvalid" "isValidObject" "isvalidobject" "least" "left" "length" "lengthb" "loadData"
    "loaddata" "log" "lpad" "ltrim" "lunar2solar" "lunar2solarEx" "lunar2solarex" "mid" "midb"
    "NToken" "ntoken" "NumFormat" "numformat" "NumFormatLoc" "numformatloc" "object" "parseCurrency"
    "parsecurrency" "parseDateTime" "parsedatetime" "parseFloat" "parsefloat" "parseInt" "parseint"
    "pos" "pow" "print" "quote" "random" "readText" "readtext" "replace" "right" "round" "rpad"
    "rtrim" "saveData" "savedata" "sin" "solar2lunar" "solar2lunarEx" "solar2lunarex" "space"
    "split" "split2" "sqrt" "stripNum" "stripnum" "substr" "tan" "textToBin" "texttobin" "time"
    "timem" "today" "toFloat" "tofloat" "toInteger" "tointeger" "toLower" "tolower" "toLowerCase"
    "tolowercase" "toNumber" "tonumber" "toString" "tostring" "toUpper" "toupper" "toUpperCase"
    "touppercase" "trim" "truncate" "type" "unquote" "urlDecode" "urldecode" "urlEncode" "urlencode"
    "view" "WorkDate" "workdate" "writeText" "writetext"
; names end
))
(member (member_name) @property
  (#any-of? @property
; names property
    "colcount" "constcount" "count" "currow" "firstrow" "id" "lastrow" "nextrow" "pivotindex"
    "pivotindexcount" "prevrow" "row" "rowcount" "rowlevel" "rowpos" "rowposition"
; names end
))
(call . (member (member_name) @function.method)
  (#any-of? @function.method
; names method
    "AddColumn" "addcolumn" "AddConstColumn" "addconstcolumn" "AddLogicalColumn" "addlogicalcolumn"
    "AddRow" "addrow" "AppendDataset" "appenddataset" "AppendRow" "appendrow" "ApplyChange"
    "applychange" "Assign" "assign" "Avg" "avg" "AvgNF" "avgnf" "CaseAvg" "caseavg" "CaseAvgNF"
    "caseavgnf" "CaseCount" "casecount" "CaseCountNF" "casecountnf" "CaseMax" "casemax" "CaseMaxNF"
    "casemaxnf" "CaseMin" "casemin" "CaseMinNF" "caseminnf" "CaseSum" "casesum" "CaseSumNF"
    "casesumnf" "Clear" "clear" "ClearData" "cleardata" "ClearSelect" "clearselect" "ColCount"
    "colcount" "ConstCount" "constcount" "Copy" "copy" "CopyColumn" "copycolumn" "CopyF" "copyf"
    "CopyRow" "copyrow" "CopytoColumn" "copytocolumn" "CopytoRow" "copytorow" "Count" "count"
    "CountNF" "countnf" "DeleteAll" "deleteall" "DeleteRow" "deleterow" "DeleteSelected"
    "deleteselected" "ExChangerow" "exchangerow" "Filter" "filter" "FindRow" "findrow" "FindRowAs"
    "findrowas" "FindRowNF" "findrownf" "FindRowNFAs" "findrownfas" "GetColCount" "getcolcount"
    "GetColID" "getcolid" "GetColIDxbyorder" "getcolidxbyorder" "GetColIndex" "getcolindex"
    "GetColMapValue" "getcolmapvalue" "GetColSize" "getcolsize" "GetColType" "getcoltype"
    "GetColumn" "getcolumn" "GetColumnNF" "getcolumnnf" "GetColumnSet" "getcolumnset"
    "GetConstColID" "getconstcolid" "GetConstColumn" "getconstcolumn" "GetConstCount"
    "getconstcount" "GetCount" "getcount" "GetCountNF" "getcountnf" "GetCurrow" "getcurrow"
    "GetDelColumn" "getdelcolumn" "GetDelRowCount" "getdelrowcount" "GetFirstrow" "getfirstrow"
    "GetID" "getid" "GetLastrow" "getlastrow" "GetNextrow" "getnextrow" "GetOrgBuffColumn"
    "getorgbuffcolumn" "GetOrgBuffCount" "getorgbuffcount" "GetOrgBuffType" "getorgbufftype"
    "GetOrgColumn" "getorgcolumn" "GetOrgColumnNF" "getorgcolumnnf" "GetPivotCount" "getpivotcount"
    "GetPivotIndex" "getpivotindex" "GetPrevrow" "getprevrow" "GetRangeCount" "getrangecount"
    "GetRangeStart" "getrangestart" "GetRowCount" "getrowcount" "GetRowCountNF" "getrowcountnf"
    "GetRowIndexNF" "getrowindexnf" "GetRowLevel" "getrowlevel" "GetRowPos" "getrowpos"
    "GetRowPosition" "getrowposition" "GetRowType" "getrowtype" "GetRowTypeNF" "getrowtypenf"
    "GetSelect" "getselect" "GetTotalRowCount" "gettotalrowcount" "GetTotalRowType"
    "gettotalrowtype" "GetUpdate" "getupdate" "ID" "id" "InsertRow" "insertrow" "LoadCSV" "loadcsv"
    "LoadXML" "loadxml" "Lookup" "lookup" "Max" "max" "MaxNF" "maxnf" "Merge" "merge" "Min" "min"
    "MinNF" "minnf" "ModifyKeyStat" "modifykeystat" "MoveRow" "moverow" "OrgBuffCount"
    "orgbuffcount" "PivotAvg" "pivotavg" "PivotCount" "pivotcount" "PivotMax" "pivotmax" "PivotMin"
    "pivotmin" "PivotSum" "pivotsum" "RecalcFilter" "recalcfilter" "RecalcGroup" "recalcgroup"
    "RecalcPivot" "recalcpivot" "Reset" "reset" "RowCount" "rowcount" "RowCountNF" "rowcountnf"
    "SaveBIN" "savebin" "SaveCSV" "savecsv" "SaveXML" "savexml" "SearchRow" "searchrow"
    "SearchRowNF" "searchrownf" "SelectRow" "selectrow" "SetColumn" "setcolumn" "SetColumnNF"
    "setcolumnnf" "SetConstColumn" "setconstcolumn" "SetRowType" "setrowtype" "SetTotalColumn"
    "settotalcolumn" "SetUpdate" "setupdate" "Sort" "sort" "Sum" "sum" "SumNF" "sumnf" "TotalAvg"
    "totalavg" "TotalCaseAvg" "totalcaseavg" "TotalCaseCount" "totalcasecount" "TotalCaseMax"
    "totalcasemax" "TotalCaseMin" "totalcasemin" "TotalCaseSum" "totalcasesum" "TotalCount"
    "totalcount" "TotalMax" "totalmax" "TotalMin" "totalmin" "TotalRowCount" "totalrowcount"
    "TotalSum" "totalsum" "UnFilter" "unfilter"
; names end
))
