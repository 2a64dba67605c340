// Security descriptors for new files.
#pragma once

#include "platform/widetext.h"

namespace platform {

// Opaque, owned by whoever had it made, ended by LocalFree.
struct SecurityDescriptor;

struct SecurityOperations {
  // Makes a descriptor from its string form, revision 1. False on failure, with `*result` null.
  bool (*ConvertStringSecurityDescriptorToSecurityDescriptorW)(const WideChar* text,
                                                               SecurityDescriptor** result);

  // Puts a present, null discretionary ACL in place of what the descriptor said: everybody has
  // full access. False on failure or for a null descriptor.
  bool (*SetSecurityDescriptorDacl)(SecurityDescriptor* descriptor);

  // Frees a descriptor. Null is allowed and does nothing.
  void (*LocalFree)(SecurityDescriptor* descriptor);
};

extern constinit SecurityOperations security;

}  // namespace platform
