// The sequence of a check: its requests, what ends it, and its clean-up.
#include "tests/agent/outlookaddin/gatefixture.h"

namespace tests {
namespace {

constexpr const char* kNoSetting =
    "[DlpMailEvent::CheckEmail] Get use_challenge_response fail. use default m_bChallengeResponse "
    "= false @dlpmailevent.cpp(725)";

std::string Setting(const std::string& value) {
  return "[DlpMailEvent::CheckEmail] Get key_challenge_response = " + value +
         " @dlpmailevent.cpp(731)";
}

class GateCheck : public GateTest {
 protected:
  GateCheck() {
    WriteProfile("");
    mail.recipients.push_back({"name", std::make_shared<simulation::mail::MailAddressEntry>()});
    mail.recipients[0].entry->address = "a@example.org";
    mail.senderName = "Sender";
  }

  // Makes a mail with content for every stage.
  void FillMail() {
    mail.subject = "the subject";
    mail.body = "the body";
    mail.htmlBody = "<img src=\"cid:logo.png@1\">";
    MakeSignature("Work/logo.png");
    for (const char* name : {"one.doc", "two.doc"}) {
      simulation::mail::MailAttachment attachment;
      attachment.fileName = name;
      attachment.content = name;
      mail.attachments.push_back(attachment);
    }
    g_attachmentSequence = 0;
  }

  ActionCode Check() { return Sink().CheckEmail(Item()); }

  // The answers to a full mail.
  struct Answers {
    int recipients = 4;
    int subject = 4;
    int body = 4;
    int signature = 4;
    int attachments = 4;
    int closing = 4;
  };
  void AnswerWith(Answers with) {
    answerTo = [with](const Asked& one) {
      if (one.type == 3) return with.recipients;
      if (one.type == 9) return with.closing;
      if (one.type != 1) return 4;
      if (one.name == "ExchangeSubjectContent") return with.subject;
      if (one.name == "ExchangeBodyContent") return with.body;
      return one.name.empty() ? with.signature : with.attachments;
    };
  }
};

TEST_F(GateCheck, AsksAboutEveryPartOfAMailInOrder) {
  using namespace std::string_view_literals;
  FillMail();
  EXPECT_EQ(Check(), 4);
  EXPECT_EQ(Types(), (std::vector<std::uint32_t>{3, 7, 8, 1, 1, 1, 1, 1, 9}));
  ASSERT_EQ(asked.size(), 9U);
  EXPECT_EQ(asked[0].payload, "a@example.org\0"sv);
  EXPECT_EQ(asked[1].payload, "Sender");
  EXPECT_EQ(asked[2].payload, "");
  EXPECT_EQ(asked[3].payload, Temp("ExchangeSubjectContent"));
  EXPECT_EQ(asked[3].file, "the subject");
  EXPECT_EQ(asked[4].payload, Temp("ExchangeBodyContent"));
  EXPECT_EQ(asked[4].file, "the body");
  EXPECT_EQ(asked[5].payload, SignaturePath("Work\\logo.png"));
  EXPECT_EQ(asked[5].file, "image");
  EXPECT_EQ(asked[6].payload, Temp("OutlookAttachment.1"));
  EXPECT_EQ(asked[6].name, "one.doc");
  EXPECT_EQ(asked[6].file, "one.doc");
  EXPECT_EQ(asked[7].payload, Temp("OutlookAttachment.2"));
  EXPECT_EQ(asked[7].name, "two.doc");
  EXPECT_EQ(asked[8].payload, "");
}

TEST_F(GateCheck, LogsALineForEachStage) {
  mail.subject = "s";
  mail.body = "b";
  answers[9] = 2;
  EXPECT_EQ(Check(), 1);
  EXPECT_THAT(
      Lines(),
      ElementsAre(Err(Setting("false")), Info("Get AddressEntry address: a@example.org"),
                  Info("CheckRecipients returns: 4."),
                  Info("SendUsingAccount is empty, try to get session user instead."),
                  Info("Sender: Sender"), Info("Mail subject: [s]"),
                  Info("CheckSubject returns: 4."), Info("Body: b"), Info("CheckBody returns: 4."),
                  Info("CheckSignature returns: 1."), Err("Cannot get attachments' count. hr:0"),
                  Info("CheckAttachments returns: 1."), Info("ScanSessionEnd returns: 1.")));
}

TEST_F(GateCheck, TheResultFollowsFromStagesAndClosingAnswer) {
  const struct {
    Answers with;
    int result;
    std::vector<std::uint32_t> types;
  } kCases[] = {
      // The answer to the recipients skips the content and decides nothing.
      {{.recipients = 3, .closing = 1}, 2, {3, 7, 8, 9}},
      {{.recipients = 7, .closing = 4}, 2, {3, 7, 8, 9}},
      {{.recipients = 1, .closing = 2}, 2, {3, 7, 8, 9}},
      {{.recipients = 1, .closing = 3}, 3, {3, 7, 8, 9}},
      {{.recipients = 3, .closing = 7}, 7, {3, 7, 8, 9}},
      {{.recipients = 7, .closing = 3}, 3, {3, 7, 8, 9}},
      // A decisive stage ends the content.
      {{.subject = 3, .closing = 1}, 3, {3, 7, 8, 1, 9}},
      {{.subject = 7, .closing = 4}, 7, {3, 7, 8, 1, 9}},
      {{.body = 3, .closing = 2}, 3, {3, 7, 8, 1, 1, 9}},
      {{.signature = 7, .closing = 4}, 7, {3, 7, 8, 1, 1, 1, 9}},
      {{.attachments = 3, .closing = 4}, 3, {3, 7, 8, 1, 1, 1, 1, 9}},
      // A decisive closing answer replaces the verdict of a stage.
      {{.body = 7, .closing = 3}, 3, {3, 7, 8, 1, 1, 9}},
      {{.subject = 3, .closing = 7}, 7, {3, 7, 8, 1, 9}},
      {{.closing = 3}, 3, {3, 7, 8, 1, 1, 1, 1, 1, 9}},
      {{.closing = 7}, 7, {3, 7, 8, 1, 1, 1, 1, 1, 9}},
      // Otherwise the last stage's value is the result.
      {{.closing = 4}, 4, {3, 7, 8, 1, 1, 1, 1, 1, 9}},
      {{.subject = 2, .body = 5, .signature = 6, .attachments = 8, .closing = 9},
       1,
       {3, 7, 8, 1, 1, 1, 1, 1, 9}},
      {{.body = 2, .attachments = 2, .closing = 2}, 1, {3, 7, 8, 1, 1, 1, 1, 1, 9}},
      {{.subject = 2, .body = 2, .signature = 2}, 4, {3, 7, 8, 1, 1, 1, 1, 1, 9}},
  };
  FillMail();
  for (const auto& one : kCases) {
    RenewHost();
    asked.clear();
    AnswerWith(one.with);
    EXPECT_EQ(Check(), one.result) << &one - kCases;
    EXPECT_EQ(Types(), one.types) << &one - kCases;
    EXPECT_FALSE(Exists("temp/ExchangeSubjectContent")) << &one - kCases;
    ExpectNothingLeft();
  }
}

TEST_F(GateCheck, ReadsNothingMoreAfterADecisiveStage) {
  FillMail();
  AnswerWith({.subject = 3});
  Check();
  EXPECT_EQ(Calls().Count("_MailItem::get_Body"), 0U);
  EXPECT_EQ(Calls().Count("_MailItem::get_Attachments"), 0U);
  EXPECT_EQ(CountLines(Info("CheckSubject returns: 3.")), 1);
  EXPECT_EQ(CountLines(Info("ScanSessionEnd returns: 4.")), 1);
}

TEST_F(GateCheck, ReadsTheContentOnlyAfterA4ForTheRecipients) {
  FillMail();
  AnswerWith({.recipients = 2});
  EXPECT_EQ(Check(), 2);
  EXPECT_EQ(Types(), (std::vector<std::uint32_t>{3, 7, 8, 9}));
  for (const char* call : {"_MailItem::get_Subject", "_MailItem::get_Body",
                           "_MailItem::get_HTMLBody", "_MailItem::get_Attachments"}) {
    EXPECT_EQ(Calls().Count(call), 0U) << call;
  }
}

TEST_F(GateCheck, IgnoresTheAnswersToSenderAndMarker) {
  FillMail();
  answers[7] = 3;
  answers[8] = 7;
  EXPECT_EQ(Check(), 4);
  EXPECT_EQ(asked.size(), 9U);
}

TEST_F(GateCheck, SkipsTheContentWhenTheRecipientsAreUnreadable) {
  FillMail();
  Calls().FailEach("_MailItem::get_Recipients", E_FAIL);
  EXPECT_EQ(Check(), 2);
  EXPECT_EQ(Types(), (std::vector<std::uint32_t>{7, 8, 9}));
  EXPECT_EQ(CountLines(Info("CheckRecipients returns: 1.")), 1);
  asked.clear();
  answers[9] = 3;
  EXPECT_EQ(Check(), 3) << "a decisive closing answer still decides";
}

TEST_F(GateCheck, SkipsTheContentWhenNoRecipientHasAnAddress) {
  FillMail();
  mail.recipients[0].entry->address.reset();
  EXPECT_EQ(Check(), 2);
  EXPECT_EQ(Types(), (std::vector<std::uint32_t>{7, 8, 9}));
}

TEST_F(GateCheck, SkipsTheContentWhenTheRecipientsAreNotAnswered) {
  FillMail();
  answers[3] = 0;
  EXPECT_EQ(Check(), 2);
  EXPECT_EQ(Types(), (std::vector<std::uint32_t>{3, 7, 8, 9}));
}

TEST_F(GateCheck, DecidesNothingWithoutAnAgent) {
  FillMail();
  StopAgent();
  EXPECT_EQ(Check(), 2);
  EXPECT_EQ(CountLines(Info("CheckRecipients returns: 1.")), 1);
  EXPECT_EQ(CountLines(Info("ScanSessionEnd returns: 1.")), 1);
  EXPECT_EQ(CountLines(Info("CheckSubject returns: 1.")), 0);
  int refused = 0;
  for (const std::string& message : Messages()) {
    refused += message == "CheckContent: cannot initialize shared memory!" ? 1 : 0;
  }
  EXPECT_EQ(refused, 4) << "3, 7, 8 and 9";
}

TEST_F(GateCheck, GoesOnAfterAStageThatCannotReadItsData) {
  FillMail();
  Calls().FailEach("_MailItem::get_Subject", E_FAIL);
  Calls().FailEach("_MailItem::get_Body", E_FAIL);
  EXPECT_EQ(Check(), 4);
  EXPECT_EQ(Types(), (std::vector<std::uint32_t>{3, 7, 8, 1, 1, 9}));
  EXPECT_EQ(CountLines(Info("CheckSubject returns: 1.")), 1);
  EXPECT_EQ(CountLines(Info("CheckBody returns: 1.")), 1);
  EXPECT_EQ(CountLines(Info("CheckSignature returns: 1.")), 1);
  EXPECT_EQ(CountLines(Info("CheckAttachments returns: 4.")), 1);
}

TEST_F(GateCheck, SendsAnImagePathThatADecisiveBodyLeftInTheNextCheck) {
  FillMail();
  AnswerWith({.body = 3});
  EXPECT_EQ(Check(), 3);
  EXPECT_EQ(Types(), (std::vector<std::uint32_t>{3, 7, 8, 1, 1, 9}));
  mail.htmlBody.reset();
  Item()->SetModel(mail);
  asked.clear();
  AnswerWith({});
  EXPECT_EQ(Check(), 4);
  ASSERT_EQ(asked.size(), 9U);
  EXPECT_EQ(asked[5].payload, SignaturePath("Work\\logo.png"));
}

TEST_F(GateCheck, OnlyTheBytesTrueLengthenTheWait) {
  const struct {
    const char* profile;
    const char* value;
    bool flag;
  } kCases[] = {
      {"use_challenge_response=true\n", "true", true},
      {"use_challenge_response=TRUE\n", "TRUE", false},
      {"use_challenge_response = true \r\n", "true", true},
      {"use_challenge_response=True\n", "True", false},
      {"USE_CHALLENGE_RESPONSE=true\n", "true", true},
      {"use_challenge_response=1\n", "1", false},
      {"use_challenge_response=true\\t\n", "true\t", false},
      {"use_challenge_response=true\n", "true", true},
      {"use_challenge_response=\n", "", false},
      {"use_challenge_response=true\n", "true", true},
      {"", "false", false},
  };
  for (const auto& one : kCases) {
    WriteProfile(one.profile);
    ForgetLines();
    Check();
    EXPECT_EQ(GetAgentChannel()->m_bChallengeResponse, one.flag) << one.profile;
    EXPECT_EQ(Lines().front(), Err(Setting(one.value)));
  }
}

TEST_F(GateCheck, ReadsTheSettingBeforeTheFirstRequest) {
  WriteProfile("use_challenge_response=true\n");
  bool first = false;
  onAsked = [&](const Asked& one) {
    if (one.type == 3) first = GetAgentChannel()->m_bChallengeResponse;
  };
  Check();
  EXPECT_TRUE(first);
}

TEST_F(GateCheck, ClearsTheFlagAndGoesOnWithoutAProfile) {
  FillMail();
  GetAgentChannel()->m_bChallengeResponse = true;
  RemoveProfile();
  EXPECT_EQ(Check(), 4);
  EXPECT_FALSE(GetAgentChannel()->m_bChallengeResponse);
  EXPECT_EQ(Lines().front(), Err(kNoSetting));
  EXPECT_EQ(asked.size(), 9U);
}

TEST_F(GateCheck, FindsNoProfileWithoutAWindowsDirectory) {
  platform::ScopedReplacement<platform::folders, &platform::FolderOperations::GetWindowsDirectoryA>
      failing([](auto, char*, std::uint32_t) { return 0U; });
  std::vector<std::string> opened;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> opening(
      [&](auto original, const char* path, auto... others) {
        if (std::string_view(path).ends_with("vrk.pro")) {
          opened.push_back(path);
          return platform::kInvalidHandle;
        }
        return original(path, others...);
      });
  Check();
  EXPECT_THAT(opened, ElementsAre("\\system32\\zbagent\\vrk.pro"));
  EXPECT_EQ(CountLines(Err(kNoSetting)), 1);
}

class GateCleaning : public GateCheck {
 protected:
  // Records the paths of all deletions.
  GateCleaning()
      : m_delete([this](auto original, const char* path) {
          deleted.push_back(path);
          return original(path);
        }) {}
  std::vector<std::string> deleted;

 private:
  platform::ScopedReplacement<platform::files, &platform::FileOperations::DeleteFileA> m_delete;
};

TEST_F(GateCleaning, DeletesTheFilesOfAllStagesAfterTheLastAnswer) {
  FillMail();
  mail.attachments.push_back(mail.attachments[0]);
  std::vector<bool> whileAsked;
  onAsked = [&](const Asked& one) {
    if (one.type != 9) return;
    for (const char* name : {"ExchangeSubjectContent", "ExchangeBodyContent", "OutlookAttachment.1",
                             "OutlookAttachment.2", "OutlookAttachment.3"}) {
      whileAsked.push_back(Exists(std::string("temp/") + name));
    }
  };
  Check();
  EXPECT_THAT(whileAsked, ElementsAre(true, true, true, true, true))
      << "the agent has not answered its last request yet";
  for (const char* name : {"ExchangeSubjectContent", "ExchangeBodyContent", "OutlookAttachment.1",
                           "OutlookAttachment.2", "OutlookAttachment.3"}) {
    EXPECT_FALSE(Exists(std::string("temp/") + name)) << name;
  }
  EXPECT_TRUE(Exists("appdata/Microsoft/Signatures/Work/logo.png"));
  // The search for the image leaves one listing open, the clean-up none.
  EXPECT_EQ(openListings.size(), 1U);
}

TEST_F(GateCleaning, DeletesTheFilesOfEarlierChecksAndNoOthers) {
  Write("temp/OutlookAttachment.77", "");
  Write("temp/OutlookAttachment", "");
  Write("temp/OutlookAttachments.txt", "");
  Write("temp/ExchangeBodyContent", "");
  Write("temp/ExchangeBodyContent2", "");
  Write("temp/MyOutlookAttachment.1", "");
  answers[3] = 1;  // skips the content stages
  Check();
  EXPECT_FALSE(Exists("temp/OutlookAttachment.77"));
  EXPECT_FALSE(Exists("temp/OutlookAttachment"));
  EXPECT_FALSE(Exists("temp/OutlookAttachments.txt"));
  EXPECT_FALSE(Exists("temp/ExchangeBodyContent"));
  EXPECT_TRUE(Exists("temp/ExchangeBodyContent2"));
  EXPECT_TRUE(Exists("temp/MyOutlookAttachment.1"));
}

TEST_F(GateCleaning, DeletesTheFixedNamesWhenThereIsNothingToList) {
  int closed = 0;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindClose> closing(
      [&](auto original, platform::Handle handle) {
        ++closed;
        return original(handle);
      });
  Sink().CleanTempFiles();
  EXPECT_THAT(deleted, ElementsAre(Temp("ExchangeBodyContent"), Temp("ExchangeSubjectContent")));
  EXPECT_EQ(closed, 0);
}

TEST_F(GateCleaning, LogsNothingForAFileThatCannotBeDeleted) {
  Write("temp/OutlookAttachment.1", "");
  Write("temp/OutlookAttachment.2", "");
  platform::ScopedReplacement<platform::files, &platform::FileOperations::DeleteFileA> failing(
      [&](auto original, const char* path) {
        if (std::string_view(path).ends_with(".1")) return false;
        return original(path);
      });
  ForgetLines();
  Sink().CleanTempFiles();
  EXPECT_TRUE(Exists("temp/OutlookAttachment.1"));
  EXPECT_FALSE(Exists("temp/OutlookAttachment.2"));
  EXPECT_THAT(Lines(), IsEmpty());
  EXPECT_THAT(openListings, IsEmpty());
}

TEST_F(GateCleaning, LeavesAPathAloneThatWouldBeCut) {
  for (const std::size_t length : {259U, 238U, 237U}) {
    std::string directory(length, 'd');
    platform::ScopedReplacement<platform::folders, &platform::FolderOperations::GetTempPathA> deep(
        [&](auto, std::uint32_t size, char* buffer) {
          EXPECT_EQ(size, 260U);
          directory.copy(buffer, directory.size());
          return static_cast<std::uint32_t>(directory.size());
        });
    deleted.clear();
    Sink().CleanTempFiles();
    // The names have 19 and 22 characters; a path has at most 259.
    std::vector<std::string> expected;
    if (length <= 240) expected.push_back(directory + "ExchangeBodyContent");
    if (length <= 237) expected.push_back(directory + "ExchangeSubjectContent");
    EXPECT_EQ(deleted, expected) << length;
  }
}

TEST_F(GateCleaning, TakesAMissingDirectoryForAnEmptyName) {
  platform::ScopedReplacement<platform::folders, &platform::FolderOperations::GetTempPathA> failing(
      [](auto, std::uint32_t, char*) { return 0U; });
  platform::ScopedReplacement<platform::files, &platform::FileOperations::DeleteFileA> noting(
      [this](auto, const char* path) {
        deleted.push_back(path);
        return false;
      });
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindFirstFileA> listing(
      [](auto, const char* pattern, platform::FindData*) {
        EXPECT_STREQ(pattern, "OutlookAttachment*");
        return platform::kInvalidHandle;
      });
  Sink().CleanTempFiles();
  EXPECT_THAT(deleted, ElementsAre("ExchangeBodyContent", "ExchangeSubjectContent"));
}

}  // namespace
}  // namespace tests
