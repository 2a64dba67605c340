// The attachments of a mail. The agent gets paths, never bytes: the path of a temporary copy for an
// attachment inside the mail, the path of the file itself for one that the mail only refers to.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "agent/outlookaddin/dlpmailevent.h"
#include "agent/outlookaddin/hostcalls.h"
#include "channel/agentchannel.h"
#include "logging/vrklogger.h"
#include "platform/com/bstr.h"
#include "platform/com/comptr.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "text/textconversion.h"

using outlookaddin::PositionVariant;
using platform::Bstr;
using platform::ComPtr;
using platform::WideChar;
using platform::WideString;

std::int32_t g_attachmentSequence = 0;

namespace {

constexpr std::int32_t kSequenceLimit = 100;
constexpr std::uint32_t kCopyPathCapacity = 800;  // wide characters

// Whether to go on with the next attachment.
enum class Walk { kGoOn, kStop };

Walk AfterAnswer(ActionCode result) {
  return channel::IsDecisive(result) ? Walk::kStop : Walk::kGoOn;
}

Walk CheckReferencedFile(Attachment* attachment, ActionCode* result) {
  Bstr fileName;
  Bstr pathName;
  attachment->get_FileName(fileName.Put());
  attachment->get_PathName(pathName.Put());
  if (!fileName || !pathName) {
    g_logger.Log(kLogModule, kLogErr, "Get attachment name and path failed.");
    return Walk::kStop;
  }
  g_logger.Log(kLogModule, kLogInfo, "Referenced attachment: path:%s, name:%s",
               WideToUtf8(pathName.View()).c_str(), WideToUtf8(fileName.View()).c_str());
  WideString path(pathName.View());
  path += WideChar{'\\'};
  path += fileName.View();
  *result = GetAgentChannel()->CheckContentWide(
      path.c_str(), static_cast<std::uint32_t>(path.size()), channel::kItemFile, nullptr);
  return AfterAnswer(*result);
}

Walk CheckSavedCopy(Attachment* attachment, const Bstr& fileName, ActionCode* result) {
  // SaveAsFile takes a BSTR, so the text has its length in bytes in front, and the alignment of
  // one.
  struct {
    alignas(8) std::uint32_t unused;
    std::uint32_t bytes;
    WideChar text[kCopyPathCapacity];
  } buffer = {};
  static_assert(offsetof(decltype(buffer), text) == offsetof(decltype(buffer), bytes) + 4);
  WideChar* const path = buffer.text;
  const std::uint32_t length = DlpMailEvent::GetAttachmentTempPath(path, kCopyPathCapacity);
  buffer.bytes = length * static_cast<std::uint32_t>(sizeof(WideChar));
  if (FAILED(attachment->SaveAsFile(path))) return Walk::kGoOn;
  *result = GetAgentChannel()->CheckContentWide(path, length, channel::kItemFile, fileName.Get());
  // A read-only copy couldn't be deleted later.
  platform::files.SetFileAttributesW(path, platform::kFileAttributeNormal);
  return AfterAnswer(*result);
}

Walk CheckAttachment(Attachments* attachments, LONG position, ActionCode* result) {
  ComPtr<Attachment> attachment;
  const HRESULT hr = attachments->Item(PositionVariant(position), attachment.Put());
  if (FAILED(hr) || !attachment) {
    g_logger.Log(kLogModule, kLogErr, "Cannot get attachment item. hr:%u",
                 static_cast<unsigned>(hr));
    return Walk::kStop;
  }
  LONG type = 0;
  Bstr fileName;
  attachment->get_Type(&type);
  attachment->get_FileName(fileName.Put());
  // An attachment without a name ends the walk, even one of a kind that is skipped below.
  if (!fileName) {
    g_logger.Log(kLogModule, kLogErr, "Cannot get attachment's file name.");
    return Walk::kStop;
  }
  switch (type) {
    case outlookaddin::olByReference:
      return CheckReferencedFile(attachment.Get(), result);
    case outlookaddin::olByValue:
    case outlookaddin::olEmbeddeditem:
      return CheckSavedCopy(attachment.Get(), fileName, result);
    default:
      return Walk::kGoOn;
  }
}

}  // namespace

std::uint32_t DlpMailEvent::GetAttachmentTempPath(WideChar* buffer, std::uint32_t capacity) {
  if (buffer == nullptr) return 0;
  g_attachmentSequence = g_attachmentSequence % kSequenceLimit + 1;
  if (capacity == 0) return 0;
  platform::folders.GetTempPathW(capacity, buffer);
  WideString path(buffer, std::find(buffer, buffer + capacity, WideChar{0}));
  path += Utf8ToWide(channel::kAttachmentFilePrefix + std::to_string(g_attachmentSequence));
  const std::size_t length = std::min<std::size_t>(path.size(), capacity - 1);
  path.copy(buffer, length);
  buffer[length] = 0;
  return static_cast<std::uint32_t>(length);
}

ActionCode DlpMailEvent::CheckAttachments(_MailItem* item) {
  ComPtr<Attachments> attachments;
  HRESULT hr = item->get_Attachments(attachments.Put());
  if (FAILED(hr) || !attachments) {
    g_logger.Log(kLogModule, kLogErr, "Cannot get attachments. hr:%u", static_cast<unsigned>(hr));
    return channel::kActionNothingUsable;
  }
  LONG count = -1;
  hr = attachments->get_Count(&count);
  // A mail without attachments takes this path too and is logged as an error.
  if (FAILED(hr) || count < 1) {
    g_logger.Log(kLogModule, kLogErr, "Cannot get attachments' count. hr:%u",
                 static_cast<unsigned>(hr));
    return channel::kActionNothingUsable;
  }
  // Each answer replaces the one before, so the result is the last answer.
  ActionCode result = channel::kActionNothingUsable;
  for (LONG position = 1; position <= count; ++position) {
    if (CheckAttachment(attachments.Get(), position, &result) == Walk::kStop) break;
  }
  return result;
}
