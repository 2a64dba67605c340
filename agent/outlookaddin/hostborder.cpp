#include "agent/outlookaddin/hostborder.h"

#include <new>

#include "logging/vrklogger.h"
#include "platform/com/comerror.h"

namespace {

HRESULT ResultOfException() {
  try {
    throw;
  } catch (const CAtlException& error) {
    return error.m_hr;
  } catch (const _com_error& error) {
    return error.Error();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_FAIL;
  }
}

}  // namespace

HRESULT outlookaddin::LogException(const char* operation) noexcept {
  const HRESULT result = ResultOfException();
  try {
    g_logger.Log(kLogModule, kLogCrit, "Exception 0x%08X in %s.", static_cast<unsigned>(result),
                 operation);
  } catch (...) {
    // Nothing is left to report it to.
  }
  return result;
}
