// Makes the type library that becomes a resource of DlpAddIn.dll: maketypelibrary FILE 32|64
//
// The build runs it, under Wine if it isn't Windows. A compiler of interface definitions would add
// a description of IUnknown to the library. This one holds nothing but the class and refers to
// IUnknown in stdole2.tlb.
#include <cstdio>
#include <string_view>

#include "agent/outlookaddin/addinids.h"
#include "platform/com/comptr.h"
#include "platform/com/comtypes.h"

using platform::ComPtr;

namespace {

constexpr LCID kLocale = 0x409;
constexpr WORD kMajor = 1;
constexpr WORD kMinor = 0;

// Prints what failed.
bool Worked(HRESULT hr, const char* what) {
  if (SUCCEEDED(hr)) return true;
  std::fprintf(stderr, "maketypelibrary: %s: 0x%08lX\n", what, static_cast<unsigned long>(hr));
  return false;
}

// A writable copy of a text: the interface takes no constant ones.
template <std::size_t Size>
struct Text {
  explicit Text(const wchar_t (&text)[Size]) {
    for (std::size_t index = 0; index < Size; ++index) units[index] = text[index];
  }
  wchar_t units[Size];
};

bool AddConnect(ICreateTypeLib2* library) {
  ComPtr<ICreateTypeInfo> connect;
  Text name(L"Connect");
  Text help(L"QV DLP Addin Connect Class");
  if (!Worked(library->CreateTypeInfo(name.units, TKIND_COCLASS, connect.Put()), "the class") ||
      !Worked(connect->SetGuid(CLSID_Connect), "the class id") ||
      !Worked(connect->SetVersion(0, 0), "the class's version") ||
      !Worked(connect->SetDocString(help.units), "the class's help text") ||
      !Worked(connect->SetTypeFlags(TYPEFLAG_FCANCREATE), "the class's flags")) {
    return false;
  }
  ComPtr<ITypeLib> standard;
  ComPtr<ITypeInfo> unknown;
  HREFTYPE reference = 0;
  return Worked(LoadTypeLib(L"stdole2.tlb", standard.Put()), "stdole2.tlb") &&
         Worked(standard->GetTypeInfoOfGuid(IID_IUnknown, unknown.Put()), "IUnknown") &&
         Worked(connect->AddRefTypeInfo(unknown.Get(), &reference), "the reference") &&
         Worked(connect->AddImplType(0, reference), "the class's interface") &&
         Worked(connect->SetImplTypeFlags(0, IMPLTYPEFLAG_FDEFAULT), "the default interface") &&
         Worked(connect->LayOut(), "the class's layout");
}

bool Make(const wchar_t* path, SYSKIND kind) {
  ComPtr<ICreateTypeLib2> library;
  Text name(L"QuorvexLib");
  Text help(L"Quorvex 1.0 Type Library");
  return Worked(CreateTypeLib2(kind, path, library.Put()), "the library") &&
         Worked(library->SetName(name.units), "the name") &&
         Worked(library->SetGuid(LIBID_QuorvexLib), "the library id") &&
         Worked(library->SetVersion(kMajor, kMinor), "the version") &&
         Worked(library->SetLcid(kLocale), "the locale") &&
         Worked(library->SetDocString(help.units), "the help text") && AddConnect(library.Get()) &&
         Worked(library->SaveAllChanges(), "saving");
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view bits = count == 3 ? arguments[2] : "";
  if (bits != "32" && bits != "64") {
    std::fputs("usage: maketypelibrary FILE 32|64\n", stderr);
    return 2;
  }
  wchar_t path[MAX_PATH] = {};
  if (MultiByteToWideChar(CP_ACP, 0, arguments[1], -1, path, MAX_PATH) == 0) {
    std::fputs("maketypelibrary: the path is too long\n", stderr);
    return 2;
  }
  return Make(path, bits == "64" ? SYS_WIN64 : SYS_WIN32) ? 0 : 1;
}
