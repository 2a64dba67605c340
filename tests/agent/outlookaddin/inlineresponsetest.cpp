// Replies that the user begins inside an explorer, and the two sinks on each explorer.
#include "agent/outlookaddin/dlpexplorerevent.h"
#include "platform/com/comerror.h"
#include "tests/agent/outlookaddin/allocations.h"
#include "tests/agent/outlookaddin/hostedaddin.h"

namespace tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class InlineResponse : public HostedAddIn {
 protected:
  void SetUp() override { Start(); }
  void Start() {
    UseHost("15.0");
    m_explorer = &m_host->OpenExplorer();
    ASSERT_EQ(Connect(), S_OK);
    m_log.Forget();
  }
  HostExplorer* m_explorer = nullptr;
};

TEST_F(InlineResponse, SubscribesASinkToTheReply) {
  HostMailItem& reply = m_host->BeginInlineResponse(*m_explorer, Mail("Reply"));
  const std::string place = "@dlpaddinconnect.cpp(";
  const std::string function = "DlpExplorerEvent_10::OnInlineResponseCreate> ";
  EXPECT_EQ(m_log.Lines(),
            std::vector<LoggedLine>(
                {{kLogInfo, "New InlineResponse Created."},
                 {kLogInfo, function + "Get InlineResponse item " + place + "382)"},
                 {kLogInfo, function + "Get _MailItem " + place + "391)"},
                 {kLogInfo, function + "Dispatch _MailItem with ItemEvents " + place + "400)"}}));
  EXPECT_EQ(SinksOn(reply), 1u);
  EXPECT_EQ(Outstanding("_MailItem \"Reply\""), 1u);
  EXPECT_EQ(Outstanding("IConnectionPoint"), 0u);
  // The sink has no owner and outlives the reply.
  m_host->EndInlineResponse(*m_explorer);
  EXPECT_EQ(Outstanding("_MailItem \"Reply\""), 1u);
}

TEST_F(InlineResponse, IgnoresTheArgumentOfTheEvent) {
  HostMailItem& reply = m_host->CreateMail(Mail("Reply"));
  m_explorer->SetInlineResponse(simulation::host::HostRef<HostMailItem>(&reply));
  VARIANTARG nothing = simulation::host::ObjectArgument(nullptr);
  EXPECT_THAT(m_explorer->Fire(outlookaddin::kDispidInlineResponse, {nothing}), ElementsAre(S_OK));
  EXPECT_EQ(SinksOn(reply), 1u);
  m_explorer->SetInlineResponse({});
}

TEST_F(InlineResponse, SubscribesNothingWithoutAReply) {
  EXPECT_THAT(m_explorer->FireInlineResponse(), ElementsAre(S_OK));
  EXPECT_EQ(m_log.Messages(), std::vector<std::string>({"New InlineResponse Created."}));
}

TEST_F(InlineResponse, LeavesAReplyAloneThatCannotBeRead) {
  struct Case {
    const char* step;
    std::size_t lines;
  };
  for (const Case& each :
       {Case{"_Explorer::get_ActiveInlineResponse", 1},
        Case{"_MailItem::QueryInterface(_MailItem)", 2}, Case{"ItemEvents::Advise", 3}}) {
    Start();
    m_host->Calls().FailEach(each.step, E_FAIL);
    HostMailItem& reply = m_host->BeginInlineResponse(*m_explorer, Mail("Reply"));
    EXPECT_EQ(m_log.Lines().size(), each.lines) << each.step;
    EXPECT_EQ(SinksOn(reply), 0u) << each.step;
    EXPECT_EQ(m_host->Calls().FaultsGiven(), 1u) << each.step;
  }
}

TEST_F(InlineResponse, ThrowsAPointerErrorWithoutAnExplorer) {
  auto* const sink = new DlpExplorerEvent_10(nullptr);
  try {
    sink->OnInlineResponseCreate(nullptr);
    ADD_FAILURE() << "no exception";
  } catch (const CAtlException& error) {
    EXPECT_EQ(error.m_hr, static_cast<HRESULT>(0x80004003));
  }
  EXPECT_EQ(m_log.Messages(), std::vector<std::string>({"New InlineResponse Created."}));
  EXPECT_EQ(sink->Release(), 0u);
}

TEST_F(InlineResponse, IgnoresAnExplorerThatOpensLater) {
  HostExplorer& later = m_host->OpenExplorer();
  HostMailItem& reply = m_host->BeginInlineResponse(later, Mail("Reply"));
  EXPECT_EQ(SinksOn(reply), 0u);
  EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(InlineResponse, GoesOnAfterTheDisconnection) {
  EXPECT_EQ(m_host->Disconnect(), S_OK);
  HostMailItem& reply = m_host->BeginInlineResponse(*m_explorer, Mail("Reply"));
  EXPECT_EQ(SinksOn(reply), 1u);
}

TEST_F(InlineResponse, SubscribesTheSecondOfItsTwoObjects) {
  HostExplorer& explorer = m_host->OpenExplorer();
  auto* const first = new DlpExplorerEvent_10(&explorer);
  EXPECT_EQ(Outstanding("_Explorer 2"), 1u);
  EXPECT_EQ(first->Initialize(&explorer), S_OK);
  EXPECT_EQ(explorer.Connected(), 1u);
  EXPECT_EQ(first->m_dwEventCookie, 0xFEFEFEFEu);
  EXPECT_EQ(first->AddRef(), 2u);
  EXPECT_EQ(first->Release(), 1u);
  EXPECT_EQ(Outstanding("_Explorer 2"), 2u);
  EXPECT_EQ(first->Release(), 0u);
}

TEST_F(InlineResponse, InitializeReturnsTheFailureOfTheSubscription) {
  HostExplorer& explorer = m_host->OpenExplorer();
  auto* const first = new DlpExplorerEvent_10(&explorer);
  m_host->Calls().FailEach("ExplorerEvents_10::Advise", CONNECT_E_ADVISELIMIT);
  EXPECT_EQ(first->Initialize(&explorer), CONNECT_E_ADVISELIMIT);
  EXPECT_EQ(first->Initialize(nullptr), E_INVALIDARG);
  EXPECT_EQ(first->Release(), 0u);
}

TEST_F(InlineResponse, UninitializeReleasesTheExplorerButDoesNotUnsubscribe) {
  HostExplorer& explorer = m_host->OpenExplorer();
  auto* const first = new DlpExplorerEvent_10(&explorer);
  ASSERT_EQ(first->Initialize(&explorer), S_OK);
  EXPECT_EQ(first->Uninitialize(), CONNECT_E_NOCONNECTION);
  EXPECT_EQ(explorer.Connected(), 1u);
  EXPECT_EQ(Outstanding("_Explorer 2"), 2u) << "one each for the second object and the new sink";
  EXPECT_EQ(first->Uninitialize(), S_OK) << "the explorer is already released";
  EXPECT_EQ(Calls("ExplorerEvents_10::Unadvise"), 1u);
  EXPECT_EQ(first->Release(), 0u);
}

TEST_F(InlineResponse, UninitializeWithoutMemoryReleasesTheExplorerAndThrowsNothing) {
  HostExplorer& explorer = m_host->OpenExplorer();
  const ULONG before = Outstanding("_Explorer 2");
  auto* const first = new DlpExplorerEvent_10(&explorer);
  EXPECT_EQ(Outstanding("_Explorer 2"), before + 1);
  RestartAllocations(1);
  {
    const AllocationsCount count;
    EXPECT_EQ(first->Uninitialize(), E_OUTOFMEMORY);
  }
  EXPECT_EQ(Allocations().failed, 1u);
  EXPECT_EQ(Outstanding("_Explorer 2"), before);
  EXPECT_EQ(first->Uninitialize(), S_OK) << "the explorer is already released";
  EXPECT_EQ(first->Release(), 0u);
}

}  // namespace
}  // namespace tests
