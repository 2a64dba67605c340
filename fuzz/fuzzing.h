// What the fuzzers share: checks, parsing an input, and in-memory files and logs, so that a run
// touches neither disk nor network.
//
// A fuzzer is one source with LLVMFuzzerTestOneInput. The input alone determines what it does, so a
// saved input reproduces its finding.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "logging/vrklogger.h"
#include "platform/diagnostics.h"
#include "platform/files.h"
#include "platform/handles.h"
#include "platform/scopedreplacement.h"

namespace fuzzing {

// Ends the run if `holds` is false; libFuzzer then keeps the input.
inline void Require(bool holds, const char* what, const char* file = __builtin_FILE(),
                    int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, what);
  std::abort();
}

// Reads an input from its front, numbers little-endian. Past the end, numbers are zero and bytes
// empty.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : m_rest(reinterpret_cast<const char*>(data), size) {}

  bool IsEmpty() const { return m_rest.empty(); }
  std::uint8_t Byte() { return Number<std::uint8_t>(); }
  std::uint16_t Half() { return Number<std::uint16_t>(); }
  std::uint32_t Word() { return Number<std::uint32_t>(); }

  // Up to `count` bytes.
  std::string_view Bytes(std::size_t count) {
    const std::string_view bytes = m_rest.substr(0, count);
    m_rest.remove_prefix(bytes.size());
    return bytes;
  }
  std::string_view Rest() { return Bytes(m_rest.size()); }

 private:
  template <typename Type>
  Type Number() {
    Type number{};
    const std::string_view bytes = Bytes(sizeof(number));
    std::memcpy(&number, bytes.data(), bytes.size());
    return number;
  }

  std::string_view m_rest;
};

// A text on the heap, allocated to its exact size so that the sanitizer sees a read past its end.
class ExactBytes {
 public:
  explicit ExactBytes(std::string_view bytes)
      : m_bytes(static_cast<char*>(std::malloc(std::max<std::size_t>(bytes.size(), 1)))),
        m_size(bytes.size()) {
    std::copy(bytes.begin(), bytes.end(), m_bytes);
  }
  ~ExactBytes() { std::free(m_bytes); }
  ExactBytes(const ExactBytes&) = delete;
  ExactBytes& operator=(const ExactBytes&) = delete;

  std::string_view View() const { return {m_bytes, m_size}; }

 private:
  char* m_bytes;
  std::size_t m_size;
};

// The content of every file that is opened by a narrow path. Nothing else can be opened.
class MemoryFile {
 public:
  // Each read returns at most `piece` bytes (at least 1). Reads fail after `failsAfter` bytes.
  void Set(std::string_view content, std::size_t piece, std::size_t failsAfter) {
    m_content = content;
    m_piece = std::max<std::size_t>(piece, 1);
    m_failsAfter = failsAfter;
    m_at = 0;
  }
  int OpenHandles() const { return m_open; }

 private:
  platform::Handle Open() {
    ++m_open;
    m_at = 0;
    return this;
  }
  bool Close(platform::Handle handle) {
    if (handle == this) --m_open;
    return handle == this;
  }
  bool Read(void* buffer, std::uint32_t size, std::uint32_t* read) {
    *read = 0;
    if (m_at >= m_failsAfter) return false;
    const std::string_view rest = m_content.substr(m_at, m_failsAfter - m_at);
    const std::size_t count = std::min({rest.size(), m_piece, std::size_t{size}});
    std::copy_n(rest.begin(), count, static_cast<char*>(buffer));
    m_at += count;
    *read = static_cast<std::uint32_t>(count);
    return true;
  }

  template <auto Entry>
  using Replaced = platform::ScopedReplacement<platform::files, Entry>;
  using Files = platform::FileOperations;

  std::string_view m_content;
  std::size_t m_piece = 1;
  std::size_t m_failsAfter = 0;
  std::size_t m_at = 0;
  int m_open = 0;
  Replaced<&Files::CreateFileA> m_create{[this](auto, auto...) { return Open(); }};
  Replaced<&Files::CreateFileW> m_createWide{
      [](auto, auto...) { return platform::kInvalidHandle; }};
  Replaced<&Files::GetFileAttributesExW> m_attributes{[](auto, auto...) { return false; }};
  Replaced<&Files::ReadFile> m_read{
      [this](auto, auto, auto buffer, auto size, auto read) { return Read(buffer, size, read); }};
  platform::ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> m_close{
      [this](auto, auto handle) { return Close(handle); }};
};

// Counts the product's log lines by level and keeps the last message.
class LogLines {
 public:
  LogLines() { g_logger.AddStream(kLogModule, 15, "Dbg", nullptr); }
  ~LogLines() { g_logger.RemoveAllModules(); }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

  void Clear() { m_infos = m_warnings = m_errors = 0; }
  int Infos() const { return m_infos; }
  int Warnings() const { return m_warnings; }
  int Errors() const { return m_errors; }
  // Units beyond ASCII become "?".
  std::string Last() const {
    std::string text;
    for (const platform::WideChar unit : m_last)
      text += unit < 0x80 ? static_cast<char>(unit) : '?';
    return text;
  }

 private:
  void Take(platform::WideStringView line) {
    constexpr platform::WideStringView kTag = QV_WIDE("Outlook> ");
    const std::size_t tag = line.find(kTag);
    Require(tag != platform::WideStringView::npos, "every line carries the module's tag");
    line.remove_prefix(tag + kTag.size());
    const bool isEnded = line.size() >= 8 && line.substr(line.size() - 2) == QV_WIDE("\r\n");
    Require(isEnded, "every line has a level and an end");
    if (line.front() == u'I') ++m_infos;
    if (line.front() == u'W') ++m_warnings;
    if (line.front() == u'E') ++m_errors;
    m_last = line.substr(6, line.size() - 8);
  }

  int m_infos = 0;
  int m_warnings = 0;
  int m_errors = 0;
  platform::WideString m_last;
  platform::ScopedReplacement<platform::diagnostics,
                              &platform::DiagnosticsOperations::OutputDebugStringW>
      m_output{[this](auto, auto text) { Take(text); }};
};

}  // namespace fuzzing
