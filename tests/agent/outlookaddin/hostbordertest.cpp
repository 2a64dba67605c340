// What happens to exceptions at the border to the host: none crosses it.
#include "agent/outlookaddin/hostborder.h"

#include <new>
#include <stdexcept>

#include "agent/outlookaddin/eventconnection.h"
#include "agent/outlookaddin/module.h"
#include "platform/com/comerror.h"
#include "platform/formatting.h"
#include "platform/moduleimage.h"
#include "platform/scopedreplacement.h"
#include "tests/agent/outlookaddin/gatefixture.h"
#include "tests/agent/outlookaddin/hostedaddin.h"
#include "tests/support/cancel.h"

namespace tests {
namespace {

LoggedLine Crit(const std::string& message) {
  return {kLogCrit, message};
}

class HostBorder : public TrackingTest {
 protected:
  void SetUp() override { UseHost("15.0"); }
};

TEST_F(HostBorder, ReturnsTheResultOfTheWork) {
  EXPECT_EQ(outlookaddin::EndExceptions("Name", [] { return S_FALSE; }), S_FALSE);
  EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(HostBorder, MapsExceptionsToResultsAndLogsOneLineForEach) {
  using outlookaddin::EndExceptions;
  EXPECT_EQ(EndExceptions("A", []() -> HRESULT { throw CAtlException(E_POINTER); }), E_POINTER);
  EXPECT_EQ(EndExceptions("B", []() -> HRESULT { throw _com_error(E_NOINTERFACE); }),
            E_NOINTERFACE);
  EXPECT_EQ(EndExceptions("C", []() -> HRESULT { throw std::bad_alloc(); }), E_OUTOFMEMORY);
  EXPECT_EQ(EndExceptions("D", []() -> HRESULT { throw std::runtime_error("text"); }), E_FAIL);
  EXPECT_EQ(EndExceptions("E", []() -> HRESULT { throw 1; }), E_FAIL);
  EXPECT_THAT(
      m_log.Lines(),
      testing::ElementsAre(Crit("Exception 0x80004003 in A."), Crit("Exception 0x80004002 in B."),
                           Crit("Exception 0x8007000E in C."), Crit("Exception 0x80004005 in D."),
                           Crit("Exception 0x80004005 in E.")));
}

TEST_F(HostBorder, ReturnsTheResultAlsoIfTheLineAboutItCannotBeLogged) {
  const platform::ScopedReplacement<platform::formatting, &platform::FormattingOperations::Format>
  full([](auto, auto...) -> int { throw std::bad_alloc(); });
  EXPECT_EQ(outlookaddin::EndExceptions("A", []() -> HRESULT { throw CAtlException(E_POINTER); }),
            E_POINTER);
  EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(HostBorder, EndsTheExceptionOfASecondConnection) {
  ASSERT_EQ(Connect(), S_OK);
  m_log.Forget();
  EXPECT_EQ(
      m_addIn->OnConnection(&m_host->Application(), ext_cm_Startup, &m_host->AddInEntry(), nullptr),
      static_cast<HRESULT>(0x80004005));
  EXPECT_EQ(m_log.Lines().back(), Crit("Exception 0x80004005 in OnConnection."));
  // The first connection still works.
  m_host->OpenInspector(Mail("First"));
  EXPECT_TRUE(m_log.Has(kLogInfo, "New Inspector Created."));
  EXPECT_EQ(Outstanding("_Application"), 2u);
  EXPECT_EQ(Outstanding("COMAddIn"), 1u);
  EXPECT_EQ(m_timersSet.size(), 1u);
}

TEST_F(HostBorder, EndsTheExceptionOfAnInlineResponseWithoutAnExplorer) {
  HostExplorer& explorer = m_host->OpenExplorer();
  m_host->Calls().FailEach("_Explorer::QueryInterface(_Explorer)", E_NOINTERFACE);
  ASSERT_EQ(Connect(), S_OK);
  m_host->Calls().ClearFaults();
  m_log.Forget();
  EXPECT_THAT(explorer.FireInlineResponse(), testing::ElementsAre(S_OK));
  EXPECT_THAT(m_log.Lines(),
              testing::ElementsAre(LoggedLine{kLogInfo, "New InlineResponse Created."},
                                   Crit("Exception 0x80004003 in OnInlineResponseCreate.")));
}

// An operation of the system that throws represents any code that throws something unexpected.
TEST_F(HostBorder, EndsTheExceptionOfEveryOtherEntryPoint) {
  HostInspector& window = m_host->OpenInspector(Mail("Open"), Announce::kNo);
  ASSERT_EQ(Connect(), S_OK);
  HostInspector& second = m_host->OpenInspector(Mail("Second"));
  m_host->OpenInspector(Mail("Third"), Announce::kNo);
  m_log.Forget();
  int throwing = 0;
  ScopedReplacement<platform::clock, &platform::ClockOperations::GetLocalTime> failing(
      [&](auto original, platform::LocalTime* time) {
        if (throwing-- > 0) throw std::runtime_error("no time");
        original(time);
      });
  throwing = 1;
  EXPECT_THAT(m_host->Application().OpenInspectors().FireNewInspector(window),
              testing::ElementsAre(S_OK));
  throwing = 1;
  EXPECT_THAT(second.FireClose(), testing::ElementsAre(S_OK));
  throwing = 1;
  Tick();
  throwing = 1;
  EXPECT_EQ(m_host->Disconnect(), E_FAIL);
  EXPECT_THAT(m_log.Messages(), testing::ElementsAre("Exception 0x80004005 in NewInspector.",
                                                     "Exception 0x80004005 in OnInspectorClose.",
                                                     "Exception 0x80004005 in OnScanTimer.",
                                                     "Exception 0x80004005 in OnDisconnection."));
}

TEST_F(HostBorder, EndsTheExceptionOfAnExportedFunction) {
  using platform::ModuleImageOperations;
  ScopedReplacement<platform::moduleImage, &ModuleImageOperations::DecodePointer> decoding(
      [](auto, void*) -> void* { throw std::bad_alloc(); });
  ScopedReplacement<platform::moduleImage, &ModuleImageOperations::FindResourceBytes> finding(
      [](auto, auto...) -> bool { throw std::bad_alloc(); });
  void* object = nullptr;
  EXPECT_EQ(DllGetClassObject(CLSID_Connect, IID_IClassFactory, &object), E_OUTOFMEMORY);
  const LCID locale = platform::automation.GetThreadLocale();
  EXPECT_EQ(DllRegisterServer(), E_OUTOFMEMORY);
  EXPECT_EQ(DllUnregisterServer(), E_OUTOFMEMORY);
  EXPECT_EQ(platform::automation.GetThreadLocale(), locale);
  EXPECT_THAT(m_log.Lines(),
              testing::ElementsAre(Crit("Exception 0x8007000E in DllGetClassObject."),
                                   Crit("Exception 0x8007000E in DllRegisterServer."),
                                   Crit("Exception 0x8007000E in DllUnregisterServer.")));
}

class GateBorder : public GateTest {
 protected:
  GateBorder() {
    WriteProfile("");
    for (const char* address : {"a", "b"}) {
      mail.recipients.push_back({"name", std::make_shared<simulation::mail::MailAddressEntry>()});
      mail.recipients.back().entry->address = address;
    }
  }
};

TEST_F(GateBorder, AFailedIdentityQueryLetsTheMailGo) {
  ASSERT_EQ(outlookaddin::SubscribeSink(static_cast<_MailItem*>(Item()), &Sink(),
                                        outlookaddin::IID_ItemEvents),
            S_OK);
  Write("temp/ExchangeBodyContent", "of an earlier check");
  Calls().FailEach("AddressEntry::QueryInterface(IUnknown)", E_NOINTERFACE);
  const simulation::host::SendOutcome outcome = Item()->FireSend(kNotSet);
  EXPECT_THAT(outcome.returned, ElementsAre(S_OK));
  EXPECT_EQ(outcome.cancel, kNotSet);
  EXPECT_TRUE(Has(kLogCrit, "Exception 0x80004002 in OnMailSend."));
  EXPECT_THAT(cursors, ElementsAre(kWaiting, kOldCursor));
  EXPECT_FALSE(Exists("temp/ExchangeBodyContent"));
  ExpectNothingLeft();
}

TEST_F(GateBorder, ADirectCallOfTheHandlerThrowsButRestoresTheCursor) {
  Calls().FailEach("AddressEntry::QueryInterface(IUnknown)", E_NOINTERFACE);
  Write("temp/ExchangeSubjectContent", "of an earlier check");
  VARIANT_BOOL cancel = 0;
  EXPECT_THROW(Sink().OnMailSend(&cancel), _com_error);
  EXPECT_THAT(cursors, ElementsAre(kWaiting, kOldCursor));
  EXPECT_FALSE(Exists("temp/ExchangeSubjectContent"));
}

}  // namespace
}  // namespace tests
