#include "tools/mailcounter.h"

#include <algorithm>

#include "simulation/mail/mailreader.h"
#include "simulation/mail/mailsource.h"

namespace tools {

MailCounter::MailCounter(const std::vector<std::string>& mails, const std::string& filesFrom) {
  if (filesFrom == "-" || std::find(mails.begin(), mails.end(), "-") != mails.end()) return;
  m_thread = std::thread([this, mails, filesFrom] {
    try {
      simulation::mail::MailSource source(mails, filesFrom);
      while (!m_stop && source.Skip()) ++m_count;
      m_isDone = !m_stop;
    } catch (const simulation::mail::MailError&) {
      // The run itself reports the list that can't be opened.
    }
  });
}

MailCounter::~MailCounter() {
  m_stop = true;
  if (m_thread.joinable()) m_thread.join();
}

std::optional<std::size_t> MailCounter::Count() const {
  if (!m_isDone) return std::nullopt;
  return m_count;
}

}  // namespace tools
