#include "tools/system/commandline.h"

#include <filesystem>
#include <system_error>

namespace tools::system {

std::vector<std::string> CommandLineArguments(int argc, const char* const* argv) {
  return {argv + (argc > 0 ? 1 : 0), argv + argc};
}

std::string OwnProgramPath() {
  std::error_code failure;
  return std::filesystem::read_symlink("/proc/self/exe", failure).string();
}

}  // namespace tools::system
