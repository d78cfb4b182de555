# cmake -DCXX=<compiler> -DROOT=<project root> -P lean_test.cmake
#
# Every file of a host compiles Kt_Bind.h: it includes neither the engine's own classes nor those
# standard headers that cost more than all of it.
cmake_minimum_required(VERSION 3.21)
execute_process(COMMAND ${CXX} -std=c++20 -I${ROOT} -M -x c++ ${ROOT}/host/Kt_Bind.h
  OUTPUT_VARIABLE rule COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "[ \\\n\r]+" ";" files "${rule}")
if(NOT "${ROOT}/host/Kt_Engine.h" IN_LIST files)
  message(FATAL_ERROR "what the compiler writes is not understood: ${rule}")
endif()
set(heavy "")
foreach(file ${files})
  string(REPLACE "${ROOT}/" "" name "${file}")
  if(name MATCHES "^(expr|object|script|dataset|classlib/(xml|store|formats|domain))/"
     AND NOT name STREQUAL "classlib/store/Kt_ColumnType.h")
    list(APPEND heavy "${name}")
  elseif(name MATCHES "/(chrono|sstream|iostream|fstream|filesystem|regex|map|mutex)$")
    list(APPEND heavy "${name}")
  endif()
endforeach()
if(heavy)
  message(FATAL_ERROR "Kt_Bind.h includes ${heavy}")
endif()
