#include "simulation/host/hostattachments.h"

#include <algorithm>

#include "platform/files.h"
#include "platform/scopedhandle.h"
#include "simulation/host/hosttext.h"

namespace simulation::host {
namespace {

bool WriteWhole(platform::Handle file, const std::string& content) {
  constexpr std::size_t kMostAtOnce = 1u << 30;
  std::size_t done = 0;
  while (done < content.size()) {
    const auto size = static_cast<std::uint32_t>(std::min(content.size() - done, kMostAtOnce));
    std::uint32_t written = 0;
    if (!platform::files.WriteFile(file, content.data() + done, size, &written)) return false;
    if (written == 0) return false;
    done += written;
  }
  return true;
}

}  // namespace

HostAttachment::HostAttachment(HostCorePointer core,
                               std::shared_ptr<const mail::MailAttachment> attachment)
    : HostDispatch(std::move(core)),
      m_attachment(std::move(attachment)),
      m_fileName(ToWide(m_attachment->fileName)),
      m_pathName(ToWide(m_attachment->pathName)) {}

HRESULT HostAttachment::get_FileName(BSTR* name) {
  return Answer("Attachment::get_FileName", name, [&] { return GiveText(m_fileName, name); });
}

HRESULT HostAttachment::get_PathName(BSTR* path) {
  return Answer("Attachment::get_PathName", path, [&] { return GiveText(m_pathName, path); });
}

HRESULT HostAttachment::get_Type(LONG* type) {
  return Answer("Attachment::get_Type", type, [&] {
    *type = static_cast<LONG>(m_attachment->type);
    return S_OK;
  });
}

HRESULT HostAttachment::SaveAsFile(BSTR path) {
  return Answer("Attachment::SaveAsFile", [&]() -> HRESULT {
    if (path == nullptr) return E_POINTER;
    // All of the string, by its own length.
    const platform::WideString whole(path, SysStringLen(path));
    const platform::ScopedHandle file(platform::files.CreateFileW(
        whole.c_str(), platform::kGenericReadWrite, platform::kShareReadWrite, nullptr,
        platform::kCreateAlways, platform::kFileAttributeNormal));
    if (!file.IsOpen()) return E_ACCESSDENIED;
    return WriteWhole(file.Get(), m_attachment->content) ? S_OK : E_FAIL;
  });
}

std::string HostAttachment::Label() const {
  return "Attachment " + Quoted(m_attachment->fileName.value_or(""));
}

HostAttachments::HostAttachments(HostCorePointer core, std::shared_ptr<const mail::MailModel> mail,
                                 std::string owner)
    : HostDispatch(std::move(core)),
      m_mail(std::move(mail)),
      m_owner(std::move(owner)),
      m_attachments(m_mail->attachments.size()) {}

HRESULT HostAttachments::get_Count(LONG* count) {
  return Answer("Attachments::get_Count", count, [&] {
    *count = static_cast<LONG>(m_attachments.size());
    return S_OK;
  });
}

HRESULT HostAttachments::Item(VARIANT index, Attachment** attachment) {
  return Answer("Attachments::Item", attachment, [&] {
    std::size_t place = 0;
    const HRESULT result = ReadIndex(index, m_attachments.size(), &place);
    if (FAILED(result)) return result;
    HostRef<HostAttachment>& known = m_attachments[place];
    if (!known) {
      known = HostRef<HostAttachment>::Make(
          SharedCore(),
          std::shared_ptr<const mail::MailAttachment>(m_mail, &m_mail->attachments[place]));
    }
    return known.Give(attachment);
  });
}

std::string HostAttachments::Label() const {
  return "Attachments of " + m_owner;
}

}  // namespace simulation::host
