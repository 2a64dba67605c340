// What is attached to a mail.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "simulation/host/hostobject.h"
#include "simulation/mail/mailmodel.h"

namespace simulation::host {

class HostAttachment final : public HostDispatch<HostAttachment, Attachment> {
 public:
  static constexpr std::string_view kHostClass = "Attachment";

  // `attachment` keeps the mail alive that it points into.
  HostAttachment(HostCorePointer core, std::shared_ptr<const mail::MailAttachment> attachment);

  HRESULT STDMETHODCALLTYPE get_FileName(BSTR* name) override;
  HRESULT STDMETHODCALLTYPE get_PathName(BSTR* path) override;
  HRESULT STDMETHODCALLTYPE get_Type(LONG* type) override;
  // Writes the content to a new file at `path`, which must be a BSTR: its own length counts.
  // E_ACCESSDENIED if the file can't be created, E_FAIL if writing fails.
  HRESULT STDMETHODCALLTYPE SaveAsFile(BSTR path) override;
  std::string Label() const override;

 private:
  std::shared_ptr<const mail::MailAttachment> m_attachment;
  std::optional<platform::WideString> m_fileName;
  std::optional<platform::WideString> m_pathName;
};

class HostAttachments final : public HostDispatch<HostAttachments, Attachments> {
 public:
  static constexpr std::string_view kHostClass = "Attachments";

  HostAttachments(HostCorePointer core, std::shared_ptr<const mail::MailModel> mail,
                  std::string owner);

  HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override;
  HRESULT STDMETHODCALLTYPE Item(VARIANT index, Attachment** attachment) override;
  std::string Label() const override;

 private:
  std::shared_ptr<const mail::MailModel> m_mail;
  std::string m_owner;
  std::vector<HostRef<HostAttachment>> m_attachments;  // created on first use
};

}  // namespace simulation::host
