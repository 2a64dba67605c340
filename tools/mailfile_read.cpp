// With the mail library.
#include "devkit/mail/mailreader.h"
#include "tools/mailfile.h"

namespace tools {

const bool kMailFilesAreRead = true;

devkit::MailModel ReadMailFile(const std::string& path) {
  return devkit::ReadMailFile(path);
}

}  // namespace tools
