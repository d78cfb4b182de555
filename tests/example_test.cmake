# Runs PROGRAM with ARGS, or else SCRIPT with KT and the lists OPTIONS and ARGS, in the current folder; its output has to
# equal EXPECTED, where a line may end as the system has it. EMULATOR runs programs of another system. The status 77 says that something it needs is not installed.
cmake_minimum_required(VERSION 3.21)

if(PROGRAM)
  set(command ${EMULATOR} ${PROGRAM} ${ARGS})
else()
  set(command ${EMULATOR} ${KT} run ${OPTIONS} ${SCRIPT} ${ARGS})
endif()
execute_process(COMMAND ${command}
  OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE status)
if(status EQUAL 77)
  message(STATUS "skipped: ${errors}")
  return()
endif()
file(READ ${EXPECTED} expected)
string(REPLACE "\r\n" "\n" output "${output}")
if(NOT status EQUAL 0 OR NOT output STREQUAL expected)
  message(FATAL_ERROR "exit status ${status}\n${errors}\nprinted:\n${output}\nexpected:\n${expected}")
endif()
