# 32-bit Windows with mingw-w64, posix threads variant. Built and inspected, not run: the Wine of
# the build machine is 64-bit only.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(QUORVEX_MINGW i686-w64-mingw32)
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw.cmake")
