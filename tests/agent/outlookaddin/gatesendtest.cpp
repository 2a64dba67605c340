// The Send handler and its cache of verdicts.
#include "tests/agent/outlookaddin/gatefixture.h"

namespace tests {
namespace {

class GateSend : public GateTest {
 protected:
  GateSend() {
    WriteProfile("");
    mail.recipients.push_back({"name", std::make_shared<simulation::mail::MailAddressEntry>()});
    mail.recipients[0].entry->address = "a@example.org";
    mail.senderName = "Sender";
  }

  // Calls the handler and returns Cancel afterwards.
  VARIANT_BOOL Send(VARIANT_BOOL cancel = 0) {
    asked.clear();
    EXPECT_EQ(Sink().OnMailSend(&cancel), S_OK);
    return cancel;
  }
  // Makes the agent's answers lead to this result, for a host that is made afterwards. The last
  // stage returns 4 for an attachment and 1 without one.
  void LetTheCheckReturn(int result) {
    answers[9] = result;
    answers[3] = result == 2 ? 1 : 4;
    mail.attachments.clear();
    if (result == 4) mail.attachments = {{1, "a", std::nullopt, "content"}};
  }
  bool Asks() const { return !asked.empty(); }

  std::string ItemText() {
    char text[32];
    const auto value = reinterpret_cast<std::uintptr_t>(static_cast<_MailItem*>(Item()));
    std::snprintf(text, sizeof(text), sizeof(void*) == 8 ? "%016llX" : "%08llX",
                  static_cast<unsigned long long>(value));
    return text;
  }
  std::string AlreadyChecked(int result) {
    return Info("MailItem 0x" + ItemText() + " is already checked, previous result " +
                std::to_string(result) + " ");
  }
  std::string NotChecked() {
    return Info("MailItem 0x" + ItemText() + " is not checked, continue CheckMail ... ");
  }
};

TEST_F(GateSend, ABlockStores1InCancel) {
  LetTheCheckReturn(3);
  EXPECT_EQ(Send(), 1);
  EXPECT_EQ(CountLines(Info("Block current mail sending.")), 1);
}

TEST_F(GateSend, EveryOtherVerdictLeavesCancelAlone) {
  for (const int result : {1, 2, 4, 7}) {
    LetTheCheckReturn(result);
    RenewHost();
    tick += 10000;
    EXPECT_EQ(Send(0), 0) << result;
    LONG verdict = 0;
    EXPECT_TRUE(Sink().IsMailChecked(Item(), &verdict));
    EXPECT_EQ(verdict, result);
    tick += 10000;
    EXPECT_EQ(Send(VARIANT_TRUE), VARIANT_TRUE) << result;
  }
  EXPECT_EQ(CountLines(Info("Block current mail sending.")), 0);
}

TEST_F(GateSend, ACachedPassLeavesCancelAlone) {
  LetTheCheckReturn(4);
  Send();
  EXPECT_EQ(Send(5), 5);
  EXPECT_FALSE(Asks());
}

TEST_F(GateSend, LogsABlockEvenWithoutACancelFlag) {
  LetTheCheckReturn(3);
  EXPECT_EQ(Sink().OnMailSend(nullptr), S_OK);
  EXPECT_EQ(CountLines(Info("Block current mail sending.")), 1);
}

TEST_F(GateSend, AVerdictCountsFor5000Milliseconds) {
  for (const std::uint32_t age : {5000U, 5001U}) {
    LetTheCheckReturn(4);
    tick += 100000;
    Send();
    ASSERT_TRUE(Asks());
    tick += age;
    ForgetLines();
    Send();
    EXPECT_EQ(Asks(), age == 5001) << age;
    EXPECT_EQ(Lines().front(), age == 5000 ? AlreadyChecked(4) : NotChecked());
  }
}

TEST_F(GateSend, TheTickCountMayWrap) {
  LetTheCheckReturn(4);
  tick = 0xFFFFFFFF - 1999;
  Send();
  tick += 5000;
  ASSERT_EQ(tick, 3000U);
  Send();
  EXPECT_FALSE(Asks());
  tick = 0xFFFFFFFF - 1999;
  Send();
  EXPECT_TRUE(Asks()) << "nearly 2^32 ms old";
  tick += 5001;
  Send();
  EXPECT_TRUE(Asks());
}

TEST_F(GateSend, ALookupErasesOldVerdictsOfAllMails) {
  int mails[4] = {};
  const auto itemAt = [&](int number) { return reinterpret_cast<_MailItem*>(&mails[number]); };
  EXPECT_EQ(Sink().MarkMailChecked(itemAt(0), 4), 1);
  tick += 1;
  EXPECT_EQ(Sink().MarkMailChecked(itemAt(1), 4), 1);
  tick += 5000;
  EXPECT_EQ(Sink().MarkMailChecked(itemAt(2), 7), 1);
  EXPECT_NE(g_verdictCache.Find(itemAt(0)), nullptr) << "storing forgets nothing";
  LONG result = 99;
  EXPECT_FALSE(Sink().IsMailChecked(itemAt(3), &result)) << "a lookup of another mail";
  EXPECT_EQ(result, 99) << "unchanged";
  EXPECT_EQ(g_verdictCache.Find(itemAt(0)), nullptr);
  EXPECT_TRUE(Sink().IsMailChecked(itemAt(1), &result));
  EXPECT_EQ(result, 4);
  EXPECT_TRUE(Sink().IsMailChecked(itemAt(2), &result));
  EXPECT_EQ(result, 7);
}

TEST_F(GateSend, ALookupForANullItemErasesAndLogsNothing) {
  Sink().MarkMailChecked(Item(), 4);
  tick += 100000;
  ForgetLines();
  LONG result = 99;
  EXPECT_FALSE(Sink().IsMailChecked(nullptr, &result));
  EXPECT_EQ(result, 99);
  EXPECT_NE(g_verdictCache.Find(Item()), nullptr);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(GateSend, StoringOverwritesVerdictAndTime) {
  Sink().MarkMailChecked(Item(), 4);
  tick += 4000;
  Sink().MarkMailChecked(Item(), 7);
  tick += 4000;
  LONG result = 0;
  EXPECT_TRUE(Sink().IsMailChecked(Item(), &result));
  EXPECT_EQ(result, 7);
}

TEST_F(GateSend, ChecksABlockedMailAgain) {
  LetTheCheckReturn(3);
  EXPECT_EQ(Send(), 1);
  LONG cached = 0;
  EXPECT_TRUE(Sink().IsMailChecked(Item(), &cached));
  EXPECT_EQ(cached, 3);

  LetTheCheckReturn(2);
  ForgetLines();
  EXPECT_EQ(Send(), 0);
  EXPECT_TRUE(Asks());
  EXPECT_EQ(Lines().front(), AlreadyChecked(3));
  EXPECT_TRUE(Sink().IsMailChecked(Item(), &cached));
  EXPECT_EQ(cached, 2);
}

TEST_F(GateSend, WritesATagAgainWithoutARequest) {
  LetTheCheckReturn(7);
  EXPECT_EQ(Send(), 0);
  EXPECT_TRUE(Asks());
  EXPECT_EQ(Item()->Header("QV_DLP_TAGGING"), "The message is sensitive");
  WriteProfile("x_value=again\n");
  EXPECT_EQ(Send(), 0);
  EXPECT_FALSE(Asks());
  EXPECT_EQ(Item()->Header("QV_DLP_TAGGING"), "again");
  EXPECT_EQ(Calls().Count("IMessage::SetProps"), 2U);
}

TEST_F(GateSend, TakesOverAPassAndRenewsItsTime) {
  for (const int result : {1, 2, 4}) {
    LetTheCheckReturn(result);
    RenewHost();
    tick += 100000;
    EXPECT_EQ(Send(), 0);
    EXPECT_TRUE(Asks());
    for (int again = 0; again < 3; ++again) {
      tick += 4000;
      ForgetLines();
      EXPECT_EQ(Send(), 0);
      EXPECT_FALSE(Asks()) << result;
      EXPECT_THAT(Lines(), ElementsAre(AlreadyChecked(result)));
    }
  }
}

TEST_F(GateSend, TheVerdictsAgeCountsFromTheEndOfTheCheck) {
  LetTheCheckReturn(4);
  onAsked = [this](const Asked& one) {
    if (one.type == 9) tick += 60000;
  };
  Send();
  tick += 5000;
  Send();
  EXPECT_FALSE(Asks());
}

TEST_F(GateSend, ANewItemAtTheSameAddressInheritsTheVerdict) {
  LetTheCheckReturn(4);
  Send();
  // A later sink on an item with the same address.
  Item()->AddRef();
  DlpMailEvent later(Item());
  VARIANT_BOOL cancel = 0;
  asked.clear();
  later.OnMailSend(&cancel);
  EXPECT_FALSE(Asks());
}

TEST_F(GateSend, ShowsTheWaitCursorWhileItRuns) {
  LetTheCheckReturn(3);
  onAsked = [this](const Asked&) { EXPECT_THAT(cursors, ElementsAre(kWaiting)); };
  Send();
  EXPECT_TRUE(Asks());
  EXPECT_THAT(cursors, ElementsAre(kWaiting, kOldCursor));
  cursors.clear();
  LetTheCheckReturn(4);
  Send();
  cursors.clear();
  onAsked = nullptr;
  Send();
  EXPECT_FALSE(Asks());
  EXPECT_THAT(cursors, ElementsAre(kWaiting, kOldCursor));
}

TEST_F(GateSend, TheVerdictsAgeCountsFromTheEndOfTheTagging) {
  LetTheCheckReturn(7);
  platform::ScopedReplacement<platform::mapi, &platform::MapiOperations::HrSetOneProp> slow(
      [this](auto original, IMAPIProp* object, SPropValue* value) {
        tick += 60000;
        return original(object, value);
      });
  Send();
  tick += 5000;
  Send();
  EXPECT_FALSE(Asks());
}

TEST_F(GateSend, LetsTheMailGoAndRemembersTheVerdictWhenTheTagFails) {
  LetTheCheckReturn(7);
  Calls().FailEach("_MailItem::get_MAPIOBJECT", E_FAIL);
  EXPECT_EQ(Send(), 0);
  LONG cached = 0;
  EXPECT_TRUE(Sink().IsMailChecked(Item(), &cached));
  EXPECT_EQ(cached, 7);
}

TEST_F(GateSend, LetsTheMailGoAtOnceWithoutAnAgent) {
  StopAgent();
  EXPECT_EQ(Send(), 0);
  LONG cached = 0;
  EXPECT_TRUE(Sink().IsMailChecked(Item(), &cached));
  EXPECT_EQ(cached, 2);
}

TEST_F(GateSend, LetsTheMailGoWithoutAUsableAnswer) {
  for (const int answer : {0, 2, 5, 6, 8, 9, 100}) {
    RenewHost();
    tick += 100000;
    answerTo = [answer](const Asked&) { return answer; };
    EXPECT_EQ(Send(), 0) << answer;
    EXPECT_EQ(Types(), (std::vector<std::uint32_t>{3, 7, 8, 9}));
    LONG cached = 0;
    EXPECT_TRUE(Sink().IsMailChecked(Item(), &cached));
    EXPECT_EQ(cached, 2);
  }
}

TEST_F(GateSend, LetsAnUnreadableMailGo) {
  for (const char* call : {"_MailItem::get_Recipients", "_MailItem::get_Subject",
                           "_MailItem::get_Body", "_MailItem::get_Attachments"}) {
    RenewHost();
    tick += 100000;
    Calls().FailEach(call, E_FAIL);
    EXPECT_EQ(Send(), 0) << call;
    EXPECT_EQ(Calls().FaultsGiven(), 1U) << call;
    EXPECT_EQ(Types().back(), 9U) << call;
  }
}

TEST_F(GateSend, ASendErasesAThousandOldVerdicts) {
  std::vector<char> places(1000);
  const auto remembered = [&] {
    return std::count_if(places.begin(), places.end(), [](char& place) {
      return g_verdictCache.Find(reinterpret_cast<_MailItem*>(&place)) != nullptr;
    });
  };
  for (char& place : places) Sink().MarkMailChecked(reinterpret_cast<_MailItem*>(&place), 4);
  EXPECT_EQ(remembered(), 1000) << "there is no limit";
  tick += 5001;
  LetTheCheckReturn(4);
  Send();
  EXPECT_EQ(remembered(), 0);
}

}  // namespace
}  // namespace tests
