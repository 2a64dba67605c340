// Walks over the mails in files, folders and mailboxes, one at a time:
//
//   MailSource source({"inbox/", "archive.mbox", "letter.msg", "-"});
//   while (const std::optional<RawMail> raw = source.Next()) {
//     if (raw->error) { report(raw->name, *raw->error); continue; }
//     use(ReadMail(raw->bytes));  // may raise MailError: report that too, and go on
//   }
//
// An input is one of:
//
// - A file with one mail of any kind that ReadMail knows.
// - An mbox: a file that begins with "From ". A line that begins so, contains a time of day and
// follows
//   an empty line starts the next mail. ">From " at a line's beginning loses its first ">".
// - A folder. Its files come in the order of their names, then its subfolders, recursively. Hidden
//   files, hidden folders and symbolic links to folders are left out.
// - A Maildir, which is a folder with the subfolders "cur" and "new": only the files in those two,
// and
//   subfolders that are Maildirs themselves, hidden or not.
// - "-" for standard input: one mail or an mbox. On Windows the caller has to switch it to binary
// mode.
//
// Memory holds one mail, and the names in the folders on the way to it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace simulation::mail {

// One mail, not parsed yet.
struct RawMail {
  std::string name;                  // its path; "archive.mbox#17" if a file has more than one
  std::string bytes;                 // empty with an error
  std::optional<std::string> error;  // why it can't be read
};

class MailSource {
 public:
  // `inputs` are paths (UTF-8). If `filesFrom` isn't empty it names a file with further inputs, one
  // a line; they come after the others. "-" there means that standard input has the list. Raises
  // MailError if that file can't be opened.
  explicit MailSource(std::vector<std::string> inputs, const std::string& filesFrom = {});
  ~MailSource();
  MailSource(const MailSource&) = delete;
  MailSource& operator=(const MailSource&) = delete;

  // The next mail, or the next input that can't be read; absent after the last one.
  std::optional<RawMail> Next();

  // Passes over what Next would return, without reading a file that holds one mail. False after
  // the last one.
  bool Skip();

 private:
  class Mailbox;
  class Folder;
  class List;

  bool OpenNext(std::optional<RawMail>* failed);
  std::optional<std::string> NextInput();
  void Open(const std::string& input);

  std::vector<std::string> m_inputs;
  std::size_t m_nextInput = 0;
  std::unique_ptr<List> m_list;
  std::vector<std::unique_ptr<Folder>> m_folders;  // the one being walked, inside the one before it
  std::unique_ptr<Mailbox> m_mailbox;
};

}  // namespace simulation::mail
