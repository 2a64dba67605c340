// The page's bytes. What a browser makes of them is tested by pages.py.

#include "inspection/report/page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "inspection/comparison/resultreader.h"

namespace {

using inspection::comparison::Comparison;
using inspection::comparison::Difference;
using inspection::comparison::RecordedMail;
using inspection::report::ComparisonPage;
using inspection::report::ForScript;
using inspection::report::Page;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

RecordedMail Mail(const std::string& name) {
  RecordedMail mail;
  mail.mail = name;
  return mail;
}

std::string PageOf(const std::vector<RecordedMail>& mails, const std::string& title = "Title") {
  std::ostringstream out;
  Page page(out, title, "today");
  for (const RecordedMail& mail : mails) page.Add(mail);
  page.Finish();
  return out.str();
}

// What is inside the element with the data.
std::string DataOf(const std::string& page) {
  const std::string open = "<script type=\"application/json\" id=\"data\">";
  const std::size_t begin = page.find(open) + open.size();
  return page.substr(begin, page.find("</script>", begin) - begin);
}

TEST(ForScript, LeavesNoCharacterThatCouldEndTheElement) {
  EXPECT_EQ(ForScript("\"</script><!-- & \xE2\x80\xA8\xE2\x80\xA9 \xE2\x80\xA7 \xE2\x80\""),
            "\"\\u003c/script\\u003e\\u003c!-- \\u0026 \\u2028\\u2029 \xE2\x80\xA7 \xE2\x80\"");
}

TEST(Page, HoldsItsDataAsOneJsonObject) {
  EXPECT_EQ(DataOf(PageOf({})), R"({"kind":"mails","title":"Title","made":"today","entries":[]})");
  EXPECT_EQ(DataOf(PageOf({Mail("a"), Mail("b")})),
            "{\"kind\":\"mails\",\"title\":\"Title\",\"made\":\"today\",\"entries\":[\n"
            "{\"mail\":\"a\",\"outcome\":\"unknown\",\"checked\":\"unknown\",\"requests\":[]},\n"
            "{\"mail\":\"b\",\"outcome\":\"unknown\",\"checked\":\"unknown\",\"requests\":[]}]}");
}

TEST(Page, OfAHostileMailHasTheSameMarkupAsAnyOther) {
  const std::string hostile = "</script><script>alert(1)</script><!--<script>&amp;]]>";
  std::string page = PageOf({Mail(hostile)}, hostile);
  const std::string data = DataOf(page);
  EXPECT_THAT(data, HasSubstr("\\u003c/script\\u003e\\u003cscript\\u003ealert(1)"));
  EXPECT_THAT(data, Not(HasSubstr("<")));
  page.replace(page.find(data), data.size(), DataOf(PageOf({})));
  EXPECT_EQ(page, PageOf({}));
}

TEST(Page, LoadsNothingAndAllowsItsOwnScriptAndStyleOnly) {
  const std::string page = PageOf({});
  EXPECT_THAT(page, StartsWith("<!DOCTYPE html>"));
  EXPECT_THAT(page, EndsWith("</html>\n"));
  EXPECT_THAT(page, HasSubstr("default-src 'none'; style-src 'sha256-"));
  EXPECT_THAT(page, Not(HasSubstr("unsafe")));
  EXPECT_THAT(page, Not(HasSubstr("https:")));
  EXPECT_THAT(page, Not(HasSubstr(" src=")));
  EXPECT_THAT(page, Not(HasSubstr("@import")));
  EXPECT_THAT(page, Not(HasSubstr("url(")));
  EXPECT_THAT(page, Not(HasSubstr("innerHTML")));
  EXPECT_THAT(page, Not(HasSubstr("@DATA@")));
  EXPECT_THAT(page, Not(HasSubstr("_HASH@")));
}

TEST(ComparisonPage, HoldsDifferencesTotalsAndWaits) {
  std::ostringstream out;
  ComparisonPage page(out, "Two runs", "today");
  Comparison comparison([&page](const Difference& difference) { page.Add(difference); }, true);
  RecordedMail mail = Mail("a");
  mail.time = 123;
  comparison.TakeBefore(mail);
  comparison.TakeAfter(Mail("b"));
  comparison.Finish();
  page.Finish(comparison);
  const std::string data = DataOf(out.str());
  EXPECT_THAT(data, HasSubstr("{\"mail\":\"b\",\"change\":\"only after\",\"cause\":\"\","
                              "\"before\":null,\"after\":{\"mail\":\"b\","));
  EXPECT_THAT(data, HasSubstr("{\"mail\":\"a\",\"change\":\"only before\",\"cause\":\"\","
                              "\"before\":{\"mail\":\"a\","));
  EXPECT_THAT(data, HasSubstr("],\"summary\":{\"before\":1,\"after\":1,"));
  EXPECT_THAT(data, EndsWith("\"waits\":{\"requests\":{\"before\":[],\"after\":[]},"
                             "\"mails\":{\"before\":[[12.3,1]],\"after\":[]}}}"));
}

}  // namespace
