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
// White space separates words. A word in single quotes may contain anything; double a quote inside
// it. Keys, attributes and roots ignore case. `= s 'text'` after a key sets its default value,
// `val` a named value of the enclosing key; text is the only type. NoRemove keeps the key at
// unregistration. ForceRemove deletes an existing key first. %NAME% is replaced before anything
// else is parsed, %% is a per cent sign. Scripts are ASCII; replacements may contain any text.
//
// A script is parsed completely before the registry is touched, so a malformed one changes nothing.
#pragma once

#include <string_view>
#include <utility>
#include <vector>

#include "platform/com/comtypes.h"
#include "platform/widetext.h"

namespace platform {

// The result for a malformed script (DISP_E_EXCEPTION).
inline constexpr HRESULT kMalformedRegistryScript = static_cast<HRESULT>(0x80020009);

// The values of the names between per cent signs.
class RegistryReplacements {
 public:
  // Replaces the value of an existing name.
  void Add(WideStringView name, WideStringView value);
  // Ignores case. Returns null for an unknown name.
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

// Parses a script. `*keys` gets the keys below HKEY_CLASSES_ROOT (HKCR), the only root. Returns
// kMalformedRegistryScript on failure, with `*keys` unspecified.
HRESULT ParseRegistryScript(std::string_view script, const RegistryReplacements& replacements,
                            std::vector<RegistryScriptKey>* keys);

// Creates the keys and values in order. Stops at the first failure and returns it.
HRESULT RegisterByScript(std::string_view script, const RegistryReplacements& replacements);

// Deletes the keys that the script names, with all their contents. Keys marked NoRemove stay, with
// the keys above them and their values. A missing key is no failure.
HRESULT UnregisterByScript(std::string_view script, const RegistryReplacements& replacements);

}  // namespace platform
