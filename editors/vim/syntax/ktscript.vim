" KtScript. The lists of names are written by editors/names.mjs.
if exists('b:current_syntax')
  finish
endif

syn case ignore
syn iskeyword @,48-57,_,128-255

syn match ktName /\<\K\k*\>/
syn match ktCall /\<\K\k*\ze\_s*(/ contains=ktFunction
syn match ktOperator /[-+*\/%=<>!]\|&&\|||/
syn match ktLoneOperator /&&\@!\|||\@!/
syn match ktBadCharacter /[?`@$~^\\]/
syn match ktPoint /\./ nextgroup=@ktMember skipwhite
syn cluster ktMember contains=ktMethod,ktRowMethod,ktAllRowMethod,ktProperty,ktMemberFunction
syn match ktNumber /\<\d\+\%(\.\d*\)\?\>\|\<\d\+\.\|\%(\k\|[])]\)\@1<!\.[0-8]\d*\>/
syn match ktBadNumber /\<\d\+\a\k*\|\.9\d*/

syn keyword ktConditional if else switch
syn keyword ktRepeat for while
syn keyword ktStatement break continue return
syn keyword ktDeclaration var
syn keyword ktWordOperator and or
syn keyword ktConstant true false null nil
syn match ktFunctionWord /\<function\>/ nextgroup=ktFunctionName skipwhite skipempty
syn match ktFunctionName /\h\w*/ contained nextgroup=ktArguments skipwhite skipempty
syn region ktArguments start=/(/ end=/)/ contained contains=ktArgument,ktComment
syn match ktArgument /\K\k*/ contained
syn match ktSpecialCall /\<\%(ref\|trace\|tracevar\|tracedata\)\ze\_s*(/
syn match ktInclude /#\s*include\>/ nextgroup=ktIncludeName skipwhite
syn match ktIncludeName /[^ \t].*$/ contained contains=ktComment

" names function: syn keyword ktFunction contained
syn keyword ktFunction contained abs acos addDate addMonth args array asc asin atan atan2 binToText
syn keyword ktFunction contained bound ceil charat chr cos currency dataset datetime decode
syn keyword ktFunction contained dumpdatastatus eval exp ExponentFormat floor full2half getDate
syn keyword ktFunction contained getDay greatest Half2Full iif indexOf isalnum isalpha isdigit isinf
syn keyword ktFunction contained islower isspace isupper isValid isValidObject least left length
syn keyword ktFunction contained lengthb loadData log lpad ltrim lunar2solar lunar2solarEx mid midb
syn keyword ktFunction contained NToken NumFormat NumFormatLoc object parseCurrency parseDateTime
syn keyword ktFunction contained parseFloat parseInt pos pow print quote random readText replace
syn keyword ktFunction contained right round rpad rtrim saveData sin solar2lunar solar2lunarEx space
syn keyword ktFunction contained split split2 sqrt stripNum substr tan textToBin time timem today
syn keyword ktFunction contained toFloat toInteger toLower toLowerCase toNumber toString toUpper
syn keyword ktFunction contained toUpperCase trim truncate type unquote urlDecode urlEncode view
syn keyword ktFunction contained WorkDate writeText
" names end
" names function: syn keyword ktMemberFunction contained
syn keyword ktMemberFunction contained abs acos addDate addMonth args array asc asin atan atan2
syn keyword ktMemberFunction contained binToText bound ceil charat chr cos currency dataset datetime
syn keyword ktMemberFunction contained decode dumpdatastatus eval exp ExponentFormat floor full2half
syn keyword ktMemberFunction contained getDate getDay greatest Half2Full iif indexOf isalnum isalpha
syn keyword ktMemberFunction contained isdigit isinf islower isspace isupper isValid isValidObject
syn keyword ktMemberFunction contained least left length lengthb loadData log lpad ltrim lunar2solar
syn keyword ktMemberFunction contained lunar2solarEx mid midb NToken NumFormat NumFormatLoc object
syn keyword ktMemberFunction contained parseCurrency parseDateTime parseFloat parseInt pos pow print
syn keyword ktMemberFunction contained quote random readText replace right round rpad rtrim saveData
syn keyword ktMemberFunction contained sin solar2lunar solar2lunarEx space split split2 sqrt
syn keyword ktMemberFunction contained stripNum substr tan textToBin time timem today toFloat
syn keyword ktMemberFunction contained toInteger toLower toLowerCase toNumber toString toUpper
syn keyword ktMemberFunction contained toUpperCase trim truncate type unquote urlDecode urlEncode
syn keyword ktMemberFunction contained view WorkDate writeText
" names end
" names method: syn keyword ktMethod contained
syn keyword ktMethod contained AddColumn AddConstColumn AddLogicalColumn AddRow AppendDataset
syn keyword ktMethod contained AppendRow ApplyChange Assign Clear ClearData ClearSelect ColCount
syn keyword ktMethod contained ConstCount Copy CopyColumn CopyF CopyRow CopytoColumn CopytoRow Count
syn keyword ktMethod contained CountNF DeleteAll DeleteRow DeleteSelected ExChangerow FindRow
syn keyword ktMethod contained FindRowAs FindRowNF FindRowNFAs GetColCount GetColID GetColIDxbyorder
syn keyword ktMethod contained GetColIndex GetColMapValue GetColSize GetColType GetColumn
syn keyword ktMethod contained GetColumnNF GetColumnSet GetConstColID GetConstColumn GetConstCount
syn keyword ktMethod contained GetCount GetCountNF GetCurrow GetDelColumn GetDelRowCount GetFirstrow
syn keyword ktMethod contained GetID GetLastrow GetNextrow GetOrgBuffColumn GetOrgBuffCount
syn keyword ktMethod contained GetOrgBuffType GetOrgColumn GetOrgColumnNF GetPivotCount
syn keyword ktMethod contained GetPivotIndex GetPrevrow GetRangeCount GetRangeStart GetRowCount
syn keyword ktMethod contained GetRowCountNF GetRowIndexNF GetRowLevel GetRowPos GetRowPosition
syn keyword ktMethod contained GetRowType GetRowTypeNF GetSelect GetTotalRowCount GetTotalRowType
syn keyword ktMethod contained GetUpdate ID InsertRow LoadCSV LoadXML Lookup Merge ModifyKeyStat
syn keyword ktMethod contained MoveRow OrgBuffCount RecalcFilter RecalcGroup RecalcPivot Reset
syn keyword ktMethod contained RowCount RowCountNF SaveBIN SaveCSV SaveXML SelectRow SetColumn
syn keyword ktMethod contained SetColumnNF SetConstColumn SetRowType SetTotalColumn SetUpdate Sort
syn keyword ktMethod contained TotalCount TotalRowCount UnFilter
" names end
" names property: syn keyword ktProperty contained
syn keyword ktProperty contained currow firstrow lastrow nextrow pivotindex pivotindexcount prevrow
syn keyword ktProperty contained row rowlevel rowpos rowposition
" names end
" names row-first: syn keyword ktRowMethod contained nextgroup=ktRowOpen skipwhite skipempty
syn keyword ktRowMethod contained nextgroup=ktRowOpen skipwhite skipempty Avg AvgNF CaseCount
syn keyword ktRowMethod contained nextgroup=ktRowOpen skipwhite skipempty CaseCountNF Filter Max
syn keyword ktRowMethod contained nextgroup=ktRowOpen skipwhite skipempty MaxNF Min MinNF PivotAvg
syn keyword ktRowMethod contained nextgroup=ktRowOpen skipwhite skipempty PivotCount PivotMax
syn keyword ktRowMethod contained nextgroup=ktRowOpen skipwhite skipempty PivotMin PivotSum
syn keyword ktRowMethod contained nextgroup=ktRowOpen skipwhite skipempty SearchRow SearchRowNF Sum
syn keyword ktRowMethod contained nextgroup=ktRowOpen skipwhite skipempty SumNF TotalAvg
syn keyword ktRowMethod contained nextgroup=ktRowOpen skipwhite skipempty TotalCaseCount TotalMax
syn keyword ktRowMethod contained nextgroup=ktRowOpen skipwhite skipempty TotalMin TotalSum
" names end
" names row-all: syn keyword ktAllRowMethod contained nextgroup=ktAllRowOpen skipwhite skipempty
syn keyword ktAllRowMethod contained nextgroup=ktAllRowOpen skipwhite skipempty CaseAvg CaseAvgNF
syn keyword ktAllRowMethod contained nextgroup=ktAllRowOpen skipwhite skipempty CaseMax CaseMaxNF
syn keyword ktAllRowMethod contained nextgroup=ktAllRowOpen skipwhite skipempty CaseMin CaseMinNF
syn keyword ktAllRowMethod contained nextgroup=ktAllRowOpen skipwhite skipempty CaseSum CaseSumNF
syn keyword ktAllRowMethod contained nextgroup=ktAllRowOpen skipwhite skipempty TotalCaseAvg
syn keyword ktAllRowMethod contained nextgroup=ktAllRowOpen skipwhite skipempty TotalCaseMax
syn keyword ktAllRowMethod contained nextgroup=ktAllRowOpen skipwhite skipempty TotalCaseMin
syn keyword ktAllRowMethod contained nextgroup=ktAllRowOpen skipwhite skipempty TotalCaseSum
" names end
" names keyword: syn keyword ktRowKeyword contained
syn keyword ktRowKeyword contained count countNF curdataid curpivotindex currow currowtype firstrow
syn keyword ktRowKeyword contained lastrow nextrow pivotidx pivotindex pivotindexcount pivotlevel
syn keyword ktRowKeyword contained pivotpos pivotposition prevrow rangecount rangestart row rowcount
syn keyword ktRowKeyword contained rowcountNF rowidx rowindex rowlevel rowpos rowposition rowtype
" names end

" Labels are known in small letters only.
syn case match
syn match ktLabel /\<case\ze\s/
syn match ktLabel /\<default\ze\_s*:/
syn case ignore

" A backslash keeps what follows from ending the text.
syn region ktString start=/"/ skip=/\\./ end=/"/
syn region ktString start=/'/ skip=/\\./ end=/'/

" Texts that are expressions over rows: the first one, or all of them.
syn match ktRowOpen /(/ contained nextgroup=ktRowText skipwhite skipempty
syn match ktAllRowOpen /(/ contained nextgroup=ktAllRowText skipwhite skipempty
syn match ktRowComma /,/ contained nextgroup=ktAllRowText skipwhite skipempty
syn cluster ktRow contains=ktColumn,ktCall,ktRowKeyword,ktConstant,ktWordOperator,ktOperator,
  \ktNumber,ktPoint,ktBadCharacter,ktBadNumber,ktLoneOperator
syn match ktColumn /\<\K\k*\>\%(\_s*(\)\@!/ contained
syn region ktRowText matchgroup=ktString start=/"/ end=/"/ contained contains=@ktRow,ktSingleInRow
syn region ktRowText matchgroup=ktString start=/'/ end=/'/ contained contains=@ktRow,ktDoubleInRow
syn region ktAllRowText matchgroup=ktString start=/"/ end=/"/ contained contains=@ktRow,ktSingleInRow
  \ nextgroup=ktRowComma skipwhite skipempty
syn region ktAllRowText matchgroup=ktString start=/'/ end=/'/ contained contains=@ktRow,ktDoubleInRow
  \ nextgroup=ktRowComma skipwhite skipempty
syn match ktSingleInRow /'[^'"]*'/ contained
syn match ktDoubleInRow /"[^'"]*"/ contained

syn keyword ktTodo contained TODO FIXME XXX
syn match ktComment /\/\/.*/ contains=ktTodo,@Spell
syn region ktComment start=/\/\*/ end=/\*\// contains=ktTodo,@Spell
syn sync minlines=200

hi def link ktConditional Conditional
hi def link ktRepeat Repeat
hi def link ktStatement Statement
hi def link ktLabel Label
hi def link ktDeclaration StorageClass
hi def link ktFunctionWord Keyword
hi def link ktFunctionName Function
hi def link ktArgument Identifier
hi def link ktSpecialCall Special
hi def link ktCall Function
hi def link ktFunction Function
hi def link ktMemberFunction Function
hi def link ktMethod Function
hi def link ktRowMethod Function
hi def link ktAllRowMethod Function
hi def link ktProperty Identifier
hi def link ktRowKeyword Special
hi def link ktColumn Identifier
hi def link ktConstant Constant
hi def link ktNumber Number
hi def link ktString String
hi def link ktSingleInRow String
hi def link ktDoubleInRow String
hi def link ktInclude Include
hi def link ktIncludeName String
hi def link ktOperator Operator
hi def link ktWordOperator Operator
hi def link ktLoneOperator Error
hi def link ktBadCharacter Error
hi def link ktBadNumber Error
hi def link ktComment Comment
hi def link ktTodo Todo

let b:current_syntax = 'ktscript'
