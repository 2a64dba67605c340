#include "platform/scopedhandle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/mappedview.h"
#include "platform/scopedreplacement.h"

namespace {

using platform::Handle;
using platform::MappedView;
using platform::ScopedHandle;
using platform::ScopedListing;
using platform::ScopedReplacement;
using testing::ElementsAre;
using testing::IsEmpty;

int g_first;
int g_second;
const Handle kFirst = &g_first;
const Handle kSecond = &g_second;

class Owners : public testing::Test {
 protected:
  std::vector<const void*> m_closed;
  std::vector<const void*> m_ended;
  std::vector<const void*> m_unmapped;

 private:
  ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> m_close{
      [this](auto, Handle handle) {
        m_closed.push_back(handle);
        return true;
      }};
  ScopedReplacement<platform::files, &platform::FileOperations::FindClose> m_findClose{
      [this](auto, Handle listing) {
        m_ended.push_back(listing);
        return true;
      }};
  ScopedReplacement<platform::mappings, &platform::MappingOperations::MapViewOfFile> m_map{
      [](auto, Handle mapping, auto...) -> void* { return mapping; }};
  ScopedReplacement<platform::mappings, &platform::MappingOperations::UnmapViewOfFile> m_unmap{
      [this](auto, const void* view) {
        m_unmapped.push_back(view);
        return true;
      }};
};

TEST_F(Owners, HandleIsClosedOnceAtTheEndOfTheScope) {
  {
    const ScopedHandle handle(kFirst);
    EXPECT_TRUE(handle.IsOpen());
    EXPECT_EQ(handle.Get(), kFirst);
    EXPECT_THAT(m_closed, IsEmpty());
  }
  EXPECT_THAT(m_closed, ElementsAre(kFirst));
}

TEST_F(Owners, FailedOpeningsAreNotClosed) {
  {
    const ScopedHandle null(nullptr);
    const ScopedHandle invalid(platform::kInvalidHandle);
    const ScopedHandle none;
    EXPECT_FALSE(null.IsOpen());
    EXPECT_FALSE(invalid.IsOpen());
    EXPECT_FALSE(none.IsOpen());
    EXPECT_EQ(null.Get(), nullptr);
    EXPECT_EQ(none.Get(), platform::kInvalidHandle);
  }
  EXPECT_THAT(m_closed, IsEmpty());
}

TEST_F(Owners, HandleClosedEarlyIsNotClosedAgain) {
  {
    ScopedHandle handle(kFirst);
    handle.Close();
    EXPECT_THAT(m_closed, ElementsAre(kFirst));
    EXPECT_FALSE(handle.IsOpen());
    handle.Close();
  }
  EXPECT_THAT(m_closed, ElementsAre(kFirst));
}

TEST_F(Owners, HandleThatIsLeftOpenIsNeverClosed) {
  {
    ScopedHandle handle(kFirst);
    EXPECT_EQ(handle.LeaveOpen(), kFirst);
    EXPECT_FALSE(handle.IsOpen());
  }
  EXPECT_THAT(m_closed, IsEmpty());
}

TEST_F(Owners, MovedHandleIsClosedByItsNewOwner) {
  {
    ScopedHandle target(kFirst);
    {
      ScopedHandle source(kSecond);
      target = std::move(source);
      EXPECT_THAT(m_closed, ElementsAre(kFirst)) << "the target's old handle";
      const ScopedHandle last(std::move(target));
      EXPECT_EQ(last.Get(), kSecond);
    }
    EXPECT_THAT(m_closed, ElementsAre(kFirst, kSecond));
  }
  EXPECT_THAT(m_closed, ElementsAre(kFirst, kSecond));
}

TEST_F(Owners, ListingIsEndedByFindClose) {
  { const ScopedListing listing(kFirst); }
  EXPECT_THAT(m_ended, ElementsAre(kFirst));
  EXPECT_THAT(m_closed, IsEmpty());
}

TEST_F(Owners, ViewIsUnmappedOnceByItsLastOwner) {
  {
    MappedView target(kFirst, platform::kMapRead, 4);
    EXPECT_EQ(target.Data(), kFirst);
    MappedView source(kSecond, platform::kMapRead, 4);
    target = std::move(source);
    EXPECT_THAT(m_unmapped, ElementsAre(kFirst));
    EXPECT_EQ(target.Data(), kSecond);
    const MappedView last(std::move(target));
    EXPECT_EQ(last.Data(), kSecond);
    EXPECT_EQ(target.Data(), nullptr);
  }
  EXPECT_THAT(m_unmapped, ElementsAre(kFirst, kSecond));
}

TEST_F(Owners, ViewThatFailedIsNotUnmapped) {
  {
    MappedView view(nullptr, platform::kMapRead, 4);
    EXPECT_EQ(view.Data(), nullptr);
    view.Close();
  }
  EXPECT_THAT(m_unmapped, IsEmpty());
}

TEST_F(Owners, ViewGoesBeforeItsMappingWhenDeclaredAfterIt) {
  std::vector<std::string> order;
  const ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> close(
      [&](auto, auto) {
        order.emplace_back("mapping");
        return true;
      });
  const ScopedReplacement<platform::mappings, &platform::MappingOperations::UnmapViewOfFile> unmap(
      [&](auto, auto) {
        order.emplace_back("view");
        return true;
      });
  {
    const ScopedHandle mapping(kFirst);
    const MappedView view(mapping.Get(), platform::kMapRead, 4);
  }
  EXPECT_THAT(order, ElementsAre("view", "mapping"));
}

}  // namespace
