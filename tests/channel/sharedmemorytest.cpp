// Opening and closing one mapping.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "channel/agentchannel.h"
#include "platform/mappings.h"
#include "platform/scopedreplacement.h"
#include "tests/support/logcapture.h"
#include "tests/support/privatenames.h"

namespace {

using platform::Handle;
using platform::ScopedReplacement;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::LogCapture;
using tests::LoggedLine;
using tests::PrivateNames;

int g_somewhere = 0;
Handle const kStaleHandle = &g_somewhere;
void* const kStaleView = &g_somewhere;

class SharedMemory : public testing::Test {
 protected:
  static bool Open(const char* name, int size, Handle* mapping, void** view) {
    return AgentChannel::InitializeSharedMemory(mapping, view, name, size);
  }

  PrivateNames m_names;
  LogCapture m_log;
};

TEST_F(SharedMemory, NullNameOrSizeBelow1LeavesTheSlotsAlone) {
  Handle mapping = kStaleHandle;
  void* view = kStaleView;
  EXPECT_FALSE(Open(nullptr, 4, &mapping, &view));
  EXPECT_FALSE(Open("Global\\x", 0, &mapping, &view));
  EXPECT_FALSE(Open("Global\\x", -1, &mapping, &view));
  const LoggedLine line{kLogErr, "InitializeSharedMemory: wrong parameters!"};
  EXPECT_THAT(m_log.Lines(), ElementsAre(line, line, line));
  EXPECT_EQ(mapping, kStaleHandle);
  EXPECT_EQ(view, kStaleView);
}

TEST_F(SharedMemory, MissingMappingLogsAWarningWithTheValue0) {
  Handle mapping = kStaleHandle;
  void* view = nullptr;
  EXPECT_FALSE(Open("Global\\missing", 4, &mapping, &view));
  EXPECT_THAT(m_log.Lines(), ElementsAre(LoggedLine{
                                 kLogWarn, "InitializeSharedMemory: OpenFileMapping err(0X0)!"}));
  EXPECT_EQ(mapping, nullptr);
  EXPECT_EQ(view, nullptr);
}

TEST_F(SharedMemory, InvalidHandleIsAFailureTooAndShowsItsValue) {
  ScopedReplacement<platform::mappings, &platform::MappingOperations::OpenFileMappingA> open(
      [](auto, auto...) { return platform::kInvalidHandle; });
  Handle mapping = nullptr;
  void* view = nullptr;
  EXPECT_FALSE(Open("Global\\x", 4, &mapping, &view));
  EXPECT_THAT(m_log.Lines(),
              ElementsAre(LoggedLine{kLogWarn,
                                     "InitializeSharedMemory: OpenFileMapping err(0XFFFFFFFF)!"}));
  EXPECT_EQ(mapping, platform::kInvalidHandle);
}

TEST_F(SharedMemory, ViewThatCannotBeMappedClosesTheHandleAndLeavesItInItsSlot) {
  Handle closed = nullptr;
  ScopedReplacement<platform::mappings, &platform::MappingOperations::OpenFileMappingA> open(
      [](auto, auto...) { return kStaleHandle; });
  ScopedReplacement<platform::mappings, &platform::MappingOperations::MapViewOfFile> map(
      [](auto, auto...) -> void* { return nullptr; });
  ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> close(
      [&](auto original, Handle handle) {
        if (handle != kStaleHandle) return original(handle);
        closed = handle;
        return true;
      });
  Handle mapping = nullptr;
  void* view = kStaleView;
  EXPECT_FALSE(Open("Global\\x", 4, &mapping, &view));
  EXPECT_THAT(m_log.Lines(),
              ElementsAre(LoggedLine{kLogErr, "InitializeSharedMemory: cannot map file!"}));
  EXPECT_EQ(closed, kStaleHandle);
  EXPECT_EQ(mapping, kStaleHandle);
  EXPECT_EQ(view, nullptr);
}

TEST_F(SharedMemory, AsksForReadAndWriteAndExactlyTheSize) {
  std::uint32_t openAccess = 0, mapAccess = 0, mapSize = 0, offsets = 1;
  bool isInherited = true;
  ScopedReplacement<platform::mappings, &platform::MappingOperations::OpenFileMappingA> open(
      [&](auto, std::uint32_t access, bool inherit, const char*) {
        openAccess = access;
        isInherited = inherit;
        return kStaleHandle;
      });
  ScopedReplacement<platform::mappings, &platform::MappingOperations::MapViewOfFile> map(
      [&](auto, Handle, std::uint32_t access, std::uint32_t high, std::uint32_t low,
          std::uint32_t size) -> void* {
        mapAccess = access;
        offsets = high | low;
        mapSize = size;
        return kStaleView;
      });
  Handle mapping = nullptr;
  void* view = nullptr;
  EXPECT_TRUE(Open("Global\\x", 262164, &mapping, &view));
  EXPECT_EQ(openAccess, 6U);
  EXPECT_FALSE(isInherited);
  EXPECT_EQ(mapAccess, 6U);
  EXPECT_EQ(offsets, 0U);
  EXPECT_EQ(mapSize, 262164U);
  EXPECT_EQ(mapping, kStaleHandle);
  EXPECT_EQ(view, kStaleView);
}

TEST_F(SharedMemory, OpenedViewShowsTheMakersBytesUntilItIsClosed) {
  const std::string name = m_names.Redirected("Global\\shared");
  Handle const made = platform::mappings.CreateFileMappingA(100, name.c_str());
  ASSERT_NE(made, nullptr);
  void* const own = platform::mappings.MapViewOfFile(made, platform::kMapReadWrite, 0, 0, 100);
  ASSERT_NE(own, nullptr);
  static_cast<char*>(own)[99] = 'q';

  Handle mapping = nullptr;
  void* view = nullptr;
  ASSERT_TRUE(Open("Global\\shared", 100, &mapping, &view));
  EXPECT_EQ(static_cast<char*>(view)[99], 'q');
  static_cast<char*>(view)[0] = 'a';
  EXPECT_EQ(static_cast<char*>(own)[0], 'a');
  AgentChannel::CloseSharedMemory(&mapping, &view);
  EXPECT_EQ(mapping, nullptr);
  EXPECT_EQ(view, nullptr);
  EXPECT_THAT(m_log.Lines(), IsEmpty());

  platform::mappings.UnmapViewOfFile(own);
  platform::handles.CloseHandle(made);
  EXPECT_FALSE(Open("Global\\shared", 100, &mapping, &view)) << "a handle is still open";
}

TEST_F(SharedMemory, ClosingReleasesTheViewBeforeTheHandle) {
  std::vector<std::string> order;
  ScopedReplacement<platform::mappings, &platform::MappingOperations::UnmapViewOfFile> unmap(
      [&](auto, const void* view) {
        EXPECT_EQ(view, kStaleView);
        order.push_back("view");
        return true;
      });
  ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> close(
      [&](auto, Handle handle) {
        EXPECT_EQ(handle, kStaleHandle);
        order.push_back("handle");
        return true;
      });
  Handle mapping = kStaleHandle;
  void* view = kStaleView;
  AgentChannel::CloseSharedMemory(&mapping, &view);
  EXPECT_THAT(order, ElementsAre("view", "handle"));
  EXPECT_EQ(mapping, nullptr);
  EXPECT_EQ(view, nullptr);
}

TEST_F(SharedMemory, ClosingTwoEmptySlotsDoesNothing) {
  int calls = 0;
  ScopedReplacement<platform::mappings, &platform::MappingOperations::UnmapViewOfFile> unmap(
      [&](auto, auto) { return ++calls > 0; });
  ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> close(
      [&](auto, auto) { return ++calls > 0; });
  Handle mapping = nullptr;
  void* view = nullptr;
  AgentChannel::CloseSharedMemory(&mapping, &view);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(mapping, nullptr);
  EXPECT_EQ(view, nullptr);
}

TEST_F(SharedMemory, ClosingReleasesWhatOneSlotHolds) {
  int handles = 0;
  ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> close(
      [&](auto, auto) { return ++handles > 0; });
  Handle mapping = kStaleHandle;
  void* view = nullptr;
  AgentChannel::CloseSharedMemory(&mapping, &view);
  EXPECT_EQ(handles, 1);
  EXPECT_EQ(mapping, nullptr);
}

}  // namespace
