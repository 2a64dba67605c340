// The mailbox splitter. The input is the file. Nothing is lost between the "From " lines: the mails
// add up to the file, except for those lines, quoting marks and the empty line after each mail.
#include <sstream>
#include <string>

#include "fuzz/fuzzing.h"
#include "simulation/mail/mailbox.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const bool isMailbox = input.starts_with("From ");
  std::istringstream file(input);
  simulation::mail::MailboxReader reader(file);
  std::size_t bytes = 0;
  int mails = 0;
  while (const auto mail = reader.Next()) {
    ++mails;
    bytes += mail->size();
    fuzzing::Require(reader.Number() == mails, "mails are counted");
    if (!isMailbox) fuzzing::Require(*mail == input, "any other file is one mail");
  }
  fuzzing::Require(mails >= 1 && (isMailbox || mails == 1), "there is a mail");
  fuzzing::Require(reader.HasSeveral() == (mails > 1), "it is known whether there are several");
  fuzzing::Require(bytes <= input.size(), "nothing is added");
  return 0;
}
