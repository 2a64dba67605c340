// The model's UTF-8 as the host's wide text.
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "platform/com/automation.h"
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

// A body, which may be large: the add-in's own copies of it take three times its size. So the host
// keeps a text of more than kMostInMemory units in a temporary file, which has no name and
// disappears with the object.
class HostText {
 public:
  static constexpr std::size_t kMostInMemory = std::size_t{4} << 20;

  HostText() = default;
  // Takes the UTF-8 text and frees it.
  explicit HostText(std::optional<std::string> text);

  // A new BSTR through `place`; null if the text is absent. E_OUTOFMEMORY if it can't be allocated
  // or read back.
  HRESULT Give(BSTR* place) const;
  bool IsInFile() const { return m_file != nullptr; }

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::optional<platform::WideString> m_text;  // empty while the text is in the file
  std::unique_ptr<std::FILE, CloseFile> m_file;
  std::size_t m_units = 0;  // in the file
};

}  // namespace simulation::host
