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

#include "channel/protocol.h"
#include "inspection/checked/checked.h"
#include "inspection/logs/logline.h"

namespace inspection::logs {

// How a request to the agent ended.
enum class RequestEnd {
  kPassedOn,     // an answer that the add-in acts on
  kNotPassedOn,  // an answer that counts as none
  kTimeOut,      // the block was made, but no answer came
  kNoBlock,      // the agent didn't create the block
  kNoAgent,      // there was no ring
  kNotPushed,    // the ring was full or damaged
};

// "answered", "not passed on", "no answer in time", "not taken", "no agent", "not pushed".
std::string_view NameOf(RequestEnd end);

struct StoryRequest {
  std::string stage;
  RequestEnd end = RequestEnd::kPassedOn;
  std::int32_t answer = 0;    // kPassedOn and kNotPassedOn
  std::int32_t counter = 0;   // polls that were left; 0 without a block
  std::int64_t waitedMs = 0;  // polls times 20 ms
};

// Why a mail wasn't checked completely, and at which stages.
struct StoryReason {
  checked::Reason reason;
  std::vector<std::string> stages;  // empty if it isn't about a request
};

// "the agent didn't answer in time (subject, body)".
std::string TextOf(const StoryReason& reason);

struct MailStory {
  std::string machine;  // empty if the log doesn't say
  std::string time;     // of its first line, as in the log
  std::string thread;
  std::string item;    // "0x000055CAB1D12EE0"; empty if the log doesn't say
  std::string window;  // where the mail was written
  std::string sender;  // the next four: empty if the log doesn't say
  std::string subject;
  std::vector<std::string> recipients;                 // the first kMaxNames
  std::vector<std::string> attachments;                // only of those that the mail refers to
  std::vector<StoryRequest> requests;                  // the first kMaxRequests
  std::size_t requestCount = 0;                        // of all
  std::string outcome;                                 // "sent", "blocked", "tagged", "unknown"
  ActionCode action = channel::kActionNothingDecided;  // the result of the add-in's check
  checked::Checked checked = checked::Checked::kYes;
  std::vector<StoryReason> reasons;  // empty exactly if `checked` is kYes

  // Adds a reason, or a stage to a reason that is there already.
  void Add(checked::Reason reason, std::string_view stage = {});
  bool Has(checked::Reason reason) const;
};

inline constexpr std::size_t kMaxRequests = 500;
inline constexpr std::size_t kMaxNames = 100;
// Threads of all machines together. When there are more, all stories so far are told.
inline constexpr std::size_t kMaxThreads = 10'000;

// Takes lines in the order of time and tells each story when its mail is done. Lines of several
// machines and threads may be mixed. Memory doesn't depend on the number of lines.
class LogStories {
 public:
  // Keeps at most `maxRequests` requests of a mail; the others are counted.
  explicit LogStories(std::function<void(const MailStory&)> tell,
                      std::size_t maxRequests = kMaxRequests)
      : m_tell(std::move(tell)), m_maxRequests(maxRequests) {}

  // A line with or without its line end, as ParseSourceLine takes it. `machine` is what the file's
  // name says; a machine in the line itself wins.
  void Take(std::string_view text, std::string_view machine = {});
  // Tells the mails whose check is over. They are told with the next line of their thread anyway.
  void TellEnded();
  // The log has ended: tells what is still open.
  void Finish();

  std::size_t Lines() const { return m_lines; }
  // Lines that aren't the add-in's, nor part of a mail's text.
  std::size_t Foreign() const { return m_foreign; }
  // The add-in's lines, and those of them at level Info.
  std::size_t Understood() const { return m_understood; }
  std::size_t InfoLines() const { return m_infoLines; }
  // Inline responses that the add-in doesn't watch: what is sent from them isn't checked.
  std::size_t Unwatched() const { return m_responses - m_responsesAttached; }

 private:
  struct Thread {
    std::string window;
    std::optional<MailStory> mail;
    std::optional<MailStory> ended;  // its check is over; told with the thread's next line
    std::string_view stage;
    std::int32_t recipients = 0;  // what CheckRecipients returned; 0 before
    std::int32_t content = channel::kActionNothingDecided;  // the last content stage's value
    std::int32_t closing = 0;                               // what ScanSessionEnd returned
    int lastStage = -1;     // the number of the last stage that ended
    bool longWait = false;  // the challenge setting is on
    bool asked = false;     // the challenge setting was read: a check is running
    bool cached = false;    // the previous verdict was reused
    std::int32_t previous = 0;
    bool blocked = false;
    bool hasInfo = false;  // a line at level Info
    bool hasText = false;  // a line with the mail's own text
    int attempts = 0;      // to open the block
  };
  // What is known of one machine's log.
  struct Machine {
    std::string lastTime;    // of its last line, as in the log
    bool inText = false;     // the last line was one that may contain line ends
    bool afterText = false;  // a text line came within the last kMaxLineSize bytes
    std::size_t sinceText = 0;
    Thread* textOwner = nullptr;
  };

  Machine& MachineOf(std::string_view name);
  Thread& ThreadOf(std::string_view machine, std::string_view thread);
  void TakeForeign(Machine& machine);
  void CheckOrder(Machine& machine, Thread& thread, const LogLine& line);
  void TakeLine(Thread& thread, const LogLine& line, std::string_view machine);
  void TakeWindow(Thread& thread, std::string_view message);
  bool TakeBeginning(Thread& thread, const LogLine& line, std::string_view machine);
  void TakeStage(Thread& thread, std::string_view message);
  void TakeNames(Thread& thread, std::string_view message);
  void TakeTrouble(Thread& thread, std::string_view message);
  void TakeChannel(Thread& thread, std::string_view message);
  void Begin(Thread& thread, const LogLine& line, std::string_view machine);
  void AddRequest(Thread& thread, StoryRequest request);
  void End(Thread& thread);
  void TellEnded(Thread& thread);

  std::function<void(const MailStory&)> m_tell;
  std::size_t m_maxRequests;
  std::map<std::string, Machine, std::less<>> m_machines;
  std::map<std::string, Thread, std::less<>> m_threads;  // by machine and thread
  std::string m_key;
  std::size_t m_lines = 0;
  std::size_t m_foreign = 0;
  std::size_t m_understood = 0;
  std::size_t m_infoLines = 0;
  std::size_t m_responses = 0;
  std::size_t m_responsesAttached = 0;
};

}  // namespace inspection::logs
