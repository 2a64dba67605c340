// Parses a rules file: checks every key, and gives the place of every mistake.
#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "channel/protocol.h"
#include "simulation/agent/rules.h"
#include "simulation/agent/toml.h"
#include "text/suggestion.h"

namespace simulation::agent {
namespace {

using Keys = std::span<const std::string_view>;

constexpr std::array<std::string_view, 2> kFileKeys = {"rule", "fault"};
constexpr std::array<std::string_view, 10> kRuleKeys = {
    "name",   "answer",  "at",   "recipients", "recipients_all",
    "sender", "subject", "body", "content",    "attachment"};
constexpr std::array<std::string_view, 14> kFaultKeys = {
    "name",           "do",     "answer",  "late", "stage",   "every",     "times", "recipients",
    "recipients_all", "sender", "subject", "body", "content", "attachment"};
constexpr std::array<std::string_view, 4> kAttachmentKeys = {"name", "content", "min_size",
                                                             "max_size"};
constexpr std::array<ActionCode, 3> kAnswerCodes = {channel::kActionGoOn, channel::kActionBlock,
                                                    channel::kActionTag};
constexpr std::array<std::string_view, 3> kAnswerWords = {channel::ActionWord(kAnswerCodes[0]),
                                                          channel::ActionWord(kAnswerCodes[1]),
                                                          channel::ActionWord(kAnswerCodes[2])};
constexpr std::array<std::string_view, 2> kAtWords = {"stage", "close"};
constexpr std::array<std::string_view, 3> kFaultWords = {"silent", "no block", "crash"};
constexpr std::array<FaultKind, 3> kFaultKinds = {FaultKind::kSilent, FaultKind::kNoBlock,
                                                  FaultKind::kCrash};

// The words of the stages, and "content" for every file.
constexpr auto kStageWords = [] {
  std::array<std::string_view, std::size(kNamedStages) + 1> words{};
  std::transform(std::begin(kNamedStages), std::end(kNamedStages), words.begin(),
                 [](const NamedStage& named) { return named.word; });
  words.back() = "content";
  return words;
}();

StageSet StagesOfWord(std::size_t word) {
  return word < std::size(kNamedStages) ? StageBit(kNamedStages[word].stage) : kAllFiles;
}

std::string Quoted(std::string_view word) {
  return "\"" + std::string(word) + "\"";
}

std::string_view TypeName(const toml::node& node) {
  switch (node.type()) {
    case toml::node_type::table:
      return "a table";
    case toml::node_type::array:
      return "a list";
    case toml::node_type::string:
      return "text";
    case toml::node_type::integer:
      return "a whole number";
    case toml::node_type::floating_point:
      return "a number with a fraction";
    case toml::node_type::boolean:
      return "true or false";
    default:
      return "a date or a time";
  }
}

// `one, two or three`, each quoted.
std::string Choices(Keys words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i != 0) text += i + 1 == words.size() ? " or " : ", ";
    text += Quoted(words[i]);
  }
  return text;
}

class Reader {
 public:
  explicit Reader(std::string_view text) : m_text(text) {}

  RulesFile Read() {
    try {
      const toml::table file = toml::parse(m_text);
      CheckKeys(file, kFileKeys);
      ForEachTable(file, "rule", [this](const toml::table& table) { ReadRule(table); });
      ForEachTable(file, "fault", [this](const toml::table& table) { ReadFault(table); });
    } catch (const toml::parse_error& wrong) {
      m_result.mistakes.push_back({wrong.source().begin.line, wrong.source().begin.column,
                                   std::string(wrong.description())});
    }
    std::stable_sort(m_result.mistakes.begin(), m_result.mistakes.end(),
                     [](const RulesRemark& a, const RulesRemark& b) {
                       return std::pair(a.line, a.column) < std::pair(b.line, b.column);
                     });
    return std::move(m_result);
  }

 private:
  void Mistake(const toml::source_position& place, std::string message) {
    m_result.mistakes.push_back({place.line, place.column, std::move(message)});
  }

  void WrongType(std::string_view key, const toml::node& value, std::string_view wanted) {
    Mistake(value.source().begin, Quoted(key) + " must be " + std::string(wanted) + ", not " +
                                      std::string(TypeName(value)));
  }

  void CheckKeys(const toml::table& table, Keys known) {
    for (auto&& [key, value] : table) {
      if (std::find(known.begin(), known.end(), key.str()) == known.end()) {
        Mistake(key.source().begin,
                "unknown key " + Quoted(key.str()) + Suggestion(key.str(), known));
      }
    }
  }

  template <typename Function>
  void ForEachTable(const toml::table& file, std::string_view key, Function function) {
    const toml::node* const node = file.get(key);
    if (node == nullptr) return;
    const std::string wanted = "tables, each begun by [[" + std::string(key) + "]]";
    const toml::array* const list = node->as_array();
    if (list == nullptr) {
      WrongType(key, *node, wanted);
      return;
    }
    for (const toml::node& element : *list) {
      if (const toml::table* const table = element.as_table()) {
        function(*table);
      } else {
        WrongType(key, element, wanted);
      }
    }
  }

  // The text under `key`; null when there is none or it is something else.
  const toml::value<std::string>* TextAt(const toml::table& table, std::string_view key) {
    const toml::node* const node = table.get(key);
    if (node == nullptr) return nullptr;
    const auto* const text = node->as_string();
    if (text == nullptr) WrongType(key, *node, "text");
    return text;
  }

  std::optional<std::uint64_t> NumberAt(const toml::table& table, std::string_view key,
                                        std::uint64_t least, std::uint64_t most) {
    const toml::node* const node = table.get(key);
    if (node == nullptr) return std::nullopt;
    const auto* const number = node->as_integer();
    if (number == nullptr) {
      WrongType(key, *node, "a whole number");
      return std::nullopt;
    }
    const std::int64_t value = number->get();
    if (value < 0 || static_cast<std::uint64_t>(value) < least ||
        static_cast<std::uint64_t>(value) > most) {
      Mistake(node->source().begin, Quoted(key) + " must be from " + std::to_string(least) +
                                        " to " + std::to_string(most));
      return std::nullopt;
    }
    return static_cast<std::uint64_t>(value);
  }

  // The index of `text` in `words`; absent, with a mistake recorded, if it isn't one of them.
  std::optional<std::size_t> WordAt(const toml::node& value, std::string_view what,
                                    const std::string& text, Keys words,
                                    std::string_view otherwise = {}) {
    const auto found = std::find(words.begin(), words.end(), text);
    if (found != words.end()) return static_cast<std::size_t>(found - words.begin());
    const std::string suggestion = Suggestion(text, words);
    Mistake(value.source().begin,
            "unknown " + std::string(what) + " " + Quoted(text) +
                (suggestion.empty() ? "; must be " + Choices(words) + std::string(otherwise)
                                    : suggestion));
    return std::nullopt;
  }

  std::optional<std::int32_t> AnswerAt(const toml::table& table) {
    const toml::node* const node = table.get("answer");
    if (node == nullptr) return std::nullopt;
    if (const auto* const number = node->as_integer()) {
      if (number->get() < std::numeric_limits<std::int32_t>::min() ||
          number->get() > std::numeric_limits<std::int32_t>::max()) {
        Mistake(node->source().begin, "\"answer\" doesn't fit into 32 bits");
        return std::nullopt;
      }
      return static_cast<std::int32_t>(number->get());
    }
    const auto* const text = node->as_string();
    if (text == nullptr) {
      WrongType("answer", *node, Choices(kAnswerWords) + ", or a whole number");
      return std::nullopt;
    }
    const auto word = WordAt(*node, "answer", text->get(), kAnswerWords, ", or a whole number");
    if (!word) return std::nullopt;
    return kAnswerCodes[*word];
  }

  // The place in the file of the pattern's character at `offset`. Exact for a literal string on one
  // line, where nothing is escaped; otherwise the place where the string begins.
  toml::source_position PlaceInPattern(const toml::node& node, std::string_view pattern,
                                       std::size_t offset) const {
    toml::source_position place = node.source().begin;
    std::size_t begin = 0;
    for (std::uint32_t line = 1; line < place.line && begin != std::string_view::npos; ++line) {
      begin = m_text.find('\n', begin);
      if (begin != std::string_view::npos) ++begin;
    }
    if (begin == std::string_view::npos) return place;
    const std::string_view line = m_text.substr(begin, m_text.find('\n', begin) - begin);
    if (line.find("'" + std::string(pattern) + "'") != std::string_view::npos) {
      const auto characters =
          std::count_if(pattern.begin(), pattern.begin() + static_cast<std::ptrdiff_t>(offset),
                        [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
      place.column += static_cast<toml::source_index>(characters) + 1;
    }
    return place;
  }

  void AddPattern(std::string_view key, const toml::node& node, PatternList* list) {
    const auto* const text = node.as_string();
    if (text == nullptr) {
      WrongType(key, node, "a pattern (text) or a list of patterns");
      return;
    }
    PatternError error;
    std::optional<Pattern> pattern = Pattern::Compile(text->get(), &error);
    if (pattern) {
      list->push_back(std::move(*pattern));
      return;
    }
    std::string message = "bad pattern under " + Quoted(key);
    toml::source_position place = node.source().begin;
    if (error.offset) {
      const std::size_t offset = std::min(*error.offset, text->get().size());
      message += " at offset " + std::to_string(offset);
      place = PlaceInPattern(node, text->get(), offset);
    }
    Mistake(place, message + ": " + error.message);
  }

  PatternList PatternsAt(const toml::table& table, std::string_view key) {
    PatternList list;
    const toml::node* const node = table.get(key);
    if (node == nullptr) return list;
    const toml::array* const array = node->as_array();
    if (array == nullptr) {
      AddPattern(key, *node, &list);
    } else if (array->empty()) {
      Mistake(node->source().begin, Quoted(key) + " is an empty list, which nothing matches");
    } else {
      for (const toml::node& element : *array) AddPattern(key, element, &list);
    }
    return list;
  }

  Conditions ConditionsOf(const toml::table& table) {
    Conditions conditions;
    conditions.recipients = PatternsAt(table, "recipients");
    conditions.recipientsAll = PatternsAt(table, "recipients_all");
    conditions.sender = PatternsAt(table, "sender");
    conditions.subject = PatternsAt(table, "subject");
    conditions.body = PatternsAt(table, "body");
    conditions.content = PatternsAt(table, "content");
    const toml::node* const node = table.get("attachment");
    if (node == nullptr) return conditions;
    const toml::table* const attachment = node->as_table();
    if (attachment == nullptr) {
      WrongType("attachment", *node, "a table with " + Choices(kAttachmentKeys));
      return conditions;
    }
    CheckKeys(*attachment, kAttachmentKeys);
    constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    AttachmentCondition& condition = conditions.attachment.emplace();
    condition.name = PatternsAt(*attachment, "name");
    condition.content = PatternsAt(*attachment, "content");
    condition.minSize = NumberAt(*attachment, "min_size", 0, kMost);
    condition.maxSize = NumberAt(*attachment, "max_size", 0, kMost);
    if (condition.minSize && condition.maxSize && *condition.minSize > *condition.maxSize) {
      Mistake(attachment->get("min_size")->source().begin,
              "\"min_size\" is larger than \"max_size\", so nothing matches");
    }
    return conditions;
  }

  std::string NameFor(const toml::table& table, std::string_view kind, std::size_t position) {
    const auto* const name = TextAt(table, "name");
    if (name != nullptr) return name->get();
    return std::string(kind) + " " + std::to_string(position + 1);
  }

  void ReadRule(const toml::table& table) {
    const toml::source_position begin = table.source().begin;
    CheckKeys(table, kRuleKeys);
    Rule rule;
    rule.name = NameFor(table, "rule", m_result.rules.rules.size());
    rule.conditions = ConditionsOf(table);
    if (table.get("answer") == nullptr) Mistake(begin, "a rule needs an \"answer\"");
    rule.answer = AnswerAt(table).value_or(0);
    if (const auto* const at = TextAt(table, "at")) {
      rule.atClose = WordAt(*at, "moment", at->get(), kAtWords).value_or(0) == 1;
    }
    if (!rule.atClose && rule.conditions.EnvelopeOnly() && channel::IsDecisive(rule.answer)) {
      m_result.notes.push_back(
          {begin.line, begin.column,
           Quoted(rule.name) + " looks at the envelope only, and an answer to the envelope decides "
                               "nothing: the mail goes out with its content unseen. To block or "
                               "tag it, say at = \"close\""});
    }
    m_result.rules.rules.push_back(std::move(rule));
  }

  StageSet StagesOf(const toml::node& node) {
    const auto add = [this](const toml::node& element) -> StageSet {
      const auto* const text = element.as_string();
      if (text == nullptr) {
        WrongType("stage", element, "a stage (text) or a list of stages");
        return 0;
      }
      const auto word = WordAt(element, "stage", text->get(), kStageWords);
      return word ? StagesOfWord(*word) : 0;
    };
    const toml::array* const list = node.as_array();
    if (list == nullptr) return add(node);
    if (list->empty()) Mistake(node.source().begin, "\"stage\" is an empty list");
    StageSet stages = 0;
    for (const toml::node& element : *list) stages |= add(element);
    return stages;
  }

  void ReadFault(const toml::table& table) {
    const toml::source_position begin = table.source().begin;
    constexpr std::uint64_t kMost = std::numeric_limits<std::int32_t>::max();
    CheckKeys(table, kFaultKeys);
    Fault fault;
    fault.name = NameFor(table, "fault", m_result.rules.faults.size());
    fault.conditions = ConditionsOf(table);
    fault.answer = AnswerAt(table);
    fault.late = static_cast<std::uint32_t>(NumberAt(table, "late", 0, kMost).value_or(0));
    fault.every = static_cast<std::uint32_t>(NumberAt(table, "every", 1, kMost).value_or(1));
    fault.times = static_cast<std::uint32_t>(NumberAt(table, "times", 1, kMost).value_or(0));
    if (const toml::node* const stage = table.get("stage")) fault.stages = StagesOf(*stage);
    if (const auto* const what = TextAt(table, "do")) {
      if (const auto word = WordAt(*what, "fault", what->get(), kFaultWords)) {
        fault.kind = kFaultKinds[*word];
      }
      if (table.get("answer") != nullptr || table.get("late") != nullptr) {
        Mistake(what->source().begin, "\"do\" leaves no room for \"answer\" and \"late\"");
      }
    } else if (table.get("do") == nullptr && table.get("answer") == nullptr &&
               table.get("late") == nullptr) {
      Mistake(begin, "a fault needs \"do\", \"answer\" or \"late\"");
    }
    // Before the block is there, one file looks like another.
    const StageSet files = fault.stages & kAllFiles;
    if (fault.kind == FaultKind::kNoBlock && files != 0 && files != kAllFiles) {
      Mistake(table.get("stage")->source().begin,
              "which file it is isn't known yet when a block is refused; say \"content\"");
    }
    m_result.rules.faults.push_back(std::move(fault));
  }

  std::string_view m_text;
  RulesFile m_result;
};

}  // namespace

RulesFile ParseRules(std::string_view text) {
  return Reader(text).Read();
}

}  // namespace simulation::agent
