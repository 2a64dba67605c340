// The registry of the logger: a list of modules, each with a chain of streams.
//
// Both lists are filled at the head and own their successors, so that deleting a head takes down
// all that hangs on it. Reading and changing them is the logger's, under its lock.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "logging/basestream.h"

// One stream of one module.
class CModuleStreamWrapper {
 public:
  // Takes the stream over. Of the type's name ("File", "Dbg", "UDP") 7 characters are kept. Takes
  // lines from the start.
  CModuleStreamWrapper(std::unique_ptr<CBaseStream> stream, std::uint32_t mask,
                       std::string_view type);
  virtual ~CModuleStreamWrapper();

  CModuleStreamWrapper(const CModuleStreamWrapper&) = delete;
  CModuleStreamWrapper& operator=(const CModuleStreamWrapper&) = delete;

  CModuleStreamWrapper* m_pNext = nullptr;
  CBaseStream* m_pStream;
  std::uint32_t m_uMask;  // level bits that the stream takes
  std::int32_t m_bEnabled = 1;
  char m_szType[8] = {};
};

// One module that logs.
class CModuleLogInfo {
 public:
  // Of the name 16 characters are kept.
  explicit CModuleLogInfo(std::string_view name);
  virtual ~CModuleLogInfo();

  CModuleLogInfo(const CModuleLogInfo&) = delete;
  CModuleLogInfo& operator=(const CModuleLogInfo&) = delete;

  CModuleLogInfo* m_pNext = nullptr;
  CModuleStreamWrapper* m_pStreams = nullptr;
  char m_szName[17] = {};
};
