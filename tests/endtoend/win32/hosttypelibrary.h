// A type library like the host's AddInDesignerObjects, which describes the contract of its add-ins.
#pragma once

#include "platform/com/comtypes.h"

namespace tests {

// Writes the library to a file.
HRESULT MakeHostTypeLibrary(const wchar_t* path);

// Register the library in a file for the machine, and remove the registration.
HRESULT RegisterHostTypeLibrary(const wchar_t* path);
HRESULT UnregisterHostTypeLibrary();

}  // namespace tests
