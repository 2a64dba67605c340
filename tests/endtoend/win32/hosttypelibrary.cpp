#include "tests/endtoend/win32/hosttypelibrary.h"

#include <string>
#include <vector>

#include "agent/outlookaddin/extensibility.h"
#include "platform/com/comptr.h"

namespace tests {
namespace {

using platform::ComPtr;

constexpr SYSKIND kKind = sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32;

// A writable copy of a text: the interfaces take no constant ones.
class Text {
 public:
  explicit Text(const wchar_t* text) : m_text(text) {}
  LPOLESTR Get() { return m_text.data(); }

 private:
  std::wstring m_text;
};

struct Method {
  const wchar_t* name;
  MEMBERID dispid;
  std::vector<std::pair<const wchar_t*, TYPEDESC*>> parameters;
};

// Keeps the first failure of several steps.
class Steps {
 public:
  Steps& operator<<(HRESULT step) {
    if (SUCCEEDED(m_result)) m_result = step;
    return *this;
  }
  bool Good() const { return SUCCEEDED(m_result); }
  HRESULT Result() const { return m_result; }

 private:
  HRESULT m_result = S_OK;
};

HRESULT AddMethod(ICreateTypeInfo* info, UINT index, const Method& method) {
  std::vector<ELEMDESC> elements(method.parameters.size());
  std::vector<Text> texts = {Text(method.name)};
  for (std::size_t at = 0; at < elements.size(); ++at) {
    elements[at].tdesc = *method.parameters[at].second;
    elements[at].paramdesc.wParamFlags = PARAMFLAG_FIN;
    texts.emplace_back(method.parameters[at].first);
  }
  std::vector<LPOLESTR> names;
  for (Text& text : texts) names.push_back(text.Get());

  FUNCDESC function = {};
  function.memid = method.dispid;
  function.lprgelemdescParam = elements.data();
  function.funckind = FUNC_PUREVIRTUAL;
  function.invkind = INVOKE_FUNC;
  function.callconv = CC_STDCALL;
  function.cParams = static_cast<SHORT>(elements.size());
  function.elemdescFunc.tdesc.vt = VT_HRESULT;
  Steps steps;
  steps << info->AddFuncDesc(index, &function);
  if (steps.Good()) {
    steps << info->SetFuncAndParamNames(index, names.data(), static_cast<UINT>(names.size()));
  }
  return steps.Result();
}

HRESULT AddContract(ICreateTypeInfo* info) {
  ComPtr<ITypeLib> standard;
  ComPtr<ITypeInfo> dispatch;
  HREFTYPE base = 0;
  Steps steps;
  steps << info->SetGuid(IID__IDTExtensibility2);
  steps << LoadTypeLib(L"stdole2.tlb", standard.Put());
  if (steps.Good()) steps << standard->GetTypeInfoOfGuid(IID_IDispatch, dispatch.Put());
  if (steps.Good()) steps << info->AddRefTypeInfo(dispatch.Get(), &base);
  if (steps.Good()) steps << info->AddImplType(0, base);
  if (steps.Good()) steps << info->SetTypeFlags(TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION);

  TYPEDESC object = {};
  object.vt = VT_DISPATCH;
  TYPEDESC mode = {};
  mode.vt = VT_I4;
  TYPEDESC variant = {};
  variant.vt = VT_VARIANT;
  TYPEDESC array = {};
  array.vt = VT_SAFEARRAY;
  array.lptdesc = &variant;
  TYPEDESC custom = {};
  custom.vt = VT_PTR;
  custom.lptdesc = &array;
  const Method methods[] = {
      {L"OnConnection",
       1,
       {{L"Application", &object},
        {L"ConnectMode", &mode},
        {L"AddInInst", &object},
        {L"custom", &custom}}},
      {L"OnDisconnection", 2, {{L"RemoveMode", &mode}, {L"custom", &custom}}},
      {L"OnAddInsUpdate", 3, {{L"custom", &custom}}},
      {L"OnStartupComplete", 4, {{L"custom", &custom}}},
      {L"OnBeginShutdown", 5, {{L"custom", &custom}}},
  };
  UINT index = 0;
  for (const Method& method : methods) {
    if (steps.Good()) steps << AddMethod(info, index++, method);
  }
  if (steps.Good()) steps << info->LayOut();
  return steps.Result();
}

}  // namespace

HRESULT MakeHostTypeLibrary(const wchar_t* path) {
  ComPtr<ICreateTypeLib2> library;
  ComPtr<ICreateTypeInfo> contract;
  Text libraryName(L"AddInDesignerObjects");
  Text contractName(L"_IDTExtensibility2");
  Steps steps;
  steps << CreateTypeLib2(kKind, path, library.Put());
  if (!steps.Good()) return steps.Result();
  steps << library->SetName(libraryName.Get());
  steps << library->SetGuid(LIBID_AddInDesignerObjects);
  steps << library->SetVersion(1, 0);
  steps << library->SetLcid(LOCALE_NEUTRAL);
  steps << library->CreateTypeInfo(contractName.Get(), TKIND_INTERFACE, contract.Put());
  if (steps.Good()) steps << AddContract(contract.Get());
  if (steps.Good()) steps << library->SaveAllChanges();
  return steps.Result();
}

HRESULT RegisterHostTypeLibrary(const wchar_t* path) {
  ComPtr<ITypeLib> library;
  const HRESULT hr = LoadTypeLib(path, library.Put());
  return FAILED(hr) ? hr : RegisterTypeLib(library.Get(), Text(path).Get(), nullptr);
}

HRESULT UnregisterHostTypeLibrary() {
  return UnRegisterTypeLib(LIBID_AddInDesignerObjects, 1, 0, LOCALE_NEUTRAL, kKind);
}

}  // namespace tests
