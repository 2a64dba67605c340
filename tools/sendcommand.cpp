// `quorvex send`: sends mails through the add-in and shows what was asked and answered.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/mail/mailreader.h"
#include "tools/command.h"
#include "tools/mailinputs.h"
#include "tools/sendjobs.h"
#include "tools/sendloop.h"
#include "tools/sendoptions.h"
#include "tools/sendoutput.h"
#include "tools/system/stopsignal.h"
#include "tools/text.h"

namespace tools {

namespace {

constexpr const char* kSendHelp =
    "Examples:\n"
    "  quorvex send mail.eml\n"
    "      What the add-in asks about this mail. The simulated agent lets it go.\n"
    "  quorvex send --rules samples/rules.toml samples/*.eml\n"
    "      The same with an agent that blocks and tags.\n"
    "  quorvex send --agent --json mail.eml\n"
    "      Ask the agent that is running; the result for a program to read.\n"
    "  quorvex send --log - mail.eml\n"
    "      With the add-in's own log after each mail.\n"
    "  quorvex send archive.mbox inbox/ letter.msg\n"
    "      Every mail in them. A mail in a mailbox has a name like archive.mbox#17.\n"
    "  find . -name '*.eml' | quorvex send --files-from -\n"
    "      The mails in a list.\n"
    "  quorvex send --fast --jobs 4 --json --rules new.toml archive/ > new.jsonl\n"
    "      Thousands of mails, without the waits and on four cores.\n\n"
    "Exit status: 0 all let go and checked, 1 some blocked, 2 some unreadable, 4 some\n"
    "not checked completely, 130 interrupted, 3 wrong usage, or the add-in or the\n"
    "agent can't be started. Of several, the first in the order 3, 130, 2, 1, 4.";

// "16", "16.0" or "16.0.0.1234".
bool IsVersion(std::string_view text) {
  bool isNumber = false;
  int dots = 0;
  for (const char c : text) {
    if (c == '.' && (!isNumber || ++dots > 3)) return false;
    isNumber = c >= '0' && c <= '9';
    if (!isNumber && c != '.') return false;
  }
  return isNumber;
}

void CheckOptions(const SendOptions& options) {
  RequireMails(options.mails, options.filesFrom);
  if (!IsVersion(options.hostVersion)) {
    throw CommandError("--host-version: \"" + Printable(options.hostVersion) +
                       "\" is no version like 16.0.0.1234");
  }
  if (options.fast && options.useRunningAgent) {
    throw CommandError("--fast can't be used with --agent: a running agent needs the real time");
  }
  if (options.jobs > kMostJobs) {
    throw CommandError("--jobs: at most " + std::to_string(kMostJobs));
  }
}

// One of several jobs, in a process of its own.
int RunJob(const SendOptions& options, const tools::system::StopSignal& stop) {
  const std::optional<Job> job = JobOf(options.job);
  if (!job) throw CommandError("--job: only for the jobs that --jobs starts");
  SendMails(options, job->part, job->wanted, job->style, stop,
            [](const SentMail& mail) { Print(JobLines(mail)); });
  if (stop.Flag()) return kStatusInterrupted;
  Print(std::string(kJobDone) + "\n");
  return kStatusDone;
}

int RunSend(const SendOptions& options) {
  CheckOptions(options);
  const tools::system::StopSignal stop;
  if (!options.job.empty()) return RunJob(options, stop);
  const ReportStyle style = OutputStyle();
  SendOutput output(options, style);
  const auto take = [&output](const SentMail& mail) { output.Take(mail); };
  if (options.jobs > 1) {
    SendInJobs(options, output.Wanted(), style, stop, take);
  } else {
    SendMails(options, {}, output.Wanted(), style, stop, take);
  }
  return output.Finish(stop);
}

std::vector<Option> OptionsOf(SendOptions* options) {
  return {{.name = "MAIL",
           .target = &options->mails,
           .help = simulation::mail::kReadsInternetMessages
                       ? "Mails (.eml, .msg, JSON), mailboxes (mbox, Maildir), folders, "
                         "or \"-\" for standard input"
                       : "Mails (.msg, or JSON made by `quorvex import`), folders, or "
                         "\"-\" for standard input"},
          {.name = "--files-from",
           .target = &options->filesFrom,
           .help = "A file with further mails, one path a line; \"-\" for standard input",
           .valueName = "FILE"},
          {.name = "--rules",
           .target = &options->rules,
           .help = "How the simulated agent answers (TOML)",
           .valueName = "FILE"},
          {.name = "--agent",
           .target = &options->useRunningAgent,
           .help = "Use the agent that is running, and start none",
           .excludes = "--rules"},
          {.name = "--ring",
           .target = &options->ring,
           .help = "With --agent: another name for the agent's ring",
           .valueName = "NAME"},
          {.name = "--fast",
           .target = &options->fast,
           .help = "Don't sleep through the add-in's waits: the simulated agent gets its "
                   "turn instead. Everything but the waits is the same"},
          {.name = "--jobs",
           .target = &options->jobs,
           .help = "How many processes share the mails. The output's order stays the same",
           .valueName = "N",
           .least = 1},
          {.name = "--json",
           .target = &options->json,
           .help = "One JSON object a line, one line a mail"},
          {.name = "--summary",
           .target = &options->summary,
           .help = "Only the totals, without the mails",
           .excludes = "--json"},
          {.name = "--html",
           .target = &options->html,
           .help = "Also write a page for a browser with every mail and its requests",
           .valueName = "FILE"},
          {.name = "--log",
           .target = &options->log,
           .help = "Write the add-in's own log to this file; \"-\" shows it below each mail",
           .valueName = "FILE"},
          {.name = "--host-version",
           .target = &options->hostVersion,
           .help = "The version text of the simulated host",
           .showsDefault = true},
          {.name = "--no-progress", .target = &options->noProgress, .help = {}, .hidden = true},
          {.name = "--job", .target = &options->job, .help = {}, .hidden = true}};
}

}  // namespace

Command SendCommand() {
  auto options = std::make_shared<SendOptions>();
  return {
      .name = "send",
      .summary = "Send mails through the add-in",
      .footer = kSendHelp,
      .options = OptionsOf(options.get()),
      .run = [options] { return RunSend(*options); },
  };
}

}  // namespace tools
