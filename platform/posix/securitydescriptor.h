// The part of a security descriptor that applies to POSIX files.
#pragma once

#include "platform/security.h"

namespace platform {

struct SecurityDescriptor {
  bool openToEverybody = false;  // a null discretionary ACL
};

}  // namespace platform
