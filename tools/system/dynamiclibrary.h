// Loading a library while the program runs.
#pragma once

#include <string>

namespace tools::system {

// Loads the library at `path` (UTF-8) and gives the address of its function `name`. Null with the
// reason in words in `*error` if the one can't be loaded or the other isn't in it. A library that
// was loaded stays loaded to the process's end.
void* LoadedFunction(const std::string& path, const char* name, std::string* error);

}  // namespace tools::system
