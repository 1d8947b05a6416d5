# Cross-compiles for Windows x86-64 with Debian's mingw-w64 (posix threads). The roots
# of the cross-built dependencies come in as YMD_DEPS, a list: see scripts/deps.sh.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES YMD_DEPS)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${YMD_DEPS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
