#include "agent/outlookaddin/dlpmailevent.h"

#include <cstdio>
#include <cstring>

#include "agent/outlookaddin/eventconnection.h"
#include "agent/outlookaddin/sourceleaf.h"
#include "agent/outlookaddin/verdictcache.h"
#include "channel/agentchannel.h"
#include "config/profilereader.h"
#include "logging/vrklogger.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/ui.h"

namespace {

constexpr const char* kChallengeKey = "use_challenge_response";

using PathBuffer = char[platform::kMaxPath];

// The text of a pointer as the Windows runtime's "%p" has it: all digits, in capitals.
class PointerText {
 public:
  explicit PointerText(const void* pointer) {
    constexpr int kDigits = 2 * sizeof(void*);
    std::snprintf(m_text, sizeof(m_text), "%0*llX", kDigits,
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer)));
  }
  const char* Text() const { return m_text; }

 private:
  char m_text[2 * sizeof(void*) + 1];
};

// Puts `name` behind `directory`. False when the two don't fit: a path that was cut might name
// somebody else's file.
bool JoinPath(const char* directory, const char* name, PathBuffer& path) {
  std::memset(path, 0, sizeof(path));
  const std::size_t directoryLength = std::strlen(directory);
  const std::size_t nameLength = std::strlen(name);
  if (directoryLength + nameLength >= sizeof(path)) return false;
  std::memcpy(path, directory, directoryLength);
  std::memcpy(path + directoryLength, name, nameLength);
  return true;
}

void DeleteIn(const char* directory, const char* name) {
  PathBuffer path;
  if (JoinPath(directory, name, path)) platform::files.DeleteFileA(path);
}

}  // namespace

const platform::EventRow* DlpMailEvent::Events() {
  static constexpr platform::EventCallForm kSendForm = {
      CC_STDCALL, VT_EMPTY, 1, {VT_BOOL | VT_BYREF}};
  static const platform::EventRow kRows[] = {
      {4, &outlook::IID_ItemEvents, outlook::kDispidSend,
       platform::HandlerSlot(&DlpMailEvent::OnMailSend), &kSendForm},
      {}};
  return kRows;
}

DlpMailEvent::DlpMailEvent(_MailItem* item) : m_pMailItem(item) {
  // Without a Windows directory the path is the suffix alone, which opens nothing.
  PathBuffer windows = {};
  platform::folders.GetWindowsDirectoryA(windows, sizeof(windows));
  windows[sizeof(windows) - 1] = '\0';
  m_strProfilePath = std::string(windows) + kProfileSuffix;
}

DlpMailEvent::~DlpMailEvent() {
  if (m_pMailItem != nullptr) {
    UnadviseEvents(m_pMailItem, outlook::IID_ItemEvents, m_dwEventCookie);
    m_dwEventCookie = platform::kNoEventCookie;
    // The host may well hold on to its own item: the line is a word for the log and no more.
    const ULONG remaining = m_pMailItem->Release();
    if (remaining != 0) {
      g_logger.Log(kLogModule, kLogErr, "Mail ref error: %d.", static_cast<int>(remaining));
    }
  }
  g_logger.Log(kLogModule, kLogInfo, "[%s] called @%d.", "DlpMailEvent::~DlpMailEvent", 804);
}

HRESULT STDMETHODCALLTYPE DlpMailEvent::OnMailOther() {
  return S_OK;
}

HRESULT STDMETHODCALLTYPE DlpMailEvent::OnMailSend(VARIANT_BOOL* Cancel) {
  // The wait cursor stands for as long as the user's thread is held.
  const platform::Cursor previous =
      platform::ui.SetCursor(platform::ui.LoadCursorW(platform::kWaitCursor));
  LONG result = channel::kActionNothingDecided;
  // A block isn't taken over: the user may have changed the mail since.
  if (!IsMailChecked(m_pMailItem, &result) || result == channel::kActionBlock) {
    result = CheckEmail(m_pMailItem);
  }
  if (result == channel::kActionTag) {
    TagSensitiveMail();
  } else if (result == channel::kActionBlock) {
    g_logger.Log(kLogModule, kLogInfo, "Block current mail sending.");
    // The number 1, which is not VARIANT_TRUE.
    if (Cancel != nullptr) *Cancel = 1;
  }
  MarkMailChecked(m_pMailItem, result);
  platform::ui.SetCursor(previous);
  return S_OK;
}

bool DlpMailEvent::IsMailChecked(_MailItem* item, LONG* result) {
  if (item == nullptr) return false;
  g_verdictCache.Purge(platform::clock.GetTickCount());
  const VerdictCacheEntry* const entry = g_verdictCache.Find(item);
  if (entry == nullptr) {
    g_logger.Log(kLogModule, kLogInfo, "MailItem 0x%s is not checked, continue CheckMail ... ",
                 PointerText(item).Text());
    return false;
  }
  *result = entry->lResult;
  g_logger.Log(kLogModule, kLogInfo, "MailItem 0x%s is already checked, previous result %ld ",
               PointerText(item).Text(), static_cast<long>(entry->lResult));
  return true;
}

int DlpMailEvent::MarkMailChecked(_MailItem* item, LONG result) {
  // The period runs from here, the end of the handler: the time that the checks took doesn't
  // count.
  g_verdictCache.Store(item, {platform::clock.GetTickCount(), static_cast<std::int32_t>(result)});
  return 1;
}

ActionCode DlpMailEvent::CheckEmail(_MailItem* item) {
  GetAgentChannel()->m_bChallengeResponse = ReadChallengeSetting();

  const ActionCode recipientResult = CheckRecipients(item);
  g_logger.Log(kLogModule, kLogInfo, "CheckRecipients returns: %d.", recipientResult);
  if (recipientResult == channel::kActionNothingDecided) return channel::kActionNothingDecided;
  CheckSender(item);
  ScanEnvelopeEnd();

  // The answer to the recipients opens the content or keeps it shut, and decides nothing else.
  ActionCode result = channel::kActionNothingDecided;
  if (recipientResult == channel::kActionGoOn) result = CheckContentStages(item);

  // The agent has answered its last request before the files go.
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
                 "DlpMailEvent::CheckEmail", SourceLeaf(__FILE__), 725);
    return false;
  }
  const std::string& value = wanted.at(kChallengeKey);
  // At Err on purpose, so that the setting shows in a log of errors only.
  g_logger.Log(kLogModule, kLogErr, "[%s] Get key_challenge_response = %s @%s(%d)",
               "DlpMailEvent::CheckEmail", value.c_str(), SourceLeaf(__FILE__), 731);
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
