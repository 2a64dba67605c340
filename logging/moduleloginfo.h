// The logger's registry: a list of modules, each with a chain of streams.
//
// New entries go to the head. Each entry owns its successor, so deleting the head deletes the list.
// The logger reads and changes both under its lock.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "logging/basestream.h"

// A stream of a module.
class CModuleStreamWrapper {
 public:
  // Takes ownership of the stream and enables it. Keeps 7 characters of the type's name ("File",
  // "Dbg", "UDP").
  CModuleStreamWrapper(std::unique_ptr<CBaseStream> stream, std::uint32_t mask,
                       std::string_view type);
  virtual ~CModuleStreamWrapper();

  CModuleStreamWrapper(const CModuleStreamWrapper&) = delete;
  CModuleStreamWrapper& operator=(const CModuleStreamWrapper&) = delete;

  CModuleStreamWrapper* m_pNext = nullptr;
  CBaseStream* m_pStream;
  std::uint32_t m_uMask;  // levels that the stream accepts
  std::int32_t m_bEnabled = 1;
  char m_szType[8] = {};
};

// A module that logs.
class CModuleLogInfo {
 public:
  // Keeps 16 characters of the name.
  explicit CModuleLogInfo(std::string_view name);
  virtual ~CModuleLogInfo();

  CModuleLogInfo(const CModuleLogInfo&) = delete;
  CModuleLogInfo& operator=(const CModuleLogInfo&) = delete;

  CModuleLogInfo* m_pNext = nullptr;
  CModuleStreamWrapper* m_pStreams = nullptr;
  char m_szName[17] = {};
};
