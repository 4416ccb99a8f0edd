# Windows by mingw-w64, for the machine that the including toolchain file names in `mingw_machine`. The run-time library's
# flavour with POSIX threads, which GoogleTest needs.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${mingw_machine})
set(CMAKE_C_COMPILER ${mingw_machine}-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER ${mingw_machine}-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER ${mingw_machine}-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${mingw_machine}-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# A file that runs on any Windows machine: nothing of the compiler's run-time stands beside it.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
set(CMAKE_MODULE_LINKER_FLAGS_INIT -static)
# WINEPREFIX and WINEPATH are set by scripts/test-windows.sh.
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
