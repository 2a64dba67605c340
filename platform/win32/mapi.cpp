// In a file of its own: only a program that uses this table gets MAPI32.dll among its imports.
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
