# Options for every target: language level, warnings, sanitizers, output folder.
option(QUORVEX_BENCH "Build the benchmarks" OFF)
option(QUORVEX_FUZZ "Build the fuzzers (clang)" OFF)
option(QUORVEX_PORTABLE_ONLY "Build only what needs no library besides the C++ standard's" OFF)
# Most of the time of a tool's file or a test goes into templates that its neighbours need too: the command
# line takes a third less of the processor's time. A name in an unnamed namespace must then be unique in its
# folder. To edit one file over and over, turn it off. The preset "clang" does, and shows when a file forgets
# to include what it uses.
option(QUORVEX_UNITY "Compile several files of the tools and tests at a time" ON)
option(QUORVEX_COVERAGE "Count executed lines (gcov)" OFF)
set(QUORVEX_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize= takes them")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}")

# ccache caches what uses a precompiled header only with this sloppiness. With CCACHE_DEPEND, it doesn't
# preprocess what it then compiles anyway. A base directory lets two clones share the cache; it changes the
# compiler's paths, which a Windows build must not depend on.
find_program(QUORVEX_CCACHE ccache)
if(QUORVEX_CCACHE)
  if(WIN32)
    set(CMAKE_C_COMPILER_LAUNCHER env --unset=CCACHE_BASEDIR --unset=CCACHE_NOHASHDIR)
  else()
    set(CMAKE_C_COMPILER_LAUNCHER env "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1)
  endif()
  list(APPEND CMAKE_C_COMPILER_LAUNCHER
    CCACHE_DEPEND=1 CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
    "${QUORVEX_CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_C_COMPILER_LAUNCHER}")
endif()

# What leaves this project contains neither a path of the machine that built it nor the time. -g1 is
# enough for a stack trace.
if(WIN32 OR CMAKE_BUILD_TYPE STREQUAL "Release")
  add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" -g1)
endif()
if(WIN32)
  add_link_options(-Wl,--no-insert-timestamp)
  add_compile_definitions(UNICODE _UNICODE _WIN32_WINNT=0x0601)
  add_link_options(-static -Wl,--dynamicbase -Wl,--nxcompat)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    add_link_options(-Wl,--high-entropy-va)
  endif()
endif()

if(QUORVEX_SANITIZE)
  add_compile_options(-fsanitize=${QUORVEX_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QUORVEX_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options("-fsanitize-ignorelist=${CMAKE_SOURCE_DIR}/cmake/librariesubsan.ignore")
  endif()
  if(QUORVEX_SANITIZE MATCHES "undefined")
    # An event sink is called through COM's table, which its class matches slot by slot without
    # being derived from the interface that the caller knows. Its functions are called by their
    # addresses, with the parameters that the table says.
    add_compile_options(-fno-sanitize=vptr)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      add_compile_options(-fno-sanitize=function)
    endif()
  endif()
endif()

if(QUORVEX_COVERAGE)
  # Atomic counters: several threads run the same lines.
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# Warnings for our own targets only.
add_library(quorvex_options INTERFACE)
target_include_directories(quorvex_options INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(quorvex_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # An interface of the host is up to 150 classes deep, one for each slot, and g++'s check of
  # evaluation order takes ten times as long over it as everything else together (27 of 30 seconds
  # for one file). clang makes the same check in ./test --all.
  target_compile_options(quorvex_options INTERFACE -Wno-sequence-point)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # g++ 12 sees an overlap in the library's own `"text" + std::string()` where none can be
  # (its bug 105651).
  # clang-tidy reads these commands and doesn't know the option.
  target_compile_options(quorvex_options INTERFACE -Wno-unknown-warning-option -Wno-restrict)
endif()

# The code of a tool doesn't need to be fast, so it takes the level that compiles fastest.
if(QUORVEX_FUZZ)
  set(tool_levels)
else()
  set(tool_levels $<IF:$<CONFIG:Release>,-O1,-O0> -g1)
endif()

# Half of the time of a tool's file goes into reading the same standard headers. The preset "clang" doesn't
# precompile them either.
option(QUORVEX_PRECOMPILED "Precompile the standard headers of the tools" ON)
if(QUORVEX_PRECOMPILED)
  set(tool_headers ON)
  file(CONFIGURE OUTPUT toolheaders.cpp CONTENT "")
  add_library(quorvex_tool_headers OBJECT "${CMAKE_CURRENT_BINARY_DIR}/toolheaders.cpp")
  target_link_libraries(quorvex_tool_headers PRIVATE quorvex_options)
  target_compile_options(quorvex_tool_headers PRIVATE ${tool_levels})
  target_precompile_headers(quorvex_tool_headers PRIVATE
    <algorithm> <chrono> <filesystem> <fstream> <functional> <iostream> <map> <memory> <mutex> <optional>
    <set> <sstream> <string> <thread> <unordered_map> <variant> <vector>)
endif()

# quorvex_library(NAME [TOOL [FAST]] SOURCES... [LINK libraries...]): one library a folder. FAST is for the code
# of a tool that reads gigabytes.
function(quorvex_library name)
  cmake_parse_arguments(ARG "TOOL;FAST" "" "SOURCES;LINK" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC quorvex_options ${ARG_LINK})
  if(ARG_TOOL)
    set_target_properties(${name} PROPERTIES UNITY_BUILD ${QUORVEX_UNITY} UNITY_BUILD_BATCH_SIZE 10)
  endif()
  if(ARG_TOOL AND NOT ARG_FAST)
    target_compile_options(${name} PRIVATE ${tool_levels})
    if(tool_headers)
      target_precompile_headers(${name} REUSE_FROM quorvex_tool_headers)
    endif()
  endif()
endfunction()
