// Named mappings within one process. For two processes see mappingoftwotests.h.
#include "platform/mappings.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <thread>

namespace {

using platform::Handle;
using platform::handles;
using platform::kInvalidHandle;
using platform::kMapRead;
using platform::kMapReadWrite;
using platform::mappings;

// A unique name.
std::string NewName() {
  std::random_device random;
  return "Global\\quorvex" + std::to_string(random()) + "x" + std::to_string(random());
}

class Mappings : public testing::Test {
 protected:
  Handle Open(std::uint32_t access = kMapReadWrite) {
    return mappings.OpenFileMappingA(access, false, m_name.c_str());
  }

  const std::string m_name = NewName();
};

TEST_F(Mappings, AMissingNameCannotBeOpened) {
  EXPECT_EQ(Open(), nullptr);
}

TEST_F(Mappings, NewMemoryIsZeroAndSharedByAllViews) {
  const Handle maker = mappings.CreateFileMappingA(100000, m_name.c_str());
  ASSERT_NE(maker, nullptr);
  const Handle opener = Open();
  ASSERT_NE(opener, nullptr);
  auto* const first =
      static_cast<char*>(mappings.MapViewOfFile(maker, kMapReadWrite, 0, 0, 100000));
  auto* const second =
      static_cast<char*>(mappings.MapViewOfFile(opener, kMapReadWrite, 0, 0, 100000));
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(std::string(second, 100000), std::string(100000, '\0'));
  std::memcpy(first + 99990, "0123456789", 10);
  EXPECT_EQ(std::string(second + 99990, 10), "0123456789");
  EXPECT_TRUE(mappings.UnmapViewOfFile(first));
  EXPECT_TRUE(mappings.UnmapViewOfFile(second));
  EXPECT_TRUE(handles.CloseHandle(opener));
  EXPECT_TRUE(handles.CloseHandle(maker));
}

TEST_F(Mappings, AnExistingNameCannotBeCreatedAgain) {
  const Handle maker = mappings.CreateFileMappingA(4096, m_name.c_str());
  ASSERT_NE(maker, nullptr);
  EXPECT_EQ(mappings.CreateFileMappingA(4096, m_name.c_str()), nullptr);
  EXPECT_EQ(mappings.CreateFileMappingA(64, m_name.c_str()), nullptr);
  // The failed attempts left the name alone.
  const Handle opener = Open();
  EXPECT_NE(opener, nullptr);
  handles.CloseHandle(opener);
  handles.CloseHandle(maker);
}

TEST_F(Mappings, TheNameDisappearsWithTheLastHandle) {
  const Handle maker = mappings.CreateFileMappingA(4096, m_name.c_str());
  const Handle second = Open();
  EXPECT_TRUE(handles.CloseHandle(maker));
  const Handle third = Open();
  EXPECT_NE(third, nullptr);
  EXPECT_TRUE(handles.CloseHandle(second));
  EXPECT_TRUE(handles.CloseHandle(third));
  EXPECT_EQ(Open(), nullptr);
}

TEST_F(Mappings, ANewMappingOfTheNameHasNewMemory) {
  const Handle old = mappings.CreateFileMappingA(4096, m_name.c_str());
  auto* const oldView =
      static_cast<std::uint32_t*>(mappings.MapViewOfFile(old, kMapReadWrite, 0, 0, 4096));
  ASSERT_NE(oldView, nullptr);
  *oldView = 4711;
  mappings.UnmapViewOfFile(oldView);
  handles.CloseHandle(old);

  const Handle maker = mappings.CreateFileMappingA(4096, m_name.c_str());
  ASSERT_NE(maker, nullptr);
  auto* const view =
      static_cast<std::uint32_t*>(mappings.MapViewOfFile(maker, kMapReadWrite, 0, 0, 4096));
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(*view, 0u);
  mappings.UnmapViewOfFile(view);
  handles.CloseHandle(maker);
}

TEST_F(Mappings, AViewOutlivesTheHandles) {
  const Handle maker = mappings.CreateFileMappingA(4096, m_name.c_str());
  auto* const view =
      static_cast<std::uint32_t*>(mappings.MapViewOfFile(maker, kMapReadWrite, 0, 0, 4096));
  ASSERT_NE(view, nullptr);
  EXPECT_TRUE(handles.CloseHandle(maker));
  *view = 7;
  EXPECT_EQ(*view, 7u);
  EXPECT_TRUE(mappings.UnmapViewOfFile(view));
}

TEST_F(Mappings, AViewEndsWithTheLastPage) {
  const Handle maker = mappings.CreateFileMappingA(5000, m_name.c_str());
  ASSERT_NE(maker, nullptr);
  auto* const view = static_cast<char*>(mappings.MapViewOfFile(maker, kMapReadWrite, 0, 0, 8192));
  ASSERT_NE(view, nullptr);
  view[8191] = 'x';
  EXPECT_EQ(view[8191], 'x');
  EXPECT_TRUE(mappings.UnmapViewOfFile(view));
  EXPECT_EQ(mappings.MapViewOfFile(maker, kMapReadWrite, 0, 0, 8193), nullptr);
  EXPECT_EQ(mappings.MapViewOfFile(maker, kMapReadWrite, 0, 0, 0x7FFFFFFF), nullptr);
  EXPECT_EQ(mappings.MapViewOfFile(maker, kMapReadWrite, 1, 0, 4096), nullptr);
  handles.CloseHandle(maker);
}

TEST_F(Mappings, AMappingOpenForReadingCannotBeMappedForWriting) {
  const Handle maker = mappings.CreateFileMappingA(4096, m_name.c_str());
  const Handle reader = Open(kMapRead);
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(mappings.MapViewOfFile(reader, kMapReadWrite, 0, 0, 4096), nullptr);
  void* const view = mappings.MapViewOfFile(reader, kMapRead, 0, 0, 4096);
  EXPECT_NE(view, nullptr);
  mappings.UnmapViewOfFile(view);
  handles.CloseHandle(reader);
  handles.CloseHandle(maker);
}

TEST_F(Mappings, NamesThatDifferInOneCharacterAreDifferent) {
  const Handle maker = mappings.CreateFileMappingA(4096, m_name.c_str());
  for (const char* const suffix : {"%5C", "_", "/", " "}) {
    const std::string other = m_name + suffix;
    EXPECT_EQ(mappings.OpenFileMappingA(kMapReadWrite, false, other.c_str()), nullptr) << suffix;
  }
  handles.CloseHandle(maker);
}

TEST_F(Mappings, NullHandlesAndViewsAreRejected) {
  EXPECT_EQ(mappings.MapViewOfFile(nullptr, kMapReadWrite, 0, 0, 4096), nullptr);
  EXPECT_EQ(mappings.MapViewOfFile(kInvalidHandle, kMapReadWrite, 0, 0, 4096), nullptr);
  EXPECT_FALSE(mappings.UnmapViewOfFile(nullptr));
  int variable = 0;
  EXPECT_FALSE(mappings.UnmapViewOfFile(&variable));
}

TEST_F(Mappings, AViewCanBeUnmappedOnce) {
  const Handle maker = mappings.CreateFileMappingA(4096, m_name.c_str());
  void* const view = mappings.MapViewOfFile(maker, kMapReadWrite, 0, 0, 4096);
  EXPECT_TRUE(mappings.UnmapViewOfFile(view));
  EXPECT_FALSE(mappings.UnmapViewOfFile(view));
  handles.CloseHandle(maker);
}

TEST_F(Mappings, WordsAreAtomicThroughSeveralViews) {
  constexpr std::uint32_t kRounds = 20000;
  const Handle maker = mappings.CreateFileMappingA(4096, m_name.c_str());
  ASSERT_NE(maker, nullptr);
  const auto count = [&] {
    const Handle opener = Open();
    auto* const view =
        static_cast<std::uint32_t*>(mappings.MapViewOfFile(opener, kMapReadWrite, 0, 0, 4096));
    for (std::uint32_t round = 0; round < kRounds; ++round) {
      std::atomic_ref(view[3]).fetch_add(1);
    }
    mappings.UnmapViewOfFile(view);
    handles.CloseHandle(opener);
  };
  std::thread other(count);
  count();
  other.join();
  auto* const view =
      static_cast<std::uint32_t*>(mappings.MapViewOfFile(maker, kMapReadWrite, 0, 0, 4096));
  EXPECT_EQ(view[3], 2 * kRounds);
  mappings.UnmapViewOfFile(view);
  handles.CloseHandle(maker);
}

}  // namespace
