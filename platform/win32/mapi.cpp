// In its own file, so that only programs that use this table import MAPI32.dll.
#include "platform/mapi.h"

#include <mapiutil.h>
#include <mapix.h>

namespace platform {
namespace {

std::int32_t AllocateBuffer(std::uint32_t size, void** buffer) {
  return static_cast<std::int32_t>(::MAPIAllocateBuffer(size, buffer));
}

HRESULT SetOneProperty(IMAPIProp* object, SPropValue* value) {
  return ::HrSetOneProp(object, value);
}

}  // namespace

constinit MapiOperations mapi = {
    .MAPIAllocateBuffer = &AllocateBuffer,
    .HrSetOneProp = &SetOneProperty,
};

}  // namespace platform
