#include "logging/moduleloginfo.h"

#include <utility>

namespace {

// Deletes a chain link by link. The destructors alone would recurse, and a long chain would
// overflow the stack.
template <typename Link>
void DeleteChain(Link* link) {
  while (link != nullptr) {
    Link* const next = std::exchange(link->m_pNext, nullptr);
    delete link;
    link = next;
  }
}

}  // namespace

CModuleStreamWrapper::CModuleStreamWrapper(std::unique_ptr<CBaseStream> stream, std::uint32_t mask,
                                           std::string_view type)
    : m_pStream(stream.release()), m_uMask(mask) {
  type.copy(m_szType, sizeof m_szType - 1);
}

CModuleStreamWrapper::~CModuleStreamWrapper() {
  DeleteChain(m_pNext);
  delete m_pStream;
}

CModuleLogInfo::CModuleLogInfo(std::string_view name) {
  name.copy(m_szName, sizeof m_szName - 1);
}

CModuleLogInfo::~CModuleLogInfo() {
  DeleteChain(m_pNext);
  DeleteChain(m_pStreams);
}
