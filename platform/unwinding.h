// Exceptions of this module in a process where another module brings its own copy of the compiler's
// unwinder.
#pragma once

namespace platform {

// Makes sure that a throw in this module finds its catch. Call it once, when the module is loaded,
// before anything throws; the loader's lock may be held.
//
// Only the 32-bit Windows build needs it. There, the compiler's start-up code registers the
// module's unwind tables with libgcc_s_dw2-1.dll if another module has loaded that library, while
// the module unwinds with the copy that is linked into it. That copy then doesn't know the tables,
// and every exception would end the process.
void RegisterUnwindTables();

}  // namespace platform
