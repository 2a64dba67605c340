// Helpers of the files that judge a machine.
#pragma once

#include <string>
#include <vector>

#include "inspection/doctor/judge.h"

namespace inspection::doctor {

// The findings so far, and shorter ways to add one.
class Findings {
 public:
  void Problem(std::string id, std::string what, std::string evidence, std::string remedy) {
    Add(Severity::kProblem, std::move(id), std::move(what), std::move(evidence), std::move(remedy));
  }
  void Warning(std::string id, std::string what, std::string evidence, std::string remedy) {
    Add(Severity::kWarning, std::move(id), std::move(what), std::move(evidence), std::move(remedy));
  }
  void NotChecked(std::string id, std::string what, std::string evidence, std::string remedy) {
    Add(Severity::kNotChecked, std::move(id), std::move(what), std::move(evidence),
        std::move(remedy));
  }
  void Note(std::string id, std::string what, std::string evidence) {
    Add(Severity::kNote, std::move(id), std::move(what), std::move(evidence), {});
  }

  std::vector<Finding> Sorted() &&;

 private:
  void Add(Severity severity, std::string id, std::string what, std::string evidence,
           std::string remedy) {
    m_findings.push_back(
        {std::move(id), severity, std::move(what), std::move(evidence), std::move(remedy)});
  }

  std::vector<Finding> m_findings;
};

std::string BitsOf(std::int32_t bits);  // "64-bit"
bool IsSamePath(std::string_view one, std::string_view other);
std::string Joined(const std::vector<std::string>& list);  // "a; b"

// The registration that the judged Outlook uses; null if it finds none.
const Registration* UsedRegistration(const Machine& machine, const Outlook& outlook);
const Library* LibraryAt(const Machine& machine, std::string_view path);

// What Outlook installs and registers: the class and the library.
void JudgeLibrary(const Machine& machine, const Outlook& outlook, Findings* findings);
// What makes Outlook load the library, or keeps it from that.
void JudgeLoading(const Machine& machine, const Outlook& outlook, Findings* findings);
void JudgeSettings(const Machine& machine, const Outlook& outlook, Findings* findings);
void JudgeAgent(const Agent& agent, Findings* findings);
void JudgeFolders(const Machine& machine, Findings* findings);

}  // namespace inspection::doctor
