// A host that fails any one call of a Send: the mail goes out, the log says what the gate gave up,
// and no reference is kept that isn't kept on purpose.
#include <set>

#include "tests/agent/outlookaddin/gatefixture.h"

namespace tests {
namespace {

class GateFaults : public GateTest {
 protected:
  GateFaults() {
    g_outlookVersionCode = outlookaddin::kOutlook2013;
    FillRecipients();
    FillContent();
    MakeSignature("Work/logo.png");
    WriteProfile("");
    answers[9] = 7;  // so that the run includes the calls of the tag
  }
  ~GateFaults() override { g_outlookVersionCode = 0; }

  void FillRecipients() {
    const auto entry = [](const char* address) {
      auto made = std::make_shared<simulation::mail::MailAddressEntry>();
      if (address != nullptr) made->address = address;
      return made;
    };
    auto list = entry(nullptr);
    list->displayType = outlookaddin::olPrivateDistList;
    list->id = "id";
    list->members = {entry("x"), entry("y")};
    mail.recipients = {{"A", entry("a")}, {"List", list}, {"B", entry("b")}};
  }
  void FillContent() {
    mail.senderName = "Session User";
    mail.accountSenderName = "Account User";
    mail.subject = "subject";
    mail.body = "body";
    mail.htmlBody = "<img src=\"cid:logo.png@1\">";
    for (const std::int32_t type : {outlookaddin::olByValue, outlookaddin::olByReference}) {
      simulation::mail::MailAttachment attachment;
      attachment.type = type;
      attachment.fileName = "a.doc";
      attachment.pathName = "C:\\data";
      mail.attachments.push_back(attachment);
    }
  }

  // Tagging leaves three references to the message; the sink holds one to its item.
  void ExpectOnlyWhatIsLeftOnPurpose() {
    for (const simulation::host::LedgerLine& line : Ledger().Outstanding()) {
      const bool isMessage = line.label.starts_with("IMessage");
      const bool isItem = line.label == Item()->Label();
      EXPECT_LE(line.Outstanding(), isMessage ? 3U : isItem ? 1U : 0U) << line.label;
    }
    EXPECT_THAT(Ledger().OverReleases(), IsEmpty());
  }

  // Sends the mail, ignoring earlier verdicts. Returns false if an exception came out.
  bool Send(VARIANT_BOOL* cancel) {
    tick += 10000;
    asked.clear();
    try {
      EXPECT_EQ(Sink().OnMailSend(cancel), S_OK);
      return true;
    } catch (const _com_error&) {
      return false;
    }
  }
};

// Whether `line` matches `pattern`, where "*" matches any text.
bool LooksLike(std::string_view line, std::string_view pattern) {
  if (pattern.empty()) return line.empty();
  if (pattern.front() != '*') {
    return !line.empty() && line.front() == pattern.front() &&
           LooksLike(line.substr(1), pattern.substr(1));
  }
  for (std::size_t skipped = 0; skipped <= line.size(); ++skipped) {
    if (LooksLike(line.substr(skipped), pattern.substr(1))) return true;
  }
  return false;
}

// The line that a failure of each call adds to the log, by E_FAIL or by a null result; null if it
// adds none.
std::map<std::string_view, const char*> Complaints() {
  constexpr const char* kSession =
      "Info SendUsingAccount is empty, try to get session user instead.";
  return {
      {"_MailItem::get_Recipients", "Err Get recipients failed: 0x*, and don't check recpients."},
      {"Recipients::get_Count",
       "Err Get recipients counts failed: 0x*, and don't check recpients."},
      {"Recipients::Item", "Err Get Item from recipients failed: 0x*"},
      {"Recipient::get_AddressEntry", "Err Get AddressEntry from recipient failed: 0x*"},
      {"AddressEntry::QueryInterface(IUnknown)", nullptr},
      {"AddressEntry::get_Address", "Warn Not support displayType, skip it."},
      {"AddressEntry::get_DisplayType", "Err Get DisplayType failed: 0x*"},
      {"AddressEntry::get_ID", "Err Get AddressEntry ID failed: 0x*"},
      {"AddressEntry::get_Members", "Err Get AddressEntry members failed: 0x*"},
      {"AddressEntries::GetFirst", nullptr},
      {"AddressEntries::GetNext", nullptr},
      {"_MailItem::get_SendUsingAccount", kSession},
      {"_Account::get_CurrentUser", kSession},
      {"Recipient::get_Name", kSession},
      {"_MailItem::get_Subject", "Err Cannot get subject, and don't check subject."},
      {"_MailItem::get_Body", "Err Cannot get body, and don't check body."},
      {"_MailItem::get_HTMLBody", nullptr},
      {"_MailItem::get_Attachments", "Err Cannot get attachments. hr:*"},
      {"Attachments::get_Count", "Err Cannot get attachments' count. hr:*"},
      {"Attachments::Item", "Err Cannot get attachment item. hr:*"},
      {"Attachment::get_Type", nullptr},
      {"Attachment::get_FileName", "Err *attachment* name*"},
      {"Attachment::get_PathName", "Err Get attachment name and path failed."},
      {"Attachment::SaveAsFile", nullptr},
      {"_MailItem::get_MAPIOBJECT", nullptr},
      {"IMessage::QueryInterface(IMessage)",
       "Err QueryInterface failed on IUnknown for IID_Message"},
      {"IMessage::QueryInterface(IMAPIProp)", "Err *IMAPIProp*"},
      {"IMessage::GetIDsFromNames", "Err Error retrieving GetIDsFromNames."},
      {"IMessage::SetProps", "Err rolo_dbg Error setting Header."},
  };
}

// The same for the nth call of that name, with the differences between the two ways to fail.
const char* Complaint(std::string_view call, int nth, HRESULT result) {
  const bool isNull = result == S_OK;
  if (!isNull && call == "AddressEntry::QueryInterface(IUnknown)") return nullptr;
  // The second entry is the list, which has no address.
  if (call == "AddressEntry::get_Address" && nth == 2) return nullptr;
  if (isNull && call == "AddressEntry::get_DisplayType") {
    return "Warn Not support displayType, skip it.";
  }
  if (isNull && call == "_MailItem::get_Subject") {
    return "Warn Empty mail subject might cause violation log trimmed.";
  }
  if (isNull && call == "IMessage::QueryInterface(IMAPIProp)") {
    return "Err Unknown Error on receiving the Pointer to MAPI Properties.";
  }
  if (isNull && call == "IMessage::SetProps") return nullptr;
  return Complaints().at(call);
}

TEST_F(GateFaults, LetsTheMailGoAndLogsWhatItGaveUpWhicheverCallFails) {
  VARIANT_BOOL cancel = 0;
  ASSERT_TRUE(Send(&cancel));
  const std::vector<std::string_view> journal = Calls().Journal();
  const std::set<std::string_view> called(journal.begin(), journal.end());
  EXPECT_EQ(called.size(), Complaints().size()) << "the run makes every call that can fail";
  const std::vector<std::string> clean = TakeLines();

  for (const HRESULT result : {E_FAIL, S_OK}) {
    std::map<std::string_view, int> nth;
    for (std::size_t number = 1; number <= journal.size(); ++number) {
      const std::string_view call = journal[number - 1];
      SCOPED_TRACE(std::to_string(number) + " " + std::string(call) +
                   (result == S_OK ? " returns null" : " fails"));
      RenewHost();
      ForgetLines();
      Calls().FailCall(number, result);
      EXPECT_EQ(Send(&cancel), result == S_OK || call != "AddressEntry::QueryInterface(IUnknown)");
      EXPECT_EQ(cancel, 0);
      EXPECT_EQ(Calls().FaultsGiven(), 1U);
      ExpectOnlyWhatIsLeftOnPurpose();
      if (const char* const complaint = Complaint(call, ++nth[call], result)) {
        std::vector<std::string> more;
        for (const std::string& line : Lines()) {
          if (std::find(clean.begin(), clean.end(), line) == clean.end()) more.push_back(line);
        }
        EXPECT_TRUE(
            std::any_of(more.begin(), more.end(),
                        [&](const std::string& line) { return LooksLike(line, complaint); }))
            << complaint << " is not among " << testing::PrintToString(more);
      }
    }
  }
}

}  // namespace
}  // namespace tests
