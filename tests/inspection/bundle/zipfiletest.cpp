#include "inspection/bundle/zipfile.h"

#include <gtest/gtest.h>

namespace {

using inspection::bundle::ReadZip;
using inspection::bundle::WriteZip;
using inspection::bundle::ZipEntry;

std::string ZipError(const std::string& bytes) {
  std::vector<ZipEntry> entries;
  std::string error;
  return ReadZip(bytes, &entries, &error) ? "" : error;
}

TEST(ZipFile, ReadsWhatItWrote) {
  std::string all;
  for (int i = 0; i < 100'000; ++i) all += static_cast<char>(i * i % 251);
  const std::vector<ZipEntry> written = {{"empty.txt", ""}, {"a/b.bin", all}, {"c", "text\n"}};
  const std::string bytes = WriteZip(written);
  EXPECT_TRUE(inspection::bundle::IsZip(bytes));
  EXPECT_EQ(bytes, WriteZip(written));
  std::vector<ZipEntry> read;
  std::string error;
  ASSERT_TRUE(ReadZip(bytes, &read, &error)) << error;
  ASSERT_EQ(read.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(read[i].name, written[i].name);
    EXPECT_EQ(read[i].bytes, written[i].bytes);
  }
}

// As another program makes it: stored, with a comment at the end.
TEST(ZipFile, ReadsStoredEntries) {
  const std::string local(
      "PK\3\4\x0A\0\0\0\0\0\0\0\0\0\x86\xA6\x10\x36\x05\0\0\0\x05\0\0\0\x01\0\0\0ahello", 36);
  const std::string central(
      "PK\1\2\x0A\0\x0A\0\0\0\0\0\0\0\0\0\x86\xA6\x10\x36\x05\0\0\0\x05\0\0\0\x01\0\0\0\0\0\0\0\0\0"
      "\0\0\0\0"
      "\0\0\0\0a",
      47);
  const std::string end("PK\5\6\0\0\0\0\x01\0\x01\0\x2F\0\0\0\x24\0\0\0\x02\0hi", 24);
  std::vector<ZipEntry> entries;
  std::string error;
  ASSERT_TRUE(ReadZip(local + central + end, &entries, &error)) << error;
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].bytes, "hello");
}

TEST(ZipFile, RefusesEveryCutAndEveryChangedByteOfTheData) {
  const std::string bytes = WriteZip({{"a", "some text, some text"}});
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_NE(ZipError(bytes.substr(0, size)), "") << size;
  }
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::string changed = bytes;
    changed[i] = static_cast<char>(changed[i] ^ 0x55);
    const std::string error = ZipError(changed);  // some fields don't matter; none may be fatal
    if (i >= 31 && i < 40) {
      EXPECT_NE(error, "") << i;
    }
  }
  EXPECT_EQ(ZipError("no zip"), "this is no .zip file, or its end is missing");
}

}  // namespace
