// What there is on a PC that decides whether the add-in works there. Plain facts, without any
// judgement: `Judge` in judge.h makes findings of them.
//
// A machine is described on Windows and can be judged anywhere: MachineJson and ReadMachine carry
// it in a bundle. Texts are UTF-8. A `problem` says why something couldn't be looked at; it is
// empty if it could be.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace inspection::doctor {

// An installed Outlook.
struct Outlook {
  std::string kind;           // "click-to-run" or "msi"
  std::int32_t version = 16;  // 12 to 16
  std::int32_t bits = 0;      // 64 or 32; 0 if unknown
  std::string path;           // of OUTLOOK.EXE; empty if unknown
  bool isFileThere = false;
};

// The add-in's class, as one hive and one registry view have it.
struct Registration {
  std::string hive;       // "HKLM" or "HKCU"
  std::int32_t view = 0;  // 64 or 32: the programs that see it
  std::string library;    // the path in InprocServer32; may be empty
  std::string threadingModel;
  bool isNamed = true;  // the name Quorvex.Connect leads to the class here
};

// A library that a registration names.
struct Library {
  std::string path;
  bool isThere = false;
  std::string problem;    // why it couldn't be read
  std::int32_t bits = 0;  // 64 or 32; 0 if it isn't a Windows library
  std::string version;    // "1.0.0.0"; empty without a version resource
  // "valid", "none", "invalid" (changed, expired or not trusted), or empty if not checked.
  std::string signature;
  std::string publisher;             // the signer's name
  std::optional<bool> isTrusted;     // the signer is in the store of trusted publishers
  std::vector<std::string> missing;  // libraries that it needs and the PC doesn't have
};

// The key that makes Outlook load the add-in, in one hive and view.
struct LoadKey {
  std::string hive;       // "HKLM", "HKCU", or "Click-to-Run" for Office's own copy of HKLM
  std::int32_t view = 0;  // 64 or 32
  std::optional<std::uint32_t> behavior;  // LoadBehavior; absent if the value is missing
};

// Where Outlook remembers that the add-in misbehaved.
struct ResiliencyEntry {
  std::string list;  // "disabled", "crashing", "slow"
  std::string key;   // where the entry is
};

// Policies and user settings of the Outlook that is judged. Absent: not set.
struct Policies {
  std::optional<std::string> managed;          // this add-in's value in the list of managed add-ins
  std::optional<std::uint32_t> listOnly;       // RestrictToList
  std::optional<std::uint32_t> requireSigned;  // RequireAddinSig
  std::optional<std::uint32_t> disableAll;     // DisableAllAddins
};

struct Connect {
  std::string time;  // "2026-11-21 08:01:12"
  std::optional<std::uint32_t>
      milliseconds;  // how long Outlook waited; absent: Outlook disabled it
};

struct RunningOutlook {
  std::uint32_t processId = 0;
  std::string problem;        // why its libraries couldn't be listed
  std::string loadedLibrary;  // the full path of the DlpAddIn.dll it has loaded; empty: none
};

// One settings file where programs of one bitness look for it.
struct SettingsFile {
  std::int32_t bits = 0;
  std::string path;
  bool isThere = false;
  std::string problem;
  std::vector<std::string> remarks;  // what the check of the file says
  bool areValuesChecked = true;      // false: this build can't check all values
};

// A folder that a log goes to.
struct LogFolder {
  std::int32_t bits = 0;  // which Logger.cfg names it
  std::string path;
  bool isThere = false;
  bool isWritable = false;
  std::optional<std::uint64_t> freeBytes;  // that this user may fill; absent if unknown
};

struct Agent {
  bool isThere = false;
  std::string problem;              // why the ring couldn't be opened
  std::vector<std::string> faults;  // of the ring, each a sentence
  std::string access;               // the ring's access list (SDDL); empty if unknown
  std::string request;  // "answered", "refused", "not taken", "not answered"; empty: not asked
  std::int32_t answer = 0;
  std::uint32_t milliseconds = 0;  // until the answer
};

struct TemporaryFolder {
  std::string path;
  bool isThere = false;
  bool isWritable = false;
  std::uint32_t leftovers = 0;             // copies of mails that are older than an hour
  std::optional<std::uint64_t> freeBytes;  // as in LogFolder
};

struct SignatureFolder {
  std::string path;
  bool isThere = false;
  std::string problem;
};

struct Machine {
  std::string time;  // when it was described, local time
  std::string computer;
  std::string system;  // "Windows 10.0.19045, 64-bit"
  std::string tool;    // "quorvex 1.0.0, 64-bit"
  std::int32_t systemBits = 64;
  // What couldn't be looked at, each in words: "the event log: access is denied".
  std::vector<std::string> notLooked;
  std::vector<Outlook> outlooks;
  std::vector<RunningOutlook> running;
  std::vector<Registration> registrations;
  std::vector<Library> libraries;
  std::vector<LoadKey> loadKeys;
  std::vector<ResiliencyEntry> resiliency;
  Policies policies;
  std::vector<Connect> connects;       // newest first
  std::vector<SettingsFile> settings;  // vrk.pro
  std::vector<SettingsFile> loggers;   // Logger.cfg
  std::vector<LogFolder> logFolders;
  Agent agent;
  TemporaryFolder temporary;
  SignatureFolder signatures;
};

// The description as indented JSON. Fields may be added later, never renamed.
std::string MachineJson(const Machine& machine);

// Reads what MachineJson wrote; unknown fields are ignored and missing ones keep their default.
// False, with the reason in `*error`, if it isn't such a description.
bool ReadMachine(const std::string& json, Machine* machine, std::string* error);

// The Outlook whose add-in is judged: of those whose program exists the Click-to-Run one, then the
// newest; null without any.
const Outlook* JudgedOutlook(const Machine& machine);

}  // namespace inspection::doctor
