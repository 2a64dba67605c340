// Counts a run's mails while they are being sent.
#pragma once

#include <atomic>
#include <cstddef>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tools {

// Counts in a thread of its own, which reads mailboxes a second time.
class MailCounter {
 public:
  // The inputs as simulation::mail::MailSource takes them. There is never a count if one of them is
  // standard input, which can be read only once.
  MailCounter(const std::vector<std::string>& mails, const std::string& filesFrom);
  // Stops counting.
  ~MailCounter();

  MailCounter(const MailCounter&) = delete;
  MailCounter& operator=(const MailCounter&) = delete;

  // The number of mails; absent as long as it isn't known.
  std::optional<std::size_t> Count() const;

 private:
  std::atomic<bool> m_stop = false;
  std::atomic<bool> m_isDone = false;
  std::size_t m_count = 0;  // read only after m_isDone
  std::thread m_thread;
};

}  // namespace tools
