// Security descriptors for new files.
#pragma once

#include "platform/widetext.h"

namespace platform {

// Opaque. Free it with LocalFree.
struct SecurityDescriptor;

struct SecurityOperations {
  // Creates a descriptor from its string form, revision 1. On failure returns false and sets
  // `*result` to null.
  bool (*ConvertStringSecurityDescriptorToSecurityDescriptorW)(const WideChar* text,
                                                               SecurityDescriptor** result);

  // Gives everyone full access: replaces the access list by a null one. Returns false on failure or
  // for a null descriptor.
  bool (*SetSecurityDescriptorDacl)(SecurityDescriptor* descriptor);

  // Accepts null.
  void (*LocalFree)(SecurityDescriptor* descriptor);
};

extern constinit SecurityOperations security;

}  // namespace platform
