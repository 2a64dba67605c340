// The page that `--html FILE` writes.
#pragma once

#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "inspection/comparison/recordedmail.h"
#include "inspection/report/page.h"

namespace tools {

// A file for a page. Opening and Close end the command with CommandError if it can't be written.
class HtmlFile {
 public:
  explicit HtmlFile(const std::string& path);

  std::ostream& Stream() { return m_file; }
  // Call once, after the page's own Finish.
  void Close();

 private:
  std::string m_path;
  std::ofstream m_file;
};

// A page of mails. With an empty path there is no page, and its functions do nothing.
class MailsPage {
 public:
  MailsPage(const std::string& path, std::string_view title);

  void Add(const inspection::comparison::RecordedMail& mail);
  // The same from a line of `send --json` or `log explain --json`.
  void AddLine(const std::string& line);
  void Finish();

 private:
  std::unique_ptr<HtmlFile> m_file;
  std::unique_ptr<inspection::report::Page> m_page;
};

// The local time as a page shows it: "2026-03-01 12:00".
std::string PageTime();

}  // namespace tools
