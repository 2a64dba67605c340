// The attachments of a mail. The agent is given paths, never bytes: of a temporary copy for what
// lives inside the mail, of the file itself for what the mail only refers to.
#include <algorithm>
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

using platform::Bstr;
using platform::ComPtr;
using platform::WideChar;
using platform::WideString;

std::int32_t g_attachmentSequence = 0;

namespace {

constexpr std::int32_t kSequenceLimit = 100;
constexpr std::uint32_t kCopyPathCapacity = 800;
constexpr std::uint32_t kLeafCapacity = 260;

// Whether the walk over the attachments goes on to the next one.
enum class Walk { kGoOn, kStop };

Walk AfterAnswer(ActionCode result) {
  return channel::IsDecisive(result) ? Walk::kStop : Walk::kGoOn;
}

// Writes the prefix and the number into a zeroed buffer.
void FormatLeaf(std::int32_t number, WideChar (&leaf)[kLeafCapacity]) {
  WideChar* end = leaf;
  for (const char character : channel::kAttachmentFilePrefix + std::to_string(number)) {
    *end++ = static_cast<WideChar>(character);
  }
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
  WideChar path[kCopyPathCapacity] = {};
  const std::uint32_t length = DlpMailEvent::GetAttachmentTempPath(path, kCopyPathCapacity);
  if (FAILED(attachment->SaveAsFile(path))) return Walk::kGoOn;
  *result = GetAgentChannel()->CheckContentWide(path, length, channel::kItemFile, fileName.Get());
  // A copy that inherited a read-only mark could not be deleted later.
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
  // Asked of every kind, also of those that are passed over below.
  if (!fileName) {
    g_logger.Log(kLogModule, kLogErr, "Cannot get attachment's file name.");
    return Walk::kStop;
  }
  switch (type) {
    case outlook::olByReference:
      return CheckReferencedFile(attachment.Get(), result);
    case outlook::olByValue:
    case outlook::olEmbeddeditem:
      return CheckSavedCopy(attachment.Get(), fileName, result);
    default:
      return Walk::kGoOn;
  }
}

}  // namespace

std::uint32_t DlpMailEvent::GetAttachmentTempPath(WideChar* buffer, std::uint32_t capacity) {
  if (buffer == nullptr) return 0;
  g_attachmentSequence = g_attachmentSequence % kSequenceLimit + 1;
  WideChar leaf[kLeafCapacity] = {};
  FormatLeaf(g_attachmentSequence, leaf);
  if (capacity == 0) return 0;
  platform::folders.GetTempPathW(capacity, buffer);
  WideChar* const last = buffer + (capacity - 1);
  WideChar* end = std::find(buffer, last, WideChar{0});
  for (const WideChar* from = leaf; *from != 0 && end != last; ++from) *end++ = *from;
  *end = 0;
  return static_cast<std::uint32_t>(end - buffer);
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
  // A mail without attachments ends here too, and is logged as an error like the rest.
  if (FAILED(hr) || count < 1) {
    g_logger.Log(kLogModule, kLogErr, "Cannot get attachments' count. hr:%u",
                 static_cast<unsigned>(hr));
    return channel::kActionNothingUsable;
  }
  // Each answer replaces the one before: what comes out is the last that was given.
  ActionCode result = channel::kActionNothingUsable;
  for (LONG position = 1; position <= count; ++position) {
    if (CheckAttachment(attachments.Get(), position, &result) == Walk::kStop) break;
  }
  return result;
}
