#include "logging/debugviewstream.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "platform/codepages.h"
#include "platform/diagnostics.h"

void CDebugViewStream::Write(const char* text) {
  if (text == nullptr || *text == '\0') return;
  const int size = static_cast<int>(std::strlen(text));
  // Utf8ToWide rejects invalid bytes, but the debugger should still show the line.
  const int length =
      platform::codepages.MultiByteToWideChar(platform::kCodePageUtf8, 0, text, size, nullptr, 0);
  if (length > 0) {
    const std::size_t units = static_cast<std::size_t>(length) + 1;
    const std::unique_ptr<platform::WideChar[]> wide(new (std::nothrow)
                                                         platform::WideChar[units]());
    if (wide != nullptr) {
      platform::codepages.MultiByteToWideChar(platform::kCodePageUtf8, 0, text, size, wide.get(),
                                              length);
      wide[units - 1] = 0;
      platform::diagnostics.OutputDebugStringW(wide.get());
      return;
    }
  }
  platform::diagnostics.OutputDebugStringA(text);
}
