// What the fuzzers share: checking, taking an input apart, and stand-ins for the machine, so that a
// run touches no disk and no network.
//
// A fuzzer is one source with LLVMFuzzerTestOneInput. Everything in it is decided by the input, so
// an input that was kept shows its finding again.
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

// An input taken apart from its front, numbers little-endian. Behind the end all is zero and empty.
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

// A text on the heap with not a byte behind it, so that a read past its end is seen.
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

// Stands in for every file that is opened for reading by a narrow path; nothing else can be opened.
class MemoryFile {
 public:
  // Reads give at most `piece` bytes (at least 1) at a time, and fail behind `failsBehind` bytes.
  void Set(std::string_view content, std::size_t piece, std::size_t failsBehind) {
    m_content = content;
    m_piece = std::max<std::size_t>(piece, 1);
    m_failsBehind = failsBehind;
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
    if (m_at >= m_failsBehind) return false;
    const std::string_view rest = m_content.substr(m_at, m_failsBehind - m_at);
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
  std::size_t m_failsBehind = 0;
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

// The lines that the product logs: how many of each level, and the last one's message.
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
  // ASCII: every other unit is a "?".
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
