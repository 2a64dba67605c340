#include "simulation/host/hostitem.h"

#include <utility>

namespace simulation::host {

namespace {
std::string ItemLabel(const mail::MailModel& model) {
  return "_MailItem " + Quoted(model.subject.value_or(""));
}
}  // namespace

HostMailItem::HostMailItem(HostCorePointer core, mail::MailModel model)
    : HostEventSource(std::move(core), kItemEvents, ItemLabel(model)),
      m_book(std::make_shared<HostAddressBook>(SharedCore())) {
  TakeModel(std::move(model));
}

HostMailItem::~HostMailItem() {
  m_book->Close();
}

void HostMailItem::TakeModel(mail::MailModel model) {
  m_subject = ToWide(model.subject);
  m_body = HostText(std::exchange(model.body, std::nullopt));
  m_htmlBody = HostText(std::exchange(model.htmlBody, std::nullopt));
  m_model = std::make_shared<const mail::MailModel>(std::move(model));
}

void HostMailItem::SetModel(mail::MailModel model) {
  TakeModel(std::move(model));
  m_recipients = {};
  m_attachments = {};
  m_session = {};
  m_account = {};
  m_book->Close();
  m_book = std::make_shared<HostAddressBook>(SharedCore());
}

std::vector<HostNamedProperty> HostMailItem::NamedProperties() const {
  if (!m_message) return {};
  return m_message->NamedProperties();
}

std::optional<std::string> HostMailItem::Header(const std::string& name) const {
  for (const HostNamedProperty& property : NamedProperties()) {
    if (property.name == name && IsEqualGUID(property.propertySet, kPsInternetHeaders)) {
      return property.value;
    }
  }
  return std::nullopt;
}

SendOutcome HostMailItem::FireSend(VARIANT_BOOL cancel) {
  SendOutcome outcome = {cancel, {}};
  const HostRef<HostMailItem> self(this);
  outcome.returned = Fire(outlookaddin::kDispidSend, {FlagArgument(&outcome.cancel)});
  return outcome;
}

HRESULT HostMailItem::get_Session(_NameSpace** session) {
  return Answer("_MailItem::get_Session", session, [&] {
    if (!m_session) {
      m_session = HostRef<HostSession>::Make(SharedCore(), m_book, m_model->senderName);
    }
    return m_session.Give(session);
  });
}

HRESULT HostMailItem::get_Attachments(Attachments** attachments) {
  return Answer("_MailItem::get_Attachments", attachments, [&] {
    if (!m_attachments) {
      m_attachments = HostRef<HostAttachments>::Make(SharedCore(), m_model, Label());
    }
    return m_attachments.Give(attachments);
  });
}

HRESULT HostMailItem::get_Body(BSTR* body) {
  return Answer("_MailItem::get_Body", body, [&] { return m_body.Give(body); });
}

HRESULT HostMailItem::get_MAPIOBJECT(IUnknown** object) {
  return Answer("_MailItem::get_MAPIOBJECT", object, [&] {
    if (!m_message) m_message = HostRef<HostMessage>::Make(SharedCore(), Label());
    return m_message.Give(object);
  });
}

HRESULT HostMailItem::get_Subject(BSTR* subject) {
  return Answer("_MailItem::get_Subject", subject, [&] { return GiveText(m_subject, subject); });
}

HRESULT HostMailItem::get_HTMLBody(BSTR* html) {
  return Answer("_MailItem::get_HTMLBody", html, [&] { return m_htmlBody.Give(html); });
}

HRESULT HostMailItem::get_Recipients(Recipients** recipients) {
  return Answer("_MailItem::get_Recipients", recipients, [&] {
    if (!m_recipients) {
      m_recipients = HostRef<HostRecipients>::Make(SharedCore(), m_book, m_model, Label());
    }
    return m_recipients.Give(recipients);
  });
}

HRESULT HostMailItem::get_SendUsingAccount(_Account** account) {
  NeedVersion(12, kHostClass, "get_SendUsingAccount");
  return Answer("_MailItem::get_SendUsingAccount", account, [&] {
    const bool none = !m_model->accountUserName && !m_model->accountSenderName;
    if (none) return S_OK;
    if (!m_account) {
      m_account = HostRef<HostAccount>::Make(SharedCore(), m_book, m_model->accountUserName,
                                             m_model->accountSenderName);
    }
    return m_account.Give(account);
  });
}

std::string HostMailItem::Label() const {
  return ItemLabel(*m_model);
}

}  // namespace simulation::host
