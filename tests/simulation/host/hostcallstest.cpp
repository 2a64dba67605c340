#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "simulation/host/simulatedhost.h"
#include "tests/simulation/host/hosttesting.h"

namespace simulation::host {
namespace {

using platform::Bstr;
using platform::ComPtr;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(HostCalls, AreNotedInTheirOrder) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Journal"));
  Bstr text;
  mail.get_Subject(text.Put());
  ComPtr<IUnknown> identity;
  platform::QueryFor(mail.Identity(), IID_IUnknown, &identity);
  mail.get_Subject(text.Put());

  HostCalls& calls = host.Calls();
  EXPECT_THAT(calls.Journal(),
              ElementsAre("_MailItem::get_Subject", "_MailItem::QueryInterface(IUnknown)",
                          "_MailItem::get_Subject"));
  EXPECT_EQ(3u, calls.Total());
  EXPECT_EQ(2u, calls.Count("_MailItem::get_Subject"));
  EXPECT_EQ(0u, calls.Count("_MailItem::get_Body"));
  EXPECT_THAT(calls.Counts(), ElementsAre(Pair("_MailItem::QueryInterface(IUnknown)", 1),
                                          Pair("_MailItem::get_Subject", 2)));
}

TEST(HostCalls, RestartForgetsCountsAndJournal) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Journal"));
  Bstr text;
  mail.get_Subject(text.Put());
  host.Calls().Restart();
  EXPECT_EQ(0u, host.Calls().Total());
  EXPECT_EQ(0u, host.Calls().Count("_MailItem::get_Subject"));
  EXPECT_THAT(host.Calls().Journal(), IsEmpty());
}

TEST(HostCalls, CountWithoutAJournalIfAsked) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Journal"));
  host.Calls().KeepJournal(false);
  Bstr text;
  mail.get_Subject(text.Put());
  EXPECT_EQ(1u, host.Calls().Count("_MailItem::get_Subject"));
  EXPECT_THAT(host.Calls().Journal(), IsEmpty());
}

TEST(HostCalls, UnknownNameIsRefused) {
  HostCalls calls;
  EXPECT_THROW(calls.Count("_MailItem::get_Subjekt"), std::invalid_argument);
  EXPECT_THROW(calls.FailEach("_MailItem::get_Subjekt", E_FAIL), std::invalid_argument);
  EXPECT_THROW(calls.FailCallOf("", 1, E_FAIL), std::invalid_argument);
}

TEST(HostFaults, NegativeResultGivesNothing) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Fault"));
  host.Calls().FailEach("_MailItem::get_Subject", E_ACCESSDENIED);
  Bstr text;
  EXPECT_EQ(E_ACCESSDENIED, mail.get_Subject(text.Put()));
  EXPECT_FALSE(text);
  EXPECT_EQ(E_ACCESSDENIED, mail.get_Subject(text.Put()));
  EXPECT_EQ(2u, host.Calls().FaultsGiven());
}

TEST(HostFaults, NullWithSuccess) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Fault"));
  host.Calls().FailEach("_MailItem::get_Recipients", S_OK);
  host.Calls().FailEach("Recipients::get_Count", S_OK);
  ComPtr<Recipients> recipients;
  EXPECT_EQ(S_OK, mail.get_Recipients(recipients.Put()));
  EXPECT_FALSE(recipients);
  host.Calls().ClearFaults();
  EXPECT_EQ(S_OK, mail.get_Recipients(recipients.Put()));
  EXPECT_TRUE(recipients);
}

TEST(HostFaults, NumbersKeepTheCallersValueOnFailureAndAreZeroWithSuccess) {
  SimulatedHost host;
  mail::MailModel model;
  model.recipients.push_back({"Anna", Person("anna@example.org")});
  HostMailItem& mail = host.CreateMail(model);
  ComPtr<Recipients> recipients;
  mail.get_Recipients(recipients.Put());
  LONG count = -1;
  host.Calls().FailEach("Recipients::get_Count", E_FAIL);
  EXPECT_EQ(E_FAIL, recipients->get_Count(&count));
  EXPECT_EQ(-1, count);
  host.Calls().FailEach("Recipients::get_Count", S_OK);
  EXPECT_EQ(S_OK, recipients->get_Count(&count));
  EXPECT_EQ(0, count);
}

TEST(HostFaults, WarningDoesTheWork) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Warned"));
  host.Calls().FailEach("_MailItem::get_Subject", S_FALSE);
  Bstr text;
  EXPECT_EQ(S_FALSE, mail.get_Subject(text.Put()));
  EXPECT_EQ("Warned", Text(text));
}

TEST(HostFaults, FailureCanComeWithATextOrAnObject) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Both"));
  host.Calls().FailEach("_MailItem::get_Subject", E_FAIL, FaultOutput::kGiven);
  host.Calls().FailCallOf("_MailItem::get_Recipients", 1, E_ABORT, FaultOutput::kGiven);
  host.Calls().FailCall(3, E_NOINTERFACE, FaultOutput::kGiven);
  Bstr text;
  EXPECT_EQ(E_FAIL, mail.get_Subject(text.Put()));
  EXPECT_EQ("Both", Text(text));
  ComPtr<Recipients> recipients;
  EXPECT_EQ(E_ABORT, mail.get_Recipients(recipients.Put()));
  EXPECT_EQ(1u, host.Ledger().OutstandingOf("Recipients"));
  ComPtr<_MailItem> asked;
  EXPECT_EQ(E_NOINTERFACE, mail.Identity()->QueryInterface(outlookaddin::IID__MailItem,
                                                           reinterpret_cast<void**>(asked.Put())));
  EXPECT_EQ(1u, mail.Outstanding());
  EXPECT_EQ(3u, host.Calls().FaultsGiven());
}

TEST(HostFaults, OneCallByItsNumber) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Second"));
  host.Calls().FailCall(2, E_FAIL);
  Bstr text;
  EXPECT_EQ(S_OK, mail.get_Subject(text.Put()));
  EXPECT_EQ(E_FAIL, mail.get_Subject(text.Put()));
  EXPECT_EQ(S_OK, mail.get_Subject(text.Put()));
}

TEST(HostFaults, OneCallOfAName) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Second"));
  host.Calls().FailCallOf("_MailItem::get_Subject", 2, E_FAIL);
  Bstr text;
  EXPECT_EQ(S_OK, mail.get_Subject(text.Put()));
  EXPECT_EQ(S_OK, mail.get_Body(text.Put()));
  EXPECT_EQ(E_FAIL, mail.get_Subject(text.Put()));
  EXPECT_EQ(S_OK, mail.get_Subject(text.Put()));
}

TEST(HostFaults, IdentityQueriesFailToo) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Identity"));
  IUnknown* const object = mail.Identity();
  ComPtr<_MailItem> asked;
  host.Calls().FailEach("_MailItem::QueryInterface(_MailItem)", E_NOINTERFACE);
  EXPECT_EQ(E_NOINTERFACE, platform::QueryFor(object, outlookaddin::IID__MailItem, &asked));
  EXPECT_FALSE(asked);
  host.Calls().FailEach("_MailItem::QueryInterface(_MailItem)", S_OK);
  EXPECT_EQ(S_OK, platform::QueryFor(object, outlookaddin::IID__MailItem, &asked));
  EXPECT_FALSE(asked);
  EXPECT_EQ(0u, mail.Outstanding());
}

TEST(HostFaults, UnknownInterfaceIsCountedUnderOther) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Other"));
  ComPtr<_Inspector> asked;
  EXPECT_EQ(E_NOINTERFACE,
            platform::QueryFor(mail.Identity(), outlookaddin::IID__Inspector, &asked));
  EXPECT_EQ(1u, host.Calls().Count("_MailItem::QueryInterface(other)"));
}

TEST(HostFaults, SubscriptionThatClaimsSuccessConnectsNothing) {
  RecordingSink sink(outlookaddin::IID_ItemEvents);
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Subscribe"));
  host.Calls().FailEach("ItemEvents::Advise", S_OK);
  EXPECT_EQ(0u, Subscribe(mail.Identity(), outlookaddin::IID_ItemEvents, &sink));
  EXPECT_EQ(0u, mail.Connected());
  EXPECT_EQ(1u, sink.References());
}

// Making each call of a run fail in turn reaches every call.
TEST(HostFaults, EachCallOfARunCanBeMadeToFail) {
  const auto run = [](SimulatedHost& host) {
    HostMailItem& mail = host.CreateMail(MailWithSubject("Walk"));
    host.Calls().Restart();
    std::vector<HRESULT> results;
    Bstr text;
    ComPtr<IUnknown> object;
    results.push_back(mail.get_Subject(text.Put()));
    results.push_back(mail.get_MAPIOBJECT(object.Put()));
    results.push_back(mail.get_HTMLBody(text.Put()));
    return results;
  };
  SimulatedHost clean;
  ASSERT_THAT(run(clean), ElementsAre(S_OK, S_OK, S_OK));
  ASSERT_EQ(3u, clean.Calls().Total());
  for (std::uint64_t number = 1; number <= 3; ++number) {
    SimulatedHost host;
    host.Calls().FailCall(number, E_ABORT);
    std::vector<HRESULT> expected(3, S_OK);
    expected[static_cast<std::size_t>(number - 1)] = E_ABORT;
    EXPECT_EQ(expected, run(host)) << "call " << number;
    EXPECT_EQ(1u, host.Calls().FaultsGiven());
  }
}

}  // namespace
}  // namespace simulation::host
