// The sender of a mail: the mail's account on the versions that read it, or the session's user.
#include "tests/agent/outlookaddin/gatefixture.h"

namespace tests {
namespace {

constexpr const char* kFallback = "SendUsingAccount is empty, try to get session user instead.";

class GateSender : public GateTest {
 protected:
  GateSender() {
    mail.senderName = "Session User";
    mail.accountUserName = "account text";
    mail.accountSenderName = "Account User";
  }
  ~GateSender() override { g_outlookVersionCode = 0; }

  // Checks the sender on that version and returns the text that the agent got.
  std::string SenderOn(std::int32_t version) {
    g_outlookVersionCode = version;
    asked.clear();
    Sink().CheckSender(Item());
    EXPECT_EQ(Types(), std::vector<std::uint32_t>{7});
    return asked.empty() ? "(none)" : asked.front().payload;
  }
};

TEST_F(GateSender, Version12SendsTheAccountsOwnText) {
  EXPECT_EQ(SenderOn(2), "account text");
  EXPECT_THAT(Lines(), ElementsAre(Info("Sender: account text")));
  EXPECT_EQ(Calls().Count("_Account::get_CurrentUser"), 0U);
  EXPECT_EQ(Calls().Count("_MailItem::get_Session"), 0U);
}

TEST_F(GateSender, Versions14And15SendTheAccountsUser) {
  for (const std::int32_t version : {3, 4}) {
    EXPECT_EQ(SenderOn(version), "Account User");
    EXPECT_THAT(TakeLines(), ElementsAre(Info("Sender: Account User")));
  }
  EXPECT_EQ(Calls().Count("_Account::get_UserName"), 0U);
  EXPECT_EQ(Calls().Count("_MailItem::get_Session"), 0U);
}

TEST_F(GateSender, OtherVersionsDoNotReadTheAccount) {
  for (const std::int32_t version : {5, 0, 1}) {
    EXPECT_EQ(SenderOn(version), "Session User");
    EXPECT_THAT(TakeLines(), ElementsAre(Info(kFallback), Info("Sender: Session User")));
  }
  EXPECT_EQ(Calls().Count("_MailItem::get_SendUsingAccount"), 0U);
}

TEST_F(GateSender, SendsTheSessionUserWithoutAnAccount) {
  mail.accountUserName.reset();
  mail.accountSenderName.reset();
  EXPECT_EQ(SenderOn(3), "Session User");
  EXPECT_EQ(Calls().Count("_MailItem::get_SendUsingAccount"), 1U);
  EXPECT_THAT(Lines(), ElementsAre(Info(kFallback), Info("Sender: Session User")));
}

TEST_F(GateSender, SendsTheSessionUserIfTheAccountHasNoText) {
  mail.accountUserName.reset();
  EXPECT_EQ(SenderOn(2), "Session User");
  EXPECT_EQ(Calls().Count("_Account::get_UserName"), 1U);
  EXPECT_EQ(CountLines(Info(kFallback)), 1);
}

TEST_F(GateSender, SendsTheSessionUserIfTheAccountHasNoUser) {
  mail.accountSenderName.reset();
  EXPECT_EQ(SenderOn(4), "Session User");
  EXPECT_EQ(Calls().Count("_Account::get_CurrentUser"), 1U);
}

TEST_F(GateSender, SendsTheSessionUserAfterAnyFailureOfTheAccount) {
  for (const HRESULT result : {S_OK, E_FAIL}) {
    for (const char* call : {"_MailItem::get_SendUsingAccount", "_Account::get_CurrentUser"}) {
      RenewHost();
      Calls().FailEach(call, result);
      EXPECT_EQ(SenderOn(3), "Session User") << call;
    }
    RenewHost();
    Calls().FailCallOf("Recipient::get_Name", 1, result);
    EXPECT_EQ(SenderOn(3), "Session User");
    RenewHost();
    Calls().FailEach("_Account::get_UserName", result);
    EXPECT_EQ(SenderOn(2), "Session User");
  }
}

TEST_F(GateSender, MakesNoRequestWithoutASender) {
  for (const HRESULT result : {S_OK, E_FAIL}) {
    for (const char* call :
         {"_MailItem::get_Session", "_NameSpace::get_CurrentUser", "Recipient::get_Name"}) {
      RenewHost();
      Calls().FailEach(call, result);
      g_outlookVersionCode = 5;
      EXPECT_EQ(Sink().CheckSender(Item()), 1) << call;
      EXPECT_THAT(TakeLines(), ElementsAre(Info(kFallback),
                                           Err("Cannot get sender name, and don't check sender.")));
      EXPECT_THAT(asked, IsEmpty());
      ExpectNothingLeft();
    }
  }
}

TEST_F(GateSender, SendsTheNameInUtf8) {
  mail.senderName = "Zo\xC3\xAB";
  g_outlookVersionCode = 5;
  EXPECT_EQ(Sink().CheckSender(Item()), 4);
  ASSERT_EQ(asked.size(), 1U);
  EXPECT_EQ(asked[0].payload, "Zo\xC3\xAB");
  EXPECT_EQ(asked[0].payload.size(), 4U);
  EXPECT_EQ(asked[0].name, "");
}

TEST_F(GateSender, SendsAnEmptyName) {
  mail.accountUserName = "";
  EXPECT_EQ(SenderOn(2), "");
  EXPECT_THAT(Lines(), ElementsAre(Info("Sender: ")));
}

TEST_F(GateSender, ReturnsTheAgentsAnswer) {
  answers[7] = 3;
  EXPECT_EQ(Sink().CheckSender(Item()), 3);
}

TEST_F(GateSender, ConvertsTheNameForTheLogOnlyIfTheModuleIsLogged) {
  int conversions = 0;
  platform::ScopedReplacement<platform::codepages,
                              &platform::CodePageOperations::WideCharToMultiByte>
      counting([&](auto original, auto... arguments) {
        ++conversions;
        return original(arguments...);
      });
  Sink().CheckSender(Item());
  const int logged = conversions;
  StopLogging();
  conversions = 0;
  Sink().CheckSender(Item());
  EXPECT_EQ(conversions * 2, logged);
  EXPECT_GT(conversions, 0);
}

TEST_F(GateSender, KeepsNoReferences) {
  for (const std::int32_t version : {0, 2, 3}) {
    SenderOn(version);
    ExpectNothingLeft();
  }
}

}  // namespace
}  // namespace tests
