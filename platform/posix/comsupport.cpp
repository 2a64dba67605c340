#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "platform/com/comtypes.h"

namespace {

// A string's length in bytes is in the four bytes before its first unit. The block begins 8 bytes
// before that unit, which keeps the text aligned.
constexpr std::size_t kBeforeText = 8;
constexpr std::size_t kLengthSize = sizeof(UINT);

char* BlockOf(BSTR text) {
  return reinterpret_cast<char*>(text) - kBeforeText;
}

bool IsPlain(VARTYPE type) {
  switch (type) {
    case VT_EMPTY:
    case VT_NULL:
    case VT_I2:
    case VT_I4:
    case VT_ERROR:
    case VT_BOOL:
      return true;
    default:
      return false;
  }
}

bool IsPointer(VARTYPE type) {
  return type == VT_BSTR || type == VT_DISPATCH || type == VT_UNKNOWN || (type & VT_BYREF) != 0;
}

// An argument as the calling convention passes it: one register or stack slot, with small integers
// sign-extended.
bool ToWord(VARTYPE type, const VARIANTARG& argument, std::uintptr_t* word) {
  if (IsPointer(type)) {
    *word = reinterpret_cast<std::uintptr_t>(argument.byref);
  } else if (type == VT_I4 || type == VT_ERROR) {
    *word = static_cast<std::uintptr_t>(static_cast<std::intptr_t>(argument.lVal));
  } else if (type == VT_I2 || type == VT_BOOL) {
    *word = static_cast<std::uintptr_t>(static_cast<std::intptr_t>(argument.iVal));
  } else {
    return false;
  }
  return true;
}

bool FromWord(VARTYPE type, std::uintptr_t word, VARIANT* result) {
  result->vt = type;
  if (IsPointer(type)) {
    result->byref = reinterpret_cast<void*>(word);
  } else if (type == VT_I4 || type == VT_ERROR) {
    result->lVal = static_cast<LONG>(word);
  } else if (type == VT_I2 || type == VT_BOOL) {
    result->iVal = static_cast<SHORT>(word);
  } else {
    return type == VT_EMPTY;
  }
  return true;
}

constexpr std::size_t kMaxArguments = 8;
using Words = std::array<std::uintptr_t, kMaxArguments>;
using Function = void (*)();

template <std::size_t... Index>
std::uintptr_t CallWith(Function function, void* instance, const Words& words,
                        std::index_sequence<Index...>) {
  using Typed = std::uintptr_t (*)(void*, decltype(static_cast<void>(Index), std::uintptr_t{})...);
  return reinterpret_cast<Typed>(function)(instance, words[Index]...);
}

using Caller = std::uintptr_t (*)(Function, void*, const Words&);

template <std::size_t... Count>
constexpr std::array<Caller, sizeof...(Count)> MakeCallers(std::index_sequence<Count...>) {
  return {[](Function function, void* instance, const Words& words) {
    return CallWith(function, instance, words, std::make_index_sequence<Count>{});
  }...};
}

constexpr auto kCallers = MakeCallers(std::make_index_sequence<kMaxArguments + 1>{});

}  // namespace

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) {
  if (length > (0x7FFFFFFFu - kBeforeText) / sizeof(OLECHAR) - 1) return nullptr;
  const UINT bytes = length * static_cast<UINT>(sizeof(OLECHAR));
  auto* const block = static_cast<char*>(std::malloc(kBeforeText + bytes + sizeof(OLECHAR)));
  if (block == nullptr) return nullptr;
  char* const content = block + kBeforeText;
  std::memcpy(content - kLengthSize, &bytes, kLengthSize);
  if (text != nullptr) {
    std::memcpy(content, text, bytes);
  } else {
    std::memset(content, 0, bytes);
  }
  std::memset(content + bytes, 0, sizeof(OLECHAR));
  return reinterpret_cast<BSTR>(content);
}

BSTR SysAllocString(const OLECHAR* text) {
  if (text == nullptr) return nullptr;
  const std::size_t length = std::char_traits<OLECHAR>::length(text);
  return length > 0x7FFFFFFF ? nullptr : SysAllocStringLen(text, static_cast<UINT>(length));
}

void SysFreeString(BSTR text) {
  if (text != nullptr) std::free(BlockOf(text));
}

UINT SysStringLen(BSTR text) {
  if (text == nullptr) return 0;
  UINT bytes = 0;
  std::memcpy(&bytes, reinterpret_cast<const char*>(text) - kLengthSize, kLengthSize);
  return bytes / static_cast<UINT>(sizeof(OLECHAR));
}

void VariantInit(VARIANT* variant) {
  *variant = VARIANT{};
}

HRESULT VariantClear(VARIANT* variant) {
  if (variant == nullptr) return E_INVALIDARG;
  if ((variant->vt & VT_BYREF) == 0) {
    if (variant->vt == VT_BSTR) {
      SysFreeString(variant->bstrVal);
    } else if (variant->vt == VT_DISPATCH || variant->vt == VT_UNKNOWN) {
      if (variant->punkVal != nullptr) variant->punkVal->Release();
    } else if (!IsPlain(variant->vt)) {
      return DISP_E_BADVARTYPE;
    }
  }
  variant->vt = VT_EMPTY;
  return S_OK;
}

// Interface methods take the object as their first argument and use the C convention here, also in
// 32-bit programs, so one way of calling covers both named conventions.
HRESULT DispCallFunc(void* instance, std::uintptr_t vtableOffset, CALLCONV /*convention*/,
                     VARTYPE resultType, UINT count, VARTYPE* argumentTypes, VARIANTARG** arguments,
                     VARIANT* result) {
  // Without an instance, the first argument is the first word of the call.
  const UINT skipped = instance == nullptr ? 1 : 0;
  if (count < skipped || count - skipped > kMaxArguments) return DISP_E_BADPARAMCOUNT;
  auto first = reinterpret_cast<std::uintptr_t>(instance);
  Words words = {};
  for (UINT index = 0; index < count; ++index) {
    std::uintptr_t* const word = index < skipped ? &first : &words[index - skipped];
    if (!ToWord(argumentTypes[index], *arguments[index], word)) return DISP_E_BADVARTYPE;
  }
  // Checked before the call, which can't be undone.
  VARIANT converted = {};
  if (!FromWord(resultType, 0, &converted)) return DISP_E_BADVARTYPE;

  auto function = reinterpret_cast<Function>(vtableOffset);
  if (instance != nullptr) {
    const char* const table = *static_cast<const char* const*>(instance);
    std::memcpy(&function, table + vtableOffset, sizeof function);
  }
  const Caller call = kCallers[count - skipped];
  FromWord(resultType, call(function, reinterpret_cast<void*>(first), words), &converted);
  if (result != nullptr) *result = converted;
  return S_OK;
}
