" KtScript: blocks, labels, and the one statement behind an if, else, for or while, as kt fmt does it.
if exists('b:did_indent')
  finish
endif
let b:did_indent = 1

setlocal indentexpr=KtScriptIndent(v:lnum) autoindent nosmartindent
setlocal indentkeys=0{,0},0),!^F,o,O,e,=case,=default
let b:undo_indent = 'setl inde< ai< si< indk<'

if exists('*KtScriptIndent')
  finish
endif

" The line without comments and texts, whose brackets do not count.
function s:Code(lnum)
  let l:line = substitute(getline(a:lnum), '"\%(\\.\|[^"\\]\)*"\|''\%(\\.\|[^''\\]\)*''', '""', 'g')
  return substitute(l:line, '\s*\%(//.*\|/\*.*\*/\s*\)$', '', '')
endfunction

function s:IsHead(code)
  return a:code =~? '^\s*\%(}\s*\)\?\%(else\s\+\)\?\%(if\|for\|while\)\>.*)$' || a:code =~? '\<else$'
endfunction

" The nearest line above with code.
function s:Above(lnum)
  let l:above = prevnonblank(a:lnum - 1)
  while l:above > 0 && s:Code(l:above) =~ '^\s*$'
    let l:above = prevnonblank(l:above - 1)
  endwhile
  return l:above
endfunction

" Of the statement that ends in this line: behind heads without braces it is that of the first head.
function s:StatementIndent(lnum)
  let l:lnum = a:lnum
  let l:above = s:Above(l:lnum)
  while l:above > 0 && s:IsHead(s:Code(l:above))
    let l:lnum = l:above
    let l:above = s:Above(l:lnum)
  endwhile
  return indent(l:lnum)
endfunction

" The line of the bracket that is open where the line begins.
function s:Opening(lnum, open, close)
  call cursor(a:lnum, 1)
  return searchpair(a:open, '', a:close, 'bnW',
    \ 'synIDattr(synID(line("."), col("."), 1), "name") =~? "comment\\|string"')
endfunction

function s:IsInText(lnum)
  return a:lnum > 1 && synIDattr(synID(a:lnum, 1, 0), 'name') =~# 'String$'
    \ && synIDattr(synID(a:lnum - 1, max([1, strlen(getline(a:lnum - 1))]), 0), 'name') =~# 'String$'
endfunction

function KtScriptIndent(lnum)
  if s:IsInText(a:lnum)
    return -1
  endif
  let l:code = s:Code(a:lnum)
  if l:code =~ '^\s*}'
    let l:block = s:Opening(a:lnum, '{', '}')
    return l:block > 0 ? s:StatementIndent(l:block) : 0
  endif
  let l:above = s:Above(a:lnum)
  if l:above == 0
    return 0
  endif
  let l:before = s:Code(l:above)
  if l:code =~# '^\s*\%(case\>\|default\s*:\)'
    let l:block = s:Opening(a:lnum, '{', '}')
    return l:block > 0 ? s:StatementIndent(l:block) + shiftwidth() : 0
  endif
  if l:before =~ '{$'
    return s:StatementIndent(l:above) + shiftwidth()
  elseif l:before =~# '^\s*\%(case\>.*\|default\s*\):$'
    return indent(l:above) + shiftwidth()
  elseif s:IsHead(l:before)
    return l:code =~ '^\s*{' ? indent(l:above) : indent(l:above) + shiftwidth()
  elseif l:before !~ '[;}:]$' && l:before !~ '^\s*#'
    " An expression goes on, twice as far in as a block.
    let l:started = s:Above(l:above)
    return l:started == 0 || s:Code(l:started) =~ '[;{}:]$' || s:IsHead(s:Code(l:started))
      \ ? indent(l:above) + 2 * shiftwidth() : indent(l:above)
  endif
  let l:block = s:Opening(a:lnum, '{', '}')
  if l:block == 0
    return 0
  endif
  return s:InBlock(a:lnum, l:block)
endfunction

" Of a statement that follows another one; in a switch, behind a label.
function s:InBlock(lnum, block)
  let l:indent = s:StatementIndent(a:block) + shiftwidth()
  let l:in_switch = s:Code(a:block) =~? '\<switch\>'
  return l:in_switch ? l:indent + shiftwidth() : l:indent
endfunction
