#include "simulation/mail/storage.h"

#include <windows.h>
// Needs the types of windows.h.
#include <objbase.h>

#include <algorithm>
#include <cstring>

#include "platform/com/comptr.h"
#include "simulation/mail/mailreader.h"
#include "text/textconversion.h"

namespace simulation::mail {

namespace {

using platform::ComPtr;

constexpr DWORD kRead = STGM_READ | STGM_SHARE_EXCLUSIVE;
constexpr DWORD kCreate = STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_CREATE;

[[noreturn]] void RaiseDamaged() {
  throw MailError("the compound file is damaged");
}
void CheckRead(HRESULT result) {
  if (FAILED(result)) RaiseDamaged();
}
void CheckWritten(HRESULT result) {
  if (FAILED(result)) throw MailError("a compound file can't be written");
}

class Reader {
 public:
  explicit Reader(std::size_t fileSize) : m_left(fileSize) {}

  Storage Read(IStorage* from, int depth) {
    Storage storage;
    ComPtr<IEnumSTATSTG> elements;
    CheckRead(from->EnumElements(0, nullptr, 0, elements.Put()));
    STATSTG element = {};
    while (elements->Next(1, &element, nullptr) == S_OK) {
      const std::wstring wide = element.pwcsName;
      CoTaskMemFree(element.pwcsName);
      const std::string name = WideToUtf8(wide);
      if (element.type == STGTY_STREAM) {
        ComPtr<IStream> stream;
        CheckRead(from->OpenStream(wide.c_str(), nullptr, kRead, 0, stream.Put()));
        storage.streams.emplace(name, Bytes(stream.Get(), element.cbSize.QuadPart));
      } else if (element.type == STGTY_STORAGE && depth < kDeepestStorage) {
        ComPtr<IStorage> child;
        CheckRead(from->OpenStorage(wide.c_str(), nullptr, kRead, nullptr, 0, child.Put()));
        storage.storages.emplace(name, Read(child.Get(), depth + 1));
      }
    }
    return storage;
  }

 private:
  std::string Bytes(IStream* stream, std::uint64_t size) {
    if (size > m_left) RaiseDamaged();
    m_left -= static_cast<std::size_t>(size);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    ULONG read = 0;
    CheckRead(stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &read));
    if (read != bytes.size()) RaiseDamaged();
    return bytes;
  }

  std::size_t m_left;
};

void Write(const Storage& storage, IStorage* to) {
  for (const auto& [name, bytes] : storage.streams) {
    ComPtr<IStream> stream;
    CheckWritten(to->CreateStream(Utf8ToWide(name).c_str(), kCreate, 0, 0, stream.Put()));
    CheckWritten(stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr));
  }
  for (const auto& [name, child] : storage.storages) {
    ComPtr<IStorage> folder;
    CheckWritten(to->CreateStorage(Utf8ToWide(name).c_str(), kCreate, 0, 0, folder.Put()));
    Write(child, folder.Get());
  }
}

}  // namespace

Storage ReadCompoundFile(std::string_view bytes) {
  if (!HasRoot(bytes)) RaiseDamaged();
  const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes.size());
  if (memory == nullptr) throw std::bad_alloc();
  std::memcpy(GlobalLock(memory), bytes.data(), bytes.size());
  GlobalUnlock(memory);
  ComPtr<ILockBytes> lockBytes;
  if (FAILED(CreateILockBytesOnHGlobal(memory, TRUE, lockBytes.Put()))) {
    GlobalFree(memory);
    throw std::bad_alloc();
  }
  ComPtr<IStorage> root;
  CheckRead(StgOpenStorageOnILockBytes(lockBytes.Get(), nullptr, kRead, nullptr, 0, root.Put()));
  return Reader(bytes.size()).Read(root.Get(), 0);
}

std::string WriteCompoundFile(const Storage& root) {
  ComPtr<ILockBytes> lockBytes;
  CheckWritten(CreateILockBytesOnHGlobal(nullptr, TRUE, lockBytes.Put()));
  {
    ComPtr<IStorage> file;
    CheckWritten(StgCreateDocfileOnILockBytes(lockBytes.Get(), kCreate, 0, file.Put()));
    Write(root, file.Get());
    CheckWritten(file->Commit(STGC_DEFAULT));
  }
  STATSTG size = {};
  CheckWritten(lockBytes->Stat(&size, STATFLAG_NONAME));
  std::string bytes(static_cast<std::size_t>(size.cbSize.QuadPart), '\0');
  ULONG read = 0;
  CheckWritten(lockBytes->ReadAt({}, bytes.data(), static_cast<ULONG>(bytes.size()), &read));
  return bytes;
}

}  // namespace simulation::mail
