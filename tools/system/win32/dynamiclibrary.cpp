#include "tools/system/dynamiclibrary.h"

#include <windows.h>

#include <filesystem>

namespace tools::system {

void* LoadedFunction(const std::string& path, const char* name, std::string* error) {
  const std::filesystem::path file(reinterpret_cast<const char8_t*>(path.c_str()));
  const HMODULE library = LoadLibraryW(file.c_str());
  if (library == nullptr) {
    *error = path + " can't be loaded: error " + std::to_string(GetLastError());
    return nullptr;
  }
  const FARPROC function = GetProcAddress(library, name);
  if (function == nullptr) *error = path + " has no function " + name;
  return reinterpret_cast<void*>(function);
}

}  // namespace tools::system
