// One broken installation in each row: a single change to a healthy PC, and the one finding that it
// must have.
#pragma once

#include "inspection/doctor/machine.h"

namespace tests {

struct BrokenMachine {
  const char* what;
  void (*breakIt)(inspection::doctor::Machine& machine);
  const char* finding;
  const char* severity;
};

// clang-format off
#define BREAK(...) [](inspection::doctor::Machine& m) { __VA_ARGS__; }
inline const BrokenMachine kBrokenMachines[] = {
    // Outlook
    {"no Outlook", BREAK(m.outlooks.clear()), "no-outlook", "problem"},
    {"Outlook's program is missing", BREAK(m.outlooks[0].isFileThere = false), "outlook-file-missing", "problem"},
    {"Outlook's bitness unknown", BREAK(m.outlooks[0].bits = 0), "outlook-bitness-unknown", "not checked"},
    {"a second Outlook of the other bitness", BREAK(m.outlooks.push_back({"msi", 14, 32, "D:\\OUTLOOK.EXE", true})), "outlook-twice", "warning"},
    // Registration and library
    {"class not registered", BREAK(m.registrations.clear()), "not-registered", "problem"},
    {"class registered in the other view", BREAK(m.registrations[0].view = 32), "registered-for-other-bitness", "problem"},
    {"InprocServer32 without a path", BREAK(m.registrations[0].library = ""; m.running.clear()), "registration-broken", "problem"},
    {"Quorvex.Connect doesn't lead to the class", BREAK(m.registrations[0].isNamed = false), "name-missing", "problem"},
    {"threading model Both", BREAK(m.registrations[0].threadingModel = "Both"), "threading-model", "warning"},
    {"threading model missing", BREAK(m.registrations[0].threadingModel = ""), "threading-model", "warning"},
    {"user has another library", BREAK(m.registrations.push_back(m.registrations[0]); m.registrations[0].library = "D:\\old\\DlpAddIn.dll"; m.registrations[1].hive = "HKCU"), "user-registration", "warning"},
    {"library deleted", BREAK(m.libraries[0].isThere = false), "library-missing", "problem"},
    {"library unreadable", BREAK(m.libraries[0].problem = "access is denied"), "library-unreadable", "not checked"},
    {"library not looked at", BREAK(m.libraries.clear()), "library-not-checked", "not checked"},
    {"library is an empty file", BREAK(m.libraries[0].bits = 0), "library-damaged", "problem"},
    {"32-bit library for 64-bit Outlook", BREAK(m.libraries[0].bits = 32), "library-wrong-bitness", "problem"},
    {"library without version", BREAK(m.libraries[0].version = ""), "version-missing", "warning"},
    {"a dependency is missing", BREAK(m.libraries[0].missing = {"libstdc++-6.dll"}), "dependency-missing", "problem"},
    {"signature broken", BREAK(m.libraries[0].signature = "invalid"), "signature-invalid", "problem"},
    {"signed add-ins only, library unsigned", BREAK(m.policies.requireSigned = 1; m.libraries[0].signature = "none"), "unsigned-refused", "problem"},
    {"signed add-ins only, signature not checked", BREAK(m.policies.requireSigned = 1; m.libraries[0].signature = ""), "signature-unknown", "not checked"},
    {"signed add-ins only, publisher not trusted", BREAK(m.policies.requireSigned = 1; m.libraries[0].isTrusted = false), "publisher-untrusted", "problem"},
    // Loading
    {"no load key", BREAK(m.loadKeys.clear()), "load-key-missing", "problem"},
    {"load key in the other view", BREAK(m.loadKeys[0].view = 32), "load-key-for-other-bitness", "problem"},
    {"LoadBehavior missing", BREAK(m.loadKeys[0].behavior.reset()), "load-behavior-missing", "problem"},
    {"LoadBehavior 0", BREAK(m.loadKeys[0].behavior = 0), "load-behavior-off", "problem"},
    {"LoadBehavior 2", BREAK(m.loadKeys[0].behavior = 2), "load-behavior-off", "problem"},
    {"LoadBehavior 2 for this user", BREAK(m.loadKeys.push_back({"HKCU", 0, 2})), "load-behavior-off", "problem"},
    {"LoadBehavior 9", BREAK(m.loadKeys[0].behavior = 9), "load-behavior-on-demand", "problem"},
    {"LoadBehavior 16", BREAK(m.loadKeys[0].behavior = 16), "load-behavior-on-demand", "problem"},
    {"LoadBehavior 1", BREAK(m.loadKeys[0].behavior = 1), "load-behavior-odd", "problem"},
    {"LoadBehavior 3 for this user only", BREAK(m.loadKeys[0].behavior = 2; m.loadKeys.push_back({"HKCU", 0, 3})), "loaded-for-this-user-only", "warning"},
    {"in the list of disabled items", BREAK(m.resiliency = {{"disabled", "HKCU\\...\\DisabledItems"}}), "disabled-by-outlook", "problem"},
    {"in the list of crashing add-ins", BREAK(m.resiliency = {{"crashing", "HKCU\\...\\CrashingAddinList"}}), "blamed-for-crash", "problem"},
    {"in the list of slow add-ins", BREAK(m.resiliency = {{"slow", "HKCU\\...\\NotificationReminderAddinData"}}), "blamed-as-slow", "warning"},
    {"policy: all add-ins disabled", BREAK(m.policies.disableAll = 1), "all-add-ins-disabled", "problem"},
    {"policy: this add-in disabled", BREAK(m.policies.managed = "0"), "disabled-by-policy", "problem"},
    {"policy: users may disable it", BREAK(m.policies.managed = "2"), "managed-by-user", "note"},
    {"policy: a value that doesn't exist", BREAK(m.policies.managed = "yes"), "policy-odd", "warning"},
    {"policy: not in the list", BREAK(m.policies.managed.reset()), "not-managed", "note"},
    {"policy: listed add-ins only", BREAK(m.policies.managed.reset(); m.policies.listOnly = 1), "not-in-list", "problem"},
    {"Outlook disabled it at its last start", BREAK(m.connects[0].milliseconds.reset()), "disabled-at-start", "problem"},
    {"connecting took 1400 ms", BREAK(m.connects[0].milliseconds = 1400), "slow-start", "warning"},
    {"running Outlook hasn't loaded it", BREAK(m.running[0].loadedLibrary = ""), "not-loaded", "problem"},
    {"running Outlook has loaded another file", BREAK(m.running[0].loadedLibrary = "D:\\old\\DlpAddIn.dll"), "other-library-loaded", "warning"},
    {"running Outlook can't be looked into", BREAK(m.running[0].problem = "access is denied"), "modules-unknown", "not checked"},
    // Settings and log
    {"no vrk.pro", BREAK(m.settings[0].isThere = false), "settings-missing", "warning"},
    {"vrk.pro in the other folder", BREAK(m.settings[0].isThere = false; m.settings[1].isThere = true), "settings-in-other-folder", "warning"},
    {"vrk.pro unreadable", BREAK(m.settings[0].problem = "access is denied"), "settings-unreadable", "warning"},
    {"vrk.pro with mistakes", BREAK(m.settings[0].remarks = {"line 2: unknown key"}), "settings-wrong", "warning"},
    {"vrk.pro checked in part", BREAK(m.settings[0].areValuesChecked = false), "settings-values", "note"},
    {"vrk.pro not looked at", BREAK(m.settings.clear()), "settings-not-checked", "not checked"},
    {"no Logger.cfg", BREAK(m.loggers[0].isThere = false), "logger-missing", "note"},
    {"Logger.cfg in the other folder", BREAK(m.loggers[0].isThere = false; m.loggers[1].isThere = true), "logger-in-other-folder", "warning"},
    {"Logger.cfg unreadable", BREAK(m.loggers[0].problem = "access is denied"), "logger-unreadable", "warning"},
    {"Logger.cfg with mistakes", BREAK(m.loggers[0].remarks = {"line 1: unknown type"}), "logger-wrong", "warning"},
    {"Logger.cfg not looked at", BREAK(m.loggers.clear()), "logger-not-checked", "not checked"},
    {"log's folder missing", BREAK(m.logFolders[0].isThere = false), "log-folder-missing", "warning"},
    {"log's folder not writable", BREAK(m.logFolders[0].isWritable = false), "log-folder-not-writable", "warning"},
    {"log's disk full", BREAK(m.logFolders[0].freeBytes = 499 << 20), "log-disk-full", "warning"},
    {"free space for the log unknown", BREAK(m.logFolders[0].freeBytes.reset()), "log-disk-unknown", "not checked"},
    // Agent
    {"no agent", BREAK(m.agent.isThere = false), "no-agent", "problem"},
    {"ring can't be opened", BREAK(m.agent.problem = "access is denied"), "ring-denied", "problem"},
    {"ring's access list unknown", BREAK(m.agent.access = ""), "ring-access-unknown", "not checked"},
    {"ring closed to users", BREAK(m.agent.access = "D:P(A;;GA;;;SY)(A;;GA;;;BA)"), "ring-closed", "problem"},
    {"ring open to everyone", BREAK(m.agent.access = "D:(A;;GA;;;WD)"), "ring-open", "warning"},
    {"ring without an access list", BREAK(m.agent.access = "D:NO_ACCESS_CONTROL"), "ring-open", "warning"},
    {"ring faulty", BREAK(m.agent.faults = {"the consumer has stalled"}), "ring-faulty", "problem"},
    {"ring full", BREAK(m.agent.request = "refused"), "ring-full", "problem"},
    {"agent hangs", BREAK(m.agent.request = "not taken"), "agent-hangs", "problem"},
    {"agent doesn't answer", BREAK(m.agent.request = "not answered"), "agent-silent", "problem"},
    {"agent answers 2", BREAK(m.agent.answer = 2), "agent-odd-answer", "problem"},
    {"agent takes 501 ms", BREAK(m.agent.milliseconds = 501), "agent-slow", "warning"},
    {"agent not asked", BREAK(m.agent.request = ""), "agent-not-asked", "not checked"},
    // Folders and the rest
    {"temporary folder missing", BREAK(m.temporary.isThere = false), "temp-missing", "problem"},
    {"temporary folder not writable", BREAK(m.temporary.isWritable = false), "temp-not-writable", "problem"},
    {"temporary folder's path of 233 bytes", BREAK(m.temporary.path.assign(232, 'x') += '\\'), "temp-too-long", "problem"},
    {"temporary folder's disk full", BREAK(m.temporary.freeBytes = 149 << 20), "temp-disk-full", "warning"},
    {"free space for copies unknown", BREAK(m.temporary.freeBytes.reset()), "temp-disk-unknown", "not checked"},
    {"copies left over", BREAK(m.temporary.leftovers = 3), "temp-leftovers", "warning"},
    {"signatures unreadable", BREAK(m.signatures.problem = "access is denied"), "signatures-unreadable", "warning"},
    {"event log unreadable", BREAK(m.notLooked = {"the event log: access is denied"}), "not-checked", "not checked"},
};
#undef BREAK
// clang-format on

}  // namespace tests
