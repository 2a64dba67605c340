// The Cancel flag of a Send event.
#pragma once

#include "platform/com/comtypes.h"

namespace tests {

// What the flag holds before a Send. Neither of its meaningful values, so a test sees every write.
inline constexpr VARIANT_BOOL kNotSet = 5;

}  // namespace tests
