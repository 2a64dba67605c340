#include "inspection/report/page.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "inspection/report/pagetext.h"

namespace inspection::report {

namespace {

std::string Quoted(std::string_view text) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  return {buffer.GetString(), buffer.GetSize()};
}

void Begin(std::ostream& out, std::string_view kind, std::string_view title,
           std::string_view made) {
  const std::string head = "{\"kind\":" + Quoted(kind) + ",\"title\":" + Quoted(title) +
                           ",\"made\":" + Quoted(made) + ",\"entries\":[";
  out << PageBeforeData() << ForScript(head);
}

void Next(std::ostream& out, bool* first) {
  out << (*first ? "\n" : ",\n");
  *first = false;
}

std::string Pairs(const comparison::Waits& waits) {
  std::string pairs = "[";
  for (const auto& [time, count] : waits.Counts()) {
    if (pairs.size() > 1) pairs += ',';
    pairs += '[' + std::to_string(time / 10) + '.' + std::to_string(time % 10) + ',' +
             std::to_string(count) + ']';
  }
  return pairs + ']';
}

std::string OrNull(std::string_view json) {
  return json.empty() ? "null" : std::string(json);
}

}  // namespace

std::string ForScript(std::string_view json) {
  std::string safe;
  safe.reserve(json.size());
  for (std::size_t i = 0; i < json.size(); ++i) {
    const char c = json[i];
    if (c == '<') {
      safe += "\\u003c";
    } else if (c == '>') {
      safe += "\\u003e";
    } else if (c == '&') {
      safe += "\\u0026";
    } else if (json.substr(i, 3) == "\xE2\x80\xA8" || json.substr(i, 3) == "\xE2\x80\xA9") {
      safe += json[i + 2] == '\xA8' ? "\\u2028" : "\\u2029";
      i += 2;
    } else {
      safe += c;
    }
  }
  return safe;
}

Page::Page(std::ostream& out, std::string_view title, std::string_view made) : m_out(out) {
  Begin(m_out, "mails", title, made);
}

void Page::Add(const comparison::RecordedMail& mail) {
  Next(m_out, &m_first);
  m_out << ForScript(MailJson(mail));
}

void Page::Finish() {
  m_out << "]}" << PageAfterData() << std::flush;
}

ComparisonPage::ComparisonPage(std::ostream& out, std::string_view title, std::string_view made)
    : m_out(out) {
  Begin(m_out, "comparison", title, made);
}

void ComparisonPage::Add(const comparison::Difference& difference) {
  Next(m_out, &m_first);
  m_out << ForScript(
      "{\"mail\":" + Quoted(difference.mail) + ",\"change\":" + Quoted(NameOf(difference.change)) +
      ",\"cause\":" + Quoted(difference.cause) + ",\"before\":" + OrNull(difference.beforeJson) +
      ",\"after\":" + OrNull(difference.afterJson) + "}");
}

void ComparisonPage::Finish(const comparison::Comparison& comparison) {
  // The object's own braces go: its member "summary" becomes one of the page's.
  const std::string summary = comparison.Json();
  m_out << "]," << ForScript(std::string_view(summary).substr(1, summary.size() - 2))
        << ",\"waits\":{\"requests\":{\"before\":" << Pairs(comparison.RequestsBefore())
        << ",\"after\":" << Pairs(comparison.RequestsAfter())
        << "},\"mails\":{\"before\":" << Pairs(comparison.MailsBefore())
        << ",\"after\":" << Pairs(comparison.MailsAfter()) << "}}}" << PageAfterData()
        << std::flush;
}

}  // namespace inspection::report
