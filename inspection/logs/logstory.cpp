#include "inspection/logs/logstory.h"

#include <algorithm>
#include <array>
#include <utility>

#include "channel/protocol.h"
#include "logging/runtimetext.h"
#include "logging/vrklogger.h"

namespace inspection::logs {

namespace {

constexpr std::size_t kMaxReasons = 50;

constexpr std::string_view kRecipients = channel::ItemWord(channel::kItemRecipients);
constexpr std::string_view kSender = channel::ItemWord(channel::kItemSender);
constexpr std::string_view kEnvelope = channel::ItemWord(channel::kItemEnvelope);
constexpr std::string_view kClose = channel::ItemWord(channel::kItemClose);

// If `message` begins with `before`, the number behind it.
std::optional<std::int32_t> NumberBehind(std::string_view message, std::string_view before) {
  if (!message.starts_with(before)) return std::nullopt;
  return logging::ToInteger(std::string(message.substr(before.size(), 20)).c_str());
}

void AddReason(MailStory* mail, std::string reason) {
  auto& reasons = mail->reasons;
  if (reasons.size() >= kMaxReasons) return;
  if (std::find(reasons.begin(), reasons.end(), reason) == reasons.end()) {
    reasons.push_back(std::move(reason));
  }
}

// What the add-in couldn't read or write, by the message that says so.
struct Trouble {
  std::string_view begins;
  std::string_view means;
};

constexpr Trouble kTroubles[] = {
    {"Get recipients failed", "the recipients could not be read"},
    {"Get recipients counts failed", "the recipients could not be read"},
    {"Get Item from recipients failed", "a recipient could not be read"},
    {"Get AddressEntry from recipient failed", "a recipient could not be read"},
    {"Get AddressEntry ID failed", "a distribution list could not be opened"},
    {"Get AddressEntry members failed", "a distribution list could not be opened"},
    {"Get DisplayType failed", "a recipient could not be read"},
    {"Not support displayType", "a recipient of a kind that has no address was left out"},
    {"Cannot get sender name", "the sender could not be read"},
    {"Cannot get subject", "the subject could not be read"},
    {"Cannot get body", "the body could not be read"},
    {"Cannot get attachments. ", "the attachments could not be read"},
    {"Cannot get attachment item", "an attachment could not be read"},
    {"Cannot get attachment's file name", "an attachment's name could not be read"},
    {"Get attachment name and path failed", "an attachment's path could not be read"},
    {"CheckContentWithFile: cannot", "a temporary file could not be written"},
    {"Get x-header fail", "the tag's settings could not be read; its built-in ones served"},
    {"QueryInterface failed on", "the tag could not be written"},
    {"Unknown Error on receiving the Pointer", "the tag could not be written"},
    {"Could not allocate memory buffer", "the tag could not be written"},
    {"Error retrieving GetIDsFromNames", "the tag could not be written"},
    {"rolo_dbg Error setting Header", "the tag could not be written"},
};

std::string ReasonOf(const StoryRequest& request) {
  switch (request.end) {
    case RequestEnd::kNoAgent:
      return "no agent was there";
    case RequestEnd::kNotPushed:
      return "the agent's ring took no request (" + request.stage + "): it was full or wrong";
    case RequestEnd::kNoBlock:
      return "the agent was silent: it took no notice of the request (" + request.stage + ")";
    case RequestEnd::kTimeOut:
      return "the agent was silent: no answer in time (" + request.stage + ")";
    case RequestEnd::kNotPassedOn:
      return "the agent's answer " + std::to_string(request.answer) + " (" + request.stage +
             ") was not passed on: it counts as none";
    case RequestEnd::kPassedOn:
      break;
  }
  return {};
}

}  // namespace

void LogStories::Take(std::string_view text) {
  ++m_lines;
  const std::optional<LogLine> line = ParseLogLine(text);
  if (!line) {
    if (!m_inText) ++m_foreign;
    return;
  }
  m_inText = false;
  if (!logging::EqualsIgnoringCase(line->module, kLogModule)) {
    ++m_foreign;
    return;
  }
  m_inText = line->message.starts_with("Body: ") || line->message.starts_with("Mail subject: ");
  TakeLine(*line);
}

void LogStories::TakeLine(const LogLine& line) {
  auto found = m_threads.find(line.thread);
  if (found == m_threads.end()) {
    if (m_threads.size() >= kMaxThreads) Finish();
    found = m_threads.emplace(std::string(line.thread), Thread()).first;
  }
  Thread& thread = found->second;
  TakeWindow(thread, line.message);
  if (TakeBeginning(thread, line) || !thread.mail) return;
  TakeTrouble(thread, line.message);
  TakeChannel(thread, line.message);
  TakeStage(thread, line.message);
}

void LogStories::TakeWindow(Thread& thread, std::string_view message) {
  std::string window;
  if (message == "New Inspector Created.") {
    window = "new window";
  } else if (message == "New InlineResponse Created.") {
    ++m_responses;
    window = "inline response";
  } else if (message.starts_with("New Inspector: ")) {
    window = "window found by the timer";
  } else if (message.find("> Dispatch _MailItem with ItemEvents @") != std::string_view::npos) {
    m_responsesAttached += m_responsesAttached < m_responses ? 1 : 0;
    return;
  } else if (message == "OnInspectorClose" ||
             message.starts_with("[DlpMailEvent::~DlpMailEvent]")) {
    End(thread);
    thread.window.clear();
    return;
  } else {
    return;
  }
  End(thread);
  thread.window = std::move(window);
}

bool LogStories::TakeBeginning(Thread& thread, const LogLine& line) {
  const std::string_view message = line.message;
  if (message.starts_with("MailItem 0x")) {
    Begin(thread, line);
    thread.mail->item = message.substr(9, message.find(' ', 9) - 9);
    const std::size_t previous = message.find("previous result ");
    if (previous != std::string_view::npos) {
      thread.previous = NumberBehind(message.substr(previous), "previous result ").value_or(0);
      // A block is never taken over: the mail is checked again, and the log goes on with that.
      thread.cached = thread.previous != channel::kActionBlock;
    }
    return true;
  }
  if (!message.starts_with("[DlpMailEvent::CheckEmail] ")) return false;
  // Where the log leaves out the Info lines, this is a check's first.
  if (!thread.mail || thread.asked || thread.cached) Begin(thread, line);
  thread.asked = true;
  thread.longWait = message.find("key_challenge_response = true @") != std::string_view::npos;
  return true;
}

void LogStories::Begin(Thread& thread, const LogLine& line) {
  End(thread);
  Thread fresh;
  fresh.window = std::move(thread.window);
  fresh.stage = kRecipients;
  fresh.mail.emplace();
  fresh.mail->time = line.time;
  fresh.mail->thread = line.thread;
  fresh.mail->window = fresh.window.empty() ? "not in this log" : fresh.window;
  thread = std::move(fresh);
}

void LogStories::TakeTrouble(Thread& thread, std::string_view message) {
  for (const Trouble& trouble : kTroubles) {
    if (message.starts_with(trouble.begins)) AddReason(&*thread.mail, std::string(trouble.means));
  }
  // The host gives no error where there is simply no attachment.
  if (message.starts_with("Cannot get attachments' count. hr:") && !message.ends_with("hr:0")) {
    AddReason(&*thread.mail, "the attachments could not be read");
  }
  if (message.starts_with("Cannot get sender name")) thread.stage = kEnvelope;
  if (message == "Block current mail sending.") thread.blocked = true;
}

void LogStories::TakeChannel(Thread& thread, std::string_view message) {
  StoryRequest request;
  if (message.starts_with("InitializeSharedMemory: ")) {
    // One line for each attempt to open the block; after the last nothing else is said.
    if (++thread.attempts < channel::kBlockAttempts) return;
    request.end = RequestEnd::kNoBlock;
    request.waitedMs = std::int64_t{channel::kPollMs} * channel::kBlockAttempts;
  } else if (message == "CheckContent: cannot initialize shared memory!") {
    request.end = RequestEnd::kNoAgent;
  } else if (message == "CheckContent: cannot push entry!") {
    request.end = RequestEnd::kNotPushed;
  } else if (const auto answer = NumberBehind(message, "CheckContent: lActionCode=")) {
    const std::size_t counter = message.find("iTimeOut=");
    if (counter == std::string_view::npos) return;
    request.answer = *answer;
    request.counter = NumberBehind(message.substr(counter), "iTimeOut=").value_or(0);
    const std::int32_t all = thread.longWait ? channel::kChallengePolls : channel::kAnswerPolls;
    // The log may be anybody's: a counter that no wait has counts as the nearest that one has.
    const std::int32_t polled = all - std::clamp(request.counter, 0, all);
    request.waitedMs = std::int64_t{channel::kPollMs} * (thread.attempts + 1 + polled);
    request.end = !channel::EndsWait(*answer)    ? RequestEnd::kTimeOut
                  : channel::IsAccepted(*answer) ? RequestEnd::kPassedOn
                                                 : RequestEnd::kNotPassedOn;
  } else {
    return;
  }
  thread.attempts = 0;
  AddRequest(thread, std::move(request));
}

void LogStories::AddRequest(Thread& thread, StoryRequest request) {
  request.stage = thread.stage;
  // The sender and the envelope's end have one request each, and no line of their own behind it.
  if (thread.stage == kSender) {
    thread.stage = kEnvelope;
  } else if (thread.stage == kEnvelope) {
    thread.stage = thread.recipients == channel::kActionGoOn ? "subject" : kClose;
  }
  if (request.end != RequestEnd::kPassedOn) AddReason(&*thread.mail, ReasonOf(request));
  ++thread.mail->requestCount;
  if (thread.mail->requests.size() < kMaxRequests) {
    thread.mail->requests.push_back(std::move(request));
  }
}

void LogStories::TakeStage(Thread& thread, std::string_view message) {
  struct Stage {
    std::string_view line;
    std::string_view next;
  };
  constexpr std::array<Stage, 4> kContent = {{{"CheckSubject returns: ", "body"},
                                              {"CheckBody returns: ", "signature"},
                                              {"CheckSignature returns: ", "attachments"},
                                              {"CheckAttachments returns: ", kClose}}};
  if (const auto recipients = NumberBehind(message, "CheckRecipients returns: ")) {
    thread.recipients = *recipients;
    thread.stage = kSender;
  } else if (const auto closing = NumberBehind(message, "ScanSessionEnd returns: ")) {
    thread.closing = *closing;
  } else if (message.starts_with("Mail subject: [")) {
    message.remove_prefix(15);
    thread.mail->subject = message.substr(0, message.rfind(']'));
    thread.stage = "subject";
  }
  for (const Stage& stage : kContent) {
    const auto value = NumberBehind(message, stage.line);
    if (!value) continue;
    thread.content = *value;
    thread.stage = channel::IsDecisive(*value) ? kClose : stage.next;
  }
}

void LogStories::End(Thread& thread) {
  if (!thread.mail) return;
  MailStory mail = std::move(*thread.mail);
  thread.mail.reset();
  // Taken over, or as the check ended.
  std::int32_t verdict = channel::IsDecisive(thread.closing) ? thread.closing : thread.content;
  if (thread.cached) verdict = thread.previous;
  mail.verdict = verdict == channel::kActionTag ? "tagged" : "sent";
  if (thread.blocked || verdict == channel::kActionBlock) mail.verdict = "blocked";

  if (thread.cached) {
    mail.checked = Checked::kNot;
    AddReason(&mail, "the verdict of the check less than 5 s before was taken over (" +
                         std::to_string(thread.previous) + ")");
  } else if (thread.closing == 0 && !thread.blocked) {
    mail.checked = Checked::kInPart;
    mail.verdict = "unknown";
    AddReason(&mail, "the log doesn't tell how the check ended");
  } else if (thread.recipients != channel::kActionGoOn) {
    const bool decided =
        verdict != channel::kActionNothingDecided && verdict != channel::kActionNothingUsable;
    mail.checked = decided ? Checked::kInPart : Checked::kNot;
    if (channel::IsDecisive(thread.recipients)) {
      AddReason(&mail, "the answer " + std::to_string(thread.recipients) +
                           " to the recipients keeps the content shut and decides nothing");
    } else if (mail.reasons.empty()) {
      AddReason(&mail, "no recipient had an address that the agent could be asked about");
    }
  } else if (!mail.reasons.empty()) {
    mail.checked = Checked::kInPart;
  }
  m_tell(mail);
}

void LogStories::Finish() {
  std::vector<Thread*> open;
  for (auto& [name, thread] : m_threads) {
    if (thread.mail) open.push_back(&thread);
  }
  std::sort(open.begin(), open.end(), [](const Thread* one, const Thread* other) {
    return one->mail->time < other->mail->time;
  });
  for (Thread* thread : open) End(*thread);
  m_threads.clear();
}

}  // namespace inspection::logs
