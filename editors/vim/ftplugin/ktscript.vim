" KtScript: comments, indents, and kt for formatting (gq) and checking (:make).
if exists('b:did_ftplugin')
  finish
endif
let b:did_ftplugin = 1

setlocal comments=s1:/*,mb:*,ex:*/,:// commentstring=//\ %s
setlocal expandtab shiftwidth=2 softtabstop=2
setlocal suffixesadd=.kts include=^\\s*#\\s*include
setlocal formatoptions-=t formatoptions+=croql
let s:kt = get(g:, 'ktscript_kt', 'kt')
if executable(s:kt)
  setlocal formatexpr=KtScriptFormat()
  let &l:makeprg = escape(shellescape(s:kt), '%#|') . ' check %:S'
  setlocal errorformat=%f:%l:%c:\ %trror:\ %m,%f:%l:%c:\ %tarning:\ %m,%f:%l:\ %trror:\ %m,%-G%.%#
endif
let b:match_ignorecase = 1
let b:match_words = '\<switch\>:\<case\>:\<default\>,\<if\>:\<else\>'
let b:undo_ftplugin = 'setl com< cms< et< sw< sts< sua< inc< fo< fex< mp< efm<'
  \ . ' | unlet! b:match_ignorecase b:match_words'

if exists('*KtScriptFormat')
  finish
endif

" The whole file by kt fmt, which leaves alone what has errors; parts, such as comments, by vim.
function KtScriptFormat() abort
  if v:char != '' || v:lnum > 1 || v:count < line('$')
    return 1
  endif
  let l:out = systemlist(shellescape(get(g:, 'ktscript_kt', 'kt')) . ' fmt -', getline(1, '$'))
  if v:shell_error
    echohl ErrorMsg | echomsg get(l:out, 0, 'kt fmt failed') | echohl None
    return 0
  endif
  call setline(1, l:out)
  if len(l:out) < line('$')
    silent execute (len(l:out) + 1) . ',$delete _'
  endif
  return 0
endfunction
