#include "simulation/host/hostaccount.h"

#include "simulation/host/hosttext.h"

namespace simulation::host {
namespace {

HostRef<HostRecipient> MakeUser(const HostCorePointer& core, const HostAddressBookPointer& book,
                                const std::optional<std::string>& name) {
  if (!name) return {};
  return HostRef<HostRecipient>::Make(core, book, mail::MailRecipient{*name, nullptr});
}

}  // namespace

HostSession::HostSession(HostCorePointer core, HostAddressBookPointer book,
                         const std::optional<std::string>& userName)
    : HostDispatch(std::move(core)), m_user(MakeUser(SharedCore(), book, userName)) {}

HRESULT HostSession::get_CurrentUser(Recipient** user) {
  return Answer("_NameSpace::get_CurrentUser", user, [&] { return m_user.Give(user); });
}

std::string HostSession::Label() const {
  return "_NameSpace";
}

HostAccount::HostAccount(HostCorePointer core, HostAddressBookPointer book,
                         const std::optional<std::string>& text,
                         const std::optional<std::string>& userName)
    : HostDispatch(std::move(core)),
      m_text(ToWide(text)),
      m_user(MakeUser(SharedCore(), book, userName)) {}

HRESULT HostAccount::get_UserName(BSTR* name) {
  return Answer("_Account::get_UserName", name, [&] { return GiveText(m_text, name); });
}

HRESULT HostAccount::get_CurrentUser(Recipient** user) {
  NeedVersion(14, kHostClass, "get_CurrentUser");
  return Answer("_Account::get_CurrentUser", user, [&] { return m_user.Give(user); });
}

std::string HostAccount::Label() const {
  return "_Account";
}

}  // namespace simulation::host
