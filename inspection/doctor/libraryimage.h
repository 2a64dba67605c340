// What a Windows program or library says of itself, read from its bytes on any system.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace inspection::doctor {

struct LibraryImage {
  std::int32_t bits = 0;             // 64 or 32; 0 if this isn't one
  std::string version;               // of the file, "1.0.0.0"; empty if it doesn't say
  bool hasSignature = false;         // says nothing about whether it is valid
  std::vector<std::string> imports;  // the libraries that it needs, in the file's order
};

// Never reads outside `bytes`, whatever they are.
LibraryImage ReadLibraryImage(std::string_view bytes);

}  // namespace inspection::doctor
