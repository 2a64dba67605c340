// The contents of a rules file: what the simulated agent answers.
//
// samples/rules.toml documents the format; the names here follow it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "channel/protocol.h"
#include "simulation/agent/pattern.h"

namespace simulation::agent {

// What a request is about. The three kinds of file have the same item type and differ in the item's
// name, which is known only after the block has been read.
enum class Stage : std::uint8_t {
  kRecipients,
  kSender,
  kEnvelope,    // recipients and sender are complete
  kSubject,     // a file
  kBody,        // a file
  kAttachment,  // any other file: an attachment, a referenced file, a signature image
  kClose,       // the mail is complete
  kUnknown,     // an item type that the add-in doesn't know
};

struct NamedStage {
  Stage stage;
  std::uint32_t itemType;
  std::string_view word;  // in rules files and output
};

// Every stage but kUnknown, in the order in which a mail passes through them.
inline constexpr NamedStage kNamedStages[] = {
    {Stage::kRecipients, channel::kItemRecipients, channel::ItemWord(channel::kItemRecipients)},
    {Stage::kSender, channel::kItemSender, channel::ItemWord(channel::kItemSender)},
    {Stage::kEnvelope, channel::kItemEnvelope, channel::ItemWord(channel::kItemEnvelope)},
    {Stage::kSubject, channel::kItemFile, "subject"},
    {Stage::kBody, channel::kItemFile, "body"},
    {Stage::kAttachment, channel::kItemFile, "attachment"},
    {Stage::kClose, channel::kItemClose, channel::ItemWord(channel::kItemClose)},
};

// The stage's word, or "unknown".
std::string_view NameOf(Stage stage);

// A set of stages, one bit each.
using StageSet = std::uint32_t;
constexpr StageSet StageBit(Stage stage) {
  return StageSet{1} << static_cast<unsigned>(stage);
}
inline constexpr StageSet kAllFiles =
    StageBit(Stage::kSubject) | StageBit(Stage::kBody) | StageBit(Stage::kAttachment);
inline constexpr StageSet kAllStages = StageBit(Stage::kUnknown) * 2 - 1;

// One of the patterns has to match. An empty list is no condition.
using PatternList = std::vector<Pattern>;

// Conditions that a single attachment has to meet together.
struct AttachmentCondition {
  PatternList name;
  PatternList content;
  std::optional<std::uint64_t> minSize;  // in bytes, inclusive
  std::optional<std::uint64_t> maxSize;  // in bytes, inclusive
};

// Conditions that a mail has to meet together. Without any, every mail does.
struct Conditions {
  PatternList recipients;     // at least one recipient matches
  PatternList recipientsAll;  // there are recipients, and each one matches
  PatternList sender;
  PatternList subject;
  PatternList body;
  PatternList content;  // the body, or the content of at least one attachment
  std::optional<AttachmentCondition> attachment;

  // True if there are conditions on recipients and sender only.
  bool EnvelopeOnly() const;
};

struct Rule {
  std::string name;  // for messages: the name in the file, or "rule 3"
  Conditions conditions;
  std::int32_t answer = 0;
  bool atClose = false;  // answer only the closing request
};

enum class FaultKind : std::uint8_t {
  kAnswer,   // an answer of its own, or a late one, or both
  kSilent,   // no answer
  kNoBlock,  // the block isn't created
  kCrash,    // the agent's process ends at once
};

// Something that a well-behaved agent doesn't do.
struct Fault {
  std::string name;
  Conditions conditions;
  StageSet stages = kAllStages;
  FaultKind kind = FaultKind::kAnswer;
  std::optional<std::int32_t> answer;  // kAnswer: absent for what the rules say
  std::uint32_t late = 0;              // kAnswer: milliseconds before the answer is stored
  std::uint32_t every = 1;             // every Nth matching request
  std::uint32_t times = 0;             // at most this often; 0: no limit
};

struct RuleSet {
  std::vector<Rule> rules;
  std::vector<Fault> faults;
};

// One remark on a rules file. Lines and columns count from 1, columns in characters.
struct RulesRemark {
  std::uint32_t line = 0;
  std::uint32_t column = 0;
  std::string message;
};

struct RulesFile {
  RuleSet rules;
  // What makes the file unusable, in the file's order; `rules` is then incomplete.
  std::vector<RulesRemark> mistakes;
  // What is allowed but may not do what its author expects.
  std::vector<RulesRemark> notes;
};

// Reads the text of a rules file (TOML 1.0, UTF-8).
RulesFile ParseRules(std::string_view text);

// Reads the rules file at `path` (UTF-8). If that fails there is one mistake, with line 0. Files
// larger than a megabyte are refused.
RulesFile LoadRules(const std::string& path);

// `path:line:column: message`, or `path: message` where there is no line.
std::string RemarkText(std::string_view path, const RulesRemark& remark);

}  // namespace simulation::agent
