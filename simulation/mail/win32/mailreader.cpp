#include "simulation/mail/mailreader.h"

namespace simulation::mail {

const bool kReadsInternetMessages = false;

MailModel ReadInternetMessage(std::string_view) {
  throw MailError("it is not a mail in JSON; make one with `quorvex import MAIL.eml` on Linux");
}

}  // namespace simulation::mail
