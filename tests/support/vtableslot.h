// Where a virtual operation is in the table of its class.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "platform/com/comtypes.h"

#if !defined(__GXX_ABI_VERSION) || !(defined(__x86_64__) || defined(__i386__))
#error "SlotOf reads member pointers as the Itanium C++ ABI has them on x86"
#endif

namespace tests {

// The number of the slot, from 0. A pointer to a virtual member is the slot's offset plus one, and
// an adjustment of `this`, which is zero for a member of the first table. Aborts for anything else.
template <typename Class, typename... Parameters>
std::size_t SlotOf(HRESULT (STDMETHODCALLTYPE Class::*member)(Parameters...)) {
  struct Representation {
    std::uintptr_t offsetPlusOne;
    std::ptrdiff_t adjustment;
  };
  static_assert(sizeof(member) == sizeof(Representation));
  const auto parts = std::bit_cast<Representation>(member);
  if ((parts.offsetPlusOne & 1) == 0 || parts.adjustment != 0) std::abort();
  return (parts.offsetPlusOne - 1) / sizeof(void*);
}

}  // namespace tests
