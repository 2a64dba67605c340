#include "tools/mailinputs.h"

#include "simulation/mail/mailreader.h"
#include "tools/command.h"
#include "tools/system/terminal.h"
#include "tools/text.h"

namespace tools {

void RequireMails(const std::vector<std::string>& mails, const std::string& filesFrom) {
  if (mails.empty() && filesFrom.empty()) {
    throw CommandError("give it mails, or a list of them with --files-from");
  }
}

std::unique_ptr<simulation::mail::MailSource> OpenMails(const std::vector<std::string>& mails,
                                                        const std::string& filesFrom) {
  RequireMails(mails, filesFrom);
  tools::system::ReadBinaryInput();
  try {
    return std::make_unique<simulation::mail::MailSource>(mails, filesFrom);
  } catch (const simulation::mail::MailError& error) {
    throw CommandError(Printable(filesFrom) + ": " + error.what());
  }
}

}  // namespace tools
