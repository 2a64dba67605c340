#include "tests/soak/oracle.h"

#include <algorithm>
#include <set>
#include <string>

#include "channel/protocol.h"

namespace soak {
namespace {

using simulation::mail::MailAddressEntry;
using simulation::mail::MailAttachment;
using simulation::mail::MailModel;

bool Holds(const std::string& text, const char* word) {
  return text.find(word) != std::string::npos;
}

// Depth first, each entry once. An entry without an address counts only if it is a list with an id.
void Collect(const MailAddressEntry& entry, std::set<const MailAddressEntry*>& seen,
             std::vector<std::string>& addresses) {
  if (entry.address) {
    addresses.push_back(*entry.address);
    return;
  }
  if (entry.displayType != 5 || !entry.id) return;
  for (const auto& member : entry.members) {
    if (seen.insert(member.get()).second) Collect(*member, seen, addresses);
  }
}

std::vector<std::string> AddressesOf(const MailModel& mail) {
  std::set<const MailAddressEntry*> seen;
  std::vector<std::string> addresses;
  for (const simulation::mail::MailRecipient& recipient : mail.recipients) {
    if (recipient.entry != nullptr && seen.insert(recipient.entry.get()).second) {
      Collect(*recipient.entry, seen, addresses);
    }
  }
  return addresses;
}

// Only the first "cid:" image matters: an "@" must follow, and the name must be the signature's.
bool HasSignature(const MailModel& mail) {
  if (!mail.body || !mail.htmlBody) return false;
  const std::size_t start = mail.htmlBody->find("src=\"cid:");
  if (start == std::string::npos) return false;
  const std::size_t at = mail.htmlBody->find('@', start);
  return at != std::string::npos &&
         mail.htmlBody->substr(start + 9, at - start - 9) == kSignatureName;
}

// One mail's conversation between add-in and agent.
class Conversation {
 public:
  explicit Conversation(const RandomMail& mail) : m_mail(mail) {
    m_isDead = mail.incident == Incident::kNoAgent;
  }

  Expected Run();

 private:
  enum RuleNumber { kExempt, kForbidden, kWatched, kSubject, kBody, kContent, kSecret, kContract };

  int Ask(const std::string& stage);
  int AskAboutFile(const std::string& stage, const std::string& text, const std::string& name,
                   bool isAttachment);
  int Attachments();
  bool RuleHolds(int rule) const;
  int RulesAnswer(const std::string& stage);
  bool IsFault(const char* kind, const std::string& stage) const {
    return m_mail.fault.kind == kind && m_mail.fault.stage == stage;
  }

  const RandomMail& m_mail;
  Expected m_expected;
  bool m_isDead = false;
  // What the agent has seen.
  bool m_forbidden = false, m_outside = false, m_watched = false, m_exempt = false;
  bool m_stopSubject = false, m_tagBody = false, m_stopContent = false;
  bool m_secret = false, m_contract = false;
  std::set<int> m_spoken;  // rules that have already answered at their stage
};

bool Conversation::RuleHolds(int rule) const {
  const bool holds[] = {m_exempt,  m_forbidden,   m_watched, m_stopSubject,
                        m_tagBody, m_stopContent, m_secret,  m_outside && m_contract};
  return holds[rule];
}

// The first rule that holds decides. A rule for the closing request answers only there; any other
// rule answers once.
int Conversation::RulesAnswer(const std::string& stage) {
  const int answers[] = {4, 3, 7, 3, 7, 3, 3, 7};
  for (int rule = kExempt; rule <= kContract; ++rule) {
    if (!RuleHolds(rule)) continue;
    const bool atClose = rule == kForbidden || rule == kWatched || rule == kContract;
    if (atClose) return stage == "close" ? answers[rule] : 4;
    return m_spoken.insert(rule).second ? answers[rule] : 4;
  }
  return 4;
}

// The value that the check sees: 1 for everything that the channel doesn't pass on.
int Conversation::Ask(const std::string& stage) {
  if (m_isDead) {
    m_expected.requests.push_back(Fate::kDead);
    return 1;
  }
  const int answer = RulesAnswer(stage);
  if (IsFault("crash", stage)) {
    m_isDead = true;
    m_expected.requests.push_back(Fate::kSilent);
    return 1;
  }
  if (IsFault("silent", stage) || IsFault("negative", stage)) {
    m_expected.requests.push_back(Fate::kSilent);
    return 1;
  }
  m_expected.requests.push_back(Fate::kAnswered);
  if (IsFault("early", stage)) return 3;
  return IsFault("odd", stage) ? 1 : answer;
}

int Conversation::AskAboutFile(const std::string& stage, const std::string& text,
                               const std::string& name, bool isAttachment) {
  if (!m_isDead && m_mail.fault.kind == "noblock" && m_mail.fault.stage == "content") {
    m_expected.requests.push_back(Fate::kNoBlock);
    return 1;
  }
  if (!m_isDead) {
    if (stage == "subject") {
      m_exempt = Holds(text, "[exempt]");
      m_stopSubject = Holds(text, "STOP-SUBJECT");
    } else {
      m_tagBody |= stage == "body" && Holds(text, "TAG-BODY");
      m_stopContent |= Holds(text, "STOP-CONTENT");
    }
    if (isAttachment) {
      m_secret |= name.ends_with(".secret") && text.size() >= 100;
      m_contract |= name.starts_with("contract");
    }
  }
  return Ask(stage);
}

// The value for the last attachment that was asked about; 1 if there was none.
int Conversation::Attachments() {
  int result = 1;
  for (const MailAttachment& attachment : m_mail.model.attachments) {
    if (!attachment.fileName) break;
    if (attachment.type == 4) {
      if (!attachment.pathName) break;
      // The agent finds no such file, so no condition on it is met.
      result = AskAboutFile("attachment", "", "", false);
    } else if (attachment.type == 1 || attachment.type == 5) {
      result = AskAboutFile("attachment", attachment.content, *attachment.fileName, true);
    }
    if (channel::IsDecisive(result)) break;
  }
  return result;
}

Expected Conversation::Run() {
  const MailModel& mail = m_mail.model;
  const std::vector<std::string> addresses = AddressesOf(mail);
  int recipients = 1;
  if (!addresses.empty()) {
    for (const std::string& address : addresses) {
      m_forbidden |= !m_isDead && address.ends_with("@forbidden.example");
      m_outside |= !m_isDead && address.ends_with("@outside.example");
    }
    recipients = Ask("recipients");
  }
  if (mail.senderName) {
    if (!m_isDead && IsFault("noblock", "sender")) {
      m_expected.requests.push_back(Fate::kNoBlock);
    } else {
      m_watched = !m_isDead && mail.senderName->starts_with("Watched ");
      Ask("sender");
    }
  }
  if (!m_isDead && IsFault("noblock", "envelope")) {
    m_expected.requests.push_back(Fate::kNoBlock);
  } else {
    Ask("envelope");
  }

  int result = 2;
  if (recipients == channel::kActionGoOn) {
    result =
        mail.subject.value_or("").empty() ? 1 : AskAboutFile("subject", *mail.subject, "", false);
    if (!channel::IsDecisive(result)) {
      result = mail.body.value_or("").empty() ? 1 : AskAboutFile("body", *mail.body, "", false);
      if (!channel::IsDecisive(result)) {
        result = 1;
        if (HasSignature(mail)) {
          result = AskAboutFile("attachment", kSignatureContent, kSignatureName, true);
        }
        if (!channel::IsDecisive(result)) result = Attachments();
      }
    }
  }
  int closing = 1;
  if (!m_isDead && IsFault("noblock", "close")) {
    m_expected.requests.push_back(Fate::kNoBlock);
  } else {
    closing = Ask("close");
  }
  m_expected.verdict = channel::IsDecisive(closing) ? closing : result;
  m_expected.isAgentDead = m_isDead;
  return m_expected;
}

}  // namespace

Expected ExpectedOf(const RandomMail& mail) {
  return Conversation(mail).Run();
}

}  // namespace soak
