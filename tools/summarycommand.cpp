// `quorvex summary`: adds recorded results up.
#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "inspection/comparison/resultreader.h"
#include "inspection/comparison/totals.h"
#include "tools/command.h"
#include "tools/htmlpage.h"
#include "tools/resultreport.h"
#include "tools/text.h"

namespace tools {
namespace {

constexpr const char* kSummaryHelp =
    "Examples:\n"
    "  quorvex send --json *.eml > run.jsonl\n"
    "  quorvex summary run.jsonl              add the results up\n"
    "  quorvex summary host1.jsonl host2.jsonl --html run.html\n"
    "                                         of two machines, as a page\n"
    "  cat host?.jsonl | quorvex summary -    the same from standard input\n"
    "\n"
    "Exit status: 0 done, 2 a file or a line of it can't be read, 3 wrong usage.";

struct SummaryOptions {
  std::vector<std::string> files;
  std::string html;
  bool json = false;
};

int RunSummary(const SummaryOptions& options) {
  inspection::comparison::Totals totals;
  MailsPage page(options.html, "Recorded results");
  inspection::comparison::ResultReader reader(
      [&totals, &page](const inspection::comparison::RecordedMail& mail) {
        totals.Take(mail);
        page.Add(mail);
      });
  bool whole = true;
  for (const std::string& path : options.files) {
    std::string error;
    if (reader.ReadFile(path, &error)) continue;
    fmt::print(stderr, "quorvex summary: {}: {}\n", Printable(path), error);
    whole = false;
  }
  PrintBadLines("summary", reader);
  fmt::print("{}", options.json ? totals.Json() + "\n" : TotalsText(totals));
  page.Finish();
  return whole && reader.BadLines() == 0 ? kStatusDone : kStatusUnreadable;
}

}  // namespace

Command SummaryCommand() {
  auto options = std::make_shared<SummaryOptions>();
  return {
      .name = "summary",
      .summary = "Add up recorded results of send or log explain",
      .footer = kSummaryHelp,
      .options = {{.name = "FILE",
                   .target = &options->files,
                   .help = "Results recorded with --json; \"-\" is standard input",
                   .required = true},
                  {.name = "--json", .target = &options->json, .help = "One JSON object"},
                  {.name = "--html",
                   .target = &options->html,
                   .help = "Also write a page with totals and every mail",
                   .valueName = "FILE"}},
      .run = [options] { return RunSummary(*options); },
  };
}

}  // namespace tools
