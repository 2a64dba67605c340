// With the mail library.
#include "simulation/mail/mailreader.h"
#include "tools/mailfile.h"

namespace tools {

const bool kMailFilesAreRead = true;

simulation::mail::MailModel ReadMailFile(const std::string& path) {
  return simulation::mail::ReadMailFile(path);
}

}  // namespace tools
