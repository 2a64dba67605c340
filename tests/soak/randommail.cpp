#include "tests/soak/randommail.h"

#include <iterator>
#include <memory>

namespace soak {
namespace {

using simulation::mail::MailAddressEntry;
using simulation::mail::MailAttachment;
using simulation::mail::MailModel;

// SplitMix64: small, and the same everywhere, unlike the standard's distributions.
class Chance {
 public:
  Chance(std::uint64_t seed, std::uint64_t number)
      : m_state(seed * 0x9E3779B97F4A7C15U + number * 0xD1B54A32D192ED03U) {}

  std::size_t Below(std::size_t limit) { return static_cast<std::size_t>(Next() % limit); }
  bool Percent(std::size_t percent) { return Below(100) < percent; }
  template <typename Choices>
  const auto& OneOf(const Choices& choices) {
    return choices[Below(std::size(choices))];
  }

 private:
  std::uint64_t Next() {
    std::uint64_t z = m_state += 0x9E3779B97F4A7C15U;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
  }
  std::uint64_t m_state;
};

constexpr const char* kWords[] = {"budget",  "Größe",     "報告", "meeting", "цена",
                                  "lunch",   "naïve",     "🙂", "x",       "plan",
                                  "figures", "<b>hi</b>", "100%", "\r\n"};

std::string Text(Chance& chance, std::size_t words) {
  std::string text;
  for (std::size_t i = 0; i < words; ++i) {
    text += chance.OneOf(kWords);
    text += ' ';
  }
  return text;
}

std::string TextWith(Chance& chance, std::size_t words, const std::string& word) {
  return Text(chance, chance.Below(words + 1)) + word + " " + Text(chance, chance.Below(words + 1));
}

std::shared_ptr<MailAddressEntry> Person(Chance& chance) {
  constexpr const char* kCompanies[] = {"ours.example", "ours.example", "partner.example",
                                        "outside.example"};
  auto entry = std::make_shared<MailAddressEntry>();
  entry->address = "p" + std::to_string(chance.Below(1000)) + "@" +
                   (chance.Percent(2) ? "forbidden.example" : chance.OneOf(kCompanies));
  return entry;
}

void AddRecipients(Chance& chance, MailModel& mail) {
  const std::uint64_t count = chance.Percent(3) ? 0 : 1 + chance.Below(12);
  for (std::uint64_t i = 0; i < count; ++i) {
    std::shared_ptr<MailAddressEntry> entry = Person(chance);
    if (chance.Percent(8)) {  // a list, which may contain itself and entries used before
      entry->address.reset();
      entry->displayType = 5;
      if (!chance.Percent(10)) entry->id = "list";
      for (std::uint64_t members = chance.Below(5); members > 0; --members) {
        entry->members.push_back(Person(chance));
      }
      if (chance.Percent(20)) entry->members.push_back(entry);
      if (!mail.recipients.empty() && mail.recipients.front().entry && chance.Percent(50)) {
        entry->members.push_back(mail.recipients.front().entry);
      }
    } else if (chance.Percent(4)) {
      entry->address.reset();
      entry->displayType = static_cast<std::int32_t>(chance.Below(4));
    } else if (chance.Percent(2)) {
      entry.reset();
    } else if (!mail.recipients.empty() && chance.Percent(5)) {
      entry = mail.recipients.back().entry;
    }
    mail.recipients.push_back({"Somebody", std::move(entry)});
  }
}

void AddTexts(Chance& chance, MailModel& mail) {
  if (!chance.Percent(3)) mail.senderName = chance.Percent(3) ? "Watched Wanda" : "Ada Winter";
  if (chance.Percent(2)) mail.senderName = "";
  if (!chance.Percent(4)) {
    mail.subject = chance.Percent(3)   ? ""
                   : chance.Percent(5) ? TextWith(chance, 4, "STOP-SUBJECT")
                                       : Text(chance, 1 + chance.Below(8));
    if (chance.Percent(4)) *mail.subject += "[exempt]";
  }
  const std::size_t words = chance.Percent(2) ? 20000 : 200;
  if (!chance.Percent(4)) {
    mail.body = chance.Percent(3)   ? ""
                : chance.Percent(4) ? TextWith(chance, words, "TAG-BODY")
                : chance.Percent(4) ? TextWith(chance, words, "STOP-CONTENT")
                                    : Text(chance, chance.Below(words));
  }
  if (chance.Percent(50)) {
    mail.htmlBody = "<html>" + Text(chance, chance.Below(words));
    if (chance.Percent(40)) {
      *mail.htmlBody += "<img src=\"cid:";
      *mail.htmlBody += chance.Percent(70) ? kSignatureName : "other.png";
      if (!chance.Percent(5)) *mail.htmlBody += "@01D";
    }
  }
}

void AddAttachments(Chance& chance, MailModel& mail) {
  constexpr const char* kNames[] = {"plan.docx", "Übersicht.xlsx", "notes.txt", "contract.pdf",
                                    "a b.zip"};
  const std::uint64_t count = chance.Percent(40) ? 0 : chance.Below(6);
  for (std::uint64_t i = 0; i < count; ++i) {
    MailAttachment attachment;
    const std::uint64_t kind = chance.Below(100);
    attachment.type = kind < 80 ? 1 : kind < 88 ? 4 : kind < 95 ? 5 : 6;
    if (!chance.Percent(1)) {
      attachment.fileName = chance.Percent(3) ? "keys.secret" : chance.OneOf(kNames);
    }
    if (!chance.Percent(3)) attachment.pathName = "C:\\shared\\nowhere";
    attachment.content = chance.Percent(5)   ? ""
                         : chance.Percent(3) ? TextWith(chance, 100, "STOP-CONTENT")
                                             : Text(chance, chance.Below(400));
    mail.attachments.push_back(std::move(attachment));
  }
}

WishedFault PickFault(Chance& chance) {
  constexpr const char* kStages[] = {"recipients", "sender",     "envelope", "subject",
                                     "body",       "attachment", "close"};
  switch (chance.Below(20)) {
    case 0:
      return {"early", "recipients"};
    case 1:
      return {"negative", "body"};
    case 2:
      return {"late", chance.Percent(50) ? "subject" : "close"};
    case 3:
    case 4:
    case 5: {
      constexpr const char* kRefused[] = {"sender", "envelope", "content", "close"};
      return {"noblock", chance.OneOf(kRefused)};
    }
    case 6: {
      constexpr const char* kCrashed[] = {"recipients", "sender",     "subject",
                                          "body",       "attachment", "close"};
      return {"crash", chance.OneOf(kCrashed)};
    }
    case 7:
    case 8:
    case 9:
    case 10:
    case 11:
    case 12:
      return {"silent", chance.OneOf(kStages)};
    default:
      return {"odd", chance.OneOf(kStages)};
  }
}

}  // namespace

RandomMail MakeMail(std::uint64_t seed, std::uint64_t number) {
  Chance chance(seed, number);
  RandomMail mail;
  AddRecipients(chance, mail.model);
  AddTexts(chance, mail.model);
  AddAttachments(chance, mail.model);
  if (chance.Percent(10)) {
    mail.fault = PickFault(chance);
    auto entry = std::make_shared<MailAddressEntry>();
    entry->address = mail.fault.kind + "." + mail.fault.stage + "@fault.example";
    mail.model.recipients.push_back({"Fault", std::move(entry)});
  } else if (chance.Percent(6)) {
    mail.incident = Incident::kSentTwice;
  } else if (chance.Below(400) == 0) {
    mail.incident = chance.Percent(50) ? Incident::kNoAgent : Incident::kAgentKilledBefore;
  }
  return mail;
}

}  // namespace soak
