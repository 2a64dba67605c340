#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "inspection/ring/ringview.h"
#include "platform/mappedview.h"
#include "platform/scopedhandle.h"

namespace inspection::ring {
namespace {

constexpr int kTries = 8;
constexpr std::uint32_t kHeaderSize = sizeof(RingHeader);
// Behind the data area.
constexpr std::uint32_t kSpare = std::uint32_t{channel::kRingOverhead} - kHeaderSize;

// A view that can only be read.
class View {
 public:
  View(const std::string& name, std::uint32_t size)
      : m_mapping(platform::mappings.OpenFileMappingA(platform::kMapRead, false, name.c_str())) {
    if (IsThere()) m_view = platform::MappedView(m_mapping.Get(), platform::kMapRead, size);
  }

  bool IsThere() const { return m_mapping.IsOpen(); }
  const unsigned char* Data() const { return static_cast<const unsigned char*>(m_view.Data()); }

 private:
  platform::ScopedHandle m_mapping;
  platform::MappedView m_view;  // declared last, so released first
};

// Loads of 32-bit words don't write, even where atomic_ref wants an address that could be written.
template <typename Word>
Word Load(const Word& word) {
  return std::atomic_ref<Word>(const_cast<Word&>(word)).load(std::memory_order_acquire);
}

RingHeader LoadHeader(const unsigned char* view) {
  const auto* const shared = reinterpret_cast<const RingHeader*>(view);
  return {Load(shared->usedBytes), Load(shared->writeCursor), Load(shared->consumerWord),
          Load(shared->capacity)};
}

bool AreSame(const RingHeader& one, const RingHeader& other) {
  return std::memcmp(&one, &other, sizeof(one)) == 0;
}

std::filesystem::path PathOf(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

}  // namespace

bool ReadLiveRing(const std::string& name, Bytes* bytes, std::string* error) {
  std::int32_t capacity = 0;
  {
    const View head(name, kHeaderSize);
    if (head.Data() == nullptr) {
      *error = head.IsThere() ? "the ring " + name + " can't be mapped"
                              : "there is no ring " + name + ": no agent is running";
      return false;
    }
    const RingHeader header = LoadHeader(head.Data());
    bytes->resize(kHeaderSize);
    std::memcpy(bytes->data(), &header, kHeaderSize);
    capacity = header.capacity;
  }
  if (capacity < 4 || capacity > kLargestCapacity) return true;
  const auto area = static_cast<std::uint32_t>(capacity);
  const View whole(name, kHeaderSize + area + kSpare);
  if (whole.Data() == nullptr) return true;  // smaller than it says: Decode misses the rest
  bytes->resize(kHeaderSize + area + kSpare);
  for (int i = 0; i < kTries; ++i) {
    const RingHeader header = LoadHeader(whole.Data());
    std::memcpy(bytes->data(), &header, kHeaderSize);
    std::memcpy(bytes->data() + kHeaderSize, whole.Data() + kHeaderSize, area + kSpare);
    if (AreSame(header, LoadHeader(whole.Data()))) break;
  }
  return true;
}

void ReadBlocks(Snapshot* now) {
  for (Entry& entry : now->entries) {
    if (!entry.isRequest) continue;
    const auto& name = entry.record->szBlockName;
    const View block(std::string(name, std::find(name, std::end(name), '\0')),
                     sizeof(RequestBlock));
    if (block.Data() == nullptr) continue;
    entry.blockStatus = Load(reinterpret_cast<const RequestBlock*>(block.Data())->status);
  }
}

bool ReadSavedRing(const std::string& path, Bytes* bytes) {
  std::ifstream file(PathOf(path), std::ios::binary);
  if (!file) return false;
  bytes->resize(kHeaderSize + std::size_t{kLargestCapacity} + kSpare);
  file.read(reinterpret_cast<char*>(bytes->data()), static_cast<std::streamsize>(bytes->size()));
  bytes->resize(static_cast<std::size_t>(file.gcount()));
  return !file.bad();
}

bool SaveRing(const std::string& path, const Bytes& bytes) {
  std::ofstream file(PathOf(path), std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  file.close();
  return static_cast<bool>(file);
}

}  // namespace inspection::ring
