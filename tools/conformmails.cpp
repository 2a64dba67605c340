#include "tools/conformmails.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <optional>
#include <utility>

#include "channel/protocol.h"
#include "inspection/checked/checked.h"
#include "inspection/comparison/resultreader.h"
#include "inspection/conformance/rules.h"
#include "inspection/conformance/session.h"
#include "simulation/mail/mailjson.h"
#include "simulation/mail/mailreader.h"
#include "tools/command.h"
#include "tools/inputfile.h"
#include "tools/mailinputs.h"
#include "tools/system/childprocess.h"

namespace tools {
namespace {

using inspection::checked::Reason;
using inspection::comparison::Checked;
using inspection::comparison::Outcome;
using inspection::comparison::RecordedMail;
using inspection::conformance::CheckOutcome;
using inspection::conformance::Result;
using inspection::conformance::Rule;
using simulation::mail::MailModel;
using tools::system::ChildProcess;

// A run of `quorvex send`: mails that one process sends one after another.
using Batch = std::vector<std::string>;

constexpr std::uint32_t kLineMs = 120'000;
constexpr std::uint32_t kEndMs = 10'000;
constexpr std::size_t kFew = 2;
constexpr std::size_t kMany = 8;

// Sends the batches at once. Returns the results of all, batch by batch; fewer if something went
// wrong.
std::vector<RecordedMail> Send(const MailChecks& checks, const std::vector<Batch>& batches) {
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (const Batch& batch : batches) {
    std::vector<std::string> arguments = {"send",   "--agent",       "--ring", checks.ring,
                                          "--json", "--no-progress", "--"};
    arguments.insert(arguments.end(), batch.begin(), batch.end());
    std::string error;
    children.push_back(std::make_unique<ChildProcess>());
    if (!children.back()->Start(checks.program, arguments, &error)) {
      throw CommandError(error);
    }
  }
  std::vector<RecordedMail> mails;
  inspection::comparison::ResultReader reader(
      [&mails](const RecordedMail& mail) { mails.push_back(mail); });
  for (const auto& child : children) {
    std::string line;
    for (std::size_t number = 1; child->ReadLine(&line, kLineMs) == ChildProcess::ReadResult::kLine;
         ++number) {
      reader.ReadLine(line, "send", number);
    }
    int status = -1;
    child->WaitForEnd(kEndMs, &status);
  }
  return mails;
}

std::string Line(const RecordedMail& mail) {
  std::string text = mail.error.empty() ? NameOf(mail.outcome) : mail.error;
  for (const std::string& reason : mail.reasons) text += "; " + reason;
  return text;
}

void Fail(Result* result, std::string_view rule, std::string cause, std::string seen) {
  result->outcome = CheckOutcome::kFail;
  result->rule = rule;
  result->cause = std::move(cause);
  result->seen = std::move(seen);
}

void Pass(Result* result, std::string seen) {
  result->outcome = CheckOutcome::kPass;
  result->seen = std::move(seen);
}

constexpr const char* kMixedUp = "mails that are in progress at once get each other's verdict";

// The rule that an agent breaks by which a mail goes unchecked.
Rule RuleOf(const RecordedMail& mail) {
  const auto has = [&mail](Reason reason) {
    return std::find(mail.reasons.begin(), mail.reasons.end(), TextOf(reason)) !=
           mail.reasons.end();
  };
  if (has(Reason::kNotTaken)) return Rule::kBlock;
  if (has(Reason::kNoAnswer)) return Rule::kInTime;
  if (has(Reason::kUnusableAnswer)) return Rule::kUsableAnswer;
  if (has(Reason::kContentClosed)) return Rule::kRecipients;
  return Rule::kAnswer;
}

// Whether all were checked. Otherwise `*result` says which wasn't.
bool AreChecked(const std::vector<RecordedMail>& mails, std::size_t sent, Result* result) {
  for (const RecordedMail& mail : mails) {
    if (mail.checked == Checked::kYes) continue;
    Fail(result, SentenceOf(RuleOf(mail)), "a mail goes out that wasn't checked completely",
         mail.mail.substr(mail.mail.find_last_of("/\\") + 1) + ": " + Line(mail));
    return false;
  }
  if (mails.size() != sent) {
    result->seen = "only " + std::to_string(mails.size()) + " of " + std::to_string(sent) +
                   " mails could be sent";
  }
  return mails.size() == sent;
}

MailModel NewMail(std::size_t recipients, const std::string& subject, const std::string& body) {
  MailModel mail;
  for (std::size_t i = 0; i < recipients; ++i) {
    const std::string address = "conform" + std::to_string(i) + "@a.example";
    auto entry = std::make_shared<simulation::mail::MailAddressEntry>();
    entry->address = address;
    mail.recipients.push_back({address, entry});
  }
  mail.subject = subject;
  mail.body = body;
  mail.senderName = mail.accountUserName = "Conform";
  return mail;
}

// Harmless mails of different kinds, as files.
Batch MakeMails(const std::string& folder) {
  std::vector<MailModel> models = {NewMail(1, "Conform", "A harmless text.\r\n"),
                                   NewMail(3, "", "No subject.\r\n"), NewMail(200, "Many", ""),
                                   NewMail(1, "Two files", "See the files.\r\n")};
  const auto attach = [&models](const char* name, std::string content) {
    auto& attachment = models.back().attachments.emplace_back();
    attachment.fileName = name;
    attachment.content = std::move(content);
  };
  attach("notes.txt", "harmless\n");
  attach(reinterpret_cast<const char*>(u8"\u00FCbersicht.bin"), std::string(200'000, 'x'));
  Batch files;
  for (const MailModel& model : models) {
    files.push_back(folder + "conform-" + std::to_string(files.size() + 1) + ".json");
    std::ofstream(PathOf(files.back()), std::ios::binary) << MailToJson(model);
  }
  return files;
}

void CheckWholeMails(const MailChecks& checks, Result* result) {
  const Batch files = MakeMails(checks.folder);
  const std::vector<RecordedMail> mails = Send(checks, {files});
  if (!AreChecked(mails, files.size(), result)) return;
  std::size_t requests = 0;
  for (const RecordedMail& mail : mails) requests += mail.requestCount;
  Pass(result, std::to_string(mails.size()) + " mails through the add-in, " +
                   std::to_string(requests) + " requests, each mail checked");
}

void CheckWholeMailsAtOnce(const MailChecks& checks, Result* result) {
  const Batch files = MakeMails(checks.folder);
  for (const std::size_t count : {kFew, kMany}) {
    std::vector<Batch> batches;
    for (std::size_t i = 0; i < count; ++i) batches.push_back({files[i % files.size()]});
    if (!AreChecked(Send(checks, batches), count, result)) return;
  }
  Pass(result, "two and eight mails at once through the add-in, each checked");
}

// What the document says about an outcome.
std::string_view SentenceOfOutcome(const std::string& outcome) {
  if (outcome == "blocked") return "The mail isn't sent; its window stays open";
  return outcome == "tagged" ? "The mail is sent with a tag" : "No objection";
}

void CheckExpected(const MailChecks& checks, const Expectation& expected, Result* result) {
  const std::vector<RecordedMail> mails = Send(checks, {{expected.file}});
  if (mails.size() == 1 && mails.front().outcome == Outcome::kUnreadable) {
    result->seen = "the mail can't be read: " + mails.front().error;
    return;
  }
  if (!AreChecked(mails, 1, result)) return;
  const std::string outcome = NameOf(mails.front().outcome);
  if (outcome == expected.outcome) return Pass(result, "the mail was " + outcome);
  Fail(result, SentenceOfOutcome(expected.outcome), "the agent decides otherwise than agreed",
       "the mail was " + outcome + "; " + checks.expectationPath + ":" +
           std::to_string(expected.line) + " says " + expected.outcome);
}

// Sends the batches and finds the first mail that ended otherwise than agreed; empty if none did.
// `order` has the expectation of each mail.
std::string FirstOdd(const MailChecks& checks, const std::vector<Batch>& batches,
                     const std::vector<const Expectation*>& order) {
  const std::vector<RecordedMail> mails = Send(checks, batches);
  if (mails.size() != order.size()) return "not every mail could be sent";
  for (std::size_t i = 0; i < mails.size(); ++i) {
    if (NameOf(mails[i].outcome) != order[i]->outcome) {
      return order[i]->file + ": " + Line(mails[i]) + ", alone it was " + order[i]->outcome;
    }
  }
  return {};
}

struct Item {
  std::uint32_t type;
  std::string payload;
  std::string name;
};

// What the add-in asks about the mail in `path` before its last item. Writes the files.
std::vector<Item> ItemsOf(const std::string& path, const std::string& folder) {
  const auto raw = OpenMails({path}, {})->Next();
  const MailModel mail = raw ? simulation::mail::ReadMail(raw->bytes) : MailModel();
  std::string addresses;
  for (const simulation::mail::MailRecipient& recipient : mail.recipients) {
    const bool hasAddress = recipient.entry != nullptr && recipient.entry->address;
    addresses += (hasAddress ? *recipient.entry->address : recipient.name) + std::string(1, '\0');
  }
  std::vector<Item> items = {{channel::kItemRecipients, addresses, {}},
                             {channel::kItemSender, mail.senderName.value_or(""), {}},
                             {channel::kItemEnvelope, {}, {}}};
  const auto add = [&items, &folder](const std::string& content, const std::string& name) {
    const std::string copy = folder + "unfinished-" + std::to_string(items.size());
    std::ofstream(PathOf(copy), std::ios::binary) << content;
    items.push_back({channel::kItemFile, copy, name});
  };
  if (mail.subject) add(*mail.subject, channel::kSubjectFile);
  if (mail.body) add(*mail.body, channel::kBodyFile);
  for (const simulation::mail::MailAttachment& attachment : mail.attachments) {
    add(attachment.content, attachment.fileName.value_or(""));
  }
  return items;
}

// Whether one of the answers blocks or tags the mail; nothing if an item isn't answered. With
// `isWhole`, item 9 comes too.
std::optional<bool> IsObjectedTo(inspection::conformance::Session* session, std::uint32_t mail,
                                 std::vector<Item> items, bool isWhole) {
  if (isWhole) items.push_back({channel::kItemClose, {}, {}});
  bool isObjectedTo = false;
  for (const Item& item : items) {
    const auto request = session->Ask(mail, item.type, item.payload, item.name);
    if (!request.IsAnswered()) return std::nullopt;
    const std::int32_t answer = request.Answer();
    isObjectedTo |= item.type != channel::kItemRecipients &&
                    (answer == channel::kActionBlock || answer == channel::kActionTag);
  }
  return isObjectedTo;
}

// A mail that must be sent and one that must not.
struct MailPair {
  const Expectation* good = nullptr;
  const Expectation* bad = nullptr;
  std::vector<Item> goodItems;
  std::vector<Item> badItems;
};

// Two of `passed` that the agent judges as agreed without the add-in too. If there aren't two, what
// was seen says that `way` wasn't tried, and why.
std::optional<MailPair> PairOf(const MailChecks& checks, const std::string& way,
                               const std::vector<const Expectation*>& passed,
                               inspection::conformance::Session* session, Result* result) {
  MailPair pair;
  for (const Expectation* mail : passed) {
    const Expectation*& place = mail->outcome == "sent" ? pair.good : pair.bad;
    if (place == nullptr) place = mail;
  }
  if (pair.bad == nullptr || pair.good == nullptr) {
    result->seen += "; not tried " + way +
                    ": that takes a mail that must be sent and one that must be blocked or tagged";
    return std::nullopt;
  }
  pair.badItems = ItemsOf(pair.bad->file, checks.folder + "bad-");
  pair.goodItems = ItemsOf(pair.good->file, checks.folder + "good-");
  if (!session->Ring().Open(checks.ring) || IsObjectedTo(session, 0, pair.badItems, true) != true ||
      IsObjectedTo(session, 1, pair.goodItems, true) != false) {
    result->seen += "; not tried " + way + ": without the add-in, " + pair.bad->file + " or " +
                    pair.good->file + " ends otherwise";
    return std::nullopt;
  }
  return pair;
}

void LeaveUnanswered(const std::string& way, Result* result) {
  result->seen += "; " + way + ", a request wasn't answered";
  result->outcome = CheckOutcome::kUnknown;
}

// Begins a mail that is objected to, doesn't end it, and sends one that isn't, with the same ids.
void CheckUnfinished(const MailChecks& checks, const std::atomic<bool>& stop,
                     const std::vector<const Expectation*>& passed, Result* result) {
  const inspection::conformance::Options options{.ring = checks.ring};
  inspection::conformance::Session session(options, stop);
  const auto pair = PairOf(checks, "after an unfinished one", passed, &session, result);
  if (!pair) return;
  const bool hasBegun = IsObjectedTo(&session, 2, pair->badItems, false).has_value();
  const std::optional<bool> isKept = IsObjectedTo(&session, 2, pair->goodItems, true);
  if (!hasBegun || !isKept) return LeaveUnanswered("after an unfinished one", result);
  if (!*isKept) {
    result->seen += ", also after one that never ended";
    return;
  }
  Fail(result, SentenceOf(Rule::kForget), "the agent doesn't forget a mail that never ended",
       pair->good->file + " isn't let go after " + pair->bad->file + ", whose item 9 didn't come");
}

// Sends a mail that isn't objected to and one that is, a request of each in turn.
void CheckInTurn(const MailChecks& checks, const std::atomic<bool>& stop,
                 const std::vector<const Expectation*>& passed, Result* result) {
  const inspection::conformance::Options options{.ring = checks.ring};
  inspection::conformance::Session session(options, stop);
  const auto pair = PairOf(checks, "request by request", passed, &session, result);
  if (!pair) return;
  // The last request is item 9.
  const auto ask = [&session](std::uint32_t mail, const std::vector<Item>& items, std::size_t at) {
    if (at > items.size()) return std::optional(false);
    return at == items.size() ? IsObjectedTo(&session, mail, {}, true)
                              : IsObjectedTo(&session, mail, {items[at]}, false);
  };
  bool isGoodObjectedTo = false;
  bool isBadObjectedTo = false;
  for (std::size_t i = 0; i <= std::max(pair->goodItems.size(), pair->badItems.size()); ++i) {
    const std::optional<bool> good = ask(2, pair->goodItems, i);
    const std::optional<bool> bad = ask(3, pair->badItems, i);
    if (!good || !bad) return LeaveUnanswered("request by request", result);
    isGoodObjectedTo |= *good;
    isBadObjectedTo |= *bad;
  }
  if (!isGoodObjectedTo && isBadObjectedTo) {
    result->seen += ", also request by request";
    return;
  }
  Fail(result, SentenceOf(Rule::kMailIds), kMixedUp,
       "request by request, " + (isGoodObjectedTo ? pair->good->file + " isn't let go"
                                                  : pair->bad->file + " is let go"));
}

// Of those that are as agreed when they are sent alone: `passed`.
void CheckExpectedInARow(const MailChecks& checks, const std::atomic<bool>& stop,
                         const std::vector<const Expectation*>& passed, Result* result) {
  if (passed.size() < 2) {
    result->seen = "this takes two mails that end as agreed";
    return;
  }
  // Blocked and tagged mails before the others, and the other way round.
  std::vector<const Expectation*> order = passed;
  std::stable_partition(order.begin(), order.end(),
                        [](const Expectation* expected) { return expected->outcome != "sent"; });
  order.insert(order.end(), order.rbegin(), order.rend());
  Batch batch;
  for (const Expectation* expected : order) batch.push_back(expected->file);
  const std::string odd = FirstOdd(checks, {batch}, order);
  if (odd.empty()) {
    Pass(result, std::to_string(order.size()) + " mails from one process, as agreed");
    return CheckUnfinished(checks, stop, passed, result);
  }
  Fail(result, SentenceOf(Rule::kForget), "the agent doesn't forget a mail at its end", odd);
}

void CheckExpectedAtOnce(const MailChecks& checks, const std::atomic<bool>& stop,
                         const std::vector<const Expectation*>& passed, Result* result) {
  if (passed.size() < 2) {
    result->seen = "this takes two mails that end as agreed";
    return;
  }
  for (const std::size_t count : {kFew, kMany}) {
    std::vector<Batch> batches;
    std::vector<const Expectation*> order;
    for (std::size_t i = 0; i < count; ++i) {
      // From both ends, so that two are of different kinds where there are any.
      const std::size_t at = i / 2 % passed.size();
      order.push_back(passed[i % 2 == 0 ? at : passed.size() - 1 - at]);
      batches.push_back({order.back()->file});
    }
    const std::string odd = FirstOdd(checks, batches, order);
    if (!odd.empty()) {
      return Fail(result, SentenceOf(Rule::kMailIds), kMixedUp, odd);
    }
  }
  Pass(result, "two and eight mails at once, as agreed");
  // They may have come one after another on a busy machine.
  CheckInTurn(checks, stop, passed, result);
}

}  // namespace

std::vector<inspection::conformance::ExtraCheck> ChecksWithMails(const MailChecks* checks,
                                                                 const std::atomic<bool>* stop) {
  std::vector<inspection::conformance::ExtraCheck> extra = {
      {"whole-mails", [checks](Result& result) { CheckWholeMails(*checks, &result); }},
      {"whole-mails-at-once",
       [checks](Result& result) { CheckWholeMailsAtOnce(*checks, &result); }}};
  if (checks->expectations.empty()) {
    extra.push_back({"expected-verdicts", [](Result& result) {
                       result.outcome = CheckOutcome::kLeftOut;
                       result.seen = "takes --expect, a file with what the agent must do";
                     }});
    return extra;
  }
  const auto passed = std::make_shared<std::vector<const Expectation*>>();
  for (const Expectation& expected : checks->expectations) {
    extra.push_back(
        {"expected: " + expected.file, [checks, passed, stop, &expected](Result& result) {
           if (*stop) return;
           CheckExpected(*checks, expected, &result);
           if (result.outcome == CheckOutcome::kPass) {
             passed->push_back(&expected);
           }
         }});
  }
  extra.push_back({"expected-in-a-row", [checks, passed, stop](Result& result) {
                     CheckExpectedInARow(*checks, *stop, *passed, &result);
                   }});
  extra.push_back({"expected-at-once", [checks, passed, stop](Result& result) {
                     CheckExpectedAtOnce(*checks, *stop, *passed, &result);
                   }});
  return extra;
}

}  // namespace tools
