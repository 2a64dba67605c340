// The two functions that the add-in takes from the host's MAPI library, which it doesn't
// initialise: it works on objects that the host hands it.
#pragma once

#include <cstdint>

#include "platform/com/mapitypes.h"

namespace platform {

struct MapiOperations {
  // Allocates `size` bytes; 0 on success, with the memory in `*buffer`. Freed by the library's
  // MAPIFreeBuffer, which the add-in doesn't use.
  std::int32_t (*MAPIAllocateBuffer)(std::uint32_t size, void** buffer);

  // Sets one property through IMAPIProp::SetProps. 0 on success; any other value is a failure.
  HRESULT (*HrSetOneProp)(IMAPIProp* object, SPropValue* value);
};

extern constinit MapiOperations mapi;

}  // namespace platform
