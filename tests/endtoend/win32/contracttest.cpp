// The add-in's contract with its host, through COM: creation, type information, what keeps the
// library loaded, connection and disconnection.
#include <array>

#include "agent/outlookaddin/addinids.h"
#include "agent/outlookaddin/outlookmodel.h"
#include "platform/ui.h"
#include "tests/endtoend/win32/endtoend.h"

namespace tests {
namespace {

using testing::HasSubstr;
using testing::Not;

using Contract = EndToEnd;

TEST_F(Contract, CreatesTheObjectByNameAndKeepsTheLibraryLoaded) {
  ASSERT_NO_FATAL_FAILURE(Create("16.0.0.1234"));
  EXPECT_EQ(CanUnload(), S_FALSE);
  CoFreeUnusedLibrariesEx(0, 0);
  ASSERT_NE(GetModuleHandleW(L"DlpAddIn.dll"), nullptr);
  void* other = this;
  EXPECT_EQ(AddIn()->QueryInterface(IID_IDispatch, &other), E_NOINTERFACE);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(Leave(), S_OK);
}

TEST_F(Contract, RefusesAnOuterObject) {
  ASSERT_NO_FATAL_FAILURE(Create("16.0.0.1234"));
  ComPtr<IUnknown> inner;
  EXPECT_EQ(CoCreateInstance(CLSID_Connect, AddIn(), CLSCTX_INPROC_SERVER, IID_IUnknown,
                             reinterpret_cast<void**>(inner.Put())),
            CLASS_E_NOAGGREGATION);
}

TEST_F(Contract, ReadsTypeInformationFromTheHostsTypeLibrary) {
  ASSERT_NO_FATAL_FAILURE(Create("16.0.0.1234"));
  UINT count = 0;
  EXPECT_EQ(AddIn()->GetTypeInfoCount(&count), S_OK);
  EXPECT_EQ(count, 1U);
  ComPtr<ITypeInfo> info;
  EXPECT_EQ(AddIn()->GetTypeInfo(1, LOCALE_NEUTRAL, info.Put()), DISP_E_BADINDEX);
  ASSERT_EQ(AddIn()->GetTypeInfo(0, LOCALE_NEUTRAL, info.Put()), S_OK);
  TYPEATTR* attributes = nullptr;
  ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
  EXPECT_TRUE(IsEqualGUID(attributes->guid, IID__IDTExtensibility2));
  info->ReleaseTypeAttr(attributes);

  const std::pair<const wchar_t*, DISPID> names[] = {{L"OnConnection", 1},
                                                     {L"OnDisconnection", 2},
                                                     {L"OnAddInsUpdate", 3},
                                                     {L"OnStartupComplete", 4},
                                                     {L"OnBeginShutdown", 5}};
  for (const auto& [name, expected] : names) {
    std::wstring text = name;
    LPOLESTR place = text.data();
    DISPID dispid = 0;
    EXPECT_EQ(AddIn()->GetIDsOfNames(IID_NULL, &place, 1, LOCALE_NEUTRAL, &dispid), S_OK);
    EXPECT_EQ(dispid, expected);
  }
  std::wstring unknown = L"OnNothing";
  LPOLESTR place = unknown.data();
  DISPID dispid = 0;
  EXPECT_EQ(AddIn()->GetIDsOfNames(IID_NULL, &place, 1, LOCALE_NEUTRAL, &dispid),
            DISP_E_UNKNOWNNAME);
}

// As a host does that knows the contract only by its names.
TEST_F(Contract, ConnectsThroughIDispatch) {
  ASSERT_NO_FATAL_FAILURE(Create("15.0.4420.1017"));
  SAFEARRAY* custom = nullptr;
  std::array<VARIANTARG, 4> arguments = {};  // in reverse order
  arguments[0].vt = VT_ARRAY | VT_VARIANT | VT_BYREF;
  arguments[0].pparray = &custom;
  arguments[1].vt = VT_DISPATCH;
  arguments[1].pdispVal = &Host().AddInEntry();
  arguments[2].vt = VT_I4;
  arguments[2].lVal = ext_cm_Startup;
  arguments[3].vt = VT_DISPATCH;
  arguments[3].pdispVal = &Host().Application();
  DISPPARAMS parameters = {arguments.data(), nullptr, 4, 0};
  ASSERT_EQ(AddIn()->Invoke(1, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &parameters, nullptr,
                            nullptr, nullptr),
            S_OK);
  EXPECT_THAT(TakeLog(), HasSubstr("Outlook> Info: Outlook version: 2013\r\n"));
  EXPECT_EQ(Host().Application().OpenInspectors().Connected(), 1U);

  arguments[1].vt = VT_I4;
  arguments[1].lVal = ext_dm_HostShutdown;
  parameters.cArgs = 2;
  ASSERT_EQ(AddIn()->Invoke(2, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &parameters, nullptr,
                            nullptr, nullptr),
            S_OK);
  EXPECT_EQ(Host().Application().OpenInspectors().Connected(), 0U);
}

TEST_F(Contract, LogsItsConnectionAndReleasesTheHostsObjects) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  EXPECT_THAT(TakeLog(),
              testing::AllOf(HasSubstr("Outlook> Info: DLP Addin attached.\r\n"),
                             HasSubstr("Outlook> Info: Outlook version: 2016\r\n"),
                             HasSubstr("Outlook> Info: Initialize success\r\n"),
                             HasSubstr("Outlook> Info: Start timer to monitor the inspector "
                                       "change.\r\n")));
  EXPECT_EQ(Host().Application().Outstanding(), 2U);
  EXPECT_EQ(Host().AddInEntry().Outstanding(), 1U);
  EXPECT_EQ(Leave(), S_OK);
  EXPECT_THAT(TakeLog(), HasSubstr("Outlook> Info: Kill the monitoring timer.\r\n"));
  EXPECT_EQ(Host().Application().Outstanding(), 0U);
  EXPECT_EQ(Host().AddInEntry().Outstanding(), 0U);
}

TEST_F(Contract, ConnectsAgainAfterADisconnection) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  EXPECT_EQ(Host().Disconnect(ext_dm_UserClosed), S_OK);
  EXPECT_EQ(CanUnload(), S_FALSE) << "the object still exists";
  EXPECT_EQ(Host().Application().OpenInspectors().Connected(), 0U);
  EXPECT_EQ(Host().Connect(AddIn(), ext_cm_AfterStartup), S_OK);
  ExpectLeft("_Explorer ", 2);
  HostInspector& window = Open(Mail("Again", "The body"));
  EXPECT_EQ(window.Mail()->Connected(), 1U);
  Host().CloseInspector(window);
}

TEST_F(Contract, StaysLoadedAfterAConnectionAndItsTimerDoesNothing) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  EXPECT_EQ(Leave(), S_OK);
  CoFreeUnusedLibrariesEx(0, 0);
  EXPECT_NE(GetModuleHandleW(L"DlpAddIn.dll"), nullptr);
  Open(Mail("Late", "The body"), Announce::kNo);
  TakeLog();
  Host().Calls().Restart();
  platform::ui.RunMessageLoop(2500);
  EXPECT_EQ(Host().Calls().Total(), 0U);
  EXPECT_EQ(TakeLog(), "");
}

TEST_F(Contract, ReturnsTheFailureOfASecondConnection) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  TakeLog();
  EXPECT_EQ(
      AddIn()->OnConnection(&Host().Application(), ext_cm_Startup, &Host().AddInEntry(), nullptr),
      E_FAIL);
  EXPECT_THAT(TakeLog(), HasSubstr("Outlook> Crit: Exception 0x80004005 in OnConnection.\r\n"));
}

}  // namespace
}  // namespace tests
