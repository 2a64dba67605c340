// DlpAddIn.dll: its exports, resources and type library, and its registration. HKEY_CLASSES_ROOT is
// redirected to a key of the test, so that no other program sees the registration.
#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "agent/outlookaddin/addinids.h"
#include "agent/outlookaddin/extensibility.h"
#include "platform/com/bstr.h"
#include "platform/com/comptr.h"
#include "platform/com/comtypes.h"
#include "simulation/host/simulatedhost.h"
#include "tests/agent/outlookaddin/registrationtable.h"

namespace tests {
namespace {

using platform::Bstr;
using platform::ComPtr;

// The library in the folder of the test program.
std::wstring LibraryPath() {
  wchar_t path[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::wstring text = path;
  return text.substr(0, text.find_last_of(L'\\') + 1) + L"DlpAddIn.dll";
}

class Library : public testing::Test {
 protected:
  void SetUp() override {
    m_module = LoadLibraryW(LibraryPath().c_str());
    ASSERT_NE(m_module, nullptr) << GetLastError();
  }
  void TearDown() override {
    if (m_module != nullptr) FreeLibrary(m_module);
  }

  template <typename Function>
  Function Find(const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(m_module, name)));
  }
  HRESULT Call(const char* name) { return Find<HRESULT(STDAPICALLTYPE*)()>(name)(); }
  HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** object) {
    using Function = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    return Find<Function>("DllGetClassObject")(clsid, iid, object);
  }
  std::string ResourceBytes(const wchar_t* type, WORD identifier) {
    const HRSRC found = FindResourceW(m_module, MAKEINTRESOURCEW(identifier), type);
    if (found == nullptr) return {};
    return {static_cast<const char*>(LockResource(LoadResource(m_module, found))),
            SizeofResource(m_module, found)};
  }

  HMODULE m_module = nullptr;
};

TEST_F(Library, ExportsFourFunctionsByNameAndOrdinal) {
  const char* const names[] = {"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer",
                               "DllUnregisterServer"};
  for (WORD ordinal = 1; ordinal <= 4; ++ordinal) {
    const FARPROC byName = GetProcAddress(m_module, names[ordinal - 1]);
    EXPECT_NE(byName, nullptr);
    EXPECT_EQ(byName, GetProcAddress(m_module, MAKEINTRESOURCEA(ordinal)));
  }
  EXPECT_EQ(GetProcAddress(m_module, MAKEINTRESOURCEA(5)), nullptr);
}

TEST_F(Library, MakesConnectAndStaysLoadedForIt) {
  EXPECT_EQ(Call("DllCanUnloadNow"), S_OK);
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(
      GetClassObject(CLSID_Connect, IID_IClassFactory, reinterpret_cast<void**>(factory.Put())),
      S_OK);
  ComPtr<_IDTExtensibility2> addIn;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID__IDTExtensibility2,
                                    reinterpret_cast<void**>(addIn.Put())),
            S_OK);
  factory.Reset();
  EXPECT_EQ(Call("DllCanUnloadNow"), S_FALSE);
  addIn.Reset();
  EXPECT_EQ(Call("DllCanUnloadNow"), S_OK);
}

TEST_F(Library, HasNoOtherClass) {
  void* object = this;
  EXPECT_EQ(GetClassObject(IID_IUnknown, IID_IClassFactory, &object),
            static_cast<HRESULT>(0x80040111));
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(GetClassObject(CLSID_Connect, IID_IClassFactory, nullptr), E_POINTER);
}

TEST_F(Library, HasItsProjectNameInString100) {
  wchar_t text[64] = {};
  EXPECT_EQ(LoadStringW(m_module, 100, text, 64), 8);
  EXPECT_STREQ(text, L"DlpAddIn");
}

TEST_F(Library, CarriesTheRegistryScript) {
  std::ifstream file(QUORVEX_REGISTRY_SCRIPT, std::ios::binary);
  const std::string script((std::istreambuf_iterator<char>(file)), {});
  ASSERT_FALSE(script.empty()) << QUORVEX_REGISTRY_SCRIPT;
  EXPECT_EQ(ResourceBytes(L"REGISTRY", 101), script);
  // The installer writes the key that makes the host load the library.
  EXPECT_EQ(script.find("Office"), std::string::npos);
  EXPECT_EQ(script.find("HKLM"), std::string::npos);
}

TEST_F(Library, CarriesItsManifest) {
  const std::string manifest = ResourceBytes(MAKEINTRESOURCEW(24), 2);
  EXPECT_NE(manifest.find("level=\"asInvoker\" uiAccess=\"false\""), std::string::npos) << manifest;
}

TEST_F(Library, DescribesItselfInItsVersionBlock) {
  std::string block = ResourceBytes(MAKEINTRESOURCEW(16), 1);
  ASSERT_FALSE(block.empty());
  // The block is a tree of UTF-16 texts. A value follows its name.
  const std::wstring text(reinterpret_cast<const wchar_t*>(block.data()), block.size() / 2);
  const std::wstring name(L"FileDescription\0", 16);
  const std::size_t at = text.find(name);
  ASSERT_NE(at, std::wstring::npos);
  const std::size_t value = text.find_first_not_of(L'\0', at + name.size());
  EXPECT_STREQ(text.c_str() + value, L"DLP Outlook Addin DLL");
}

TEST_F(Library, ItsTypeLibraryHoldsConnectAndNothingElse) {
  ComPtr<ITypeLib> library;
  ASSERT_EQ(LoadTypeLib(LibraryPath().c_str(), library.Put()), S_OK);
  TLIBATTR* attributes = nullptr;
  ASSERT_EQ(library->GetLibAttr(&attributes), S_OK);
  EXPECT_TRUE(IsEqualGUID(attributes->guid, LIBID_QuorvexLib));
  EXPECT_EQ(attributes->wMajorVerNum, 1);
  EXPECT_EQ(attributes->wMinorVerNum, 0);
  EXPECT_EQ(attributes->lcid, 0x409u);
  EXPECT_EQ(attributes->syskind, sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32);
  library->ReleaseTLibAttr(attributes);
  Bstr name;
  Bstr help;
  ASSERT_EQ(library->GetDocumentation(-1, name.Put(), help.Put(), nullptr, nullptr), S_OK);
  EXPECT_EQ(name.View(), L"QuorvexLib");
  EXPECT_EQ(help.View(), L"Quorvex 1.0 Type Library");
  ASSERT_EQ(library->GetTypeInfoCount(), 1u);

  ComPtr<ITypeInfo> connect;
  ASSERT_EQ(library->GetTypeInfo(0, connect.Put()), S_OK);
  TYPEATTR* type = nullptr;
  ASSERT_EQ(connect->GetTypeAttr(&type), S_OK);
  EXPECT_EQ(type->typekind, TKIND_COCLASS);
  EXPECT_TRUE(IsEqualGUID(type->guid, CLSID_Connect));
  EXPECT_EQ(type->wTypeFlags, TYPEFLAG_FCANCREATE);
  EXPECT_EQ(type->cImplTypes, 1);
  connect->ReleaseTypeAttr(type);
  ASSERT_EQ(connect->GetDocumentation(MEMBERID_NIL, name.Put(), help.Put(), nullptr, nullptr),
            S_OK);
  EXPECT_EQ(name.View(), L"Connect");
  EXPECT_EQ(help.View(), L"QV DLP Addin Connect Class");
  int flags = 0;
  EXPECT_EQ(connect->GetImplTypeFlags(0, &flags), S_OK);
  EXPECT_EQ(flags, IMPLTYPEFLAG_FDEFAULT);
}

TEST_F(Library, TheInterfaceOfConnectIsUnknownFromTheStandardLibrary) {
  ComPtr<ITypeLib> library;
  ComPtr<ITypeInfo> connect;
  ASSERT_EQ(LoadTypeLib(LibraryPath().c_str(), library.Put()), S_OK);
  ASSERT_EQ(library->GetTypeInfoOfGuid(CLSID_Connect, connect.Put()), S_OK);
  HREFTYPE reference = 0;
  ComPtr<ITypeInfo> unknown;
  ASSERT_EQ(connect->GetRefTypeOfImplType(0, &reference), S_OK);
  ASSERT_EQ(connect->GetRefTypeInfo(reference, unknown.Put()), S_OK);
  TYPEATTR* type = nullptr;
  ASSERT_EQ(unknown->GetTypeAttr(&type), S_OK);
  EXPECT_TRUE(IsEqualGUID(type->guid, IID_IUnknown));
  unknown->ReleaseTypeAttr(type);
  ComPtr<ITypeLib> standard;
  UINT index = 0;
  ASSERT_EQ(unknown->GetContainingTypeLib(standard.Put(), &index), S_OK);
  Bstr name;
  ASSERT_EQ(standard->GetDocumentation(-1, name.Put(), nullptr, nullptr, nullptr), S_OK);
  EXPECT_EQ(name.View(), L"stdole");
}

TEST_F(Library, IsPinnedByItsConnectionAndNotByItsCreation) {
  const auto create = [this](_IDTExtensibility2** addIn) {
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(
        GetClassObject(CLSID_Connect, IID_IClassFactory, reinterpret_cast<void**>(factory.Put())),
        S_OK);
    ASSERT_EQ(
        factory->CreateInstance(nullptr, IID__IDTExtensibility2, reinterpret_cast<void**>(addIn)),
        S_OK);
  };
  const auto unload = [this] {
    FreeLibrary(std::exchange(m_module, nullptr));
    return GetModuleHandleW(L"DlpAddIn.dll") == nullptr;
  };
  ComPtr<_IDTExtensibility2> addIn;
  ASSERT_NO_FATAL_FAILURE(create(addIn.Put()));
  addIn.Reset();
  ASSERT_TRUE(unload()) << "or an earlier run of this test has pinned it";

  m_module = LoadLibraryW(LibraryPath().c_str());
  ASSERT_NO_FATAL_FAILURE(create(addIn.Put()));
  simulation::host::SimulatedHost host;
  ASSERT_EQ(host.Connect(addIn.Get()), S_OK);
  EXPECT_EQ(host.Disconnect(), S_OK);
  addIn.Reset();
  EXPECT_EQ(Call("DllCanUnloadNow"), S_OK) << "its answer doesn't change";
  EXPECT_FALSE(unload());
}

// Redirects HKEY_CLASSES_ROOT to a key that only this process uses.
class LibraryRegistration : public Library {
 protected:
  void SetUp() override {
    Library::SetUp();
    m_name = L"Software\\QuorvexTest" + std::to_wstring(GetCurrentProcessId());
    Redirect(REG_OPTION_NON_VOLATILE);
    m_locale = GetThreadLocale();
  }
  void TearDown() override {
    EXPECT_EQ(GetThreadLocale(), m_locale) << "the thread's locale was left changed";
    RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
    RegDeleteTreeW(HKEY_CURRENT_USER, m_name.c_str());
    Library::TearDown();
  }
  // Redirects HKEY_CLASSES_ROOT to a new key with these options.
  void Redirect(DWORD options) {
    RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
    RegDeleteTreeW(HKEY_CURRENT_USER, m_name.c_str());
    HKEY root = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, m_name.c_str(), 0, nullptr, options,
                              KEY_ALL_ACCESS, nullptr, &root, nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(RegOverridePredefKey(HKEY_CLASSES_ROOT, root), ERROR_SUCCESS);
    RegCloseKey(root);
  }
  // A volatile key can't have non-volatile subkeys.
  void RedirectToUnwritable() { Redirect(REG_OPTION_VOLATILE); }
  static constexpr auto kUnwritable = static_cast<HRESULT>(0x800703FD);
  static std::string Narrow(const std::wstring& text) {
    std::string narrow;
    for (const wchar_t unit : text) narrow += static_cast<char>(unit);
    return narrow;
  }

  std::wstring m_name;
  LCID m_locale = 0;
};

TEST_F(LibraryRegistration, WritesTheWholeTable) {
  ASSERT_EQ(Call("DllRegisterServer"), S_OK);
  for (const RegistryRow& row : kRegistrationRows) {
    EXPECT_TRUE(HasKey(row.key)) << row.key;
    const std::optional<std::string> value = RegistryValue(row.key, row.name);
    if (row.value == nullptr) {
      EXPECT_EQ(value, std::nullopt) << row.key;
    } else if (std::string(row.value) == "%MODULE%") {
      EXPECT_EQ(value, Narrow(LibraryPath()));
    } else {
      EXPECT_EQ(value, row.value) << row.key;
    }
  }
}

TEST_F(LibraryRegistration, RegistersTheTypeLibrary) {
  ASSERT_EQ(Call("DllRegisterServer"), S_OK);
  const std::string key = "TypeLib\\{C27A40E9-16F8-4B5D-8E33-91D5F0A7C264}\\1.0";
  EXPECT_EQ(RegistryValue(key, ""), "Quorvex 1.0 Type Library");
  const std::string system = sizeof(void*) == 8 ? "win64" : "win32";
  EXPECT_EQ(RegistryValue(key + "\\409\\" + system, ""), Narrow(LibraryPath()));
}

TEST_F(LibraryRegistration, RemovalLeavesTheKeyOfAllClassesAndNothingOfItsOwn) {
  ASSERT_EQ(Call("DllRegisterServer"), S_OK);
  ASSERT_EQ(Call("DllUnregisterServer"), S_OK);
  EXPECT_TRUE(HasKey("CLSID"));
  EXPECT_FALSE(HasKey(QV_TEST_CLASS_KEY));
  EXPECT_FALSE(HasKey("Quorvex.Connect"));
  EXPECT_FALSE(HasKey("Quorvex.Connect.1"));
  EXPECT_FALSE(HasKey("TypeLib\\{C27A40E9-16F8-4B5D-8E33-91D5F0A7C264}\\1.0\\409"));
}

TEST_F(LibraryRegistration, CanBeRepeated) {
  ASSERT_EQ(Call("DllRegisterServer"), S_OK);
  EXPECT_EQ(Call("DllRegisterServer"), S_OK);
  EXPECT_EQ(Call("DllUnregisterServer"), S_OK);
}

TEST_F(LibraryRegistration, ARegistryThatCannotBeWrittenGivesItsError) {
  RedirectToUnwritable();
  EXPECT_EQ(Call("DllRegisterServer"), kUnwritable);
}

TEST_F(LibraryRegistration, AThreadsOwnLocaleComesBackAfterAFailure) {
  ASSERT_TRUE(SetThreadLocale(0x0407));
  RedirectToUnwritable();
  EXPECT_EQ(Call("DllRegisterServer"), kUnwritable);
  EXPECT_EQ(GetThreadLocale(), 0x0407u);
  SetThreadLocale(m_locale);
}

}  // namespace
}  // namespace tests
