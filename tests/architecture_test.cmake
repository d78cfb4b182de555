# cmake -DROOT=<project root> -P architecture_test.cmake
#
# Compares every #include line with the arrows that the folders may have between them, so that a
# reversed one fails before anybody reviews it.
cmake_minimum_required(VERSION 3.21)

set(library_folders classlib expr object script dataset)
set(outside_folders cli bench fuzz examples)

# Which project folders the headers and sources of a folder may name.
set(allowed_classlib classlib)
set(allowed_expr classlib expr object)
set(allowed_object classlib expr object)
set(allowed_script classlib expr object script)
set(allowed_dataset classlib expr object script dataset)
foreach(folder ${outside_folders})
  set(allowed_${folder} ${library_folders} ${folder})
endforeach()
# Scripts made at random, and the host that they run in, serve a test and a fuzz target. JSON files
# are read by the program, so their target is built on it.
list(APPEND allowed_fuzz tests cli)

# The evaluator calls script functions and objects run them; only bodies know the two classes.
set(script_classes_for_bodies script/Kt_Script.h script/Kt_ScriptFunc.h)

# Sets `fault` in the caller to the reason why `file` of `folder` may not have this include.
function(check_quoted folder file path)
  set(fault "" PARENT_SCOPE)
  string(REGEX MATCH "^[^/]+" target "${path}")
  if(NOT path MATCHES "/")
    set(fault "name the file from the project root" PARENT_SCOPE)
  elseif(NOT target IN_LIST allowed_${folder})
    if(NOT (folder MATCHES "^(expr|object)$" AND file MATCHES "\\.cpp$"
            AND path IN_LIST script_classes_for_bodies))
      set(fault "${folder} must not know ${target}" PARENT_SCOPE)
    endif()
  elseif(path MATCHES "/detail/" AND NOT target STREQUAL folder)
    set(fault "${target}/detail belongs to ${target}" PARENT_SCOPE)
  endif()
endfunction()

function(check_system folder path)
  set(fault "" PARENT_SCOPE)
  # Standard headers have neither a dot nor a slash in their names.
  if(folder MATCHES "^(expr|object|script|dataset)$" AND path MATCHES "[./]")
    set(fault "the engine uses the standard library and classlib only" PARENT_SCOPE)
  endif()
endfunction()

set(checked 0)
set(faults "")
foreach(folder ${library_folders} ${outside_folders})
  file(GLOB_RECURSE files RELATIVE ${ROOT} ${ROOT}/${folder}/*.h ${ROOT}/${folder}/*.cpp)
  foreach(file ${files})
    file(STRINGS ${ROOT}/${file} lines REGEX "^[ \t]*#[ \t]*include")
    foreach(line IN LISTS lines)
      if(line MATCHES "include[ \t]*\"([^\"]+)\"")
        check_quoted(${folder} ${file} ${CMAKE_MATCH_1})
      elseif(line MATCHES "include[ \t]*<([^>]+)>")
        check_system(${folder} ${CMAKE_MATCH_1})
      else()
        set(fault "an include line that this test cannot read")
      endif()
      math(EXPR checked "${checked} + 1")
      if(fault)
        string(APPEND faults "${file}: ${line}\n    ${fault}\n")
      endif()
    endforeach()
  endforeach()
endforeach()

if(faults)
  message(FATAL_ERROR "Includes against the architecture:\n${faults}")
endif()
if(checked EQUAL 0)
  message(FATAL_ERROR "No include line found under ${ROOT}")
endif()
message(STATUS "${checked} include lines checked")
