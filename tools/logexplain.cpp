// `quorvex log explain`: tells what became of each mail, from the add-in's log.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "inspection/logs/logstory.h"
#include "tools/command.h"
#include "tools/htmlpage.h"
#include "tools/logsources.h"
#include "tools/logstatistics.h"
#include "tools/logstorytext.h"
#include "tools/system/stopsignal.h"
#include "tools/system/terminal.h"
#include "tools/text.h"
#include "tools/timeargument.h"

namespace tools {

namespace {

using inspection::checked::Checked;
using inspection::logs::MailStory;

constexpr const char* kExplainHelp =
    "Examples:\n"
    "  quorvex log explain mail.PC17_*.log            all files of a machine's log\n"
    "  quorvex log explain --unchecked --since 2026-11-20 mail.log\n"
    "  quorvex log explain --stats --json mail.log    totals per machine and day\n"
    "  journalctl -o short-iso | quorvex log explain -\n"
    "  quorvex log explain --follow mail.PC17_*.log   what happens now\n\n"
    "Reads the logger's files, what a syslog server made of them, and what `quorvex\n"
    "log listen` writes, also UTF-16 and gzip, and the logs in a bundle. The log has\n"
    "to have Info lines.\n\n"
    "Exit status: 0 every mail was checked, 1 some were not or in part, 2 a file\n"
    "can't be read, 4 the log says too little to tell, 3 wrong usage, or there is no\n"
    "such file. The options that select mails select those that count.";

struct ExplainOptions {
  std::vector<std::string> files;
  std::string html;
  std::string recipient;
  std::string subject;
  std::string since;
  std::string until;
  bool unchecked = false;
  bool blocked = false;
  bool follow = false;
  bool stats = false;
  bool json = false;
};

std::string Lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return text;
}

bool Holds(const std::string& text, const std::string& part) {
  return Lowered(text).find(Lowered(part)) != std::string::npos;
}

// Selects the mails that the options ask for.
class Selection {
 public:
  explicit Selection(const ExplainOptions& options) : m_options(options) {
    if (!options.since.empty()) m_since = TimeArgument(options.since, "--since");
    if (!options.until.empty()) m_until = TimeArgument(options.until, "--until");
  }

  bool Takes(const MailStory& mail) const {
    if (m_options.unchecked && mail.checked == Checked::kYes) return false;
    if (m_options.blocked && mail.outcome != "blocked") return false;
    if (!m_options.subject.empty() && !Holds(mail.subject, m_options.subject)) return false;
    if (!m_options.recipient.empty() &&
        std::none_of(mail.recipients.begin(), mail.recipients.end(),
                     [this](const std::string& one) { return Holds(one, m_options.recipient); })) {
      return false;
    }
    inspection::logs::LogLine line;
    line.time = mail.time;
    const std::string time = inspection::logs::SortableTime(line);
    return time >= m_since && (m_until.empty() || time.substr(0, m_until.size()) <= m_until);
  }

 private:
  const ExplainOptions& m_options;
  std::string m_since;
  std::string m_until;
};

class Explanation {
 public:
  explicit Explanation(const ExplainOptions& options)
      : m_options(options),
        m_selection(options),
        m_width(std::max<std::size_t>(tools::system::TerminalWidth(), 60)),
        m_page(options.html, "Mails in the log"),
        m_stories([this](const MailStory& mail) { Show(mail); }) {}

  int Run() {
    const tools::system::StopSignal stop;
    LogSources sources(m_options.files, m_options.follow);
    sources.ReadAll(&m_stories);
    if (m_options.follow) {
      m_stories.TellEnded();
      std::fflush(stdout);
      sources.Follow(&m_stories, stop.Flag());
    }
    m_stories.Finish();
    m_page.Finish();
    if (m_options.stats) {
      fmt::print("{}", m_options.json ? m_statistics.JsonLines() : m_statistics.Text());
    }
    ShowTotals();
    return Status(sources.IsUnreadable());
  }

 private:
  void Show(const MailStory& mail) {
    if (!m_selection.Takes(mail)) return;
    ++m_mails;
    ++m_checked[static_cast<std::size_t>(mail.checked)];
    if (!m_options.html.empty()) m_page.AddLine(StoryJson(mail).Text());
    if (m_options.stats) {
      m_statistics.Count(mail);
    } else if (m_options.json) {
      fmt::print("{}\n", StoryJson(mail).Text());
    } else {
      fmt::print("{}", StoryText(mail, m_width));
    }
  }

  std::size_t CountOf(Checked checked) const {
    return m_checked[static_cast<std::size_t>(checked)];
  }

  bool UnderstandsNothing() const { return m_stories.Understood() == 0; }
  bool HasNoInfo() const { return !UnderstandsNothing() && m_stories.InfoLines() == 0; }

  void ShowTotals() const {
    std::FILE* const stream = m_options.json ? stderr : stdout;
    if (UnderstandsNothing()) {
      fmt::print(stderr, "quorvex log explain: none of {} is a line of the add-in's log\n",
                 Counted(m_stories.Lines(), "line"));
      return;
    }
    if (HasNoInfo()) {
      fmt::print(stream, "the log has no Info lines; it can't tell which mails were checked\n");
    }
    if (m_stories.Unwatched() > 0) {
      fmt::print(stream, "{} not watched: what is sent from there isn't checked\n",
                 Counted(m_stories.Unwatched(), "inline response"));
    }
    fmt::print(stream, "{}: {} checked, {} in part, {} unchecked, {} unknown; {}, {} foreign\n",
               Counted(m_mails, "mail"), CountOf(Checked::kYes), CountOf(Checked::kPart),
               CountOf(Checked::kNo), CountOf(Checked::kUnknown),
               Counted(m_stories.Lines(), "line"), m_stories.Foreign());
  }

  int Status(bool isUnreadable) const {
    if (isUnreadable) return kStatusUnreadable;
    if (CountOf(Checked::kPart) + CountOf(Checked::kNo) + m_stories.Unwatched() > 0) {
      return kStatusFindings;
    }
    const bool saysTooLittle =
        UnderstandsNothing() || HasNoInfo() || CountOf(Checked::kUnknown) > 0;
    return saysTooLittle ? kStatusUnchecked : kStatusDone;
  }

  const ExplainOptions& m_options;
  Selection m_selection;
  std::size_t m_width;
  MailsPage m_page;
  LogStatistics m_statistics;
  std::size_t m_mails = 0;
  std::array<std::size_t, 4> m_checked{};
  inspection::logs::LogStories m_stories;
};

}  // namespace

Command LogExplainCommand() {
  auto options = std::make_shared<ExplainOptions>();
  const auto flag = [](const char* name, bool* target, const char* help) {
    return Option{.name = name, .target = target, .help = help};
  };
  const auto text = [](const char* name, std::string* target, const char* help, const char* value) {
    return Option{.name = name, .target = target, .help = help, .valueName = value};
  };
  return {
      .name = "explain",
      .summary = "Tell what became of each mail, and why",
      .footer = kExplainHelp,
      .options =
          {{.name = "FILE",
            .target = &options->files,
            .help = "The files of the add-in's log, in any order; - is standard input",
            .required = true},
           text("--recipient", &options->recipient, "Only mails to an address with this text",
                "TEXT"),
           text("--subject", &options->subject, "Only mails whose subject has this text", "TEXT"),
           text("--since", &options->since, "Only mails from this time on (2026-11-21T14:30)",
                "TIME"),
           text("--until", &options->until, "Only mails up to this time, inclusive", "TIME"),
           flag("--unchecked", &options->unchecked, "Only mails that weren't checked completely"),
           flag("--blocked", &options->blocked, "Only mails that were blocked"),
           flag("--stats", &options->stats, "Totals per machine and day instead of each mail"),
           flag("--follow", &options->follow,
                "Go on with what is logged from now on; ends on Ctrl-C"),
           flag("--json", &options->json, "One JSON object a line, one line a mail"),
           text("--html", &options->html, "Also write a page for a browser with every mail",
                "FILE")},
      .run = [options] { return Explanation(*options).Run(); },
  };
}

}  // namespace tools
