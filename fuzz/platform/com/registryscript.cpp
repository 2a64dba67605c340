// The registry script. The first byte says at which operation the registry fails (0: never); the
// rest is the script. A script is either refused without touching the registry, or creates exactly
// the keys and values that it names. Unregistering removes everything except what must stay. Every
// opened key is closed, whatever fails.
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/fuzzing.h"
#include "platform/com/registryscript.h"
#include "platform/registry.h"

namespace {

using fuzzing::Require;
using platform::RegistryKey;
using platform::RegistryResult;
using platform::RegistryScriptKey;
using platform::WideChar;
using platform::WideString;
using platform::WideStringView;

constexpr RegistryResult kFailure = 5;

WideString Lower(WideStringView text) {
  WideString result(text);
  for (WideChar& unit : result) {
    if (unit >= u'A' && unit <= u'Z') unit = static_cast<WideChar>(unit - u'A' + u'a');
  }
  return result;
}

struct Key {
  std::map<WideString, Key> keys;  // by the lower-case name
  std::map<WideString, WideString> values;

  friend bool operator==(const Key&, const Key&) = default;
};

// An in-memory registry that replaces the system's. A key may be deleted while it is open, so a
// handle is a path.
class Registry {
 public:
  void Reset(int failsAt) {
    m_root = Key();
    m_failsAt = failsAt;
    m_calls = 0;
  }
  const Key& Root() const { return m_root; }
  int Calls() const { return m_calls; }
  std::size_t OpenKeys() const { return m_open.size(); }

 private:
  using Path = std::vector<WideString>;

  bool Fails() { return ++m_calls == m_failsAt; }

  Path PathOf(RegistryKey key) const {
    if (key == platform::kClassesRoot) return {};
    Require(m_open.contains(static_cast<Path*>(key)), "only open keys are used");
    return *static_cast<Path*>(key);
  }
  Key* Find(const Path& path) {
    Key* at = &m_root;
    for (const WideString& name : path) {
      const auto child = at->keys.find(name);
      if (child == at->keys.end()) return nullptr;
      at = &child->second;
    }
    return at;
  }
  RegistryResult Open(RegistryKey parent, WideStringView name, bool isMade, RegistryKey* key) {
    *key = nullptr;
    if (Fails()) return kFailure;
    Path path = PathOf(parent);
    path.push_back(Lower(name));
    if (isMade) {
      Key* at = &m_root;
      for (const WideString& step : path) at = &at->keys[step];
    }
    if (Find(path) == nullptr) return platform::kRegistryNotFound;
    auto* const opened = new Path(std::move(path));
    m_open.insert(opened);
    *key = opened;
    return 0;
  }
  void Close(RegistryKey key) {
    if (key == nullptr) return;
    Require(m_open.erase(static_cast<Path*>(key)) == 1, "a key is closed once");
    delete static_cast<Path*>(key);
  }
  RegistryResult Delete(RegistryKey parent, WideStringView name) {
    if (Fails()) return kFailure;
    Key* const holder = Find(PathOf(parent));
    const bool isGone = holder != nullptr && holder->keys.erase(Lower(name)) == 1;
    return isGone ? 0 : platform::kRegistryNotFound;
  }
  RegistryResult Set(RegistryKey key, WideStringView name, WideStringView value) {
    if (Fails()) return kFailure;
    Key* const holder = Find(PathOf(key));
    if (holder == nullptr) return platform::kRegistryNotFound;
    holder->values[Lower(name)] = value;
    return 0;
  }

  template <auto Entry>
  using Replaced = platform::ScopedReplacement<platform::registry, Entry>;
  using Operations = platform::RegistryOperations;

  Key m_root;
  std::set<Path*> m_open;
  int m_failsAt = 0;
  int m_calls = 0;
  Replaced<&Operations::CreateKey> m_create{
      [this](auto, auto parent, auto name, auto key) { return Open(parent, name, true, key); }};
  Replaced<&Operations::OpenKey> m_openKey{
      [this](auto, auto parent, auto name, auto key) { return Open(parent, name, false, key); }};
  Replaced<&Operations::CloseKey> m_close{[this](auto, auto key) { Close(key); }};
  Replaced<&Operations::DeleteTree> m_delete{
      [this](auto, auto parent, auto name) { return Delete(parent, name); }};
  Replaced<&Operations::SetString> m_set{
      [this](auto, auto key, auto name, auto value) { return Set(key, name, value); }};
};

// What the script creates in an empty registry.
void Make(const std::vector<RegistryScriptKey>& keys, Key* parent) {
  for (const RegistryScriptKey& key : keys) {
    Require(!key.name.empty() && key.name.find(u'\\') == WideString::npos, "one key's own name");
    Require(!(key.noRemove && key.forceRemove), "one attribute a key");
    if (key.forceRemove) parent->keys.erase(Lower(key.name));
    Key& made = parent->keys[Lower(key.name)];
    for (const auto& value : key.values) made.values[Lower(value.name)] = value.text;
    Make(key.keys, &made);
  }
}

bool Stays(const RegistryScriptKey& key) {
  bool stays = key.noRemove;
  for (const RegistryScriptKey& below : key.keys) stays = stays || Stays(below);
  return stays;
}

void Unmake(const std::vector<RegistryScriptKey>& keys, Key* parent) {
  for (const RegistryScriptKey& key : keys) {
    const auto found = parent->keys.find(Lower(key.name));
    if (found == parent->keys.end()) continue;
    if (Stays(key)) {
      Unmake(key.keys, &found->second);
    } else {
      parent->keys.erase(found);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Registry registry;
  static const platform::RegistryReplacements replacements = [] {
    platform::RegistryReplacements made;
    made.Add(QV_WIDE("MODULE"), QV_WIDE("C:\\Program Files\\\u00C4dd''In\\DlpAddIn.dll"));
    made.Add(QV_WIDE("APPID"), QV_WIDE("{5E1B7C42-9D3A-4F06-A8C1-3B7E42D09A16}"));
    return made;
  }();
  fuzzing::Input input(data, size);
  const int failsAt = input.Byte();
  const fuzzing::ExactBytes script(input.Rest());

  std::vector<RegistryScriptKey> keys;
  const bool isRead = platform::ParseRegistryScript(script.View(), replacements, &keys) == S_OK;
  registry.Reset(failsAt);
  const HRESULT registered = platform::RegisterByScript(script.View(), replacements);
  const bool hasFailed = failsAt != 0 && registry.Calls() >= failsAt;
  Require(registry.OpenKeys() == 0, "every opened key is closed");
  if (!isRead) {
    Require(registered == platform::kMalformedRegistryScript, "a malformed script is refused");
    Require(registry.Calls() == 0, "a malformed script changes nothing");
    return 0;
  }
  Require(registered == (hasFailed ? static_cast<HRESULT>(0x80070000U | kFailure) : 0),
          "the first failure is the result");
  if (hasFailed) {
    Require(registry.Calls() == failsAt, "nothing is tried after the first failure");
    return 0;
  }
  Key expected;
  Make(keys, &expected);
  Require(registry.Root() == expected, "exactly the keys and values that the script names");
  registry.Reset(0);
  platform::RegisterByScript(script.View(), replacements);
  Require(platform::UnregisterByScript(script.View(), replacements) == 0, "unregistering succeeds");
  Require(registry.OpenKeys() == 0, "every opened key is closed");
  Unmake(keys, &expected);
  Require(registry.Root() == expected, "exactly what must stay");
  return 0;
}
