#include "tools/json.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tools {
namespace {

TEST(Json, WritesEachKindOfValue) {
  EXPECT_EQ(Json().Text(), "null");
  EXPECT_EQ(Json(true).Text(), "true");
  EXPECT_EQ(Json(-7).Text(), "-7");
  EXPECT_EQ(Json(std::uint64_t{18446744073709551615U}).Text(), "18446744073709551615");
  EXPECT_EQ(Json(40.8).Text(), "40.8");
  EXPECT_EQ(Json("text").Text(), "\"text\"");
  EXPECT_EQ(Json(std::optional<int>()).Text(), "null");
  EXPECT_EQ(Json(std::optional<int>(3)).Text(), "3");
}

TEST(Json, EscapesWhatAJsonStringMustNotHold) {
  EXPECT_EQ(Json(std::string("a\"b\\c\n\r\t\0\x1f", 10)).Text(), R"("a\"b\\c\n\r\t\u0000\u001f")");
  EXPECT_EQ(Json("caf\xE9 \xC3\xA9").Text(), "\"caf\xEF\xBF\xBD \xC3\xA9\"");
}

TEST(Json, ObjectsKeepTheOrderOfTheirFields) {
  EXPECT_EQ(Json::Object().Text(), "{}");
  EXPECT_EQ(Json::Object().Add("z", 1).Add("a", Json::Object().Add("b\"", Json())).Text(),
            R"({"z":1,"a":{"b\"":null}})");
}

TEST(Json, ArraysKeepTheirElements) {
  EXPECT_EQ(Json::Array().Text(), "[]");
  EXPECT_EQ(Json::ArrayOf(std::vector<std::string>{"x", "y"}).Add(2).Text(), R"(["x","y",2])");
}

}  // namespace
}  // namespace tools
