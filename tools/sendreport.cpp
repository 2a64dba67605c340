#include "tools/sendreport.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <string_view>

#include "tools/command.h"
#include "tools/text.h"

namespace tools {

namespace {

using inspection::checked::Checked;
using inspection::comparison::Outcome;
using inspection::logs::RequestEnd;

constexpr std::size_t kStageWidth = 11;
constexpr std::size_t kAnswerWidth = 10;
constexpr std::size_t kWaitWidth = 8;

enum class Colour { kNone, kGood, kBad, kWarn, kFaint };

std::string Coloured(std::string_view text, Colour colour, const ReportStyle& style) {
  if (!style.colour || colour == Colour::kNone) return std::string(text);
  const char* code = "2";
  if (colour == Colour::kGood) code = "32";
  if (colour == Colour::kBad) code = "31";
  if (colour == Colour::kWarn) code = "33";
  return fmt::format("\x1b[{}m{}\x1b[0m", code, text);
}

std::string AnswerWord(const SentRequest& request) {
  if (!request.answer) return "none";
  const std::string_view word = channel::ActionWord(*request.answer);
  return word.empty() ? std::to_string(*request.answer) : std::string(word);
}

Colour AnswerColour(const SentRequest& request) {
  if (request.end != RequestEnd::kPassedOn) return Colour::kWarn;
  if (request.answer == channel::kActionBlock) return Colour::kBad;
  return request.answer == channel::kActionGoOn ? Colour::kGood : Colour::kWarn;
}

// Addresses are listed; of a file the name and the size.
std::string WhatWasAsked(const SentRequest& request) {
  std::string text = request.payload.value_or("");
  if (request.itemType == channel::kItemRecipients) {
    if (!text.empty() && text.back() == '\0') text.pop_back();
    std::string list;
    for (const char c : text) {
      if (c == '\0') {
        list += ", ";
      } else {
        list += c;
      }
    }
    return list;
  }
  if (request.itemType != channel::kItemFile) return text;
  const std::size_t slash = text.find_last_of("/\\");
  std::string what = request.name.empty() || request.name.starts_with("Exchange")
                         ? text.substr(slash == std::string::npos ? 0 : slash + 1)
                         : request.name;
  if (!request.contentBytes) return what + " (not found)";
  return fmt::format("{} ({} bytes)", what, *request.contentBytes);
}

std::string Wait(const SentRequest& request) {
  if (request.end == RequestEnd::kPassedOn || request.end == RequestEnd::kNotPassedOn) {
    return fmt::format("{:.0f} ms", request.waitMs);
  }
  return std::string(NameOf(request.end));
}

std::string Row(const SentRequest& request, const ReportStyle& style) {
  const std::size_t askedWidth = style.width - kStageWidth - kAnswerWidth - kWaitWidth - 3;
  std::string line = "  ";
  line += Padded(request.stage, kStageWidth);
  line += Padded(Printable(WhatWasAsked(request)), askedWidth);
  line += " ";
  line += Coloured(Padded(AnswerWord(request), kAnswerWidth), AnswerColour(request), style);
  line += Wait(request);
  while (line.ends_with(' ')) line.pop_back();
  return line + "\n";
}

// "12 s", "1 min 35 s", "2 h 05 min".
std::string DurationText(double seconds) {
  const auto whole = static_cast<std::int64_t>(std::ceil(seconds));
  if (whole < 60) return fmt::format("{} s", whole);
  if (whole < 3600) return fmt::format("{} min {:02} s", whole / 60, whole % 60);
  return fmt::format("{} h {:02} min", whole / 3600, whole % 3600 / 60);
}

std::string Verdict(const MailOutcome& outcome, const ReportStyle& style) {
  const std::string after =
      fmt::format(" after {:.0f} ms: {}", outcome.milliseconds, PhraseOf(outcome.checked));
  if (outcome.cancel != 0) {
    return Coloured("blocked", Colour::kBad, style) + after + ", the mail stays open\n";
  }
  if (outcome.tag) {
    return Coloured("tagged", Colour::kWarn, style) +
           Shortened(after + ", goes out with " + outcome.tag->name + ": " + outcome.tag->value,
                     style.width - 8) +
           "\n";
  }
  const bool isChecked = outcome.checked == inspection::checked::Checked::kYes;
  return Coloured("sent", isChecked ? Colour::kGood : Colour::kWarn, style) + after + "\n";
}

}  // namespace

std::string MailReport(const MailOutcome& outcome, const ReportStyle& style) {
  std::string report = Printable(outcome.mail) + "\n";
  if (outcome.error) {
    return report + "  " + Coloured("unreadable", Colour::kBad, style) + ": " +
           Printable(*outcome.error) + "\n";
  }
  if (!outcome.requests.empty()) {
    const std::size_t askedWidth = style.width - kStageWidth - kAnswerWidth - kWaitWidth - 3;
    report += Coloured("  " + Padded("stage", kStageWidth) + Padded("asked", askedWidth) + " " +
                           Padded("answer", kAnswerWidth) + "wait",
                       Colour::kFaint, style) +
              "\n";
  }
  for (const auto& request : outcome.requests) report += Row(request, style);
  report += "  " + Verdict(outcome, style);
  for (const auto& reason : outcome.reasons) {
    report += Wrapped("  because " + TextOf(reason), style.width, 10) + "\n";
  }
  return report;
}

std::string ProgressLine(const Progress& progress, const ReportStyle& style) {
  std::string numbers = fmt::format(" {}", progress.done);
  if (progress.all) numbers += fmt::format(" of {}", *progress.all);
  if (progress.done > 0 && progress.seconds > 0) {
    const double rate = static_cast<double>(progress.done) / progress.seconds;
    numbers += fmt::format(", {:.{}f} a second", rate, rate < 10 ? 1 : 0);
    if (progress.all && *progress.all >= progress.done) {
      numbers +=
          ", " + DurationText(static_cast<double>(*progress.all - progress.done) / rate) + " left";
    }
  }
  constexpr std::size_t kShortestBar = 8;
  if (!progress.all || numbers.size() + 2 + kShortestBar >= style.width) {
    return Padded(numbers.substr(1), std::min(numbers.size() - 1, style.width - 1));
  }
  const std::size_t width = std::min<std::size_t>(style.width - numbers.size() - 3, 40);
  const std::size_t filled =
      width * std::min(progress.done, *progress.all) / std::max<std::size_t>(*progress.all, 1);
  return "[" + std::string(filled, '#') + std::string(width - filled, '.') + "]" + numbers;
}

void Summary::Count(Outcome outcome, Checked checked) {
  ++m_outcomes[static_cast<std::size_t>(outcome)];
  if (outcome != Outcome::kUnreadable) ++m_checked[static_cast<std::size_t>(checked)];
}

void Summary::Interrupt(std::optional<std::size_t> all) {
  m_isInterrupted = true;
  m_interruptedOf = all;
}

std::size_t Summary::All() const {
  return std::accumulate(m_outcomes.begin(), m_outcomes.end(), std::size_t{0});
}

std::string Summary::Line() const {
  std::string line = fmt::format("{}: {} sent, {} blocked, {} tagged", Counted(All(), "mail"),
                                 Of(Outcome::kSent), Of(Outcome::kBlocked), Of(Outcome::kTagged));
  const std::size_t unreadable = Of(Outcome::kUnreadable);
  if (unreadable > 0) line += fmt::format(", {} unreadable", unreadable);
  line += fmt::format("; {} checked, {} in part, {} unchecked", Of(Checked::kYes),
                      Of(Checked::kPart) + Of(Checked::kUnknown), Of(Checked::kNo));
  if (m_isInterrupted) line += fmt::format("; interrupted after {}", All());
  if (m_interruptedOf) line += fmt::format(" of {}", *m_interruptedOf);
  return line + "\n";
}

int Summary::ExitStatus() const {
  if (m_isInterrupted) return kStatusInterrupted;
  if (Of(Outcome::kUnreadable) > 0) return kStatusUnreadable;
  if (Of(Outcome::kBlocked) > 0) return kStatusFindings;
  return All() > Of(Checked::kYes) ? kStatusUnchecked : kStatusDone;
}

}  // namespace tools
