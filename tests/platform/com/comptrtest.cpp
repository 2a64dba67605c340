// The owner of an interface reference.
#include "platform/com/comptr.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

struct Counted final : IUnknown {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID /*iid*/, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }

  ULONG references = 1;
};

TEST(ComPtr, MovingReleasesTheOldReferenceAndTakesTheNewOne) {
  Counted old;
  Counted taken;
  platform::ComPtr<Counted> to(&old);
  platform::ComPtr<Counted> from(&taken);
  to = std::move(from);
  EXPECT_EQ(to.Get(), &taken);
  EXPECT_EQ(old.references, 0u);
  EXPECT_EQ(taken.references, 1u);
  to.Reset();
  EXPECT_EQ(taken.references, 0u);
}

TEST(ComPtr, MovingToItselfKeepsTheReference) {
  Counted object;
  platform::ComPtr<Counted> owner(&object);
  platform::ComPtr<Counted>& same = owner;
  owner = std::move(same);
  EXPECT_EQ(owner.Get(), &object);
  EXPECT_EQ(object.references, 1u);
  owner.Detach();
}

}  // namespace
