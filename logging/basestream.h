// The base of the log streams.
#pragma once

// Writes finished lines somewhere. A stream doesn't change a line and reports nothing: a failure
// loses that line only.
//
// The logger owns its streams and calls Write under its lock.
class CBaseStream {
 public:
  CBaseStream() = default;
  virtual ~CBaseStream() = default;

  CBaseStream(const CBaseStream&) = delete;
  CBaseStream& operator=(const CBaseStream&) = delete;

  // Writes one NUL-terminated UTF-8 text, line end included. All streams ignore null and the empty
  // text.
  virtual void Write(const char* text) = 0;
};
