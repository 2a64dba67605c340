#include "simulation/host/hostobject.h"

namespace simulation::host {

HRESULT GiveWideText(platform::WideStringView text, BSTR* place) {
  *place = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  return *place != nullptr ? S_OK : E_OUTOFMEMORY;
}

// Returns how many references are left. The add-in can't release the host's own references: the
// ledger records the attempt as an over-release.
ULONG HostObjectBase::DropReference() {
  if (m_references == m_hostReferences) {
    m_core->ledger.NoteOverRelease(Label());
    return m_references;
  }
  const ULONG left = --m_references;
  if (left == 0) delete this;
  return left;
}

HRESULT ReadIndex(const VARIANT& index, std::size_t count, std::size_t* place) {
  if (index.vt != VT_I4) return DISP_E_TYPEMISMATCH;
  if (index.lVal < 1 || static_cast<std::size_t>(index.lVal) > count) return DISP_E_BADINDEX;
  *place = static_cast<std::size_t>(index.lVal) - 1;
  return S_OK;
}

}  // namespace simulation::host
