#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "simulation/host/simulatedhost.h"
#include "tests/simulation/host/hosttesting.h"

namespace simulation::host {
namespace {

using platform::ComPtr;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(HostLedger, NothingIsOutstandingAtFirst) {
  SimulatedHost host;
  host.OpenExplorer();
  host.OpenInspector(MailWithSubject("Alone"));
  EXPECT_THAT(host.Ledger().Outstanding(), IsEmpty());
  EXPECT_THAT(host.Ledger().Surprises(), IsEmpty());
  EXPECT_EQ("nothing is outstanding\n", host.Ledger().Report());
}

TEST(HostLedger, EveryObjectIsListedWithTheHostsOwnReferences) {
  SimulatedHost host;
  host.OpenInspector(MailWithSubject("Listed"), Announce::kNo);
  std::vector<std::string> labels;
  for (const LedgerLine& line : host.Ledger().Alive()) {
    labels.push_back(line.label);
    EXPECT_EQ(1u, line.references) << line.label;
    EXPECT_EQ(1u, line.hostReferences) << line.label;
  }
  EXPECT_THAT(
      labels,
      ElementsAre("_Application", "_Explorers", "_Inspectors",
                  "IConnectionPoint InspectorsEvents of _Inspectors", "COMAddIn",
                  "_MailItem \"Listed\"", "IConnectionPoint ItemEvents of _MailItem \"Listed\"",
                  "_Inspector \"Listed - Message\"",
                  "IConnectionPoint InspectorEvents of _Inspector \"Listed - Message\""));
}

TEST(HostLedger, KeptReferenceIsReportedWithItsObject) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Kept"));
  {
    ComPtr<Recipients> recipients;
    mail.get_Recipients(recipients.Put());
    EXPECT_EQ(1u, host.Ledger().OutstandingOf("Recipients of _MailItem \"Kept\""));
    EXPECT_THAT(host.Ledger().Surprises(),
                ElementsAre("Recipients of _MailItem \"Kept\": 1 outstanding, not expected"));
    EXPECT_EQ("    1 outstanding,     1 the host's own  Recipients of _MailItem \"Kept\"\n",
              host.Ledger().Report());
  }
  EXPECT_THAT(host.Ledger().Surprises(), IsEmpty());
}

TEST(HostLedger, ExpectedReferencesAreNoSurprise) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Tag"));
  host.Ledger().ExpectLeft("IMessage", 1);
  EXPECT_THAT(host.Ledger().Surprises(), ElementsAre("IMessage: 0 outstanding, expected 1"));
  ComPtr<IUnknown> first;
  mail.get_MAPIOBJECT(first.Put());
  EXPECT_THAT(host.Ledger().Surprises(), IsEmpty());
  ComPtr<IUnknown> second;
  mail.get_MAPIOBJECT(second.Put());
  EXPECT_THAT(host.Ledger().Surprises(), ElementsAre("IMessage: 2 outstanding, expected 1"));
  host.Ledger().ExpectLeft("IMessage", 1);
  EXPECT_THAT(host.Ledger().Surprises(), IsEmpty());
}

TEST(HostLedger, OverReleaseIsReportedAndDoesNoHarm) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Over"));
  EXPECT_EQ(1u, mail.Release());
  EXPECT_THAT(host.Ledger().OverReleases(), ElementsAre("_MailItem \"Over\""));
  EXPECT_THAT(host.Ledger().Surprises(),
              ElementsAre("_MailItem \"Over\": released without a reference"));
  EXPECT_EQ(1u, mail.References());
}

TEST(HostLedger, ReportsWhatIsLeftAfterTheHostsEnd) {
  std::optional<SimulatedHost> host(std::in_place);
  const std::shared_ptr<HostLedger> ledger = host->SharedLedger();
  HostMailItem& mail = host->CreateMail(MailWithSubject("Survivor"));
  ComPtr<Recipients> recipients;
  mail.get_Recipients(recipients.Put());
  host->OpenInspector(MailWithSubject("Other"));

  host.reset();

  const std::vector<LedgerLine> left = ledger->Alive();
  ASSERT_EQ(1u, left.size());
  EXPECT_EQ("Recipients of _MailItem \"Survivor\"", left[0].label);
  EXPECT_EQ(1u, left[0].references);
  EXPECT_EQ(0u, left[0].hostReferences);
  LONG count = -1;
  EXPECT_EQ(S_OK, recipients->get_Count(&count));
  EXPECT_EQ(0, count);
  recipients.Reset();
  EXPECT_THAT(ledger->Alive(), IsEmpty());
}

TEST(HostLedger, HeldMailKeepsItsObjects) {
  std::optional<SimulatedHost> host(std::in_place);
  const std::shared_ptr<HostLedger> ledger = host->SharedLedger();
  mail::MailModel model = MailWithSubject("Held");
  model.recipients.push_back({"Anna", Person("anna@example.org")});
  HostInspector& window = host->OpenInspector(model);
  ComPtr<IDispatch> item;
  window.get_CurrentItem(item.Put());

  host.reset();

  ComPtr<_MailItem> mail;
  ASSERT_EQ(S_OK, platform::QueryFor(item.Get(), outlookaddin::IID__MailItem, &mail));
  ComPtr<Recipients> recipients;
  ASSERT_EQ(S_OK, mail->get_Recipients(recipients.Put()));
  ComPtr<Recipient> recipient;
  ASSERT_EQ(S_OK, recipients->Item(Index(1), recipient.Put()));
  EXPECT_EQ(2u, ledger->OutstandingOf("_MailItem"));
  recipient.Reset();
  recipients.Reset();
  mail.Reset();
  item.Reset();
  EXPECT_THAT(ledger->Alive(), IsEmpty());
}

}  // namespace
}  // namespace simulation::host
