#include "tools/privatemappings.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "platform/files.h"

namespace tools {
namespace {

using platform::Handle;
using platform::handles;
using platform::kMapReadWrite;
using platform::mappings;

constexpr const char* kName = "Global\\quorvexPrivate";

Handle Open(const char* name) {
  return mappings.OpenFileMappingA(kMapReadWrite, false, name);
}

char* Map(Handle mapping, std::uint32_t size) {
  return static_cast<char*>(mappings.MapViewOfFile(mapping, kMapReadWrite, 0, 0, size));
}

TEST(PrivateMappings, NewMemoryIsZeroAndSharedByAllViews) {
  const PrivateMappings own;
  const Handle maker = mappings.CreateFileMappingA(100000, kName);
  const Handle opener = Open(kName);
  ASSERT_NE(maker, nullptr);
  ASSERT_NE(opener, nullptr);
  char* const first = Map(maker, 100000);
  char* const second = Map(opener, 100000);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(std::string(second, 100000), std::string(100000, '\0'));
  std::memcpy(first + 99990, "0123456789", 10);
  EXPECT_EQ(std::string(second + 99990, 10), "0123456789");
  EXPECT_TRUE(mappings.UnmapViewOfFile(first));
  EXPECT_TRUE(mappings.UnmapViewOfFile(second));
  EXPECT_FALSE(mappings.UnmapViewOfFile(second));
  EXPECT_TRUE(handles.CloseHandle(maker));
  EXPECT_TRUE(handles.CloseHandle(opener));
}

TEST(PrivateMappings, ANameExistsFromItsCreationUntilItsLastHandleIsClosed) {
  const PrivateMappings own;
  EXPECT_EQ(Open(kName), nullptr);
  const Handle maker = mappings.CreateFileMappingA(64, kName);
  const Handle opener = Open(kName);
  EXPECT_NE(opener, nullptr);
  EXPECT_EQ(Open("Global\\quorvexOther"), nullptr);
  EXPECT_EQ(mappings.CreateFileMappingA(64, kName), nullptr);
  EXPECT_TRUE(handles.CloseHandle(maker));
  EXPECT_EQ(mappings.CreateFileMappingA(64, kName), nullptr);
  EXPECT_TRUE(handles.CloseHandle(opener));
  EXPECT_EQ(Open(kName), nullptr);
}

TEST(PrivateMappings, AViewOutlivesItsHandlesAndTheNamesNextMemoryIsNew) {
  const PrivateMappings own;
  const Handle old = mappings.CreateFileMappingA(64, kName);
  char* const oldView = Map(old, 64);
  ASSERT_NE(oldView, nullptr);
  EXPECT_TRUE(handles.CloseHandle(old));
  oldView[63] = 'x';

  const Handle maker = mappings.CreateFileMappingA(64, kName);
  const char* const view = Map(maker, 64);
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(view[63], '\0');
  EXPECT_EQ(oldView[63], 'x');
  EXPECT_TRUE(mappings.UnmapViewOfFile(oldView));
  EXPECT_TRUE(mappings.UnmapViewOfFile(view));
  EXPECT_TRUE(handles.CloseHandle(maker));
}

TEST(PrivateMappings, AViewEndsWithTheLastPage) {
  const PrivateMappings own;
  const Handle maker = mappings.CreateFileMappingA(5000, kName);
  char* const view = Map(maker, 8192);
  ASSERT_NE(view, nullptr);
  view[8191] = 'x';
  EXPECT_EQ(Map(maker, 8193), nullptr);
  EXPECT_TRUE(mappings.UnmapViewOfFile(view));
  EXPECT_TRUE(handles.CloseHandle(maker));
}

TEST(PrivateMappings, OtherProcessesDoNotSeeThem) {
  const platform::MappingOperations systems = mappings;
  const PrivateMappings own;
  const Handle maker = mappings.CreateFileMappingA(64, kName);
  ASSERT_NE(maker, nullptr);
  EXPECT_EQ(systems.OpenFileMappingA(kMapReadWrite, false, kName), nullptr);
  EXPECT_TRUE(handles.CloseHandle(maker));
}

TEST(PrivateMappings, EndWithTheirScope) {
  const std::string name = "Global\\quorvexPrivate" + std::to_string(getpid());
  { const PrivateMappings own; }
  const Handle maker = mappings.CreateFileMappingA(64, name.c_str());
  ASSERT_NE(maker, nullptr);
  {
    const PrivateMappings own;
    EXPECT_EQ(Open(name.c_str()), nullptr);
    // Handles of the system's objects can still be closed.
    EXPECT_TRUE(handles.CloseHandle(maker));
  }
  EXPECT_EQ(Open(name.c_str()), nullptr);
}

}  // namespace
}  // namespace tools
