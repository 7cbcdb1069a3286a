# What both MinGW-w64 toolchains share; FERROW_MINGW_TRIPLE names the target.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${FERROW_MINGW_TRIPLE})
set(CMAKE_C_COMPILER ${FERROW_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${FERROW_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${FERROW_MINGW_TRIPLE}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${FERROW_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# The runtime goes into every program and the DLL, so that they run on a
# Windows machine (or under Wine) without MinGW's own DLLs beside them.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
# Tests run under Wine, found by CTest through this.
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
