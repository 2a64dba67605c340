#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "platform/clock.h"
#include "simulation/agent/pattern.h"

namespace simulation::agent {
namespace {

// The engine's limits for one starting position.
constexpr std::uint32_t kMatchLimit = 5'000'000;
constexpr std::uint32_t kHeapLimitKilobytes = 64 * 1024;
// The limit for a whole search.
constexpr std::uint32_t kMillisecondsPerSearch = 1000;

struct FreeMatchData {
  void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
};
struct FreeMatchContext {
  void operator()(pcre2_match_context* context) const { pcre2_match_context_free(context); }
};
struct FreeCompileContext {
  void operator()(pcre2_compile_context* context) const { pcre2_compile_context_free(context); }
};
using CompileContext = std::unique_ptr<pcre2_compile_context, FreeCompileContext>;
using MatchData = std::unique_ptr<pcre2_match_data, FreeMatchData>;
using MatchContext = std::unique_ptr<pcre2_match_context, FreeMatchContext>;

// The first position from `position` on where a character begins.
std::size_t CharacterAt(std::string_view text, std::size_t position) {
  while (position < text.size() && (static_cast<unsigned char>(text[position]) & 0xC0) == 0x80) {
    ++position;
  }
  return position;
}

// Never null, which the library rejects.
PCRE2_SPTR Units(std::string_view text) {
  return reinterpret_cast<PCRE2_SPTR>(text.empty() ? "" : text.data());
}

std::string MessageOf(int code) {
  std::array<PCRE2_UCHAR, 256> buffer{};
  pcre2_get_error_message(code, buffer.data(), buffer.size());
  return reinterpret_cast<const char*>(buffer.data());
}

}  // namespace

struct Pattern::Engine {
  explicit Engine(pcre2_code* compiled) : code(compiled) {}
  ~Engine() { pcre2_code_free(code); }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  pcre2_code* const code;
};

Pattern::Pattern(std::string text, std::unique_ptr<Engine> engine)
    : m_text(std::move(text)), m_engine(std::move(engine)) {}
Pattern::Pattern(Pattern&&) noexcept = default;
Pattern& Pattern::operator=(Pattern&&) noexcept = default;
Pattern::~Pattern() = default;

std::optional<Pattern> Pattern::Compile(std::string_view text, PatternError* error) {
  int code = 0;
  PCRE2_SIZE offset = 0;
  const CompileContext context(pcre2_compile_context_create(nullptr));
  pcre2_set_newline(context.get(), PCRE2_NEWLINE_ANYCRLF);
  pcre2_code* const compiled = pcre2_compile(
      Units(text), text.size(),
      PCRE2_UTF | PCRE2_UCP | PCRE2_MULTILINE | PCRE2_NEVER_BACKSLASH_C | PCRE2_USE_OFFSET_LIMIT,
      &code, &offset, context.get());
  if (compiled == nullptr) {
    *error = {MessageOf(code), offset};
    return std::nullopt;
  }
  return Pattern(std::string(text), std::make_unique<Engine>(compiled));
}

PatternResult Pattern::Search(std::string_view text) const {
  const MatchData data(pcre2_match_data_create(1, nullptr));
  const MatchContext context(pcre2_match_context_create(nullptr));
  pcre2_set_match_limit(context.get(), kMatchLimit);
  pcre2_set_heap_limit(context.get(), kHeapLimitKilobytes);

  // The engine's limits apply to each starting position separately. To limit the whole search, try
  // the starting positions in windows and check the clock after each one.
  const std::uint32_t began = platform::clock.GetTickCount();
  std::size_t window =
      std::clamp<std::size_t>((std::size_t{1} << 26) / (text.size() + 1), 1, 65536);
  for (std::size_t begin = 0;;) {
    const std::size_t end = begin + std::min(window, text.size() - begin);
    pcre2_set_offset_limit(context.get(), end);
    const std::uint32_t windowBegan = platform::clock.GetTickCount();
    const int result = pcre2_match(m_engine->code, Units(text), text.size(), begin,
                                   PCRE2_NO_UTF_CHECK, data.get(), context.get());
    if (result >= 0) return PatternResult::kMatch;
    if (result != PCRE2_ERROR_NOMATCH) return PatternResult::kTooCostly;
    if (end == text.size()) return PatternResult::kNoMatch;
    const std::uint32_t now = platform::clock.GetTickCount();
    if (now - began > kMillisecondsPerSearch) return PatternResult::kTooCostly;
    const std::uint32_t took = now - windowBegan;
    if (took < 20) {
      window *= 4;
    } else if (took > 100) {
      window = std::max<std::size_t>(1, window / 4);
    }
    begin = CharacterAt(text, end + 1);
  }
}

}  // namespace simulation::agent
