# 64-bit Windows with mingw-w64, posix threads variant; tests run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(QUORVEX_MINGW x86_64-w64-mingw32)
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw.cmake")
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
