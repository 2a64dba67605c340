// Temporary folders.
#pragma once

#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <system_error>

namespace tests {

// A new empty folder below the system's temporary one. Throws std::filesystem::filesystem_error if
// it can't be made. The destructor removes it with its contents.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::random_device random;
    do {
      m_path = std::filesystem::temp_directory_path() /
               ("quorvex-" + std::to_string(random()) + "-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(m_path));
  }

  // Files that are still open may be impossible to remove. That isn't an error.
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& Path() const { return m_path; }

  // The path of an entry of the folder in UTF-8.
  std::string Entry(std::string_view name) const {
    const std::u8string path = (m_path / std::u8string(name.begin(), name.end())).u8string();
    return {path.begin(), path.end()};
  }

 private:
  std::filesystem::path m_path;
};

}  // namespace tests
