#include "inspection/logs/logstory.h"

#include <algorithm>
#include <array>
#include <utility>

#include "channel/protocol.h"
#include "logging/runtimetext.h"
#include "logging/vrklogger.h"

namespace inspection::logs {

namespace {

using checked::Checked;
using checked::Reason;

// The logger cuts its lines at this length, so a mail's text can't fill more of the log.
constexpr std::size_t kMaxLineSize = 2080;

constexpr std::string_view kRecipients = channel::ItemWord(channel::kItemRecipients);
constexpr std::string_view kSender = channel::ItemWord(channel::kItemSender);
constexpr std::string_view kEnvelope = channel::ItemWord(channel::kItemEnvelope);
constexpr std::string_view kClose = channel::ItemWord(channel::kItemClose);

// If `message` begins with `before`, the number that follows.
std::optional<std::int32_t> NumberAfter(std::string_view message, std::string_view before) {
  if (!message.starts_with(before)) return std::nullopt;
  return logging::ToInteger(std::string(message.substr(before.size(), 20)).c_str());
}

// What the add-in couldn't read or write, by the message that says so.
struct Trouble {
  std::string_view begins;
  Reason means;
};

constexpr Trouble kTroubles[] = {
    {"Get recipients failed", Reason::kRecipientNotRead},
    {"Get Item from recipients failed", Reason::kRecipientNotRead},
    {"Get AddressEntry from recipient failed", Reason::kRecipientNotRead},
    {"Get AddressEntry ID failed", Reason::kListNotOpened},
    {"Get AddressEntry members failed", Reason::kListNotOpened},
    {"Get DisplayType failed", Reason::kRecipientNotRead},
    {"Not support displayType", Reason::kRecipientLeftOut},
    {"Cannot get sender name", Reason::kSenderNotRead},
    {"Cannot get subject", Reason::kSubjectNotRead},
    {"Cannot get body", Reason::kBodyNotRead},
    {"Cannot get attachments. ", Reason::kAttachmentNotRead},
    {"Cannot get attachment item", Reason::kAttachmentNotRead},
    {"Cannot get attachment's file name", Reason::kAttachmentNotRead},
    {"Get attachment name and path failed", Reason::kAttachmentNotRead},
    {"CheckContentWithFile: cannot", Reason::kFileNotWritten},
    {"QueryInterface failed on", Reason::kTagNotWritten},
    {"Unknown Error on receiving the Pointer", Reason::kTagNotWritten},
    {"Could not allocate memory buffer", Reason::kTagNotWritten},
    {"Error retrieving GetIDsFromNames", Reason::kTagNotWritten},
    {"rolo_dbg Error setting Header", Reason::kTagNotWritten},
    {"Exception 0x", Reason::kException},
};

// Messages with text that a mail's author chooses, line ends included.
constexpr std::string_view kTextMessages[] = {"Body: ",
                                              "Mail subject: ",
                                              "Sender: ",
                                              "New Inspector: ",
                                              "Get AddressEntry address: ",
                                              "Find signature image: [",
                                              "Referenced attachment: "};

bool MayHoldText(std::string_view message) {
  return std::any_of(std::begin(kTextMessages), std::end(kTextMessages),
                     [&](std::string_view begin) { return message.starts_with(begin); });
}

// The stages that end with a line of their own, in their order.
struct Stage {
  std::string_view line;
  std::string_view next;
};
constexpr std::array<Stage, 6> kStages = {{{"CheckRecipients returns: ", kSender},
                                           {"CheckSubject returns: ", "body"},
                                           {"CheckBody returns: ", "signature"},
                                           {"CheckSignature returns: ", "attachment"},
                                           {"CheckAttachments returns: ", kClose},
                                           {"ScanSessionEnd returns: ", {}}}};
constexpr int kClosingStage = static_cast<int>(kStages.size()) - 1;

// Compares two times of a log, in which the year comes after month and day.
bool IsEarlier(std::string_view one, std::string_view other) {
  constexpr std::size_t kDate = 10;
  if (one.size() <= kDate || one.size() != other.size() || one[2] != '/') return one < other;
  if (const int years = one.substr(6, 4).compare(other.substr(6, 4)); years != 0) return years < 0;
  if (const int days = one.substr(0, 5).compare(other.substr(0, 5)); days != 0) return days < 0;
  return one.substr(kDate) < other.substr(kDate);
}

Reason ReasonOf(RequestEnd end) {
  switch (end) {
    case RequestEnd::kNoAgent:
      return Reason::kNoAgent;
    case RequestEnd::kNotPushed:
      return Reason::kRingRefused;
    case RequestEnd::kNoBlock:
      return Reason::kNotTaken;
    case RequestEnd::kTimeOut:
      return Reason::kNoAnswer;
    default:
      return Reason::kUnusableAnswer;
  }
}

}  // namespace

std::string_view NameOf(RequestEnd end) {
  switch (end) {
    case RequestEnd::kPassedOn:
      return "answered";
    case RequestEnd::kNotPassedOn:
      return "not passed on";
    case RequestEnd::kTimeOut:
      return "no answer in time";
    case RequestEnd::kNoBlock:
      return "not taken";
    case RequestEnd::kNoAgent:
      return "no agent";
    case RequestEnd::kNotPushed:
      break;
  }
  return "not pushed";
}

std::string TextOf(const StoryReason& reason) {
  std::string text(checked::TextOf(reason.reason));
  for (std::size_t i = 0; i < reason.stages.size(); ++i) {
    text.append(i == 0 ? " (" : ", ").append(reason.stages[i]);
  }
  return reason.stages.empty() ? text : text + ")";
}

void MailStory::Add(Reason reason, std::string_view stage) {
  auto found = std::find_if(reasons.begin(), reasons.end(),
                            [reason](const StoryReason& known) { return known.reason == reason; });
  if (found == reasons.end()) found = reasons.insert(found, StoryReason{reason, {}});
  auto& stages = found->stages;
  if (!stage.empty() && std::find(stages.begin(), stages.end(), stage) == stages.end()) {
    stages.emplace_back(stage);
  }
}

bool MailStory::Has(Reason reason) const {
  return std::any_of(reasons.begin(), reasons.end(),
                     [reason](const StoryReason& known) { return known.reason == reason; });
}

void LogStories::Take(std::string_view text, std::string_view machine) {
  ++m_lines;
  std::string buffer;
  const std::optional<SourceLine> source = ParseSourceLine(text, &buffer);
  if (source && !source->machine.empty()) machine = source->machine;
  Machine& own = MachineOf(machine);
  own.sinceText += text.size();
  if (own.sinceText > kMaxLineSize) own.afterText = false;
  if (!source) {
    TakeForeign(own);
    return;
  }
  const LogLine& line = source->line;
  own.inText = false;
  if (!logging::EqualsIgnoringCase(line.module, kLogModule)) {
    ++m_foreign;
    return;
  }
  ++m_understood;
  if (line.level == "Info") ++m_infoLines;
  Thread& thread = ThreadOf(machine, line.thread);
  CheckOrder(own, thread, line);
  TakeLine(thread, line, machine);
  if (MayHoldText(line.message)) {
    own.inText = own.afterText = thread.hasText = true;
    own.sinceText = text.size();
    own.textOwner = thread.mail ? &thread : nullptr;
  }
}

LogStories::Machine& LogStories::MachineOf(std::string_view name) {
  const auto found = m_machines.find(name);
  return found != m_machines.end() ? found->second
                                   : m_machines.emplace(std::string(name), Machine()).first->second;
}

LogStories::Thread& LogStories::ThreadOf(std::string_view machine, std::string_view thread) {
  m_key.assign(machine).append(1, '\n').append(thread);
  auto found = m_threads.find(m_key);
  if (found == m_threads.end()) {
    if (m_threads.size() >= kMaxThreads) Finish();
    found = m_threads.emplace(m_key, Thread()).first;
  }
  return found->second;
}

// A line of a mail's text follows the message that began the text. One that follows another
// message, shortly after a text, means that this message was part of the text too.
void LogStories::TakeForeign(Machine& machine) {
  if (machine.inText) return;
  if (machine.afterText && machine.textOwner != nullptr && machine.textOwner->mail) {
    machine.textOwner->mail->Add(Reason::kForged);
    return;
  }
  ++m_foreign;
}

// The logger's lines are in the order of time. A mail's author can't know when the mail will be
// sent, so forged lines break that order.
void LogStories::CheckOrder(Machine& machine, Thread& thread, const LogLine& line) {
  if (machine.afterText && IsEarlier(line.time, machine.lastTime)) {
    if (machine.textOwner != nullptr && machine.textOwner->mail) {
      machine.textOwner->mail->Add(Reason::kForged);
    }
    if (thread.mail) thread.mail->Add(Reason::kForged);
    if (thread.ended) thread.ended->Add(Reason::kForged);
  }
  machine.lastTime.assign(line.time);
}

void LogStories::TakeLine(Thread& thread, const LogLine& line, std::string_view machine) {
  const bool isOfCheck = line.message.starts_with("CheckContent: lActionCode=") ||
                         std::any_of(kStages.begin(), kStages.end(), [&](const Stage& stage) {
                           return line.message.starts_with(stage.line);
                         });
  // The check goes on although the log said that it was over.
  if (thread.ended && isOfCheck) thread.ended->Add(Reason::kForged);
  if (!isOfCheck) TellEnded(thread);
  TakeWindow(thread, line.message);
  if (TakeBeginning(thread, line, machine) || !thread.mail) {
    if (!thread.mail) TakeNames(thread, line.message);
    return;
  }
  if (line.level == "Info") thread.hasInfo = true;
  TakeNames(thread, line.message);
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
  } else if (m_responsesAttached < m_responses &&
             message.find("> Dispatch _MailItem with ItemEvents @") != std::string_view::npos) {
    ++m_responsesAttached;
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

bool LogStories::TakeBeginning(Thread& thread, const LogLine& line, std::string_view machine) {
  const std::string_view message = line.message;
  if (message.starts_with("MailItem 0x")) {
    Begin(thread, line, machine);
    thread.hasInfo = true;
    thread.mail->item = message.substr(9, message.find(' ', 9) - 9);
    const std::size_t previous = message.find("previous result ");
    if (previous != std::string_view::npos) {
      thread.previous = NumberAfter(message.substr(previous), "previous result ").value_or(0);
      // A block is never reused: the mail is checked again, and the log goes on with that.
      thread.cached = thread.previous != channel::kActionBlock;
    }
    return true;
  }
  if (!message.starts_with("[DlpMailEvent::CheckEmail] ")) return false;
  // Without Info lines, this is a check's first line.
  if (!thread.mail || thread.asked || thread.cached) Begin(thread, line, machine);
  thread.asked = true;
  thread.longWait = message.find("key_challenge_response = true @") != std::string_view::npos;
  return true;
}

void LogStories::Begin(Thread& thread, const LogLine& line, std::string_view machine) {
  // A check that begins within another one, after a text, may have been forged.
  const bool isInside = thread.mail && thread.hasText && thread.closing == 0 && !thread.cached;
  if (isInside) thread.mail->Add(Reason::kForged);
  End(thread);
  TellEnded(thread);
  Thread fresh;
  fresh.window = std::move(thread.window);
  fresh.stage = kRecipients;
  MailStory& mail = fresh.mail.emplace();
  mail.machine = machine;
  mail.time = line.time;
  mail.thread = line.thread;
  mail.window = fresh.window.empty() ? "not in this log" : fresh.window;
  if (isInside) mail.Add(Reason::kForged);
  thread = std::move(fresh);
}

void LogStories::TakeNames(Thread& thread, std::string_view message) {
  if (!thread.mail) return;
  MailStory& mail = *thread.mail;
  const auto add = [](std::vector<std::string>& names, std::string_view name) {
    if (names.size() < kMaxNames) names.emplace_back(name);
  };
  constexpr std::string_view kAddress = "Get AddressEntry address: ";
  constexpr std::string_view kName = ", name:";
  if (message.starts_with(kAddress)) {
    add(mail.recipients, message.substr(kAddress.size()));
  } else if (message.starts_with("Sender: ")) {
    mail.sender = message.substr(8);
  } else if (message.starts_with("Referenced attachment: ")) {
    const std::size_t name = message.rfind(kName);
    if (name != std::string_view::npos) add(mail.attachments, message.substr(name + kName.size()));
  } else if (message.starts_with("Mail subject: [")) {
    message.remove_prefix(15);
    mail.subject = message.substr(0, message.rfind(']'));
    thread.stage = "subject";
  }
}

void LogStories::TakeTrouble(Thread& thread, std::string_view message) {
  for (const Trouble& trouble : kTroubles) {
    if (message.starts_with(trouble.begins)) thread.mail->Add(trouble.means);
  }
  // Outlook reports no error for a mail without attachments or recipients.
  if (message.starts_with("Cannot get attachments' count. hr:") && !message.ends_with("hr:0")) {
    thread.mail->Add(Reason::kAttachmentNotRead);
  }
  if (message.starts_with("Get recipients counts failed: ")) {
    thread.mail->Add(message.find(": 0x0,") != std::string_view::npos ? Reason::kNoAddress
                                                                      : Reason::kRecipientNotRead);
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
  } else if (const auto answer = NumberAfter(message, "CheckContent: lActionCode=")) {
    const std::size_t counter = message.find("iTimeOut=");
    if (counter == std::string_view::npos) return;
    request.answer = *answer;
    request.counter = NumberAfter(message.substr(counter), "iTimeOut=").value_or(0);
    const std::int32_t all = thread.longWait ? channel::kChallengePolls : channel::kAnswerPolls;
    // The log may hold anything: replace an impossible counter by the nearest possible one.
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
  // The sender and the envelope have one request each, and no line after it.
  if (thread.stage == kSender) {
    thread.stage = kEnvelope;
  } else if (thread.stage == kEnvelope) {
    thread.stage = thread.recipients == channel::kActionGoOn ? "subject" : kClose;
  }
  if (request.end != RequestEnd::kPassedOn) {
    thread.mail->Add(ReasonOf(request.end), thread.hasInfo ? request.stage : std::string_view());
  }
  ++thread.mail->requestCount;
  if (thread.mail->requests.size() < m_maxRequests) {
    thread.mail->requests.push_back(std::move(request));
  }
}

void LogStories::TakeStage(Thread& thread, std::string_view message) {
  for (int number = 0; number <= kClosingStage; ++number) {
    const Stage& stage = kStages[static_cast<std::size_t>(number)];
    const auto value = NumberAfter(message, stage.line);
    if (!value) continue;
    // Each stage ends once, and in this order.
    if (number <= thread.lastStage && thread.hasText) thread.mail->Add(Reason::kForged);
    thread.lastStage = number;
    if (number == 0) {
      thread.recipients = *value;
    } else if (number == kClosingStage) {
      thread.closing = *value;
      return;
    } else {
      thread.content = *value;
    }
    thread.stage = number > 0 && channel::IsDecisive(*value) ? kClose : stage.next;
  }
}

void LogStories::End(Thread& thread) {
  if (!thread.mail) return;
  MailStory mail = std::move(*thread.mail);
  thread.mail.reset();
  mail.action = channel::IsDecisive(thread.closing) ? thread.closing : thread.content;
  if (thread.cached) mail.action = thread.previous;
  mail.outcome = mail.action == channel::kActionTag ? "tagged" : "sent";
  if (thread.blocked || mail.action == channel::kActionBlock) mail.outcome = "blocked";

  const bool isOver = thread.closing != 0 || thread.blocked;
  if (thread.cached) {
    mail.checked = Checked::kNo;
    mail.Add(Reason::kVerdictReused);
  } else if (!thread.hasInfo || !isOver) {
    // What went wrong is certain; that nothing else did isn't.
    mail.outcome = "unknown";
    mail.checked = mail.reasons.empty() ? Checked::kUnknown : Checked::kPart;
    mail.Add(thread.hasInfo ? Reason::kLogEnds : Reason::kNoInfoLines);
  } else if (thread.recipients != channel::kActionGoOn) {
    // The content was closed. Only the answer to the close can have decided.
    mail.checked = channel::IsDecisive(mail.action) ? Checked::kPart : Checked::kNo;
    if (channel::IsDecisive(thread.recipients)) {
      mail.Add(Reason::kContentClosed);
    } else if (mail.reasons.empty()) {
      mail.Add(Reason::kNoAddress);
    }
  } else if (!mail.reasons.empty()) {
    mail.checked = Checked::kPart;
  }
  TellEnded(thread);
  thread.ended = std::move(mail);
}

void LogStories::TellEnded(Thread& thread) {
  if (!thread.ended) return;
  if (thread.ended->Has(Reason::kForged)) thread.ended->checked = Checked::kUnknown;
  m_tell(*thread.ended);
  thread.ended.reset();
}

void LogStories::TellEnded() {
  for (auto& [name, thread] : m_threads) TellEnded(thread);
}

void LogStories::Finish() {
  std::vector<Thread*> open;
  for (auto& [name, thread] : m_threads) {
    if (thread.ended && thread.mail) TellEnded(thread);
    End(thread);
    if (thread.ended) open.push_back(&thread);
  }
  std::sort(open.begin(), open.end(), [](const Thread* one, const Thread* other) {
    return one->ended->time < other->ended->time;
  });
  for (Thread* thread : open) TellEnded(*thread);
  m_threads.clear();
  for (auto& [name, machine] : m_machines) machine = Machine();
}

}  // namespace inspection::logs
