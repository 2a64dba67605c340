// The image of a mail signature. The first inline image of the HTML body names it, and the agent
// reads it in the user's signature folder.
#include <cstdint>
#include <cstring>
#include <string>

#include "agent/outlookaddin/dlpmailevent.h"
#include "channel/agentchannel.h"
#include "logging/vrklogger.h"
#include "platform/files.h"
#include "platform/folders.h"

using platform::FindData;
using platform::Handle;

namespace {

constexpr std::string_view kStartKeyword = "src=\"cid:";
constexpr char kEndKeyword = '@';
constexpr const char* kSignatureFolder = "\\Microsoft\\Signatures\\";

// Looks for an entry of that name in the folder. The find handle stays open on purpose, whether the
// entry is found or not; only the listing of the signature folder itself is closed. If the folder
// can't be listed, the loop sees one entry without a name.
bool SearchFolderAndLeaveItOpen(const std::string& folder, const std::string& name) {
  FindData entry = {};
  const Handle listing = platform::files.FindFirstFileA((folder + "\\*").c_str(), &entry);
  do {
    if (std::strcmp(name.c_str(), entry.cFileName) == 0) return true;
  } while (platform::files.FindNextFileA(listing, &entry));
  return false;
}

// Ends a listing, even one that couldn't be opened.
class Listing {
 public:
  explicit Listing(Handle handle) : m_handle(handle) {}
  ~Listing() { platform::files.FindClose(m_handle); }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

  bool Next(FindData* entry) const { return platform::files.FindNextFileA(m_handle, entry); }

 private:
  Handle m_handle;
};

bool IsCandidate(const FindData& entry) {
  return (entry.dwFileAttributes & platform::kFileAttributeDirectory) != 0 &&
         std::strcmp(entry.cFileName, ".") != 0 && std::strcmp(entry.cFileName, "..") != 0;
}

}  // namespace

std::string DlpMailEvent::GetSignatureImageName(std::string_view html) {
  const std::size_t start = html.find(kStartKeyword);
  if (start == std::string_view::npos) return {};
  const std::size_t end = html.find(kEndKeyword, start);
  if (end == std::string_view::npos) {
    g_logger.Log(kLogModule, kLogWarn, "Not find end keyword for signature image.");
    return {};
  }
  const std::size_t name = start + kStartKeyword.size();
  return std::string(html.substr(name, end - name));
}

bool DlpMailEvent::FindSignatureFilePath(const std::string& imageName) {
  char appData[platform::kMaxPath] = {};
  if (platform::folders.SHGetFolderPathA(platform::kFolderAppData, appData) != 0) return false;
  appData[sizeof(appData) - 1] = '\0';
  const std::string root = std::string(appData) + kSignatureFolder;

  // If the folder can't be listed, the loop sees one entry without a name, then FindNextFileA
  // fails.
  FindData entry = {};
  const Listing listing(platform::files.FindFirstFileA((root + "*").c_str(), &entry));
  do {
    g_logger.Log(kLogModule, kLogInfo, "findFileData name %s.", entry.cFileName);
    if (!IsCandidate(entry)) continue;
    const std::string folder = root + entry.cFileName;
    g_logger.Log(kLogModule, kLogInfo, "signaturefolder %s.", folder.c_str());
    if (SearchFolderAndLeaveItOpen(folder, imageName)) {
      m_strSignaturePath = folder + "\\" + imageName.c_str();
      g_logger.Log(kLogModule, kLogInfo, "Full signature path [%s]", m_strSignaturePath.c_str());
      return true;
    }
  } while (listing.Next(&entry));
  return false;
}

ActionCode DlpMailEvent::CheckSignature() {
  if (m_strSignaturePath.empty()) return channel::kActionNothingUsable;
  const std::size_t separator = m_strSignaturePath.rfind('\\');
  const std::size_t leaf = separator == std::string::npos ? 0 : separator + 1;
  g_logger.Log(kLogModule, kLogInfo, "Check [%s]", m_strSignaturePath.c_str() + leaf);
  // The path stays in the ANSI code page, and the image isn't copied.
  const ActionCode result = GetAgentChannel()->CheckContent(
      m_strSignaturePath.data(), static_cast<std::uint32_t>(m_strSignaturePath.size()),
      channel::kItemFile, nullptr);
  m_strSignaturePath.clear();
  return result;
}
