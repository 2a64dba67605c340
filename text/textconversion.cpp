#include "text/textconversion.h"

#include <limits>

#include "platform/codepages.h"

namespace {

// The system counts in int. Longer texts fail like any other that can't be converted.
bool TooLong(std::size_t size) {
  return size > static_cast<std::size_t>(std::numeric_limits<int>::max());
}

std::string Narrow(std::uint32_t codePage, platform::WideStringView text) {
  std::string narrow;
  if (text.empty() || TooLong(text.size())) {
    return narrow;
  }
  const int size = static_cast<int>(text.size());
  const int needed =
      platform::codepages.WideCharToMultiByte(codePage, 0, text.data(), size, nullptr, 0);
  if (needed <= 0) {
    return narrow;
  }
  narrow.resize(static_cast<std::size_t>(needed));
  if (platform::codepages.WideCharToMultiByte(codePage, 0, text.data(), size, narrow.data(),
                                              needed) <= 0) {
    narrow.clear();
  }
  return narrow;
}

platform::WideString Widen(std::uint32_t codePage, std::string_view text) {
  platform::WideString wide;
  if (text.empty() || TooLong(text.size())) {
    return wide;
  }
  const int size = static_cast<int>(text.size());
  const int needed = platform::codepages.MultiByteToWideChar(codePage, platform::kFailOnInvalid,
                                                             text.data(), size, nullptr, 0);
  if (needed <= 0) {
    return wide;
  }
  wide.resize(static_cast<std::size_t>(needed));
  if (platform::codepages.MultiByteToWideChar(codePage, platform::kFailOnInvalid, text.data(), size,
                                              wide.data(), needed) <= 0) {
    wide.clear();
  }
  return wide;
}

}  // namespace

std::string WideToUtf8(platform::WideStringView text) {
  return Narrow(platform::kCodePageUtf8, text);
}

platform::WideString Utf8ToWide(std::string_view text) {
  return Widen(platform::kCodePageUtf8, text);
}

std::string WideToAnsi(platform::WideStringView text) {
  return Narrow(platform::kCodePageAnsi, text);
}

platform::WideString AnsiToWide(std::string_view text) {
  return Widen(platform::kCodePageAnsi, text);
}

std::string AnsiToUtf8(std::string_view text) {
  return WideToUtf8(AnsiToWide(text));
}

std::string Utf8ToAnsi(std::string_view text) {
  return WideToAnsi(Utf8ToWide(text));
}
