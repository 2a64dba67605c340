// The files whose log `quorvex log explain` reads.
#pragma once

#include <atomic>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "inspection/logs/logreader.h"
#include "inspection/logs/logstory.h"

namespace tools {

class LogSources {
 public:
  // Opens the files ("-" is standard input) and puts them into the order of their first lines. A
  // file whose beginning is the same as another's is read once: it is a copy, or the same file at
  // another time. Raises CommandError for a missing file; reports an unreadable one on standard
  // error.
  // With `isFollowed` the files may still grow: see Follow.
  explicit LogSources(const std::vector<std::string>& paths, bool isFollowed = false);

  // Reads everything there is.
  void ReadAll(inspection::logs::LogStories* stories);
  // Reads on as the files grow, until `stop`. A last line counts once its line end is there. Also
  // reads files of the same ring
  // ("mail.PC17_3.log" beside "mail.PC17_2.log") that are created later.
  void Follow(inspection::logs::LogStories* stories, const std::atomic<bool>& stop);

  // True if some file couldn't be read to its end.
  bool IsUnreadable() const { return m_isUnreadable; }

 private:
  struct Source {
    std::string path;
    std::string machine;  // from the file's name
    std::string begins;   // the time of its first line of the log, sortable
    std::string head;     // its first bytes, decoded
    std::unique_ptr<std::istream> file;
    std::istream* stream = nullptr;
    std::unique_ptr<inspection::logs::LogReader> reader;
  };

  std::unique_ptr<Source> Open(const std::string& path);
  // Adds each log of a bundle.
  void AddBundle(const std::string& path);
  // Reads the beginning, and goes back to it.
  static void ReadHead(Source* source);
  void Add(std::unique_ptr<Source> source);
  void Read(Source& source, inspection::logs::LogStories* stories);
  void OpenNewFiles();
  void Report(const Source& source);

  std::vector<std::unique_ptr<Source>> m_sources;
  bool m_isFollowed;
  bool m_isUnreadable = false;
};

}  // namespace tools
