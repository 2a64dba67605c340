// The floor under the cost of a mail.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>

#include "channel/protocol.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/handles.h"
#include "platform/mappings.h"
#include "text/textconversion.h"

namespace bench {

// What a mail asks of the system, and nothing else: for each request the ring and a block opened,
// mapped and closed; the files of subject, body and attachments written by add-in and host, and
// deleted. The floor under a mail's own share.
class BareMail {
 public:
  // Makes the two mappings, which the agent makes in real life.
  explicit BareMail(int attachments) : m_attachments(attachments) {
    char folder[platform::kMaxPath] = {};
    platform::folders.GetTempPathA(sizeof folder, folder);
    m_folder = folder;
    m_ring = platform::mappings.CreateFileMappingA(kRingView, "Global\\bench-ring");
    m_block = platform::mappings.CreateFileMappingA(kBlockView, "Global\\bench-block");
    if (m_ring == nullptr || m_block == nullptr) std::abort();
  }
  ~BareMail() {
    platform::handles.CloseHandle(m_ring);
    platform::handles.CloseHandle(m_block);
  }
  BareMail(const BareMail&) = delete;
  BareMail& operator=(const BareMail&) = delete;

  void Send() const {
    for (int envelope = 0; envelope < 3; ++envelope) Ask();
    Write("bench-subject", 17);
    Ask();
    Write("bench-body", 4000);
    Ask();
    for (int i = 0; i < m_attachments; ++i) {
      Write(AttachmentName(i), 1000);
      Ask();
      platform::files.SetFileAttributesW(Utf8ToWide(m_folder + AttachmentName(i)).c_str(),
                                         platform::kFileAttributeNormal);
    }
    Ask();
    Clean();
  }

 private:
  static constexpr std::uint32_t kRingView =
      (1U << channel::kRingSizeExponent) + std::uint32_t{channel::kRingOverhead};
  static constexpr std::uint32_t kBlockView = 64;

  static std::string AttachmentName(int number) {
    return "bench-attachment." + std::to_string(number);
  }

  static void Ask() {
    platform::Handle handles[2];
    void* views[2];
    Open("Global\\bench-ring", kRingView, &handles[0], &views[0]);
    Open("Global\\bench-block", kBlockView, &handles[1], &views[1]);
    for (const int closed : {1, 0}) {
      platform::mappings.UnmapViewOfFile(views[closed]);
      platform::handles.CloseHandle(handles[closed]);
    }
  }

  static void Open(const char* name, std::uint32_t size, platform::Handle* handle, void** view) {
    *handle = platform::mappings.OpenFileMappingA(platform::kMapReadWrite, false, name);
    *view = platform::mappings.MapViewOfFile(*handle, platform::kMapReadWrite, 0, 0, size);
    if (*view == nullptr) std::abort();
    // Each page that the add-in touches costs a fault.
    *static_cast<volatile char*>(*view) = 1;
  }

  void Write(const std::string& name, std::uint32_t size) const {
    const platform::Handle file = platform::files.CreateFileA(
        (m_folder + name).c_str(), platform::kGenericReadWrite, platform::kShareReadWrite, nullptr,
        platform::kCreateAlways, platform::kFileAttributeNormal);
    const std::string content(size, 'a');
    std::uint32_t written = 0;
    platform::files.WriteFile(file, content.data(), size, &written);
    platform::handles.CloseHandle(file);
    if (written != size) std::abort();
  }

  void Clean() const {
    platform::files.DeleteFileA((m_folder + "bench-body").c_str());
    platform::files.DeleteFileA((m_folder + "bench-subject").c_str());
    platform::FindData found = {};
    const platform::Handle listing =
        platform::files.FindFirstFileA((m_folder + "bench-attachment*").c_str(), &found);
    if (listing == platform::kInvalidHandle) return;
    do {
      platform::files.DeleteFileA((m_folder + found.cFileName).c_str());
    } while (platform::files.FindNextFileA(listing, &found));
    platform::files.FindClose(listing);
  }

  const int m_attachments;
  std::string m_folder;
  platform::Handle m_ring;
  platform::Handle m_block;
};

}  // namespace bench
