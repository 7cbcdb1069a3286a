# Cross-compiling for 32-bit Windows, the platform the API was first made
# for, with Debian's MinGW-w64 (posix thread model).
set(FERROW_MINGW_TRIPLE i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)
