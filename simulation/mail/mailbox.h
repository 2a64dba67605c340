// Splitting an mbox into its mails.
#pragma once

#include <istream>
#include <optional>
#include <string>

namespace simulation::mail {

// Reads mails one by one from a file that begins with "From ", or the only mail from one that
// doesn't. mailsource.h describes the format.
class MailboxReader {
 public:
  // `file` has to outlive this.
  explicit MailboxReader(std::istream& file);

  // The next mail's bytes, without its "From " line. Absent at the end. Raises MailError if reading
  // fails or if the mail is larger than kLargestMail; then there is no next mail.
  std::optional<std::string> Next();

  // Passes over the next mail, without reading it where that isn't needed to find the one after
  // it. False at the end. Raises like Next.
  bool Skip();

  // Counts the mails that Next returned or Skip passed over.
  int Number() const { return m_number; }
  // True if there is or was more than one.
  bool HasSeveral() const { return m_number > 1 || m_hasNext; }

 private:
  std::string NextOfMailbox();

  std::istream& m_file;
  std::string m_begin;  // the file's first bytes, which standard input can't give twice
  bool m_isMailbox = false;
  bool m_hasNext = true;
  int m_number = 0;
};

}  // namespace simulation::mail
