// What stands behind a Handle on POSIX.
//
// A handle is the address of one heap object. The objects that are open are kept in a set, so that
// closing something twice, or something that never was a handle, is refused instead of followed.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "platform/handles.h"

namespace platform::posix {

enum class Kind { kFile, kMapping, kListing };

// Closes its descriptor at the end of its life.
struct OpenObject {
  OpenObject(Kind objectKind, int fileDescriptor) : kind(objectKind), descriptor(fileDescriptor) {}
  virtual ~OpenObject();

  OpenObject(const OpenObject&) = delete;
  OpenObject& operator=(const OpenObject&) = delete;

  const Kind kind;
  const int descriptor;  // -1 where there is none
};

// Makes a handle of an object. kInvalidHandle and null stay what they are.
Handle Publish(std::unique_ptr<OpenObject> object);

// Takes the object out of the set for closing. Null when `handle` isn't open or is of another kind.
std::unique_ptr<OpenObject> Withdraw(Handle handle, bool listing);

// The object of an open handle; null for null and kInvalidHandle, and for another kind. A handle
// that was closed already is the caller's mistake here, as it is on every system.
inline OpenObject* Find(Handle handle, Kind kind) {
  if (handle == nullptr || handle == kInvalidHandle) return nullptr;
  auto* const object = static_cast<OpenObject*>(handle);
  return object->kind == kind ? object : nullptr;
}

}  // namespace platform::posix
