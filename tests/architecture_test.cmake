# cmake -DROOT=<project root> -P architecture_test.cmake
#
# Compares every #include line, and every declaration of another room's class, with the arrows that
# the rooms may have between them, so that a reversed one fails before anybody reviews it.
cmake_minimum_required(VERSION 3.21)

set(library_folders classlib expr object script dataset reference connect host analysis)
set(outside_folders capi cli bench fuzz examples python)

# The rooms: where files lie side by side. A room inside of another is named with it.
set(rooms
  classlib/base classlib/text classlib/value classlib/xml classlib/store classlib/formats
  classlib/domain
  expr object script script/code dataset dataset/methods dataset/rows reference connect
  connect/sql host analysis capi cli cli/data cli/fmt cli/lsp cli/show cli/repl cli/test cli/usage
  bench fuzz examples python)

# Which rooms the headers and sources of a room may name, by include or by declaration, beside
# itself. Inside of classlib the arrows go downwards.
set(all_classlib classlib/base classlib/text classlib/value classlib/xml classlib/store
  classlib/formats classlib/domain)
set(values classlib/base classlib/text classlib/value)
set(engine expr object script script/code dataset dataset/methods dataset/rows reference)
set(allowed_classlib/base)
set(allowed_classlib/text classlib/base)
set(allowed_classlib/value classlib/base classlib/text)
set(allowed_classlib/xml classlib/base classlib/text)
set(allowed_classlib/store ${values})
set(allowed_classlib/formats ${values} classlib/xml classlib/store)
set(allowed_classlib/domain ${values} classlib/xml classlib/store)
set(allowed_expr ${values} object)
set(allowed_object ${values} expr)
set(allowed_script ${values} expr object script/code)
set(allowed_script/code ${values} expr object script)
set(allowed_dataset ${all_classlib} expr object script dataset/methods dataset/rows)
set(allowed_dataset/methods ${all_classlib} expr object script dataset dataset/rows)
set(allowed_dataset/rows ${values} classlib/store expr object script dataset dataset/methods)
set(allowed_reference ${values} object dataset dataset/methods)
set(allowed_connect ${values} classlib/store classlib/formats)
set(allowed_connect/sql ${values} classlib/store classlib/formats ${engine} connect)
set(allowed_host ${all_classlib} ${engine} connect connect/sql)
set(allowed_analysis ${values} ${engine})
set(allowed_cli ${all_classlib} ${engine} analysis connect connect/sql cli/data cli/fmt cli/lsp cli/show
  cli/repl cli/test cli/usage)
set(allowed_cli/data ${all_classlib} ${engine} connect connect/sql cli cli/show)
set(allowed_cli/fmt ${all_classlib} ${engine} cli)
set(allowed_cli/lsp ${all_classlib} ${engine} analysis cli cli/data cli/fmt)
set(allowed_cli/show ${all_classlib} ${engine} cli cli/data connect connect/sql)
set(allowed_cli/test ${all_classlib} ${engine} cli cli/data cli/show)
set(allowed_cli/usage)
set(allowed_cli/repl ${all_classlib} ${engine} cli cli/data cli/show)
foreach(folder bench capi fuzz examples python)
  set(allowed_${folder} ${all_classlib} ${engine} connect connect/sql capi host)
endforeach()
# Scripts made at random, and the host that they run in, serve a test and a fuzz target.
list(APPEND allowed_fuzz tests tests/common tests/classlib)
# The heap that a test watches is watched in the sweep too.
list(APPEND allowed_bench tests/memory)

# The evaluator calls script functions and objects run them; only bodies know the two classes.
set(script_classes_for_bodies script/Kt_Script.h script/Kt_ScriptFunc.h)
# Names that a header below declares for members or parameters that only bodies above look into.
set(declared_above
  object/Kt_ExprObjInfo.h:Kt_ScriptFunc
  object/Kt_ExprObject.h:Kt_ExprDataset object/Kt_ExprObject.h:Kt_Script)

# Sets `room` in the caller to the room of a file.
function(find_room path)
  get_filename_component(folder "${path}" DIRECTORY)
  string(REGEX REPLACE "/(detail|kernels)$" "" folder "${folder}")
  string(REGEX REPLACE "^examples/.*" "examples" folder "${folder}")
  set(room "${folder}" PARENT_SCOPE)
endfunction()

# Sets `fault` in the caller to the reason why `file` of room `from` may not have this include.
function(check_quoted from file path)
  set(fault "" PARENT_SCOPE)
  find_room("${path}")
  string(REGEX MATCH "^[^/]+" target "${path}")
  string(REGEX MATCH "^[^/]+" folder "${file}")
  if(NOT path MATCHES "/")
    set(fault "name the file from the project root" PARENT_SCOPE)
  elseif(NOT room STREQUAL from AND NOT room IN_LIST allowed_${from})
    if(NOT (from MATCHES "^(expr|object)$" AND file MATCHES "\\.cpp$"
            AND path IN_LIST script_classes_for_bodies))
      set(fault "${from} must not know ${room}" PARENT_SCOPE)
    endif()
  elseif(path MATCHES "/detail/" AND NOT target STREQUAL folder)
    set(fault "${target}/detail belongs to ${target}" PARENT_SCOPE)
  endif()
endfunction()

# The same for the declaration of a class that is defined in another room.
function(check_declared from file name)
  set(fault "" PARENT_SCOPE)
  set(home "${home_of_${name}}")
  if(home AND NOT home STREQUAL from AND NOT home IN_LIST allowed_${from}
     AND NOT "${file}:${name}" IN_LIST declared_above)
    set(fault "${from} must not know ${home}" PARENT_SCOPE)
  endif()
endfunction()

function(check_system from path)
  set(fault "" PARENT_SCOPE)
  # Standard headers have neither a dot nor a slash in their names; but those that C reads too do.
  if(from MATCHES "^(expr|object|script|dataset|reference|host|analysis)" AND path MATCHES "[./]"
     AND NOT path STREQUAL "stdint.h")
    set(fault "the engine uses the standard library and classlib only" PARENT_SCOPE)
  endif()
endfunction()

# Where each class is defined.
set(files "")
foreach(folder ${library_folders} ${outside_folders})
  file(GLOB_RECURSE found RELATIVE ${ROOT} ${ROOT}/${folder}/*.h ${ROOT}/${folder}/*.cpp)
  list(APPEND files ${found})
endforeach()
list(FILTER files EXCLUDE REGEX "^python/build/")  # what pip leaves there
foreach(file ${files})
  find_room(${file})
  if(NOT room IN_LIST rooms)
    message(FATAL_ERROR "${file}: ${room} is no room")
  endif()
  if(file MATCHES "\\.h$")
    file(STRINGS ${ROOT}/${file} lines REGEX "^(class|struct) [^;]*{")
    foreach(line IN LISTS lines)
      if(line MATCHES "^(class|struct) (KT_[A-Z_]+ )?([A-Za-z_0-9]+)")
        set(home_of_${CMAKE_MATCH_3} ${room})
      endif()
    endforeach()
  endif()
endforeach()

set(checked 0)
set(faults "")
foreach(file ${files})
  find_room(${file})
  file(STRINGS ${ROOT}/${file} lines
    REGEX "^[ \t]*#[ \t]*include|^(class|struct) (KT_[A-Z_]+ )?[A-Za-z_0-9]+;")
  foreach(line IN LISTS lines)
    if(line MATCHES "^(class|struct) (KT_[A-Z_]+ )?([A-Za-z_0-9]+)")
      check_declared(${room} ${file} ${CMAKE_MATCH_3})
    elseif(line MATCHES "include[ \t]*\"([^\"]+)\"")
      check_quoted(${room} ${file} ${CMAKE_MATCH_1})
    elseif(line MATCHES "include[ \t]*<([^>]+)>")
      check_system(${room} ${CMAKE_MATCH_1})
    else()
      set(fault "an include line that this test cannot read")
    endif()
    math(EXPR checked "${checked} + 1")
    if(fault)
      string(APPEND faults "${file}: ${line}\n    ${fault}\n")
    endif()
  endforeach()
endforeach()

if(faults)
  message(FATAL_ERROR "Includes against the architecture:\n${faults}")
endif()
if(checked EQUAL 0)
  message(FATAL_ERROR "No include line found under ${ROOT}")
endif()
message(STATUS "${checked} lines checked")
