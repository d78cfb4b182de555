" Tells for every column of the sources in a file of JSON which group it has, or with INDENT=1 how the
" lines are indented anew: vim -es ... -S vim_probe.vim, with PROBE_IN and PROBE_OUT.
set encoding=utf-8
let s:out = []
for s:source in json_decode(join(readfile($PROBE_IN), "\n"))
  enew!
  setfiletype ktscript
  call setline(1, s:source)
  if $INDENT == '1'
    silent normal! gg=G
    call add(s:out, getline(1, '$'))
    continue
  endif
  let s:groups = []
  for s:row in range(1, line('$'))
    call add(s:groups, map(range(1, strlen(getline(s:row))),
      \ 'synIDattr(synID(s:row, v:val, 1), "name")'))
  endfor
  call add(s:out, s:groups)
endfor
call writefile([json_encode(s:out)], $PROBE_OUT)
qall!
