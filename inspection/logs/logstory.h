// The story of each mail, from the lines of the add-in's log.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inspection/logs/logline.h"

namespace inspection::logs {

// How a request to the agent ended.
enum class RequestEnd {
  kPassedOn,     // an answer that the add-in acts on
  kNotPassedOn,  // an answer that counts as none
  kTimeOut,      // the block was made, but no answer came
  kNoBlock,      // the agent took no notice of the request
  kNoAgent,      // there was no ring
  kNotPushed,    // the ring was full, or not as it has to be
};

struct StoryRequest {
  std::string stage;
  RequestEnd end = RequestEnd::kPassedOn;
  std::int32_t answer = 0;    // kPassedOn and kNotPassedOn
  std::int32_t counter = 0;   // polls that were left; not where there was no block
  std::int64_t waitedMs = 0;  // by the polls; 20 ms each
};

// What became of a mail's check.
enum class Checked { kWhole, kInPart, kNot };

struct MailStory {
  std::string time;  // of its first line
  std::string thread;
  std::string item;    // "0x000055CAB1D12EE0"; empty where the log doesn't tell
  std::string window;  // where the mail was written; its sink is what wrote these lines
  std::string subject;
  std::vector<StoryRequest> requests;  // the first kMaxRequests
  std::size_t requestCount = 0;        // of all
  std::string verdict;                 // "sent", "blocked", "tagged", "unknown"
  Checked checked = Checked::kWhole;
  std::vector<std::string> reasons;  // why it was not checked, or in part only
};

inline constexpr std::size_t kMaxRequests = 500;
inline constexpr std::size_t kMaxThreads = 64;

// Takes the lines in the order of time, whatever number of them, and gives each story when its mail
// is done. Lines of several threads may be mixed.
class LogStories {
 public:
  explicit LogStories(std::function<void(const MailStory&)> tell) : m_tell(std::move(tell)) {}

  void Take(std::string_view text);
  // The log has ended: tells what is still open.
  void Finish();

  std::size_t Lines() const { return m_lines; }
  // Lines that are not of the add-in, nor the rest of a mail's text.
  std::size_t Foreign() const { return m_foreign; }
  // Inline responses that got no sink: what is sent from them goes out unchecked.
  std::size_t WithoutSink() const { return m_responses - m_responsesAttached; }

 private:
  struct Thread {
    std::string window;
    std::optional<MailStory> mail;
    std::string_view stage;
    std::int32_t recipients = 0;  // what CheckRecipients returned; 0 before
    std::int32_t content = 2;     // the last content stage's value
    std::int32_t closing = 0;     // what ScanSessionEnd returned; 0 before
    bool longWait = false;
    bool asked = false;  // the challenge setting was read: a check goes on
    bool cached = false;
    std::int32_t previous = 0;  // the cached verdict
    bool blocked = false;
    int attempts = 0;  // to open the block
  };

  void TakeLine(const LogLine& line);
  void TakeWindow(Thread& thread, std::string_view message);
  bool TakeBeginning(Thread& thread, const LogLine& line);
  void TakeStage(Thread& thread, std::string_view message);
  void TakeTrouble(Thread& thread, std::string_view message);
  void TakeChannel(Thread& thread, std::string_view message);
  void Begin(Thread& thread, const LogLine& line);
  void AddRequest(Thread& thread, StoryRequest request);
  void End(Thread& thread);

  std::function<void(const MailStory&)> m_tell;
  std::map<std::string, Thread, std::less<>> m_threads;
  std::size_t m_lines = 0;
  std::size_t m_foreign = 0;
  std::size_t m_responses = 0;
  std::size_t m_responsesAttached = 0;
  bool m_inText = false;  // behind a message that may have line ends in it
};

}  // namespace inspection::logs
