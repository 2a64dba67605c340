// `quorvex compare`: which mails changed their verdict between two runs, and by what.
#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <string>

#include "inspection/comparison/comparison.h"
#include "inspection/comparison/resultreader.h"
#include "inspection/report/page.h"
#include "tools/command.h"
#include "tools/htmlpage.h"
#include "tools/resultreport.h"
#include "tools/text.h"

namespace tools {
namespace {

constexpr const char* kHelp =
    "Examples:\n"
    "  quorvex send --json --rules old.toml *.eml > before.jsonl\n"
    "  quorvex send --json --rules new.toml *.eml > after.jsonl\n"
    "  quorvex compare before.jsonl after.jsonl\n"
    "      Every mail whose verdict changed, and the rule or request that changed it.\n"
    "  quorvex compare before.jsonl after.jsonl --html changes.html\n"
    "      The same as a page, with the requests of both runs.\n"
    "\n"
    "Mails are paired by name; a name that occurs again is paired in its order. A\n"
    "change is another outcome or tag, more or less of the mail checked, or a mail\n"
    "that only one run has.\n"
    "Exit status: 0 nothing changed, 1 something did, 2 a file or a line of it can't\n"
    "be read, 3 wrong usage.";

struct CompareOptions {
  std::string before;
  std::string after;
  std::string html;
  bool json = false;
  bool summary = false;
};

using inspection::comparison::Comparison;
using inspection::comparison::Difference;
using inspection::comparison::RecordedMail;
using inspection::comparison::ResultReader;

// False if the file, or a line of it, can't be read.
bool ReadRun(const std::string& path, ResultReader::Take take) {
  ResultReader reader(std::move(take), true);
  std::string error;
  const bool whole = reader.ReadFile(path, &error);
  if (!whole) fmt::print(stderr, "quorvex compare: {}: {}\n", Printable(path), error);
  PrintBadLines("compare", reader);
  return whole && reader.BadLines() == 0;
}

int RunCompare(const CompareOptions& options) {
  if (options.before == "-" && options.after == "-") {
    throw CommandError("only one of the runs can be standard input");
  }
  std::unique_ptr<HtmlFile> file;
  std::unique_ptr<inspection::report::ComparisonPage> page;
  if (!options.html.empty()) {
    file = std::make_unique<HtmlFile>(options.html);
    page = std::make_unique<inspection::report::ComparisonPage>(
        file->Stream(), ValidUtf8(options.before + " and " + options.after), PageTime());
  }
  Comparison comparison(
      [&options, &page](const Difference& difference) {
        if (page) page->Add(difference);
        if (options.json) {
          fmt::print("{}\n", DifferenceJson(difference));
        } else if (!options.summary) {
          fmt::print("{}\n", DifferenceText(difference));
        }
      },
      page != nullptr);
  bool whole = ReadRun(options.before,
                       [&comparison](const RecordedMail& mail) { comparison.TakeBefore(mail); });
  whole &= ReadRun(options.after,
                   [&comparison](const RecordedMail& mail) { comparison.TakeAfter(mail); });
  comparison.Finish();
  fmt::print("{}", options.json ? comparison.Json() + "\n" : ComparisonText(comparison));
  if (page) {
    page->Finish(comparison);
    file->Close();
  }
  if (!whole) return kStatusUnreadable;
  return comparison.AnyChange() ? kStatusFindings : kStatusDone;
}

}  // namespace

Command CompareCommand() {
  auto options = std::make_shared<CompareOptions>();
  return {
      .name = "compare",
      .summary = "Say which mails changed their verdict between two runs",
      .footer = kHelp,
      .options = {{.name = "BEFORE",
                   .target = &options->before,
                   .help = "Results recorded with `send --json`; \"-\" is standard input",
                   .required = true},
                  {.name = "AFTER",
                   .target = &options->after,
                   .help = "The results to compare them with",
                   .required = true},
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
