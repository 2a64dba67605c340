// Calls every member that the add-in uses through its slot number, on an interface requested by its
// numeric id, as a binary caller does.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "simulation/host/simulatedhost.h"
#include "tests/simulation/host/hosttesting.h"

namespace simulation::host {
namespace {

using platform::Bstr;
using platform::ComPtr;

IID IdEnding(ULONG first) {
  return {first, 0, 0, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
}

mail::MailModel FullMail() {
  mail::MailModel model;
  model.recipients.push_back({"Anna Example", Person("anna@example.org")});
  model.recipients.push_back(
      {"Team", PersonalList("list-1", {Person("x@example.org"), Person("y@example.org")})});
  model.subject = "Subject text";
  model.body = "Body text";
  model.htmlBody = "<p>HTML text</p>";
  model.attachments.push_back({4, "name.bin", "\\\\server\\share", "content"});
  model.attachments.push_back({1, "second.bin", std::nullopt, ""});
  model.senderName = "Session User";
  model.accountUserName = "Account Text";
  model.accountSenderName = "Account User";
  return model;
}

class HostSlots : public testing::Test {
 protected:
  // The object's interface with that id, held until the test ends.
  void* Ask(IUnknown* object, ULONG firstOfId) {
    void* found = nullptr;
    EXPECT_EQ(S_OK, object->QueryInterface(IdEnding(firstOfId), &found)) << std::hex << firstOfId;
    m_owned.emplace_back(static_cast<IUnknown*>(found));
    return found;
  }

  std::string TextFrom(void* object, std::size_t slot) {
    Bstr text;
    EXPECT_EQ(S_OK, CallSlot(object, slot, text.Put())) << "slot " << slot;
    return Text(text);
  }

  LONG NumberFrom(void* object, std::size_t slot) {
    LONG number = -1;
    EXPECT_EQ(S_OK, CallSlot(object, slot, &number)) << "slot " << slot;
    return number;
  }

  // What the getter in a slot returns, queried for the interface with that id.
  void* ObjectFrom(void* object, std::size_t slot, ULONG firstOfId) {
    return AskGiven(firstOfId, [&](IUnknown** place) { return CallSlot(object, slot, place); });
  }
  void* ItemFrom(void* object, std::size_t slot, LONG index, ULONG firstOfId) {
    return AskGiven(firstOfId,
                    [&](IUnknown** place) { return CallSlot(object, slot, Index(index), place); });
  }

  SimulatedHost m_host{"16.0.0.1234"};

 private:
  template <typename Call>
  void* AskGiven(ULONG firstOfId, Call call) {
    ComPtr<IUnknown> given;
    EXPECT_EQ(S_OK, call(given.Put()));
    return given ? Ask(given.Get(), firstOfId) : nullptr;
  }

  std::vector<ComPtr<IUnknown>> m_owned;
};

TEST_F(HostSlots, ApplicationGivesVersionAndCollections) {
  m_host.OpenExplorer();
  m_host.OpenInspector(FullMail(), Announce::kNo);
  m_host.OpenInspector(FullMail(), Announce::kNo);

  void* const application = Ask(m_host.Application().Identity(), 0x00063001);
  EXPECT_EQ("16.0.0.1234", TextFrom(application, 13));
  EXPECT_EQ(1, NumberFrom(ObjectFrom(application, 22, 0x0006300A), 11));
  EXPECT_EQ(2, NumberFrom(ObjectFrom(application, 23, 0x00063008), 11));
}

TEST_F(HostSlots, InspectorsGiveInspectorsWithCaptionAndItem) {
  m_host.OpenInspector(m_host.CreateMail(FullMail()), "First window", Announce::kNo);
  m_host.OpenInspector(m_host.CreateMail(FullMail()), "Second window", Announce::kNo);

  void* const inspectors =
      ObjectFrom(Ask(m_host.Application().Identity(), 0x00063001), 23, 0x00063008);
  void* const second = ItemFrom(inspectors, 12, 2, 0x00063005);
  EXPECT_EQ("Second window", TextFrom(second, 23));
  EXPECT_EQ("Subject text", TextFrom(ObjectFrom(second, 12, 0x00063034), 43));
}

TEST_F(HostSlots, ExplorersGiveTheReplyBeingWritten) {
  m_host.OpenExplorer();
  m_host.BeginInlineResponse(m_host.OpenExplorer(), FullMail());

  void* const explorers =
      ObjectFrom(Ask(m_host.Application().Identity(), 0x00063001), 22, 0x0006300A);
  void* const second = ItemFrom(explorers, 12, 2, 0x00063003);
  EXPECT_EQ("Subject text", TextFrom(ObjectFrom(second, 49, 0x00063034), 43));
}

TEST_F(HostSlots, MailGivesItsTexts) {
  void* const mail = Ask(m_host.CreateMail(FullMail()).Identity(), 0x00063034);
  EXPECT_EQ("Body text", TextFrom(mail, 15));
  EXPECT_EQ("Subject text", TextFrom(mail, 43));
  EXPECT_EQ("<p>HTML text</p>", TextFrom(mail, 76));
}

TEST_F(HostSlots, MailGivesItsSender) {
  void* const mail = Ask(m_host.CreateMail(FullMail()).Identity(), 0x00063034);
  void* const session = ObjectFrom(mail, 9, 0x00063002);
  EXPECT_EQ("Session User", TextFrom(ObjectFrom(session, 11, 0x00063045), 20));
  void* const account = ObjectFrom(mail, 152, 0x000630C5);
  EXPECT_EQ("Account Text", TextFrom(account, 13));
  EXPECT_EQ("Account User", TextFrom(ObjectFrom(account, 16, 0x00063045), 20));
}

TEST_F(HostSlots, MailGivesItsRecipients) {
  void* const mail = Ask(m_host.CreateMail(FullMail()).Identity(), 0x00063034);
  void* const recipients = ObjectFrom(mail, 89, 0x0006303B);
  EXPECT_EQ(2, NumberFrom(recipients, 11));
  void* const anna = ItemFrom(recipients, 12, 1, 0x00063045);
  EXPECT_EQ("Anna Example", TextFrom(anna, 20));
  void* const entry = ObjectFrom(anna, 12, 0x0006304B);
  EXPECT_EQ("anna@example.org", TextFrom(entry, 11));
  EXPECT_EQ(0, NumberFrom(entry, 13));
}

TEST_F(HostSlots, ListGivesItsMembers) {
  void* const mail = Ask(m_host.CreateMail(FullMail()).Identity(), 0x00063034);
  void* const team = ItemFrom(ObjectFrom(mail, 89, 0x0006303B), 12, 2, 0x00063045);
  void* const list = ObjectFrom(team, 12, 0x0006304B);
  EXPECT_EQ("(null)", TextFrom(list, 11));
  EXPECT_EQ(5, NumberFrom(list, 13));
  EXPECT_EQ("list-1", TextFrom(list, 14));
  void* const members = ObjectFrom(list, 18, 0x0006304A);
  EXPECT_EQ("x@example.org", TextFrom(ObjectFrom(members, 15, 0x0006304B), 11));
  EXPECT_EQ("y@example.org", TextFrom(ObjectFrom(members, 17, 0x0006304B), 11));
  ComPtr<IUnknown> behindTheLast;
  EXPECT_EQ(S_OK, CallSlot(members, 17, behindTheLast.Put()));
  EXPECT_FALSE(behindTheLast);
}

TEST_F(HostSlots, MailGivesItsAttachments) {
  void* const mail = Ask(m_host.CreateMail(FullMail()).Identity(), 0x00063034);
  void* const attachments = ObjectFrom(mail, 12, 0x0006303C);
  EXPECT_EQ(2, NumberFrom(attachments, 11));
  void* const first = ItemFrom(attachments, 12, 1, 0x00063007);
  EXPECT_EQ("name.bin", TextFrom(first, 13));
  EXPECT_EQ("\\\\server\\share", TextFrom(first, 16));
  EXPECT_EQ(4, NumberFrom(first, 19));
  EXPECT_EQ("second.bin", TextFrom(ItemFrom(attachments, 12, 2, 0x00063007), 13));
}

TEST_F(HostSlots, AttachmentIsSavedByItsSlot) {
  void* const mail = Ask(m_host.CreateMail(FullMail()).Identity(), 0x00063034);
  void* const first = ItemFrom(ObjectFrom(mail, 12, 0x0006303C), 12, 1, 0x00063007);
  m_host.Calls().FailEach("Attachment::SaveAsFile", E_ABORT);
  platform::WideChar path[] = QV_WIDE("unused");
  EXPECT_EQ(E_ABORT, CallSlot(first, 21, static_cast<platform::WideChar*>(path)));
}

TEST_F(HostSlots, MailGivesItsMapiObject) {
  void* const mail = Ask(m_host.CreateMail(FullMail()).Identity(), 0x00063034);
  void* const message = ObjectFrom(mail, 30, 0x00020307);
  void* const properties = Ask(static_cast<IUnknown*>(message), 0x00020303);
  EXPECT_EQ(message, properties);
}

// The add-in calls none of the members that every interface shares (slots 7 to 10), except the
// mail's session.
TEST_F(HostSlots, EventInterfacesHaveTheirNumbers) {
  EXPECT_TRUE(IsEqualGUID(IdEnding(0x00063079), outlookaddin::IID_InspectorsEvents));
  EXPECT_TRUE(IsEqualGUID(IdEnding(0x0006307D), outlookaddin::IID_InspectorEvents));
  EXPECT_TRUE(IsEqualGUID(IdEnding(0x0006300F), outlookaddin::IID_ExplorerEvents_10));
  EXPECT_TRUE(IsEqualGUID(IdEnding(0x0006303A), outlookaddin::IID_ItemEvents));
}

TEST_F(HostSlots, AddInContractHasItsSlots) {
  // The host calls the add-in's vtable: each method is in its slot.
  struct Numbered final : _IDTExtensibility2 {
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return 0; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 2; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return 3; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return 4; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
      return 5;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
      return 6;
    }
    HRESULT STDMETHODCALLTYPE OnConnection(IDispatch*, ext_ConnectMode, IDispatch*,
                                           SAFEARRAY**) override {
      return 7;
    }
    HRESULT STDMETHODCALLTYPE OnDisconnection(ext_DisconnectMode, SAFEARRAY**) override {
      return 8;
    }
    HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY**) override { return 9; }
    HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY**) override { return 10; }
    HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY**) override { return 11; }
  } addIn;
  void* const table = static_cast<_IDTExtensibility2*>(&addIn);
  IDispatch* const none = nullptr;
  SAFEARRAY** const noArray = nullptr;
  EXPECT_EQ(7, CallSlot(table, 7, none, LONG{0}, none, noArray));
  EXPECT_EQ(8, CallSlot(table, 8, LONG{0}, noArray));
  EXPECT_EQ(9, CallSlot(table, 9, noArray));
  EXPECT_EQ(10, CallSlot(table, 10, noArray));
  EXPECT_EQ(11, CallSlot(table, 11, noArray));
}

}  // namespace
}  // namespace simulation::host
