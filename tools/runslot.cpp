#include "tools/runslot.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "channel/protocol.h"
#include "platform/mappings.h"
#include "text/textconversion.h"
#include "tools/inputfile.h"

namespace tools {

namespace {

// More runs than this share the last slot.
constexpr int kSlots = 64;

// Appends `suffix` to a path of `length` characters, or fails as the system does for a buffer that
// is too small.
template <typename Character>
std::uint32_t Append(std::uint32_t length, std::uint32_t size, Character* buffer,
                     const std::string& suffix) {
  const auto all = static_cast<std::uint32_t>(length + suffix.size());
  if (length == 0 || suffix.empty()) return length;
  if (length >= size || all >= size) return all + 1;
  std::copy(suffix.begin(), suffix.end(), buffer + length);
  buffer[all] = 0;
  return all;
}

}  // namespace

RunSlot::RunSlot()
    : m_narrowPath([this](auto original, std::uint32_t size, char* buffer) {
        return Append(original(size, buffer), size, buffer, m_suffix);
      }),
      m_widePath([this](auto original, std::uint32_t size, platform::WideChar* buffer) {
        return Append(original(size, buffer), size, buffer, m_suffix);
      }) {
  // The mapping is a claim on the number, which the system drops when the process ends.
  constexpr std::uint32_t kClaimSize = 16;
  for (; m_number < kSlots; ++m_number) {
    const std::string name = "Global\\QuorvexSend." + std::to_string(m_number);
    m_claim =
        platform::ScopedHandle(platform::mappings.CreateFileMappingA(kClaimSize, name.c_str()));
    if (m_claim.IsOpen()) break;
  }
  // Without the right to create global objects there is no claim, and no agent of our own either.
  if (!m_claim.IsOpen()) m_number = 0;
  if (m_number == 0) return;
  m_suffix = "quorvex-send-" + std::to_string(m_number) + "/";
  std::error_code error;
  std::filesystem::create_directories(PathOf(Folder()), error);
}

RunSlot::~RunSlot() {
  std::error_code error;
  if (!m_suffix.empty()) std::filesystem::remove_all(PathOf(Folder()), error);
}

std::string RunSlot::RingName() const {
  const std::string usual = channel::kRingName;
  return m_number == 0 ? usual : usual + "." + std::to_string(m_number);
}

std::string RunSlot::Folder() const {
  char folder[platform::kMaxPath] = {};
  platform::folders.GetTempPathA(sizeof(folder), folder);
  return AnsiToUtf8(folder);
}

}  // namespace tools
