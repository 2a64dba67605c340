// Modules, their streams, and which lines reach them.
#include <gmock/gmock.h>

#include <cstdarg>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/diagnostics.h"
#include "platform/handles.h"
#include "platform/widetext.h"
#include "tests/logging/loggingtest.h"
#include "tests/support/temporaryfolder.h"

namespace {

using platform::ScopedReplacement;
using testing::ElementsAre;
using testing::IsEmpty;
using Record = RecordingStream::Record;

int CountStreams(const CVRKLogger& logger, const char* module) {
  const CModuleLogInfo* const info = logger.FindModule(module);
  int count = 0;
  if (info == nullptr) return count;
  for (auto* wrapper = info->m_pStreams; wrapper != nullptr; wrapper = wrapper->m_pNext) ++count;
  return count;
}

int LogThroughList(CVRKLogger& logger, const char* module, int level, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

int LogThroughList(CVRKLogger& logger, const char* module, int level, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int result = logger.LogV(module, level, format, arguments);
  va_end(arguments);
  return result;
}

TEST(EmptyRegistry, IgnoresLinesWithoutReadingTheClock) {
  FixedStamp stamp;
  OpenLogger logger;
  EXPECT_EQ(logger.Log("Outlook", kLogCrit, "x"), 0);
  EXPECT_EQ(LogThroughList(logger, "Outlook", kLogCrit, "x"), 0);
  EXPECT_EQ(logger.LogRaw("Outlook", kLogCrit, "x"), 0);
  EXPECT_FALSE(logger.IsModuleLogged("Outlook"));
  EXPECT_EQ(logger.FindModule("Outlook"), nullptr);
  EXPECT_EQ(stamp.asked, 0);
}

// What the module's logger has before the first test, which may add streams.
class StartOfProgram : public testing::Environment {
 public:
  void SetUp() override {
    result = g_logger.Log(kLogModule, kLogCrit, "x");
    module = g_logger.FindModule(kLogModule);
  }

  int result = -1;
  const CModuleLogInfo* module = nullptr;
};

auto* const g_start =
    static_cast<StartOfProgram*>(testing::AddGlobalTestEnvironment(new StartOfProgram));

TEST(EmptyRegistry, IsTheStateAtTheStartOfTheProgram) {
  EXPECT_EQ(g_start->result, 0);
  EXPECT_EQ(g_start->module, nullptr);
}

class Registry : public testing::Test {
 protected:
  FixedStamp stamp;
  std::vector<Record> records;
  OpenLogger logger;

  std::string Line(const char* rest) const { return std::string(kStamp) + rest + "\r\n"; }
};

TEST_F(Registry, FormatsNothingForAnUnknownModule) {
  AddRecording(logger, "Outlook", 15, "s", &records);
  EXPECT_EQ(logger.Log("Other", kLogCrit, "x"), 0);
  EXPECT_EQ(logger.Log("Outloo", kLogCrit, "x"), 0);
  EXPECT_EQ(logger.Log("Outlook2", kLogCrit, "x"), 0);
  EXPECT_EQ(stamp.asked, 0);
  EXPECT_EQ(logger.m_szLine[0], '\0');
  EXPECT_THAT(records, IsEmpty());
}

TEST_F(Registry, FormatsNothingForAModuleWithoutStreams) {
  AddRecording(logger, "Outlook", 15, "s", &records);
  CModuleLogInfo* const info = logger.FindModule("Outlook");
  delete info->m_pStreams;
  info->m_pStreams = nullptr;
  EXPECT_EQ(logger.Log("Outlook", kLogCrit, "x"), 0);
  EXPECT_EQ(logger.LogRaw("Outlook", kLogCrit, "x"), 0);
  EXPECT_FALSE(logger.IsModuleLogged("Outlook"));
  EXPECT_EQ(stamp.asked, 0);
}

TEST_F(Registry, IgnoresLinesWithoutModuleLevelOrFormat) {
  AddRecording(logger, "Outlook", 15, "s", &records);
  const char* volatile none = nullptr;
  const char* volatile empty = "";
  EXPECT_EQ(logger.Log(none, kLogCrit, "x"), 0);
  EXPECT_EQ(logger.Log("", kLogCrit, "x"), 0);
  EXPECT_EQ(logger.Log("Outlook", 0, "x"), 0);
  EXPECT_EQ(logger.Log("Outlook", kLogCrit, none, 1), 0);
  EXPECT_EQ(logger.Log("Outlook", kLogCrit, empty, 1), 0);
  EXPECT_EQ(stamp.asked, 0);
  EXPECT_THAT(records, IsEmpty());
}

TEST_F(Registry, AcceptsAnArgumentListLikeArguments) {
  AddRecording(logger, "Outlook", 15, "s", &records);
  EXPECT_EQ(LogThroughList(logger, "Outlook", kLogWarn, "%s-%d", "a", 7), 1);
  EXPECT_THAT(records, ElementsAre(Record{"s", Line("Outlook> Warn: a-7")}));
}

TEST_F(Registry, OffersALevelOnlyToMasksThatShareABit) {
  AddRecording(logger, "Outlook", 12, "twelve", &records);
  AddRecording(logger, "Outlook", 3, "three", &records);
  EXPECT_EQ(logger.Log("Outlook", kLogCrit, "x"), 1);
  EXPECT_THAT(records, ElementsAre(Record{"twelve", Line("Outlook> Crit: x")}));
}

TEST_F(Registry, OffersInReverseOrderOfAdding) {
  AddRecording(logger, "Outlook", 1, "first", &records);
  AddRecording(logger, "Outlook", 4, "second", &records);
  logger.Log("Outlook", kLogErr, "x");
  EXPECT_THAT(records, ElementsAre(Record{"second", Line("Outlook> Err : x")}));
  records.clear();
  logger.Log("Outlook", kLogErr | kLogInfo, "y");
  EXPECT_THAT(records, ElementsAre(Record{"second", Line("Outlook> Err : y")},
                                   Record{"first", Line("Outlook> Err : y")}));
}

TEST_F(Registry, FindsAModuleIgnoringCase) {
  AddRecording(logger, "Outlook", 15, "s", &records);
  EXPECT_EQ(logger.Log("OUTLOOK", kLogInfo, "x"), 1);
  EXPECT_THAT(records, ElementsAre(Record{"s", Line("OUTLOOK> Info: x")}));
  ASSERT_NE(logger.FindModule("oUTLOOK"), nullptr);
  EXPECT_STREQ(logger.FindModule("oUTLOOK")->m_szName, "Outlook");
  EXPECT_TRUE(logger.IsModuleLogged("outlook"));
}

TEST_F(Registry, IgnoresTheCaseOfLettersOnly) {
  // "@" and "`" differ in the same bit as "A" and "a".
  AddRecording(logger, "mod@", 15, "s", &records);
  EXPECT_EQ(logger.Log("mod`", kLogInfo, "x"), 0);
}

TEST_F(Registry, FormatsALineThatNoStreamAccepts) {
  AddRecording(logger, "Outlook", 3, "s", &records);
  EXPECT_EQ(logger.Log("Outlook", kLogCrit, "dropped"), 1);
  EXPECT_THAT(records, IsEmpty());
  EXPECT_STREQ(logger.m_szLine, Line("Outlook> Crit: dropped").c_str());
}

TEST_F(Registry, FormatsALineWhoseStreamIsDisabled) {
  AddRecording(logger, "Outlook", 15, "s", &records);
  EXPECT_EQ(logger.SetStreamEnabled("Outlook", "Dbg", 0), 1);
  EXPECT_EQ(logger.Log("Outlook", kLogInfo, "unseen"), 1);
  EXPECT_EQ(logger.LogRaw("Outlook", kLogInfo, "unseen"), 1);
  EXPECT_THAT(records, IsEmpty());
  EXPECT_STREQ(logger.m_szLine, Line("Outlook> Info: unseen").c_str());
  EXPECT_EQ(logger.SetStreamEnabled("Outlook", "Dbg", 1), 1);
  logger.Log("Outlook", kLogInfo, "seen");
  EXPECT_THAT(records, ElementsAre(Record{"s", Line("Outlook> Info: seen")}));
}

TEST_F(Registry, WritesRawTextUnchanged) {
  AddRecording(logger, "Outlook", 4, "err", &records);
  AddRecording(logger, "Outlook", 1, "info", &records);
  EXPECT_EQ(logger.LogRaw("OUTLOOK", kLogErr, "100% raw\n"), 1);
  EXPECT_EQ(logger.LogRaw("Outlook", kLogWarn, "nobody's"), 1);
  EXPECT_EQ(logger.LogRaw("Other", kLogErr, "nobody's"), 0);
  EXPECT_EQ(logger.LogRaw(nullptr, kLogErr, "nobody's"), 0);
  EXPECT_THAT(records, ElementsAre(Record{"err", "100% raw\n"}));
}

TEST_F(Registry, RejectsAMaskBelowOne) {
  EXPECT_EQ(logger.AddStream("Outlook", 0, "Dbg", nullptr), 0);
  EXPECT_EQ(logger.AddStream("Outlook", -1, "Dbg", nullptr), 0);
  EXPECT_EQ(logger.FindModule("Outlook"), nullptr);
}

TEST_F(Registry, RejectsMissingNamesAndUnknownTypes) {
  EXPECT_EQ(logger.AddStream(nullptr, 15, "Dbg", nullptr), 0);
  EXPECT_EQ(logger.AddStream("", 15, "Dbg", nullptr), 0);
  EXPECT_EQ(logger.AddStream("Outlook", 15, nullptr, "x"), 0);
  EXPECT_EQ(logger.AddStream("Outlook", 15, "", "x"), 0);
  EXPECT_EQ(logger.AddStream("Outlook", 15, "Files", "x"), 0);
  EXPECT_EQ(logger.AddStream("Outlook", 15, "Db", "x"), 0);
  EXPECT_EQ(logger.FindModule("Outlook"), nullptr);
}

TEST_F(Registry, RejectsFileAndUdpWithoutParameter) {
  for (const char* type : {"File", "UDP"}) {
    EXPECT_EQ(logger.AddStream("Outlook", 15, type, nullptr), 0) << type;
    EXPECT_EQ(logger.AddStream("Outlook", 15, type, ""), 0) << type;
  }
  EXPECT_EQ(logger.FindModule("Outlook"), nullptr);
}

TEST_F(Registry, RejectsAFileNameThatIsNotUtf8) {
  EXPECT_EQ(logger.AddStream("Outlook", 15, "File", "name\xFF"), 0);
  EXPECT_EQ(logger.FindModule("Outlook"), nullptr);
}

TEST_F(Registry, AcceptsStreamTypesIgnoringCase) {
  tests::TemporaryFolder folder;
  EXPECT_EQ(logger.AddStream("Outlook", 15, "dBG", nullptr), 1);
  EXPECT_EQ(logger.AddStream("Outlook", 15, "udp", "127.0.0.1"), 1);
  EXPECT_EQ(logger.AddStream("Outlook", 15, "FILE", folder.Entry("log").c_str()), 1);
  const CModuleStreamWrapper* wrapper = logger.FindModule("Outlook")->m_pStreams;
  EXPECT_STREQ(wrapper->m_szType, "FILE");
  EXPECT_STREQ(wrapper->m_pNext->m_szType, "udp");
  EXPECT_STREQ(wrapper->m_pNext->m_pNext->m_szType, "dBG");
}

TEST_F(Registry, NewStreamIsEnabledWithItsMask) {
  EXPECT_EQ(logger.AddStream("Outlook", 0x3005, "Dbg", nullptr), 1);
  const CModuleStreamWrapper* const wrapper = logger.FindModule("Outlook")->m_pStreams;
  EXPECT_EQ(wrapper->m_uMask, 0x3005U);
  EXPECT_EQ(wrapper->m_bEnabled, 1);
  EXPECT_EQ(wrapper->m_pNext, nullptr);
}

TEST_F(Registry, PutsANewModuleFirst) {
  logger.AddStream("One", 15, "Dbg", nullptr);
  logger.AddStream("Two", 15, "Dbg", nullptr);
  logger.AddStream("one", 15, "Dbg", nullptr);
  const CModuleLogInfo* const two = logger.FindModule("Two");
  ASSERT_NE(two->m_pNext, nullptr);
  EXPECT_STREQ(two->m_pNext->m_szName, "One");
  EXPECT_EQ(two->m_pNext->m_pNext, nullptr);
  EXPECT_EQ(CountStreams(logger, "One"), 2);
  EXPECT_EQ(CountStreams(logger, "Two"), 1);
}

TEST_F(Registry, KeepsSixteenCharactersOfAName) {
  const char* const sixteen = "abcdefghijklmnop";
  const char* const longer = "abcdefghijklmnopq";
  EXPECT_EQ(logger.AddStream(longer, 15, "Dbg", nullptr), 1);
  EXPECT_EQ(logger.FindModule(longer), nullptr);
  EXPECT_EQ(logger.Log(longer, kLogInfo, "x"), 0);
  ASSERT_NE(logger.FindModule(sixteen), nullptr);
  EXPECT_STREQ(logger.FindModule(sixteen)->m_szName, sixteen);
  // Its full name doesn't match, so a second stream creates a second module.
  EXPECT_EQ(logger.AddStream(longer, 15, "Dbg", nullptr), 1);
  ASSERT_NE(logger.FindModule(sixteen)->m_pNext, nullptr);
  EXPECT_STREQ(logger.FindModule(sixteen)->m_pNext->m_szName, sixteen);
}

TEST_F(Registry, EnablesAllStreamsOfOneTypeAndNoOther) {
  logger.AddStream("Outlook", 1, "Dbg", nullptr);
  logger.AddStream("Outlook", 2, "UDP", "127.0.0.1");
  logger.AddStream("Outlook", 4, "Dbg", nullptr);
  logger.AddStream("Other", 4, "Dbg", nullptr);
  EXPECT_EQ(logger.SetStreamEnabled("outlook", "dbg", 0), 1);
  const CModuleStreamWrapper* const wrapper = logger.FindModule("Outlook")->m_pStreams;
  EXPECT_EQ(wrapper->m_bEnabled, 0);
  EXPECT_EQ(wrapper->m_pNext->m_bEnabled, 1);
  EXPECT_EQ(wrapper->m_pNext->m_pNext->m_bEnabled, 0);
  EXPECT_EQ(logger.FindModule("Other")->m_pStreams->m_bEnabled, 1);
  EXPECT_EQ(logger.SetStreamEnabled("Outlook", "File", 0), 0);
  EXPECT_EQ(logger.SetStreamEnabled("Unknown", "Dbg", 0), 0);
  EXPECT_EQ(logger.SetStreamEnabled("Outlook", nullptr, 0), 0);
}

TEST_F(Registry, ReturnsTheCombinedMasksAndTheStateOfTheOldestStream) {
  logger.AddStream("Outlook", 1, "Dbg", nullptr);
  logger.FindModule("Outlook")->m_pStreams->m_bEnabled = 0;
  logger.AddStream("Outlook", 4, "Dbg", nullptr);
  logger.AddStream("Outlook", 8, "UDP", "127.0.0.1");
  std::uint32_t mask = 0;
  std::int32_t enabled = 99;
  EXPECT_EQ(logger.GetStreamState("OUTLOOK", "DBG", &mask, &enabled), 1);
  EXPECT_EQ(mask, 5U);
  EXPECT_EQ(enabled, 0);
  EXPECT_EQ(logger.GetStreamState("Outlook", "udp", &mask, &enabled), 1);
  EXPECT_EQ(mask, 8U);
  EXPECT_EQ(enabled, 1);
}

TEST_F(Registry, ReturnsOnlyTheStateThatTheCallerWants) {
  logger.AddStream("Outlook", 4, "Dbg", nullptr);
  std::uint32_t mask = 0;
  std::int32_t enabled = 99;
  EXPECT_EQ(logger.GetStreamState("Outlook", "Dbg", &mask, nullptr), 1);
  EXPECT_EQ(mask, 4U);
  EXPECT_EQ(logger.GetStreamState("Outlook", "Dbg", nullptr, &enabled), 1);
  EXPECT_EQ(enabled, 1);
  EXPECT_EQ(logger.GetStreamState("Outlook", "Dbg", nullptr, nullptr), 1);
}

TEST_F(Registry, KeepsTheOutputsWithoutSuchAStream) {
  logger.AddStream("Outlook", 1, "Dbg", nullptr);
  std::uint32_t mask = 77;
  std::int32_t enabled = 99;
  EXPECT_EQ(logger.GetStreamState("Outlook", "File", &mask, &enabled), 0);
  EXPECT_EQ(logger.GetStreamState("Other", "Dbg", &mask, &enabled), 0);
  EXPECT_EQ(mask, 77U);
  EXPECT_EQ(enabled, 99);
}

TEST_F(Registry, RemovesEverythingAndClosesTheFiles) {
  tests::TemporaryFolder folder;
  ASSERT_EQ(logger.AddStream("Outlook", 15, "File", folder.Entry("log").c_str()), 1);
  AddRecording(logger, "Other", 15, "s", &records);
  logger.Log("Outlook", kLogInfo, "x");
  int closed = 0;
  ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> counting(
      [&closed](auto original, platform::Handle handle) {
        ++closed;
        return original(handle);
      });
  logger.RemoveAllModules();
  EXPECT_EQ(closed, 1);
  EXPECT_EQ(logger.FindModule("Outlook"), nullptr);
  EXPECT_EQ(logger.FindModule("Other"), nullptr);
  EXPECT_EQ(logger.Log("Other", kLogInfo, "x"), 0);
  EXPECT_THAT(records, IsEmpty());
}

TEST_F(Registry, ClosesTheFilesWithTheLogger) {
  tests::TemporaryFolder folder;
  int closed = 0;
  ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> counting(
      [&closed](auto original, platform::Handle handle) {
        ++closed;
        return original(handle);
      });
  {
    OpenLogger other;
    other.AddStream("Outlook", 15, "File", folder.Entry("log").c_str());
    other.Log("Outlook", kLogInfo, "x");
    EXPECT_EQ(closed, 0);
  }
  EXPECT_EQ(closed, 1);
}

TEST_F(Registry, DeletesLongChainsWithoutRecursion) {
  for (int i = 0; i < 200000; ++i) {
    ASSERT_EQ(logger.AddStream("Outlook", 15, "Dbg", nullptr), 1);
  }
  logger.RemoveAllModules();
  CModuleLogInfo* head = nullptr;
  for (int i = 0; i < 200000; ++i) {
    auto* const info = new CModuleLogInfo("m");
    info->m_pNext = head;
    head = info;
  }
  delete head;
  EXPECT_EQ(logger.FindModule("Outlook"), nullptr);
}

// Logs a line of its own for the first line that it gets.
class LoggingStream : public CBaseStream {
 public:
  LoggingStream(OpenLogger* logger, std::vector<std::string>* lines)
      : m_logger(logger), m_lines(lines) {}

  void Write(const char* text) override {
    m_lines->emplace_back(text);
    if (m_lines->size() > 1) return;
    EXPECT_EQ(m_logger->Log("Outlook", kLogCrit, "inner"), 1);
  }

 private:
  OpenLogger* m_logger;
  std::vector<std::string>* m_lines;
};

TEST_F(Registry, LetsTheThreadThatHoldsTheLockLogAgain) {
  ASSERT_EQ(logger.AddStream("Outlook", 15, "Dbg", nullptr), 1);
  std::vector<std::string> lines;
  CModuleStreamWrapper* const wrapper = logger.FindModule("Outlook")->m_pStreams;
  delete wrapper->m_pStream;
  wrapper->m_pStream = new LoggingStream(&logger, &lines);
  EXPECT_EQ(logger.Log("Outlook", kLogErr, "outer"), 1);
  EXPECT_THAT(lines, ElementsAre(Line("Outlook> Err : outer"), Line("Outlook> Crit: inner")));
}

TEST(Streams, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<LoggingStream>);
  EXPECT_FALSE(std::is_copy_assignable_v<LoggingStream>);
}

// Reports what still exists when the logger deletes it.
class LastStream : public CBaseStream {
 public:
  LastStream(const OpenLogger& logger, bool* hasLock, std::size_t* files)
      : m_lock(&logger.m_cs), m_set(&logger.m_logFiles), m_hasLock(hasLock), m_files(files) {}
  ~LastStream() override {
    *m_hasLock = m_lock->has_value();
    *m_files = m_set->size();
  }

  void Write(const char* /*text*/) override {}

 private:
  const std::optional<std::recursive_mutex>* m_lock;
  const std::set<platform::WideString>* m_set;
  bool* m_hasLock;
  std::size_t* m_files;
};

TEST_F(Registry, IsDeletedAfterTheLockAndBeforeTheFileSet) {
  bool hasLock = true;
  std::size_t files = 0;
  {
    OpenLogger other;
    ASSERT_EQ(other.AddStream("Outlook", 15, "Dbg", nullptr), 1);
    other.m_logFiles.insert(QV_WIDE("file"));
    CModuleStreamWrapper* const wrapper = other.FindModule("Outlook")->m_pStreams;
    delete wrapper->m_pStream;
    wrapper->m_pStream = new LastStream(other, &hasLock, &files);
  }
  EXPECT_FALSE(hasLock);
  EXPECT_EQ(files, 1U);
}

TEST_F(Registry, KeepsLoggingWhenAnotherStreamFails) {
  AddRecording(logger, "Outlook", 15, "good", &records);
  tests::TemporaryFolder folder;
  logger.AddStream("Outlook", 15, "File", folder.Entry("no/such/folder/log").c_str());
  EXPECT_EQ(logger.Log("Outlook", kLogInfo, "x"), 1);
  EXPECT_THAT(records, ElementsAre(Record{"good", Line("Outlook> Info: x")}));
}

using ReplacedName =
    ScopedReplacement<platform::process, &platform::ProcessOperations::GetComputerNameW>;

TEST(ComputerName, IsQueriedWithSixteenCharacters) {
  ReplacedName name([](auto, platform::WideChar* buffer, std::uint32_t* size) {
    EXPECT_EQ(*size, 16U);
    const platform::WideString text = QV_WIDE("FIFTEEN-LETTERS");
    text.copy(buffer, text.size());
    buffer[text.size()] = 0;
    *size = 15;
    return true;
  });
  OpenLogger logger;
  EXPECT_EQ(platform::WideString(logger.m_wszComputerName), QV_WIDE("FIFTEEN-LETTERS"));
}

TEST(ComputerName, IsUnknownIfTheQueryFails) {
  ReplacedName name([](auto, platform::WideChar* buffer, std::uint32_t*) {
    const platform::WideString left = QV_WIDE("left over text");
    left.copy(buffer, left.size());
    return false;
  });
  OpenLogger logger;
  EXPECT_EQ(platform::WideString(logger.m_wszComputerName), QV_WIDE("Unknown"));
  tests::TemporaryFolder folder;
  logger.AddStream("Outlook", 15, "File", folder.Entry("log").c_str());
  logger.Log("Outlook", kLogInfo, "x");
  EXPECT_TRUE(std::filesystem::exists(folder.Path() / "log.Unknown_0.log"));
}

TEST(Lines, AreInTheRealFile) {
  ReplacedName name([](auto, platform::WideChar* buffer, std::uint32_t* size) {
    buffer[0] = 'P';
    buffer[1] = 0;
    *size = 1;
    return true;
  });
  FixedStamp stamp;
  tests::TemporaryFolder folder;
  OpenLogger logger;
  // UTF-8, so the file has the same name.
  ASSERT_EQ(logger.AddStream("Outlook", 15, "File", folder.Entry("l\xC3\xB6g").c_str()), 1);
  EXPECT_EQ(logger.Log("Outlook", kLogErr, "Cannot get %s", "body"), 1);
  EXPECT_EQ(logger.Log("Outlook", kLogInfo, "\xC3\xA4"), 1);
  EXPECT_EQ(FileBytes(folder.Path() / u8"l\u00F6g.P_0.log"),
            "(00042) 02/03/2024 04:05:06.007 Outlook> Err : Cannot get body\r\n"
            "(00042) 02/03/2024 04:05:06.007 Outlook> Info: \xC3\xA4\r\n");
}

}  // namespace
