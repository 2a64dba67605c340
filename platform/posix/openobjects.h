// The objects that handles refer to on POSIX.
//
// A handle is the address of a heap object. Open objects are in a set, so that closing a handle
// twice, or closing something that never was one, fails harmlessly.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "platform/handles.h"

namespace platform::posix {

enum class Kind { kFile, kMapping, kListing };

// Closes its descriptor in the destructor.
struct OpenObject {
  OpenObject(Kind objectKind, int fileDescriptor) : kind(objectKind), descriptor(fileDescriptor) {}
  virtual ~OpenObject();

  OpenObject(const OpenObject&) = delete;
  OpenObject& operator=(const OpenObject&) = delete;

  const Kind kind;
  const int descriptor;  // -1 if there is none
};

// Creates a handle for `object`.
Handle Publish(std::unique_ptr<OpenObject> object);

// Removes the object from the set, to close it. Returns null if `handle` isn't open or is of
// another kind.
std::unique_ptr<OpenObject> Withdraw(Handle handle, bool listing);

// The object of an open handle. Null for null, kInvalidHandle and another kind. Passing a closed
// handle is the caller's error, as on any system.
inline OpenObject* Find(Handle handle, Kind kind) {
  if (handle == nullptr || handle == kInvalidHandle) return nullptr;
  auto* const object = static_cast<OpenObject*>(handle);
  return object->kind == kind ? object : nullptr;
}

}  // namespace platform::posix
