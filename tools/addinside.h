// Where the add-in's code comes from: linked into this program, or a DLL. One of the two .cpp files
// is built.
#pragma once

#include <optional>
#include <string>

#include "channel/protocol.h"
#include "platform/com/comtypes.h"

struct _MailItem;

namespace tools {

// The library's way in, as every in-process COM server has it.
using GetClassObjectFunction = HRESULT(STDAPICALLTYPE*)(REFCLSID clsid, REFIID iid, void** object);

// Gives the way in. Raises std::runtime_error with the reason if the library can't be loaded. What
// is loaded once stays loaded.
GetClassObjectFunction LoadAddInLibrary();

// See AddIn::StartLog and AddIn::VerdictOf.
std::optional<std::string> StartLinkedLog(const std::string& base);
std::optional<ActionCode> LinkedVerdictOf(const _MailItem* mailItem);

}  // namespace tools
