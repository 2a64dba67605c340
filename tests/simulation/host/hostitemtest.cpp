#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/files.h"
#include "platform/scopedreplacement.h"
#include "simulation/host/simulatedhost.h"
#include "tests/simulation/host/hosttesting.h"

namespace simulation::host {
namespace {

using platform::Bstr;
using platform::ComPtr;
using testing::ElementsAre;

ComPtr<Recipient> RecipientAt(HostMailItem& mail, LONG index) {
  ComPtr<Recipients> recipients;
  mail.get_Recipients(recipients.Put());
  ComPtr<Recipient> recipient;
  recipients->Item(Index(index), recipient.Put());
  return recipient;
}

ComPtr<AddressEntry> EntryAt(HostMailItem& mail, LONG index) {
  ComPtr<AddressEntry> entry;
  RecipientAt(mail, index)->get_AddressEntry(entry.Put());
  return entry;
}

ComPtr<Attachment> AttachmentAt(HostMailItem& mail, LONG index) {
  ComPtr<Attachments> attachments;
  mail.get_Attachments(attachments.Put());
  ComPtr<Attachment> attachment;
  attachments->Item(Index(index), attachment.Put());
  return attachment;
}

// COM's identity of an object.
IUnknown* IdentityOf(IUnknown* object) {
  ComPtr<IUnknown> identity;
  platform::QueryFor(object, IID_IUnknown, &identity);
  return identity.Get();
}

TEST(HostMailItem, AbsentTextIsNullAndEmptyTextIsEmpty) {
  SimulatedHost host;
  mail::MailModel model;
  model.body = "";
  HostMailItem& mail = host.CreateMail(model);
  Bstr text;
  EXPECT_EQ(S_OK, mail.get_Subject(text.Put()));
  EXPECT_FALSE(text);
  EXPECT_EQ(S_OK, mail.get_Body(text.Put()));
  EXPECT_TRUE(text);
  EXPECT_EQ(0u, text.Length());
}

TEST(HostMailItem, TextIsWideAndKeepsNuls) {
  SimulatedHost host;
  mail::MailModel model;
  model.subject = std::string("a\0\xC3\xAB\xF0\x9F\x98\x80", 8);
  HostMailItem& mail = host.CreateMail(model);
  Bstr text;
  mail.get_Subject(text.Put());
  EXPECT_EQ(platform::WideString({'a', 0, 0x00EB, 0xD83D, 0xDE00}),
            platform::WideString(text.View()));
}

TEST(HostMailItem, EachTextIsANewOne) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Twice"));
  Bstr first;
  Bstr second;
  mail.get_Subject(first.Put());
  mail.get_Subject(second.Put());
  EXPECT_NE(first.Get(), second.Get());
}

TEST(HostMailItem, NullPlaceIsAnError) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Null"));
  EXPECT_EQ(E_POINTER, mail.get_Subject(nullptr));
  EXPECT_EQ(E_POINTER, mail.QueryInterface(outlookaddin::IID__MailItem, nullptr));
}

TEST(HostMailItem, IdentityIsTheSameThroughEveryInterface) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Identity"));
  IUnknown* const identity = IdentityOf(mail.Identity());
  ComPtr<IConnectionPointContainer> container;
  ASSERT_EQ(S_OK, platform::QueryFor(identity, IID_IConnectionPointContainer, &container));
  EXPECT_EQ(identity, IdentityOf(container.Get()));
  ComPtr<IDispatch> dispatch;
  ASSERT_EQ(S_OK, platform::QueryFor(identity, IID_IDispatch, &dispatch));
  EXPECT_EQ(identity, IdentityOf(dispatch.Get()));
  EXPECT_EQ(2u, mail.Outstanding());
}

TEST(HostMailItem, ReleaseReturnsTheRemainingCount) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Count"));
  EXPECT_EQ(2u, mail.AddRef());
  EXPECT_EQ(3u, mail.AddRef());
  EXPECT_EQ(2u, mail.Release());
  host.ReleaseMail(mail);
  EXPECT_EQ(0u, mail.Release());
  EXPECT_EQ(0u, host.Ledger().OutstandingOf("_MailItem"));
}

TEST(HostMailItem, CollectionsAreTheSameEachTime) {
  SimulatedHost host;
  mail::MailModel model = MailWithSubject("Same");
  model.recipients.push_back({"Anna", Person("anna@example.org")});
  HostMailItem& mail = host.CreateMail(model);
  ComPtr<Recipients> first;
  ComPtr<Recipients> second;
  mail.get_Recipients(first.Put());
  mail.get_Recipients(second.Put());
  EXPECT_EQ(first.Get(), second.Get());
  EXPECT_EQ(RecipientAt(mail, 1).Get(), RecipientAt(mail, 1).Get());
}

TEST(HostMailItem, CollectionTakesIndexesFromOneToItsCount) {
  SimulatedHost host;
  mail::MailModel model;
  model.recipients.push_back({"Anna", nullptr});
  HostMailItem& mail = host.CreateMail(model);
  ComPtr<Recipients> recipients;
  mail.get_Recipients(recipients.Put());
  ComPtr<Recipient> recipient;
  EXPECT_EQ(DISP_E_BADINDEX, recipients->Item(Index(0), recipient.Put()));
  EXPECT_EQ(DISP_E_BADINDEX, recipients->Item(Index(2), recipient.Put()));
  EXPECT_EQ(DISP_E_BADINDEX, recipients->Item(Index(-1), recipient.Put()));
  VARIANT shortIndex = Index(1);
  shortIndex.vt = VT_I2;
  EXPECT_EQ(DISP_E_TYPEMISMATCH, recipients->Item(shortIndex, recipient.Put()));
  EXPECT_FALSE(recipient);
  EXPECT_EQ(S_OK, recipients->Item(Index(1), recipient.Put()));
}

TEST(HostMailItem, RecipientWithoutEntryGivesNull) {
  SimulatedHost host;
  mail::MailModel model;
  model.recipients.push_back({"Nobody", nullptr});
  ComPtr<AddressEntry> entry;
  EXPECT_EQ(S_OK, RecipientAt(host.CreateMail(model), 1)->get_AddressEntry(entry.Put()));
  EXPECT_FALSE(entry);
}

TEST(HostMailItem, RecipientsWithOneEntryShareItsIdentity) {
  SimulatedHost host;
  const auto shared = Person("shared@example.org");
  mail::MailModel model;
  model.recipients.push_back({"First", shared});
  model.recipients.push_back({"Second", Person("shared@example.org")});
  model.recipients.push_back({"List", PersonalList("id", {shared})});
  HostMailItem& mail = host.CreateMail(model);

  const ComPtr<AddressEntry> first = EntryAt(mail, 1);
  EXPECT_NE(IdentityOf(first.Get()), IdentityOf(EntryAt(mail, 2).Get()));
  ComPtr<AddressEntries> members;
  EntryAt(mail, 3)->get_Members(members.Put());
  ComPtr<AddressEntry> member;
  members->GetFirst(member.Put());
  EXPECT_EQ(IdentityOf(first.Get()), IdentityOf(member.Get()));
}

TEST(HostMailItem, ListMayContainItself) {
  SimulatedHost host;
  const auto list = PersonalList("circle", {});
  list->members = {Person("a@example.org"), list};
  mail::MailModel model;
  model.recipients.push_back({"Circle", list});
  HostMailItem& mail = host.CreateMail(model);

  const ComPtr<AddressEntry> outer = EntryAt(mail, 1);
  ComPtr<AddressEntries> members;
  outer->get_Members(members.Put());
  ComPtr<AddressEntry> member;
  members->GetFirst(member.Put());
  members->GetNext(member.Put());
  EXPECT_EQ(outer.Get(), member.Get());
  list->members.clear();
}

TEST(HostMailItem, EachWalkOverAListHasItsOwnPosition) {
  SimulatedHost host;
  mail::MailModel model;
  model.recipients.push_back(
      {"List", PersonalList("id", {Person("a@example.org"), Person("b@example.org")})});
  HostMailItem& mail = host.CreateMail(model);
  const ComPtr<AddressEntry> list = EntryAt(mail, 1);
  ComPtr<AddressEntries> outer;
  ComPtr<AddressEntries> inner;
  list->get_Members(outer.Put());
  list->get_Members(inner.Put());
  ComPtr<AddressEntry> entry;
  outer->GetFirst(entry.Put());
  inner->GetFirst(entry.Put());
  inner->GetNext(entry.Put());
  outer->GetNext(entry.Put());
  Bstr address;
  entry->get_Address(address.Put());
  EXPECT_EQ("b@example.org", Text(address));
}

TEST(HostMailItem, PersonHasNoMembers) {
  SimulatedHost host;
  mail::MailModel model;
  model.recipients.push_back({"Anna", Person("anna@example.org")});
  ComPtr<AddressEntries> members;
  EXPECT_EQ(S_OK, EntryAt(host.CreateMail(model), 1)->get_Members(members.Put()));
  EXPECT_FALSE(members);
}

TEST(HostMailItem, EntriesAreReleasedWithTheMail) {
  SimulatedHost host;
  mail::MailModel model;
  const auto inner = PersonalList("inner", {Person("a@example.org")});
  model.recipients.push_back({"List", PersonalList("outer", {inner})});
  HostMailItem& mail = host.CreateMail(model);
  const std::size_t before = host.Ledger().Alive().size();
  ComPtr<AddressEntries> members;
  EntryAt(mail, 1)->get_Members(members.Put());
  host.ReleaseMail(mail);
  // The collection still works after its mail is gone.
  {
    ComPtr<AddressEntry> entry;
    EXPECT_EQ(S_OK, members->GetFirst(entry.Put()));
    EXPECT_TRUE(entry);
  }
  members.Reset();
  EXPECT_EQ(before - 2, host.Ledger().Alive().size());  // the mail and its connection point
}

TEST(HostMailItem, WithoutAccountTheAccountIsNull) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("No account"));
  ComPtr<_Account> account;
  EXPECT_EQ(S_OK, mail.get_SendUsingAccount(account.Put()));
  EXPECT_FALSE(account);
}

TEST(HostMailItem, AccountMayLackTextOrUser) {
  SimulatedHost host;
  mail::MailModel model;
  model.accountUserName = "text";
  ComPtr<_Account> account;
  host.CreateMail(model).get_SendUsingAccount(account.Put());
  ComPtr<Recipient> user;
  EXPECT_EQ(S_OK, account->get_CurrentUser(user.Put()));
  EXPECT_FALSE(user);

  model.accountUserName.reset();
  model.accountSenderName = "Somebody";
  host.CreateMail(model).get_SendUsingAccount(account.Put());
  Bstr text;
  EXPECT_EQ(S_OK, account->get_UserName(text.Put()));
  EXPECT_FALSE(text);
}

TEST(HostMailItem, SessionWithoutUserGivesNull) {
  SimulatedHost host;
  ComPtr<_NameSpace> session;
  host.CreateMail(MailWithSubject("No user")).get_Session(session.Put());
  ComPtr<Recipient> user;
  EXPECT_EQ(S_OK, session->get_CurrentUser(user.Put()));
  EXPECT_FALSE(user);
}

TEST(HostMailItem, AttachmentMayLackItsNames) {
  SimulatedHost host;
  mail::MailModel model;
  model.attachments.push_back({6, std::nullopt, std::nullopt, ""});
  const ComPtr<Attachment> attachment = AttachmentAt(host.CreateMail(model), 1);
  Bstr text;
  EXPECT_EQ(S_OK, attachment->get_FileName(text.Put()));
  EXPECT_FALSE(text);
  EXPECT_EQ(S_OK, attachment->get_PathName(text.Put()));
  EXPECT_FALSE(text);
  LONG type = 0;
  EXPECT_EQ(S_OK, attachment->get_Type(&type));
  EXPECT_EQ(6, type);
}

TEST(HostMailItem, NewModelKeepsTheItemAndReplacesItsObjects) {
  SimulatedHost host;
  HostMailItem& mail = host.CreateMail(MailWithSubject("Before"));
  ComPtr<Recipients> before;
  mail.get_Recipients(before.Put());
  mail::MailModel model = MailWithSubject("After");
  model.recipients.push_back({"Anna", nullptr});
  mail.SetModel(model);
  Bstr text;
  mail.get_Subject(text.Put());
  EXPECT_EQ("After", Text(text));
  ComPtr<Recipients> after;
  mail.get_Recipients(after.Put());
  LONG count = 0;
  after->get_Count(&count);
  EXPECT_EQ(1, count);
  before->get_Count(&count);
  EXPECT_EQ(0, count);
}

TEST(HostMailItem, OtherItemIsNotAMail) {
  SimulatedHost host;
  HostInspector& window = host.OpenOtherInspector("Appointment");
  EXPECT_EQ(nullptr, window.Mail());
  ComPtr<IDispatch> item;
  EXPECT_EQ(S_OK, window.get_CurrentItem(item.Put()));
  ASSERT_TRUE(item);
  ComPtr<_MailItem> mail;
  EXPECT_EQ(E_NOINTERFACE, platform::QueryFor(item.Get(), outlookaddin::IID__MailItem, &mail));
  EXPECT_EQ(1u, host.Calls().Count("OtherItem::QueryInterface(other)"));
}

// Saving.

class HostSaving : public testing::Test {
 protected:
  HostSaving() {
    m_folder = std::filesystem::temp_directory_path() /
               ("qvhost" + std::to_string(reinterpret_cast<std::uintptr_t>(this)) +
                testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(m_folder);
  }
  ~HostSaving() override { std::filesystem::remove_all(m_folder); }

  HRESULT Save(const std::string& content, const std::filesystem::path& path) {
    mail::MailModel model;
    model.attachments.push_back({1, "a", std::nullopt, content});
    const platform::WideString wide = Utf8ToWide(path.string());
    const platform::Bstr text(SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size())));
    return AttachmentAt(m_host.CreateMail(model), 1)->SaveAsFile(text.Get());
  }

  static std::string Content(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  SimulatedHost m_host;
  std::filesystem::path m_folder;
};

TEST_F(HostSaving, WritesTheContent) {
  const std::string content("a\0b\r\n\x1A\xFF", 7);
  EXPECT_EQ(S_OK, Save(content, m_folder / "copy"));
  EXPECT_EQ(content, Content(m_folder / "copy"));
}

TEST_F(HostSaving, ReplacesAnExistingFile) {
  EXPECT_EQ(S_OK, Save("a longer content", m_folder / "copy"));
  EXPECT_EQ(S_OK, Save("short", m_folder / "copy"));
  EXPECT_EQ("short", Content(m_folder / "copy"));
}

TEST_F(HostSaving, EmptyContentCreatesAnEmptyFile) {
  EXPECT_EQ(S_OK, Save("", m_folder / "copy"));
  EXPECT_TRUE(std::filesystem::exists(m_folder / "copy"));
  EXPECT_EQ("", Content(m_folder / "copy"));
}

TEST_F(HostSaving, ShortWritesAreContinued) {
  platform::ScopedReplacement<platform::files, &platform::FileOperations::WriteFile> slow(
      [](auto original, platform::Handle file, const void* data, std::uint32_t size,
         std::uint32_t* written) {
        return original(file, data, std::min<std::uint32_t>(size, 3), written);
      });
  EXPECT_EQ(S_OK, Save("0123456789", m_folder / "copy"));
  EXPECT_EQ("0123456789", Content(m_folder / "copy"));
}

TEST_F(HostSaving, FailsIfTheFileCannotBeCreated) {
  EXPECT_EQ(E_ACCESSDENIED, Save("content", m_folder / "missing" / "copy"));
}

TEST_F(HostSaving, FailsWhenTheFileCannotBeWritten) {
  platform::ScopedReplacement<platform::files, &platform::FileOperations::WriteFile> failing(
      [](auto, platform::Handle, const void*, std::uint32_t, std::uint32_t*) { return false; });
  EXPECT_EQ(E_FAIL, Save("content", m_folder / "copy"));
}

TEST_F(HostSaving, FaultWritesNothing) {
  m_host.Calls().FailEach("Attachment::SaveAsFile", E_FAIL);
  EXPECT_EQ(E_FAIL, Save("content", m_folder / "copy"));
  m_host.Calls().FailEach("Attachment::SaveAsFile", S_OK);
  EXPECT_EQ(S_OK, Save("content", m_folder / "copy"));
  EXPECT_FALSE(std::filesystem::exists(m_folder / "copy"));
}

// Named properties.

class HostProperties : public testing::Test {
 protected:
  HostProperties() : m_mail(m_host.CreateMail(MailWithSubject("Tagged"))) {
    ComPtr<IUnknown> object;
    m_mail.get_MAPIOBJECT(object.Put());
    platform::QueryFor(object.Get(), kIidMessage, &m_message);
  }

  // The tag of a name; `*result` becomes the call's result.
  ULONG TagOf(IMAPIProp* object, platform::WideString name, ULONG flags, HRESULT* result) {
    GUID propertySet = kPsInternetHeaders;
    MAPINAMEID wanted = {};
    wanted.lpguid = &propertySet;
    wanted.ulKind = MNID_STRING;
    wanted.Kind.lpwstrName = name.data();
    MAPINAMEID* names = &wanted;
    SPropTagArray* tags = nullptr;
    *result = object->GetIDsFromNames(1, &names, flags, &tags);
    if (tags == nullptr) return 0;
    EXPECT_EQ(1u, tags->cValues);
    return tags->aulPropTag[0];
  }

  HRESULT Set(ULONG tag, platform::WideString value) {
    SPropValue property = {};
    property.ulPropTag = tag;
    property.Value.lpszW = value.data();
    return m_message->SetProps(1, &property, nullptr);
  }

  SimulatedHost m_host;
  HostMailItem& m_mail;
  ComPtr<IMessage> m_message;
};

TEST_F(HostProperties, NewNameGetsAnIdWithoutAType) {
  HRESULT result = E_FAIL;
  const ULONG tag = TagOf(m_message.Get(), QV_WIDE("X-Name"), MAPI_CREATE, &result);
  EXPECT_EQ(S_OK, result);
  EXPECT_EQ(0x80000000u, tag);
  EXPECT_EQ(0x80010000u, TagOf(m_message.Get(), QV_WIDE("X-Other"), MAPI_CREATE, &result));
  EXPECT_EQ(tag, TagOf(m_message.Get(), QV_WIDE("X-Name"), MAPI_CREATE, &result));
}

TEST_F(HostProperties, IdsBelongToTheStoreAndNotToTheMail) {
  HRESULT result = E_FAIL;
  const ULONG tag = TagOf(m_message.Get(), QV_WIDE("X-Name"), MAPI_CREATE, &result);
  ComPtr<IUnknown> object;
  m_host.CreateMail(MailWithSubject("Other")).get_MAPIOBJECT(object.Put());
  ComPtr<IMAPIProp> other;
  platform::QueryFor(object.Get(), kIidMapiProp, &other);
  EXPECT_EQ(tag, TagOf(other.Get(), QV_WIDE("X-Name"), 0, &result));
}

TEST_F(HostProperties, UnknownNameWithoutCreateIsAWarning) {
  HRESULT result = E_FAIL;
  EXPECT_EQ(0x0000000Au, TagOf(m_message.Get(), QV_WIDE("X-Name"), 0, &result));
  EXPECT_EQ(0x00040380, result);
}

TEST_F(HostProperties, PropertyIsReadBackByName) {
  HRESULT result = E_FAIL;
  const ULONG tag = TagOf(m_message.Get(), QV_WIDE("X-Name"), MAPI_CREATE, &result) | PT_UNICODE;
  EXPECT_EQ(std::nullopt, m_mail.Header("X-Name"));
  EXPECT_EQ(S_OK, Set(tag, QV_WIDE("first")));
  EXPECT_EQ(S_OK, Set(tag, QV_WIDE("v\u00EBlue")));
  EXPECT_EQ("v\xC3\xABlue", m_mail.Header("X-Name"));
  const std::vector<HostNamedProperty> properties = m_mail.NamedProperties();
  ASSERT_EQ(1u, properties.size());
  EXPECT_EQ("X-Name", properties[0].name);
  EXPECT_EQ(0x8000001Fu, properties[0].tag);
  EXPECT_TRUE(IsEqualGUID(kPsInternetHeaders, properties[0].propertySet));
}

TEST_F(HostProperties, OnlyWideTextCanBeSet) {
  HRESULT result = E_FAIL;
  const ULONG tag = TagOf(m_message.Get(), QV_WIDE("X-Name"), MAPI_CREATE, &result);
  EXPECT_EQ(E_INVALIDARG, Set(tag, QV_WIDE("text")));
  EXPECT_TRUE(m_mail.NamedProperties().empty());
}

TEST_F(HostProperties, FaultSetsNothing) {
  HRESULT result = E_FAIL;
  const ULONG tag = TagOf(m_message.Get(), QV_WIDE("X-Name"), MAPI_CREATE, &result) | PT_UNICODE;
  m_host.Calls().FailEach("IMessage::SetProps", E_ACCESSDENIED);
  EXPECT_EQ(E_ACCESSDENIED, Set(tag, QV_WIDE("text")));
  EXPECT_EQ(std::nullopt, m_mail.Header("X-Name"));
  m_host.Calls().FailEach("IMessage::GetIDsFromNames", 0x00040380);
  EXPECT_EQ(tag & 0xFFFF0000, TagOf(m_message.Get(), QV_WIDE("X-Name"), MAPI_CREATE, &result));
  EXPECT_EQ(0x00040380, result);
}

}  // namespace
}  // namespace simulation::host
