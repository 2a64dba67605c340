// A whole session of the add-in, with each of its calls to the host failing in turn: once with a
// negative result, once with success and a null result. Whatever fails, the host survives, every
// mail goes out that the agent didn't block, no references are left beyond those of a clean session
// and those that the failure explains, and the log says what the add-in gave up.
#include <set>
#include <stdexcept>

#include "agent/outlookaddin/dlpaddinconnect.h"
#include "agent/outlookaddin/eventconnection.h"
#include "tests/agent/outlookaddin/gatefixture.h"
#include "tests/agent/outlookaddin/keepreachable.h"
#include "tests/support/cancel.h"
#include "text/textconversion.h"

namespace tests {
namespace {

using simulation::host::Announce;
using simulation::host::HostExplorer;
using simulation::host::HostInspector;
using simulation::host::HostMailItem;
using simulation::host::SimulatedHost;

struct Sent {
  std::string mail;
  VARIANT_BOOL cancel = kNotSet;
  simulation::host::FiredResults returned;
  bool blocked = false;  // the agent blocked one of the requests
};

struct Session {
  std::vector<std::string_view> calls;
  std::uint64_t faultsGiven = 0;
  std::set<std::string> complaints;  // lines above Info; a mail may be checked twice
  std::vector<Sent> sent;
  ULONG addInReferences = 0;  // after the test's last Release
  std::map<std::string, ULONG> left;
  std::vector<std::string> overReleases;
  std::optional<std::string> header;  // of the tagged mail
};

// The line that a failure of this call adds to the log. Empty: none. A call may have several rows
// for its several uses. A call without a row adds no line.
struct ExpectedLine {
  std::string_view call;
  const char* failed;  // with E_FAIL
  const char* empty;   // with S_OK and a null result
};

constexpr ExpectedLine kExpectedLines[] = {
    {"_MailItem::get_Recipients",
     "Err Get recipients failed: 0x80004005, and don't check recpients.",
     "Err Get recipients failed: 0x0, and don't check recpients."},
    {"Recipients::get_Count",
     "Err Get recipients counts failed: 0x80004005, and don't check recpients.",
     "Err Get recipients counts failed: 0x0, and don't check recpients."},
    {"Recipients::Item", "Err Get Item from recipients failed: 0x80004005",
     "Err Get Item from recipients failed: 0x0"},
    {"Recipient::get_AddressEntry", "Err Get AddressEntry from recipient failed: 0x80004005",
     "Err Get AddressEntry from recipient failed: 0x0"},
    // An entry without an address must be a list. One of the entries is.
    {"AddressEntry::get_Address", "Warn Not support displayType, skip it.",
     "Warn Not support displayType, skip it."},
    {"AddressEntry::get_Address", "", ""},
    {"AddressEntry::QueryInterface(IUnknown)", "Crit Exception 0x80004005 in OnMailSend.", ""},
    {"_Explorer::QueryInterface(_Explorer)", "Crit Exception 0x80004003 in OnInlineResponseCreate.",
     "Crit Exception 0x80004003 in OnInlineResponseCreate."},
    // Each explorer has two objects. The first one's query has no effect.
    {"_Explorer::QueryInterface(_Explorer)", "", ""},
    {"AddressEntry::get_DisplayType", "Err Get DisplayType failed: 0x80004005",
     "Warn Not support displayType, skip it."},
    {"AddressEntry::get_ID", "Err Get AddressEntry ID failed: 0x80004005",
     "Err Get AddressEntry ID failed: 0x0"},
    {"AddressEntry::get_Members", "Err Get AddressEntry members failed: 0x80004005",
     "Err Get AddressEntry members failed: 0x0"},
    {"_MailItem::get_Subject", "Err Cannot get subject, and don't check subject.",
     "Warn Empty mail subject might cause violation log trimmed."},
    {"_MailItem::get_Body", "Err Cannot get body, and don't check body.",
     "Err Cannot get body, and don't check body."},
    {"_MailItem::get_Attachments", "Err Cannot get attachments. hr:2147500037",
     "Err Cannot get attachments. hr:0"},
    {"Attachments::get_Count", "Err Cannot get attachments' count. hr:2147500037",
     "Err Cannot get attachments' count. hr:0"},
    {"Attachments::Item", "Err Cannot get attachment item. hr:2147500037",
     "Err Cannot get attachment item. hr:0"},
    {"Attachment::get_FileName", "Err Cannot get attachment's file name.",
     "Err Cannot get attachment's file name."},
    {"Attachment::get_FileName", "Err Get attachment name and path failed.",
     "Err Get attachment name and path failed."},
    {"Attachment::get_PathName", "Err Get attachment name and path failed.",
     "Err Get attachment name and path failed."},
    {"IMessage::QueryInterface(IMessage)", "Err QueryInterface failed on IUnknown for IID_Message",
     "Err QueryInterface failed on IUnknown for IID_Message"},
    {"IMessage::QueryInterface(IMAPIProp)",
     "Err QueryInterface failed on IMessage for IID_IMAPIProp",
     "Err Unknown Error on receiving the Pointer to MAPI Properties."},
    {"IMessage::GetIDsFromNames", "Err Error retrieving GetIDsFromNames.",
     "Err Error retrieving GetIDsFromNames."},
    {"IMessage::SetProps", "Err rolo_dbg Error setting Header.", ""},
};

// On versions where the session's user is the only possible sender.
constexpr ExpectedLine kExpectedSenderLines[] = {
    {"_MailItem::get_Session", "Err Cannot get sender name, and don't check sender.",
     "Err Cannot get sender name, and don't check sender."},
    {"_NameSpace::get_CurrentUser", "Err Cannot get sender name, and don't check sender.",
     "Err Cannot get sender name, and don't check sender."},
    {"Recipient::get_Name", "Err Cannot get sender name, and don't check sender.",
     "Err Cannot get sender name, and don't check sender."},
};

// After a failure of these, one reference to the item remains. Without the mail's interface there
// is no sink that would release it, and without either subscription the sink is never destroyed.
// After the last eight a later scan makes the sink, which has no owner.
constexpr std::string_view kKeepsTheItem[] = {
    "_MailItem::QueryInterface(_MailItem)",
    "_MailItem::QueryInterface(IConnectionPointContainer)",
    "_MailItem::FindConnectionPoint",
    "ItemEvents::Advise",
    "_Inspector::QueryInterface(IConnectionPointContainer)",
    "_Inspector::FindConnectionPoint",
    "InspectorEvents::Advise",
    "_Inspector::QueryInterface(_Inspector)",
    "_Inspector::get_Caption",
    "_Application::get_Inspectors",
    "InspectorsEvents::Advise",
    "_Inspectors::FindConnectionPoint",
    "_Inspectors::QueryInterface(IConnectionPointContainer)",
    "_Inspectors::get_Count",
    "_Inspectors::Item",
};

// After a failure of these the add-in stays subscribed, and the host's connection holds a
// reference.
constexpr std::string_view kKeepsTheAddIn[] = {
    "_Application::get_Inspectors",
    "_Inspectors::QueryInterface(IConnectionPointContainer)",
    "_Inspectors::FindConnectionPoint",
    "InspectorsEvents::Unadvise",
};

template <typename Names>
bool IsOneOf(const Names& names, std::string_view name) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

struct WalkCase {
  const char* name;
  const char* version;
  HRESULT result;
  bool senderOnly;  // fail only the calls that read the sender
};

class FaultWalk : public GateTest, public testing::WithParamInterface<WalkCase> {
 protected:
  FaultWalk() {
    StopLogging();
    MakeSignature("Work_files/logo.png");
    answerTo = [this](const Asked& request) { return Answer(request); };
  }

  // Runs one session. If `failing` isn't 0, the host's call of that number fails.
  Session Run(std::uint64_t failing = 0);

  static bool HasInlineReplies() { return !std::string(GetParam().version).starts_with("12"); }

  // The possible lines for this call, and those that the test has seen.
  std::vector<const char*> LinesFor(std::string_view call) const;
  void CheckSession(const Session& clean, const Session& session, std::string_view call);

  std::set<std::pair<std::string_view, std::string>> m_met;

 private:
  int Answer(const Asked& request);
  static simulation::mail::MailModel Full();
  simulation::mail::MailModel Small(const std::string& subject);
  void Send(SimulatedHost& host, HostMailItem* item, Session& session);
  // What the user does between connection and disconnection.
  void Work(SimulatedHost& host, Session& session);

  std::string m_sending;
  bool m_blocked = false;
  platform::ScopedReplacement<platform::folders, &platform::FolderOperations::GetSystemDirectoryA>
      m_noSystemDirectory{[](auto, char*, std::uint32_t) -> std::uint32_t { return 0; }};
  platform::ScopedReplacement<platform::ui, &platform::UserInterfaceOperations::SetTimer> m_noTimer{
      [](auto, platform::Window, std::uintptr_t, std::uint32_t,
         platform::TimerProcedure) -> std::uintptr_t { return 1; }};
};

// Blocks the body of one mail, tags another at its closing request, and passes everything else.
int FaultWalk::Answer(const Asked& request) {
  if (m_sending == "Blocked" && request.name == "ExchangeBodyContent") {
    m_blocked = true;
    return 3;
  }
  return m_sending == "Tagged" && request.type == 9 ? 7 : 4;
}

simulation::mail::MailModel FaultWalk::Full() {
  const auto person = [](const char* address) {
    auto entry = std::make_shared<simulation::mail::MailAddressEntry>();
    entry->address = address;
    return entry;
  };
  const auto list = std::make_shared<simulation::mail::MailAddressEntry>();
  list->displayType = 5;
  list->id = "list";
  const auto first = person("first@example.com");
  list->members = {person("member@example.com"), first};
  simulation::mail::MailModel model;
  model.recipients = {{"First", first}, {"The list", list}};
  model.subject = "Full";
  model.body = "The body";
  model.htmlBody = "<img src=\"cid:logo.png@1\">";
  model.attachments = {{1, "value.txt", std::nullopt, "by value"},
                       {4, "reference.txt", "C:\\shared", ""},
                       {5, "embedded.msg", std::nullopt, "embedded"},
                       {6, "object", std::nullopt, "an object"}};
  model.senderName = "The session's user";
  model.accountUserName = "account@example.com";
  model.accountSenderName = "The account's user";
  return model;
}

simulation::mail::MailModel FaultWalk::Small(const std::string& subject) {
  simulation::mail::MailModel model = Full();
  model.subject = subject;
  model.recipients.pop_back();
  model.htmlBody.reset();
  model.attachments.resize(1);
  return model;
}

void FaultWalk::Send(SimulatedHost& host, HostMailItem* item, Session& session) {
  tick += 10000;
  m_sending = item->Model().subject.value_or("");
  m_blocked = false;
  Sent sent;
  sent.mail = m_sending;
  const simulation::host::SendOutcome outcome = host.Send(*item, kNotSet);
  sent.cancel = outcome.cancel;
  sent.returned = outcome.returned;
  sent.blocked = m_blocked;
  session.sent.push_back(std::move(sent));
}

void FaultWalk::Work(SimulatedHost& host, Session& session) {
  HostExplorer& explorer = *host.Application().OpenExplorers().Open().front();
  HostInspector& early = *host.Application().OpenInspectors().Open().front();
  HostInspector& full = host.OpenInspector(Full());
  host.OpenOtherInspector("A contact");
  HostInspector& blocked = host.OpenInspector(Small("Blocked"));
  HostInspector& tagged = host.OpenInspector(Small("Tagged"));
  HostInspector& found = host.OpenInspector(Small("Found"), Announce::kNo);
  outlookaddin::OnScanTimer(nullptr, 0x0113, 1, 0);
  for (HostInspector* window : {&early, &full, &blocked, &tagged, &found}) {
    Send(host, window->Mail(), session);
  }
  session.header = tagged.Mail()->Header("QV_DLP_TAGGING");
  if (HasInlineReplies()) {
    host.BeginInlineResponse(explorer, Small("Inline"));
    Send(host, explorer.InlineResponse(), session);
    host.EndInlineResponse(explorer);
  }
  for (HostInspector* window : {&early, &full, &blocked, &tagged, &found}) {
    host.CloseInspector(*window);
  }
}

Session FaultWalk::Run(std::uint64_t failing) {
  // Makes the verdicts of earlier sessions too old.
  tick += 100000;
  tests::LogCapture log(tests::LogCapture::Through::kDebugger);
  Session session;
  std::shared_ptr<simulation::host::HostLedger> ledger;
  {
    SimulatedHost host(GetParam().version);
    ledger = host.SharedLedger();
    host.OpenExplorer();
    host.OpenInspector(Small("Early"));
    if (failing != 0) host.Calls().FailCall(failing, GetParam().result);
    auto* const addIn = new CComObject<CDlpAddinConnect>;
    KeepReachable(addIn);
    addIn->AddRef();
    EXPECT_EQ(host.Connect(addIn), S_OK);
    Work(host, session);
    EXPECT_EQ(host.Disconnect(), S_OK);
    // The timer goes on after the disconnection.
    outlookaddin::OnScanTimer(nullptr, 0x0113, 1, 0);
    session.addInReferences = addIn->Release();
    session.calls = host.Calls().Journal();
    session.faultsGiven = host.Calls().FaultsGiven();
    // A subscription that the add-in couldn't end would keep both objects alive.
    host.Calls().ClearFaults();
    const DWORD firstCookie = 1;
    if (session.addInReferences != 0) {
      EXPECT_EQ(UnadviseEvents(&static_cast<_Inspectors&>(host.Application().OpenInspectors()),
                               GUID_00063079, firstCookie),
                S_OK);
    }
  }
  for (const simulation::host::LedgerLine& line : ledger->Outstanding()) {
    session.left[line.label] += line.Outstanding();
  }
  session.overReleases = ledger->OverReleases();
  for (const tests::LoggedLine& line : log.Lines()) {
    const bool isCount = line.message.starts_with("Mail ref error: ");
    if (line.level == kLogInfo || isCount || line.message.starts_with("InitializeShared")) continue;
    const char* const level = line.level == kLogWarn   ? "Warn "
                              : line.level == kLogCrit ? "Crit "
                                                       : "Err ";
    session.complaints.insert(level + line.message);
  }
  return session;
}

std::vector<const char*> FaultWalk::LinesFor(std::string_view call) const {
  std::vector<const char*> lines;
  const auto collect = [&](const auto& rows) {
    for (const ExpectedLine& row : rows) {
      if (row.call == call) lines.push_back(FAILED(GetParam().result) ? row.failed : row.empty);
    }
  };
  collect(kExpectedLines);
  if (std::string_view(GetParam().version).starts_with("16")) collect(kExpectedSenderLines);
  if (lines.empty()) lines.push_back("");
  return lines;
}

void FaultWalk::CheckSession(const Session& clean, const Session& session, std::string_view call) {
  ASSERT_EQ(session.faultsGiven, 1U);
  ASSERT_EQ(session.sent.size(), clean.sent.size());
  for (const Sent& sent : session.sent) {
    EXPECT_EQ(sent.cancel, sent.blocked ? 1 : kNotSet) << sent.mail;
    for (const HRESULT returned : sent.returned) EXPECT_EQ(returned, S_OK) << sent.mail;
  }
  if (session.addInReferences != 0) {
    EXPECT_TRUE(IsOneOf(kKeepsTheAddIn, call));
    EXPECT_EQ(session.addInReferences, 1U);
  }

  for (const auto& [label, references] : session.left) {
    const auto usual = clean.left.find(label);
    ULONG allowed = usual == clean.left.end() ? 0 : usual->second;
    const bool isItem = label.starts_with("_MailItem") || label == "OtherItem";
    if (isItem && IsOneOf(kKeepsTheItem, call)) ++allowed;
    // A window whose caption was lost gets a second sink, and the mail a second tag.
    if (label.starts_with("IMessage") && call == "_Inspector::get_Caption") allowed *= 2;
    EXPECT_LE(references, allowed) << label;
  }
  EXPECT_THAT(session.overReleases, IsEmpty());

  std::vector<std::string> more;
  std::set_difference(session.complaints.begin(), session.complaints.end(),
                      clean.complaints.begin(), clean.complaints.end(), std::back_inserter(more));
  ASSERT_LE(more.size(), 1U) << testing::PrintToString(more);
  const std::string line = more.empty() ? std::string() : more.front();
  EXPECT_THAT(LinesFor(call), testing::Contains(testing::StrEq(line)));
  m_met.emplace(call, line);
}

TEST_P(FaultWalk, EveryCallOfASessionMayFail) {
  const Session clean = Run();
  ASSERT_EQ(clean.header, "The message is sensitive");
  for (const Sent& sent : clean.sent) {
    EXPECT_EQ(sent.cancel, sent.mail == "Blocked" ? 1 : kNotSet) << sent.mail;
    EXPECT_EQ(sent.returned.size(), 1U) << sent.mail;
  }
  // Left on purpose: by the explorer's two sinks, by sinks without an owner, by an item that is no
  // mail and by the tag.
  std::map<std::string, ULONG> left = {{"_Explorer 1", 2},
                                       {"_MailItem \"Early\"", 1},
                                       {"_MailItem \"Found\"", 1},
                                       {"OtherItem", 1},
                                       {"IMessage of _MailItem \"Tagged\"", 3}};
  if (HasInlineReplies()) left.emplace("_MailItem \"Inline\"", 1);
  EXPECT_EQ(clean.left, left);
  EXPECT_EQ(clean.addInReferences, 0U);
  EXPECT_THAT(clean.overReleases, IsEmpty());
  ASSERT_EQ(Run().calls, clean.calls) << "two sessions differ";

  std::size_t walked = 0;
  for (std::size_t number = 1; number <= clean.calls.size(); ++number) {
    const std::string_view call = clean.calls[number - 1];
    const bool isSenders = call.starts_with("_NameSpace") || call.starts_with("_Account") ||
                           call == "_MailItem::get_Session" || call == "Recipient::get_Name" ||
                           call == "_MailItem::get_SendUsingAccount";
    if (GetParam().senderOnly && !isSenders) continue;
    SCOPED_TRACE(std::string(call) + ", call " + std::to_string(number));
    CheckSession(clean, Run(number), call);
    ++walked;
    // The first failure is enough.
    if (HasFailure()) return;
  }
  EXPECT_GE(walked, GetParam().senderOnly ? 10U : 200U);
  RecordProperty("calls", static_cast<int>(walked));

  // Every row of the table was used.
  if (GetParam().senderOnly) return;
  for (const ExpectedLine& row : kExpectedLines) {
    const std::string line = FAILED(GetParam().result) ? row.failed : row.empty;
    EXPECT_TRUE(m_met.contains({row.call, line})) << row.call << ": " << line;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Hosts, FaultWalk,
    testing::Values(WalkCase{"Version15Fails", "15.0.1", E_FAIL, false},
                    WalkCase{"Version15ReturnsNull", "15.0.1", S_OK, false},
                    WalkCase{"Version16SenderFails", "16.0.1", E_FAIL, true},
                    WalkCase{"Version16SenderReturnsNull", "16.0.1", S_OK, true},
                    WalkCase{"Version12SenderFails", "12.0.1", E_FAIL, true},
                    WalkCase{"Version12SenderReturnsNull", "12.0.1", S_OK, true}),
    [](const auto& which) { return std::string(which.param.name); });

}  // namespace
}  // namespace tests
