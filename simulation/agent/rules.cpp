#include "simulation/agent/rules.h"

#include "simulation/agent/contentfile.h"

namespace simulation::agent {

std::string_view NameOf(Stage stage) {
  for (const NamedStage& named : kNamedStages) {
    if (named.stage == stage) return named.word;
  }
  return "unknown";
}

bool Conditions::EnvelopeOnly() const {
  return subject.empty() && body.empty() && content.empty() && !attachment;
}

RulesFile LoadRules(const std::string& path) {
  constexpr std::uint64_t kLargest = std::uint64_t{1} << 20;
  const std::optional<ContentFile> file = ReadContentFile(path, kLargest);
  RulesFile result;
  if (!file) {
    result.mistakes.push_back({0, 0, "the file can't be read"});
  } else if (file->bytes > kLargest) {
    result.mistakes.push_back({0, 0, "the file is larger than a megabyte"});
  } else {
    result = ParseRules(file->head);
  }
  return result;
}

std::string RemarkText(std::string_view path, const RulesRemark& remark) {
  std::string text(path);
  if (remark.line != 0) {
    text += ":" + std::to_string(remark.line) + ":" + std::to_string(remark.column);
  }
  return text + ": " + remark.message;
}

}  // namespace simulation::agent
