// Registry scripts: registration as data.
//
//   HKCR
//   {
//     Sample.Object = s 'A sample'
//     {
//       CLSID = s '{...}'
//     }
//     NoRemove CLSID
//     {
//       ForceRemove {...} = s 'A sample'
//       {
//         InprocServer32 = s '%MODULE%' { val ThreadingModel = s 'Apartment' }
//       }
//     }
//   }
//
// Words stand apart by white space. A word in single quotes may hold anything, a quote in it is
// doubled; keys, attributes and roots are known without regard to case. `= s 'text'` behind a key
// is its default value, `val` names a value of the key around it; text is the only type. NoRemove:
// the key stays at unregistration. ForceRemove: an older key is deleted first. %NAME% becomes the
// replacement of that name before anything else is read, %% a per cent sign. The script is ASCII;
// only replacements bring other text.
//
// A script is read to its end before the registry is touched, so a malformed one changes nothing.
#pragma once

#include <string_view>
#include <utility>
#include <vector>

#include "platform/com/comtypes.h"
#include "platform/widetext.h"

namespace platform {

// The result for a script that can't be understood (DISP_E_EXCEPTION).
inline constexpr HRESULT kMalformedRegistryScript = static_cast<HRESULT>(0x80020009);

// What the names between per cent signs stand for.
class RegistryReplacements {
 public:
  // A name that is there already gets the new value.
  void Add(WideStringView name, WideStringView value);
  // Without regard to case; null for an unknown name.
  const WideString* Find(WideStringView name) const;

 private:
  std::vector<std::pair<WideString, WideString>> m_replacements;
};

struct RegistryScriptValue {
  WideString name;  // empty: the key's default value
  WideString text;
};

struct RegistryScriptKey {
  WideString name;
  bool noRemove = false;
  bool forceRemove = false;
  std::vector<RegistryScriptValue> values;
  std::vector<RegistryScriptKey> keys;
};

// Reads a script; `*keys` gets what stands below HKEY_CLASSES_ROOT (HKCR), the only root there is.
// kMalformedRegistryScript otherwise, with `*keys` unspecified.
HRESULT ParseRegistryScript(std::string_view script, const RegistryReplacements& replacements,
                            std::vector<RegistryScriptKey>* keys);

// Makes every key and value of the script, in its order. Stops at the first failure and gives it.
HRESULT RegisterByScript(std::string_view script, const RegistryReplacements& replacements);

// Deletes every key that the script names, with all that it holds by now. What is marked NoRemove
// stays, and so do the keys above it and its values. A key that isn't there is no failure.
HRESULT UnregisterByScript(std::string_view script, const RegistryReplacements& replacements);

}  // namespace platform
