// Where a log line leaves the process.
#pragma once

// The base of all streams. A stream passes a finished line on unchanged and reports nothing: a
// failure costs that line and no more.
//
// The logger owns its streams and calls Write under its own lock, so one caller at a time.
class CBaseStream {
 public:
  CBaseStream() = default;
  virtual ~CBaseStream() = default;

  CBaseStream(const CBaseStream&) = delete;
  CBaseStream& operator=(const CBaseStream&) = delete;

  // Takes one NUL-terminated text, UTF-8, already ended as it is to stand in the log. Null and the
  // empty text are ignored by every stream.
  virtual void Write(const char* text) = 0;
};
