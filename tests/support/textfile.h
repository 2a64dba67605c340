// Temporary files.
#pragma once

#include <fstream>
#include <string>
#include <string_view>

#include "tests/support/temporaryfolder.h"

namespace tests {

// A temporary file with this content. The destructor removes it.
class TextFile {
 public:
  explicit TextFile(std::string_view content) : m_path(m_folder.Entry("file.txt")) {
    std::ofstream stream(m_folder.Path() / "file.txt", std::ios::binary);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
  }

  const std::string& Path() const { return m_path; }

 private:
  TemporaryFolder m_folder;
  std::string m_path;
};

}  // namespace tests
