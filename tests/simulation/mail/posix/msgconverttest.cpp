// Compares what the reader makes of .msg files with what msgconvert made of them, as
// data/record.py recorded it. The project has one such file; the others are public and are read
// from the folder $QUORVEX_PUBLIC_MAILS/msg, if there is one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "simulation/agent/sha256.h"
#include "simulation/mail/mailreader.h"

namespace simulation::mail {
namespace {

using Json = nlohmann::json;
using agent::Sha256Of;

// Where msgconvert changes the mail, so that the two differ.
const std::set<std::pair<std::string, std::string>> kDifferences = {
    // Doesn't quote a name with a comma, and garbles quotation marks in the text.
    {"chinese-message-garbled.msg", "recipients"},
    {"chinese-message-garbled.msg", "text"},
    // Writes no header for an empty subject.
    {"chinese-message.msg", "subject"},
    // Puts an address into quotes.
    {"plain-chain.msg", "recipients"},
    // Writes a recipient's name in place of the address.
    {"simple-email-with-TO-and-CC-single.msg", "recipients"},
    // Takes a first word in parentheses for a comment.
    {"simple-sent.msg", "subject"},
    // Changes the line ends of attached text and encodes it anew.
    {"S-MIME-test-message-signed.msg", "attachments"},
    {"forward-with-attachments-and-embedded-images.msg", "attachments"},
};

std::vector<Json> RecordedResults() {
  std::ifstream file(std::filesystem::path(QUORVEX_MAIL_DATA) / "msgconvert.jsonl");
  std::vector<Json> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(Json::parse(line));
  return lines;
}

std::filesystem::path PathOfOutlookFile(const std::string& name) {
  const std::filesystem::path own = std::filesystem::path(QUORVEX_MAIL_DATA) / name;
  if (std::filesystem::exists(own)) return own;
  const char* const folder = std::getenv("QUORVEX_PUBLIC_MAILS");
  return std::filesystem::path(folder != nullptr ? folder : "") / "msg" / name;
}

MailModel ReadOutlookFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return ReadMail(std::move(bytes).str());
}

// With LF ends and none at its end.
std::string PlainText(const std::string& body) {
  std::string text;
  for (const char c : body) {
    if (c != '\r') text += c;
  }
  while (text.ends_with('\n')) text.pop_back();
  return text;
}

// msgconvert writes no Bcc.
std::vector<std::string> ToAndCc(const MailModel& mail, std::size_t count) {
  std::vector<std::string> addresses;
  for (const MailRecipient& recipient : mail.recipients) {
    if (addresses.size() == count) break;
    addresses.push_back(recipient.entry->address.value_or(""));
  }
  return addresses;
}

// Each attachment as "name sha256", or "message" if it is one.
std::vector<std::string> AttachmentsOf(const MailModel& mail) {
  std::vector<std::string> attachments;
  for (const MailAttachment& attachment : mail.attachments) {
    attachments.push_back(attachment.type == 5
                              ? "message"
                              : *attachment.fileName + " " + Sha256Of(attachment.content));
  }
  return attachments;
}

std::vector<std::string> AttachmentsOf(const Json& recorded) {
  std::vector<std::string> attachments;
  for (const Json& attachment : recorded["attachments"]) {
    attachments.push_back(attachment["type"] == "message/rfc822"
                              ? "message"
                              : attachment["name"].get<std::string>() + " " +
                                    attachment["sha256"].get<std::string>());
  }
  return attachments;
}

class MsgConvert : public testing::TestWithParam<Json> {};

TEST_P(MsgConvert, ReadsTheSameFromAnOutlookMessage) {
  const Json& recorded = GetParam();
  const std::string file = recorded["file"];
  const std::filesystem::path path = PathOfOutlookFile(file);
  if (!std::filesystem::exists(path)) {
    GTEST_SKIP() << "the public mails aren't here; set QUORVEX_PUBLIC_MAILS to their folder";
  }
  const auto isCompared = [&](const char* field) { return !kDifferences.contains({file, field}); };
  const MailModel mail = ReadOutlookFile(path);
  if (isCompared("subject")) {
    EXPECT_EQ(mail.subject.value_or(""), recorded["subject"]);
  }
  if (isCompared("recipients")) {
    auto expected = recorded["to"].get<std::vector<std::string>>();
    for (const Json& address : recorded["cc"]) expected.push_back(address);
    EXPECT_EQ(ToAndCc(mail, expected.size()), expected);
  }
  if (isCompared("text")) {
    EXPECT_EQ(Sha256Of(PlainText(*mail.body)), recorded["text_sha256"]);
  }
  if (recorded["html"] == true) {
    EXPECT_TRUE(mail.htmlBody);
  }
  if (isCompared("attachments")) {
    EXPECT_EQ(AttachmentsOf(mail), AttachmentsOf(recorded));
  }
}

std::string TestName(const testing::TestParamInfo<Json>& info) {
  std::string name = info.param["file"];
  for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
  return name;
}

INSTANTIATE_TEST_SUITE_P(Files, MsgConvert, testing::ValuesIn(RecordedResults()), TestName);

}  // namespace
}  // namespace simulation::mail
