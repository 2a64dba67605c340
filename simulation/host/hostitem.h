// The items that windows show: mails, and items that aren't mails.
//
// A HostMailItem also works alone, without windows:
//
//   simulation::host::SimulatedHost host;
//   simulation::host::HostMailItem& mail = host.CreateMail(model);
//   mail.AddRef();                       // the sink takes this reference over
//   DlpMailEvent sink(&mail);            // a HostMailItem is a _MailItem
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulation/host/hostaccount.h"
#include "simulation/host/hostattachments.h"
#include "simulation/host/hostevents.h"
#include "simulation/host/hostmessage.h"
#include "simulation/host/hostobject.h"
#include "simulation/host/hostrecipients.h"
#include "simulation/host/hosttext.h"
#include "simulation/mail/mailmodel.h"

namespace simulation::host {

// The result of firing Send.
struct SendOutcome {
  VARIANT_BOOL cancel;    // as the last sink left it
  FiredResults returned;  // what each sink's Invoke returned
  bool Cancelled() const { return cancel != VARIANT_FALSE; }
};

// A mail being written. It creates its collections, its account, its session and its MAPI object on
// first use and keeps them, so each getter always returns the same object. If the model has a
// distribution list that contains itself, its creator must clear that list's `members` in the end,
// since such entries keep each other alive.
class HostMailItem final : public HostEventSource<HostMailItem, _MailItem> {
 public:
  static constexpr std::string_view kHostClass = "_MailItem";
  static constexpr std::string_view kFindCall = "_MailItem::FindConnectionPoint";

  HostMailItem(HostCorePointer core, mail::MailModel model);
  ~HostMailItem() override;

  // Without the bodies, which the item keeps elsewhere.
  const mail::MailModel& Model() const { return *m_model; }
  // The user has edited the mail. The item stays the same object and keeps the named properties;
  // the objects below it are created anew.
  void SetModel(mail::MailModel model);

  // The named properties that the add-in set on the mail, and the value of the first one with that
  // name in PS_INTERNET_HEADERS.
  std::vector<HostNamedProperty> NamedProperties() const;
  std::optional<std::string> Header(const std::string& name) const;

  // Fires Send with `cancel` as the flag's initial value.
  SendOutcome FireSend(VARIANT_BOOL cancel = VARIANT_FALSE);

  HRESULT STDMETHODCALLTYPE get_Session(_NameSpace** session) override;
  HRESULT STDMETHODCALLTYPE get_Attachments(Attachments** attachments) override;
  HRESULT STDMETHODCALLTYPE get_Body(BSTR* body) override;
  HRESULT STDMETHODCALLTYPE get_MAPIOBJECT(IUnknown** object) override;
  HRESULT STDMETHODCALLTYPE get_Subject(BSTR* subject) override;
  HRESULT STDMETHODCALLTYPE get_HTMLBody(BSTR* html) override;
  HRESULT STDMETHODCALLTYPE get_Recipients(Recipients** recipients) override;
  // From version 12 on.
  HRESULT STDMETHODCALLTYPE get_SendUsingAccount(_Account** account) override;
  std::string Label() const override;

 private:
  void TakeModel(mail::MailModel model);

  std::shared_ptr<const mail::MailModel> m_model;
  std::optional<platform::WideString> m_subject;
  HostText m_body;
  HostText m_htmlBody;
  HostAddressBookPointer m_book;
  HostRef<HostRecipients> m_recipients;
  HostRef<HostAttachments> m_attachments;
  HostRef<HostSession> m_session;
  HostRef<HostAccount> m_account;
  HostRef<HostMessage> m_message;
};

// An item that isn't a mail: it has no interface except IDispatch.
class HostOtherItem final : public HostDispatch<HostOtherItem, IDispatch> {
 public:
  static constexpr std::string_view kHostClass = "OtherItem";

  explicit HostOtherItem(HostCorePointer core) : HostDispatch(std::move(core)) {}
  std::string Label() const override { return "OtherItem"; }
};

}  // namespace simulation::host
