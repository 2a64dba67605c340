#include "inspection/doctor/judge.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "channel/protocol.h"
#include "inspection/doctor/judging.h"

namespace inspection::doctor {

namespace {

// The five files of a log are 100 MiB each.
constexpr std::uint64_t kLogMiB = 500;

// The add-in copies one attachment at a time. Exchange Online takes mails of at most 150 MB.
constexpr std::uint64_t kCopyMiB = 150;
constexpr std::uint32_t kSlowAnswerMs = 500;
// The add-in's buffers for paths.
constexpr std::size_t kPathBuffer = 260;
// The longest name that the add-in appends to the temporary folder.
constexpr std::size_t kLongestTemporaryName = sizeof("OutlookAttachment.2147483647");

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

const SettingsFile* FileOf(const std::vector<SettingsFile>& files, std::int32_t bits) {
  for (const SettingsFile& file : files) {
    if (file.bits == bits) return &file;
  }
  return nullptr;
}

// True if the file is where this Outlook looks for it and can be read.
bool JudgePlace(const std::vector<SettingsFile>& files, const Outlook& outlook,
                const std::string& id, const std::string& name, const std::string& without,
                Findings* findings) {
  const SettingsFile* const file = FileOf(files, outlook.bits);
  if (file == nullptr) {
    findings->NotChecked(id + "-not-checked", name + " wasn't looked at.", {},
                         "run this again on the PC");
    return false;
  }
  if (!file->problem.empty()) {
    findings->Warning(id + "-unreadable", name + " can't be read.",
                      file->path + ": " + file->problem, "let users read the file");
    return false;
  }
  if (file->isThere) return true;
  for (const SettingsFile& other : files) {
    if (!other.isThere) continue;
    findings->Warning(id + "-in-other-folder",
                      name + " is where " + BitsOf(other.bits) +
                          " programs look for it, and this "
                          "Outlook is " +
                          BitsOf(outlook.bits) + ". " + without,
                      other.path, "put it here: " + file->path);
    return false;
  }
  if (id == "settings") {
    findings->Warning("settings-missing", "There is no " + name + ". " + without, file->path,
                      "put the agent's settings there");
  } else {
    findings->Note("logger-missing", "There is no " + name + ". " + without, file->path);
  }
  return false;
}

// A folder's disk. The findings are ID-full and ID-unknown.
void JudgeSpace(const std::string& id, const std::string& disk, const std::string& folder,
                const std::optional<std::uint64_t>& freeBytes, std::uint64_t neededMiB,
                const std::string& use, Findings* findings) {
  const std::string need = use + " up to " + std::to_string(neededMiB) + " MiB";
  if (!freeBytes) {
    findings->NotChecked(id + "-unknown", "The free space on the " + disk + " isn't known.", folder,
                         "see that there is enough: " + need);
  } else if (*freeBytes < neededMiB << 20) {
    findings->Warning(id + "-full", "The " + disk + " is almost full.",
                      folder + ": " + std::to_string(*freeBytes >> 20) + " MiB free, " + need,
                      "free some space");
  }
}

void JudgeLogFolders(const Machine& machine, const Outlook& outlook, Findings* findings) {
  for (const LogFolder& folder : machine.logFolders) {
    if (folder.bits != outlook.bits) continue;
    if (!folder.isThere) {
      findings->Warning("log-folder-missing", "The log's folder doesn't exist.", folder.path,
                        "make the folder; the add-in doesn't");
    } else if (!folder.isWritable) {
      findings->Warning("log-folder-not-writable",
                        "This user can't create files in the log's folder.", folder.path,
                        "let users create files there");
    } else {
      JudgeSpace("log-disk", "log's disk", folder.path, folder.freeBytes, kLogMiB, "the log takes",
                 findings);
    }
  }
}

void JudgeAccess(const Agent& agent, Findings* findings) {
  if (agent.access.empty()) {
    findings->NotChecked("ring-access-unknown", "Who may use the ring can't be seen.",
                         "Global\\VRKEXPIPE", "run this again as an administrator");
    return;
  }
  bool lacksUsers = false;
  const std::vector<std::string> odd = OddWriters(agent.access, &lacksUsers);
  if (lacksUsers) {
    findings->Problem("ring-closed", "Users' programs may not write to the ring.", agent.access,
                      "the agent must let interactive users map the ring for reading and writing");
  } else if (!odd.empty()) {
    findings->Warning("ring-open", "More than the users of this PC may write to the ring.",
                      Joined(odd) + ": " + agent.access,
                      "the agent should let only interactive users, the system and administrators "
                      "map the ring");
  }
}

void JudgeRequest(const Agent& agent, Findings* findings) {
  const std::string time = std::to_string(agent.milliseconds) + " ms";
  if (agent.request.empty()) {
    findings->NotChecked("agent-not-asked", "The agent wasn't asked.", "Global\\VRKEXPIPE",
                         "run this on the PC without --no-request");
  } else if (agent.request == "refused") {
    findings->Problem("ring-full", "The ring takes no request.", "Global\\VRKEXPIPE",
                      "look at quorvex ring; start the agent again");
  } else if (agent.request == "not taken") {
    findings->Problem("agent-hangs", "The agent is running but takes no requests.",
                      "a request waited " + time, "look at quorvex ring; start the agent again");
  } else if (agent.request == "not answered") {
    findings->Problem("agent-silent", "The agent takes requests but doesn't answer.",
                      "no answer within " + time, "look at quorvex ring; start the agent again");
  } else if (std::none_of(
                 std::begin(channel::kAcceptedActions), std::end(channel::kAcceptedActions),
                 [&](const channel::Action& known) { return known.code == agent.answer; })) {
    findings->Problem("agent-odd-answer",
                      "The agent's answers aren't ones that the add-in accepts.",
                      "answer " + std::to_string(agent.answer),
                      "correct the agent: it answers 3 (block), 4 (go on) or 7 (tag)");
  } else if (agent.milliseconds > kSlowAnswerMs) {
    findings->Warning("agent-slow", "The agent answers slowly; a mail needs six or more requests.",
                      "a request took " + time, "find out what the agent waits for");
  }
}

// An entry of an access list: its type, rights and account.
struct AccessEntry {
  std::string_view type;
  std::string_view rights;
  std::string_view account;
};

AccessEntry EntryOf(std::string_view text) {
  std::array<std::string_view, 6> fields;
  for (std::string_view& field : fields) {
    const std::size_t end = std::min(text.find(';'), text.size());
    field = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return {fields[0], fields[2], fields[5]};
}

// 0x2, the right to map for writing, by number or by a name that includes it.
bool Writes(std::string_view rights) {
  if (rights.starts_with("0x")) {
    const char last = Lower(rights.back());
    return std::string_view("2367abef").find(last) != std::string_view::npos;
  }
  for (std::size_t i = 0; i + 1 < rights.size(); i += 2) {
    const std::string_view right = rights.substr(i, 2);
    if (right == "GA" || right == "GW" || right == "FA" || right == "KA" || right == "DC" ||
        right == "FW") {
      return true;
    }
  }
  return false;
}

}  // namespace

std::string_view NameOf(Severity severity) {
  constexpr std::string_view kNames[] = {"problem", "warning", "not checked", "note"};
  return kNames[static_cast<std::size_t>(severity)];
}

std::vector<Finding> Findings::Sorted() && {
  std::stable_sort(
      m_findings.begin(), m_findings.end(),
      [](const Finding& one, const Finding& other) { return one.severity < other.severity; });
  return std::move(m_findings);
}

std::string BitsOf(std::int32_t bits) {
  return std::to_string(bits) + "-bit";
}

bool IsSamePath(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](char a, char b) { return Lower(a) == Lower(b); });
}

std::string Joined(const std::vector<std::string>& list) {
  std::string text;
  for (const std::string& one : list) text.append(text.empty() ? "" : "; ").append(one);
  return text;
}

const Outlook* JudgedOutlook(const Machine& machine) {
  const Outlook* best = nullptr;
  const auto rank = [](const Outlook& outlook) {
    return std::array<int, 3>{outlook.isFileThere ? 1 : 0, outlook.kind == "click-to-run" ? 1 : 0,
                              outlook.version};
  };
  for (const Outlook& outlook : machine.outlooks) {
    if (best == nullptr || rank(outlook) > rank(*best)) best = &outlook;
  }
  return best;
}

std::vector<std::string> OddWriters(std::string_view sddl, bool* lacksUsers) {
  *lacksUsers = false;
  const std::size_t list = sddl.find("D:");
  if (list == std::string_view::npos || sddl.find("NO_ACCESS_CONTROL") != std::string_view::npos) {
    return {"anyone"};
  }
  sddl.remove_prefix(list);
  bool hasUsers = false;
  std::vector<std::string> odd;
  for (std::size_t at = sddl.find('('); at != std::string_view::npos; at = sddl.find('(', at + 1)) {
    const std::size_t end = std::min(sddl.find(')', at), sddl.size());
    const AccessEntry entry = EntryOf(sddl.substr(at + 1, end - at - 1));
    if (!entry.type.starts_with("A") || entry.type == "AU" || !Writes(entry.rights)) continue;
    const std::string_view who = entry.account;
    hasUsers = hasUsers || who == "IU" || who == "AU" || who == "BU" || who == "WD";
    if (who == "WD") odd.emplace_back("Everyone");
    if (who == "AN") odd.emplace_back("Anonymous");
    if (who == "AU") odd.emplace_back("Authenticated users");
    if (who == "BU") odd.emplace_back("Users");
    if (who == "BG" || who == "LG") odd.emplace_back("Guests");
    if (who == "NU") odd.emplace_back("Network");
  }
  *lacksUsers = !hasUsers;
  return odd;
}

void JudgeSettings(const Machine& machine, const Outlook& outlook, Findings* findings) {
  if (JudgePlace(machine.settings, outlook, "settings", "vrk.pro", "The add-in uses its defaults.",
                 findings)) {
    const SettingsFile& file = *FileOf(machine.settings, outlook.bits);
    if (!file.remarks.empty()) {
      findings->Warning("settings-wrong", "vrk.pro has mistakes.",
                        file.path + ": " + Joined(file.remarks),
                        "quorvex config check explains them");
    } else if (!file.areValuesChecked) {
      findings->Note("settings-values",
                     "The values in vrk.pro weren't all checked; quorvex on Linux "
                     "checks them.",
                     file.path);
    }
  }
  if (!JudgePlace(machine.loggers, outlook, "logger", "Logger.cfg", "The add-in logs nothing.",
                  findings)) {
    return;
  }
  const SettingsFile& file = *FileOf(machine.loggers, outlook.bits);
  if (!file.remarks.empty()) {
    findings->Warning("logger-wrong", "Logger.cfg has mistakes.",
                      file.path + ": " + Joined(file.remarks), "quorvex log check explains them");
  }
  JudgeLogFolders(machine, outlook, findings);
}

void JudgeAgent(const Agent& agent, Findings* findings) {
  if (!agent.problem.empty()) {
    findings->Problem("ring-denied", "The ring is there, but this user can't open it.",
                      "Global\\VRKEXPIPE: " + agent.problem,
                      "the agent must let interactive users map the ring for reading and writing");
    return;
  }
  if (!agent.isThere) {
    findings->Problem("no-agent", "No agent is running: all mails are sent unchecked.",
                      "there is no ring Global\\VRKEXPIPE", "start the agent");
    return;
  }
  JudgeAccess(agent, findings);
  if (!agent.faults.empty()) {
    findings->Problem("ring-faulty", "The ring has faults.", Joined(agent.faults),
                      "look at quorvex ring; start the agent again");
    return;  // not asked either
  }
  JudgeRequest(agent, findings);
}

void JudgeFolders(const Machine& machine, Findings* findings) {
  const TemporaryFolder& temporary = machine.temporary;
  if (!temporary.isThere) {
    findings->Problem("temp-missing",
                      "The temporary folder doesn't exist: subject, body and attachments aren't "
                      "checked.",
                      temporary.path, "make the folder, or correct the variable TEMP");
  } else if (!temporary.isWritable) {
    findings->Problem("temp-not-writable",
                      "The temporary folder isn't writable: subject, body and attachments aren't "
                      "checked.",
                      temporary.path, "let the user create files there");
  } else if (temporary.path.size() + kLongestTemporaryName > kPathBuffer) {
    findings->Problem("temp-too-long",
                      "The temporary folder's path is too long for the add-in's file names.",
                      temporary.path, "set the variable TEMP to a shorter path");
  } else {
    JudgeSpace("temp-disk", "temporary folder's disk", temporary.path, temporary.freeBytes,
               kCopyMiB, "the copy of an attachment takes", findings);
  }
  if (temporary.leftovers > 0) {
    findings->Warning("temp-leftovers",
                      "Copies of mails are left in the temporary folder: Outlook ended during a "
                      "check.",
                      temporary.path + ": " + std::to_string(temporary.leftovers) + " files",
                      "close Outlook and delete ExchangeSubjectContent, ExchangeBodyContent and "
                      "OutlookAttachment.*");
  }
  if (!machine.signatures.problem.empty()) {
    findings->Warning("signatures-unreadable",
                      "The folder of the mail signatures can't be read: signature images aren't "
                      "checked.",
                      machine.signatures.path + ": " + machine.signatures.problem,
                      "let the user read the folder");
  }
}

std::vector<Finding> Judge(const Machine& machine) {
  Findings findings;
  const Outlook* const outlook = JudgedOutlook(machine);
  if (outlook == nullptr) {
    findings.Problem("no-outlook",
                     "There is no classic Outlook here, so the add-in can't be loaded.",
                     "no Click-to-Run or Windows Installer Outlook, versions 12 to 16",
                     "install classic Outlook; the new Outlook doesn't load COM add-ins");
  } else if (outlook->bits == 0) {
    findings.NotChecked("outlook-bitness-unknown",
                        "Outlook doesn't say whether it is 64-bit or 32-bit, so its add-ins and "
                        "settings weren't judged.",
                        outlook->path, "look at File, Office Account, About Outlook");
  } else {
    if (!outlook->isFileThere) {
      findings.Problem("outlook-file-missing", "Outlook is installed, but its program is missing.",
                       outlook->path, "repair Office");
    }
    JudgeLibrary(machine, *outlook, &findings);
    JudgeLoading(machine, *outlook, &findings);
    JudgeSettings(machine, *outlook, &findings);
  }
  for (const Outlook& other : machine.outlooks) {
    if (outlook->bits == other.bits || !other.isFileThere || other.bits == 0) continue;
    findings.Warning("outlook-twice", "Outlook is installed twice, with different bitness.",
                     outlook->path + "; " + other.path, "uninstall the one that isn't used");
  }
  JudgeAgent(machine.agent, &findings);
  JudgeFolders(machine, &findings);
  for (const std::string& what : machine.notLooked) {
    findings.NotChecked("not-checked", "Something couldn't be looked at.", what,
                        "run this again as an administrator");
  }
  return std::move(findings).Sorted();
}

std::string_view Verdict(const std::vector<Finding>& findings) {
  if (findings.empty()) return "working";
  constexpr std::string_view kVerdicts[] = {"not working", "impaired", "unknown", "working"};
  return kVerdicts[static_cast<std::size_t>(findings.front().severity)];
}

}  // namespace inspection::doctor
