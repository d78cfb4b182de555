# Toolchain: programs for 64-bit Windows, made by the cross compiler of mingw-w64 (posix threads), with
# libraries from KT_WINDOWS_PREFIX. scripts/windows.sh fills that folder; wine runs what is built.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(kt_triple x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${kt_triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${kt_triple}-g++-posix)
set(CMAKE_RC_COMPILER ${kt_triple}-windres)
find_program(KT_WINE NAMES wine wine64 wine-stable)
if(KT_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${KT_WINE})
endif()

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KT_WINDOWS_PREFIX)
set(CMAKE_FIND_ROOT_PATH /usr/${kt_triple} ${KT_WINDOWS_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# What pkg-config knows of this machine is not for Windows.
set(ENV{PKG_CONFIG_LIBDIR} ${KT_WINDOWS_PREFIX}/lib/pkgconfig)

# Libraries here are static, and so are those of the compiler: programs need no DLL but the system's.
set(CMAKE_CXX_FLAGS_INIT "-DU_STATIC_IMPLEMENTATION")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++")
