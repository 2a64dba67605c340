// Attachments: which ones are saved, what the agent gets, and what ends the walk.
#include "tests/agent/outlookaddin/gatefixture.h"

namespace tests {
namespace {

std::string Numbered(int number) {
  std::string name = "a";
  name += std::to_string(number);
  return name;
}

class GateAttachments : public GateTest {
 protected:
  GateAttachments() { g_attachmentSequence = 0; }

  void Attach(std::string name, std::int32_t type = outlookaddin::olByValue) {
    simulation::mail::MailAttachment attachment;
    attachment.type = type;
    attachment.content = "content of " + name;
    attachment.fileName = std::move(name);
    mail.attachments.push_back(std::move(attachment));
  }
  void Refer(std::optional<std::string> path, std::string name) {
    simulation::mail::MailAttachment attachment;
    attachment.type = outlookaddin::olByReference;
    attachment.fileName = std::move(name);
    attachment.pathName = std::move(path);
    mail.attachments.push_back(std::move(attachment));
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const Asked& one : asked) names.push_back(one.name);
    return names;
  }
  std::vector<std::string> Payloads() const {
    std::vector<std::string> payloads;
    for (const Asked& one : asked) payloads.push_back(one.payload);
    return payloads;
  }
};

TEST_F(GateAttachments, SendsThePathOfACopyAndTheNameOfTheAttachment) {
  Attach(
      "Gr\xC3\xBC\xC3\x9F"
      "e.doc");
  Attach("mail.msg", outlookaddin::olEmbeddeditem);
  EXPECT_EQ(Sink().CheckAttachments(Item()), 4);
  EXPECT_EQ(Types(), (std::vector<std::uint32_t>{1, 1}));
  EXPECT_THAT(Payloads(), ElementsAre(Temp("OutlookAttachment.1"), Temp("OutlookAttachment.2")));
  EXPECT_THAT(Names(), ElementsAre("Gr\xC3\xBC\xC3\x9F"
                                   "e.doc",
                                   "mail.msg"));
  EXPECT_EQ(asked[0].file,
            "content of Gr\xC3\xBC\xC3\x9F"
            "e.doc");
  EXPECT_EQ(asked[1].file, "content of mail.msg");
  EXPECT_THAT(Lines(), IsEmpty());
  EXPECT_TRUE(Exists("temp/OutlookAttachment.1")) << "the end of the check deletes it";
}

TEST_F(GateAttachments, SendsTheOwnPathOfAReferencedFile) {
  Refer("\\\\server\\share", "plan \xC3\xA9.doc");
  EXPECT_EQ(Sink().CheckAttachments(Item()), 4);
  EXPECT_EQ(Types(), std::vector<std::uint32_t>{1});
  EXPECT_THAT(Payloads(), ElementsAre("\\\\server\\share\\plan \xC3\xA9.doc"));
  EXPECT_THAT(Names(), ElementsAre(""));
  EXPECT_THAT(Lines(), ElementsAre(Info("Referenced attachment: path:\\\\server\\share, name:plan "
                                        "\xC3\xA9.doc")));
  EXPECT_EQ(Calls().Count("Attachment::SaveAsFile"), 0U);
  EXPECT_EQ(g_attachmentSequence, 0);
}

TEST_F(GateAttachments, AppendsTheNameEvenToAWholePath) {
  Refer("C:\\data\\plan.doc", "plan.doc");
  Sink().CheckAttachments(Item());
  EXPECT_THAT(Payloads(), ElementsAre("C:\\data\\plan.doc\\plan.doc"));
}

TEST_F(GateAttachments, AlwaysInsertsABackslash) {
  Refer("C:\\data\\", "plan.doc");
  Sink().CheckAttachments(Item());
  EXPECT_THAT(Payloads(), ElementsAre("C:\\data\\\\plan.doc"));
}

TEST_F(GateAttachments, LogsAMailWithoutAttachmentsAsAnError) {
  EXPECT_EQ(Sink().CheckAttachments(Item()), 1);
  EXPECT_THAT(Lines(), ElementsAre(Err("Cannot get attachments' count. hr:0")));
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateAttachments, TreatsAnUnreadableCountAsAnError) {
  Attach("a");
  Calls().FailEach("Attachments::get_Count", E_FAIL);
  EXPECT_EQ(Sink().CheckAttachments(Item()), 1);
  EXPECT_THAT(Lines(), ElementsAre(Err("Cannot get attachments' count. hr:2147500037")));
  EXPECT_EQ(Calls().Count("Attachments::Item"), 0U);
}

TEST_F(GateAttachments, TreatsAMissingCollectionAsAnError) {
  Attach("a");
  Calls().FailEach("_MailItem::get_Attachments", E_FAIL);
  EXPECT_EQ(Sink().CheckAttachments(Item()), 1);
  EXPECT_THAT(TakeLines(), ElementsAre(Err("Cannot get attachments. hr:2147500037")));
  Calls().FailEach("_MailItem::get_Attachments", S_OK);
  EXPECT_EQ(Sink().CheckAttachments(Item()), 1);
  EXPECT_THAT(TakeLines(), ElementsAre(Err("Cannot get attachments. hr:0")));
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateAttachments, StopsAtAnUnreadableAttachmentWithTheLastAnswer) {
  Attach("a");
  Attach("b");
  Attach("c");
  for (const HRESULT result : {S_OK, E_FAIL}) {
    RenewHost();
    asked.clear();
    Calls().FailCallOf("Attachments::Item", 2, result);
    EXPECT_EQ(Sink().CheckAttachments(Item()), 4);
    EXPECT_THAT(Names(), ElementsAre("a"));
    EXPECT_THAT(TakeLines(),
                ElementsAre(Err(result == S_OK ? "Cannot get attachment item. hr:0"
                                               : "Cannot get attachment item. hr:2147500037")));
    ExpectNothingLeft();
  }
}

TEST_F(GateAttachments, SkipsAttachmentsOfOtherKinds) {
  Attach("a");
  Attach("ole", outlookaddin::olOLE);
  Attach("b");
  EXPECT_EQ(Sink().CheckAttachments(Item()), 4);
  EXPECT_THAT(Names(), ElementsAre("a", "b"));
  EXPECT_THAT(Payloads(), ElementsAre(Temp("OutlookAttachment.1"), Temp("OutlookAttachment.2")));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(GateAttachments, StopsAtAnAttachmentWithoutANameOfAnyKind) {
  for (const std::int32_t type : {1, 4, 5, 6}) {
    mail.attachments.clear();
    Attach("a");
    Attach("nameless", type);
    mail.attachments[1].fileName.reset();
    mail.attachments[1].pathName = "C:\\data";
    Attach("b");
    RenewHost();
    asked.clear();
    EXPECT_EQ(Sink().CheckAttachments(Item()), 4) << type;
    EXPECT_THAT(Names(), ElementsAre("a")) << type;
    EXPECT_THAT(TakeLines(), ElementsAre(Err("Cannot get attachment's file name."))) << type;
    ExpectNothingLeft();
  }
}

TEST_F(GateAttachments, StopsAtAReferenceWithoutPathOrName) {
  Attach("a");
  Refer(std::nullopt, "plan.doc");
  Attach("b");
  EXPECT_EQ(Sink().CheckAttachments(Item()), 4);
  EXPECT_THAT(Names(), ElementsAre("a"));
  EXPECT_THAT(TakeLines(), ElementsAre(Err("Get attachment name and path failed.")));

  // A reference's name is read twice; here the second read fails.
  mail.attachments[1].pathName = "C:\\data";
  RenewHost();
  asked.clear();
  Calls().FailCallOf("Attachment::get_FileName", 3, E_FAIL);
  EXPECT_EQ(Sink().CheckAttachments(Item()), 4);
  EXPECT_THAT(Names(), ElementsAre("a"));
  EXPECT_THAT(TakeLines(), ElementsAre(Err("Get attachment name and path failed.")));
  ExpectNothingLeft();
}

TEST_F(GateAttachments, AFailedSaveKeepsTheLastAnswerAndUsesUpANumber) {
  Attach("a");
  Attach("b");
  Calls().FailCallOf("Attachment::SaveAsFile", 2, E_FAIL);
  EXPECT_EQ(Sink().CheckAttachments(Item()), 4);
  EXPECT_THAT(Names(), ElementsAre("a"));
  EXPECT_THAT(Lines(), IsEmpty());
  EXPECT_EQ(g_attachmentSequence, 2);
}

TEST_F(GateAttachments, GoesOnAfterAFailedSave) {
  Attach("a");
  Attach("b");
  Calls().FailCallOf("Attachment::SaveAsFile", 1, E_FAIL);
  EXPECT_EQ(Sink().CheckAttachments(Item()), 4);
  EXPECT_THAT(Payloads(), ElementsAre(Temp("OutlookAttachment.2")));
}

TEST_F(GateAttachments, ASkippedAttachmentUsesUpNoNumber) {
  Attach("ole", outlookaddin::olOLE);
  Attach("other", 99);
  Attach("a");
  Sink().CheckAttachments(Item());
  EXPECT_THAT(Payloads(), ElementsAre(Temp("OutlookAttachment.1")));
}

TEST_F(GateAttachments, SkipsAnAttachmentOfUnreadableKind) {
  Attach("a");
  Attach("b");
  Calls().FailCallOf("Attachment::get_Type", 1, E_FAIL);
  EXPECT_EQ(Sink().CheckAttachments(Item()), 4);
  EXPECT_THAT(Names(), ElementsAre("b"));
}

TEST_F(GateAttachments, ReturnsTheLastAnswer) {
  Attach("a");
  Attach("b");
  answerTo = [](const Asked& one) { return one.name == "a" ? 4 : 2; };
  EXPECT_EQ(Sink().CheckAttachments(Item()), 1);
  EXPECT_EQ(asked.size(), 2U);
}

TEST_F(GateAttachments, StopsAtADecisiveAnswerAfterResettingTheAttributes) {
  for (const int answer : {3, 7}) {
    g_attachmentSequence = 0;
    mail.attachments.clear();
    Attach("a");
    Attach("b");
    Attach("c");
    RenewHost();
    asked.clear();
    answers[1] = answer;
    std::vector<std::pair<std::string, std::uint32_t>> attributes;
    platform::ScopedReplacement<platform::files, &platform::FileOperations::SetFileAttributesW>
        noting([&](auto original, const platform::WideChar* path, std::uint32_t value) {
          EXPECT_EQ(asked.size(), 1U) << "after the answer";
          attributes.emplace_back(WideToUtf8(path), value);
          return original(path, value);
        });
    EXPECT_EQ(Sink().CheckAttachments(Item()), answer);
    EXPECT_THAT(Names(), ElementsAre("a"));
    EXPECT_EQ(Calls().Count("Attachment::SaveAsFile"), 1U);
    EXPECT_FALSE(Exists("temp/OutlookAttachment.2"));
    EXPECT_THAT(attributes, ElementsAre(std::pair(Temp("OutlookAttachment.1"), 0x80U)));
    ExpectNothingLeft();
  }
}

TEST_F(GateAttachments, ResetsTheAttributesOfEveryCopyThatWasSaved) {
  Attach("passed");
  Attach("not saved");
  Attach("not answered");
  Attach("blocked");
  Attach("not reached");
  answerTo = [](const Asked& one) {
    return one.name == "blocked" ? 3 : one.name == "not answered" ? 0 : 4;
  };
  Calls().FailCallOf("Attachment::SaveAsFile", 2, E_FAIL);
  std::vector<std::string> reset;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::SetFileAttributesW>
      noting([&](auto original, const platform::WideChar* path, std::uint32_t value) {
        EXPECT_EQ(value, 0x80U);
        reset.push_back(WideToUtf8(path));
        return original(path, value);
      });
  EXPECT_EQ(Sink().CheckAttachments(Item()), 3);
  EXPECT_THAT(reset, ElementsAre(Temp("OutlookAttachment.1"), Temp("OutlookAttachment.3"),
                                 Temp("OutlookAttachment.4")));
}

TEST_F(GateAttachments, TakesAPositiveResultForSuccess) {
  Attach("a");
  Refer("C:\\data", "plan.doc");
  for (const char* call : {"_MailItem::get_Attachments", "Attachments::get_Count",
                           "Attachments::Item", "Attachment::get_Type", "Attachment::get_FileName",
                           "Attachment::get_PathName", "Attachment::SaveAsFile"}) {
    RenewHost();
    asked.clear();
    Calls().FailEach(call, S_FALSE);
    EXPECT_EQ(Sink().CheckAttachments(Item()), 4) << call;
    EXPECT_THAT(Names(), ElementsAre("a", "")) << call;
    EXPECT_GE(Calls().FaultsGiven(), 1U) << call;
  }
}

TEST_F(GateAttachments, UsesNameAndKindEvenIfTheirGettersFail) {
  Refer("C:\\data", "plan.doc");
  for (const char* call :
       {"Attachment::get_Type", "Attachment::get_FileName", "Attachment::get_PathName"}) {
    RenewHost();
    asked.clear();
    Calls().FailEach(call, E_FAIL, simulation::host::FaultOutput::kGiven);
    EXPECT_EQ(Sink().CheckAttachments(Item()), 4) << call;
    EXPECT_THAT(Payloads(), ElementsAre("C:\\data\\plan.doc")) << call;
  }
}

TEST_F(GateAttachments, ReleasesWhatAFailingCallLeaves) {
  Attach("a");
  for (const char* call : {"_MailItem::get_Attachments", "Attachments::Item"}) {
    RenewHost();
    Calls().FailEach(call, E_FAIL, simulation::host::FaultOutput::kGiven);
    EXPECT_EQ(Sink().CheckAttachments(Item()), 1) << call;
    ExpectNothingLeft();
  }
}

// SaveAsFile's argument is a BSTR, whose length in bytes is in front of the text.
TEST_F(GateAttachments, SavesToAPathThatIsAValidBstr) {
  Attach("a");
  EXPECT_EQ(Sink().CheckAttachments(Item()), 4);
  // The simulated host reads the path by its length.
  EXPECT_EQ(asked.front().file, "content of a");
}

TEST_F(GateAttachments, StopsAtADecisiveAnswerToAReference) {
  Refer("C:\\data", "plan.doc");
  Attach("b");
  answers[1] = 3;
  EXPECT_EQ(Sink().CheckAttachments(Item()), 3);
  EXPECT_EQ(asked.size(), 1U);
  EXPECT_EQ(Calls().Count("Attachment::SaveAsFile"), 0U);
}

TEST_F(GateAttachments, SavesEveryAttachmentWithoutAnAgent) {
  Attach("a");
  Attach("b");
  StopAgent();
  EXPECT_EQ(Sink().CheckAttachments(Item()), 1);
  EXPECT_EQ(Calls().Count("Attachment::SaveAsFile"), 2U);
}

TEST_F(GateAttachments, NumbersCopiesFrom1To100AndAgainFrom1) {
  for (int number = 1; number <= 101; ++number) Attach(Numbered(number));
  std::string firstCopyAt101;
  onAsked = [&](const Asked& one) {
    if (one.name == "a101") firstCopyAt101 = one.file.value_or("");
  };
  Sink().CheckAttachments(Item());
  ASSERT_EQ(asked.size(), 101U);
  EXPECT_EQ(asked[0].payload, Temp("OutlookAttachment.1"));
  EXPECT_EQ(asked[99].payload, Temp("OutlookAttachment.100"));
  EXPECT_EQ(asked[100].payload, Temp("OutlookAttachment.1"));
  EXPECT_EQ(firstCopyAt101, "content of a101") << "it overwrites the first copy";
}

TEST_F(GateAttachments, DoesNotResetTheNumberBetweenMails) {
  for (const char* name : {"a", "b", "c"}) Attach(name);
  Sink().CheckAttachments(Item());
  mail.attachments.resize(1);
  RenewHost();
  asked.clear();
  Sink().CheckAttachments(Item());
  EXPECT_THAT(Payloads(), ElementsAre(Temp("OutlookAttachment.4")));
}

TEST_F(GateAttachments, MakesNoPathAndUsesUpNoNumberWithoutABuffer) {
  EXPECT_EQ(DlpMailEvent::GetAttachmentTempPath(nullptr, 800), 0U);
  EXPECT_EQ(g_attachmentSequence, 0);
}

TEST_F(GateAttachments, MakesNoPathButUsesUpANumberInAnEmptyBuffer) {
  platform::WideChar buffer[800] = {};
  EXPECT_EQ(DlpMailEvent::GetAttachmentTempPath(buffer, 0), 0U);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(g_attachmentSequence, 1);
}

TEST_F(GateAttachments, APathIsTheWideTemporaryDirectoryAndTheLeaf) {
  platform::ScopedReplacement<platform::folders, &platform::FolderOperations::GetTempPathW> wide(
      [](auto, std::uint32_t size, platform::WideChar* buffer) {
        EXPECT_EQ(size, 800U);
        constexpr platform::WideStringView kPath = QV_WIDE("X:\\T\u00EBmp\\");
        kPath.copy(buffer, kPath.size());
        return static_cast<std::uint32_t>(kPath.size());
      });
  platform::WideChar buffer[800] = {};
  EXPECT_EQ(DlpMailEvent::GetAttachmentTempPath(buffer, 800), 27U);
  EXPECT_EQ(platform::WideString(buffer), QV_WIDE("X:\\T\u00EBmp\\OutlookAttachment.1"));
}

TEST_F(GateAttachments, CutsAPathThatDoesNotFitItsBuffer) {
  platform::WideChar buffer[801] = {};
  buffer[800] = 0x7E;
  for (const std::size_t directory : {780U, 799U}) {
    std::fill(buffer, buffer + 800, platform::WideChar{0});
    platform::ScopedReplacement<platform::folders, &platform::FolderOperations::GetTempPathW> deep(
        [&](auto, std::uint32_t, platform::WideChar* place) {
          std::fill(place, place + directory, platform::WideChar{'d'});
          return static_cast<std::uint32_t>(directory);
        });
    EXPECT_EQ(DlpMailEvent::GetAttachmentTempPath(buffer, 800), 799U);
    EXPECT_EQ(buffer[799], 0);
    EXPECT_EQ(buffer[800], 0x7E);
  }
}

TEST_F(GateAttachments, MakesAPathOfTheLeafAloneWithoutATemporaryDirectory) {
  platform::ScopedReplacement<platform::folders, &platform::FolderOperations::GetTempPathW> failing(
      [](auto, auto...) { return 0U; });
  platform::WideChar buffer[800] = {};
  EXPECT_EQ(DlpMailEvent::GetAttachmentTempPath(buffer, 800), 19U);
  EXPECT_EQ(platform::WideString(buffer), QV_WIDE("OutlookAttachment.1"));
}

TEST_F(GateAttachments, EndsAPathWithANulWhateverTheBufferHeld) {
  platform::WideChar buffer[800] = {};
  std::fill(buffer, buffer + 800, platform::WideChar{'#'});
  const std::uint32_t length = DlpMailEvent::GetAttachmentTempPath(buffer, 800);
  ASSERT_LT(length, 799U);
  EXPECT_EQ(buffer[length - 1], '1');
  EXPECT_EQ(buffer[length], 0);
  EXPECT_EQ(buffer[length + 1], '#');
}

TEST_F(GateAttachments, KeepsNoReferences) {
  Attach("a");
  Refer("C:\\data", "plan.doc");
  Attach("ole", outlookaddin::olOLE);
  Sink().CheckAttachments(Item());
  ExpectNothingLeft();
}

TEST_F(GateAttachments, MakesFourHostCallsForEachAttachment) {
  const auto callsFor = [this](int count) {
    mail.attachments.clear();
    for (int number = 0; number < count; ++number) Attach(Numbered(number));
    RenewHost();
    Sink().CheckAttachments(Item());
    return Calls().Total();
  };
  // Item, Type, FileName, SaveAsFile.
  EXPECT_EQ(callsFor(100) - callsFor(10), 4U * 90);
}

}  // namespace
}  // namespace tests
