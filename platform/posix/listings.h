// Directory listings with a pattern, for the file table.
#pragma once

#include "platform/files.h"

namespace platform::posix {

Handle FindFirst(const char* pattern, FindData* entry);
bool FindNext(Handle listing, FindData* entry);
bool EndListing(Handle listing);

}  // namespace platform::posix
