# 32-bit Windows with mingw-w64, posix threads variant; tests run under the Wine of scripts/wine32.sh.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(QUORVEX_MINGW i686-w64-mingw32)
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw.cmake")
# The host's callers align the stack to 4 bytes only. No function may rely on more, whatever processor
# the compiler is set to one day; cmake/checkdll.sh makes sure that there is no SSE either.
set(CMAKE_C_FLAGS_INIT "-march=i686 -mstackrealign")
set(CMAKE_CXX_FLAGS_INIT "-march=i686 -mstackrealign")
