#include "platform/security.h"

#include <new>

#include "platform/posix/securitydescriptor.h"

namespace platform {
namespace {

// Only the prefix matters: owner, group and access entries have no equivalent here.
bool IsDescriptorText(const WideChar* text) {
  if (text == nullptr || text[0] == 0 || text[1] != u':') return false;
  return WideStringView(u"OGDS").find(text[0]) != WideStringView::npos;
}

bool ConvertStringSecurityDescriptorToSecurityDescriptorW(const WideChar* text,
                                                          SecurityDescriptor** result) {
  *result = IsDescriptorText(text) ? new (std::nothrow) SecurityDescriptor : nullptr;
  return *result != nullptr;
}

bool SetSecurityDescriptorDacl(SecurityDescriptor* descriptor) {
  if (descriptor == nullptr) return false;
  descriptor->openToEverybody = true;
  return true;
}

void LocalFree(SecurityDescriptor* descriptor) {
  delete descriptor;
}

}  // namespace

constinit SecurityOperations security = {
    .ConvertStringSecurityDescriptorToSecurityDescriptorW =
        &ConvertStringSecurityDescriptorToSecurityDescriptorW,
    .SetSecurityDescriptorDacl = &SetSecurityDescriptorDacl,
    .LocalFree = &LocalFree,
};

}  // namespace platform
