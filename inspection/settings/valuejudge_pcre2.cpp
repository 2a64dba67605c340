#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "inspection/settings/valuejudge.h"

namespace inspection::settings {

namespace {

// A few milliseconds of backtracking; a valid list of a thousand addresses needs a tenth of it.
constexpr std::uint32_t kMatchLimit = 300'000;
constexpr std::uint32_t kHeapLimitKilobytes = 64 * 1024;

struct Free {
  void operator()(pcre2_code* code) const { pcre2_code_free(code); }
  void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
  void operator()(pcre2_match_context* context) const { pcre2_match_context_free(context); }
};
using Code = std::unique_ptr<pcre2_code, Free>;

// Never null, which the library rejects.
PCRE2_SPTR Units(std::string_view text) {
  return reinterpret_cast<PCRE2_SPTR>(text.empty() ? "" : text.data());
}

pcre2_code* CompiledCode(std::string_view pattern) {
  static std::map<std::string, Code, std::less<>> compiled;
  const auto found = compiled.find(pattern);
  if (found != compiled.end()) return found->second.get();
  int error = 0;
  PCRE2_SIZE offset = 0;
  Code code(pcre2_compile(Units(pattern), pattern.size(), PCRE2_DOLLAR_ENDONLY, &error, &offset,
                          nullptr));
  if (code == nullptr) throw std::runtime_error("not a pattern: " + std::string(pattern));
  return compiled.emplace(pattern, std::move(code)).first->second.get();
}

}  // namespace

ValueJudgement JudgeValue(std::string_view pattern, std::string_view value) {
  pcre2_code* const code = CompiledCode(pattern);
  const std::unique_ptr<pcre2_match_data, Free> data(pcre2_match_data_create(1, nullptr));
  const std::unique_ptr<pcre2_match_context, Free> context(pcre2_match_context_create(nullptr));
  pcre2_set_match_limit(context.get(), kMatchLimit);
  pcre2_set_heap_limit(context.get(), kHeapLimitKilobytes);
  const int result = pcre2_match(code, Units(value), value.size(), 0, 0, data.get(), context.get());
  if (result >= 0) return ValueJudgement::kAccepted;
  return result == PCRE2_ERROR_NOMATCH ? ValueJudgement::kRefused : ValueJudgement::kTooComplex;
}

}  // namespace inspection::settings
