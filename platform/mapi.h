// The two functions of the host's MAPI library that the add-in uses. It doesn't initialise MAPI: it
// only works on objects that it gets from the host.
#pragma once

#include <cstdint>

#include "platform/com/mapitypes.h"

namespace platform {

struct MapiOperations {
  // Allocates `size` bytes into `*buffer`. Returns 0 on success. MAPIFreeBuffer would free them;
  // the add-in never does.
  std::int32_t (*MAPIAllocateBuffer)(std::uint32_t size, void** buffer);

  // Sets one property through IMAPIProp::SetProps. Returns 0 on success; anything else, a warning
  // included, is a failure.
  HRESULT (*HrSetOneProp)(IMAPIProp* object, SPropValue* value);
};

extern constinit MapiOperations mapi;

}  // namespace platform
