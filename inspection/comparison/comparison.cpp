#include "inspection/comparison/comparison.h"

#include <numeric>

#include "inspection/comparison/totals.h"

namespace inspection::comparison {

namespace {

void AddWaits(const RecordedMail& mail, Waits* requests, Waits* mails) {
  for (const RecordedRequest& request : mail.requests) {
    if (request.wait) requests->Add(*request.wait);
  }
  if (mail.time) mails->Add(*mail.time);
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : "; ") + text;
  return joined;
}

std::string OrElse(std::string_view text, const char* otherwise) {
  return std::string(text.empty() ? otherwise : text);
}

// What one run knows about why the mail went as it did.
std::string CauseOfOutcome(const Verdict& verdict) {
  if (verdict.outcome == Outcome::kUnreadable) return "unreadable: " + std::string(verdict.error);
  return OrElse(verdict.decidedBy, "no request blocked or tagged it");
}

std::string CauseOf(Change change, const Verdict& before, const Verdict& after) {
  if (change == Change::kVerdict) return CauseOfOutcome(before) + " -> " + CauseOfOutcome(after);
  return OrElse(before.reasons, "no reason") + " -> " + OrElse(after.reasons, "no reason");
}

}  // namespace

const char* NameOf(Change change) {
  switch (change) {
    case Change::kVerdict:
      return "verdict";
    case Change::kChecked:
      return "checked";
    case Change::kOnlyBefore:
      return "only before";
    case Change::kOnlyAfter:
      break;
  }
  return "only after";
}

Comparison::Comparison(Tell tell, bool withJson) : m_tell(std::move(tell)), m_withJson(withJson) {}

// The same few texts come with every mail.
std::string_view Comparison::Kept(std::string text) {
  return *m_texts.insert(std::move(text)).first;
}

Verdict Comparison::VerdictOf(const RecordedMail& mail) {
  return {mail.outcome,
          mail.checked,
          Kept(mail.tag),
          Kept(DecidedBy(mail)),
          Kept(Joined(mail.reasons)),
          Kept(mail.error)};
}

void Comparison::TakeBefore(const RecordedMail& mail) {
  AddWaits(mail, &m_requestsBefore, &m_mailsBefore);
  const std::size_t index = m_before.size();
  Entry& entry = m_before.emplace_back();
  entry.name = mail.mail;
  entry.verdict = VerdictOf(mail);
  if (m_withJson) entry.json = MailJson(mail);
  const auto [place, isNew] = m_names.try_emplace(entry.name);
  Name& name = place->second;
  if (isNew) {
    name.unpaired = index;
  } else {
    ++m_repeatedBefore;
    m_before[name.last].next = index;
    entry.occurrence = m_before[name.last].occurrence + 1;
  }
  name.last = index;
}

void Comparison::TakeAfter(const RecordedMail& mail) {
  AddWaits(mail, &m_requestsAfter, &m_mailsAfter);
  ++m_after;
  const Verdict verdict = VerdictOf(mail);
  const std::string json = m_withJson ? MailJson(mail) : std::string();
  std::size_t occurrence = 0;
  const auto place = m_names.find(mail.mail);
  if (place == m_names.end()) {
    occurrence = ++m_newNames[mail.mail];
  } else {
    occurrence = ++place->second.seenAfter;
  }
  if (occurrence > 1) ++m_repeatedAfter;
  if (place != m_names.end() && place->second.unpaired != kNone) {
    Entry& before = m_before[place->second.unpaired];
    place->second.unpaired = before.next;
    before.paired = true;
    return TellPair(before, verdict, json);
  }
  TellOne({mail.mail, occurrence, Change::kOnlyAfter, nullptr, &verdict, {}, {}, json});
}

void Comparison::TellPair(const Entry& before, const Verdict& after, std::string_view afterJson) {
  const Verdict& was = before.verdict;
  Difference difference{before.name, before.occurrence, Change::kVerdict, &was, &after,
                        {},          before.json,       afterJson};
  if (was.outcome == after.outcome && was.tag == after.tag) {
    if (was.checked == after.checked) {
      ++m_matrix[static_cast<std::size_t>(was.outcome)][static_cast<std::size_t>(after.outcome)];
      if (was.decidedBy != after.decidedBy) ++m_otherCause;
      if (was.checked == Checked::kUnknown && was.outcome != Outcome::kUnreadable)
        ++m_unknownInBoth;
      return;
    }
    difference.change = Change::kChecked;
  }
  difference.cause = CauseOf(difference.change, was, after);
  TellOne(std::move(difference));
}

void Comparison::TellOne(Difference difference) {
  const auto index = [](const Verdict* verdict) {
    return verdict == nullptr ? kOutcomes : static_cast<std::size_t>(verdict->outcome);
  };
  ++m_matrix[index(difference.before)][index(difference.after)];
  ++m_changes[static_cast<std::size_t>(difference.change)];
  m_tell(difference);
}

void Comparison::Finish() {
  for (const Entry& entry : m_before) {
    if (entry.paired) continue;
    TellOne({entry.name,
             entry.occurrence,
             Change::kOnlyBefore,
             &entry.verdict,
             nullptr,
             {},
             entry.json,
             {}});
  }
}

bool Comparison::AnyChange() const {
  return std::accumulate(m_changes.begin(), m_changes.end(), std::uint64_t{0}) > 0;
}

}  // namespace inspection::comparison
