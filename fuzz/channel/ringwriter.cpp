// The ring's writer with a false header. The input gives the size of the view, the header, and then
// pushes with changes to the header in between. Nothing outside the view is touched, a refused push
// changes nothing, and an accepted entry is exactly where it belongs.
#include <algorithm>
#include <cstring>
#include <vector>

#include "channel/ringbuffer.h"
#include "fuzz/fuzzing.h"
#include "fuzz/guardedview.h"

namespace {

using fuzzing::Require;

constexpr std::uint32_t kHeader = sizeof(RingHeader);
constexpr std::uint32_t kLargestView = 4096;
constexpr std::uint32_t kLongest = kLargestView + 512;  // push

RingHeader HeaderOf(const unsigned char* view) {
  RingHeader header{};
  std::memcpy(&header, view, kHeader);
  return header;
}

// The header's first words, in the order of the input.
void SetWord(unsigned char* view, std::uint32_t viewSize, std::uint32_t at, std::uint32_t word) {
  if (4 * at + 4 <= viewSize) std::memcpy(view + std::size_t{4} * at, &word, sizeof(word));
}

// What the view must contain after an accepted push.
void PutEntry(std::vector<unsigned char>& view, const RingHeader& before,
              const std::vector<unsigned char>& padded) {
  const auto capacity = static_cast<std::uint32_t>(before.capacity);
  const auto length = static_cast<std::uint32_t>(padded.size());
  RingHeader after = before;
  after.usedBytes += static_cast<std::int32_t>(length + 4);
  after.writeCursor += length + 4;
  std::memcpy(view.data(), &after, kHeader);
  const std::uint32_t at = before.writeCursor % capacity;
  std::memcpy(view.data() + kHeader + at, &length, sizeof(length));
  const std::uint32_t start = (at + 4) % capacity;
  const std::uint32_t first = std::min(length, capacity - start);
  std::memcpy(view.data() + kHeader + start, padded.data(), first);
  std::memcpy(view.data() + kHeader, padded.data() + first, length - first);
}

void Push(unsigned char* view, std::uint32_t viewSize, std::uint32_t length, std::uint8_t fill,
          fuzzing::LogLines& log) {
  // The writer also copies the caller's padding up to a multiple of 4.
  std::vector<unsigned char> data((std::size_t{length} + 3) / 4 * 4, fill);
  for (std::size_t i = 0; i < data.size(); i += 5) data[i] = static_cast<unsigned char>(i);
  std::vector<unsigned char> expected(view, view + viewSize);
  const bool hasHeader = viewSize >= kHeader;
  const RingHeader before = hasHeader ? HeaderOf(view) : RingHeader{};
  log.Clear();
  const bool isPushed = channel::PushEntry(reinterpret_cast<RingHeader*>(view), viewSize,
                                           data.data(), static_cast<int>(length));
  Require(log.Errors() == (isPushed ? 0 : 1), "a refused push has one line in the log");
  const std::int64_t sum = std::int64_t{before.usedBytes} + std::int64_t{length + 3} / 4 * 4 + 4;
  const bool isRoom = hasHeader && length > 0 && before.capacity > 0 &&
                      std::uint32_t(before.capacity) <= viewSize - kHeader &&
                      sum <= before.capacity;
  const bool isSane = isRoom && before.capacity % 4 == 0 &&
                      before.writeCursor % static_cast<std::uint32_t>(before.capacity) % 4 == 0 &&
                      data.size() + 4 <= static_cast<std::size_t>(before.capacity);
  const bool isTold = isPushed && before.usedBytes < 0;
  Require(log.Warnings() == (isTold ? 1 : 0), "a count below zero has a line in the log");
  Require(isPushed == isSane, "a push is accepted where it fits and nothing contradicts itself");
  if (isPushed) {
    PutEntry(expected, before, data);
  } else if (isRoom && before.capacity % 4 == 0 &&
             data.size() + 4 <= static_cast<std::size_t>(before.capacity)) {
    // The writer notices a misaligned cursor only after advancing it.
    RingHeader after = before;
    after.writeCursor += static_cast<std::uint32_t>(data.size()) + 4;
    std::memcpy(expected.data(), &after, kHeader);
  }
  Require(viewSize == 0 || std::memcmp(view, expected.data(), viewSize) == 0,
          "the view holds what it has to");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::LogLines log;
  static fuzzing::GuardedView guarded;
  fuzzing::Input input(data, size);
  const std::uint32_t viewSize = input.Half() % kLargestView;
  unsigned char* const view = guarded.Resize(viewSize);
  std::memset(view, 0xEE, viewSize);
  for (std::uint32_t word = 0; word < 4; ++word) SetWord(view, viewSize, word, input.Word());
  while (!input.IsEmpty()) {
    const std::uint8_t step = input.Byte();
    if (step % 8 == 7) {
      SetWord(view, viewSize, step / 8 % 4, input.Word());
      continue;
    }
    const std::uint32_t length = step % 8 < 3 ? sizeof(ContentRequest) : input.Half() % kLongest;
    Push(view, viewSize, length, step, log);
  }
  return 0;
}
