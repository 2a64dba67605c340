// BSTRs, VARIANTs and calls through a table: the system's and our own for POSIX.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "platform/com/bstr.h"
#include "platform/com/comtypes.h"
#include "platform/widetext.h"

namespace {

using platform::Bstr;
using platform::WideString;
using platform::WideStringView;

TEST(AutomationString, HasItsLengthBeforeAndANulAfterTheText) {
  const Bstr text(SysAllocString(QV_WIDE("mail")));
  ASSERT_TRUE(text);
  EXPECT_EQ(text.Length(), 4u);
  EXPECT_EQ(text.Get()[4], 0);
  std::uint32_t bytes = 0;
  std::memcpy(&bytes, reinterpret_cast<const char*>(text.Get()) - 4, 4);
  EXPECT_EQ(bytes, 8u);
  EXPECT_EQ(text.View(), WideStringView(QV_WIDE("mail")));
}

TEST(AutomationString, MayContainNuls) {
  const WideString units = {'a', 0, 'b'};
  const Bstr text(SysAllocStringLen(units.data(), 3));
  EXPECT_EQ(text.Length(), 3u);
  EXPECT_EQ(text.View(), units);
}

TEST(AutomationString, CopiesOnlyTheRequestedLength) {
  const Bstr text(SysAllocStringLen(QV_WIDE("attachment"), 6));
  EXPECT_EQ(text.View(), WideStringView(QV_WIDE("attach")));
  EXPECT_EQ(text.Get()[6], 0);
}

TEST(AutomationString, EmptyIsNotNull) {
  const Bstr empty(SysAllocString(QV_WIDE("")));
  EXPECT_TRUE(empty);
  EXPECT_EQ(empty.Length(), 0u);
  EXPECT_EQ(empty.Get()[0], 0);
  EXPECT_EQ(SysAllocString(nullptr), nullptr);
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  SysFreeString(nullptr);
}

TEST(AutomationString, CanBeAllocatedWithoutText) {
  const Bstr text(SysAllocStringLen(nullptr, 1000));
  ASSERT_TRUE(text);
  EXPECT_EQ(text.Length(), 1000u);
  EXPECT_EQ(text.Get()[1000], 0);
  for (std::size_t index = 0; index < 1000; ++index) text.Get()[index] = 'x';
  EXPECT_EQ(text.Length(), 1000u);
}

TEST(AutomationString, IsNullIfAllocationFails) {
  EXPECT_EQ(SysAllocStringLen(nullptr, 0x7FFFFFFE), nullptr);
}

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

// An object that records its calls.
struct Recorder : IUnknown {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID /*iid*/, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }

  virtual HRESULT STDMETHODCALLTYPE NoArguments() {
    ++calls;
    return S_FALSE;
  }
  virtual HRESULT STDMETHODCALLTYPE TwoArguments(IUnknown* object, VARIANT_BOOL* cancel) {
    ++calls;
    seen = object;
    *cancel = VARIANT_TRUE;
    return E_FAIL;
  }
  virtual HRESULT STDMETHODCALLTYPE EightArguments(LONG a, SHORT b, VARIANT_BOOL c, BSTR d, LONG e,
                                                   LONG* f, SHORT g, LONG h) {
    ++calls;
    numbers = {a, b, c, e, g, h};
    text = d;
    *f = 77;
    return S_OK;
  }

  ULONG references = 1;
  int calls = 0;
  IUnknown* seen = nullptr;
  std::vector<LONG> numbers;
  BSTR text = nullptr;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

constexpr std::size_t Slot(std::size_t index) {
  return index * sizeof(void*);
}

VARIANTARG Number(LONG number) {
  VARIANTARG value = {};
  value.vt = VT_I4;
  value.lVal = number;
  return value;
}

VARIANTARG Small(VARTYPE type, SHORT number) {
  VARIANTARG value = {};
  value.vt = type;
  value.iVal = number;
  return value;
}

VARIANTARG Pointer(VARTYPE type, void* pointer) {
  VARIANTARG value = {};
  value.vt = type;
  value.byref = pointer;
  return value;
}

HRESULT Call(Recorder* object, std::size_t slot, std::vector<VARIANTARG> arguments,
             VARIANT* result) {
  std::vector<VARTYPE> types;
  std::vector<VARIANTARG*> pointers;
  for (VARIANTARG& argument : arguments) {
    types.push_back(argument.vt);
    pointers.push_back(&argument);
  }
  return DispCallFunc(object, Slot(slot), CC_STDCALL, VT_I4, static_cast<UINT>(arguments.size()),
                      types.data(), pointers.data(), result);
}

TEST(CallByTable, CallsTheSlotAndReturnsItsResult) {
  Recorder object;
  VARIANT result = {};
  EXPECT_EQ(Call(&object, 3, {}, &result), S_OK);
  EXPECT_EQ(object.calls, 1);
  EXPECT_EQ(result.vt, VT_I4);
  EXPECT_EQ(result.lVal, S_FALSE);
}

TEST(CallByTable, PassesPointersAndReturnsAFailureAsTheResult) {
  Recorder object;
  VARIANT_BOOL cancel = VARIANT_FALSE;
  VARIANT result = {};
  EXPECT_EQ(Call(&object, 4, {Pointer(VT_DISPATCH, &object), Pointer(VT_BYREF | VT_BOOL, &cancel)},
                 &result),
            S_OK);
  EXPECT_EQ(object.seen, &object);
  EXPECT_EQ(cancel, VARIANT_TRUE);
  EXPECT_EQ(result.lVal, E_FAIL);
}

TEST(CallByTable, PassesEightArgumentsInOrder) {
  Recorder object;
  LONG written = 0;
  const Bstr text(SysAllocString(QV_WIDE("text")));
  VARIANT result = {};
  EXPECT_EQ(Call(&object, 5,
                 {Number(-1), Small(VT_I2, -2), Small(VT_BOOL, VARIANT_TRUE),
                  Pointer(VT_BSTR, text.Get()), Number(5), Pointer(VT_BYREF | VT_I4, &written),
                  Small(VT_I2, -7), Number(0x7FFFFFFF)},
                 &result),
            S_OK);
  EXPECT_EQ(object.numbers, (std::vector<LONG>{-1, -2, VARIANT_TRUE, 5, -7, 0x7FFFFFFF}));
  EXPECT_EQ(object.text, text.Get());
  EXPECT_EQ(written, 77);
  EXPECT_EQ(result.lVal, S_OK);
}

TEST(Variant, ClearingFreesOwnedContents) {
  Recorder object;
  object.AddRef();
  for (const VARTYPE type : {VT_DISPATCH, VT_UNKNOWN}) {
    VARIANT variant = {};
    VariantInit(&variant);
    EXPECT_EQ(variant.vt, VT_EMPTY);
    object.AddRef();
    variant.vt = type;
    variant.punkVal = &object;
    EXPECT_EQ(VariantClear(&variant), S_OK);
    EXPECT_EQ(variant.vt, VT_EMPTY);
    EXPECT_EQ(object.references, 2u);
  }
}

TEST(Variant, ClearingLeavesReferencedContents) {
  Recorder object;
  IUnknown* place = &object;
  VARIANT variant = Pointer(VT_BYREF | VT_UNKNOWN, &place);
  EXPECT_EQ(VariantClear(&variant), S_OK);
  EXPECT_EQ(variant.vt, VT_EMPTY);
  EXPECT_EQ(object.references, 1u);
}

TEST(Variant, ClearingAcceptsNullPointersAndPlainValues) {
  for (const VARTYPE type :
       {VT_EMPTY, VT_NULL, VT_I2, VT_I4, VT_BOOL, VT_ERROR, VT_BSTR, VT_DISPATCH, VT_UNKNOWN}) {
    VARIANT variant = Pointer(type, nullptr);
    EXPECT_EQ(VariantClear(&variant), S_OK) << type;
    EXPECT_EQ(variant.vt, VT_EMPTY);
  }
  VARIANT text = Pointer(VT_BSTR, SysAllocString(QV_WIDE("freed")));
  EXPECT_EQ(VariantClear(&text), S_OK);
}

TEST(Variant, ClearingRejectsAnUnknownType) {
  VARIANT variant = {};
  variant.vt = 0x0FF0;
  EXPECT_EQ(VariantClear(&variant), DISP_E_BADVARTYPE);
}

}  // namespace
