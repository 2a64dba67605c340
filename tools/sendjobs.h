// Several jobs that share a run's mails, for `quorvex send --jobs N`.
//
// Each job is a process of its own, because the add-in's state is one for each process. It runs
// `quorvex send` with the same mails and the hidden option --job, and sends every Nth of them. What
// it prints are JobLines, which the first process puts into the mails' order.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/sendloop.h"
#include "tools/sendoptions.h"
#include "tools/sentmail.h"
#include "tools/system/stopsignal.h"

namespace tools {

inline constexpr std::size_t kMostJobs = 32;

// What --job says.
struct Job {
  JobPart part;
  WantedTexts wanted;
  ReportStyle style;
};
std::string TextOf(const Job& job);
// Absent if the text isn't one of TextOf.
std::optional<Job> JobOf(const std::string& text);

// A mail in lines, each ended by LF: its texts as JSON strings, the result as it is, and at last
// its outcome.
std::string JobLines(const SentMail& mail);
// After the last mail.
inline constexpr std::string_view kJobDone = "done";

// Puts a mail together again.
class JobReader {
 public:
  // Takes the next line. True if it was the mail's last; then Mail is complete. Raises
  // std::runtime_error if it is no line of JobLines.
  bool Take(std::string_view line);
  const SentMail& Mail() const { return m_mail; }
  void Clear() { m_mail = {}; }

 private:
  SentMail m_mail;
};

// Runs the jobs and passes on each mail, in the order in which one job would send them. Returns
// early if `stop` is set. Ends the command with CommandError if a job fails.
void SendInJobs(const SendOptions& options, const WantedTexts& wanted, const ReportStyle& style,
                const tools::system::StopSignal& stop,
                const std::function<void(const SentMail&)>& take);

}  // namespace tools
