# cmake -DKT=<kt> [-DEMULATOR=<what runs it>] -DWORK_DIR=<folder> -P file_names_test.cmake
#
# Names of files that no code page of one byte has: as arguments, in scripts, read, saved and replaced.
cmake_minimum_required(VERSION 3.21)
file(REMOVE_RECURSE ${WORK_DIR})
file(WRITE "${WORK_DIR}/ä中/ñ.csv" "name;qty\nÄpfel;3\n中文;4\n")
file(WRITE "${WORK_DIR}/ä中/ü.kts"
  "function main() {\n  writeText('é 한.txt', 'один');\n  writeText('é 한.txt', readText('é 한.txt') + ', два');\n"
  "  return readText('é 한.txt');\n}\n")

function(expect wanted)
  execute_process(COMMAND ${EMULATOR} ${KT} ${ARGN} WORKING_DIRECTORY "${WORK_DIR}/ä中"
    OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE status ENCODING UTF-8)
  if(NOT status EQUAL 0 OR NOT output STREQUAL wanted)
    message(FATAL_ERROR "kt ${ARGN}: exit status ${status}\n${errors}\n${output}")
  endif()
endfunction()

expect("один, два\n" run ü.kts)
expect("" show ñ.csv --filter "qty > 3" --save 中.json)
expect("4\n" eval --data d=中.json "d.Sum('qty')")
file(GLOB names RELATIVE "${WORK_DIR}/ä中" "${WORK_DIR}/ä中/*")
list(SORT names)
set(wanted "é 한.txt" "ñ.csv" "ü.kts" "中.json")
list(SORT wanted)
if(NOT names STREQUAL wanted)
  message(FATAL_ERROR "there are ${names}")
endif()
