// The recipients of a mail: the walk over entries and lists, and the request.
#include "tests/agent/outlookaddin/gatefixture.h"

namespace tests {
namespace {

using simulation::mail::MailAddressEntry;
using Entry = std::shared_ptr<MailAddressEntry>;

Entry Person(std::string address) {
  auto entry = std::make_shared<MailAddressEntry>();
  entry->address = std::move(address);
  return entry;
}

// A personal list with an id and no address.
Entry List(std::vector<Entry> members) {
  auto entry = std::make_shared<MailAddressEntry>();
  entry->displayType = outlookaddin::olPrivateDistList;
  entry->id = "id";
  entry->members = std::move(members);
  return entry;
}

// An entry without address, id and members.
Entry EmptyEntry(std::int32_t type) {
  auto entry = std::make_shared<MailAddressEntry>();
  entry->displayType = type;
  return entry;
}

std::string Text(std::string_view bytes) {
  return std::string(bytes);
}

class GateRecipients : public GateTest {
 protected:
  void To(std::vector<Entry> entries) {
    for (Entry& entry : entries) mail.recipients.push_back({"name", std::move(entry)});
  }
  // The payload of the one request.
  std::string Payload() {
    EXPECT_EQ(Types(), std::vector<std::uint32_t>{3});
    return asked.empty() ? std::string() : asked.front().payload;
  }
};

TEST_F(GateRecipients, SendsEachAddressWithItsNulInTheOrderOfTheMail) {
  using namespace std::string_view_literals;
  To({Person("a"), Person("bc"), Person("d")});
  EXPECT_EQ(Sink().CheckRecipients(Item()), 4);
  EXPECT_EQ(Payload(), Text("a\0bc\0d\0"sv));
  EXPECT_EQ(Payload().size(), 7U);
  EXPECT_EQ(asked[0].name, "");
  EXPECT_THAT(Lines(),
              ElementsAre(Info("Get AddressEntry address: a"), Info("Get AddressEntry address: bc"),
                          Info("Get AddressEntry address: d")));
}

TEST_F(GateRecipients, ReturnsTheAgentsAnswer) {
  To({Person("a")});
  for (const int answer : {3, 4, 7}) {
    answers[3] = answer;
    EXPECT_EQ(Sink().CheckRecipients(Item()), answer);
  }
}

TEST_F(GateRecipients, AnEmptyAddressAddsOneNul) {
  using namespace std::string_view_literals;
  To({Person("a"), Person(""), Person("b")});
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text("a\0\0b\0"sv));
}

TEST_F(GateRecipients, SendsAddressesUnchangedInUtf8) {
  using namespace std::string_view_literals;
  To({Person(" Zo\xC3\xAB@Example.ORG ")});
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text(" Zo\xC3\xAB@Example.ORG \0"sv));
}

TEST_F(GateRecipients, AnEntryOfTwoRecipientsCountsOnce) {
  using namespace std::string_view_literals;
  const Entry entry = Person("a");
  To({entry, Person("b"), entry});
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text("a\0b\0"sv));
  EXPECT_THAT(Lines(),
              ElementsAre(Info("Get AddressEntry address: a"), Info("Get AddressEntry address: b"),
                          Info("The entry has been processed! skip it")));
}

TEST_F(GateRecipients, TwoEntriesWithTheSameTextCountTwice) {
  using namespace std::string_view_literals;
  To({Person("a"), Person("a")});
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text("a\0a\0"sv));
}

TEST_F(GateRecipients, MembersTakeThePlaceOfTheirList) {
  using namespace std::string_view_literals;
  To({Person("a"), List({Person("x"), Person("y")}), Person("b")});
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text("a\0x\0y\0b\0"sv));
  EXPECT_THAT(Lines(),
              ElementsAre(Info("Get AddressEntry address: a"), Info("AddressEntry type 5."),
                          Info("Get AddressEntry address: x"), Info("Get AddressEntry address: y"),
                          Info("Get AddressEntry address: b")));
}

TEST_F(GateRecipients, OpensListsToAnyDepth) {
  using namespace std::string_view_literals;
  Entry nested = List({Person("innermost")});
  for (int depth = 1; depth < 500; ++depth) nested = List({nested});
  To({nested, Person("b")});
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text("innermost\0b\0"sv));
  EXPECT_EQ(CountLines(Info("AddressEntry type 5.")), 500);
}

TEST_F(GateRecipients, SkipsAListThatContainsItself) {
  using namespace std::string_view_literals;
  const Entry list = List({Person("x")});
  list->members.push_back(list);
  list->members.push_back(Person("y"));
  To({list});
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text("x\0y\0"sv));
  EXPECT_THAT(Lines(),
              ElementsAre(Info("AddressEntry type 5."), Info("Get AddressEntry address: x"),
                          Info("The entry has been processed! skip it"),
                          Info("Get AddressEntry address: y")));
  RenewHost();
  list->members.clear();  // the cycle of shared pointers would leak
}

TEST_F(GateRecipients, SkipsARecipientThatWasAMemberOfAnEarlierList) {
  using namespace std::string_view_literals;
  const Entry shared = Person("x");
  To({List({shared, Person("y")}), shared, List({shared})});
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text("x\0y\0"sv));
  EXPECT_EQ(CountLines(Info("The entry has been processed! skip it")), 2);
}

TEST_F(GateRecipients, DoesNotOpenAListWithAnAddress) {
  using namespace std::string_view_literals;
  const Entry list = List({Person("x")});
  list->address = "list@example.org";
  To({list});
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text("list@example.org\0"sv));
  EXPECT_EQ(Calls().Count("AddressEntry::get_DisplayType"), 0U);
  EXPECT_EQ(Calls().Count("AddressEntry::get_Members"), 0U);
}

TEST_F(GateRecipients, SkipsAnEntryWithoutAddressThatIsNoList) {
  using namespace std::string_view_literals;
  To({EmptyEntry(1), Person("b")});
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text("b\0"sv));
  EXPECT_THAT(Lines(),
              ElementsAre(Info("AddressEntry type 1."), Warn("Not support displayType, skip it."),
                          Info("Get AddressEntry address: b")));
}

TEST_F(GateRecipients, DoesNotOpenAListWithoutId) {
  const Entry list = List({Person("x")});
  list->id.reset();
  To({list});
  EXPECT_EQ(Sink().CheckRecipients(Item()), 1);
  EXPECT_THAT(Lines(),
              ElementsAre(Info("AddressEntry type 5."), Err("Get AddressEntry ID failed: 0x0")));
  EXPECT_EQ(Calls().Count("AddressEntry::get_Members"), 0U);
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateRecipients, LogsAFailedIdAndDoesNotOpenTheList) {
  To({List({Person("x")})});
  Calls().FailEach("AddressEntry::get_ID", E_FAIL);
  EXPECT_EQ(Sink().CheckRecipients(Item()), 1);
  EXPECT_THAT(Lines(), ElementsAre(Info("AddressEntry type 5."),
                                   Err("Get AddressEntry ID failed: 0x80004005")));
  EXPECT_EQ(Calls().Count("AddressEntry::get_Members"), 0U);
}

TEST_F(GateRecipients, SkipsAListWithoutMembers) {
  for (const HRESULT result : {S_OK, E_FAIL}) {
    mail.recipients.clear();
    To({List({Person("x")}), Person("b")});
    RenewHost();
    Calls().FailEach("AddressEntry::get_Members", result);
    EXPECT_EQ(Sink().CheckRecipients(Item()), 4);
    EXPECT_THAT(TakeLines(),
                ElementsAre(Info("AddressEntry type 5."),
                            Err(result == S_OK ? "Get AddressEntry members failed: 0x0"
                                               : "Get AddressEntry members failed: 0x80004005"),
                            Info("Get AddressEntry address: b")));
  }
}

TEST_F(GateRecipients, SkipsAnEntryWithAnUnreadableType) {
  To({EmptyEntry(5)});
  Calls().FailEach("AddressEntry::get_DisplayType", E_ACCESSDENIED);
  EXPECT_EQ(Sink().CheckRecipients(Item()), 1);
  EXPECT_THAT(Lines(), ElementsAre(Err("Get DisplayType failed: 0x80070005")));
}

TEST_F(GateRecipients, TakesAnUnreadableAddressForNone) {
  To({Person("a")});
  Calls().FailEach("AddressEntry::get_Address", E_FAIL);
  EXPECT_EQ(Sink().CheckRecipients(Item()), 1);
  EXPECT_THAT(Lines(),
              ElementsAre(Info("AddressEntry type 0."), Warn("Not support displayType, skip it.")));
}

TEST_F(GateRecipients, MakesNoRequestWithoutACollection) {
  To({Person("a")});
  Calls().FailEach("_MailItem::get_Recipients", E_UNEXPECTED);
  EXPECT_EQ(Sink().CheckRecipients(Item()), 1);
  EXPECT_THAT(TakeLines(), ElementsAre(Err("Get recipients failed: 0x8000FFFF, and don't check "
                                           "recpients.")));
  Calls().FailEach("_MailItem::get_Recipients", S_OK);
  EXPECT_EQ(Sink().CheckRecipients(Item()), 1);
  EXPECT_THAT(TakeLines(),
              ElementsAre(Err("Get recipients failed: 0x0, and don't check recpients.")));
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateRecipients, TreatsACountOf0AsAnError) {
  EXPECT_EQ(Sink().CheckRecipients(Item()), 1);
  EXPECT_THAT(Lines(),
              ElementsAre(Err("Get recipients counts failed: 0x0, and don't check recpients.")));
  EXPECT_EQ(Calls().Count("Recipients::Item"), 0U);
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateRecipients, TreatsAnUnreadableCountAsAnError) {
  To({Person("a")});
  Calls().FailEach("Recipients::get_Count", E_FAIL);
  EXPECT_EQ(Sink().CheckRecipients(Item()), 1);
  EXPECT_THAT(Lines(), ElementsAre(Err("Get recipients counts failed: 0x80004005, and don't check "
                                       "recpients.")));
  EXPECT_EQ(Calls().Count("Recipients::Item"), 0U);
}

TEST_F(GateRecipients, LosesOnlyTheRecipientThatIsUnreadable) {
  using namespace std::string_view_literals;
  To({Person("a"), Person("b"), Person("c"), Person("d")});
  Calls().FailCallOf("Recipients::Item", 2, E_FAIL);
  Calls().FailCallOf("Recipients::Item", 3, S_OK);
  EXPECT_EQ(Sink().CheckRecipients(Item()), 4);
  EXPECT_EQ(Payload(), Text("a\0d\0"sv));
  EXPECT_EQ(CountLines(Err("Get Item from recipients failed: 0x80004005")), 1);
  EXPECT_EQ(CountLines(Err("Get Item from recipients failed: 0x0")), 1);
}

TEST_F(GateRecipients, LosesOnlyTheRecipientWithoutAnEntry) {
  using namespace std::string_view_literals;
  To({Person("a"), nullptr, Person("c"), Person("d")});
  Calls().FailCallOf("Recipient::get_AddressEntry", 3, E_FAIL);
  EXPECT_EQ(Sink().CheckRecipients(Item()), 4);
  EXPECT_EQ(Payload(), Text("a\0d\0"sv));
  EXPECT_EQ(CountLines(Err("Get AddressEntry from recipient failed: 0x0")), 1);
  EXPECT_EQ(CountLines(Err("Get AddressEntry from recipient failed: 0x80004005")), 1);
}

TEST_F(GateRecipients, LogsEachRecipientAndMakesNoRequestWhenAllFail) {
  To({Person("a"), Person("b"), Person("c")});
  Calls().FailEach("Recipients::Item", E_FAIL);
  EXPECT_EQ(Sink().CheckRecipients(Item()), 1);
  EXPECT_THAT(Lines(), ElementsAre(Err("Get Item from recipients failed: 0x80004005"),
                                   Err("Get Item from recipients failed: 0x80004005"),
                                   Err("Get Item from recipients failed: 0x80004005")));
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateRecipients, TakesAPositiveResultForSuccess) {
  using namespace std::string_view_literals;
  To({Person("a")});
  for (const char* call : {"_MailItem::get_Recipients", "Recipients::get_Count", "Recipients::Item",
                           "Recipient::get_AddressEntry", "AddressEntry::get_Address"}) {
    Calls().FailEach(call, S_FALSE);
  }
  EXPECT_EQ(Sink().CheckRecipients(Item()), 4);
  EXPECT_EQ(Payload(), Text("a\0"sv));
}

TEST_F(GateRecipients, KeepsTheMembersThatItFoundBeforeAFailure) {
  using namespace std::string_view_literals;
  To({List({Person("x"), Person("y")}), Person("b")});
  Calls().FailCallOf("AddressEntries::GetNext", 1, E_FAIL);
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text("x\0b\0"sv));
}

TEST_F(GateRecipients, IgnoresTheResultOfTheFirstMember) {
  using namespace std::string_view_literals;
  To({List({Person("x"), Person("y")})});
  Calls().FailEach("AddressEntries::GetFirst", S_FALSE);
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text("x\0y\0"sv));
}

TEST_F(GateRecipients, WalksOverMembersThatComeWithAFailure) {
  using namespace std::string_view_literals;
  To({List({Person("x"), Person("y")})});
  Calls().FailEach("AddressEntries::GetFirst", E_FAIL, simulation::host::FaultOutput::kGiven);
  Calls().FailEach("AddressEntries::GetNext", E_FAIL, simulation::host::FaultOutput::kGiven);
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Payload(), Text("x\0y\0"sv));
  ExpectNothingLeft();
}

TEST_F(GateRecipients, ReleasesWhatAFailingCallLeaves) {
  To({Person("a"), List({Person("x")})});
  for (const char* call :
       {"_MailItem::get_Recipients", "Recipients::Item", "Recipient::get_AddressEntry",
        "AddressEntry::get_Members", "AddressEntry::get_ID", "AddressEntry::get_Address"}) {
    RenewHost();
    Calls().FailEach(call, E_FAIL, simulation::host::FaultOutput::kGiven);
    Sink().CheckRecipients(Item());
    EXPECT_GE(Calls().FaultsGiven(), 1U) << call;
    ExpectNothingLeft();
  }
}

TEST_F(GateRecipients, ThrowsTheResultOfAFailedIdentityQuery) {
  To({Person("a"), Person("b")});
  Calls().FailEach("AddressEntry::QueryInterface(IUnknown)", E_NOINTERFACE);
  try {
    Sink().CheckRecipients(Item());
    ADD_FAILURE() << "no exception";
  } catch (const _com_error& error) {
    EXPECT_EQ(error.Error(), E_NOINTERFACE);
  }
  EXPECT_THAT(asked, IsEmpty());
  ExpectNothingLeft();
}

TEST_F(GateRecipients, DoesNotQueryTheIdentityOfASingleEntry) {
  To({Person("a")});
  Calls().FailEach("AddressEntry::QueryInterface(IUnknown)", E_NOINTERFACE);
  EXPECT_EQ(Sink().CheckRecipients(Item()), 4);
}

TEST_F(GateRecipients, KeepsNoReferences) {
  const Entry shared = Person("x");
  To({Person("a"), List({shared, List({shared, Person("y")}), EmptyEntry(1)}), nullptr, shared});
  Sink().CheckRecipients(Item());
  ExpectNothingLeft();
}

TEST_F(GateRecipients, KeepsNoReferencesWhicheverCallFails) {
  const Entry shared = Person("x");
  To({Person("a"), List({shared, List({shared, Person("y")})}), shared});
  Sink().CheckRecipients(Item());
  const std::uint64_t calls = Calls().Total();
  for (const HRESULT result : {S_OK, E_FAIL}) {
    for (std::uint64_t number = 1; number <= calls; ++number) {
      RenewHost();
      Calls().FailCall(number, result);
      try {
        Sink().CheckRecipients(Item());
      } catch (const _com_error&) {
        // An identity query failed.
      }
      EXPECT_EQ(Calls().FaultsGiven(), 1U) << number;
      ExpectNothingLeft();
    }
  }
}

TEST_F(GateRecipients, AsksEachEntryForItsIdentityOnce) {
  const int count = 1000;
  for (int number = 0; number < count; ++number) To({Person(std::to_string(number))});
  Sink().CheckRecipients(Item());
  EXPECT_EQ(Calls().Count("AddressEntry::QueryInterface(IUnknown)"), std::uint64_t{count});
}

}  // namespace
}  // namespace tests
