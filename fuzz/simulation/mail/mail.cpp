// The mail reader. The input is a mail file. The result is valid UTF-8 where required, has the form
// that the simulated host expects, and survives the round trip through JSON.
#include "fuzz/simulation/mail/checkmail.h"
#include "simulation/mail/mailreader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  simulation::mail::MailModel mail;
  try {
    mail = simulation::mail::ReadMail({reinterpret_cast<const char*>(data), size});
  } catch (const simulation::mail::MailError& error) {
    fuzzing::Require(*error.what() != '\0', "a mail that can't be read has a reason");
    return 0;
  }
  fuzzing::CheckMail(mail);
  fuzzing::CheckJson(mail);
  return 0;
}
