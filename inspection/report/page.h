// A page of results for a browser: one HTML file that needs no network.
//
// The page's parts are in page/; the build puts them together with a policy that lets the browser
// run that one script and load nothing. Mails are embedded as JSON in which no character could end
// the script element, and the script shows every text as text. So a mail can't change the page.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "inspection/comparison/comparison.h"
#include "inspection/comparison/recordedmail.h"

namespace inspection::report {

// Writes the page while its mails come, in constant memory. Write errors show in the stream's state
// after Finish. For one thread.
class Page {
 public:
  // A page of mails, for `send`, `summary` and `log explain`. `title` is its heading, `made` says
  // when it was made; both must be valid UTF-8.
  Page(std::ostream& out, std::string_view title, std::string_view made);

  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  void Add(const comparison::RecordedMail& mail);
  // Ends the page; call it once, after the last mail.
  void Finish();

 private:
  std::ostream& m_out;
  bool m_first = true;
};

// The same for a comparison. Its Difference needs the JSON of both sides.
class ComparisonPage {
 public:
  ComparisonPage(std::ostream& out, std::string_view title, std::string_view made);

  ComparisonPage(const ComparisonPage&) = delete;
  ComparisonPage& operator=(const ComparisonPage&) = delete;

  void Add(const comparison::Difference& difference);
  // Ends the page with the comparison's totals; call it once, after the comparison's own Finish.
  void Finish(const comparison::Comparison& comparison);

 private:
  std::ostream& m_out;
  bool m_first = true;
};

// JSON for a script element: "<", ">", "&", U+2028 and U+2029, which JSON has in strings only,
// become \u escapes.
std::string ForScript(std::string_view json);

}  // namespace inspection::report
