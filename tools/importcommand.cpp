// `quorvex import`: converts a mail file to JSON, for machines without the mail library.

#include <fmt/format.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "simulation/mail/mailjson.h"
#include "simulation/mail/mailreader.h"
#include "tools/command.h"
#include "tools/mailinputs.h"

namespace tools {

namespace {

struct ImportOptions {
  std::vector<std::string> mails;
  std::string filesFrom;
  std::string output;
};

bool WriteTo(const std::string& path, const std::string& text) {
  if (path.empty()) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
           std::fflush(stdout) == 0;
  }
  std::ofstream file(path, std::ios::binary);
  file << text;
  return static_cast<bool>(file.flush());
}

int RunImport(const ImportOptions& options) {
  int status = kStatusDone;
  int count = 0;
  const auto source = OpenMails(options.mails, options.filesFrom);
  while (const auto raw = source->Next()) {
    if (++count > 1 && !options.output.empty()) throw CommandError("--output takes one mail only");
    try {
      if (raw->error) throw simulation::mail::MailError(*raw->error);
      simulation::mail::MailModel mail = simulation::mail::ReadMail(raw->bytes);
      mail.source = raw->name;
      if (!WriteTo(options.output, simulation::mail::MailToJson(mail))) {
        throw CommandError((options.output.empty() ? "the output" : options.output) +
                           ": can't be written");
      }
    } catch (const simulation::mail::MailError& error) {
      fmt::print(stderr, "{}: {}\n", raw->name, error.what());
      status = kStatusUnreadable;
    }
  }
  return status;
}

}  // namespace

Command ImportCommand() {
  auto options = std::make_shared<ImportOptions>();
  return {
      .name = "import",
      .summary = "Convert mail files to JSON",
      .footer =
          "Examples:\n"
          "  quorvex import mail.eml --output mail.json\n"
          "      Then, on Windows: quorvex.exe send mail.json\n\n"
          "Exit status: 0 done, 2 some mail can't be read, 3 wrong usage, or the output\n"
          "can't be written.",
      .options = {{.name = "MAIL",
                   .target = &options->mails,
                   .help = "Mails (.eml, .msg), mailboxes (mbox, Maildir) or folders"},
                  {.name = "--files-from",
                   .target = &options->filesFrom,
                   .help = "A file with further mails, one path a line; \"-\" for standard input",
                   .valueName = "FILE"},
                  {.name = "-o,--output",
                   .target = &options->output,
                   .help = "The file to write; without it standard output",
                   .valueName = "FILE"}},
      .run = [options] { return RunImport(*options); },
  };
}

}  // namespace tools
