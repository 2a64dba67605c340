// Requests whose text is passed in a file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "channel/agentchannel.h"
#include "platform/folders.h"
#include "tests/support/logcapture.h"
#include "tests/support/scriptedagent.h"

namespace {

using platform::ScopedReplacement;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using tests::LogCapture;
using tests::LoggedLine;
using tests::Reply;
using tests::ScriptedAgent;
using tests::TemporaryFolder;

using namespace std::string_literals;

constexpr char kName[] = "ExchangeSubjectContent";

// Uses a temporary directory of its own.
class CheckContentWithFile : public testing::Test {
 protected:
  CheckContentWithFile()
      : m_tempPath([this](auto, std::uint32_t size, char* buffer) {
          m_bufferSize = size;
          const std::string path = m_folder.Entry("") + m_separator;
          std::memcpy(buffer, path.c_str(), path.size() + 1);
          return static_cast<std::uint32_t>(path.size());
        }) {
    // Entry("") may or may not end with a separator.
    const std::string path = m_folder.Entry("");
    m_separator = path.ends_with('/') || path.ends_with('\\') ? "" : "\\";
  }

  std::string PathOf(const char* name) { return m_folder.Entry("") + m_separator + name; }
  static int Ask(const std::string& data, const char* name = kName) {
    return GetAgentChannel()->CheckContentWithFile(data.data(),
                                                   static_cast<std::uint32_t>(data.size()), name);
  }

  TemporaryFolder m_folder;
  std::string m_separator;
  std::uint32_t m_bufferSize = 0;
  ScopedReplacement<platform::folders, &platform::FolderOperations::GetTempPathA> m_tempPath;
  ScriptedAgent m_agent;
};

TEST_F(CheckContentWithFile, SendsThePathOfAFileThatHoldsTheData) {
  m_agent.Queue(1, Reply::Answer(3));
  const std::string data = "Betreff \xC3\xA4\0\r\n\x1A end"s;
  EXPECT_EQ(Ask(data), 3);
  ASSERT_THAT(m_agent.Requests(), SizeIs(1));
  const auto& request = m_agent.Requests()[0];
  EXPECT_EQ(request.itemType, 1U);
  EXPECT_EQ(request.payload, PathOf(kName));
  EXPECT_EQ(request.name, kName);
  EXPECT_EQ(request.record.dwBlockLength, PathOf(kName).size() + std::strlen(kName) + 6);
  EXPECT_EQ(request.file, data);
  EXPECT_EQ(m_bufferSize, 260U);
}

TEST_F(CheckContentWithFile, FileStaysAndASecondCallOverwritesIt) {
  Ask("a long first content");
  Ask("short");
  EXPECT_EQ(m_agent.Requests()[0].file, "a long first content");
  EXPECT_EQ(m_agent.Requests()[1].file, "short");
  EXPECT_TRUE(std::filesystem::exists(m_folder.Path() / kName));
}

TEST_F(CheckContentWithFile, LengthZeroMakesNoFileAndNoRequest) {
  LogCapture log;
  EXPECT_EQ(GetAgentChannel()->CheckContentWithFile("x", 0, kName), 1);
  EXPECT_THAT(m_agent.Requests(), IsEmpty());
  EXPECT_TRUE(std::filesystem::is_empty(m_folder.Path()));
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(CheckContentWithFile, FileThatCannotBeCreatedIsLoggedWithItsPath) {
  LogCapture log;
  const std::string name = "missing\\" + std::string(kName);
  EXPECT_EQ(Ask("data", name.c_str()), 1);
  EXPECT_THAT(log.Lines(),
              ElementsAre(LoggedLine{kLogErr, "CheckContentWithFile: cannot create file [" +
                                                  PathOf(name.c_str()) + "]!"}));
  EXPECT_THAT(m_agent.Requests(), IsEmpty());
}

TEST_F(CheckContentWithFile, FileIsCreatedOverAnOldOneSharedAndNormal) {
  std::vector<std::uint32_t> arguments;
  const void* security = this;
  ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> create(
      [&](auto original, const char* path, auto access, auto share, auto descriptor,
          auto disposition, auto attributes) {
        arguments = {access, share, disposition, attributes};
        security = descriptor;
        return original(path, access, share, descriptor, disposition, attributes);
      });
  Ask("data");
  EXPECT_THAT(arguments, ElementsAre(0xC0000000U, 3U, 2U, 0x80U));
  EXPECT_EQ(security, nullptr);
}

TEST_F(CheckContentWithFile, FailedWriteReportsTheNumber229AndClosesTheFile) {
  LogCapture log(LogCapture::Through::kDebugger);
  int closed = 0;
  ScopedReplacement<platform::files, &platform::FileOperations::WriteFile> write(
      [&](auto, auto...) { return false; });
  ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> close(
      [&](auto original, auto handle) {
        ++closed;
        return original(handle);
      });
  EXPECT_EQ(Ask("data"), 1);
  EXPECT_THAT(log.Lines(),
              ElementsAre(LoggedLine{kLogErr, "CheckContentWithFile: cannot write to temp file [" +
                                                  PathOf(kName) + "], line = 229!"}));
  EXPECT_EQ(closed, 1);
  EXPECT_THAT(m_agent.Requests(), IsEmpty());
  EXPECT_TRUE(std::filesystem::exists(m_folder.Path() / kName)) << "the clean-up takes it";
}

TEST_F(CheckContentWithFile, ShortWriteReportsTheNumber223) {
  LogCapture log(LogCapture::Through::kDebugger);
  std::vector<std::uint32_t> sizes;
  ScopedReplacement<platform::files, &platform::FileOperations::WriteFile> write(
      [&](auto original, auto file, auto data, auto size, auto written) {
        sizes.push_back(size);
        return original(file, data, size - 1, written);
      });
  EXPECT_EQ(Ask("data"), 1);
  EXPECT_THAT(log.Lines(),
              ElementsAre(LoggedLine{kLogErr, "CheckContentWithFile: cannot write to temp file [" +
                                                  PathOf(kName) + "], line = 223!"}));
  EXPECT_THAT(sizes, ElementsAre(4U)) << "one call for everything, and no second one";
  EXPECT_THAT(m_agent.Requests(), IsEmpty());
}

TEST_F(CheckContentWithFile, WholeContentGoesInOneWrite) {
  std::vector<std::uint32_t> sizes;
  ScopedReplacement<platform::files, &platform::FileOperations::WriteFile> write(
      [&](auto original, auto file, auto data, auto size, auto written) {
        sizes.push_back(size);
        return original(file, data, size, written);
      });
  const std::string data(3'000'000, 'x');
  EXPECT_EQ(Ask(data), 4);
  EXPECT_THAT(sizes, ElementsAre(3'000'000U));
  EXPECT_TRUE(m_agent.Requests()[0].file == data);
}

TEST_F(CheckContentWithFile, TemporaryPathThatCannotBeHadLeavesTheBareName) {
  LogCapture log(LogCapture::Through::kDebugger);
  ScopedReplacement<platform::folders, &platform::FolderOperations::GetTempPathA> failing(
      [](auto, auto, auto) { return 0U; });
  std::string created;
  ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> create(
      [&](auto, const char* path, auto...) {
        created = path;
        return platform::kInvalidHandle;
      });
  EXPECT_EQ(Ask("data"), 1);
  EXPECT_EQ(created, kName);
}

TEST_F(CheckContentWithFile, WithNoAgentTheFileIsWrittenAndTheResultIs1) {
  tests::PrivateNames noAgent;
  LogCapture log;
  EXPECT_EQ(Ask("data"), 1);
  EXPECT_TRUE(log.Has(kLogErr, "CheckContent: cannot initialize shared memory!"));
  EXPECT_TRUE(std::filesystem::exists(m_folder.Path() / kName));
}

}  // namespace
