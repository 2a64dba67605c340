// A folder of a test's own.
#pragma once

#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <system_error>

namespace tests {

// An empty folder below the system's temporary one, removed with all in it at scope end. Processes
// and threads never share one. Throws std::filesystem::filesystem_error if none can be made.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::random_device random;
    do {
      m_path = std::filesystem::temp_directory_path() /
               ("quorvex-" + std::to_string(random()) + "-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(m_path));
  }

  // What is still open may not be removable; that is left behind and fails no test.
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& Path() const { return m_path; }

  // The path of an entry of the folder, both in UTF-8, as the narrow text that the product takes.
  std::string Entry(std::string_view name) const {
    const std::u8string path = (m_path / std::u8string(name.begin(), name.end())).u8string();
    return {path.begin(), path.end()};
  }

 private:
  std::filesystem::path m_path;
};

}  // namespace tests
