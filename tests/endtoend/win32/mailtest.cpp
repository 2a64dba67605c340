// Mails through the real library to an agent in another process: requests, verdicts, and what is
// left afterwards.
#include <array>
#include <fstream>

#include "channel/protocol.h"
#include "platform/com/mapitypes.h"
#include "simulation/agent/sha256.h"
#include "tests/endtoend/win32/endtoend.h"

namespace tests {
namespace {

using simulation::agent::JournalRequest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class Mails : public EndToEnd {
 protected:
  // Sends the mail of the window and returns Cancel.
  VARIANT_BOOL Send(const HostInspector& window) {
    const simulation::host::SendOutcome outcome = Host().Send(*window.Mail());
    EXPECT_THAT(outcome.returned, ElementsAre(S_OK));
    return outcome.cancel;
  }
  std::vector<std::string> FilesInTemp() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(TempPath())) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }
  static std::shared_ptr<simulation::mail::MailAddressEntry> Person(const char* address) {
    auto entry = std::make_shared<simulation::mail::MailAddressEntry>();
    entry->address = address;
    return entry;
  }
  simulation::mail::MailModel Everything();
};

simulation::mail::MailModel Mails::Everything() {
  const auto list = [](const char* id) {
    auto entry = std::make_shared<simulation::mail::MailAddressEntry>();
    entry->displayType = 5;
    entry->id = id;
    return entry;
  };
  const auto alice = Person("alice@example.com");
  const auto inner = list("inner");
  const auto outer = list("outer");
  inner->members = {Person("dave@example.com"), alice};
  outer->members = {Person("carol@example.com"), inner};
  simulation::mail::MailModel model;
  model.recipients = {{"Alice", alice}, {"The team", outer}};
  model.subject =
      "\xC3\x9C"
      "bersicht";
  model.body = "The body, \xF0\x9F\x93\xA7\r\n";
  model.htmlBody = "<p><img src=\"cid:logo.png@01D0\"></p>";
  const std::filesystem::path shared = Folder() / "plan.txt";
  std::ofstream(shared, std::ios::binary) << "a plan";
  model.attachments = {{1, "M\xC3\xBCller.txt", std::nullopt, std::string("by\0value", 8)},
                       {4, "plan.txt", Folder().string(), ""},
                       {5, "a mail.msg", std::nullopt, "an embedded mail"},
                       {6, "object.ole", std::nullopt, "an object"}};
  model.senderName = "The session's user";
  model.accountSenderName = "The account's user";
  return model;
}

TEST_F(Mails, SendsEveryKindOfContentToTheAgent) {
  ASSERT_NO_FATAL_FAILURE(Connect("15.0.4420.1017"));
  HostInspector& window = Open(Everything());
  EXPECT_EQ(Send(window), VARIANT_FALSE);

  const std::vector<JournalRequest> asked = Traffic();
  ASSERT_EQ(Types(asked),
            (std::vector<std::uint32_t>{
                channel::kItemRecipients, channel::kItemSender, channel::kItemEnvelope,
                channel::kItemFile, channel::kItemFile, channel::kItemFile, channel::kItemFile,
                channel::kItemFile, channel::kItemFile, channel::kItemClose}));
  for (const JournalRequest& request : asked) {
    EXPECT_EQ(request.answer, 4);
    EXPECT_EQ(request.outcome, "taken");
    EXPECT_EQ(request.processId, GetCurrentProcessId());
    EXPECT_EQ(request.threadId, GetCurrentThreadId());
  }
  const std::string addresses[] = {"alice@example.com", "carol@example.com", "dave@example.com"};
  std::string recipients;
  for (const std::string& address : addresses) recipients += address + '\0';
  EXPECT_EQ(asked[0].payload, recipients);
  EXPECT_EQ(asked[1].payload, "The account's user");
  EXPECT_EQ(asked[2].payload, "");
  EXPECT_EQ(asked[9].payload, "");

  const struct {
    std::string path;  // all of it, or its beginning
    bool whole;
    std::string name;
    std::string content;
  } kFiles[] = {
      {TempPath() + "ExchangeSubjectContent", true, "ExchangeSubjectContent",
       "\xC3\x9C"
       "bersicht"},
      {TempPath() + "ExchangeBodyContent", true, "ExchangeBodyContent",
       "The body, \xF0\x9F\x93\xA7\r\n"},
      {SignaturePath(), true, "", "the signature's image"},
      {TempPath() + "OutlookAttachment.", false, "M\xC3\xBCller.txt", std::string("by\0value", 8)},
      {(Folder() / "plan.txt").string(), true, "", "a plan"},
      {TempPath() + "OutlookAttachment.", false, "a mail.msg", "an embedded mail"},
  };
  for (std::size_t at = 0; at < std::size(kFiles); ++at) {
    const JournalRequest& request = asked[3 + at];
    if (kFiles[at].whole) {
      EXPECT_EQ(request.payload, kFiles[at].path);
    } else {
      EXPECT_THAT(request.payload.value_or(""), StartsWith(kFiles[at].path));
    }
    EXPECT_EQ(request.name, kFiles[at].name);
    EXPECT_EQ(request.contentSha256, simulation::agent::Sha256Of(kFiles[at].content));
    EXPECT_EQ(request.contentBytes, kFiles[at].content.size());
  }
  EXPECT_THAT(FilesInTemp(), ElementsAre("QuorvexAgent.journal")) << "the copies are deleted";
  EXPECT_THAT(TakeLog(), HasSubstr("Outlook> Info: The entry has been processed! skip it\r\n"));
  Host().CloseInspector(window);
}

TEST_F(Mails, ChecksABlockedMailAgain) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  HostInspector& window = Open(Mail("Blocked", "This is TOP-SECRET."));
  EXPECT_EQ(Send(window), 1);
  const std::vector<std::uint32_t> stopped = {channel::kItemRecipients, channel::kItemSender,
                                              channel::kItemEnvelope,   channel::kItemFile,
                                              channel::kItemFile,       channel::kItemClose};
  std::vector<JournalRequest> asked = Traffic();
  ASSERT_EQ(Types(asked), stopped);
  EXPECT_EQ(asked[1].payload, "The session's user");
  EXPECT_EQ(asked[4].answer, 3);
  EXPECT_THAT(TakeLog(), HasSubstr("Outlook> Info: Block current mail sending.\r\n"));

  EXPECT_EQ(Send(window), 1) << "a block isn't remembered";
  EXPECT_EQ(Types(Traffic()), stopped);

  window.Mail()->SetModel(Mail("Blocked", "This is not."));
  EXPECT_EQ(Send(window), VARIANT_FALSE);
  EXPECT_EQ(Traffic().size(), 6U);
  EXPECT_EQ(Send(window), VARIANT_FALSE) << "a pass is remembered";
  EXPECT_THAT(TakeLog(), HasSubstr(" is already checked, previous result 1 \r\n"));
  Host().CloseInspector(window);
}

TEST_F(Mails, StopsAtABlockedAttachment) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  simulation::mail::MailModel model = Mail("Three files", "The body");
  model.attachments = {{1, "first.txt", std::nullopt, "harmless"},
                       {1, "second.txt", std::nullopt, "TOP-SECRET"},
                       {1, "third.txt", std::nullopt, "never asked"}};
  HostInspector& window = Open(std::move(model));
  EXPECT_EQ(Send(window), 1);
  const std::vector<JournalRequest> asked = Traffic();
  ASSERT_EQ(asked.size(), 8U);
  EXPECT_EQ(asked[6].name, "second.txt");
  EXPECT_EQ(asked[6].answer, 3);
  EXPECT_EQ(asked[7].itemType, channel::kItemClose);
  EXPECT_THAT(FilesInTemp(), ElementsAre("QuorvexAgent.journal"));
  Host().CloseInspector(window);
}

TEST_F(Mails, TagsASensitiveMail) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  HostInspector& window = Open(Mail("a sensitive one", "The body"));
  EXPECT_EQ(Send(window), VARIANT_FALSE);
  const std::vector<JournalRequest> asked = Traffic();
  ASSERT_FALSE(asked.empty());
  EXPECT_EQ(asked.back().itemType, channel::kItemClose);
  EXPECT_EQ(asked.back().answer, 7);
  const std::vector<simulation::host::HostNamedProperty> properties =
      window.Mail()->NamedProperties();
  ASSERT_EQ(properties.size(), 1U);
  EXPECT_TRUE(IsEqualGUID(properties[0].propertySet, kPsInternetHeaders));
  EXPECT_EQ(properties[0].name, "QV_DLP_TAGGING");
  EXPECT_EQ(properties[0].tag & 0xFFFF, PT_UNICODE);
  EXPECT_EQ(properties[0].value, "The message is sensitive");
  EXPECT_EQ(Host().Calls().Count("IMessage::SetProps"), 1U);

  // While the verdict counts, the tag is written again without a request.
  EXPECT_EQ(Send(window), VARIANT_FALSE);
  EXPECT_EQ(Host().Calls().Count("IMessage::SetProps"), 2U);
  EXPECT_THAT(TakeLog(), HasSubstr(" is already checked, previous result 7 \r\n"));
  // Each tag leaves three references to the message.
  ExpectLeft("IMessage", 6);
  Host().CloseInspector(window);
}

TEST_F(Mails, TakesNameAndValueOfTheTagFromTheProfile) {
  std::array<char, MAX_PATH> windows = {};
  GetWindowsDirectoryA(windows.data(), MAX_PATH);
  const ScopedFile profile(
      std::filesystem::path(windows.data()) / "system32" / "zbagent" / "vrk.pro",
      "x_name=X-Own-Header\r\nx_value=own value\r\n");
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  HostInspector& window = Open(Mail("another sensitive one", "The body"));
  EXPECT_EQ(Send(window), VARIANT_FALSE);
  EXPECT_EQ(window.Mail()->Header("X-Own-Header"), "own value");
  EXPECT_EQ(window.Mail()->Header("QV_DLP_TAGGING"), std::nullopt);
  ExpectLeft("IMessage", 3);
  Traffic();
  Host().CloseInspector(window);
}

TEST_F(Mails, LetsTheMailGoWithoutAnAgent) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  StopAgent();
  HostInspector& window = Open(Mail("Not checked", "This is TOP-SECRET."));
  EXPECT_EQ(Send(window), VARIANT_FALSE);
  EXPECT_THAT(TakeLog(),
              HasSubstr("Outlook> Err : CheckContent: cannot initialize shared memory!\r\n"));
  Host().CloseInspector(window);
}

// The exception passes the system's DispCallFunc on its way, if it isn't ended before.
TEST_F(Mails, LetsTheMailGoAfterAnExceptionInTheHandler) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  simulation::mail::MailModel model = Mail("Two recipients", "This is TOP-SECRET.");
  model.recipients.push_back({"Bob", Person("bob@example.com")});
  HostInspector& window = Open(std::move(model));
  Host().Calls().FailEach("AddressEntry::QueryInterface(IUnknown)", E_NOINTERFACE);
  EXPECT_EQ(Send(window), VARIANT_FALSE);
  Host().Calls().ClearFaults();
  EXPECT_THAT(TakeLog(), HasSubstr("Outlook> Crit: Exception 0x80004002 in OnMailSend.\r\n"));
  Host().CloseInspector(window);
}

TEST_F(Mails, SurvivesAnInlineResponseWithoutAnExplorer) {
  ASSERT_NO_FATAL_FAILURE(Create("16.0.0.1234"));
  HostExplorer& explorer = Host().OpenExplorer();
  Host().Calls().FailEach("_Explorer::QueryInterface(_Explorer)", E_NOINTERFACE);
  ASSERT_EQ(Host().Connect(AddIn()), S_OK);
  EXPECT_THAT(explorer.FireInlineResponse(), ElementsAre(S_OK));
  Host().Calls().ClearFaults();
  EXPECT_THAT(TakeLog(),
              HasSubstr("Outlook> Crit: Exception 0x80004003 in OnInlineResponseCreate.\r\n"));
}

}  // namespace
}  // namespace tests
