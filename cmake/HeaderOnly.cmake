# Debian's header-only libraries, for cross builds too: a folder with links to just these, so that
# no other header of the build machine's system leaks in.
set(quorvex_headers "${CMAKE_BINARY_DIR}/headeronly")
file(MAKE_DIRECTORY "${quorvex_headers}")
foreach(name nlohmann CLI toml++ fmt)
  if(NOT EXISTS "/usr/include/${name}")
    message(FATAL_ERROR "The headers /usr/include/${name} are missing; ./test installs them.")
  endif()
  file(CREATE_LINK "/usr/include/${name}" "${quorvex_headers}/${name}" SYMBOLIC)
endforeach()
add_library(quorvex_headeronly INTERFACE)
target_include_directories(quorvex_headeronly SYSTEM INTERFACE "${quorvex_headers}")
target_compile_definitions(quorvex_headeronly INTERFACE FMT_HEADER_ONLY)
