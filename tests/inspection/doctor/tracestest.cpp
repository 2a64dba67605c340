#include "inspection/doctor/traces.h"

#include <gtest/gtest.h>

#include <cstring>

#include "agent/outlookaddin/addinids.h"

namespace {

using inspection::doctor::Connect;
using inspection::doctor::ConnectOf;
using inspection::doctor::NamesAddIn;

TEST(AddInClass, IsTheLibrarysClass) {
  constexpr GUID kClass = platform::GuidFromText(inspection::doctor::kAddInClass);
  EXPECT_EQ(std::memcmp(&kClass, &CLSID_Connect, sizeof kClass), 0);
}

TEST(NamesAddIn, FindsTheNameInEitherEncoding) {
  EXPECT_TRUE(NamesAddIn("Quorvex.Connect", ""));
  EXPECT_TRUE(NamesAddIn("quorvex.connect\\dtype", ""));
  EXPECT_TRUE(NamesAddIn(
      "A1", std::string_view("\x01\0\0\0q\0u\0o\0r\0v\0e\0x\0.\0c\0o\0n\0n\0e\0c\0t\0\0\0", 36)));
  EXPECT_TRUE(NamesAddIn("A1", "c:\\program files\\dlpaddin.dll"));
  EXPECT_FALSE(NamesAddIn("A1", "c:\\program files\\other.dll"));
  EXPECT_FALSE(NamesAddIn("", ""));
}

TEST(ConnectOf, ReadsTheTimeOfThisAddIn) {
  const std::string text =
      "Name: Other\r\nProgID: Other.Connect\r\nBoot Time (Milliseconds): 900\r\n\r\n"
      "Name: Quorvex mail add-in\r\nDescription: \r\nProgID: Quorvex.Connect\r\nLoad Behavior: "
      "3\r\n"
      "Boot Time (Milliseconds): 47\r\n\r\nName: Third\r\nBoot Time (Milliseconds): 5\r\n";
  const auto connect = ConnectOf(45, "2026-11-21 08:01:12", text);
  ASSERT_TRUE(connect);
  EXPECT_EQ(connect->milliseconds, 47u);
  EXPECT_EQ(connect->time, "2026-11-21 08:01:12");
  EXPECT_FALSE(ConnectOf(45, "", "Name: Other\r\nProgID: Other.Connect\r\n"));
  EXPECT_FALSE(
      ConnectOf(45, "", "ProgID: Quorvex.Connect\r\nName: x\r\nBoot Time (Milliseconds): 5"));
  EXPECT_FALSE(ConnectOf(45, "", "ProgID: Quorvex.Connect\r\nBoot Time (Milliseconds): x"));
  EXPECT_FALSE(ConnectOf(46, "", text));
}

TEST(ConnectOf, TellsThatOutlookDisabledIt) {
  const auto connect = ConnectOf(59, "t", "ProgID: Quorvex.Connect\r\nReason: slow");
  ASSERT_TRUE(connect);
  EXPECT_FALSE(connect->milliseconds);
  EXPECT_FALSE(ConnectOf(59, "t", "ProgID: Other.Connect"));
}

}  // namespace
