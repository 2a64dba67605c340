#include "simulation/mail/mailsource.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "simulation/mail/bytesource.h"
#include "simulation/mail/mailbox.h"
#include "simulation/mail/mailreader.h"

namespace simulation::mail {

namespace {

namespace fs = std::filesystem;

std::string Utf8Of(const fs::path& path) {
  const std::u8string text = path.u8string();
  return {reinterpret_cast<const char*>(text.data()), text.size()};
}

bool IsFolder(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

bool IsMaildir(const fs::path& path) {
  return IsFolder(path / "cur") && IsFolder(path / "new");
}

}  // namespace

// A file with one mail or more.
class MailSource::Mailbox {
 public:
  explicit Mailbox(std::string path)
      : m_path(std::move(path)), m_file(OpenBytes(m_path)), m_reader(*m_file) {}

  std::optional<RawMail> Next() {
    RawMail mail;
    try {
      std::optional<std::string> bytes = m_reader.Next();
      if (!bytes) return std::nullopt;
      mail.bytes = std::move(*bytes);
    } catch (const MailError& error) {
      mail.error = error.what();
    }
    mail.name = m_path;
    if (m_reader.HasSeveral()) mail.name += "#" + std::to_string(m_reader.Number());
    return mail;
  }

  bool Skip() {
    try {
      return m_reader.Skip();
    } catch (const MailError&) {
      return true;  // Next returns it as a mail with an error
    }
  }

 private:
  std::string m_path;
  std::unique_ptr<std::istream> m_file;
  MailboxReader m_reader;
};

// What is in a folder: files first, then subfolders, each sorted, so that every run has one order.
class MailSource::Folder {
 public:
  // Raises MailError if the folder can't be listed.
  explicit Folder(const fs::path& path) : m_path(path) {
    const bool isMaildir = IsMaildir(path);
    std::error_code error;
    for (fs::directory_iterator at(path, error), end; !error && at != end; at.increment(error)) {
      Take(*at, isMaildir);
    }
    if (error) throw MailError(error.message());
    std::sort(m_files.begin(), m_files.end());
    std::sort(m_folders.begin(), m_folders.end());
    m_files.insert(m_files.end(), std::make_move_iterator(m_folders.begin()),
                   std::make_move_iterator(m_folders.end()));
    m_folders.clear();
  }

  // The next file's or subfolder's path.
  std::optional<std::string> Next() {
    if (m_next == m_files.size()) return std::nullopt;
    return Utf8Of(m_path / m_files[m_next++]);
  }

 private:
  void Take(const fs::directory_entry& entry, bool isMaildir) {
    const fs::path name = entry.path().filename();
    const bool isHidden = Utf8Of(name).starts_with('.');
    std::error_code error;
    // "Other" files are pipes, sockets and devices.
    if (entry.is_directory(error)) {
      if (entry.is_symlink(error)) return;
      const bool isMailsFolder = name == "cur" || name == "new" || IsMaildir(entry.path());
      if (isMaildir ? isMailsFolder : !isHidden) m_folders.push_back(name);
    } else if (!isHidden && !isMaildir && !entry.is_other(error)) {
      m_files.push_back(name);
    }
  }

  fs::path m_path;
  std::vector<fs::path> m_files;
  std::vector<fs::path> m_folders;
  std::size_t m_next = 0;
};

// A file with inputs, one a line.
class MailSource::List {
 public:
  explicit List(const std::string& path) : m_file(OpenBytes(path)) {}

  std::optional<std::string> Next() {
    std::string line;
    while (std::getline(*m_file, line)) {
      if (line.ends_with('\r')) line.pop_back();
      if (!line.empty()) return line;
    }
    return std::nullopt;
  }

 private:
  std::unique_ptr<std::istream> m_file;
};

MailSource::MailSource(std::vector<std::string> inputs, const std::string& filesFrom)
    : m_inputs(std::move(inputs)),
      m_list(filesFrom.empty() ? nullptr : std::make_unique<List>(filesFrom)) {}
MailSource::~MailSource() = default;

std::optional<RawMail> MailSource::Next() {
  std::optional<RawMail> mail;
  do {
    if (m_mailbox) mail = m_mailbox->Next();
    if (!mail) m_mailbox.reset();
  } while (!mail && OpenNext(&mail));
  return mail;
}

bool MailSource::Skip() {
  std::optional<RawMail> failed;
  bool isSkipped = false;
  do {
    isSkipped = failed || (m_mailbox && m_mailbox->Skip());
    if (!isSkipped) m_mailbox.reset();
  } while (!isSkipped && OpenNext(&failed));
  return isSkipped;
}

// Opens the next input; one that can't be opened becomes `*failed`. False after the last one.
bool MailSource::OpenNext(std::optional<RawMail>* failed) {
  const std::optional<std::string> input = NextInput();
  if (!input) return false;
  try {
    Open(*input);
  } catch (const MailError& error) {
    *failed = RawMail{*input, {}, error.what()};
  }
  return true;
}

std::optional<std::string> MailSource::NextInput() {
  while (!m_folders.empty()) {
    if (auto path = m_folders.back()->Next()) return path;
    m_folders.pop_back();
  }
  if (m_nextInput < m_inputs.size()) return m_inputs[m_nextInput++];
  return m_list ? m_list->Next() : std::nullopt;
}

void MailSource::Open(const std::string& input) {
  if (input != "-" && IsFolder(PathOf(input))) {
    m_folders.push_back(std::make_unique<Folder>(PathOf(input)));
  } else {
    m_mailbox = std::make_unique<Mailbox>(input);
  }
}

}  // namespace simulation::mail
