// The host's type library AddInDesignerObjects, which describes the contract of its add-ins. The
// real one comes with the host; this stands for it.
#pragma once

#include "platform/com/comtypes.h"

namespace tests {

// Makes the library in a file at `path`.
HRESULT MakeHostTypeLibrary(const wchar_t* path);

// Registers the library at `path` for the machine, and takes the registration back.
HRESULT RegisterHostTypeLibrary(const wchar_t* path);
HRESULT UnregisterHostTypeLibrary();

}  // namespace tests
