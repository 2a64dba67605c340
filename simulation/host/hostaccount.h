// Who a mail comes from: the session and the sending account, each with its user.
#pragma once

#include <optional>
#include <string>

#include "simulation/host/hostobject.h"
#include "simulation/host/hostrecipients.h"

namespace simulation::host {

class HostSession final : public HostDispatch<HostSession, _NameSpace> {
 public:
  static constexpr std::string_view kHostClass = "_NameSpace";

  // Without a name there is no user.
  HostSession(HostCorePointer core, HostAddressBookPointer book,
              const std::optional<std::string>& userName);

  HRESULT STDMETHODCALLTYPE get_CurrentUser(Recipient** user) override;
  std::string Label() const override;

 private:
  HostRef<HostRecipient> m_user;
};

class HostAccount final : public HostDispatch<HostAccount, _Account> {
 public:
  static constexpr std::string_view kHostClass = "_Account";

  HostAccount(HostCorePointer core, HostAddressBookPointer book,
              const std::optional<std::string>& text, const std::optional<std::string>& userName);

  HRESULT STDMETHODCALLTYPE get_UserName(BSTR* name) override;
  // From version 14 on.
  HRESULT STDMETHODCALLTYPE get_CurrentUser(Recipient** user) override;
  std::string Label() const override;

 private:
  std::optional<platform::WideString> m_text;
  HostRef<HostRecipient> m_user;
};

}  // namespace simulation::host
