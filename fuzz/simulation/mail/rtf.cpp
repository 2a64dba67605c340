// Rich text: decompression and the HTML in it. The input is the compressed value, and also the
// text.
#include <string_view>

#include "fuzz/fuzzing.h"
#include "simulation/mail/rtf.h"
#include "text/textconversion.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const auto text = simulation::mail::DecompressRtf(input);
  if (text) {
    fuzzing::Require(text->size() <= 9 * input.size(), "decompression has a bound");
    simulation::mail::HtmlInRtf(*text);
  }
  const auto html = simulation::mail::HtmlInRtf(input);
  if (html) fuzzing::Require(html->empty() || !Utf8ToWide(*html).empty(), "HTML is valid UTF-8");
  return 0;
}
