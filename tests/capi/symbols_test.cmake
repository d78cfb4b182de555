# cmake -DLIBRARY=<libktscript> -DNM=<nm> -DEXPECTED=<symbols.txt>
#
# Compares what the library exports with the list: a function that goes or changes its name breaks
# programs that are there. Whoever adds one adds it to the list.
cmake_minimum_required(VERSION 3.21)
execute_process(COMMAND ${NM} -D --defined-only --format=posix ${LIBRARY}
  OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE " [^\n]*" "" found "${output}")
file(READ ${EXPECTED} expected)
string(REPLACE "\n" ";" found "${found}")
string(REPLACE "\n" ";" expected "${expected}")
list(SORT found)
list(SORT expected)
set(new ${found})
set(gone ${expected})
list(REMOVE_ITEM new ${expected})
list(REMOVE_ITEM gone ${found})
if(new OR gone)
  message(FATAL_ERROR "not in the list: ${new}\nno longer exported: ${gone}")
endif()
