#include "tools/sendreport.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "tools/command.h"
#include "tools/text.h"

namespace tools {

namespace {

using inspection::checked::Checked;
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

std::string ProgressLine(std::size_t done, std::size_t all, const ReportStyle& style) {
  const std::string numbers = fmt::format(" {} of {}", done, all);
  const std::size_t room = std::min<std::size_t>(style.width - numbers.size() - 3, 40);
  const std::size_t filled = all == 0 ? 0 : room * done / all;
  return "[" + std::string(filled, '#') + std::string(room - filled, '.') + "]" + numbers;
}

void Summary::Count(const MailOutcome& outcome) {
  if (outcome.error) {
    ++m_unreadable;
  } else if (outcome.cancel != 0) {
    ++m_blocked;
  } else if (outcome.tag) {
    ++m_tagged;
  } else {
    ++m_sent;
  }
  if (!outcome.error) ++m_checked[static_cast<std::size_t>(outcome.checked)];
}

std::string Summary::Line() const {
  const auto count = [this](Checked checked) {
    return m_checked[static_cast<std::size_t>(checked)];
  };
  std::string line = fmt::format("{}: {} sent, {} blocked, {} tagged", Counted(All(), "mail"),
                                 m_sent, m_blocked, m_tagged);
  if (m_unreadable > 0) line += fmt::format(", {} unreadable", m_unreadable);
  line += fmt::format("; {} checked, {} in part, {} unchecked", count(Checked::kYes),
                      count(Checked::kPart) + count(Checked::kUnknown), count(Checked::kNo));
  if (m_interruptedOf) line += fmt::format("; interrupted after {} of {}", All(), *m_interruptedOf);
  return line + "\n";
}

int Summary::ExitStatus() const {
  if (m_interruptedOf) return kStatusInterrupted;
  if (m_unreadable > 0) return kStatusUnreadable;
  if (m_blocked > 0) return kStatusFindings;
  const std::size_t read = All() - m_unreadable;
  return read > m_checked[static_cast<std::size_t>(Checked::kYes)] ? kStatusUnchecked : kStatusDone;
}

}  // namespace tools
