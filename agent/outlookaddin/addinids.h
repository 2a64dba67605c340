// The identities of this library. Each is written here and nowhere else: the build reads these
// lines and puts the texts into the type library and the registry script.
#pragma once

#include "platform/com/guid.h"

// The creatable class.
inline constexpr CLSID CLSID_Connect =
    platform::GuidFromText("{5E1B7C42-9D3A-4F06-A8C1-3B7E42D09A16}");

// The type library.
inline constexpr GUID LIBID_QuorvexLib =
    platform::GuidFromText("{C27A40E9-16F8-4B5D-8E33-91D5F0A7C264}");

namespace outlookaddin {

// The registry script: a resource of the type "REGISTRY".
inline constexpr unsigned short kResourceRegistryScript = 101;

}  // namespace outlookaddin
