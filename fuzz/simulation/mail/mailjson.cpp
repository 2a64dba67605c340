// A mail as JSON. The input is the document. It is refused with a reason, or it survives the round
// trip.
#include "fuzz/simulation/mail/checkmail.h"

// A contact group may contain itself, and nothing frees such a group.
extern "C" const char* __asan_default_options() {
  return "detect_leaks=0";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzzing::ExactBytes text({reinterpret_cast<const char*>(data), size});
  simulation::mail::MailModel mail;
  try {
    mail = simulation::mail::MailFromJson(text.View());
  } catch (const std::runtime_error& error) {
    fuzzing::Require(*error.what() != '\0', "a document that can't be read has a reason");
    return 0;
  }
  fuzzing::Require(simulation::mail::LooksLikeMailJson(text.View()), "it looks like one");
  fuzzing::CheckJson(mail);
  return 0;
}
