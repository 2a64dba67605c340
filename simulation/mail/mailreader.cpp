#include "simulation/mail/mailreader.h"

#include "simulation/mail/mailjson.h"
#include "simulation/mail/msgreader.h"
#include "simulation/mail/storage.h"

namespace simulation::mail {

MailModel ReadMail(std::string_view bytes) {
  if (bytes.empty()) throw MailError("the file is empty");
  if (LooksLikeCompoundFile(bytes)) return ReadOutlookMessage(bytes);
  if (!LooksLikeMailJson(bytes)) return ReadInternetMessage(bytes);
  try {
    return MailFromJson(bytes);
  } catch (const std::runtime_error& error) {
    throw MailError(error.what());
  }
}

}  // namespace simulation::mail
