#include "tools/htmlpage.h"

#include <ctime>
#include <stdexcept>

#include "tools/command.h"
#include "tools/inputfile.h"
#include "tools/text.h"

namespace tools {

HtmlFile::HtmlFile(const std::string& path)
    : m_path(path), m_file(PathOf(path), std::ios::binary | std::ios::trunc) {
  if (!m_file) throw CommandError(Printable(m_path) + ": can't be written");
}

void HtmlFile::Close() {
  m_file.close();
  if (!m_file) throw CommandError(Printable(m_path) + ": can't be written");
}

MailsPage::MailsPage(const std::string& path, std::string_view title) {
  if (path.empty()) return;
  m_file = std::make_unique<HtmlFile>(path);
  m_page =
      std::make_unique<inspection::report::Page>(m_file->Stream(), ValidUtf8(title), PageTime());
}

void MailsPage::Add(const inspection::comparison::RecordedMail& mail) {
  if (m_page) m_page->Add(mail);
}

void MailsPage::AddLine(const std::string& line) {
  if (!m_page) return;
  inspection::comparison::RecordedMail mail;
  std::string why;
  if (!ParseRecordedMail(line, &mail, &why)) {
    throw std::logic_error("a result for the page is " + why);
  }
  m_page->Add(mail);
}

void MailsPage::Finish() {
  if (!m_page) return;
  m_page->Finish();
  m_file->Close();
}

std::string PageTime() {
  const std::time_t now = std::time(nullptr);
  char text[32] = "";
  std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M", std::localtime(&now));
  return text;
}

}  // namespace tools
