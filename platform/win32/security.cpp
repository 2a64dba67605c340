#include "platform/security.h"

#include <windows.h>

#include <sddl.h>

#include <new>

#include "platform/win32/securitydescriptor.h"

namespace platform {
namespace {

bool ConvertStringSecurityDescriptorToSecurityDescriptorW(const WideChar* text,
                                                          SecurityDescriptor** result) {
  *result = nullptr;
  PSECURITY_DESCRIPTOR parsed = nullptr;
  if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, &parsed,
                                                              nullptr)) {
    return false;
  }
  *result = new (std::nothrow) SecurityDescriptor{.parsed = parsed};
  if (*result == nullptr) ::LocalFree(parsed);
  return *result != nullptr;
}

bool SetSecurityDescriptorDacl(SecurityDescriptor* descriptor) {
  if (descriptor == nullptr || !MakeOpenToEverybody(&descriptor->absolute)) return false;
  descriptor->replaced = true;
  return true;
}

void LocalFree(SecurityDescriptor* descriptor) {
  if (descriptor == nullptr) return;
  ::LocalFree(descriptor->parsed);
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
