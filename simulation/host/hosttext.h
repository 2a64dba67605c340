// The model's UTF-8 as the host's wide text.
#pragma once

#include <optional>
#include <string>

#include "platform/widetext.h"
#include "text/textconversion.h"

namespace simulation::host {

// Absent stays absent.
inline std::optional<platform::WideString> ToWide(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  return Utf8ToWide(*text);
}

// In labels.
inline std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

}  // namespace simulation::host
