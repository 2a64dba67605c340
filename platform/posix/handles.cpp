#include "platform/handles.h"

#include <unistd.h>

#include <mutex>
#include <unordered_set>
#include <utility>

#include "platform/posix/openobjects.h"

namespace platform {
namespace posix {
namespace {

struct OpenSet {
  std::mutex mutex;
  std::unordered_set<void*> objects;
};

// Never destroyed: static objects of the product may close handles after this file's statics.
OpenSet& AllOpen() {
  static OpenSet* const set = new OpenSet;
  return *set;
}

}  // namespace

OpenObject::~OpenObject() {
  // Don't repeat after EINTR: close has already freed the descriptor, and its number may be in use
  // again.
  if (descriptor >= 0) close(descriptor);
}

Handle Publish(std::unique_ptr<OpenObject> object) {
  OpenSet& set = AllOpen();
  const std::lock_guard lock(set.mutex);
  set.objects.insert(object.get());
  return object.release();
}

std::unique_ptr<OpenObject> Withdraw(Handle handle, bool listing) {
  OpenSet& set = AllOpen();
  const std::lock_guard lock(set.mutex);
  const auto found = set.objects.find(handle);
  if (found == set.objects.end()) return nullptr;
  auto* const object = static_cast<OpenObject*>(handle);
  if ((object->kind == Kind::kListing) != listing) return nullptr;
  set.objects.erase(found);
  return std::unique_ptr<OpenObject>(object);
}

}  // namespace posix

namespace {

bool CloseHandle(Handle handle) {
  return posix::Withdraw(handle, false) != nullptr;
}

}  // namespace

constinit HandleOperations handles = {.CloseHandle = &CloseHandle};

}  // namespace platform
