// A security descriptor as far as POSIX files have one.
#pragma once

#include "platform/security.h"

namespace platform {

struct SecurityDescriptor {
  bool openToEverybody = false;  // a null discretionary ACL
};

}  // namespace platform
