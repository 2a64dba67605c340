#include "platform/com/registryscript.h"

#include <algorithm>
#include <cstdint>

#include "platform/registry.h"

namespace platform {
namespace {

// More than any script needs. Bounds the recursion for a hostile one.
constexpr int kMaxDepth = 64;

WideChar LowerAscii(WideChar unit) {
  return unit >= 'A' && unit <= 'Z' ? static_cast<WideChar>(unit + ('a' - 'A')) : unit;
}

bool EqualNoCase(WideStringView left, WideStringView right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](WideChar a, WideChar b) { return LowerAscii(a) == LowerAscii(b); });
}

bool IsSpace(WideChar unit) {
  return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n';
}

// Widens the script and inserts the replacements. Returns false for a byte that is neither
// printable ASCII nor white space, for an unknown name, and for an unpaired per cent sign.
bool Expand(std::string_view script, const RegistryReplacements& replacements, WideString* text) {
  WideString wide;
  for (const char byte : script) {
    const auto unit = static_cast<WideChar>(static_cast<unsigned char>(byte));
    if (unit > 0x7E || (unit < 0x20 && !IsSpace(unit))) return false;
    wide += unit;
  }
  const WideStringView rest = wide;
  for (std::size_t at = 0; at < rest.size();) {
    const std::size_t sign = rest.find(WideChar{'%'}, at);
    text->append(rest.substr(at, sign - at));
    if (sign == WideStringView::npos) return true;
    const std::size_t end = rest.find(WideChar{'%'}, sign + 1);
    if (end == WideStringView::npos) return false;
    if (end == sign + 1) {
      *text += WideChar{'%'};
    } else {
      const WideString* const value = replacements.Find(rest.substr(sign + 1, end - sign - 1));
      if (value == nullptr) return false;
      text->append(*value);
    }
    at = end + 1;
  }
  return true;
}

struct Word {
  WideString text;
  bool quoted = false;

  bool Is(WideStringView keyword) const { return !quoted && EqualNoCase(text, keyword); }
  // A keyword is a name only if it is quoted.
  bool IsName() const {
    return quoted || !(Is(QV_WIDE("{")) || Is(QV_WIDE("}")) || Is(QV_WIDE("=")));
  }
};

// Returns false for an unpaired quote and for one that ends within a word.
bool SplitWords(WideStringView text, std::vector<Word>* words) {
  std::size_t at = 0;
  while (true) {
    while (at < text.size() && IsSpace(text[at])) ++at;
    if (at == text.size()) return true;
    Word word;
    word.quoted = text[at] == '\'';
    if (!word.quoted) {
      while (at < text.size() && !IsSpace(text[at])) word.text += text[at++];
    } else {
      while (true) {
        if (++at == text.size()) return false;
        if (text[at] != '\'') {
          word.text += text[at];
        } else if (at + 1 < text.size() && text[at + 1] == '\'') {
          word.text += text[at++];
        } else {
          break;
        }
      }
      if (++at < text.size() && !IsSpace(text[at])) return false;
    }
    words->push_back(std::move(word));
  }
}

// Parses words into keys. Each Read returns false for invalid input.
class Parser {
 public:
  explicit Parser(const std::vector<Word>& words) : m_words(words) {}

  bool ReadScript(std::vector<RegistryScriptKey>* keys) {
    RegistryScriptKey root;
    do {
      if (!Take(QV_WIDE("HKCR")) && !Take(QV_WIDE("HKEY_CLASSES_ROOT"))) return false;
      if (!Take(QV_WIDE("{")) || !ReadBlock(&root, 1)) return false;
    } while (m_at < m_words.size());
    *keys = std::move(root.keys);
    // Roots have no values in this language.
    return root.values.empty();
  }

 private:
  bool Take(WideStringView keyword) {
    if (m_at == m_words.size() || !m_words[m_at].Is(keyword)) return false;
    ++m_at;
    return true;
  }

  // The entries up to and including the closing brace.
  bool ReadBlock(RegistryScriptKey* owner, int depth) {
    if (depth > kMaxDepth) return false;
    while (!Take(QV_WIDE("}"))) {
      if (Take(QV_WIDE("val"))) {
        RegistryScriptValue value;
        if (!ReadName(&value.name) || !ReadText(&value.text)) return false;
        owner->values.push_back(std::move(value));
        continue;
      }
      RegistryScriptKey key;
      if (!ReadKey(&key, depth)) return false;
      owner->keys.push_back(std::move(key));
    }
    return true;
  }

  bool ReadKey(RegistryScriptKey* key, int depth) {
    key->forceRemove = Take(QV_WIDE("ForceRemove"));
    key->noRemove = !key->forceRemove && Take(QV_WIDE("NoRemove"));
    if (!ReadName(&key->name) || key->name.find(WideChar{'\\'}) != WideString::npos) return false;
    if (m_at < m_words.size() && m_words[m_at].Is(QV_WIDE("="))) {
      RegistryScriptValue value;
      if (!ReadText(&value.text)) return false;
      key->values.push_back(std::move(value));
    }
    return !Take(QV_WIDE("{")) || ReadBlock(key, depth + 1);
  }

  bool ReadName(WideString* name) {
    if (m_at == m_words.size() || !m_words[m_at].IsName() || m_words[m_at].text.empty()) {
      return false;
    }
    *name = m_words[m_at++].text;
    return true;
  }

  // "= s 'text'"; the text may be empty.
  bool ReadText(WideString* text) {
    if (!Take(QV_WIDE("=")) || !Take(QV_WIDE("s"))) return false;
    if (m_at == m_words.size() || !m_words[m_at].IsName()) return false;
    *text = m_words[m_at++].text;
    return true;
  }

  const std::vector<Word>& m_words;
  std::size_t m_at = 0;
};

HRESULT ToResult(RegistryResult code) {
  return code == 0 ? S_OK : static_cast<HRESULT>(0x80070000U | static_cast<std::uint32_t>(code));
}

class OpenKey {
 public:
  explicit OpenKey(RegistryKey key = nullptr) : m_key(key) {}
  ~OpenKey() { registry.CloseKey(m_key); }
  OpenKey(const OpenKey&) = delete;
  OpenKey& operator=(const OpenKey&) = delete;

  RegistryKey Get() const { return m_key; }
  RegistryKey* Put() { return &m_key; }

 private:
  RegistryKey m_key;
};

RegistryResult RegisterKeys(RegistryKey parent, const std::vector<RegistryScriptKey>& keys) {
  for (const RegistryScriptKey& key : keys) {
    RegistryResult result = 0;
    if (key.forceRemove) {
      result = registry.DeleteTree(parent, key.name.c_str());
      if (result != 0 && result != kRegistryNotFound) return result;
    }
    OpenKey opened;
    result = registry.CreateKey(parent, key.name.c_str(), opened.Put());
    if (result != 0) return result;
    for (const RegistryScriptValue& value : key.values) {
      result = registry.SetString(opened.Get(), value.name.c_str(), value.text.c_str());
      if (result != 0) return result;
    }
    result = RegisterKeys(opened.Get(), key.keys);
    if (result != 0) return result;
  }
  return 0;
}

bool MustStay(const RegistryScriptKey& key) {
  return key.noRemove || std::any_of(key.keys.begin(), key.keys.end(), MustStay);
}

RegistryResult UnregisterKeys(RegistryKey parent, const std::vector<RegistryScriptKey>& keys) {
  for (const RegistryScriptKey& key : keys) {
    RegistryResult result = 0;
    if (MustStay(key)) {
      OpenKey opened;
      result = registry.OpenKey(parent, key.name.c_str(), opened.Put());
      if (result == 0) result = UnregisterKeys(opened.Get(), key.keys);
    } else {
      result = registry.DeleteTree(parent, key.name.c_str());
    }
    if (result != 0 && result != kRegistryNotFound) return result;
  }
  return 0;
}

}  // namespace

void RegistryReplacements::Add(WideStringView name, WideStringView value) {
  for (auto& [known, text] : m_replacements) {
    if (EqualNoCase(known, name)) {
      text = value;
      return;
    }
  }
  m_replacements.emplace_back(name, value);
}

const WideString* RegistryReplacements::Find(WideStringView name) const {
  for (const auto& [known, text] : m_replacements) {
    if (EqualNoCase(known, name)) return &text;
  }
  return nullptr;
}

HRESULT ParseRegistryScript(std::string_view script, const RegistryReplacements& replacements,
                            std::vector<RegistryScriptKey>* keys) {
  WideString text;
  std::vector<Word> words;
  if (!Expand(script, replacements, &text) || !SplitWords(text, &words)) {
    return kMalformedRegistryScript;
  }
  return Parser(words).ReadScript(keys) ? S_OK : kMalformedRegistryScript;
}

HRESULT RegisterByScript(std::string_view script, const RegistryReplacements& replacements) {
  std::vector<RegistryScriptKey> keys;
  const HRESULT hr = ParseRegistryScript(script, replacements, &keys);
  return FAILED(hr) ? hr : ToResult(RegisterKeys(kClassesRoot, keys));
}

HRESULT UnregisterByScript(std::string_view script, const RegistryReplacements& replacements) {
  std::vector<RegistryScriptKey> keys;
  const HRESULT hr = ParseRegistryScript(script, replacements, &keys);
  return FAILED(hr) ? hr : ToResult(UnregisterKeys(kClassesRoot, keys));
}

}  // namespace platform
