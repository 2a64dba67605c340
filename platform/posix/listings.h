// The listing of folders by a pattern, as the file table gives it.
#pragma once

#include "platform/files.h"

namespace platform::posix {

Handle FindFirst(const char* pattern, FindData* entry);
bool FindNext(Handle listing, FindData* entry);
bool EndListing(Handle listing);

}  // namespace platform::posix
