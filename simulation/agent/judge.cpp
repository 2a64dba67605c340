#include "simulation/agent/judge.h"

#include <utf8cpp/utf8.h>

#include <utility>

#include "channel/protocol.h"
#include "platform/clock.h"

namespace simulation::agent {
namespace {

// A sender that is silent for longer is gone: no request waits longer than about three minutes.
constexpr std::uint32_t kSessionLife = 10 * 60 * 1000;

// The conditions in a set, one bit each.
enum : std::uint32_t {
  kRecipientsMet = 1,
  kRecipientsAllMet = 2,
  kSenderMet = 4,
  kSubjectMet = 8,
  kBodyMet = 16,
  kContentMet = 32,
  kAttachmentMet = 64,
};

std::uint32_t Asked(const Conditions& conditions) {
  std::uint32_t asked = 0;
  if (!conditions.recipients.empty()) asked |= kRecipientsMet;
  if (!conditions.recipientsAll.empty()) asked |= kRecipientsAllMet;
  if (!conditions.sender.empty()) asked |= kSenderMet;
  if (!conditions.subject.empty()) asked |= kSubjectMet;
  if (!conditions.body.empty()) asked |= kBodyMet;
  if (!conditions.content.empty()) asked |= kContentMet;
  if (conditions.attachment) asked |= kAttachmentMet;
  return asked;
}

// Searches a text for patterns and adds a remark for each one that takes too long.
class Searcher {
 public:
  explicit Searcher(std::vector<std::string>* remarks) : m_remarks(remarks) {}

  bool AnyMatches(const PatternList& patterns, std::string_view text) const {
    for (const Pattern& pattern : patterns) {
      const PatternResult result = pattern.Search(text);
      if (result == PatternResult::kMatch) return true;
      if (result == PatternResult::kTooCostly) {
        m_remarks->push_back("the pattern \"" + pattern.Text() +
                             "\" takes too long here and counts as not matching");
      }
    }
    return false;
  }

  // True for an empty list.
  bool Fulfils(const PatternList& patterns, std::string_view text) const {
    return patterns.empty() || AnyMatches(patterns, text);
  }

 private:
  std::vector<std::string>* m_remarks;
};

bool SomeRecipient(const Searcher& searcher, const PatternList& patterns, const SeenMail& mail) {
  for (const std::string& recipient : mail.recipients) {
    if (searcher.AnyMatches(patterns, recipient)) return true;
  }
  return false;
}

bool EachRecipient(const Searcher& searcher, const PatternList& patterns, const SeenMail& mail) {
  for (const std::string& recipient : mail.recipients) {
    if (!searcher.AnyMatches(patterns, recipient)) return false;
  }
  return !mail.recipients.empty();
}

bool FulfilsAttachment(const Searcher& searcher, const AttachmentCondition& condition,
                       const SeenAttachment& attachment, std::string_view text) {
  return attachment.bytes >= condition.minSize.value_or(0) &&
         (!condition.maxSize || attachment.bytes <= *condition.maxSize) &&
         searcher.Fulfils(condition.name, attachment.name) &&
         searcher.Fulfils(condition.content, text);
}

}  // namespace

Stage StageOf(std::uint32_t itemType, std::string_view payload, std::string_view name) {
  if (itemType == channel::kItemFile) {
    if (name == LeafOf(payload)) {
      if (name == channel::kSubjectFile) return Stage::kSubject;
      if (name == channel::kBodyFile) return Stage::kBody;
    }
    return Stage::kAttachment;
  }
  for (const NamedStage& named : kNamedStages) {
    if (named.itemType == itemType) return named.stage;
  }
  return Stage::kUnknown;
}

std::string_view LeafOf(std::string_view path) {
  const std::size_t separator = path.find_last_of("\\/");
  return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

std::vector<std::string> SplitRecipients(std::string_view payload) {
  std::vector<std::string> recipients;
  while (!payload.empty()) {
    const std::size_t end = payload.find('\0');
    recipients.emplace_back(payload.substr(0, end));
    if (end == std::string_view::npos) break;
    payload.remove_prefix(end + 1);
  }
  return recipients;
}

Judge::Judge(RuleSet rules) : m_rules(std::move(rules)), m_faultCounts(m_rules.faults.size()) {}

bool Judge::RefusesBlock(const Sender& sender, std::uint32_t itemType, std::string* because) {
  const auto found = m_sessions.find(sender);
  const bool begins = found == m_sessions.end() || itemType == channel::kItemRecipients;
  const StageSet stages =
      itemType == channel::kItemFile ? kAllFiles : StageBit(StageOf(itemType, {}, {}));
  const Fault* const fault = FaultFor(begins ? NewSession() : found->second, stages, true);
  if (fault == nullptr) return false;
  *because = fault->name;
  if (found != m_sessions.end() && (itemType == channel::kItemClose || begins)) {
    m_sessions.erase(found);
  }
  return true;
}

Ruling Judge::Decide(const ItemRequest& request) {
  Ruling ruling;
  ruling.stage = StageOf(request.itemType, request.payload, request.name);
  const std::uint32_t now = platform::clock.GetTickCount();
  if (ruling.stage == Stage::kRecipients || !m_sessions.contains(request.sender)) {
    DropStaleSessions(now);
    m_sessions.insert_or_assign(request.sender, NewSession());
  }
  Session& session = m_sessions.at(request.sender);
  session.lastTick = now;
  if (request.itemType == channel::kItemFile) {
    TakeFile(request, &session, &ruling);
  } else {
    TakeEnvelope(request, ruling.stage, &session, &ruling);
  }

  ApplyRules(&session, &ruling);
  if (const Fault* const fault = FaultFor(session, StageBit(ruling.stage), false)) {
    ruling.because = fault->name;
    ruling.late = fault->late;
    ruling.crash = fault->kind == FaultKind::kCrash;
    if (fault->answer) ruling.answer = fault->answer;
    if (fault->kind != FaultKind::kAnswer) ruling.answer.reset();
  }
  if (ruling.stage == Stage::kClose) m_sessions.erase(request.sender);
  return ruling;
}

const SeenMail* Judge::MailOf(const Sender& sender) const {
  const auto found = m_sessions.find(sender);
  return found == m_sessions.end() ? nullptr : &found->second.mail;
}

// Rules first, then faults.
const Conditions& Judge::ConditionsAt(std::size_t index) const {
  return index < m_rules.rules.size() ? m_rules.rules[index].conditions
                                      : m_rules.faults[index - m_rules.rules.size()].conditions;
}

Judge::Session Judge::NewSession() const {
  Session session;
  session.met.resize(m_rules.rules.size() + m_rules.faults.size());
  session.spoken.resize(m_rules.rules.size());
  return session;
}

void Judge::DropStaleSessions(std::uint32_t now) {
  std::erase_if(m_sessions,
                [now](const auto& entry) { return now - entry.second.lastTick > kSessionLife; });
}

void Judge::TakeEnvelope(const ItemRequest& request, Stage stage, Session* session,
                         Ruling* ruling) {
  SeenMail& mail = session->mail;
  if (stage == Stage::kRecipients) {
    for (const std::string& recipient : SplitRecipients(request.payload)) {
      mail.recipients.push_back(utf8::replace_invalid(recipient));
    }
  } else if (stage == Stage::kSender) {
    mail.sender = utf8::replace_invalid(request.payload);
  } else {
    return;
  }
  const Searcher searcher(&ruling->remarks);
  for (std::size_t i = 0; i < session->met.size(); ++i) {
    const Conditions& conditions = ConditionsAt(i);
    std::uint32_t& met = session->met[i];
    if (stage == Stage::kSender) {
      if (searcher.AnyMatches(conditions.sender, *mail.sender)) met |= kSenderMet;
    } else {
      if (SomeRecipient(searcher, conditions.recipients, mail)) met |= kRecipientsMet;
      if (!conditions.recipientsAll.empty() &&
          EachRecipient(searcher, conditions.recipientsAll, mail)) {
        met |= kRecipientsAllMet;
      }
    }
  }
}

// The content isn't kept, so all conditions about it are checked now.
void Judge::TakeFile(const ItemRequest& request, Session* session, Ruling* ruling) {
  ruling->file = ReadContentFile(request.payload, kSearchedBytes);
  if (!ruling->file) return;
  std::string text = utf8::replace_invalid(std::exchange(ruling->file->head, {}));
  SeenAttachment attachment;
  if (ruling->stage == Stage::kAttachment) {
    attachment.name = utf8::replace_invalid(request.name.empty() ? LeafOf(request.payload)
                                                                 : std::string_view(request.name));
    attachment.bytes = ruling->file->bytes;
    attachment.sha256 = ruling->file->sha256;
  }
  const Searcher searcher(&ruling->remarks);
  for (std::size_t i = 0; i < session->met.size(); ++i) {
    const Conditions& conditions = ConditionsAt(i);
    std::uint32_t& met = session->met[i];
    if (ruling->stage == Stage::kSubject) {
      if (searcher.AnyMatches(conditions.subject, text)) met |= kSubjectMet;
      continue;
    }
    if (ruling->stage == Stage::kBody && searcher.AnyMatches(conditions.body, text)) {
      met |= kBodyMet;
    }
    if ((met & kContentMet) == 0 && searcher.AnyMatches(conditions.content, text)) {
      met |= kContentMet;
    }
    if (ruling->stage == Stage::kAttachment && conditions.attachment &&
        (met & kAttachmentMet) == 0 &&
        FulfilsAttachment(searcher, *conditions.attachment, attachment, text)) {
      met |= kAttachmentMet;
    }
  }
  if (ruling->stage == Stage::kSubject) {
    session->mail.subject = std::move(text);
  } else if (ruling->stage == Stage::kBody) {
    session->mail.body = std::move(text);
  } else {
    session->mail.attachments.push_back(std::move(attachment));
  }
}

bool Judge::Holds(const Session& session, std::size_t index) const {
  const std::uint32_t asked = Asked(ConditionsAt(index));
  return (session.met[index] & asked) == asked;
}

// Counts each fault that applies, up to the first whose turn it is.
const Fault* Judge::FaultFor(const Session& session, StageSet stages, bool refusing) {
  for (std::size_t i = 0; i < m_rules.faults.size(); ++i) {
    const Fault& fault = m_rules.faults[i];
    FaultCount& count = m_faultCounts[i];
    if ((fault.kind == FaultKind::kNoBlock) != refusing || (fault.stages & stages) == 0 ||
        !Holds(session, m_rules.rules.size() + i)) {
      continue;
    }
    if (fault.times != 0 && count.applied >= fault.times) continue;
    if (++count.matched % fault.every != 0) continue;
    ++count.applied;
    return &fault;
  }
  return nullptr;
}

// The first rule that holds decides. A rule that doesn't wait for the closing request gives its
// answer once and answers "go on" afterwards; the add-in keeps the first one.
void Judge::ApplyRules(Session* session, Ruling* ruling) const {
  ruling->answer = channel::kActionGoOn;
  for (std::size_t i = 0; i < m_rules.rules.size(); ++i) {
    if (!Holds(*session, i)) continue;
    const Rule& rule = m_rules.rules[i];
    if (rule.atClose ? ruling->stage == Stage::kClose : !session->spoken[i]) {
      session->spoken[i] = true;
      ruling->answer = rule.answer;
      ruling->because = rule.name;
    }
    return;
  }
}

}  // namespace simulation::agent
