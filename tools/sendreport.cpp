#include "tools/sendreport.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "channel/agentchannel.h"
#include "tools/text.h"

namespace tools {

namespace {

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

std::string AnswerWord(const simulation::agent::JournalRequest& request) {
  if (request.outcome == simulation::agent::kOutcomeRefused) return "no block";
  if (!request.answer) return "none";
  const std::string_view word = channel::ActionWord(*request.answer);
  return word.empty() ? fmt::format("{}", *request.answer) : std::string(word);
}

Colour AnswerColour(const simulation::agent::JournalRequest& request) {
  if (!request.answer || request.outcome != simulation::agent::kOutcomeTaken) return Colour::kWarn;
  if (*request.answer == channel::kActionBlock) return Colour::kBad;
  if (*request.answer == channel::kActionTag) return Colour::kWarn;
  return *request.answer == channel::kActionGoOn ? Colour::kGood : Colour::kWarn;
}

// Addresses are listed; a file is told by what it stands for and how large it is.
std::string WhatWasAsked(const simulation::agent::JournalRequest& request) {
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

std::string Wait(const simulation::agent::JournalRequest& request) {
  if (request.outcome == simulation::agent::kOutcomeTaken)
    return fmt::format("{} ms", request.waitedMs);
  return request.outcome.empty() ? "" : std::string(request.outcome);
}

std::string Row(const simulation::agent::JournalRequest& request, const ReportStyle& style) {
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
  const std::string after = fmt::format(" after {:.0f} ms", outcome.milliseconds);
  if (outcome.cancel != 0) {
    return Coloured("blocked", Colour::kBad, style) + after + ": the mail stays open";
  }
  if (outcome.tag) {
    return Coloured("tagged", Colour::kWarn, style) + after + ": goes out with " +
           Printable(outcome.tag->name) + ": " + Printable(outcome.tag->value);
  }
  std::string sent = Coloured("sent", Colour::kGood, style) + after;
  if (!outcome.agentThere) return sent + ": unchecked, since no agent was there";
  if (outcome.action == channel::kActionTag) return sent + ": the tag could not be written";
  // The closing request is made in any case, so that no request at all is the agent's silence.
  if (outcome.requests.empty()) {
    return sent + ": no word of it from the agent, which took no request or keeps no journal";
  }
  const auto recipients = std::find_if(
      outcome.requests.begin(), outcome.requests.end(),
      [](const auto& request) { return request.itemType == channel::kItemRecipients; });
  if (recipients == outcome.requests.end()) {
    return sent + ": content unchecked, since no recipient could be read";
  }
  if (recipients->answer != channel::kActionGoOn ||
      recipients->outcome != simulation::agent::kOutcomeTaken) {
    return sent + ": content unchecked, since the agent did not go on with the recipients";
  }
  return sent;
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
  return report + "  " + Verdict(outcome, style) + "\n";
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
  if (!outcome.error && !outcome.agentThere) ++m_unchecked;
}

std::string Summary::Line() const {
  const std::size_t all = m_sent + m_blocked + m_tagged + m_unreadable;
  std::string line = fmt::format("{} {}: {} sent, {} blocked, {} tagged", all,
                                 all == 1 ? "mail" : "mails", m_sent, m_blocked, m_tagged);
  if (m_unreadable > 0) line += fmt::format(", {} unreadable", m_unreadable);
  if (m_unchecked > 0) line += fmt::format(" ({} unchecked: no agent was there)", m_unchecked);
  return line + "\n";
}

int Summary::ExitStatus() const {
  if (m_unreadable > 0) return 2;
  return m_blocked > 0 ? 1 : 0;
}

}  // namespace tools
