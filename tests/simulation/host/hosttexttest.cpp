// Bodies, which may be too large for the memory.
#include "simulation/host/hosttext.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/com/bstr.h"
#include "simulation/host/simulatedhost.h"

namespace simulation::host {
namespace {

// Twice, since the file has a position.
TEST(HostTextOfAMail, LargeBodyIsKeptInAFileAndComesBackWhole) {
  SimulatedHost host;
  mail::MailModel model;
  model.body = "begin \xC3\xAB" + std::string(HostText::kMostInMemory, 'b') + " end";
  const platform::WideString expected = Utf8ToWide(*model.body);
  EXPECT_TRUE(HostText(model.body).IsInFile());
  EXPECT_FALSE(HostText("short").IsInFile());
  HostMailItem& mail = host.CreateMail(std::move(model));
  EXPECT_FALSE(mail.Model().body.has_value());
  for (int i = 0; i < 2; ++i) {
    platform::Bstr text;
    ASSERT_EQ(S_OK, mail.get_Body(text.Put()));
    EXPECT_TRUE(platform::WideStringView(text.View()) == expected);
  }
}

}  // namespace
}  // namespace simulation::host
