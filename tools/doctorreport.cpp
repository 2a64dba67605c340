#include "tools/doctorreport.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/json.h"
#include "tools/text.h"

namespace tools {

namespace {

using inspection::doctor::Finding;
using inspection::doctor::Library;
using inspection::doctor::Machine;
using inspection::doctor::Outlook;
using inspection::doctor::Severity;

constexpr std::size_t kIndent = 13;

std::string OutlookText(const Outlook& outlook) {
  return fmt::format("{}.0, {}, {}: {}", outlook.version,
                     outlook.bits == 0 ? "bitness unknown" : fmt::format("{}-bit", outlook.bits),
                     outlook.kind == "msi" ? "Windows Installer" : "Click-to-Run", outlook.path);
}

std::string LibraryText(const Library& library) {
  if (!library.isThere) return library.path + ": missing";
  return fmt::format("{}: {}, {}-bit, signature: {}", library.path,
                     library.version.empty() ? "no version" : library.version, library.bits,
                     library.signature.empty() ? "not checked" : library.signature);
}

std::string AgentText(const inspection::doctor::Agent& agent) {
  if (!agent.isThere) return "not running";
  if (agent.request.empty()) return "running, not asked";
  return fmt::format("running; a request was {} after {} ms", agent.request, agent.milliseconds);
}

std::string CountsText(const std::vector<Finding>& findings) {
  std::string text;
  for (const Severity severity :
       {Severity::kProblem, Severity::kWarning, Severity::kNotChecked, Severity::kNote}) {
    const auto count =
        std::count_if(findings.begin(), findings.end(),
                      [severity](const Finding& finding) { return finding.severity == severity; });
    if (count == 0) continue;
    const auto number = static_cast<std::uint64_t>(count);
    text += text.empty() ? ": " : ", ";
    text += severity == Severity::kNotChecked ? fmt::format("{} not checked", number)
                                              : Counted(number, NameOf(severity));
  }
  return text;
}

}  // namespace

std::string DoctorReportText(const Machine& machine, const std::vector<Finding>& findings,
                             std::size_t width) {
  const auto field = [width](std::string_view label, const std::string& text) {
    if (text.empty()) return std::string();
    return Wrapped(Padded(label, kIndent) + text, width, kIndent) + "\n";
  };
  std::string text =
      field("PC", fmt::format("{}, {}, {}", machine.computer, machine.system, machine.time));
  for (const Outlook& outlook : machine.outlooks) text += field("Outlook", OutlookText(outlook));
  for (const Library& library : machine.libraries) text += field("library", LibraryText(library));
  for (const auto& connect : machine.connects) {
    if (connect.milliseconds) {
      text += field("connected", fmt::format("{}, in {} ms", connect.time, *connect.milliseconds));
    }
  }
  text += field("agent", AgentText(machine.agent)) + "\n";
  for (const Finding& finding : findings) {
    text += field(NameOf(finding.severity), finding.what + " [" + finding.id + "]");
    text += field("  found", finding.evidence);
    text += field("  remedy", finding.remedy) + "\n";
  }
  return text + std::string(inspection::doctor::Verdict(findings)) + CountsText(findings) + "\n";
}

std::string DoctorReportJson(const Machine& machine, const std::vector<Finding>& findings) {
  Json list = Json::Array();
  for (const Finding& finding : findings) {
    list.Add(Json::Object()
                 .Add("id", finding.id)
                 .Add("severity", NameOf(finding.severity))
                 .Add("what", finding.what)
                 .Add("evidence", finding.evidence)
                 .Add("remedy", finding.remedy));
  }
  Json outlook;
  if (const Outlook* const judged = JudgedOutlook(machine)) {
    outlook = Json::Object()
                  .Add("kind", judged->kind)
                  .Add("version", judged->version)
                  .Add("bits", judged->bits)
                  .Add("path", judged->path);
  }
  Json libraries = Json::Array();
  for (const Library& library : machine.libraries) {
    libraries.Add(Json::Object()
                      .Add("path", library.path)
                      .Add("exists", library.isThere)
                      .Add("bits", library.bits)
                      .Add("version", library.version)
                      .Add("signature", library.signature));
  }
  const inspection::doctor::Agent& agent = machine.agent;
  return Json::Object()
      .Add("verdict", inspection::doctor::Verdict(findings))
      .Add("computer", machine.computer)
      .Add("time", machine.time)
      .Add("system", machine.system)
      .Add("outlook", outlook)
      .Add("libraries", libraries)
      .Add("agent", Json::Object()
                        .Add("running", agent.isThere)
                        .Add("request", agent.request)
                        .Add("ms", agent.milliseconds))
      .Add("findings", list)
      .Text();
}

}  // namespace tools
