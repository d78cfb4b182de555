au BufNewFile,BufRead *.kts set filetype=ktscript
