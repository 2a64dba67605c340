// An in-memory registry for POSIX, so that registration can run and be checked.
#include "platform/registry.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace platform {
namespace {

// Names keep their case and are found ignoring it (ASCII).
struct NameOrder {
  using is_transparent = void;

  static WideChar Lower(WideChar unit) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<WideChar>(unit + (u'a' - u'A')) : unit;
  }

  bool operator()(WideStringView left, WideStringView right) const {
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [](WideChar a, WideChar b) { return Lower(a) < Lower(b); });
  }
};

// A deleted key that is still open lives on without a parent.
struct Key {
  std::map<WideString, std::shared_ptr<Key>, NameOrder> children;
  std::map<WideString, WideString, NameOrder> values;
};

struct OpenedKey {
  std::shared_ptr<Key> key;
};

struct Memory {
  std::mutex mutex;
  std::shared_ptr<Key> root = std::make_shared<Key>();
  std::set<RegistryKey> opened;
};

// Never freed: a module that unloads late may still use its keys.
Memory& TheMemory() {
  static Memory* const memory = new Memory;
  return *memory;
}

// The key of a handle, or null if the handle isn't open.
std::shared_ptr<Key> Find(const Memory& memory, RegistryKey handle) {
  if (handle == kClassesRoot) return memory.root;
  if (!memory.opened.contains(handle)) return nullptr;
  return static_cast<OpenedKey*>(handle)->key;
}

// Calls `step` with each part of a path in order, until one returns false.
template <typename Step>
bool ForEachPart(WideStringView path, Step step) {
  while (!path.empty()) {
    const std::size_t end = std::min(path.find(u'\\'), path.size());
    if (end > 0 && !step(path.substr(0, end))) return false;
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return true;
}

RegistryResult Open(RegistryKey parent, const WideChar* name, bool create, RegistryKey* key) {
  *key = nullptr;
  Memory& memory = TheMemory();
  const std::lock_guard<std::mutex> lock(memory.mutex);
  std::shared_ptr<Key> at = Find(memory, parent);
  if (at == nullptr) return kRegistryInvalidHandle;
  const bool found = ForEachPart(name, [&](WideStringView part) {
    auto child = at->children.find(part);
    if (child == at->children.end()) {
      if (!create) return false;
      child = at->children.emplace(WideString(part), std::make_shared<Key>()).first;
    }
    at = child->second;
    return true;
  });
  if (!found) return kRegistryNotFound;
  *key = new OpenedKey{at};
  memory.opened.insert(*key);
  return 0;
}

RegistryResult CreateKey(RegistryKey parent, const WideChar* name, RegistryKey* key) {
  return Open(parent, name, true, key);
}

RegistryResult OpenKey(RegistryKey parent, const WideChar* name, RegistryKey* key) {
  return Open(parent, name, false, key);
}

void CloseKey(RegistryKey key) {
  Memory& memory = TheMemory();
  const std::lock_guard<std::mutex> lock(memory.mutex);
  if (memory.opened.erase(key) != 0) delete static_cast<OpenedKey*>(key);
}

RegistryResult DeleteTree(RegistryKey parent, const WideChar* name) {
  Memory& memory = TheMemory();
  const std::lock_guard<std::mutex> lock(memory.mutex);
  std::shared_ptr<Key> at = Find(memory, parent);
  if (at == nullptr) return kRegistryInvalidHandle;
  std::shared_ptr<Key> holder;
  WideString last;
  const bool found = ForEachPart(name, [&](WideStringView part) {
    const auto child = at->children.find(part);
    if (child == at->children.end()) return false;
    holder = at;
    last = part;
    at = child->second;
    return true;
  });
  if (!found || holder == nullptr) return kRegistryNotFound;
  holder->children.erase(last);
  return 0;
}

RegistryResult SetString(RegistryKey key, const WideChar* name, const WideChar* value) {
  Memory& memory = TheMemory();
  const std::lock_guard<std::mutex> lock(memory.mutex);
  const std::shared_ptr<Key> at = Find(memory, key);
  if (at == nullptr) return kRegistryInvalidHandle;
  at->values[name] = value;
  return 0;
}

RegistryResult GetString(RegistryKey key, const WideChar* name, WideChar* buffer,
                         std::uint32_t* size) {
  Memory& memory = TheMemory();
  const std::lock_guard<std::mutex> lock(memory.mutex);
  const std::shared_ptr<Key> at = Find(memory, key);
  if (at == nullptr) return kRegistryInvalidHandle;
  const auto value = at->values.find(WideStringView(name));
  if (value == at->values.end()) return kRegistryNotFound;
  const std::uint32_t capacity = *size;
  *size = static_cast<std::uint32_t>(value->second.size() + 1);
  if (*size > capacity) return kRegistryMoreData;
  value->second.copy(buffer, value->second.size());
  buffer[value->second.size()] = u'\0';
  return 0;
}

}  // namespace

constinit RegistryOperations registry = {CreateKey,  OpenKey,   CloseKey,
                                         DeleteTree, SetString, GetString};

}  // namespace platform
