// The library's exported functions, linked into the test program.
#include "agent/outlookaddin/module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "agent/outlookaddin/dlpaddinconnect.h"
#include "platform/scopedreplacement.h"
#include "tests/agent/outlookaddin/allocations.h"
#include "tests/agent/outlookaddin/keepreachable.h"
#include "tests/support/logcapture.h"

namespace {

using platform::AutomationOperations;
using platform::ModuleImageOperations;
using platform::ScopedReplacement;

constexpr CLSID kUnknownClass = {
    0x5E1B7C42, 0x9D3A, 0x4F06, {0xA8, 0xC1, 0x3B, 0x7E, 0x42, 0xD0, 0x9A, 0x17}};

// Holds the factory of Connect until the end of the test.
class Module : public testing::Test {
 protected:
  void SetUp() override {
    m_locksBefore = g_module.GetLockCount();
    ASSERT_EQ(
        DllGetClassObject(CLSID_Connect, IID_IClassFactory, reinterpret_cast<void**>(&m_factory)),
        S_OK);
  }
  void TearDown() override { ReleaseFactory(); }
  void ReleaseFactory() {
    if (m_factory != nullptr) m_factory->Release();
    m_factory = nullptr;
  }

  // What DllCanUnloadNow must return when this test keeps nothing: other tests of the process may
  // still have objects.
  HRESULT UnloadAnswer() const { return m_locksBefore == 0 ? S_OK : S_FALSE; }

  IClassFactory* m_factory = nullptr;
  LONG m_locksBefore = 0;
};

TEST(ModuleIdentities, AreTheRegisteredOnes) {
  EXPECT_TRUE(
      IsEqualGUID(CLSID_Connect,
                  {0x5E1B7C42, 0x9D3A, 0x4F06, {0xA8, 0xC1, 0x3B, 0x7E, 0x42, 0xD0, 0x9A, 0x16}}));
  EXPECT_TRUE(
      IsEqualGUID(LIBID_QuorvexLib,
                  {0xC27A40E9, 0x16F8, 0x4B5D, {0x8E, 0x33, 0x91, 0xD5, 0xF0, 0xA7, 0xC2, 0x64}}));
  EXPECT_TRUE(IsEqualGUID(CDlpAddinConnect::GetObjectCLSID(), CLSID_Connect));
}

TEST_F(Module, RefusesAnUnknownClass) {
  void* object = this;
  EXPECT_EQ(DllGetClassObject(kUnknownClass, IID_IClassFactory, &object),
            static_cast<HRESULT>(0x80040111));
  EXPECT_EQ(object, nullptr);
}

TEST_F(Module, RefusesANullResultPointer) {
  EXPECT_EQ(DllGetClassObject(CLSID_Connect, IID_IClassFactory, nullptr),
            static_cast<HRESULT>(0x80004003));
}

TEST_F(Module, RefusesAnInterfaceThatTheFactoryLacks) {
  void* object = this;
  EXPECT_EQ(DllGetClassObject(CLSID_Connect, IID__IDTExtensibility2, &object),
            static_cast<HRESULT>(0x80004002));
  EXPECT_EQ(object, nullptr);
}

TEST_F(Module, RefusesAnOuterUnknown) {
  void* object = this;
  EXPECT_EQ(m_factory->CreateInstance(m_factory, IID_IUnknown, &object),
            static_cast<HRESULT>(0x80040110));
  EXPECT_EQ(object, nullptr);
}

TEST_F(Module, AnObjectKeepsTheLibraryLoadedUntilItsLastRelease) {
  _IDTExtensibility2* addIn = nullptr;
  ASSERT_EQ(
      m_factory->CreateInstance(nullptr, IID__IDTExtensibility2, reinterpret_cast<void**>(&addIn)),
      S_OK);
  tests::KeepReachable(g_pAddinConnect);
  ReleaseFactory();
  EXPECT_EQ(DllCanUnloadNow(), 1);
  EXPECT_EQ(addIn->AddRef(), 2u);
  EXPECT_EQ(addIn->Release(), 1u);
  EXPECT_EQ(DllCanUnloadNow(), 1);
  EXPECT_EQ(addIn->Release(), 0u);
  EXPECT_EQ(g_module.GetLockCount(), m_locksBefore);
  EXPECT_EQ(DllCanUnloadNow(), UnloadAnswer());
}

TEST_F(Module, KeepsNothingOfAnObjectThatLacksTheInterface) {
  void* object = this;
  EXPECT_EQ(m_factory->CreateInstance(nullptr, IID_IDispatch, &object),
            static_cast<HRESULT>(0x80004002));
  EXPECT_EQ(object, nullptr);
  tests::KeepReachable(g_pAddinConnect);
  ReleaseFactory();
  EXPECT_EQ(g_module.GetLockCount(), m_locksBefore);
  EXPECT_EQ(DllCanUnloadNow(), UnloadAnswer());
}

TEST_F(Module, MakesNoObjectWithoutMemory) {
  void* object = this;
  HRESULT result = S_OK;
  {
    tests::RestartAllocations(1);
    const tests::AllocationsCount failing;
    result = m_factory->CreateInstance(nullptr, IID__IDTExtensibility2, &object);
  }
  EXPECT_EQ(result, static_cast<HRESULT>(0x8007000E));
  EXPECT_EQ(object, nullptr);
  ReleaseFactory();
  EXPECT_EQ(g_module.GetLockCount(), m_locksBefore);
}

TEST(ModuleFactory, IsNotMadeWithoutMemory) {
  void* object = &object;
  HRESULT result = S_OK;
  {
    tests::RestartAllocations(1);
    const tests::AllocationsCount failing;
    result = CDlpAddinConnect::CreateClassObject(CDlpAddinConnect::CreateInstance,
                                                 IID_IClassFactory, &object);
  }
  EXPECT_EQ(result, static_cast<HRESULT>(0x8007000E));
  EXPECT_EQ(object, nullptr);
}

TEST_F(Module, ReturnsTheSameFactoryEveryTime) {
  void* object = nullptr;
  ASSERT_EQ(DllGetClassObject(CLSID_Connect, IID_IUnknown, &object), S_OK);
  EXPECT_EQ(object, m_factory);
  static_cast<IUnknown*>(object)->Release();
}

// The test program has no registry script in its resources, so registration fails at its first
// step.
TEST(ModuleRegistration, RestoresTheThreadsLocaleWhenItFails) {
  const LCID before = platform::automation.GetThreadLocale();
  ASSERT_NE(before, platform::kSystemDefaultLocale);
  std::vector<LCID> set;
  ScopedReplacement<platform::automation, &AutomationOperations::SetThreadLocale> noted(
      [&](auto original, LCID locale) {
        set.push_back(locale);
        return original(locale);
      });
  EXPECT_EQ(DllRegisterServer(), static_cast<HRESULT>(0x80070716));
  EXPECT_EQ(platform::automation.GetThreadLocale(), before);
  EXPECT_EQ(DllUnregisterServer(), static_cast<HRESULT>(0x80070716));
  EXPECT_EQ(platform::automation.GetThreadLocale(), before);
  EXPECT_THAT(set, testing::ElementsAre(0x0800u, before, 0x0800u, before));
}

TEST(ModuleRegistration, LogsNothingWhenItFails) {
  tests::LogCapture log;
  EXPECT_EQ(DllRegisterServer(), static_cast<HRESULT>(0x80070716));
  EXPECT_EQ(DllUnregisterServer(), static_cast<HRESULT>(0x80070716));
  EXPECT_THAT(log.Lines(), testing::IsEmpty());
}

TEST(ModuleRegistration, RunsTheScriptOfResource101) {
  int asked = 0;
  ScopedReplacement<platform::moduleImage, &ModuleImageOperations::FindResourceBytes> resource(
      [&](auto, auto, const platform::WideChar* type, std::uint16_t identifier, const char**,
          std::size_t*) {
        ++asked;
        EXPECT_EQ(platform::WideString(type), QV_WIDE("REGISTRY"));
        EXPECT_EQ(identifier, 101);
        return false;
      });
  EXPECT_LT(DllRegisterServer(), 0);
  EXPECT_EQ(asked, 1);
}

}  // namespace
