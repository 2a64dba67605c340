#include "inspection/doctor/libraryimage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/inspection/doctor/craftedlibrary.h"

namespace {

using inspection::doctor::LibraryImage;
using inspection::doctor::ReadLibraryImage;

TEST(LibraryImage, ReadsBothKinds) {
  for (const int bits : {64, 32}) {
    const LibraryImage image = ReadLibraryImage(tests::CraftedLibrary(bits, "KERNEL32.dll"));
    EXPECT_EQ(image.bits, bits);
    EXPECT_EQ(image.version, "1.2.3.4");
    EXPECT_FALSE(image.hasSignature);
    EXPECT_THAT(image.imports, testing::ElementsAre("KERNEL32.dll"));
    EXPECT_TRUE(ReadLibraryImage(tests::CraftedLibrary(bits, "", true)).hasSignature);
    EXPECT_THAT(ReadLibraryImage(tests::CraftedLibrary(bits, "")).imports, testing::IsEmpty());
  }
}

TEST(LibraryImage, SurvivesEveryCut) {
  const std::string whole = tests::CraftedLibrary(64, "KERNEL32.dll");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::string cut =
        whole.substr(0, size);  // of its own, so that the sanitizer sees its end
    ReadLibraryImage(cut);
  }
  EXPECT_EQ(ReadLibraryImage("").bits, 0);
  EXPECT_EQ(ReadLibraryImage("MZ is no library").bits, 0);
  EXPECT_EQ(ReadLibraryImage(whole.substr(0, 0x86)).bits, 64);
}

}  // namespace
