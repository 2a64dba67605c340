#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulation/host/simulatedhost.h"
#include "tests/simulation/host/hosttesting.h"

namespace simulation::host {
namespace {

using platform::ComPtr;
using testing::ElementsAre;
using testing::IsEmpty;

// Records the calls of the add-in interface.
class RecordingAddIn final : public _IDTExtensibility2 {
 public:
  std::vector<std::string> calls;
  IDispatch* application = nullptr;
  IDispatch* entry = nullptr;
  LONG mode = -1;
  HRESULT connectResult = S_OK;
  ULONG References() const { return m_references; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
  ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* app, ext_ConnectMode connectMode,
                                         IDispatch* addInEntry, SAFEARRAY**) override {
    calls.push_back("OnConnection");
    application = app;
    mode = connectMode;
    entry = addInEntry;
    return connectResult;
  }
  HRESULT STDMETHODCALLTYPE OnDisconnection(ext_DisconnectMode removeMode, SAFEARRAY**) override {
    calls.push_back("OnDisconnection");
    mode = removeMode;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY**) override {
    calls.push_back("OnAddInsUpdate");
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY**) override {
    calls.push_back("OnStartupComplete");
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY**) override {
    calls.push_back("OnBeginShutdown");
    return S_OK;
  }

 private:
  ULONG m_references = 1;
};

TEST(SimulatedHost, ConnectsAnAddInAsAtStartUp) {
  SimulatedHost host;
  RecordingAddIn addIn;
  EXPECT_EQ(S_OK, host.Connect(&addIn));
  EXPECT_THAT(addIn.calls, ElementsAre("OnConnection", "OnAddInsUpdate", "OnStartupComplete"));
  EXPECT_EQ(1, addIn.mode);
  EXPECT_EQ(static_cast<IDispatch*>(&host.Application()), addIn.application);
  EXPECT_EQ(static_cast<IDispatch*>(&host.AddInEntry()), addIn.entry);
  EXPECT_EQ(2u, addIn.References());
  EXPECT_EQ(E_UNEXPECTED, host.Connect(&addIn));

  addIn.calls.clear();
  EXPECT_EQ(S_OK, host.Disconnect());
  EXPECT_THAT(addIn.calls, ElementsAre("OnBeginShutdown", "OnDisconnection"));
  EXPECT_EQ(0, addIn.mode);
  EXPECT_EQ(1u, addIn.References());
  EXPECT_EQ(E_UNEXPECTED, host.Disconnect());
}

TEST(SimulatedHost, ConnectsAnAddInByHand) {
  RecordingAddIn addIn;
  SimulatedHost host;
  host.Connect(&addIn, ext_cm_AfterStartup);
  host.Disconnect(ext_dm_UserClosed);
  EXPECT_THAT(addIn.calls, ElementsAre("OnConnection", "OnAddInsUpdate", "OnDisconnection"));
  EXPECT_EQ(1, addIn.mode);
  // The same add-in can be connected again.
  EXPECT_EQ(S_OK, host.Connect(&addIn));
}

TEST(SimulatedHost, ReleasesAnAddInThatFailsToConnect) {
  SimulatedHost host;
  RecordingAddIn addIn;
  addIn.connectResult = E_FAIL;
  EXPECT_EQ(E_FAIL, host.Connect(&addIn));
  EXPECT_THAT(addIn.calls, ElementsAre("OnConnection"));
  EXPECT_EQ(1u, addIn.References());
  EXPECT_EQ(E_POINTER, host.Connect(nullptr));
}

TEST(SimulatedHost, ReleasesTheAddInAtItsEnd) {
  RecordingAddIn addIn;
  {
    SimulatedHost host;
    host.Connect(&addIn);
  }
  EXPECT_EQ(1u, addIn.References());
}

TEST(SimulatedHost, ClosedWindowLeavesTheCollectionAndReleasesItsItem) {
  SimulatedHost host;
  HostInspector& first = host.OpenInspector(MailWithSubject("First"));
  host.OpenInspector(MailWithSubject("Second"));
  LONG count = 0;
  host.Application().OpenInspectors().get_Count(&count);
  EXPECT_EQ(2, count);

  host.CloseInspector(first);

  host.Application().OpenInspectors().get_Count(&count);
  EXPECT_EQ(1, count);
  std::vector<std::string> mails;
  for (const LedgerLine& line : host.Ledger().Alive()) {
    if (line.label.starts_with("_MailItem")) mails.push_back(line.label);
  }
  EXPECT_THAT(mails, ElementsAre("_MailItem \"Second\""));
}

TEST(SimulatedHost, CaptionComesFromTheSubjectAndCanChange) {
  SimulatedHost host;
  HostInspector& window = host.OpenInspector(MailWithSubject("Hello"));
  EXPECT_EQ("Hello - Message", window.Caption());
  EXPECT_EQ("Untitled - Message", host.OpenInspector(mail::MailModel{}).Caption());
  window.SetCaption("Changed");
  platform::Bstr caption;
  window.get_Caption(caption.Put());
  EXPECT_EQ("Changed", Text(caption));
}

TEST(SimulatedHost, ExplorerHoldsTheReplyUntilItEnds) {
  SimulatedHost host;
  HostExplorer& explorer = host.OpenExplorer();
  HostMailItem& reply = host.BeginInlineResponse(explorer, MailWithSubject("Reply"));
  EXPECT_EQ(&reply, explorer.InlineResponse());
  host.EndInlineResponse(explorer);
  ComPtr<IDispatch> item;
  EXPECT_EQ(S_OK, explorer.get_ActiveInlineResponse(item.Put()));
  EXPECT_FALSE(item);
}

TEST(SimulatedHost, ClosedExplorerLeavesTheCollection) {
  SimulatedHost host;
  HostExplorer& first = host.OpenExplorer();
  HostExplorer& second = host.OpenExplorer();
  host.CloseExplorer(first);
  ComPtr<_Explorer> left;
  EXPECT_EQ(S_OK, host.Application().OpenExplorers().Item(Index(1), left.Put()));
  EXPECT_EQ(static_cast<_Explorer*>(&second), left.Get());
}

TEST(SimulatedHost, EndsWithNothingAliveWithoutOutstandingReferences) {
  std::shared_ptr<HostLedger> ledger;
  {
    SimulatedHost host;
    ledger = host.SharedLedger();
    mail::MailModel model = MailWithSubject("All");
    model.recipients.push_back({"Anna", Person("anna@example.org")});
    model.attachments.push_back({1, "a", std::nullopt, "b"});
    HostInspector& window = host.OpenInspector(model);
    ComPtr<Recipients> recipients;
    window.Mail()->get_Recipients(recipients.Put());
    ComPtr<Recipient> recipient;
    recipients->Item(Index(1), recipient.Put());
    ComPtr<AddressEntry> entry;
    recipient->get_AddressEntry(entry.Put());
    ComPtr<IUnknown> message;
    window.Mail()->get_MAPIOBJECT(message.Put());
    host.BeginInlineResponse(host.OpenExplorer(), MailWithSubject("Reply"));
    host.CreateMail(MailWithSubject("Draft"));
    host.OpenOtherInspector("Other");
  }
  EXPECT_THAT(ledger->Alive(), IsEmpty());
}

}  // namespace
}  // namespace simulation::host
