// Sends mails through the add-in in this process.
#pragma once

#include <cstddef>
#include <functional>

#include "tools/sendoptions.h"
#include "tools/sentmail.h"
#include "tools/system/stopsignal.h"

namespace tools {

// Of `jobs` jobs the one that sends the mails `index`, `index` + `jobs`, ...
struct JobPart {
  std::size_t index = 0;
  std::size_t jobs = 1;
};

// Sends the part's mails one after the other, by an agent as the options say, and passes each one
// on. Returns early if `stop` is set; the mail under way is then dropped, because waits that were
// cut short say nothing about the agent. Ends the command with CommandError if nothing can be sent.
void SendMails(const SendOptions& options, const JobPart& part, const WantedTexts& wanted,
               const ReportStyle& style, const tools::system::StopSignal& stop,
               const std::function<void(const SentMail&)>& take);

}  // namespace tools
