// What stands behind a SecurityDescriptor on Windows.
#pragma once

#include <windows.h>

#include "platform/security.h"

namespace platform {

// The text's descriptor is one block in self-relative form, in which no ACL can be replaced. The
// null ACL is therefore set on an absolute descriptor of our own, which then is the one in force.
struct SecurityDescriptor {
  PSECURITY_DESCRIPTOR parsed = nullptr;
  SECURITY_DESCRIPTOR absolute = {};
  bool replaced = false;

  PSECURITY_DESCRIPTOR InForce() const {
    return replaced ? const_cast<SECURITY_DESCRIPTOR*>(&absolute) : parsed;
  }
};

// A descriptor by which everybody has full access. False when the system refuses.
inline bool MakeOpenToEverybody(SECURITY_DESCRIPTOR* descriptor) {
  return InitializeSecurityDescriptor(descriptor, SECURITY_DESCRIPTOR_REVISION) != FALSE &&
         ::SetSecurityDescriptorDacl(descriptor, TRUE, nullptr, FALSE) != FALSE;
}

}  // namespace platform
