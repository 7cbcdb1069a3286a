# Cross-compiling for 64-bit Windows with Debian's MinGW-w64 (the posix
# thread model, which std::thread needs).
set(FERROW_MINGW_TRIPLE x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)
