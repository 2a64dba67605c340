// What only Windows has.
#include "tools/system/windowsfacts.h"

#include <sys/utsname.h>
#include <unistd.h>

#include "tools/system/registryview.h"

namespace tools::system {

namespace {

constexpr const char* kNotWindows = "this isn't Windows";

}  // namespace

RegistryKeyContent ReadRegistryKey(Hive, int, const std::string&) {
  return {};
}

SystemFacts ReadSystemFacts() {
  SystemFacts facts;
  facts.bits = static_cast<int>(sizeof(void*) * 8);
  utsname names{};
  if (uname(&names) == 0) {
    facts.name = std::string(names.sysname) + " " + names.release;
    facts.computer = names.nodename;
  }
  return facts;
}

std::vector<RunningProgram> RunningPrograms(const std::string&) {
  return {};
}

std::vector<LoggedEvent> ReadEvents(const std::string&, std::size_t, std::string* problem) {
  *problem = kNotWindows;
  return {};
}

MappingAccess ReadMappingAccess(const std::string&) {
  return {false, kNotWindows, {}};
}

FileSignature ReadFileSignature(const std::string&) {
  return {};
}

bool MayCreateFiles(const std::string& folder) {
  return access(folder.c_str(), W_OK | X_OK) == 0;
}

}  // namespace tools::system
