# Debian's header-only libraries, for cross builds too: a folder with links to just these, so that
# no other header of the build machine's system leaks in.
set(quorvex_headers "${CMAKE_BINARY_DIR}/headeronly")
file(MAKE_DIRECTORY "${quorvex_headers}")
foreach(name nlohmann CLI rapidjson toml++ fmt utf8cpp)
  if(NOT EXISTS "/usr/include/${name}")
    message(FATAL_ERROR "The headers /usr/include/${name} are missing; ./test installs them.")
  endif()
  file(CREATE_LINK "/usr/include/${name}" "${quorvex_headers}/${name}" SYMBOLIC)
endforeach()
add_library(quorvex_headeronly INTERFACE)
target_include_directories(quorvex_headeronly SYSTEM INTERFACE "${quorvex_headers}")
# fmt can be used from its headers alone, but then each file that formats compiles all of it, which
# takes 3 seconds. There is no compiled fmt for the cross builds, so we compile it here, once.
add_library(quorvex_fmt STATIC "${CMAKE_CURRENT_LIST_DIR}/fmt.cpp")
target_compile_options(quorvex_fmt PRIVATE ${tool_levels})
target_include_directories(quorvex_fmt SYSTEM PRIVATE "${quorvex_headers}")
target_link_libraries(quorvex_headeronly INTERFACE quorvex_fmt)
