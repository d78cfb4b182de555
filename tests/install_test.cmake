# Installs the build into an empty prefix, builds the embedding example against that tree alone and
# compares what it prints with its expected.txt. WAY is package (find_package), pkgconfig, or deb: the
# tree is then that of a .deb, taken apart.
cmake_minimum_required(VERSION 3.21)

function(run)
  execute_process(COMMAND ${ARGV} OUTPUT_VARIABLE output ERROR_VARIABLE errors
    RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "failed (${status}): ${command}\n${output}\n${errors}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

# The place is not known when the tree is built: an installed tree has to work wherever it lands.
set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR}/build)
if(WAY STREQUAL "deb")
  run(${CPACK} -G DEB -C ${CONFIG} --config ${BUILD_DIR}/CPackConfig.cmake -B ${WORK_DIR}/deb)
  file(GLOB package ${WORK_DIR}/deb/*.deb)
  run(dpkg-deb --extract ${package} ${prefix})
  set(prefix ${prefix}/usr)
  run(dpkg-deb --field ${package} Depends)
  if(NOT output MATCHES "libicu")
    message(FATAL_ERROR "The package does not say that it needs ICU: ${output}")
  endif()
else()
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --config ${CONFIG} --prefix ${prefix})
endif()

set(host ${WORK_DIR}/build/embed)
if(WAY MATCHES "^(package|deb)$")
  run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_CXX_FLAGS=${FLAGS})
  run(${CMAKE_COMMAND} --build ${WORK_DIR}/build --config ${CONFIG})
  # The example asks for version 3; another major version is not compatible.
  file(WRITE ${WORK_DIR}/other/CMakeLists.txt
    "cmake_minimum_required(VERSION 3.21)\nproject(other NONE)\nfind_package(KtScript 2 REQUIRED)\n")
  execute_process(COMMAND ${CMAKE_COMMAND} -S ${WORK_DIR}/other -B ${WORK_DIR}/other/build
    -DCMAKE_PREFIX_PATH=${prefix} OUTPUT_QUIET ERROR_QUIET RESULT_VARIABLE status)
  if(status EQUAL 0)
    message(FATAL_ERROR "find_package(KtScript 2) takes version 3")
  endif()
else()
  find_program(pkg_config NAMES pkg-config pkgconf REQUIRED)
  set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
  run(${pkg_config} --cflags --libs ktscript)
  separate_arguments(arguments UNIX_COMMAND "${output}")
  file(GLOB sources ${SOURCE_DIR}/*.cpp)
  run(${CXX} -std=c++20 ${FLAGS} ${sources} -o ${host} ${arguments} -Wl,-rpath,${prefix}/${LIBDIR})
endif()

run(${host})
file(READ ${SOURCE_DIR}/expected.txt expected)
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "The example printed:\n${output}\nexpected:\n${expected}")
endif()

# A host of databases needs the libraries for them, and gets the others with those.
if(WAY STREQUAL "package")
  set(databases ${WORK_DIR}/databases)
  file(WRITE ${databases}/CMakeLists.txt "cmake_minimum_required(VERSION 3.21)
project(databases CXX)
find_package(KtScript 3 REQUIRED)
add_executable(databases main.cpp)
target_link_libraries(databases PRIVATE Kt::SqlLib)\n")
  file(WRITE ${databases}/main.cpp "#include <iostream>
#include \"host/Kt_Bind.h\"
#include \"host/Kt_Databases.h\"
int main() {
  kt::Engine engine;
  kt::Table orders = engine.dataset(\"orders\");
  try {
    kt::load_database(orders, \"sqlite:none.db?table=orders&limit=1&filter=price > 5\");
  } catch (const kt::RunError& error) {
    std::cout << error.what();
  }
}\n")
  run(${CMAKE_COMMAND} -S ${databases} -B ${databases}/build -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_CXX_FLAGS=${FLAGS})
  run(${CMAKE_COMMAND} --build ${databases}/build --config ${CONFIG})
  run(${databases}/build/databases)
  if(NOT output MATCHES "^sqlite:none.db.*(cannot open|no connector)")
    message(FATAL_ERROR "A host of databases printed: ${output}")
  endif()
endif()

# The C interface needs no C++ compiler.
if(CC AND WAY STREQUAL "pkgconfig")
  run(${pkg_config} --cflags --libs ktscript-c)
  separate_arguments(arguments UNIX_COMMAND "${output}")
  run(${CC} ${FLAGS} ${SOURCE_DIR}/../c/main.c -o ${host}_c ${arguments}
    -Wl,-rpath,${prefix}/${LIBDIR} -Wl,-rpath-link,${prefix}/${LIBDIR})
  run(${host}_c)
  file(READ ${SOURCE_DIR}/../c/expected.txt expected)
  if(NOT output STREQUAL expected)
    message(FATAL_ERROR "The C example printed:\n${output}\nexpected:\n${expected}")
  endif()
endif()

if(EXISTS ${prefix}/bin/kt)
  run(${prefix}/bin/kt eval "6 * 7")
  if(NOT output STREQUAL "42\n")
    message(FATAL_ERROR "The installed kt printed: ${output}")
  endif()
  foreach(file bash-completion/completions/kt zsh/site-functions/_kt fish/vendor_completions.d/kt.fish
      man/man1/kt-run.1)
    file(READ ${prefix}/share/${file} text)
    if(NOT text MATCHES "--allow-dir|-l allow-dir|allow.-dir")
      message(FATAL_ERROR "${file} does not know the options of kt run")
    endif()
  endforeach()
endif()
