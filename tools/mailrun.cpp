#include "tools/mailrun.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <stdexcept>
#include <utility>

#include "agent/outlookaddin/outlookmodel.h"
#include "agent/outlookaddin/verdictcache.h"
#include "platform/clock.h"

namespace tools {

namespace {

using inspection::checked::Checked;
using inspection::checked::Reason;
using inspection::logs::MailStory;
using inspection::logs::RequestEnd;
using inspection::logs::StoryRequest;

constexpr std::string_view kAttachmentStage = "attachment";

std::uint32_t ItemTypeOf(std::string_view stage) {
  for (const channel::ItemType& known : channel::kItemTypes) {
    if (known.word == stage) return known.number;
  }
  return channel::kItemFile;
}

// The last story in the lines: a mail has one check.
MailStory StoryOf(const std::vector<std::string>& lines) {
  MailStory story;
  bool hasStory = false;
  inspection::logs::LogStories stories(
      [&](const MailStory& mail) {
        story = mail;
        hasStory = true;
      },
      std::numeric_limits<std::size_t>::max());
  for (const std::string& line : lines) stories.Take(line);
  stories.Finish();
  if (!hasStory) {
    story.checked = Checked::kNo;
    story.Add(Reason::kNotWatched);
  }
  return story;
}

SentRequest RequestOf(const StoryRequest& logged, const Exchange& seen) {
  SentRequest request;
  request.itemType = ItemTypeOf(logged.stage);
  request.stage = logged.stage;
  request.payload = seen.payload;
  request.name = seen.name;
  request.end = logged.end;
  if (logged.end == RequestEnd::kPassedOn || logged.end == RequestEnd::kNotPassedOn) {
    request.answer = logged.answer;
  }
  request.waitMs = seen.waitMs;
  if (request.itemType == channel::kItemFile) {
    request.contentBytes = seen.contentBytes;
    request.contentSha256 = seen.contentSha256;
  }
  return request;
}

// The log doesn't mention attachments that the add-in passes over or can't save.
void AddMissingAttachments(MailStory& story,
                           const std::vector<simulation::mail::MailAttachment>& attachments) {
  const bool isOpen =
      std::any_of(story.requests.begin(), story.requests.end(), [](const StoryRequest& request) {
        return request.stage == channel::ItemWord(channel::kItemRecipients) &&
               request.end == RequestEnd::kPassedOn && request.answer == channel::kActionGoOn;
      });
  const bool isDecided =
      std::any_of(story.requests.begin(), story.requests.end(), [](const StoryRequest& request) {
        return ItemTypeOf(request.stage) == channel::kItemFile &&
               request.end == RequestEnd::kPassedOn && channel::IsDecisive(request.answer);
      });
  if (!isOpen || isDecided || story.Has(Reason::kAttachmentNotRead)) return;
  const auto asked =
      std::count_if(story.requests.begin(), story.requests.end(),
                    [](const StoryRequest& request) { return request.stage == kAttachmentStage; });
  const auto skipped = std::count_if(
      attachments.begin(), attachments.end(), [](const simulation::mail::MailAttachment& one) {
        return one.type != outlookaddin::olByValue && one.type != outlookaddin::olByReference &&
               one.type != outlookaddin::olEmbeddeditem;
      });
  if (skipped > 0) story.Add(Reason::kAttachmentSkipped);
  if (asked + skipped < static_cast<std::ptrdiff_t>(attachments.size())) {
    story.Add(Reason::kFileNotWritten, kAttachmentStage);
  }
}

}  // namespace

MailOutcome OutcomeOf(const std::vector<std::string>& lines, const std::vector<Exchange>& exchanges,
                      const std::vector<simulation::mail::MailAttachment>& attachments) {
  MailStory story = StoryOf(lines);
  MailOutcome outcome;
  outcome.action = story.action;
  // Each request is one exchange, and one in the log.
  const std::size_t count = std::min(story.requests.size(), exchanges.size());
  for (std::size_t i = 0; i < count; ++i) {
    const SentRequest& request =
        outcome.requests.emplace_back(RequestOf(story.requests[i], exchanges[i]));
    if (request.itemType == channel::kItemFile && request.payload && !request.contentBytes) {
      story.Add(Reason::kFileNotFound, request.stage);
    }
  }
  AddMissingAttachments(story, attachments);
  if (story.checked == Checked::kYes && !story.reasons.empty()) story.checked = Checked::kPart;
  outcome.checked = story.checked;
  outcome.reasons = std::move(story.reasons);
  return outcome;
}

MailRun::MailRun(const Options& options)
    : m_options(options), m_exchanges(options.now), m_host(options.hostVersion) {
  m_addIn.Watch(&m_exchanges, options.ring);
  m_host.Calls().KeepJournal(false);
  m_host.OpenExplorer();
  if (FAILED(m_host.Connect(m_addIn.Object()))) {
    throw std::runtime_error("the add-in refused to be connected");
  }
  m_addIn.StartLog();
}

MailRun::~MailRun() {
  m_host.Disconnect();
  for (const ClosedMail& closed : m_closed) closed.item->Release();
}

MailOutcome MailRun::Send(const std::string& mail, simulation::mail::MailModel model) {
  const std::vector<simulation::mail::MailAttachment> attachments = [&model] {
    std::vector<simulation::mail::MailAttachment> kinds;
    for (const auto& attachment : model.attachments) kinds.emplace_back().type = attachment.type;
    return kinds;
  }();
  simulation::host::HostInspector& window = m_host.OpenInspector(std::move(model));
  simulation::host::HostMailItem& item = *window.Mail();
  item.AddRef();
  TakeLines();

  const auto begin = m_options.now();
  const simulation::host::SendOutcome sent = m_host.Send(item);
  const std::chrono::duration<double, std::milli> took = m_options.now() - begin;

  const std::vector<std::string> lines = TakeLines();
  const std::vector<Exchange> exchanges = m_exchanges.TakeExchanges();
  MailOutcome outcome = OutcomeOf(lines, exchanges, attachments);
  outcome.mail = mail;
  outcome.cancel = sent.cancel;
  outcome.milliseconds = std::max(0.0, took.count() - m_exchanges.TakeOwnMs());
  outcome.tag = TagOf(item);
  if (m_options.decisions) AddRules(outcome.requests, exchanges);
  m_host.CloseInspector(window);
  m_addIn.CloseListings();
  m_closed.push_back({&item, platform::clock.GetTickCount()});
  ReleaseForgottenMails();
  TakeLines();
  return outcome;
}

std::vector<std::string> MailRun::TakeLines() {
  std::vector<std::string> lines = m_exchanges.TakeLines();
  for (const std::string& line : lines) m_log += line;
  return lines;
}

void MailRun::AddRules(std::vector<SentRequest>& requests,
                       const std::vector<Exchange>& exchanges) const {
  const bool wasAsked = std::any_of(requests.begin(), requests.end(),
                                    [](const SentRequest& one) { return one.payload.has_value(); });
  for (const DecidedRequest& decided : m_options.decisions(wasAsked)) {
    for (std::size_t i = 0; i < requests.size(); ++i) {
      if (exchanges[i].block == decided.block) requests[i].rule = decided.rule;
    }
  }
}

void MailRun::ReleaseForgottenMails() {
  const std::uint32_t now = platform::clock.GetTickCount();
  while (!m_closed.empty() && now - m_closed.front().sinceTick > VerdictCache::kLifetime) {
    m_closed.front().item->Release();
    m_closed.pop_front();
  }
}

std::optional<MailTag> MailRun::TagOf(const simulation::host::HostMailItem& item) const {
  for (const simulation::host::HostNamedProperty& property : item.NamedProperties()) {
    return MailTag{property.name, property.value};
  }
  return std::nullopt;
}

}  // namespace tools
