// A file of a test's own, with just these bytes in it.
#pragma once

#include <fstream>
#include <string>
#include <string_view>

#include "tests/support/temporaryfolder.h"

namespace tests {

// Written when it is made, removed with its folder at scope end.
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
