// What the simulated agent was told to answer: the contents of a rules file.
//
// samples/rules.toml is the manual of the file's language; the names here follow it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "channel/protocol.h"
#include "simulation/agent/pattern.h"

namespace simulation::agent {

// What a request of the add-in is about. The three kinds of file all come as the same type of item
// and are told apart by the item's name, so they are known only once the block is read.
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

// Patterns of which one has to match. An empty list asks nothing.
using PatternList = std::vector<Pattern>;

// What one single attachment has to fulfil, all of it.
struct AttachmentCondition {
  PatternList name;
  PatternList content;
  std::optional<std::uint64_t> minSize;  // in bytes, inclusive
  std::optional<std::uint64_t> maxSize;  // in bytes, inclusive
};

// What a mail has to fulfil, all of it. With nothing in it every mail does.
struct Conditions {
  PatternList recipients;     // at least one recipient matches
  PatternList recipientsAll;  // there are recipients, and each one matches
  PatternList sender;
  PatternList subject;
  PatternList body;
  PatternList content;  // the body, or the content of at least one attachment
  std::optional<AttachmentCondition> attachment;

  // True if only recipients and sender are asked about.
  bool EnvelopeOnly() const;
};

struct Rule {
  std::string name;  // for messages: its own, or "rule 3"
  Conditions conditions;
  std::int32_t answer = 0;
  bool atClose = false;  // held for the closing request
};

enum class FaultKind : std::uint8_t {
  kAnswer,   // an answer of its own, or a late one, or both
  kSilent,   // no answer
  kNoBlock,  // the block isn't made
  kCrash,    // the agent's process ends on the spot
};

// Something that a well-behaved agent doesn't do.
struct Fault {
  std::string name;
  Conditions conditions;
  StageSet stages = kAllStages;
  FaultKind kind = FaultKind::kAnswer;
  std::optional<std::int32_t> answer;  // kAnswer: absent for what the rules say
  std::uint32_t late = 0;              // kAnswer: milliseconds before the answer is stored
  std::uint32_t every = 1;             // each so-manieth request that it applies to
  std::uint32_t times = 0;             // so often at most; 0: no limit
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
  // What is allowed but may not do what its author thinks.
  std::vector<RulesRemark> notes;
};

// Reads the text of a rules file (TOML 1.0, UTF-8).
RulesFile ParseRules(std::string_view text);

// Reads the rules file at `path` (UTF-8). A file that can't be read is a mistake without a line
// (0). Files of more than a megabyte are refused.
RulesFile LoadRules(const std::string& path);

// `path:line:column: message`, or `path: message` where there is no line.
std::string RemarkText(std::string_view path, const RulesRemark& remark);

}  // namespace simulation::agent
