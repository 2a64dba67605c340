// The tag on a sensitive mail: its name and value, its failures, and the references that it leaves.
#include "tests/agent/outlookaddin/gatefixture.h"

namespace tests {
namespace {

constexpr const char* kDefaultName = "QV_DLP_TAGGING";
constexpr const char* kDefaultValue = "The message is sensitive";
constexpr const char* kNoProfile = "Get x-header fail, use default value";

class GateTagging : public GateTest {
 protected:
  GateTagging() { WriteProfile(""); }

  // The mail's only named property as "name=value".
  std::string Tag() {
    const std::vector<simulation::host::HostNamedProperty> properties = Item()->NamedProperties();
    if (properties.size() != 1) return std::to_string(properties.size()) + " properties";
    EXPECT_EQ(properties[0].propertySet, kPsInternetHeaders);
    EXPECT_EQ(properties[0].tag & 0xFFFF, 0x001FU);
    EXPECT_NE(properties[0].tag >> 16, 0U);
    return properties[0].name + "=" + properties[0].value;
  }
};

TEST_F(GateTagging, WritesTheDefaultsAndLogsNothing) {
  EXPECT_TRUE(Sink().TagSensitiveMail());
  EXPECT_EQ(Tag(), std::string(kDefaultName) + "=" + kDefaultValue);
  EXPECT_THAT(Lines(), IsEmpty());
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateTagging, WritesTheDefaultsWithoutAProfile) {
  RemoveProfile();
  EXPECT_TRUE(Sink().TagSensitiveMail());
  EXPECT_EQ(Tag(), std::string(kDefaultName) + "=" + kDefaultValue);
  EXPECT_THAT(Lines(), ElementsAre(Err(kNoProfile)));
}

TEST_F(GateTagging, WritesTheDefaultsWithAnUnreadableProfile) {
  WriteProfile("x_name=X-Other\n");
  platform::ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> failing(
      [](auto original, const char* path, auto... others) {
        if (std::string_view(path).ends_with("vrk.pro")) return platform::kInvalidHandle;
        return original(path, others...);
      });
  EXPECT_TRUE(Sink().TagSensitiveMail());
  EXPECT_EQ(Tag(), std::string(kDefaultName) + "=" + kDefaultValue);
  EXPECT_THAT(Lines(), ElementsAre(Err(kNoProfile)));
}

TEST_F(GateTagging, TakesNameAndValueFromTheProfileIndependently) {
  const struct {
    const char* profile;
    const char* tag;
  } kCases[] = {
      {"x_name=X-Secret\n", "X-Secret=The message is sensitive"},
      {"x_value=yes = \xE2\x82\xAC\n", "QV_DLP_TAGGING=yes = \xE2\x82\xAC"},
      {"x_name=X-Secret\nx_value=\n", "X-Secret=The message is sensitive"},
      {"X_NAME = X-Secret \r\nx_value=a\\tb\r\n", "X-Secret=a\tb"},
  };
  for (const auto& one : kCases) {
    WriteProfile(one.profile);
    RenewHost();
    EXPECT_TRUE(Sink().TagSensitiveMail());
    EXPECT_EQ(Tag(), one.tag);
  }
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(GateTagging, ReplacesTheDefaultByNothingIfAValueIsNotUtf8) {
  WriteProfile(
      "x_value=Gr\xFC\xDF"
      "e\n");
  EXPECT_TRUE(Sink().TagSensitiveMail());
  EXPECT_EQ(Tag(), std::string(kDefaultName) + "=");
  WriteProfile(
      "x_name=Gr\xFC\xDF"
      "e\n");
  RenewHost();
  EXPECT_TRUE(Sink().TagSensitiveMail());
  EXPECT_EQ(Tag(), std::string("=") + kDefaultValue);
}

TEST_F(GateTagging, AsksTheStoreForTheNameInTheInternetHeaders) {
  // Looked at during the call: the property set is a local variable of the caller.
  std::uint32_t allocated = 0;
  void* buffer = nullptr;
  platform::ScopedReplacement<platform::mapi, &platform::MapiOperations::MAPIAllocateBuffer>
      allocating([&](auto original, std::uint32_t size, void** place) {
        allocated = size;
        const std::int32_t result = original(size, place);
        buffer = *place;
        return result;
      });
  ULONG tag = 0;
  bool nameWasRight = false;
  platform::ScopedReplacement<platform::mapi, &platform::MapiOperations::HrSetOneProp> setting(
      [&](auto original, IMAPIProp* object, SPropValue* value) {
        const auto* const name = static_cast<const MAPINAMEID*>(buffer);
        nameWasRight = *name->lpguid == kPsInternetHeaders && name->ulKind == 1 &&
                       WideToUtf8(name->Kind.lpwstrName) == kDefaultName;
        tag = value->ulPropTag;
        EXPECT_EQ(WideToUtf8(value->Value.lpszW), kDefaultValue);
        return original(object, value);
      });
  EXPECT_TRUE(Sink().TagSensitiveMail());
  EXPECT_EQ(allocated, sizeof(MAPINAMEID));
  EXPECT_TRUE(nameWasRight);
  EXPECT_EQ(tag & 0xFFFF, 0x001FU);
}

TEST_F(GateTagging, StopsWithALineAtEachFailureOfTheHost) {
  const struct {
    const char* call;
    HRESULT result;
    std::vector<std::string> lines;
  } kCases[] = {
      {"_MailItem::get_MAPIOBJECT", E_FAIL, {}},
      {"_MailItem::get_MAPIOBJECT", S_OK, {}},     // success, but no object
      {"_MailItem::get_MAPIOBJECT", S_FALSE, {}},  // a warning
      {"IMessage::QueryInterface(IMessage)",
       E_NOINTERFACE,
       {Err("QueryInterface failed on IUnknown for IID_Message")}},
      {"IMessage::QueryInterface(IMessage)",
       S_FALSE,
       {Err("QueryInterface failed on IUnknown for IID_Message")}},
      {"IMessage::QueryInterface(IMAPIProp)",
       E_NOINTERFACE,
       {Err("QueryInterface failed on IMessage for IID_IMAPIProp")}},
      {"IMessage::QueryInterface(IMAPIProp)",
       S_FALSE,
       {Err("QueryInterface failed on IMessage for IID_IMAPIProp")}},
      {"IMessage::QueryInterface(IMAPIProp)",
       S_OK,
       {Err("Unknown Error on receiving the Pointer to MAPI Properties.")}},
      {"IMessage::GetIDsFromNames", E_FAIL, {Err("Error retrieving GetIDsFromNames.")}},
      {"IMessage::GetIDsFromNames", S_OK, {Err("Error retrieving GetIDsFromNames.")}},
      {"IMessage::SetProps", E_FAIL, {Err("rolo_dbg Error setting Header.")}},
  };
  for (const auto& one : kCases) {
    RenewHost();
    Calls().FailEach(one.call, one.result);
    EXPECT_FALSE(Sink().TagSensitiveMail()) << one.call;
    EXPECT_EQ(TakeLines(), one.lines) << one.call;
    EXPECT_EQ(Calls().FaultsGiven(), 1U) << one.call;
    EXPECT_THAT(Item()->NamedProperties(), IsEmpty()) << one.call;
  }
}

TEST_F(GateTagging, StopsAtAWarningOfTheStore) {
  constexpr HRESULT kErrorsReturned = 0x00040380;
  Calls().FailEach("IMessage::GetIDsFromNames", kErrorsReturned);
  EXPECT_FALSE(Sink().TagSensitiveMail());
  EXPECT_THAT(Lines(), ElementsAre(Err("Error retrieving GetIDsFromNames.")));
  EXPECT_THAT(Item()->NamedProperties(), IsEmpty());
}

TEST_F(GateTagging, WritesNoTagWithoutMemory) {
  alignas(MAPINAMEID) unsigned char memory[sizeof(MAPINAMEID)] = {};
  const struct {
    std::int32_t result;
    void* buffer;
  } kCases[] = {{static_cast<std::int32_t>(0x8007000E), nullptr},
                {static_cast<std::int32_t>(0x8007000E), memory},
                {0, nullptr}};  // success, but no memory
  for (const auto& one : kCases) {
    platform::ScopedReplacement<platform::mapi, &platform::MapiOperations::MAPIAllocateBuffer>
        failing([&](auto, std::uint32_t, void** place) {
          *place = one.buffer;
          return one.result;
        });
    EXPECT_FALSE(Sink().TagSensitiveMail());
    EXPECT_THAT(TakeLines(), ElementsAre(Err("Could not allocate memory buffer.")));
  }
  EXPECT_EQ(Calls().Count("IMessage::GetIDsFromNames"), 0U);
}

TEST_F(GateTagging, FailsOnAWarningWhileSettingTheProperty) {
  platform::ScopedReplacement<platform::mapi, &platform::MapiOperations::HrSetOneProp> warning(
      [](auto, IMAPIProp*, SPropValue*) { return static_cast<HRESULT>(1); });
  EXPECT_FALSE(Sink().TagSensitiveMail());
  EXPECT_THAT(Lines(), ElementsAre(Err("rolo_dbg Error setting Header.")));
}

TEST_F(GateTagging, LeavesThreeReferencesToTheMessage) {
  Sink().TagSensitiveMail();
  EXPECT_EQ(Ledger().OutstandingOf("IMessage"), 3U);
  Sink().TagSensitiveMail();
  EXPECT_EQ(Ledger().OutstandingOf("IMessage"), 6U);
  EXPECT_EQ(Ledger().OutstandingOf("_MailItem"), 1U) << "the sink's";
}

TEST_F(GateTagging, LeavesTheReferencesThatItGotBeforeAFailure) {
  Calls().FailEach("IMessage::QueryInterface(IMessage)", E_NOINTERFACE);
  Sink().TagSensitiveMail();
  EXPECT_EQ(Ledger().OutstandingOf("IMessage"), 1U);
  RenewHost();
  Calls().FailEach("IMessage::QueryInterface(IMAPIProp)", E_NOINTERFACE);
  Sink().TagSensitiveMail();
  EXPECT_EQ(Ledger().OutstandingOf("IMessage"), 2U);
}

// None of these failures releases what was obtained before it.
TEST_F(GateTagging, LeavesTheReferencesWhicheverMapiCallFails) {
  const struct {
    const char* call;
    ULONG left;
  } kCases[] = {{"_MailItem::get_MAPIOBJECT", 0},
                {"IMessage::QueryInterface(IMessage)", 1},
                {"IMessage::QueryInterface(IMAPIProp)", 2},
                {"IMessage::GetIDsFromNames", 3},
                {"IMessage::SetProps", 3}};
  for (const auto& one : kCases) {
    RenewHost();
    Calls().FailEach(one.call, E_FAIL);
    EXPECT_FALSE(Sink().TagSensitiveMail()) << one.call;
    EXPECT_EQ(Ledger().OutstandingOf("IMessage"), one.left) << one.call;
  }
  RenewHost();
  platform::ScopedReplacement<platform::mapi, &platform::MapiOperations::MAPIAllocateBuffer>
      failing([](auto, std::uint32_t, void**) { return static_cast<std::int32_t>(0x8007000E); });
  EXPECT_FALSE(Sink().TagSensitiveMail());
  EXPECT_EQ(Ledger().OutstandingOf("IMessage"), 3U);
}

TEST_F(GateTagging, TaggingAgainSetsThePropertyAgain) {
  EXPECT_TRUE(Sink().TagSensitiveMail());
  WriteProfile("x_value=later\n");
  EXPECT_TRUE(Sink().TagSensitiveMail());
  EXPECT_EQ(Tag(), std::string(kDefaultName) + "=later");
  EXPECT_EQ(Calls().Count("IMessage::GetIDsFromNames"), 2U);
  EXPECT_EQ(Calls().Count("IMessage::SetProps"), 2U);
}

TEST_F(GateTagging, OnlyA7TagsTheMail) {
  mail.recipients.push_back({"name", std::make_shared<simulation::mail::MailAddressEntry>()});
  mail.recipients[0].entry->address = "a@example.org";
  for (const int closing : {3, 4, 1, 7}) {
    RenewHost();
    answers[9] = closing;
    tick += 10000;
    VARIANT_BOOL cancel = 0;
    Sink().OnMailSend(&cancel);
    EXPECT_EQ(Item()->NamedProperties().size(), closing == 7 ? 1U : 0U) << closing;
    EXPECT_EQ(cancel, closing == 3 ? 1 : 0) << closing;
  }
}

}  // namespace
}  // namespace tests
