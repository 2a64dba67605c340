// The least that a mail can cost.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>

#include "channel/protocol.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/mappedview.h"
#include "platform/scopedhandle.h"
#include "text/textconversion.h"

namespace bench {

// Makes the calls to the operating system that a mail needs, and does nothing else: for each
// request it opens, maps and closes the ring and a block; it writes and deletes the files of
// subject, body and attachments. The floor for the add-in's own share of a mail.
class BareMail {
 public:
  // Makes the two mappings that an agent would make.
  explicit BareMail(int attachments) : m_attachments(attachments) {
    char folder[platform::kMaxPath] = {};
    platform::folders.GetTempPathA(sizeof folder, folder);
    m_folder = folder;
    if (!m_ring.IsOpen() || !m_block.IsOpen()) std::abort();
  }

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
    const Opened ring("Global\\bench-ring", kRingView);
    const Opened block("Global\\bench-block", kBlockView);
  }

  struct Opened {
    Opened(const char* name, std::uint32_t size)
        : mapping(platform::mappings.OpenFileMappingA(platform::kMapReadWrite, false, name)),
          view(mapping.Get(), platform::kMapReadWrite, size) {
      if (view.Data() == nullptr) std::abort();
      // A page fault, as in the add-in.
      *static_cast<volatile char*>(view.Data()) = 1;
    }
    platform::ScopedHandle mapping;
    platform::MappedView view;
  };

  void Write(const std::string& name, std::uint32_t size) const {
    platform::ScopedHandle file(platform::files.CreateFileA(
        (m_folder + name).c_str(), platform::kGenericReadWrite, platform::kShareReadWrite, nullptr,
        platform::kCreateAlways, platform::kFileAttributeNormal));
    const std::string content(size, 'a');
    std::uint32_t written = 0;
    platform::files.WriteFile(file.Get(), content.data(), size, &written);
    file.Close();
    if (written != size) std::abort();
  }

  void Clean() const {
    platform::files.DeleteFileA((m_folder + "bench-body").c_str());
    platform::files.DeleteFileA((m_folder + "bench-subject").c_str());
    platform::FindData found = {};
    const platform::ScopedListing listing(
        platform::files.FindFirstFileA((m_folder + "bench-attachment*").c_str(), &found));
    if (!listing.IsOpen()) return;
    do {
      platform::files.DeleteFileA((m_folder + found.cFileName).c_str());
    } while (platform::files.FindNextFileA(listing.Get(), &found));
  }

  const int m_attachments;
  std::string m_folder;
  platform::ScopedHandle m_ring{
      platform::mappings.CreateFileMappingA(kRingView, "Global\\bench-ring")};
  platform::ScopedHandle m_block{
      platform::mappings.CreateFileMappingA(kBlockView, "Global\\bench-block")};
};

}  // namespace bench
