// CDlpAddinConnect from connection to disconnection.
#include "agent/outlookaddin/dlpaddinconnect.h"

#include <utility>

#include "agent/outlookaddin/eventconnection.h"
#include "platform/moduleimage.h"
#include "tests/agent/outlookaddin/hostedaddin.h"
#include "tests/support/vtableslot.h"

namespace tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tests::LoggedLine;

class Connection : public HostedAddIn {};

// The lines of a connection, with `between` after the first.
std::vector<LoggedLine> StartLines(std::vector<std::string> between = {}) {
  std::vector<LoggedLine> lines = {{kLogInfo, "DLP Addin attached."}};
  for (std::string& line : between) lines.push_back({kLogInfo, std::move(line)});
  lines.push_back({kLogInfo, "Start timer to monitor the inspector change."});
  return lines;
}

TEST_F(Connection, StartsTheTimerWhenNothingIsOpen) {
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(m_log.Lines(), StartLines());
  ASSERT_EQ(m_timersSet.size(), 1u);
  EXPECT_EQ(m_timersSet[0].window, nullptr);
  EXPECT_EQ(m_timersSet[0].identifier, 0u);
  EXPECT_EQ(m_timersSet[0].milliseconds, 1000u);
  EXPECT_EQ(m_timersSet[0].procedure, &outlookaddin::OnScanTimer);
  EXPECT_THAT(m_timersKilled, IsEmpty());
}

TEST_F(Connection, CallsTheHostInAFixedOrder) {
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_THAT(
      m_host->Calls().Journal(),
      ElementsAre("_Application::QueryInterface(IDispatch)", "COMAddIn::QueryInterface(IDispatch)",
                  "_Application::QueryInterface(_Application)", "_Application::get_Version",
                  "_Application::get_Inspectors",
                  "_Inspectors::QueryInterface(IConnectionPointContainer)",
                  "_Inspectors::FindConnectionPoint", "InspectorsEvents::Advise",
                  "_Application::get_Inspectors", "_Inspectors::get_Count",
                  "_Application::get_Explorers", "_Explorers::get_Count"));
}

TEST_F(Connection, IgnoresTheModeItIsStartedIn) {
  for (const ext_ConnectMode mode :
       {ext_cm_AfterStartup, ext_cm_Startup, ext_cm_External, ext_cm_CommandLine}) {
    UseHost("14.0");
    m_log.Forget();
    EXPECT_EQ(m_host->Connect(m_addIn, mode), S_OK);
    EXPECT_EQ(m_log.Lines(), StartLines());
    EXPECT_EQ(m_host->Disconnect(ext_dm_UserClosed), S_OK);
  }
}

TEST_F(Connection, HoldsTwoReferencesToTheApplicationAndOneToItsEntry) {
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(Outstanding("_Application"), 2u);
  EXPECT_EQ(Outstanding("COMAddIn"), 1u);
  EXPECT_EQ(Outstanding("_Inspectors"), 0u);
  EXPECT_EQ(Outstanding("_Explorers"), 0u);
  EXPECT_EQ(Outstanding("IConnectionPoint"), 0u);
}

TEST_F(Connection, IsReferencedByItsSubscription) {
  EXPECT_EQ(AddInReferences(), 1u);
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(AddInReferences(), 3u) << "of the test, the host and the subscription";
  EXPECT_EQ(m_host->Disconnect(), S_OK);
  EXPECT_EQ(AddInReferences(), 1u);
}

struct VersionCase {
  const char* text;
  std::int32_t code;
  std::vector<std::string> lines;
};

class HostVersion : public HostedAddIn, public testing::WithParamInterface<VersionCase> {};

TEST_P(HostVersion, SelectsTheCodeAndTheLine) {
  g_outlookVersionCode = 99;
  UseHost(GetParam().text);
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(g_outlookVersionCode, GetParam().code);
  EXPECT_EQ(m_log.Lines(), StartLines(GetParam().lines));
}

INSTANTIATE_TEST_SUITE_P(Texts, HostVersion,
                         testing::Values(VersionCase{"16.0.0.1234", 5, {"Outlook version: 2016"}},
                                         VersionCase{"15.0", 4, {"Outlook version: 2013"}},
                                         VersionCase{"14.0", 3, {}},
                                         VersionCase{"12.0.0.6787", 2, {}},
                                         VersionCase{"11.0", 1, {}}, VersionCase{"13.0", 0, {}},
                                         VersionCase{"17.0", 0, {}}, VersionCase{"16", 0, {}},
                                         VersionCase{"1", 0, {}}, VersionCase{"", 0, {}},
                                         VersionCase{"16.", 5, {"Outlook version: 2016"}},
                                         VersionCase{"160", 5, {"Outlook version: 2016"}},
                                         VersionCase{" 16.0", 0, {}}, VersionCase{"9.0.0", 0, {}}));

TEST_F(Connection, TakesAnUnreadableVersionForCode0) {
  for (const HRESULT fault : {E_FAIL, S_OK}) {
    g_outlookVersionCode = 99;
    UseHost("16.0.0.1234");
    m_log.Forget();
    m_host->Calls().FailEach("_Application::get_Version", fault);
    EXPECT_EQ(Connect(), S_OK);
    EXPECT_EQ(g_outlookVersionCode, 0);
    EXPECT_EQ(m_log.Lines(), StartLines());
    EXPECT_EQ(m_host->Calls().FaultsGiven(), 1u);
  }
}

TEST_F(Connection, RunsOnWithoutAnApplicationObject) {
  m_host->Calls().FailEach("_Application::QueryInterface(_Application)", E_NOINTERFACE);
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(m_log.Lines(), StartLines());
  EXPECT_EQ(m_timersSet.size(), 1u);
  Tick();
  EXPECT_EQ(m_host->Disconnect(), S_OK);
}

TEST_F(Connection, AcceptsNullArguments) {
  EXPECT_EQ(m_addIn->OnConnection(nullptr, ext_cm_Startup, nullptr, nullptr), S_OK);
  EXPECT_EQ(m_addIn->OnDisconnection(ext_dm_HostShutdown, nullptr), S_OK);
}

TEST_F(Connection, RunsOnWithoutItsSubscription) {
  const char* const steps[] = {"_Inspectors::QueryInterface(IConnectionPointContainer)",
                               "_Inspectors::FindConnectionPoint", "InspectorsEvents::Advise"};
  for (const char* const step : steps) {
    for (const HRESULT fault : {E_FAIL, S_OK}) {
      UseHost("14.0");
      m_log.Forget();
      m_host->Calls().FailEach(step, fault);
      EXPECT_EQ(Connect(), S_OK) << step;
      EXPECT_EQ(m_log.Lines(), StartLines()) << step;
      EXPECT_EQ(m_host->Calls().FaultsGiven(), 1u) << step;
      m_host->Calls().ClearFaults();
      EXPECT_EQ(m_host->Disconnect(), S_OK);
      EXPECT_EQ(AddInReferences(), 1u);
    }
  }
}

TEST_F(Connection, RefusesASecondConnection) {
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(
      m_addIn->OnConnection(&m_host->Application(), ext_cm_Startup, &m_host->AddInEntry(), nullptr),
      static_cast<HRESULT>(0x80004005));
  // The failed call left the fields as they were.
  EXPECT_EQ(Outstanding("_Application"), 2u);
  EXPECT_EQ(Outstanding("COMAddIn"), 1u);
  EXPECT_EQ(Outstanding("_Inspectors"), 0u);
  EXPECT_EQ(m_timersSet.size(), 1u);
}

TEST_F(Connection, TracksEachExplorerThatIsOpen) {
  m_host->OpenExplorer();
  m_host->OpenExplorer();
  m_host->OpenExplorer();
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(m_log.Lines(),
            StartLines({"Initialize success", "Initialize success", "Initialize success"}));
  EXPECT_EQ(Calls("ExplorerEvents_10::Advise"), 3u);
  // Each explorer has two sinks.
  EXPECT_EQ(Outstanding("_Explorer 1"), 2u);
  EXPECT_EQ(Outstanding("_Explorer 2"), 2u);
  EXPECT_EQ(Outstanding("_Explorer 3"), 2u);
  EXPECT_EQ(Outstanding("_Explorers"), 0u);
}

TEST_F(Connection, GoesOnAfterAnExplorerThatRefusesItsSink) {
  UseHost("17.0");
  HostExplorer& first = m_host->OpenExplorer();
  HostExplorer& second = m_host->OpenExplorer();
  m_host->Calls().FailCallOf("ExplorerEvents_10::Advise", 1, E_FAIL);
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(m_log.Lines(), StartLines({"Initialize success"}));
  EXPECT_EQ(first.FireInlineResponse().size(), 0u);
  EXPECT_EQ(second.FireInlineResponse().size(), 1u);
  // OnConnection released the first sink, whose destructor tried to unsubscribe with a new sink.
  // The second sink and the new one still hold the explorer.
  EXPECT_EQ(Calls("ExplorerEvents_10::Unadvise"), 1u);
  EXPECT_EQ(Outstanding("_Explorer 1"), 2u);
  EXPECT_EQ(Outstanding("_Explorer 2"), 2u);
}

// Nor is one watched that comes with a failure.
TEST_F(Connection, GoesOnAfterAnExplorerThatTheHostDoesNotReturn) {
  using simulation::host::FaultOutput;
  for (const auto& [fault, output] : {std::pair(E_FAIL, FaultOutput::kNone),
                                      {S_OK, FaultOutput::kNone},
                                      {E_FAIL, FaultOutput::kGiven}}) {
    UseHost("14.0");
    m_log.Forget();
    m_host->OpenExplorer();
    m_host->OpenExplorer();
    m_host->Calls().FailCallOf("_Explorers::Item", 1, fault, output);
    EXPECT_EQ(Connect(), S_OK);
    EXPECT_EQ(m_log.Lines(), StartLines({"Initialize success"}));
    EXPECT_EQ(Calls("_Explorers::Item"), 2u);
    EXPECT_EQ(Outstanding("_Explorer 1"), 0u);
    EXPECT_EQ(m_host->Disconnect(), S_OK);
  }
}

TEST_F(Connection, SkipsExplorersThatItCannotCount) {
  for (const char* const step : {"_Application::get_Explorers", "_Explorers::get_Count"}) {
    for (const HRESULT fault : {E_FAIL, S_OK}) {
      UseHost("14.0");
      m_log.Forget();
      m_host->OpenExplorer();
      m_host->Calls().FailEach(step, fault);
      EXPECT_EQ(Connect(), S_OK);
      EXPECT_EQ(m_log.Lines(), StartLines());
      EXPECT_EQ(m_host->Disconnect(), S_OK);
    }
  }
}

TEST_F(Connection, ScansOpenWindowsBeforeItTracksExplorers) {
  HostInspector& window = m_host->OpenInspector(Mail("Open"), Announce::kNo);
  m_host->OpenExplorer();
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(m_log.Lines(),
            StartLines({"Inspector change triggered by timer. lCurInspectorsCount: 1, original "
                        "count: 0.",
                        "New Inspector: Open - Message.", "Initialize success"}));
  EXPECT_EQ(SinksOn(*window.Mail()), 1u);
}

TEST_F(Connection, DisconnectionReleasesTheHostsObjects) {
  EXPECT_EQ(Connect(), S_OK);
  m_log.Forget();
  EXPECT_EQ(m_host->Disconnect(), S_OK);
  EXPECT_EQ(m_log.Lines(), std::vector<LoggedLine>({{kLogInfo, "Kill the monitoring timer."}}));
  EXPECT_EQ(Calls("InspectorsEvents::Unadvise"), 1u);
  EXPECT_EQ(m_addIn->m_dwEventCookie, 0xFEFEFEFEu);
  EXPECT_EQ(Outstanding("_Application"), 1u) << "for the timer";
  EXPECT_EQ(Outstanding("COMAddIn"), 0u);
  EXPECT_EQ(Outstanding("_Inspectors"), 0u);
  EXPECT_EQ(ReleaseAddIn(), 0u);
  EXPECT_EQ(Outstanding("_Application"), 0u);
}

// An object that only notes its last Release.
class NotedRelease final : public IDispatch {
 public:
  NotedRelease(const char* name, std::vector<std::string>* released)
      : m_name(name), m_released(released) {}
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = IsEqualGUID(iid, IID_IDispatch);
    *object = known ? this : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++m_count; }
  ULONG STDMETHODCALLTYPE Release() override {
    if (--m_count == 0) m_released->emplace_back(m_name);
    return m_count;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    return E_NOTIMPL;
  }

 private:
  const char* m_name;
  std::vector<std::string>* m_released;
  ULONG m_count = 0;
};

TEST_F(Connection, DisconnectionReleasesTheApplicationBeforeTheEntry) {
  std::vector<std::string> released;
  NotedRelease application("application", &released);
  NotedRelease entry("entry", &released);
  EXPECT_EQ(m_addIn->OnConnection(&application, ext_cm_Startup, &entry, nullptr), S_OK);
  EXPECT_THAT(released, IsEmpty());
  EXPECT_EQ(m_addIn->OnDisconnection(ext_dm_UserClosed, nullptr), S_OK);
  EXPECT_THAT(released, ElementsAre("application", "entry"));
}

TEST_F(Connection, TheLastReleaseReleasesTheEntryBeforeTheApplication) {
  std::vector<std::string> released;
  NotedRelease application("application", &released);
  NotedRelease entry("entry", &released);
  EXPECT_EQ(m_addIn->OnConnection(&application, ext_cm_Startup, &entry, nullptr), S_OK);
  EXPECT_EQ(ReleaseAddIn(), 0u);
  EXPECT_THAT(released, ElementsAre("entry", "application"));
}

TEST_F(Connection, DisconnectionDoesNotStopTheTimer) {
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(m_host->Disconnect(), S_OK);
  ASSERT_EQ(m_timersKilled.size(), 1u);
  EXPECT_EQ(m_timersKilled[0].window, kActiveWindow);
  EXPECT_EQ(m_timersKilled[0].identifier,
            reinterpret_cast<std::uintptr_t>(static_cast<CDlpAddinConnect*>(m_addIn)));
}

TEST_F(Connection, ScansAfterTheDisconnection) {
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(m_host->Disconnect(), S_OK);
  m_log.Forget();
  HostInspector& window = m_host->OpenInspector(Mail("Late"), Announce::kYes);
  EXPECT_THAT(m_log.Lines(), IsEmpty()) << "no longer subscribed";
  Tick();
  EXPECT_TRUE(m_log.Has(kLogInfo, "New Inspector: Late - Message."));
  EXPECT_EQ(SinksOn(*window.Mail()), 1u);
}

TEST_F(Connection, PinsTheLibraryBeforeItStartsTheTimer) {
  std::vector<std::string> calls;
  ScopedReplacement<platform::moduleImage, &platform::ModuleImageOperations::PinModule> pinning(
      [&](auto, const void* address) {
        EXPECT_EQ(address, reinterpret_cast<const void*>(&outlookaddin::OnScanTimer));
        calls.emplace_back("pin");
        return false;  // which changes nothing
      });
  ScopedReplacement<platform::ui, &UserInterfaceOperations::SetTimer> setting(
      [&](auto original, auto... arguments) {
        calls.emplace_back("timer");
        return original(arguments...);
      });
  UseHost("14.0");
  EXPECT_THAT(calls, IsEmpty()) << "creation pins nothing";
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_THAT(calls, ElementsAre("pin", "timer"));
}

TEST_F(Connection, TicksAfterTheLastReleaseDoNothing) {
  HostInspector& window = m_host->OpenInspector(Mail("Open"), Announce::kNo);
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(m_host->Disconnect(), S_OK);
  EXPECT_EQ(ReleaseAddIn(), 0u);
  EXPECT_EQ(Outstanding("_Application"), 0u);
  m_host->OpenInspector(Mail("Late"), Announce::kNo);
  m_host->Calls().Restart();
  m_log.Forget();
  Tick();
  EXPECT_EQ(m_host->Calls().Total(), 0u);
  EXPECT_THAT(m_log.Lines(), IsEmpty());
  EXPECT_EQ(SinksOn(*window.Mail()), 1u);
}

// The host releases the add-in inside a call of the scan, for a user who disables it meanwhile.
TEST_F(Connection, MayBeReleasedInsideAScan) {
  EXPECT_EQ(Connect(), S_OK);
  m_host->OpenInspector(Mail("First"), Announce::kNo);
  m_host->OpenInspector(Mail("Second"), Announce::kNo);
  bool isReleased = false;
  m_host->Calls().onEnter = [&](std::string_view name) {
    if (name != "_Inspector::get_Caption" || std::exchange(isReleased, true)) return;
    EXPECT_EQ(m_host->Disconnect(), S_OK);
    EXPECT_EQ(ReleaseAddIn(), 0u);
  };
  Tick();
  EXPECT_TRUE(isReleased);
  Tick();
  EXPECT_EQ(Outstanding("_Application"), 0u);
  EXPECT_EQ(Outstanding("_Inspectors"), 0u);
}

TEST_F(Connection, ClearsTheCookieEvenIfItCannotUnsubscribe) {
  EXPECT_EQ(Connect(), S_OK);
  m_host->Calls().FailEach("_Application::get_Inspectors", E_FAIL);
  EXPECT_EQ(m_host->Disconnect(), S_OK);
  EXPECT_EQ(m_addIn->m_dwEventCookie, 0xFEFEFEFEu);
  EXPECT_EQ(Outstanding("COMAddIn"), 0u);
}

TEST_F(Connection, StartsASecondTimerWhenItConnectsAgain) {
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(m_host->Disconnect(), S_OK);
  m_log.Forget();
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(m_log.Lines(), StartLines());
  EXPECT_EQ(m_timersSet.size(), 2u);
  EXPECT_EQ(Outstanding("_Application"), 2u);
  EXPECT_EQ(Outstanding("COMAddIn"), 1u);
  m_log.Forget();
  m_host->OpenInspector(Mail("Again"));
  EXPECT_TRUE(m_log.Has(kLogInfo, "New Inspector Created."));
}

TEST_F(Connection, DoesNothingInTheOtherCallsOfTheContract) {
  EXPECT_EQ(m_addIn->OnAddInsUpdate(nullptr), S_OK);
  EXPECT_EQ(m_addIn->OnStartupComplete(nullptr), S_OK);
  EXPECT_EQ(m_addIn->OnBeginShutdown(nullptr), S_OK);
  EXPECT_EQ(m_host->Calls().Total(), 0u);
  EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(Connection, TheTimerUsesTheObjectThatWasMadeLast) {
  EXPECT_EQ(g_pAddinConnect, m_addIn);
  auto* const another = new CComObject<CDlpAddinConnect>;
  KeepReachable(another);
  EXPECT_EQ(g_pAddinConnect, another);
  another->AddRef();
  EXPECT_EQ(another->Release(), 0u);
  EXPECT_NE(g_pAddinConnect, nullptr) << "the destructor doesn't clear it";
}

TEST_F(Connection, AnswersIUnknownAndItsContractButNotIDispatch) {
  IUnknown* const unknown = static_cast<_IDTExtensibility2*>(m_addIn);
  void* object = nullptr;
  EXPECT_EQ(unknown->QueryInterface(IID_IUnknown, &object), S_OK);
  EXPECT_EQ(object, unknown);
  EXPECT_EQ(unknown->QueryInterface(IID__IDTExtensibility2, &object), S_OK);
  EXPECT_EQ(object, unknown);
  for (const IID& other : {IID_IDispatch, outlookaddin::IID_InspectorsEvents, GUID_NULL,
                           IID_IConnectionPointContainer, IID_IClassFactory}) {
    object = this;
    EXPECT_EQ(unknown->QueryInterface(other, &object), static_cast<HRESULT>(0x80004002));
    EXPECT_EQ(object, nullptr);
  }
  EXPECT_EQ(unknown->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  ASSERT_EQ(unknown->Release(), 2u);
  ASSERT_EQ(unknown->Release(), 1u);
}

TEST_F(Connection, ItsSinkAnswersIDispatchAndSharesTheReferenceCount) {
  IUnknown* const sink = m_addIn->EventSink();
  void* object = nullptr;
  for (const IID& iid : {IID_IUnknown, IID_IDispatch, outlookaddin::IID_InspectorsEvents}) {
    EXPECT_EQ(sink->QueryInterface(iid, &object), S_OK);
    EXPECT_EQ(object, sink);
  }
  EXPECT_EQ(AddInReferences(), 4u);
  EXPECT_EQ(sink->Release(), 3u);
  EXPECT_EQ(sink->Release(), 2u);
  EXPECT_EQ(sink->Release(), 1u);
  EXPECT_EQ(sink->QueryInterface(IID__IDTExtensibility2, &object),
            static_cast<HRESULT>(0x80004002));
}

TEST_F(Connection, ChecksTypeInformationArgumentsWithoutALibrary) {
  _IDTExtensibility2* const addIn = m_addIn;
  UINT count = 0;
  EXPECT_EQ(addIn->GetTypeInfoCount(&count), S_OK);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(addIn->GetTypeInfoCount(nullptr), static_cast<HRESULT>(0x80004003));
  ITypeInfo* info = nullptr;
  EXPECT_EQ(addIn->GetTypeInfo(1, 0, &info), static_cast<HRESULT>(0x8002000B));
  EXPECT_EQ(addIn->GetTypeInfo(0, 0, nullptr), static_cast<HRESULT>(0x80004003));
}

TEST_F(Connection, LoadsTypeInformationFromTheHostsLibrary) {
  int loads = 0;
  ScopedReplacement<platform::automation, &platform::AutomationOperations::LoadRegTypeLib> asked(
      [&](auto, REFGUID library, WORD major, WORD minor, LCID, ITypeLib** result) -> HRESULT {
        ++loads;
        EXPECT_TRUE(IsEqualGUID(library, LIBID_AddInDesignerObjects));
        EXPECT_EQ(major, 1);
        EXPECT_EQ(minor, 0);
        *result = nullptr;
        return TYPE_E_LIBNOTREGISTERED;
      });
  _IDTExtensibility2* const addIn = m_addIn;
  ITypeInfo* info = nullptr;
  EXPECT_EQ(addIn->GetTypeInfo(0, 0x409, &info), TYPE_E_LIBNOTREGISTERED);
  EXPECT_EQ(info, nullptr);
  DISPID dispid = 0;
  EXPECT_EQ(addIn->GetIDsOfNames(GUID_NULL, nullptr, 0, 0x409, &dispid), TYPE_E_LIBNOTREGISTERED);
  EXPECT_EQ(addIn->Invoke(1, GUID_NULL, 0x409, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr),
            TYPE_E_LIBNOTREGISTERED);
  EXPECT_EQ(loads, 3);
}

TEST_F(Connection, HandlersAreInTheSlotsThatTheHostCalls) {
  void* const object = static_cast<_IDTExtensibility2*>(m_addIn);
  void** const table = *static_cast<void***>(object);
  using NewInspectorCall = HRESULT(STDMETHODCALLTYPE*)(void*, IDispatch*);
  EXPECT_EQ(reinterpret_cast<NewInspectorCall>(table[12])(object, nullptr), S_OK);
  EXPECT_TRUE(m_log.Has(kLogInfo, "New Inspector Created."));
  EXPECT_EQ(SlotOf(&CDlpAddinConnect::NewInspector), 12U);
  using OnDisconnectionCall = HRESULT(STDMETHODCALLTYPE*)(void*, LONG, void*);
  EXPECT_EQ(reinterpret_cast<OnDisconnectionCall>(table[8])(object, 0, nullptr), S_OK);
  EXPECT_TRUE(m_log.Has(kLogInfo, "Kill the monitoring timer."));
}

}  // namespace
}  // namespace tests
