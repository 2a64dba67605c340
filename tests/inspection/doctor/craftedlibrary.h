// The smallest file that says what a Windows library says of itself.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

namespace tests {

// Needs `import`, unless it is empty; has the version 1.2.3.4.
inline std::string CraftedLibrary(int bits, const std::string& import, bool isSigned = false) {
  std::string file(0x400, '\0');
  const auto put = [&file](std::size_t at, std::uint32_t number, std::size_t size = 4) {
    std::memcpy(file.data() + at, &number, size);
  };
  file.replace(0, 2, "MZ");
  put(0x3C, 0x80);
  file.replace(0x80, 2, "PE");
  put(0x84, bits == 64 ? 0x8664 : 0x14C, 2);
  put(0x86, 1, 2);  // sections
  const std::uint32_t optionalSize = bits == 64 ? 0xF0 : 0xE0;
  put(0x94, optionalSize, 2);
  const std::size_t directories = 0x98 + (bits == 64 ? 112 : 96);
  if (!import.empty()) put(directories + 8, 0x1000);  // the import table's address
  if (isSigned) put(directories + 32, 0x3F0);
  const std::size_t section = 0x98 + optionalSize;
  put(section + 12, 0x1000);  // its address
  put(section + 16, 0x200);   // its size
  put(section + 20, 0x200);   // its place in the file
  put(0x200 + 12, 0x1080);    // the imported library's name
  file.replace(0x280, import.size(), import);
  put(0x300, 0xFEEF04BD);
  put(0x304, 0x10000);
  put(0x308, 1u << 16 | 2);
  put(0x30C, 3u << 16 | 4);
  return file;
}

}  // namespace tests
