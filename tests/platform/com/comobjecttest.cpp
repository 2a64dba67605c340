// Reference-counted objects, their factory, IDispatch by type information, and the module.
#include "platform/com/comobject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/com/comptr.h"
#include "platform/com/dispatchimpl.h"
#include "platform/com/guid.h"
#include "platform/registry.h"
#include "platform/scopedreplacement.h"

namespace {

using platform::AutomationOperations;
using platform::ModuleImageOperations;
using platform::ScopedReplacement;
using platform::WideChar;
using testing::ElementsAre;

constexpr CLSID kSampleClass = platform::GuidFromText("{0B0F6C52-0000-4D3A-9D44-000000000001}");
constexpr IID kSampleIid = platform::GuidFromText("{0B0F6C52-0000-4D3A-9D44-000000000002}");
constexpr GUID kSampleLibrary = platform::GuidFromText("{0B0F6C52-0000-4D3A-9D44-000000000003}");

struct ISample : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE Double(LONG number, LONG* doubled) = 0;
};

int s_alive = 0;

class Sample : public CComObjectRootEx<CComSingleThreadModel>,
               public CComCoClass<Sample, &kSampleClass>,
               public IDispatchImpl<ISample, &kSampleIid, &kSampleLibrary, 3, 4> {
 public:
  using InterfaceMap = platform::InterfaceMap<platform::Answers<ISample, &kSampleIid>>;

  Sample() { ++s_alive; }
  HRESULT STDMETHODCALLTYPE Double(LONG number, LONG* doubled) override {
    *doubled = 2 * number;
    return S_OK;
  }

 protected:
  ~Sample() { --s_alive; }
};

std::vector<std::string> s_registered;
HRESULT s_registration = S_OK;

HRESULT UpdateRegistry(bool registering) {
  s_registered.emplace_back(registering ? "register" : "unregister");
  return s_registration;
}

class TestModule final : public CAtlDllModuleT<TestModule> {
 public:
  static std::span<platform::ObjectMapEntry> Objects() {
    static platform::ObjectMapEntry entries[] = {
        {&kSampleClass, UpdateRegistry, Sample::CreateClassObject, Sample::CreateInstance}};
    return entries;
  }
  static const GUID& TypeLibraryId() { return kSampleLibrary; }
  void SetPerUser() { m_bPerUser = true; }
};

class ComModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    s_registered.clear();
    s_registration = S_OK;
    s_alive = 0;
  }
  void* ClassObject(TestModule& module, REFIID iid = IID_IClassFactory) {
    void* object = nullptr;
    EXPECT_EQ(module.DllGetClassObject(kSampleClass, iid, &object), S_OK);
    return object;
  }
};

TEST_F(ComModuleTest, RefusesUnknownClasses) {
  TestModule module;
  void* object = &module;
  EXPECT_EQ(module.DllGetClassObject(kSampleIid, IID_IClassFactory, &object),
            static_cast<HRESULT>(0x80040111));
  EXPECT_EQ(object, nullptr);
}

TEST_F(ComModuleTest, RejectsANullResultPointer) {
  TestModule module;
  EXPECT_EQ(module.DllGetClassObject(kSampleClass, IID_IClassFactory, nullptr),
            static_cast<HRESULT>(0x80004003));
}

TEST_F(ComModuleTest, AFailedStartRejectsTheProcessAndEveryClass) {
  ScopedReplacement<platform::moduleImage, &ModuleImageOperations::CreateLock> failing(
      [](auto) -> platform::ModuleLock { return nullptr; });
  TestModule module;
  EXPECT_FALSE(module.DllMain(nullptr, 1));
  EXPECT_TRUE(module.DllMain(nullptr, 0));
  void* object = &module;
  EXPECT_EQ(module.DllGetClassObject(kSampleClass, IID_IClassFactory, &object),
            static_cast<HRESULT>(0x8000FFFF));
  EXPECT_EQ(object, nullptr);
}

TEST_F(ComModuleTest, AGoodStartAcceptsTheProcess) {
  TestModule module;
  EXPECT_TRUE(module.DllMain(nullptr, 1));
}

TEST_F(ComModuleTest, KeepsOneFactoryForAllCallers) {
  TestModule module;
  auto* const first = static_cast<IUnknown*>(ClassObject(module));
  auto* const second = static_cast<IUnknown*>(ClassObject(module, IID_IUnknown));
  EXPECT_EQ(first, second);
  EXPECT_EQ(first->Release(), 2u);
  EXPECT_EQ(second->Release(), 1u);
}

TEST_F(ComModuleTest, KeepsTheFactoryEncoded) {
  TestModule module;
  auto* const factory = static_cast<IUnknown*>(ClassObject(module));
  void* const kept = TestModule::Objects()[0].classObject;
  EXPECT_NE(kept, nullptr);
  EXPECT_EQ(platform::moduleImage.DecodePointer(kept), factory);
  factory->Release();
}

TEST_F(ComModuleTest, AFactoryInUseKeepsTheModuleLoaded) {
  TestModule module;
  EXPECT_EQ(module.DllCanUnloadNow(), S_OK);
  auto* const factory = static_cast<IUnknown*>(ClassObject(module));
  EXPECT_EQ(module.DllCanUnloadNow(), S_FALSE);
  factory->Release();
  EXPECT_EQ(module.DllCanUnloadNow(), S_OK);
}

TEST_F(ComModuleTest, AFactoryWithoutTheInterfaceIsAFailure) {
  TestModule module;
  void* object = &module;
  EXPECT_EQ(module.DllGetClassObject(kSampleClass, kSampleIid, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(module.GetLockCount(), 0);
}

TEST_F(ComModuleTest, ACreatorThatReturnsNullMakesTheClassUnavailable) {
  TestModule module;
  platform::ObjectMapEntry& entry = TestModule::Objects()[0];
  entry.createClassObject = [](auto, REFIID, void** object) {
    *object = nullptr;
    return S_OK;
  };
  void* object = nullptr;
  const HRESULT empty = module.DllGetClassObject(kSampleClass, IID_IClassFactory, &object);
  entry.createClassObject = [](auto, REFIID, void**) -> HRESULT { return E_OUTOFMEMORY; };
  const HRESULT failed = module.DllGetClassObject(kSampleClass, IID_IClassFactory, &object);
  entry.createClassObject = Sample::CreateClassObject;
  EXPECT_EQ(empty, static_cast<HRESULT>(0x80040111));
  EXPECT_EQ(failed, E_OUTOFMEMORY);
}

// A class object that answers every query with the same result and pointer.
struct FixedAnswer final : IUnknown {
  FixedAnswer(HRESULT fixedResult, void* fixed) : result(fixedResult), pointer(fixed) {}
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = pointer;
    return result;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++count; }
  ULONG STDMETHODCALLTYPE Release() override { return --count; }

  HRESULT result;
  void* pointer;
  ULONG count = 1;
};

TEST_F(ComModuleTest, AClassObjectThatAnswersWithAWarningIsReturned) {
  static FixedAnswer warning(S_FALSE, &warning);
  TestModule module;
  platform::ObjectMapEntry& entry = TestModule::Objects()[0];
  entry.createClassObject = [](auto, REFIID, void** object) -> HRESULT {
    *object = &warning;
    return S_FALSE;
  };
  void* object = nullptr;
  const HRESULT result = module.DllGetClassObject(kSampleClass, IID_IClassFactory, &object);
  entry.createClassObject = Sample::CreateClassObject;
  EXPECT_EQ(result, S_FALSE);
  EXPECT_EQ(object, &warning);
}

TEST(QueryFor, KeepsWhatComesWithAWarningAndReleasesWhatComesWithAFailure) {
  FixedAnswer answer(S_FALSE, &answer);
  platform::ComPtr<IUnknown> result;
  EXPECT_EQ(platform::QueryFor(&answer, IID_IUnknown, &result), S_FALSE);
  EXPECT_EQ(result.Get(), &answer);
  EXPECT_EQ(answer.count, 1u);
  EXPECT_EQ(result.Detach(), &answer);
  answer.result = E_FAIL;
  EXPECT_EQ(platform::QueryFor(&answer, IID_IUnknown, &result), E_FAIL);
  EXPECT_EQ(result.Get(), nullptr);
  EXPECT_EQ(answer.count, 0u);
}

TEST_F(ComModuleTest, AClassObjectThatReturnsNullMakesTheClassUnavailable) {
  static FixedAnswer empty(S_OK, nullptr);
  {
    TestModule module;
    platform::ObjectMapEntry& entry = TestModule::Objects()[0];
    entry.createClassObject = [](auto, REFIID, void** object) {
      *object = &empty;
      return S_OK;
    };
    void* object = &module;
    const HRESULT result = module.DllGetClassObject(kSampleClass, IID_IClassFactory, &object);
    entry.createClassObject = Sample::CreateClassObject;
    EXPECT_EQ(result, static_cast<HRESULT>(0x80040111));
    EXPECT_EQ(object, nullptr);
  }
  EXPECT_EQ(empty.count, 0u) << "the module gives back what it kept";
}

TEST_F(ComModuleTest, ServerLocksCount) {
  TestModule module;
  auto* const factory = static_cast<IClassFactory*>(ClassObject(module));
  EXPECT_EQ(factory->LockServer(1), S_OK);
  factory->Release();
  EXPECT_EQ(module.DllCanUnloadNow(), S_FALSE);
  auto* const again = static_cast<IClassFactory*>(ClassObject(module));
  EXPECT_EQ(again->LockServer(0), S_OK);
  again->Release();
  EXPECT_EQ(module.DllCanUnloadNow(), S_OK);
}

TEST_F(ComModuleTest, LockAndUnlockReturnTheNewCount) {
  TestModule module;
  EXPECT_EQ(module.Lock(), 1);
  EXPECT_EQ(module.Lock(), 2);
  EXPECT_EQ(module.GetLockCount(), 2);
  EXPECT_EQ(module.Unlock(), 1);
  EXPECT_EQ(module.Unlock(), 0);
}

TEST_F(ComModuleTest, AnObjectKeepsTheModuleLoadedUntilItsLastRelease) {
  TestModule module;
  ISample* sample = nullptr;
  ASSERT_EQ(Sample::CreateInstance(nullptr, kSampleIid, reinterpret_cast<void**>(&sample)), S_OK);
  EXPECT_EQ(module.DllCanUnloadNow(), S_FALSE);
  EXPECT_EQ(sample->AddRef(), 2u);
  EXPECT_EQ(sample->Release(), 1u);
  EXPECT_EQ(module.DllCanUnloadNow(), S_FALSE);
  EXPECT_EQ(sample->Release(), 0u);
  EXPECT_EQ(s_alive, 0);
  EXPECT_EQ(module.DllCanUnloadNow(), S_OK);
}

TEST_F(ComModuleTest, TheFactoryCreatesObjects) {
  TestModule module;
  auto* const factory = static_cast<IClassFactory*>(ClassObject(module));
  ISample* sample = nullptr;
  ASSERT_EQ(factory->CreateInstance(nullptr, kSampleIid, reinterpret_cast<void**>(&sample)), S_OK);
  LONG doubled = 0;
  EXPECT_EQ(sample->Double(21, &doubled), S_OK);
  EXPECT_EQ(doubled, 42);
  EXPECT_EQ(sample->Release(), 0u);
  factory->Release();
}

TEST_F(ComModuleTest, TheFactoryRejectsAnOuterUnknown) {
  TestModule module;
  auto* const factory = static_cast<IClassFactory*>(ClassObject(module));
  void* object = &module;
  EXPECT_EQ(factory->CreateInstance(factory, IID_IUnknown, &object),
            static_cast<HRESULT>(0x80040110));
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
  factory->Release();
  object = &module;
  EXPECT_EQ(Sample::CreateInstance(factory, IID_IUnknown, &object),
            static_cast<HRESULT>(0x80040110));
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(s_alive, 0);
}

TEST_F(ComModuleTest, AnObjectWithoutTheInterfaceIsDestroyed) {
  TestModule module;
  void* object = &module;
  EXPECT_EQ(Sample::CreateInstance(nullptr, IID_IClassFactory, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(s_alive, 0);
  EXPECT_EQ(module.GetLockCount(), 0);
}

TEST_F(ComModuleTest, AnObjectSupportsUnknownAndItsInterfaceButNotDispatch) {
  TestModule module;
  IUnknown* sample = nullptr;
  ASSERT_EQ(Sample::CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(&sample)), S_OK);
  void* object = nullptr;
  EXPECT_EQ(sample->QueryInterface(kSampleIid, &object), S_OK);
  EXPECT_EQ(object, sample);
  EXPECT_EQ(sample->Release(), 1u);
  EXPECT_EQ(sample->QueryInterface(IID_IDispatch, &object), static_cast<HRESULT>(0x80004002));
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(sample->QueryInterface(kSampleIid, nullptr), E_POINTER);
  EXPECT_EQ(sample->Release(), 0u);
}

TEST_F(ComModuleTest, AddsTheEmptyAppIdForScripts) {
  TestModule module;
  platform::RegistryReplacements replacements;
  EXPECT_EQ(module.AddCommonRGSReplacements(replacements), S_OK);
  const platform::WideString* const found = replacements.Find(QV_WIDE("appid"));
  ASSERT_NE(found, nullptr);
  EXPECT_TRUE(found->empty());
}

// A global interface table that only counts references.
struct FakeTable final : IGlobalInterfaceTable {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++count; }
  ULONG STDMETHODCALLTYPE Release() override { return --count; }
#if defined(_WIN32)
  HRESULT STDMETHODCALLTYPE RegisterInterfaceInGlobal(IUnknown*, REFIID, DWORD*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE RevokeInterfaceFromGlobal(DWORD) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetInterfaceFromGlobal(DWORD, REFIID, void**) override {
    return E_NOTIMPL;
  }
#endif
  ULONG count = 1;
};

TEST_F(ComModuleTest, CreatesTheGlobalInterfaceTableOnceAndReleasesIt) {
  FakeTable table;
  int made = 0;
  ScopedReplacement<platform::automation, &AutomationOperations::CreateGlobalInterfaceTable> fake(
      [&](auto, IGlobalInterfaceTable** result) -> HRESULT {
        ++made;
        *result = &table;
        return S_FALSE;  // a warning
      });
  {
    TestModule module;
    EXPECT_EQ(made, 0);
    IGlobalInterfaceTable* first = nullptr;
    IGlobalInterfaceTable* second = nullptr;
    EXPECT_EQ(module.GetGITPtr(nullptr), E_POINTER);
    EXPECT_EQ(module.GetGITPtr(&first), S_OK);
    EXPECT_EQ(module.GetGITPtr(&second), S_OK);
    EXPECT_EQ(first, &table);
    EXPECT_EQ(second, &table);
    EXPECT_EQ(made, 1);
    EXPECT_EQ(table.count, 3u);
    first->Release();
    second->Release();
  }
  EXPECT_EQ(table.count, 0u);
}

// Type information with one member.
struct FakeInfo final : ITypeInfo {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++count; }
  ULONG STDMETHODCALLTYPE Release() override { return --count; }
  HRESULT STDMETHODCALLTYPE GetTypeAttr(TYPEATTR**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetFuncDesc(UINT, FUNCDESC**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetVarDesc(UINT, VARDESC**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetNames(DISPID, BSTR*, UINT, UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetRefTypeOfImplType(UINT, DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetImplTypeFlags(UINT, int*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(LPOLESTR*, UINT, DISPID* dispids) override {
    *dispids = 17;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Invoke(void* instance, DISPID member, WORD, DISPPARAMS*,
                                   VARIANT* result, EXCEPINFO*, UINT*) override {
    result->vt = VT_I4;
    return static_cast<ISample*>(instance)->Double(member, &result->lVal);
  }
  HRESULT STDMETHODCALLTYPE GetDocumentation(DISPID, BSTR*, BSTR*, DWORD*, BSTR*) override {
    return E_NOTIMPL;
  }
#if defined(_WIN32)
  HRESULT STDMETHODCALLTYPE GetDllEntry(MEMBERID, INVOKEKIND, BSTR*, BSTR*, WORD*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE AddressOfMember(MEMBERID, INVOKEKIND, void**) override {
    return E_NOTIMPL;
  }
#else
  HRESULT GetDllEntry(DISPID, int, BSTR*, BSTR*, WORD*) override {
    return E_NOTIMPL;
  }
  HRESULT AddressOfMember(DISPID, int, void**) override {
    return E_NOTIMPL;
  }
#endif
  HRESULT STDMETHODCALLTYPE GetRefTypeInfo(DWORD, ITypeInfo**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID, void**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetMops(DISPID, BSTR*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetContainingTypeLib(ITypeLib**, UINT*) override {
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE ReleaseTypeAttr(TYPEATTR*) override {}
  void STDMETHODCALLTYPE ReleaseFuncDesc(FUNCDESC*) override {}
  void STDMETHODCALLTYPE ReleaseVarDesc(VARDESC*) override {}

  ULONG count = 0;
};

struct FakeLibrary final : ITypeLib {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++count; }
  ULONG STDMETHODCALLTYPE Release() override { return --count; }
  UINT STDMETHODCALLTYPE GetTypeInfoCount() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, ITypeInfo**) override { return E_NOTIMPL; }
#if defined(_WIN32)
  HRESULT STDMETHODCALLTYPE GetTypeInfoType(UINT, TYPEKIND*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE FindName(LPOLESTR, ULONG, ITypeInfo**, MEMBERID*, USHORT*) override {
    return E_NOTIMPL;
  }
#else
  HRESULT GetTypeInfoType(UINT, int*) override {
    return E_NOTIMPL;
  }
  HRESULT FindName(LPOLESTR, ULONG, ITypeInfo**, DISPID*, USHORT*) override {
    return E_NOTIMPL;
  }
#endif
  HRESULT STDMETHODCALLTYPE GetTypeInfoOfGuid(REFGUID guid, ITypeInfo** result) override {
    EXPECT_TRUE(IsEqualGUID(guid, kSampleIid));
    *result = &info;
    info.AddRef();
    return infoResult;
  }
  HRESULT STDMETHODCALLTYPE GetLibAttr(TLIBATTR** result) override {
    *result = &attributes;
    return attributesResult;
  }
  HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetDocumentation(int, BSTR*, BSTR*, DWORD*, BSTR*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE IsName(LPOLESTR, ULONG, BOOL*) override {
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE ReleaseTLibAttr(TLIBATTR*) override {
    ++attributesReleased;
  }

  ULONG count = 0;
  FakeInfo info;
  TLIBATTR attributes = {};
  HRESULT infoResult = S_OK;
  HRESULT attributesResult = S_OK;
  int attributesReleased = 0;
};

TEST(TypeInfo, IsLoadedOnFirstUseAndKept) {
  FakeLibrary library;
  CComTypeInfoHolder holder(&kSampleIid, &kSampleLibrary, 3, 4);
  HRESULT answer = TYPE_E_LIBNOTREGISTERED;
  int loads = 0;
  ScopedReplacement<platform::automation, &AutomationOperations::LoadRegTypeLib> fake(
      [&](auto, REFGUID guid, WORD major, WORD minor, LCID locale, ITypeLib** result) -> HRESULT {
        ++loads;
        EXPECT_TRUE(IsEqualGUID(guid, kSampleLibrary));
        EXPECT_EQ(major, 3);
        EXPECT_EQ(minor, 4);
        EXPECT_EQ(locale, 0x409u);
        *result = nullptr;
        if (FAILED(answer)) return answer;
        library.AddRef();
        *result = &library;
        return answer;
      });
  DISPID dispid = 0;
  EXPECT_EQ(holder.GetIDsOfNames(nullptr, 1, 0x409, &dispid), TYPE_E_LIBNOTREGISTERED);
  ITypeInfo* info = &library.info;
  EXPECT_EQ(holder.GetTypeInfo(0, 0x409, &info), TYPE_E_LIBNOTREGISTERED);
  EXPECT_EQ(info, nullptr);
  EXPECT_EQ(loads, 2);

  answer = S_FALSE;  // a warning
  library.infoResult = S_FALSE;
  EXPECT_EQ(holder.GetTypeInfo(0, 0x409, &info), S_OK);
  EXPECT_EQ(info, &library.info);
  EXPECT_EQ(holder.GetIDsOfNames(nullptr, 1, 0x409, &dispid), S_OK);
  EXPECT_EQ(dispid, 17);
  EXPECT_EQ(loads, 3);
  EXPECT_EQ(library.count, 0u) << "the library itself isn't needed any more";
  EXPECT_EQ(library.info.count, 2u) << "the caller's and the kept one";
}

TEST(TypeInfo, ChecksIndexAndResultPointer) {
  CComObject<Sample> sample;
  UINT count = 0;
  EXPECT_EQ(sample.GetTypeInfoCount(&count), S_OK);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(sample.GetTypeInfoCount(nullptr), static_cast<HRESULT>(0x80004003));
  ITypeInfo* info = nullptr;
  EXPECT_EQ(sample.GetTypeInfo(1, 0, &info), static_cast<HRESULT>(0x8002000B));
  EXPECT_EQ(sample.GetTypeInfo(0, 0, nullptr), static_cast<HRESULT>(0x80004003));
}

TEST(TypeInfo, InvokesTheObjectThroughItsTable) {
  FakeLibrary library;
  ScopedReplacement<platform::automation, &AutomationOperations::LoadRegTypeLib> fake(
      [&](auto, REFGUID, WORD, WORD, LCID, ITypeLib** result) -> HRESULT {
        library.AddRef();
        *result = &library;
        return S_OK;
      });
  CComTypeInfoHolder holder(&kSampleIid, &kSampleLibrary, 3, 4);
  CComObject<Sample> sample;
  DISPPARAMS none = {};
  VARIANT result = {};
  EXPECT_EQ(holder.Invoke(static_cast<ISample*>(&sample), 17, 0, DISPATCH_METHOD, &none, &result,
                          nullptr, nullptr),
            S_OK);
  EXPECT_EQ(result.lVal, 34);
}

class Registration : public ComModuleTest {
 protected:
  using Load = ScopedReplacement<platform::automation, &AutomationOperations::LoadTypeLib>;
  using RegisterLib =
      ScopedReplacement<platform::automation, &AutomationOperations::RegisterTypeLib>;
  using RegisterLibForUser =
      ScopedReplacement<platform::automation, &AutomationOperations::RegisterTypeLibForUser>;
  using Unregister =
      ScopedReplacement<platform::automation, &AutomationOperations::UnRegisterTypeLib>;
  using UnregisterForUser =
      ScopedReplacement<platform::automation, &AutomationOperations::UnRegisterTypeLibForUser>;
  using FileName =
      ScopedReplacement<platform::moduleImage, &ModuleImageOperations::GetModuleFileNameW>;

  void SetUp() override {
    ComModuleTest::SetUp();
    m_library.attributes.wMajorVerNum = 5;
    m_library.attributes.wMinorVerNum = 6;
    m_library.attributes.lcid = 0x407;
    m_library.attributes.syskind = SYS_WIN64;
  }
  void TearDown() override { EXPECT_EQ(m_locale, kOwnLocale); }

  void Note(const char* what) {
    m_steps.emplace_back(what);
    EXPECT_EQ(m_locale, 0x0800u) << what;
  }
  HRESULT RegisterStep(const char* what, ITypeLib* library, const WideChar* path,
                       const WideChar* folder) {
    Note(what);
    EXPECT_EQ(library, &m_library);
    EXPECT_EQ(platform::WideString(path), QV_WIDE("C:\\it's here\\a.dll"));
    EXPECT_EQ(platform::WideString(folder), QV_WIDE("C:\\it's here\\"));
    return m_registerResult;
  }
  HRESULT UnregisterStep(const char* what, REFGUID guid, WORD major, WORD minor, LCID locale,
                         SYSKIND kind) {
    Note(what);
    EXPECT_TRUE(IsEqualGUID(guid, kSampleLibrary));
    EXPECT_EQ(major, 5);
    EXPECT_EQ(minor, 6);
    EXPECT_EQ(locale, 0x407u);
    EXPECT_EQ(kind, SYS_WIN64);
    return S_OK;
  }

  // The thread's locale. Unlike the system's, it returns the value that was set: Windows replaces
  // 0x0800 by the real default.
  static constexpr LCID kOwnLocale = 0x0407;
  LCID m_locale = kOwnLocale;
  ScopedReplacement<platform::automation, &AutomationOperations::GetThreadLocale> m_getLocale{
      [this](auto) { return m_locale; }};
  ScopedReplacement<platform::automation, &AutomationOperations::SetThreadLocale> m_setLocale{
      [this](auto, LCID locale) {
        m_locale = locale;
        return true;
      }};
  std::vector<std::string> m_steps;
  FakeLibrary m_library;
  HRESULT m_loadResult = S_OK;
  HRESULT m_registerResult = S_OK;

  FileName m_fileName{[](auto, auto, WideChar* buffer, std::uint32_t size) -> std::uint32_t {
    const platform::WideString path = QV_WIDE("C:\\it's here\\a.dll");
    if (size <= path.size()) return size;
    path.copy(buffer, path.size());
    buffer[path.size()] = 0;
    return static_cast<std::uint32_t>(path.size());
  }};
  Load m_load{[this](auto, const WideChar* path, ITypeLib** result) -> HRESULT {
    Note("load");
    EXPECT_EQ(platform::WideString(path), QV_WIDE("C:\\it's here\\a.dll"));
    *result = nullptr;
    if (FAILED(m_loadResult)) return m_loadResult;
    m_library.AddRef();
    *result = &m_library;
    return m_loadResult;
  }};
  RegisterLib m_register{
      [this](auto, ITypeLib* library, const WideChar* path, const WideChar* folder) {
        return RegisterStep("register", library, path, folder);
      }};
  RegisterLibForUser m_registerForUser{
      [this](auto, ITypeLib* library, const WideChar* path, const WideChar* folder) {
        return RegisterStep("register for user", library, path, folder);
      }};
  Unregister m_unregister{
      [this](auto, REFGUID guid, WORD major, WORD minor, LCID locale, SYSKIND kind) {
        return UnregisterStep("unregister", guid, major, minor, locale, kind);
      }};
  UnregisterForUser m_unregisterForUser{
      [this](auto, REFGUID guid, WORD major, WORD minor, LCID locale, SYSKIND kind) {
        return UnregisterStep("unregister for user", guid, major, minor, locale, kind);
      }};
};

TEST_F(Registration, RunsTheScriptThenRegistersTheTypeLibrary) {
  TestModule module;
  EXPECT_EQ(module.DllRegisterServer(), S_OK);
  EXPECT_THAT(s_registered, ElementsAre("register"));
  EXPECT_THAT(m_steps, ElementsAre("load", "register"));
  EXPECT_EQ(m_library.count, 0u);
}

TEST_F(Registration, RemovesInTheSameOrder) {
  TestModule module;
  EXPECT_EQ(module.DllUnregisterServer(), S_OK);
  EXPECT_THAT(s_registered, ElementsAre("unregister"));
  EXPECT_THAT(m_steps, ElementsAre("load", "unregister"));
  EXPECT_EQ(m_library.attributesReleased, 1);
  EXPECT_EQ(m_library.count, 0u);
}

TEST_F(Registration, ThePerUserFlagSelectsTheOtherFunctions) {
  TestModule module;
  module.SetPerUser();
  EXPECT_EQ(module.DllRegisterServer(), S_OK);
  EXPECT_EQ(module.DllUnregisterServer(), S_OK);
  EXPECT_THAT(m_steps, ElementsAre("load", "register for user", "load", "unregister for user"));
}

TEST_F(Registration, AFailedScriptIsTheResultAndNothingFollows) {
  TestModule module;
  s_registration = static_cast<HRESULT>(0x80070005);
  EXPECT_EQ(module.DllRegisterServer(), static_cast<HRESULT>(0x80070005));
  EXPECT_EQ(module.DllUnregisterServer(), static_cast<HRESULT>(0x80070005));
  EXPECT_TRUE(m_steps.empty());
}

TEST_F(Registration, AMissingTypeLibraryIsTheResult) {
  TestModule module;
  m_loadResult = static_cast<HRESULT>(0x80029C4A);
  EXPECT_EQ(module.DllRegisterServer(), static_cast<HRESULT>(0x80029C4A));
  EXPECT_EQ(module.DllUnregisterServer(), static_cast<HRESULT>(0x80029C4A));
}

TEST_F(Registration, AFailedTypeLibraryIsTheResult) {
  TestModule module;
  m_registerResult = static_cast<HRESULT>(0x8002801C);
  EXPECT_EQ(module.DllRegisterServer(), static_cast<HRESULT>(0x8002801C));
  m_library.attributesResult = E_OUTOFMEMORY;
  EXPECT_EQ(module.DllUnregisterServer(), E_OUTOFMEMORY);
  EXPECT_EQ(m_library.count, 0u);
}

TEST_F(Registration, AWarningStopsNothing) {
  TestModule module;
  s_registration = S_FALSE;
  m_loadResult = S_FALSE;
  m_library.attributesResult = S_FALSE;
  EXPECT_EQ(module.DllRegisterServer(), S_OK);
  EXPECT_EQ(module.DllUnregisterServer(), S_OK);
  EXPECT_THAT(s_registered, ElementsAre("register", "unregister"));
  EXPECT_THAT(m_steps, ElementsAre("load", "register", "load", "unregister"));
  m_registerResult = S_FALSE;
  EXPECT_EQ(module.DllRegisterServer(), S_FALSE);
}

TEST_F(Registration, AModuleWithoutAPathFails) {
  TestModule module;
  FileName failing([](auto, auto, WideChar*, std::uint32_t) -> std::uint32_t { return 0; });
  EXPECT_TRUE(FAILED(module.DllRegisterServer()));
  EXPECT_TRUE(FAILED(module.UpdateRegistryFromResource(101, true)));
}

using Resource =
    ScopedReplacement<platform::moduleImage, &ModuleImageOperations::FindResourceBytes>;

TEST_F(Registration, ScriptsCanUseThePathRawAndWithDoubledQuotes) {
  TestModule module;
  std::string script =
      "HKCR { NoRemove QuorvexTestModule = s '%module%' { val App = s '[%APPID%]' } }";
  Resource resource([&](auto, auto, const WideChar* type, std::uint16_t identifier,
                        const char** bytes, std::size_t* size) {
    EXPECT_EQ(platform::WideString(type), QV_WIDE("REGISTRY"));
    EXPECT_EQ(identifier, 101);
    *bytes = script.data();
    *size = script.size();
    return true;
  });
  using SetString = ScopedReplacement<platform::registry, &platform::RegistryOperations::SetString>;
  std::vector<platform::WideString> values;
  SetString set([&](auto, auto, const WideChar*, const WideChar* value) {
    values.emplace_back(value);
    return 0;
  });
  using CreateKey = ScopedReplacement<platform::registry, &platform::RegistryOperations::CreateKey>;
  CreateKey create([](auto, auto, const WideChar*, platform::RegistryKey* key) {
    *key = nullptr;
    return 0;
  });
  EXPECT_EQ(module.UpdateRegistryFromResource(101, true), S_OK);
  EXPECT_THAT(values, ElementsAre(platform::WideString(QV_WIDE("C:\\it's here\\a.dll")),
                                  platform::WideString(QV_WIDE("[]"))));
  // Unquoted, the raw path is ordinary text; in quotes, its own quote ends the word.
  script = "HKCR { Key = s '%MODULE_RAW%' }";
  EXPECT_EQ(module.UpdateRegistryFromResource(101, true), platform::kMalformedRegistryScript);
}

TEST_F(Registration, AMissingScriptIsAFailure) {
  TestModule module;
  Resource resource([](auto, auto, auto, auto, auto, auto) { return false; });
  EXPECT_EQ(module.UpdateRegistryFromResource(101, true), static_cast<HRESULT>(0x80070716));
}

TEST(GuidText, BecomesTheGuid) {
  constexpr GUID guid = platform::GuidFromText("{5E1B7C42-9D3A-4F06-A8C1-3B7E42D09A16}");
  const GUID expected = {
      0x5E1B7C42, 0x9D3A, 0x4F06, {0xA8, 0xC1, 0x3B, 0x7E, 0x42, 0xD0, 0x9A, 0x16}};
  EXPECT_TRUE(IsEqualGUID(guid, expected));
}

int s_ended = 0;

// Lets a reference to itself come and go while it ends, as an object does that is released inside a
// callback of what it releases.
class SelfReferring : public Sample {
 public:
  void FinalRelease() {
    ++s_ended;
    auto* const self = static_cast<ISample*>(this);
    self->AddRef();
    self->Release();
  }
};

TEST_F(ComModuleTest, AnObjectThatIsReferencedWhileItEndsEndsOnce) {
  TestModule module;
  s_ended = 0;
  auto* const object = new CComObject<SelfReferring>;
  EXPECT_EQ(object->AddRef(), 1u);
  EXPECT_EQ(object->Release(), 0u);
  EXPECT_EQ(s_ended, 1);
  EXPECT_EQ(s_alive, 0);
  EXPECT_EQ(module.GetLockCount(), 0);
}

class Kept : public SelfReferring {
 public:
  static constexpr bool kStaysReadable = true;
  void FinalRelease() {
    SelfReferring::FinalRelease();
    m_text.clear();
  }
  std::string m_text = "a text that is longer than a short string";
};

TEST_F(ComModuleTest, AnObjectThatStaysReadableOutlivesItsLastRelease) {
  TestModule module;
  s_ended = 0;
  static CComObject<Kept>* s_object = nullptr;  // reachable, for the leak checker
  s_object = new CComObject<Kept>;
  s_object->AddRef();
  EXPECT_EQ(s_object->Release(), 0u);
  EXPECT_EQ(s_ended, 1);
  EXPECT_EQ(s_alive, 1) << "no destructor was called";
  EXPECT_EQ(s_object->m_text, "");
  EXPECT_EQ(module.GetLockCount(), 0) << "it doesn't keep the library loaded";
}

}  // namespace
