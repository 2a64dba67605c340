#include "simulation/mail/mailbox.h"

#include <string_view>
#include <utility>

#include "simulation/mail/bytesource.h"
#include "simulation/mail/mailreader.h"

namespace simulation::mail {

namespace {

constexpr std::string_view kFrom = "From ";

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// "From " can begin a sentence too. A line that separates mails has a time of day, "12:00".
bool IsSeparator(std::string_view line) {
  if (!line.starts_with(kFrom)) return false;
  for (std::size_t at = kFrom.size() + 2; at + 2 < line.size(); ++at) {
    if (line[at] == ':' && IsDigit(line[at - 2]) && IsDigit(line[at - 1]) &&
        IsDigit(line[at + 1]) && IsDigit(line[at + 2])) {
      return true;
    }
  }
  return false;
}

// Programs that write mailboxes put a ">" before a mail's own "From ", and another one before every
// ">From " so that reading can undo it.
bool IsQuotedFrom(std::string_view line) {
  const std::size_t from = line.find_first_not_of('>');
  return from != 0 && from != std::string_view::npos && line.substr(from).starts_with(kFrom);
}

// Writers add an empty line after each mail.
void DropEmptyLastLine(std::string* mail) {
  if (mail->ends_with("\r\n\r\n")) {
    mail->resize(mail->size() - 2);
  } else if (mail->ends_with("\n\n")) {
    mail->resize(mail->size() - 1);
  }
}

}  // namespace

MailboxReader::MailboxReader(std::istream& file) : m_file(file), m_begin(kFrom.size(), '\0') {
  m_file.read(m_begin.data(), static_cast<std::streamsize>(m_begin.size()));
  m_begin.resize(static_cast<std::size_t>(m_file.gcount()));
  m_isMailbox = m_begin == kFrom;
  std::string restOfLine;
  if (m_isMailbox) std::getline(m_file, restOfLine);
}

std::optional<std::string> MailboxReader::Next() {
  if (!m_hasNext) return std::nullopt;
  m_hasNext = false;
  ++m_number;
  return m_isMailbox ? NextOfMailbox() : m_begin + AllBytes(m_file);
}

bool MailboxReader::Skip() {
  if (m_isMailbox) return Next().has_value();
  if (!std::exchange(m_hasNext, false)) return false;
  ++m_number;
  return true;
}

std::string MailboxReader::NextOfMailbox() {
  std::string mail;
  std::string line;
  bool isAfterEmptyLine = false;
  while (std::getline(m_file, line)) {
    if (isAfterEmptyLine && IsSeparator(line)) {
      m_hasNext = true;
      break;
    }
    isAfterEmptyLine = line.empty() || line == "\r";
    mail.append(line, IsQuotedFrom(line) ? 1 : 0);
    if (!m_file.eof()) mail += '\n';
    if (mail.size() > kLargestMail) throw MailError("it is larger than 512 MB");
  }
  if (m_file.bad()) throw MailError("it can't be read to its end");
  DropEmptyLastLine(&mail);
  return mail;
}

}  // namespace simulation::mail
