#include "platform/mapi.h"

#include <cstdlib>

namespace platform {
namespace {

std::int32_t MAPIAllocateBuffer(std::uint32_t size, void** buffer) {
  if (buffer == nullptr) return E_INVALIDARG;
  *buffer = std::malloc(size == 0 ? 1 : size);
  return *buffer == nullptr ? E_OUTOFMEMORY : 0;
}

HRESULT HrSetOneProp(IMAPIProp* object, SPropValue* value) {
  if (object == nullptr || value == nullptr) return E_INVALIDARG;
  return object->SetProps(1, value, nullptr);
}

}  // namespace

constinit MapiOperations mapi = {
    .MAPIAllocateBuffer = &MAPIAllocateBuffer,
    .HrSetOneProp = &HrSetOneProp,
};

}  // namespace platform
