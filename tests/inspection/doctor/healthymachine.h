// A PC on which everything works.
#pragma once

#include "inspection/doctor/machine.h"

namespace tests {

inline inspection::doctor::Machine HealthyMachine() {
  const std::string library = "C:\\Program Files\\Quorvex Mail Add-in\\DlpAddIn.dll";
  inspection::doctor::Machine machine;
  machine.time = "2026-11-21 08:15:00";
  machine.computer = "PC17";
  machine.system = "Windows 10.0.19045, 64-bit";
  machine.tool = "quorvex 1.0.0, 64-bit";
  machine.outlooks = {{"click-to-run", 16, 64, "C:\\Office\\root\\Office16\\OUTLOOK.EXE", true}};
  machine.running = {{4711, "", library}};
  machine.registrations = {{"HKLM", 64, library, "Apartment", true}};
  machine.libraries.push_back({.path = library,
                               .isThere = true,
                               .problem = {},
                               .bits = 64,
                               .version = "1.0.0.0",
                               .signature = "valid",
                               .publisher = "Example Ltd",
                               .isTrusted = true,
                               .missing = {}});
  machine.loadKeys = {{"HKLM", 64, 3}};
  machine.policies.managed = "1";
  machine.connects = {{"2026-11-21 08:01:12", 47}};
  machine.settings = {{64, "C:\\Windows\\System32\\zbagent\\vrk.pro", true, "", {}, true},
                      {32, "C:\\Windows\\SysWOW64\\zbagent\\vrk.pro", false, "", {}, true}};
  machine.loggers = {{64, "C:\\Windows\\System32\\Logger.cfg", true, "", {}, true},
                     {32, "C:\\Windows\\SysWOW64\\Logger.cfg", false, "", {}, true}};
  machine.logFolders = {{64, "C:\\ProgramData\\Quorvex", true, true, std::uint64_t{100} << 30}};
  machine.agent = {.isThere = true,
                   .problem = {},
                   .faults = {},
                   .access = "D:P(A;;0x6;;;IU)(A;;0x6;;;SY)(A;;0x6;;;BA)(A;;0x6;;;S-1-3-4)",
                   .request = "answered",
                   .answer = 4,
                   .milliseconds = 41};
  machine.temporary = {"C:\\Users\\ada\\AppData\\Local\\Temp\\", true, true, 0,
                       std::uint64_t{100} << 30};
  machine.signatures = {"C:\\Users\\ada\\AppData\\Roaming\\Microsoft\\Signatures", true, ""};
  return machine;
}

}  // namespace tests
