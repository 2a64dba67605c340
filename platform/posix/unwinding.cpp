#include "platform/unwinding.h"

// The system's loader tells the unwinder where the tables are.
void platform::RegisterUnwindTables() {}
