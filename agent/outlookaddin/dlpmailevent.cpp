#include "agent/outlookaddin/dlpmailevent.h"

#include <cstdio>
#include <utility>

#include "agent/outlookaddin/eventconnection.h"
#include "agent/outlookaddin/hostborder.h"
#include "agent/outlookaddin/verdictcache.h"
#include "channel/agentchannel.h"
#include "config/profilereader.h"
#include "logging/vrklogger.h"
#include "platform/clock.h"
#include "platform/com/comptr.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/ui.h"

namespace {

constexpr const char* kChallengeKey = "use_challenge_response";
// Two log lines name this file, in this form.
constexpr const char* kFile = "dlpmailevent.cpp";

// The pointer as "%p" formats it in the Windows runtime, on every system: all digits, in capitals.
std::string PointerText(const void* pointer) {
  char text[2 * sizeof(void*) + 1];
  std::snprintf(text, sizeof(text), "%0*llX", static_cast<int>(2 * sizeof(void*)),
                static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer)));
  return text;
}

using PathBuffer = char[platform::kMaxPath];

// Writes the path of `name` in a directory. Returns false if it doesn't fit: a path that is cut
// might name another file.
bool JoinPath(const char* directory, const char* name, PathBuffer& path) {
  const int length = std::snprintf(path, sizeof(path), "%s%s", directory, name);
  return length >= 0 && length < static_cast<int>(sizeof(path));
}

void DeleteIn(const char* directory, const char* name) {
  PathBuffer path;
  if (JoinPath(directory, name, path)) platform::files.DeleteFileA(path);
}

// Shows the wait cursor while it exists.
class WaitCursor {
 public:
  WaitCursor()
      : m_previous(platform::ui.SetCursor(platform::ui.LoadCursorW(platform::kWaitCursor))) {}
  ~WaitCursor() { platform::ui.SetCursor(m_previous); }
  WaitCursor(const WaitCursor&) = delete;
  WaitCursor& operator=(const WaitCursor&) = delete;

 private:
  platform::Cursor m_previous;
};

HRESULT STDMETHODCALLTYPE HandleSend(DlpMailEvent* sink, VARIANT_BOOL* cancel) {
  return outlookaddin::EndExceptions("OnMailSend", [=] { return sink->OnMailSend(cancel); });
}

}  // namespace

class DlpMailEvent::Running {
 public:
  explicit Running(DlpMailEvent* sink) : m_sink(sink) { ++m_sink->m_running; }
  ~Running() {
    // The host holds the sink during its call and releases it afterwards, so the memory stays.
    if (--m_sink->m_running == 0 && m_sink->m_isDestroyed) m_sink->End();
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  DlpMailEvent* m_sink;
};

const platform::EventRow* DlpMailEvent::Events() {
  static constexpr platform::EventCallForm kSendForm = {
      CC_STDCALL, VT_EMPTY, 1, {VT_BOOL | VT_BYREF}};
  static const platform::EventRow kRows[] = {
      {4, &outlookaddin::IID_ItemEvents, outlookaddin::kDispidSend,
       platform::HandlerAddress(&HandleSend), &kSendForm},
      {}};
  return kRows;
}

DlpMailEvent* DlpMailEvent::Attach(_MailItem* item) {
  platform::ComPtr<_MailItem> reference(item);
  auto* const mailEvent = new DlpMailEvent(item);
  reference.Detach();
  const HRESULT hr = outlookaddin::SubscribeSink(item, mailEvent, outlookaddin::IID_ItemEvents);
  return SUCCEEDED(hr) ? mailEvent : nullptr;
}

DlpMailEvent::DlpMailEvent(_MailItem* item) : m_pMailItem(item) {
  // Without a Windows directory the path is the suffix alone, which names no file.
  char windows[platform::kMaxPath] = {};
  platform::folders.GetWindowsDirectoryA(windows, sizeof(windows));
  windows[sizeof(windows) - 1] = '\0';
  m_strProfilePath = std::string(windows) + kProfileSuffix;
}

DlpMailEvent::~DlpMailEvent() {
  End();
}

void DlpMailEvent::End() {
  // The host may fire a Send inside the calls below.
  if (std::exchange(m_isEnded, true)) return;
  if (m_pMailItem != nullptr) {
    UnadviseEvents(m_pMailItem, outlookaddin::IID_ItemEvents, m_dwEventCookie);
    m_dwEventCookie = platform::kNoEventCookie;
    // Logged as an error although it is none: the host may well keep its own item.
    const ULONG remaining = m_pMailItem->Release();
    if (remaining != 0) {
      g_logger.Log(kLogModule, kLogErr, "Mail ref error: %d.", static_cast<int>(remaining));
    }
  }
  g_logger.Log(kLogModule, kLogInfo, "[%s] called @%d.", "DlpMailEvent::~DlpMailEvent", 804);
}

void DlpMailEvent::Destroy() {
  m_isDestroyed = true;
  if (m_running == 0) delete this;
}

HRESULT STDMETHODCALLTYPE DlpMailEvent::OnMailOther() {
  return S_OK;
}

HRESULT STDMETHODCALLTYPE DlpMailEvent::OnMailSend(VARIANT_BOOL* Cancel) {
  const Running running(this);
  const WaitCursor cursor;
  LONG result = channel::kActionNothingDecided;
  // A block is never taken over: the user may have changed the mail since.
  if (!IsMailChecked(m_pMailItem, &result) || result == channel::kActionBlock) {
    result = CheckEmail(m_pMailItem);
  }
  if (result == channel::kActionTag) {
    TagSensitiveMail();
  } else if (result == channel::kActionBlock) {
    g_logger.Log(kLogModule, kLogInfo, "Block current mail sending.");
    // The number 1, not VARIANT_TRUE.
    if (Cancel != nullptr) *Cancel = 1;
  }
  MarkMailChecked(m_pMailItem, result);
  return S_OK;
}

bool DlpMailEvent::IsMailChecked(_MailItem* item, LONG* result) {
  if (item == nullptr) return false;
  g_verdictCache.Purge(platform::clock.GetTickCount());
  const VerdictCacheEntry* const entry = g_verdictCache.Find(item);
  if (entry == nullptr) {
    g_logger.Log(kLogModule, kLogInfo, "MailItem 0x%s is not checked, continue CheckMail ... ",
                 PointerText(item).c_str());
    return false;
  }
  *result = entry->lResult;
  g_logger.Log(kLogModule, kLogInfo, "MailItem 0x%s is already checked, previous result %ld ",
               PointerText(item).c_str(), static_cast<long>(entry->lResult));
  return true;
}

int DlpMailEvent::MarkMailChecked(_MailItem* item, LONG result) {
  // The verdict's age counts from the end of the handler, so the time that the check took doesn't
  // count.
  g_verdictCache.Store(item, {platform::clock.GetTickCount(), static_cast<std::int32_t>(result)});
  return 1;
}

ActionCode DlpMailEvent::CheckEmail(_MailItem* item) {
  try {
    return RunStages(item);
  } catch (...) {
    CleanTempFiles();
    throw;
  }
}

ActionCode DlpMailEvent::RunStages(_MailItem* item) {
  GetAgentChannel()->m_bChallengeResponse = ReadChallengeSetting();

  const ActionCode recipientResult = CheckRecipients(item);
  g_logger.Log(kLogModule, kLogInfo, "CheckRecipients returns: %d.", recipientResult);
  if (recipientResult == channel::kActionNothingDecided) return channel::kActionNothingDecided;
  CheckSender(item);
  ScanEnvelopeEnd();

  // The answer to the recipients only decides whether the content is checked at all.
  ActionCode result = channel::kActionNothingDecided;
  if (recipientResult == channel::kActionGoOn) result = CheckContentStages(item);

  // Only now: the agent reads the files until it has answered its last request.
  const ActionCode closing = ScanSessionEnd();
  CleanTempFiles();
  g_logger.Log(kLogModule, kLogInfo, "ScanSessionEnd returns: %d.", closing);
  return channel::IsDecisive(closing) ? closing : result;
}

bool DlpMailEvent::ReadChallengeSetting() const {
  ProfileMap wanted = {{kChallengeKey, "false"}};
  if (!ProfileReader(m_strProfilePath, wanted)) {
    g_logger.Log(kLogModule, kLogErr,
                 "[%s] Get use_challenge_response fail. use default m_bChallengeResponse = false "
                 "@%s(%d)",
                 "DlpMailEvent::CheckEmail", kFile, 725);
    return false;
  }
  const std::string& value = wanted.at(kChallengeKey);
  // At Err on purpose: the setting shows even in a log that is limited to errors.
  g_logger.Log(kLogModule, kLogErr, "[%s] Get key_challenge_response = %s @%s(%d)",
               "DlpMailEvent::CheckEmail", value.c_str(), kFile, 731);
  return value == "true";
}

ActionCode DlpMailEvent::CheckContentStages(_MailItem* item) {
  ActionCode result = CheckSubject(item);
  g_logger.Log(kLogModule, kLogInfo, "CheckSubject returns: %d.", result);
  if (channel::IsDecisive(result)) return result;

  result = CheckBody(item);
  g_logger.Log(kLogModule, kLogInfo, "CheckBody returns: %d.", result);
  if (channel::IsDecisive(result)) return result;

  result = CheckSignature();
  g_logger.Log(kLogModule, kLogInfo, "CheckSignature returns: %d.", result);
  if (channel::IsDecisive(result)) return result;

  result = CheckAttachments(item);
  g_logger.Log(kLogModule, kLogInfo, "CheckAttachments returns: %d.", result);
  return result;
}

void DlpMailEvent::CleanTempFiles() {
  PathBuffer directory = {};
  platform::folders.GetTempPathA(sizeof(directory), directory);
  directory[sizeof(directory) - 1] = '\0';
  DeleteIn(directory, channel::kBodyFile);
  DeleteIn(directory, channel::kSubjectFile);

  PathBuffer pattern;
  if (!JoinPath(directory, channel::kAttachmentFilePattern, pattern)) return;
  platform::FindData found = {};
  const platform::Handle listing = platform::files.FindFirstFileA(pattern, &found);
  if (listing == platform::kInvalidHandle) return;
  do {
    DeleteIn(directory, found.cFileName);
  } while (platform::files.FindNextFileA(listing, &found));
  platform::files.FindClose(listing);
}
