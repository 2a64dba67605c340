// `quorvex import`: a mail file as JSON, for machines without the mail library.

#include <fmt/format.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "simulation/mail/mailjson.h"
#include "tools/command.h"
#include "tools/mailinput.h"

namespace tools {

namespace {

struct ImportOptions {
  std::vector<std::string> mails;
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
  if (!options.output.empty() && options.mails.size() > 1) {
    fmt::print(stderr, "quorvex import: --output takes one mail only\n");
    return kStatusUsage;
  }
  int status = kStatusDone;
  for (const std::string& mail : options.mails) {
    try {
      if (!WriteTo(options.output, simulation::mail::MailToJson(ReadMail(mail)))) {
        fmt::print(stderr, "quorvex import: {} can't be written\n",
                   options.output.empty() ? "the output" : options.output);
        return kStatusUsage;
      }
    } catch (const std::exception& error) {
      fmt::print(stderr, "{}: {}\n", mail, error.what());
      status = kStatusUnreadable;
    }
  }
  return status;
}

}  // namespace

void AddImportCommand(CLI::App& app, int* status) {
  CLI::App* const command = app.add_subcommand("import", "Turn mail files into JSON");
  auto options = std::make_shared<ImportOptions>();
  command->add_option("MAIL", options->mails, "Mail files (.eml)")->required();
  command->add_option("-o,--output", options->output, "Where to write it; standard output if none");
  command->footer(
      "Examples:\n"
      "  quorvex import mail.eml --output mail.json\n"
      "      Then, on Windows: quorvex.exe send mail.json\n\n"
      "Exit status: 0 done, 2 some mail can't be read, 3 usage or set-up error.");
  command->callback([options, status] { *status = RunImport(*options); });
}

}  // namespace tools
