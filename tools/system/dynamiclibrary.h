// Loading a library while the program runs.
#pragma once

#include <string>

namespace tools::system {

// Loads the library at `path` (UTF-8) and returns the address of its function `name`. Null, with
// the reason in `*error`, if the library can't be loaded or has no such function. A library that
// was loaded stays loaded until the process ends.
void* LoadedFunction(const std::string& path, const char* name, std::string* error);

}  // namespace tools::system
