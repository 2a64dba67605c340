// What runs on this PC, what its event log says, and who may use what. Nothing here writes. On
// another system than Windows there is nothing to find, and `problem` says so.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tools::system {

// All texts are UTF-8.
struct SystemFacts {
  bool isWindows = false;
  std::string name;  // "Windows 10.0.19045, 64-bit"
  std::string computer;
  int bits = 0;  // of the system
  // The system folders of 64-bit and of 32-bit programs, as this process has to write them; the
  // first is empty on a 32-bit system.
  std::string folder64;
  std::string folder32;
};
SystemFacts ReadSystemFacts();

struct RunningProgram {
  std::uint32_t processId = 0;
  std::string problem;                 // why its libraries can't be listed; empty if they were
  std::vector<std::string> libraries;  // full paths
};
// The running programs with this file name, ignoring case: "outlook.exe".
std::vector<RunningProgram> RunningPrograms(const std::string& name);

struct LoggedEvent {
  std::uint32_t id = 0;
  std::string time;  // local, "2026-11-21 08:01:12"
  std::string text;  // the event's own strings, each followed by LF
};
// The newest events of a source in the log "Application", newest first: at most `most` of them, and
// only from the newest 5000 events of all sources.
std::vector<LoggedEvent> ReadEvents(const std::string& source, std::size_t most,
                                    std::string* problem);

struct MappingAccess {
  bool isThere = false;
  std::string problem;  // why this process can't map it for writing
  std::string list;     // its access list (SDDL); empty if it can't be read
};
MappingAccess ReadMappingAccess(const std::string& name);

struct FileSignature {
  std::string state;  // "valid", "none", "invalid"; empty if it can't be checked
  std::string publisher;
  std::optional<bool> isTrusted;  // the signer's certificate is in the store of trusted publishers
};
// Never asks the network.
FileSignature ReadFileSignature(const std::string& path);

// Whether this user may create files in the folder. Creates none.
bool MayCreateFiles(const std::string& folder);

}  // namespace tools::system
