// Members that the add-in must not call: they end the process.
#include <gtest/gtest.h>

#include "simulation/host/simulatedhost.h"
#include "tests/simulation/host/hosttesting.h"

namespace simulation::host {
namespace {

TEST(HostTrapDeathTest, ReservedSlotsStopTheProcess) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Trap"));
  void* const item = static_cast<_MailItem*>(&mail);
  for (const std::size_t slot : {7u, 8u, 10u, 14u, 42u, 151u}) {
    EXPECT_DEATH(CallSlot(item, slot), "") << "slot " << slot;
  }
}

TEST(HostTrapDeathTest, DispatchOnTheHostsObjectsStopsTheProcess) {
  SimulatedHost host;
  UINT count = 0;
  EXPECT_DEATH(host.Application().GetTypeInfoCount(&count),
               "simulated host: _Application::GetTypeInfoCount must not be called");
}

TEST(HostTrapDeathTest, MembersOfLaterVersionsStopTheProcess) {
  platform::ComPtr<IDispatch> item;
  platform::ComPtr<_Account> account;
  SimulatedHost old("11.0.0.1");
  EXPECT_DEATH(old.CreateMail(MailWithSubject("Old")).get_SendUsingAccount(account.Put()),
               "_MailItem::get_SendUsingAccount must not be called");
  SimulatedHost newer("14.0.0.1");
  EXPECT_DEATH(newer.OpenExplorer().get_ActiveInlineResponse(item.Put()),
               "_Explorer::get_ActiveInlineResponse must not be called");
}

TEST(HostTrapDeathTest, MembersOfTheVersionAreThere) {
  platform::ComPtr<IDispatch> item;
  platform::ComPtr<_Account> account;
  mail::MailModel model;
  model.accountUserName = "text";
  SimulatedHost twelve("12.0.0.1");
  EXPECT_EQ(S_OK, twelve.CreateMail(model).get_SendUsingAccount(account.Put()));
  platform::ComPtr<Recipient> user;
  EXPECT_DEATH(account->get_CurrentUser(user.Put()), "_Account::get_CurrentUser");
  SimulatedHost fifteen("15.0");
  EXPECT_EQ(S_OK, fifteen.OpenExplorer().get_ActiveInlineResponse(item.Put()));
  SimulatedHost unnamed("");
  EXPECT_EQ(S_OK, unnamed.OpenExplorer().get_ActiveInlineResponse(item.Put()));
}

}  // namespace
}  // namespace simulation::host
