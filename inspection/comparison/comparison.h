// Compares two recorded runs over the same mails.
//
// Mails are paired by name. A name that occurs several times in a run is paired in the order of its
// occurrences: the first with the first, and so on.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "inspection/comparison/recordedmail.h"
#include "inspection/comparison/waits.h"

namespace inspection::comparison {

// What is compared of a mail. The texts belong to the Comparison.
struct Verdict {
  Outcome outcome = Outcome::kUnknown;
  Checked checked = Checked::kUnknown;
  std::string_view tag;
  std::string_view decidedBy;  // see DecidedBy in totals.h
  std::string_view reasons;    // why it wasn't checked, joined by "; "
  std::string_view error;      // why it couldn't be read
};

enum class Change {
  kVerdict,     // the outcome or the tag
  kChecked,     // the same outcome, but more or less of the mail was checked
  kOnlyBefore,  // the other run doesn't have the mail
  kOnlyAfter,
};

// "verdict", "checked", "only before", "only after".
const char* NameOf(Change change);

// A mail that isn't the same in both runs. Valid during the call that passes it on.
struct Difference {
  std::string_view mail;
  std::size_t occurrence = 1;  // of this name in its run
  Change change = Change::kVerdict;
  const Verdict* before = nullptr;  // null with kOnlyAfter
  const Verdict* after = nullptr;   // null with kOnlyBefore
  std::string cause;                // by which request, rule or reason; empty if only in one run
  // MailJson of the sides that are there; empty unless asked for.
  std::string_view beforeJson;
  std::string_view afterJson;
};

// Takes first all results of the run before, then all of the run after, then Finish. Memory grows
// with the number of mails in the run before.
class Comparison {
 public:
  using Tell = std::function<void(const Difference&)>;

  // Differences are passed on as soon as they are known: in the order of the run after, at last the
  // mails that only the run before has. `withJson` fills in the Difference's two JSON texts.
  explicit Comparison(Tell tell, bool withJson = false);

  void TakeBefore(const RecordedMail& mail);
  void TakeAfter(const RecordedMail& mail);
  void Finish();

  // Mails with that outcome before and after. The last index, kOutcomes, means that the run
  // doesn't have the mail.
  using Matrix = std::array<std::array<std::uint64_t, kOutcomes + 1>, kOutcomes + 1>;
  const Matrix& Outcomes() const { return m_matrix; }
  std::uint64_t Before() const { return m_before.size(); }
  std::uint64_t After() const { return m_after; }
  std::uint64_t Count(Change change) const { return m_changes[static_cast<std::size_t>(change)]; }
  bool AnyChange() const;
  // The same verdict, but another request or rule decided it. This is no change.
  std::uint64_t OtherCause() const { return m_otherCause; }
  // Occurrences of a name after its first, in each run.
  std::uint64_t RepeatedBefore() const { return m_repeatedBefore; }
  std::uint64_t RepeatedAfter() const { return m_repeatedAfter; }
  // Read mails of which neither run says whether they were checked: equal, but not known to be.
  std::uint64_t UnknownInBoth() const { return m_unknownInBoth; }
  // Per request; and per mail, as long as the host waited.
  const Waits& RequestsBefore() const { return m_requestsBefore; }
  const Waits& RequestsAfter() const { return m_requestsAfter; }
  const Waits& MailsBefore() const { return m_mailsBefore; }
  const Waits& MailsAfter() const { return m_mailsAfter; }

  // Counts, matrix and waits as one JSON object, {"summary": {...}}, without a line end.
  std::string Json() const;

 private:
  struct Entry {
    std::string name;
    Verdict verdict;
    std::string json;
    std::size_t occurrence = 1;
    std::size_t next = kNone;  // the name's next occurrence
    bool paired = false;
  };
  struct Name {
    std::size_t unpaired = kNone;  // its first occurrence that has no partner yet
    std::size_t last = kNone;
    std::size_t seenAfter = 0;
  };
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  std::string_view Kept(std::string text);
  Verdict VerdictOf(const RecordedMail& mail);
  void TellPair(const Entry& before, const Verdict& after, std::string_view afterJson);
  void TellOne(Difference difference);

  Tell m_tell;
  bool m_withJson;
  std::deque<Entry> m_before;
  std::unordered_map<std::string_view, Name> m_names;
  std::unordered_set<std::string> m_texts;
  // Names that only the run after has, with their number of occurrences.
  std::unordered_map<std::string, std::size_t> m_newNames;
  std::uint64_t m_after = 0;
  std::uint64_t m_repeatedBefore = 0;
  std::uint64_t m_repeatedAfter = 0;
  std::uint64_t m_otherCause = 0;
  std::uint64_t m_unknownInBoth = 0;
  Matrix m_matrix{};
  std::array<std::uint64_t, 4> m_changes{};
  Waits m_requestsBefore;
  Waits m_requestsAfter;
  Waits m_mailsBefore;
  Waits m_mailsAfter;
};

// One JSON object, without a line end: {"mail", "occurrence", "change", "before", "after",
// "cause"}.
std::string DifferenceJson(const Difference& difference);

}  // namespace inspection::comparison
