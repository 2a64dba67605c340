// The rules file. The input is its text. A file is either usable or has mistakes with places inside
// it, and what is usable holds only stages and counts that the agent knows.
#include "simulation/agent/rules.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "fuzz/fuzzing.h"

namespace {

using fuzzing::Require;
using simulation::agent::FaultKind;
using simulation::agent::RulesFile;
using simulation::agent::RulesRemark;

void CheckRemarks(const std::vector<RulesRemark>& remarks, std::size_t lines) {
  for (const RulesRemark& remark : remarks) {
    Require(!remark.message.empty(), "a remark says something");
    Require(remark.line >= 1 && remark.line <= lines, "a remark's line is in the file");
    Require(remark.column >= 1, "columns count from 1");
  }
}

void CheckRules(const simulation::agent::RuleSet& rules) {
  for (const auto& rule : rules.rules) {
    Require(!rule.name.empty(), "a rule has a name");
  }
  for (const auto& fault : rules.faults) {
    Require(!fault.name.empty(), "a fault has a name");
    Require(fault.every >= 1, "a fault applies to some request");
    Require((fault.stages & ~simulation::agent::kAllStages) == 0, "only stages that exist");
    Require(fault.kind != FaultKind::kAnswer || fault.answer || fault.late > 0,
            "a fault does something");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzzing::ExactBytes text({reinterpret_cast<const char*>(data), size});
  const RulesFile file = simulation::agent::ParseRules(text.View());
  const auto lines = static_cast<std::size_t>(std::count(data, data + size, '\n')) + 1;
  CheckRemarks(file.mistakes, lines);
  CheckRemarks(file.notes, lines);
  Require(std::is_sorted(file.mistakes.begin(), file.mistakes.end(),
                         [](const RulesRemark& a, const RulesRemark& b) {
                           return std::pair(a.line, a.column) < std::pair(b.line, b.column);
                         }),
          "mistakes are in the file's order");
  if (!file.mistakes.empty()) return 0;
  CheckRules(file.rules);

  // Every [[rule]] is read: one more at the end is one more rule.
  const std::string longer = std::string(text.View()) + "\n[[rule]]\nanswer = \"block\"\n";
  const RulesFile more = simulation::agent::ParseRules(longer);
  if (!more.mistakes.empty()) return 0;  // "rule" was written as a list of its own
  Require(more.rules.rules.size() == file.rules.rules.size() + 1, "one more rule");
  Require(more.rules.rules.back().answer == channel::kActionBlock, "with its own answer");
  Require(more.rules.faults.size() == file.rules.faults.size(), "and no other fault");
  return 0;
}
