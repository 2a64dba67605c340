#include "simulation/mail/storage.h"

#include <gtest/gtest.h>

#include <string>

#include "simulation/mail/mailreader.h"

namespace simulation::mail {
namespace {

std::string ReadError(const std::string& bytes) {
  try {
    ReadCompoundFile(bytes);
  } catch (const MailError& error) {
    return error.what();
  }
  return "";
}

Storage NestedStorages(int depth) {
  Storage storage;
  storage.streams["level"] = std::to_string(depth);
  if (depth > 0) storage.storages["in"] = NestedStorages(depth - 1);
  return storage;
}

TEST(CompoundFile, GivesBackWhatWasWritten) {
  Storage root;
  root.streams["empty"] = "";
  root.streams["small"] = std::string("a\0b", 3);
  root.streams["large"] = std::string(100'000, 'x');
  root.storages["folder"].streams["small"] = "other";
  root.storages["folder"].storages["inner"].streams["deep"] = "deep";
  root.storages["empty folder"];
  const std::string file = WriteCompoundFile(root);
  EXPECT_TRUE(LooksLikeCompoundFile(file));
  const Storage read = ReadCompoundFile(file);
  EXPECT_EQ(read.streams, root.streams);
  ASSERT_EQ(read.storages.size(), 2U);
  EXPECT_EQ(read.storages.at("folder").streams, root.storages["folder"].streams);
  EXPECT_EQ(read.storages.at("folder").storages.at("inner").streams.at("deep"), "deep");
  EXPECT_TRUE(read.storages.at("empty folder").streams.empty());
  EXPECT_TRUE(read.storages.at("empty folder").storages.empty());
}

TEST(CompoundFile, RefusesADamagedFile) {
  const std::string file = WriteCompoundFile(NestedStorages(1));
  EXPECT_EQ(ReadError(file.substr(0, 100)), "the compound file is damaged");
  EXPECT_EQ(ReadError(""), "the compound file is damaged");
  EXPECT_EQ(ReadError("Subject: s\n\n"), "the compound file is damaged");
}

TEST(CompoundFile, RefusesADirectoryThatDoesNotBeginWithTheRoot) {
  const std::string file = WriteCompoundFile(NestedStorages(1));
  // The header's word at 48 is the directory's first sector, counted after the header.
  ASSERT_EQ(file.substr(49, 3), std::string(3, '\0'));
  const std::size_t root = (static_cast<unsigned char>(file[48]) + std::size_t{1}) * 512;
  const std::string noNeighbours(8, '\xFF');
  ASSERT_EQ(file.substr(root + 66, 1), "\5");
  ASSERT_EQ(file.substr(root + 68, 8), noNeighbours);

  std::string other = file;
  other[root + 66] = 2;
  EXPECT_EQ(ReadError(other), "the compound file is damaged") << "a stream";
  for (const std::size_t neighbour : {68U, 72U}) {
    other = file;
    other.replace(root + neighbour, 4, std::string("\1\0\0\0", 4));
    EXPECT_EQ(ReadError(other), "the compound file is damaged") << "a neighbour at " << neighbour;
  }
}

TEST(CompoundFile, LeavesOutWhatIsTooDeep) {
  const Storage root = ReadCompoundFile(WriteCompoundFile(NestedStorages(kDeepestStorage + 3)));
  const Storage* at = &root;
  int depth = 0;
  for (; at->storages.contains("in"); ++depth) at = &at->storages.at("in");
  EXPECT_EQ(depth, kDeepestStorage);
}

TEST(CompoundFile, IsRecognisedByItsSignature) {
  EXPECT_FALSE(LooksLikeCompoundFile(""));
  EXPECT_FALSE(LooksLikeCompoundFile("Subject: s"));
}

}  // namespace
}  // namespace simulation::mail
