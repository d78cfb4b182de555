# cmake -DROOT=<project root> -DWORK_DIR=<folder> -DCXX=<compiler> -P packaging_test.cmake
#
# The recipes in packaging/ say the same as the build that they drive: their version is the project's,
# their options exist, and the folders that the Conan recipe takes along are enough to configure, and
# hold every source and header that is installed.
cmake_minimum_required(VERSION 3.21)
file(READ ${ROOT}/CMakeLists.txt project)
string(REGEX MATCH "VERSION ([0-9]+\\.[0-9]+\\.[0-9]+)" found "${project}")
set(version ${CMAKE_MATCH_1})

file(READ ${ROOT}/packaging/vcpkg/ktscript/vcpkg.json manifest)
string(JSON vcpkg_version GET "${manifest}" version-semver)
if(NOT vcpkg_version STREQUAL version)
  message(FATAL_ERROR "vcpkg.json is of version ${vcpkg_version}, the project of ${version}")
endif()
file(READ ${ROOT}/packaging/vcpkg/ktscript/portfile.cmake port)
string(JSON features LENGTH "${manifest}" features)
math(EXPR last "${features} - 1")
foreach(index RANGE ${last})
  string(JSON feature MEMBER "${manifest}" features ${index})
  if(NOT port MATCHES "[ \n]${feature} KT_[A-Z]+")
    message(FATAL_ERROR "the port does nothing for the feature ${feature}")
  endif()
endforeach()

file(READ ${ROOT}/packaging/conan/conanfile.py recipe)
string(REGEX MATCH "SOURCES = \\[([^]]*)\\]" found "${recipe}")
string(REGEX MATCHALL "[a-z]+" folders "${CMAKE_MATCH_1}")
string(REGEX MATCH "LEFT_OUT = \\[([^]]*)\\]" found "${recipe}")
string(REGEX MATCHALL "[A-Z]+" parts "${CMAKE_MATCH_1}")

# A checkout that has nothing else.
file(REMOVE_RECURSE ${WORK_DIR})
foreach(folder IN LISTS folders)
  file(COPY ${ROOT}/${folder} DESTINATION ${WORK_DIR}/sources)
endforeach()
file(COPY ${ROOT}/CMakeLists.txt ${ROOT}/LICENSE ${ROOT}/README.md DESTINATION ${WORK_DIR}/sources)
file(GLOB pages ${ROOT}/docs/*.md)
file(COPY ${pages} DESTINATION ${WORK_DIR}/sources/docs)

set(options "")
string(REGEX MATCHALL "KT_[A-Z]+" named "${port}")
foreach(option IN LISTS named)
  list(APPEND options -D${option}=OFF)
endforeach()
foreach(part IN LISTS parts)
  list(APPEND options -DKT_${part}=OFF)
endforeach()
list(REMOVE_DUPLICATES options)
execute_process(
  COMMAND ${CMAKE_COMMAND} -S ${WORK_DIR}/sources -B ${WORK_DIR}/build -G Ninja
    -DCMAKE_CXX_COMPILER=${CXX} ${options}
  OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "what the recipe takes along cannot be configured:\n${errors}")
endif()
# Of options that the project does not have.
if(errors MATCHES "not used by the project:([^\n]*\n)+")
  message(FATAL_ERROR "the recipes set options that are not there:\n${errors}")
endif()
if(output MATCHES "Connector for [^\n]*: [a-z]+[^\n]* [0-9]")
  message(FATAL_ERROR "a connector is built that nobody asked for:\n${output}")
endif()
