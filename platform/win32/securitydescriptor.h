// The implementation of a SecurityDescriptor on Windows.
#pragma once

#include <windows.h>

#include "platform/security.h"

namespace platform {

// The text's descriptor is self-relative, so its access list can't be replaced. The null list is
// therefore set on an absolute descriptor, which then takes effect.
struct SecurityDescriptor {
  PSECURITY_DESCRIPTOR parsed = nullptr;
  SECURITY_DESCRIPTOR absolute = {};
  bool replaced = false;

  PSECURITY_DESCRIPTOR InForce() const {
    return replaced ? const_cast<SECURITY_DESCRIPTOR*>(&absolute) : parsed;
  }
};

// A descriptor that gives everyone full access. Returns false on failure.
inline bool MakeOpenToEverybody(SECURITY_DESCRIPTOR* descriptor) {
  return InitializeSecurityDescriptor(descriptor, SECURITY_DESCRIPTOR_REVISION) != FALSE &&
         ::SetSecurityDescriptorDacl(descriptor, TRUE, nullptr, FALSE) != FALSE;
}

}  // namespace platform
