#include "simulation/host/hostobject.h"

namespace simulation::host {

HRESULT GiveWideText(HostCore& core, platform::WideStringView text, BSTR* place) {
  *place = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  if (*place == nullptr) return E_OUTOFMEMORY;
  core.ledger.CountString();
  return S_OK;
}

// Gives what is left after it. The host's own references can't be dropped from outside: that would
// be a mistake of the add-in that the ledger tells of.
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
