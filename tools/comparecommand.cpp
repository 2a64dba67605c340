// `quorvex compare`: which mails changed their verdict between two runs, and by what.
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "inspection/comparison/comparison.h"
#include "inspection/report/page.h"
#include "tools/command.h"
#include "tools/comparedrun.h"
#include "tools/htmlpage.h"
#include "tools/resultreport.h"
#include "tools/text.h"

namespace tools {
namespace {

constexpr const char* kCompareHelp =
    "Each run is a file of results recorded with `send --json`, or a rules file\n"
    "(.toml) that answers the mails named after both runs. With --agent the second\n"
    "run is the running agent instead.\n"
    "\n"
    "Examples:\n"
    "  quorvex compare before.jsonl after.jsonl\n"
    "      Every mail whose verdict changed, and the rule or request that changed it.\n"
    "  quorvex compare --fast old.toml new.toml archive/ --html changes.html\n"
    "      What would change if these rules replaced those; also as a page.\n"
    "  quorvex compare recorded.jsonl --agent\n"
    "      Does the running agent decide as recorded? Sends the recorded mails again.\n"
    "\n"
    "Mails are paired by name; a name that occurs again is paired in its order. A\n"
    "change is another outcome or tag, more or less of the mail checked, or a mail\n"
    "that only one run has.\n"
    "Exit status: 0 nothing changed, 1 something did, 2 a file or a line of it can't\n"
    "be read, 3 wrong usage, or the mails can't be sent.";

struct CompareOptions {
  std::vector<std::string> words;  // the runs, then the mails
  std::string filesFrom;
  std::string html;
  std::size_t jobs = 1;
  bool fast = false;
  bool agent = false;
  bool json = false;
  bool summary = false;
};

struct Runs {
  ComparedRun before;
  ComparedRun after;
  MailsToSend mails;
};

using inspection::comparison::Comparison;
using inspection::comparison::Difference;
using inspection::comparison::RecordedMail;

Runs RunsOf(const CompareOptions& options) {
  const std::size_t named = options.agent ? 1 : 2;
  if (options.words.size() < named) throw CommandError("name two runs, or one and --agent");
  Runs runs;
  runs.before = RunNamed(options.words[0]);
  runs.after = options.agent ? ComparedRun{RunKind::kAgent, {}} : RunNamed(options.words[1]);
  runs.mails = {{options.words.begin() + static_cast<std::ptrdiff_t>(named), options.words.end()},
                options.filesFrom,
                options.fast,
                options.jobs};
  const bool sends =
      runs.before.kind != RunKind::kRecorded || runs.after.kind != RunKind::kRecorded;
  if (!sends && !runs.mails.IsEmpty()) throw CommandError("recorded runs need no mails");
  if (runs.before.kind != RunKind::kRecorded && runs.mails.IsEmpty()) {
    throw CommandError("name the mails to send");
  }
  if (options.fast && options.agent) {
    throw CommandError("--fast can't be used with --agent: a running agent needs the real time");
  }
  const auto inputs = std::count(options.words.begin(), options.words.end(), "-") +
                      (options.filesFrom == "-" ? 1 : 0);
  if (inputs > (sends ? 0 : 1)) {
    throw CommandError(sends ? "standard input can't be sent twice; name files"
                             : "only one of the runs can be standard input");
  }
  return runs;
}

// The comparison's differences on standard output and in the page.
class Output {
 public:
  Output(const CompareOptions& options, const Runs& runs) : m_options(options) {
    if (options.html.empty()) return;
    m_file = std::make_unique<HtmlFile>(options.html);
    m_page = std::make_unique<inspection::report::ComparisonPage>(
        m_file->Stream(), ValidUtf8(NameOf(runs.before) + " and " + NameOf(runs.after)),
        PageTime());
  }
  bool HasPage() const { return m_page != nullptr; }

  void Tell(const Difference& difference) {
    if (m_page) m_page->Add(difference);
    if (m_options.json) {
      fmt::print("{}\n", DifferenceJson(difference));
    } else if (!m_options.summary) {
      fmt::print("{}\n", DifferenceText(difference));
    }
  }

  void Finish(const Comparison& comparison) {
    fmt::print("{}", m_options.json ? comparison.Json() + "\n" : ComparisonText(comparison));
    if (!m_page) return;
    m_page->Finish(comparison);
    m_file->Close();
  }

 private:
  const CompareOptions& m_options;
  std::unique_ptr<HtmlFile> m_file;
  std::unique_ptr<inspection::report::ComparisonPage> m_page;
};

int RunCompare(const CompareOptions& options) {
  Runs runs = RunsOf(options);
  Output output(options, runs);
  Comparison comparison([&output](const Difference& difference) { output.Tell(difference); },
                        output.HasPage());
  // Without mails named, those of the recording are sent again.
  const bool sendsAgain = runs.after.kind != RunKind::kRecorded && runs.mails.IsEmpty();
  std::vector<std::string> names;
  bool whole =
      FeedRun(runs.before, runs.mails, [&comparison, &names, sendsAgain](const RecordedMail& mail) {
        comparison.TakeBefore(mail);
        if (sendsAgain) names.push_back(mail.mail);
      });
  if (sendsAgain) runs.mails.mails = FilesOfMails(names);
  whole &= FeedRun(runs.after, runs.mails,
                   [&comparison](const RecordedMail& mail) { comparison.TakeAfter(mail); });
  comparison.Finish();
  output.Finish(comparison);
  if (!whole) return kStatusUnreadable;
  return comparison.AnyChange() ? kStatusFindings : kStatusDone;
}

}  // namespace

Command CompareCommand() {
  auto options = std::make_shared<CompareOptions>();
  return {
      .name = "compare",
      .summary = "Say which mails changed their verdict between two runs",
      .footer = kCompareHelp,
      .options = {{.name = "RUN",
                   .target = &options->words,
                   .help = "Both runs, then the mails to send; as a run, \"-\" is standard input",
                   .required = true},
                  {.name = "--files-from",
                   .target = &options->filesFrom,
                   .help = "A file with further mails to send, one path a line",
                   .valueName = "FILE"},
                  {.name = "--agent",
                   .target = &options->agent,
                   .help = "Compare with the agent that is running"},
                  {.name = "--fast",
                   .target = &options->fast,
                   .help = "Send the mails without the waits; see send"},
                  {.name = "--jobs",
                   .target = &options->jobs,
                   .help = "How many processes share the mails; see send",
                   .valueName = "N",
                   .least = 1},
                  {.name = "--json",
                   .target = &options->json,
                   .help = "One JSON object a line: the differences, then {\"summary\": ...}"},
                  {.name = "--summary",
                   .target = &options->summary,
                   .help = "Only the totals, without the mails",
                   .excludes = "--json"},
                  {.name = "--html",
                   .target = &options->html,
                   .help = "Also write a page with both runs' requests",
                   .valueName = "FILE"}},
      .run = [options] { return RunCompare(*options); },
  };
}

}  // namespace tools
