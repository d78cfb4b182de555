# What every target of this project has in common.

set(KT_GNU_LIKE "$<CXX_COMPILER_ID:GNU,Clang,AppleClang>")

add_library(kt_warnings INTERFACE)
target_compile_options(kt_warnings INTERFACE
  $<${KT_GNU_LIKE}:-Wall -Wextra -Wpedantic>
  # GCC 12 sees overlaps in std::string's own joining (its bug 105651).
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
  $<$<AND:$<BOOL:${KT_WERROR}>,${KT_GNU_LIKE}>:-Werror>)

# A sanitizer has to see every object file and every link line, so all targets share these.
add_library(kt_sanitize INTERFACE)
if(KT_SANITIZE)
  set(kt_sanitize_flags
    -fsanitize=${KT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(kt_sanitize INTERFACE ${kt_sanitize_flags})
  target_link_options(kt_sanitize INTERFACE ${kt_sanitize_flags})
endif()

# libFuzzer learns from coverage inside the libraries; only a build that is slow anyway pays for it.
set(KT_LIBFUZZER OFF)
if(KT_FUZZ AND CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND KT_SANITIZE MATCHES "address")
  set(KT_LIBFUZZER ON)
  target_compile_options(kt_sanitize INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Language level, warnings, sanitizers and hidden symbols for one target.
function(kt_target_defaults target)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_link_libraries(${target} PRIVATE
    $<BUILD_INTERFACE:kt_warnings> $<BUILD_INTERFACE:kt_sanitize>)
endfunction()

# A program in C against the C interface. The C compiler may be another one than that of the
# libraries, so sanitizers see the libraries only, and the C++ compiler links.
function(kt_c_target_defaults target)
  set_target_properties(${target} PROPERTIES
    C_STANDARD 11 C_EXTENSIONS ON LINKER_LANGUAGE CXX)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  target_link_options(${target} PRIVATE $<TARGET_PROPERTY:kt_sanitize,INTERFACE_LINK_OPTIONS>)
  target_link_libraries(${target} PRIVATE Kt::CApi)
endfunction()

# kt_add_library(<target> <macro part> <exported name>): one of the two libraries; the folders add
# the sources. The macro part names KT_BUILDING_<part>, which turns imports into exports.
function(kt_add_library target part export_name)
  add_library(${target})
  add_library(Kt::${export_name} ALIAS ${target})
  kt_target_defaults(${target})
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${export_name}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ktscript>)
  target_compile_definitions(${target} PRIVATE KT_BUILDING_${part})
  if(NOT BUILD_SHARED_LIBS)
    target_compile_definitions(${target} PUBLIC KT_STATIC)
  endif()
  # Calls inside a library bind at link time, calls between them skip the jump table.
  set(optimised $<AND:${KT_GNU_LIKE},$<CONFIG:Release,RelWithDebInfo>>)
  target_compile_options(${target} PRIVATE
    $<${optimised}:-fno-semantic-interposition -fno-plt>)
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    target_link_options(${target} PRIVATE $<${optimised}:LINKER:-Bsymbolic-functions>)
  endif()
endfunction()
