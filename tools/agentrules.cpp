#include "tools/agentrules.h"

#include <cstdio>
#include <utility>

#include "tools/command.h"
#include "tools/inputfile.h"

namespace tools {

simulation::agent::RuleSet ReadRules(const std::string& path, bool showsNotes) {
  if (path.empty()) return {};
  RequireFile(path, kStatusUsage);
  simulation::agent::RulesFile file = simulation::agent::LoadRules(path);
  for (const simulation::agent::RulesRemark& mistake : file.mistakes) {
    std::fprintf(stderr, "%s\n", simulation::agent::RemarkText(path, mistake).c_str());
  }
  if (!file.mistakes.empty()) {
    throw CommandError("the rules can't be used; the agent wasn't started");
  }
  if (showsNotes) {
    for (simulation::agent::RulesRemark& note : file.notes) {
      note.message = "note: " + note.message;
      std::fprintf(stderr, "%s\n", simulation::agent::RemarkText(path, note).c_str());
    }
  }
  return std::move(file.rules);
}

}  // namespace tools
