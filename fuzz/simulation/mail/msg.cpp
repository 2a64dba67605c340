// The reader of Outlook's .msg. The input describes a compound file's contents: storages and
// streams, most of them with the names that a message uses. The contents survive being written and
// read as a file, and the mail has the form that the simulated host expects.
#include <array>
#include <string_view>

#include "fuzz/simulation/mail/checkmail.h"
#include "simulation/mail/mailreader.h"
#include "simulation/mail/msgproperties.h"
#include "simulation/mail/msgreader.h"
#include "simulation/mail/storage.h"

namespace {

using simulation::mail::Storage;

constexpr std::array<const char*, 8> kStorages = {"__recip_version1.0_#00000000",
                                                  "__recip_version1.0_#00000001",
                                                  "__attach_version1.0_#00000000",
                                                  "__attach_version1.0_#00000001",
                                                  "__substg1.0_3701000D",
                                                  "__nameid_version1.0",
                                                  "other",
                                                  "__recip_version1.0_#"};
constexpr std::array<const char*, 16> kStreams = {simulation::mail::kMsgPropertyStream,
                                                  "__substg1.0_0037001F",
                                                  "__substg1.0_0037001E",
                                                  "__substg1.0_1000001F",
                                                  "__substg1.0_1000001E",
                                                  "__substg1.0_10090102",
                                                  "__substg1.0_10130102",
                                                  "__substg1.0_1013001E",
                                                  "__substg1.0_3001001F",
                                                  "__substg1.0_3001001E",
                                                  "__substg1.0_3002001F",
                                                  "__substg1.0_39FE001F",
                                                  "__substg1.0_3707001F",
                                                  "__substg1.0_37010102",
                                                  "__substg1.0_3712001F",
                                                  "other"};

// Each byte is a step: leave the storage, enter one, or add a stream, whose size is the next byte.
class Builder {
 public:
  explicit Builder(std::string_view input) : m_input(input) {}

  void Fill(Storage* storage, int depth) {
    while (!m_input.empty()) {
      const auto step = static_cast<unsigned char>(m_input.front());
      m_input.remove_prefix(1);
      if (step >= 0xF0) return;
      if (step >= 0xC0) {
        Storage inner;
        if (depth < 8) Fill(&inner, depth + 1);
        storage->storages.insert_or_assign(kStorages[step % kStorages.size()], std::move(inner));
        continue;
      }
      const std::size_t size = m_input.empty() ? 0 : static_cast<unsigned char>(m_input.front());
      m_input.remove_prefix(m_input.empty() ? 0 : 1);
      storage->streams[kStreams[step % kStreams.size()]] = m_input.substr(0, size);
      m_input.remove_prefix(std::min(size, m_input.size()));
    }
  }

 private:
  std::string_view m_input;
};

bool IsSame(const Storage& a, const Storage& b) {
  if (a.streams != b.streams || a.storages.size() != b.storages.size()) return false;
  for (const auto& [name, storage] : a.storages) {
    const auto other = b.storages.find(name);
    if (other == b.storages.end() || !IsSame(storage, other->second)) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Storage contents;
  Builder({reinterpret_cast<const char*>(data), size}).Fill(&contents, 0);
  const std::string file = simulation::mail::WriteCompoundFile(contents);
  fuzzing::Require(IsSame(simulation::mail::ReadCompoundFile(file), contents),
                   "a compound file keeps its contents");
  try {
    const auto mail = simulation::mail::ReadOutlookMessage(contents);
    fuzzing::CheckMail(mail);
    fuzzing::CheckJson(mail);
  } catch (const simulation::mail::MailError& error) {
    fuzzing::Require(*error.what() != '\0', "a mail that can't be read has a reason");
  }
  return 0;
}
