// From the HTML body to the signature's file. The input gives a signature folder (folders with
// files, failing listings) and the HTML as Outlook returns it, in UTF-16. The name found in the
// HTML and the file found for it match a simple search, and exactly the listings of the searched
// folders stay open.
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "agent/outlookaddin/dlpmailevent.h"
#include "fuzz/fuzzing.h"
#include "platform/folders.h"
#include "text/textconversion.h"

namespace {

using fuzzing::Require;
using platform::FindData;
using platform::Handle;

constexpr std::string_view kRoot = "C:\\data\\Microsoft\\Signatures\\";

struct Listing {
  std::string name;
  bool isFolder = false;
  bool isReadable = true;  // can be listed
  std::vector<Listing> entries;
};

// The signature folder and the calls that list it.
class Folder {
 public:
  void Begin(fuzzing::Input& input) {
    m_root = Listing{"", true, input.Byte() % 16 != 15, {}};
    m_lists.clear();
    m_closed = m_opened = 0;
    for (int i = input.Byte() % 6; i > 0; --i) {
      Listing entry = Entry(input);
      const bool isNew =
          std::none_of(m_root.entries.begin(), m_root.entries.end(),
                       [&](const Listing& other) { return other.name == entry.name; });
      if (isNew) m_root.entries.push_back(std::move(entry));
    }
    for (Listing& entry : m_root.entries) {
      for (int i = input.Byte() % 6; i > 0; --i) entry.entries.push_back(Entry(input));
    }
  }

  // Whether a file of that name exists, and how many folders are searched for it.
  bool Holds(const std::string& name, int* visited) const {
    *visited = 0;
    if (!m_root.isReadable || m_root.entries.empty()) return false;
    for (const Listing& folder : m_root.entries) {
      if (!folder.isFolder || folder.name == "." || folder.name == "..") continue;
      // A failed listing leaves the record empty, which matches an empty name.
      if (!folder.isReadable || folder.entries.empty()) {
        if (name.empty()) return true;
        continue;
      }
      ++*visited;
      for (const Listing& file : folder.entries) {
        if (file.name == name) return true;
      }
    }
    return false;
  }
  bool IsRootListed() const { return m_root.isReadable && !m_root.entries.empty(); }
  int Opened() const { return m_opened; }
  int Closed() const { return m_closed; }

 private:
  struct Position {
    const Listing* listing;
    std::size_t next;
  };

  static Listing Entry(fuzzing::Input& input) {
    const std::uint8_t how = input.Byte();
    Listing entry{std::string(input.Bytes(how % 16 == 15 ? 259 : how % 16)),
                  how / 16 % 2 == 0,
                  how / 32 != 7,
                  {}};
    entry.name.resize(std::strlen(entry.name.c_str()));
    // No file system allows such names.
    for (char& letter : entry.name) letter = letter == '\\' || letter == '/' ? '_' : letter;
    return entry;
  }

  static void Fill(const Listing& entry, FindData* data) {
    data->dwFileAttributes = entry.isFolder ? platform::kFileAttributeDirectory : 0;
    entry.name.copy(data->cFileName, entry.name.size());
    data->cFileName[entry.name.size()] = '\0';
  }
  Handle First(std::string_view pattern, FindData* data) {
    Require(pattern.starts_with(kRoot) && pattern.back() == '*', "only signatures are listed");
    pattern = pattern.substr(kRoot.size(), pattern.size() - kRoot.size() - 1);
    const Listing* listing = &m_root;
    if (!pattern.empty()) {
      Require(pattern.back() == '\\', "one level below");
      pattern.remove_suffix(1);
      for (const Listing& entry : m_root.entries) {
        if (entry.name == pattern && entry.isFolder) {
          listing = &entry;
          break;
        }
      }
      Require(listing != &m_root, "only folders that were listed");
    }
    if (!listing->isReadable || listing->entries.empty()) return platform::kInvalidHandle;
    ++m_opened;
    Fill(listing->entries.front(), data);
    m_lists.push_back({listing, 1});
    return reinterpret_cast<Handle>(m_lists.size());
  }
  bool Next(Handle handle, FindData* data) {
    if (handle == platform::kInvalidHandle) return false;
    Position& at = m_lists.at(reinterpret_cast<std::uintptr_t>(handle) - 1);
    if (at.next == at.listing->entries.size()) return false;
    Fill(at.listing->entries[at.next++], data);
    return true;
  }

  template <auto Entry>
  using Replaced = platform::ScopedReplacement<platform::files, Entry>;
  using Files = platform::FileOperations;

  Listing m_root;
  std::vector<Position> m_lists;
  int m_opened = 0;
  int m_closed = 0;
  Replaced<&Files::FindFirstFileA> m_first{
      [this](auto, auto pattern, auto data) { return First(pattern, data); }};
  Replaced<&Files::FindNextFileA> m_next{
      [this](auto, auto handle, auto data) { return Next(handle, data); }};
  Replaced<&Files::FindClose> m_close{[this](auto, auto handle) {
    if (handle != platform::kInvalidHandle) ++m_closed;
    return handle != platform::kInvalidHandle;
  }};
  platform::ScopedReplacement<platform::folders, &platform::FolderOperations::SHGetFolderPathA>
      m_appData{[](auto, auto, auto buffer) {
        std::strcpy(buffer, "C:\\data");
        return std::int32_t{0};
      }};
};

std::string NameByPlainSearch(std::string_view html, bool* isUnended) {
  constexpr std::string_view kStart = "src=\"cid:";
  *isUnended = false;
  for (std::size_t at = 0; at + kStart.size() <= html.size(); ++at) {
    if (html.substr(at, kStart.size()) != kStart) continue;
    std::string name;
    for (const char c : html.substr(at + kStart.size())) {
      if (c == '@') return name;
      name += c;
    }
    *isUnended = true;
    return {};
  }
  return {};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::LogLines log;
  static Folder folder;
  static DlpMailEvent sink(nullptr);
  fuzzing::Input input(data, size);
  const bool isWide = input.Byte() % 2 != 0;
  folder.Begin(input);
  const std::string_view rest = input.Rest();
  std::string html(rest);
  if (isWide) {
    platform::WideString wide(rest.size() / 2, u'\0');
    std::memcpy(wide.data(), rest.data(), 2 * wide.size());
    html = WideToUtf8(wide);
  }

  log.Clear();
  const fuzzing::ExactBytes exact(html);
  const std::string name = DlpMailEvent::GetSignatureImageName(exact.View());
  bool isUnended = false;
  Require(name == NameByPlainSearch(html, &isUnended), "the name between the two keywords");
  Require(log.Warnings() == (isUnended ? 1 : 0), "a line says that the end is missing");

  int visited = 0;
  const bool isThere = folder.Holds(name.c_str(), &visited);
  Require(sink.FindSignatureFilePath(name) == isThere, "the file is found where it is");
  Require(folder.Opened() == visited + (folder.IsRootListed() ? 1 : 0), "what was listed");
  Require(folder.Closed() == (folder.IsRootListed() ? 1 : 0), "the outer listing is closed");
  return 0;
}
