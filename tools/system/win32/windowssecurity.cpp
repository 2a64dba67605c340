// Who may use a mapping or a folder, and who signed a file.
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>
#include <softpub.h>
#include <wincrypt.h>
#include <wintrust.h>

#include "tools/system/win32/utf8.h"
#include "tools/system/windowsfacts.h"

namespace tools::system {

namespace {

std::string AccessListOf(HANDLE object) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetSecurityInfo(object, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                      nullptr, nullptr, &descriptor) != ERROR_SUCCESS) {
    return {};
  }
  std::string list;
  wchar_t* text = nullptr;
  if (ConvertSecurityDescriptorToStringSecurityDescriptorW(
          descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr)) {
    list = win32::ToUtf8(text);
    LocalFree(text);
  }
  LocalFree(descriptor);
  return list;
}

// The certificate of a file's signer; the caller frees it. Null without one.
PCCERT_CONTEXT SignerOf(const std::wstring& path) {
  HCERTSTORE store = nullptr;
  HCRYPTMSG message = nullptr;
  if (!CryptQueryObject(CERT_QUERY_OBJECT_FILE, path.c_str(),
                        CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED, CERT_QUERY_FORMAT_FLAG_BINARY,
                        0, nullptr, nullptr, nullptr, &store, &message, nullptr)) {
    return nullptr;
  }
  PCCERT_CONTEXT signer = nullptr;
  DWORD size = 0;
  if (CryptMsgGetParam(message, CMSG_SIGNER_CERT_INFO_PARAM, 0, nullptr, &size)) {
    std::vector<unsigned char> buffer(size);
    if (CryptMsgGetParam(message, CMSG_SIGNER_CERT_INFO_PARAM, 0, buffer.data(), &size)) {
      signer = CertGetSubjectCertificateFromStore(store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                                  reinterpret_cast<CERT_INFO*>(buffer.data()));
    }
  }
  CryptMsgClose(message);
  CertCloseStore(store, 0);
  return signer;
}

// In the machine's or the user's store; absent if the store can't be opened.
std::optional<bool> IsTrustedPublisher(PCCERT_CONTEXT certificate) {
  const HCERTSTORE store = CertOpenStore(
      CERT_STORE_PROV_SYSTEM_W, 0, 0,
      CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG,
      L"TrustedPublisher");
  if (store == nullptr) return std::nullopt;
  const PCCERT_CONTEXT found = CertFindCertificateInStore(
      store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, CERT_FIND_EXISTING, certificate, nullptr);
  const bool isThere = found != nullptr;
  if (isThere) CertFreeCertificateContext(found);
  CertCloseStore(store, 0);
  return isThere;
}

std::string StateOf(LONG result) {
  switch (static_cast<DWORD>(result)) {
    case ERROR_SUCCESS:
      return "valid";
    case static_cast<DWORD>(TRUST_E_NOSIGNATURE):
      return "none";
    case static_cast<DWORD>(TRUST_E_PROVIDER_UNKNOWN):
    case static_cast<DWORD>(TRUST_E_SUBJECT_FORM_UNKNOWN):
    case static_cast<DWORD>(TRUST_E_ACTION_UNKNOWN):
      return {};
    default:
      return "invalid";
  }
}

}  // namespace

MappingAccess ReadMappingAccess(const std::string& name) {
  MappingAccess access;
  const HANDLE mapping = OpenFileMappingA(FILE_MAP_READ | FILE_MAP_WRITE, FALSE, name.c_str());
  const DWORD error = mapping == nullptr ? GetLastError() : ERROR_SUCCESS;
  access.isThere = mapping != nullptr || error != ERROR_FILE_NOT_FOUND;
  if (!access.isThere) return access;
  if (mapping == nullptr) {
    access.problem =
        error == ERROR_ACCESS_DENIED ? "access is denied" : "error " + std::to_string(error);
  } else {
    CloseHandle(mapping);
  }
  if (const HANDLE readable = OpenFileMappingA(READ_CONTROL, FALSE, name.c_str())) {
    access.list = AccessListOf(readable);
    CloseHandle(readable);
  }
  return access;
}

FileSignature ReadFileSignature(const std::string& path) {
  FileSignature signature;
  const std::wstring wide = win32::ToWide(path);
  WINTRUST_FILE_INFO file = {};
  file.cbStruct = sizeof file;
  file.pcwszFilePath = wide.c_str();
  WINTRUST_DATA data = {};
  data.cbStruct = sizeof data;
  data.dwUIChoice = WTD_UI_NONE;
  data.fdwRevocationChecks = WTD_REVOKE_NONE;
  data.dwUnionChoice = WTD_CHOICE_FILE;
  data.pFile = &file;
  data.dwStateAction = WTD_STATEACTION_VERIFY;
  data.dwProvFlags = WTD_CACHE_ONLY_URL_RETRIEVAL | WTD_REVOCATION_CHECK_NONE;
  GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
  signature.state = StateOf(WinVerifyTrust(nullptr, &action, &data));
  data.dwStateAction = WTD_STATEACTION_CLOSE;
  WinVerifyTrust(nullptr, &action, &data);
  if (const PCCERT_CONTEXT signer = SignerOf(wide)) {
    wchar_t name[256] = L"";
    CertGetNameStringW(signer, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name, 256);
    signature.publisher = win32::ToUtf8(name);
    signature.isTrusted = IsTrustedPublisher(signer);
    CertFreeCertificateContext(signer);
  }
  return signature;
}

bool MayCreateFiles(const std::string& folder) {
  const HANDLE opened = CreateFileW(win32::ToWide(folder).c_str(), FILE_ADD_FILE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return false;
  CloseHandle(opened);
  return true;
}

}  // namespace tools::system
