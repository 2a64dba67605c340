#include <algorithm>

#include "inspection/doctor/judging.h"

namespace inspection::doctor {

namespace {

constexpr std::uint32_t kLoadAtStart = 3;
// Outlook disables an add-in whose median of five starts is longer.
constexpr std::uint32_t kSlowConnectMs = 1000;

std::string PlaceOf(const LoadKey& key) {
  const std::string view = key.view == 0 ? "" : ", " + BitsOf(key.view) + " view";
  return key.hive + "\\...\\Outlook\\Addins\\Quorvex.Connect" + view;
}

bool IsOfUser(const LoadKey& key) {
  return key.hive == "HKCU";
}

// The keys that this Outlook reads: the user's, its own bitness' and Office's own copy.
std::vector<LoadKey> KeysOf(const Machine& machine, const Outlook& outlook) {
  std::vector<LoadKey> keys;
  for (const LoadKey& key : machine.loadKeys) {
    const bool isOfKind = key.hive != "Click-to-Run" || outlook.kind == "click-to-run";
    if (isOfKind && (key.view == 0 || key.view == outlook.bits)) keys.push_back(key);
  }
  std::stable_sort(keys.begin(), keys.end(), [](const LoadKey& one, const LoadKey& other) {
    return IsOfUser(one) && !IsOfUser(other);
  });
  return keys;
}

// The first with a value, or just the first.
const LoadKey& WinnerOf(const std::vector<LoadKey>& keys) {
  const auto found = std::find_if(keys.begin(), keys.end(),
                                  [](const LoadKey& key) { return key.behavior.has_value(); });
  return found == keys.end() ? keys.front() : *found;
}

void JudgeBehavior(const std::vector<LoadKey>& keys, Findings* findings) {
  const LoadKey& winner = WinnerOf(keys);
  if (!winner.behavior) {
    findings->Problem("load-behavior-missing", "The add-in's key doesn't say when to load it.",
                      PlaceOf(winner) + ": no LoadBehavior", "set LoadBehavior to 3 (a DWORD)");
    return;
  }
  const std::uint32_t behavior = *winner.behavior;
  const std::string evidence = PlaceOf(winner) + ": LoadBehavior = " + std::to_string(behavior);
  if (behavior == kLoadAtStart) {
    for (const LoadKey& key : keys) {
      if (IsOfUser(key) || !IsOfUser(winner) || key.behavior == behavior) continue;
      findings->Warning("loaded-for-this-user-only",
                        "Outlook loads the add-in for this user, but not for others.",
                        evidence + "; " + PlaceOf(key) + ": LoadBehavior = " +
                            (key.behavior ? std::to_string(*key.behavior) : "none"),
                        "set the machine's LoadBehavior to 3");
    }
  } else if (behavior == 2 || behavior == 0) {
    findings->Problem(
        "load-behavior-off",
        "Outlook doesn't load the add-in: loading failed before, or the user switched "
        "it off.",
        evidence,
        IsOfUser(winner) ? "set it to 3, or delete the user's value so that the "
                           "machine's counts; remove the other findings first"
                         : "set it to 3; remove the other findings first");
  } else if (behavior == 8 || behavior == 9 || behavior == 16) {
    findings->Problem("load-behavior-on-demand", "Outlook loads the add-in only on demand.",
                      evidence, "set it to 3");
  } else {
    findings->Problem("load-behavior-odd", "LoadBehavior has a value that Outlook doesn't know.",
                      evidence, "set it to 3");
  }
}

void JudgeLoadKeys(const Machine& machine, const Outlook& outlook, Findings* findings) {
  const std::vector<LoadKey> keys = KeysOf(machine, outlook);
  if (!keys.empty()) {
    JudgeBehavior(keys, findings);
  } else if (machine.loadKeys.empty()) {
    findings->Problem("load-key-missing", "Nothing makes Outlook load the add-in.",
                      "no key Software\\Microsoft\\Office\\Outlook\\Addins\\Quorvex.Connect",
                      "install the package; regsvr32 alone doesn't write this key");
  } else {
    findings->Problem("load-key-for-other-bitness",
                      "The key that makes Outlook load the add-in is where this Outlook doesn't "
                      "look.",
                      PlaceOf(machine.loadKeys.front()),
                      "install the " + BitsOf(outlook.bits) + " package");
  }
}

void JudgeResiliency(const Machine& machine, Findings* findings) {
  for (const ResiliencyEntry& entry : machine.resiliency) {
    if (entry.list == "disabled") {
      findings->Problem("disabled-by-outlook", "Outlook has disabled the add-in.", entry.key,
                        "enable it: File, Options, Add-ins, Manage: Disabled Items; then keep it "
                        "enabled by policy");
    } else if (entry.list == "crashing") {
      findings->Problem("blamed-for-crash", "Outlook blames the add-in for a crash.", entry.key,
                        "delete the entry, and send the crash dump to support");
    } else {
      findings->Warning("blamed-as-slow", "Outlook found the add-in slow and may disable it.",
                        entry.key, "keep it enabled by policy");
    }
  }
}

void JudgePolicies(const Policies& policies, Findings* findings) {
  constexpr const char* kList = "Resiliency\\AddinList: Quorvex.Connect";
  if (policies.disableAll.value_or(0) != 0) {
    findings->Problem("all-add-ins-disabled", "A policy disables all add-ins.",
                      "DisableAllAddins = 1", "remove that policy");
  }
  if (!policies.managed) {
    if (policies.listOnly.value_or(0) != 0) {
      findings->Problem("not-in-list", "A policy allows only listed add-ins, and this isn't one.",
                        "RestrictToList = 1, no value Quorvex.Connect", "add Quorvex.Connect = 1");
    } else {
      findings->Note("not-managed",
                     "Users and Outlook may disable the add-in: it isn't in the list of managed "
                     "add-ins.",
                     std::string(kList) + " isn't set");
    }
  } else if (*policies.managed == "0") {
    findings->Problem("disabled-by-policy", "A policy disables the add-in.",
                      std::string(kList) + " = 0", "set it to 1");
  } else if (*policies.managed == "2") {
    findings->Note("managed-by-user", "The policy lets users disable the add-in.",
                   std::string(kList) + " = 2");
  } else if (*policies.managed != "1") {
    findings->Warning("policy-odd", "The policy on the add-in has a value that Outlook ignores.",
                      std::string(kList) + " = " + *policies.managed,
                      "set it to 1, as text (REG_SZ)");
  }
}

void JudgeRunning(const Machine& machine, const Outlook& outlook, Findings* findings) {
  const Registration* const used = UsedRegistration(machine, outlook);
  for (const RunningOutlook& running : machine.running) {
    const std::string process = "process " + std::to_string(running.processId);
    if (!running.problem.empty()) {
      findings->NotChecked("modules-unknown",
                           "Outlook is running; what it has loaded can't be seen.",
                           process + ": " + running.problem,
                           "run this as the same user, with quorvex of Outlook's bitness");
    } else if (running.loadedLibrary.empty()) {
      // Another finding may say why; this says that it matters now.
      findings->Problem("not-loaded", "Outlook is running and hasn't loaded the add-in.", process,
                        "remove the other findings, then start Outlook again; without others, look "
                        "at File, Options, Add-ins");
    } else if (used != nullptr && !IsSamePath(running.loadedLibrary, used->library)) {
      findings->Warning("other-library-loaded",
                        "Outlook is running with another library than the registered one.",
                        process + ": " + running.loadedLibrary + "; registered: " + used->library,
                        "start Outlook again");
    }
  }
}

void JudgeConnects(const std::vector<Connect>& connects, Findings* findings) {
  if (connects.empty()) return;
  const Connect& last = connects.front();
  if (!last.milliseconds) {
    findings->Problem("disabled-at-start", "At its last start, Outlook disabled the add-in.",
                      "event log, " + last.time, "enable it, and keep it enabled by policy");
  } else if (*last.milliseconds > kSlowConnectMs) {
    findings->Warning("slow-start", "Outlook waited long for the add-in at its last start.",
                      "event log, " + last.time + ": " + std::to_string(*last.milliseconds) + " ms",
                      "keep it enabled by policy; look for slow disks or a virus scanner");
  }
}

}  // namespace

void JudgeLoading(const Machine& machine, const Outlook& outlook, Findings* findings) {
  JudgeLoadKeys(machine, outlook, findings);
  JudgeResiliency(machine, findings);
  JudgePolicies(machine.policies, findings);
  JudgeConnects(machine.connects, findings);
  JudgeRunning(machine, outlook, findings);
}

}  // namespace inspection::doctor
