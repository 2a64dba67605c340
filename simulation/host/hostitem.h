// The items that windows show: mails, and things that aren't mails.
//
// A HostMailItem can be used by itself, without windows:
//
//   simulation::host::SimulatedHost host;
//   simulation::host::HostMailItem& mail = host.CreateMail(model);
//   mail.AddRef();                       // the reference that the sink will own
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
#include "simulation/mail/mailmodel.h"

namespace simulation::host {

// What firing Send gave.
struct SendOutcome {
  VARIANT_BOOL cancel;    // as the sinks left it
  FiredResults returned;  // what each sink's Invoke returned
  bool Cancelled() const { return cancel != VARIANT_FALSE; }
};

// A mail being written. It holds its collections, its account, its session and its MAPI object from
// the first time that each is asked for to its own end: each getter gives the same object every
// time. A self-containing list in the model is the maker's to take apart again (clear `members`):
// the model's entries hold each other.
class HostMailItem final : public HostEventSource<HostMailItem, _MailItem> {
 public:
  static constexpr std::string_view kHostClass = "_MailItem";
  static constexpr HostCallId kFindCall = "_MailItem::FindConnectionPoint";

  HostMailItem(HostCorePointer core, mail::MailModel model);
  ~HostMailItem() override;

  const mail::MailModel& Model() const { return *m_model; }
  // What the user has changed since. The item stays the same, the objects below it are new;
  // properties that were set stay.
  void SetModel(mail::MailModel model);

  // The named properties that were set on the mail, and the value of the first one with that name
  // in PS_INTERNET_HEADERS.
  std::vector<HostNamedProperty> NamedProperties() const;
  std::optional<std::string> Header(const std::string& name) const;

  // Fires Send with the flag as it stands before.
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
  void TakeTexts();

  std::shared_ptr<const mail::MailModel> m_model;
  std::optional<platform::WideString> m_subject;
  std::optional<platform::WideString> m_body;
  std::optional<platform::WideString> m_htmlBody;
  HostAddressBookPointer m_book;
  HostRef<HostRecipients> m_recipients;
  HostRef<HostAttachments> m_attachments;
  HostRef<HostSession> m_session;
  HostRef<HostAccount> m_account;
  HostRef<HostMessage> m_message;
};

// An item that is no mail: it has no interface but IDispatch.
class HostOtherItem final : public HostDispatch<HostOtherItem, IDispatch> {
 public:
  static constexpr std::string_view kHostClass = "OtherItem";

  explicit HostOtherItem(HostCorePointer core) : HostDispatch(std::move(core)) {}
  std::string Label() const override { return "OtherItem"; }
};

}  // namespace simulation::host
