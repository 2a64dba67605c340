// The checks of `quorvex conform` with whole mails, which go through the real add-in.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "inspection/conformance/conformance.h"
#include "tools/expectations.h"

namespace tools {

struct MailChecks {
  std::string program;  // `quorvex`, UTF-8
  std::string ring;
  // A folder for the mails that are made here, UTF-8, with a separator at its end.
  std::string folder;
  std::string expectationPath;  // for messages
  std::vector<Expectation> expectations;
};

// Each mail is sent by a `quorvex send --agent` of its own, so that several can be in progress at
// once. The checks refer to `*checks` and `*stop`, which must outlive them.
std::vector<inspection::conformance::ExtraCheck> ChecksWithMails(const MailChecks* checks,
                                                                 const std::atomic<bool>* stop);

}  // namespace tools
