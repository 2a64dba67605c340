// The ring of log files.
#include "logging/filestream.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/handles.h"
#include "platform/security.h"
#include "tests/logging/loggingtest.h"
#include "tests/support/temporaryfolder.h"

namespace {

using platform::FileOperations;
using platform::HandleOperations;
using platform::ScopedReplacement;
using platform::SecurityDescriptor;
using platform::SecurityOperations;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t kCap = 104857600;

using ReplacedSeek = ScopedReplacement<platform::files, &FileOperations::SetFilePointer>;
using ReplacedWrite = ScopedReplacement<platform::files, &FileOperations::WriteFile>;
using ReplacedCreate = ScopedReplacement<platform::files, &FileOperations::CreateFileW>;
using ReplacedDelete = ScopedReplacement<platform::files, &FileOperations::DeleteFileW>;
using ReplacedSize = ScopedReplacement<platform::files, &FileOperations::GetFileAttributesExW>;
using ReplacedClose = ScopedReplacement<platform::handles, &HandleOperations::CloseHandle>;

class OpenFileStream : public CFileStream {
 public:
  using CFileStream::CFileStream;
  using CFileStream::m_hFile;
  using CFileStream::m_nIndex;
};

class FileStream : public testing::Test {
 protected:
  std::filesystem::path File(int index) const {
    return folder.Path() / ("log_" + std::to_string(index) + ".log");
  }

  // A sparse file of this size.
  void MakeFileOfSize(int index, std::uint64_t size) const {
    MakeFile(File(index), "");
    std::filesystem::resize_file(File(index), size);
  }

  // Which of the files 0 to 5 exist.
  std::string Present() const {
    std::string present;
    for (int index = 0; index < 6; ++index) {
      if (std::filesystem::exists(File(index))) present += std::to_string(index);
    }
    return present;
  }

  std::string LastBytes(int index, std::size_t count) const {
    std::ifstream file(File(index), std::ios::binary);
    file.seekg(-static_cast<std::streamoff>(count), std::ios::end);
    std::string bytes(count, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(count));
    return bytes;
  }

  platform::WideString Base() const {
    const std::u16string base = (folder.Path() / "log").u16string();
    return {base.begin(), base.end()};
  }

  tests::TemporaryFolder folder;
};

// Makes every seek report a position one byte above the limit.
ReplacedSeek::Function AlwaysAtCap() {
  return [](auto original, platform::Handle file, std::int32_t distance, std::int32_t* high,
            std::uint32_t method) {
    original(file, distance, high, method);
    *high = 0;
    return static_cast<std::uint32_t>(kCap);
  };
}

TEST_F(FileStream, NamesItsFilesByBaseAndIndex) {
  const CFileStream stream(QV_WIDE("C:\\logs\\name.COMPUTER"));
  EXPECT_EQ(stream.MakeFileName(0), QV_WIDE("C:\\logs\\name.COMPUTER_0.log"));
  EXPECT_EQ(stream.MakeFileName(4), QV_WIDE("C:\\logs\\name.COMPUTER_4.log"));
  EXPECT_EQ(stream.MakeFileName(1234567890), QV_WIDE("C:\\logs\\name.COMPUTER_1234567890.log"));
  EXPECT_EQ(stream.MakeFileName(-12), QV_WIDE("C:\\logs\\name.COMPUTER_-12.log"));
}

TEST_F(FileStream, OpensNoFileBeforeTheFirstLine) {
  { const OpenFileStream stream(Base()); }
  EXPECT_EQ(Present(), "");
}

TEST_F(FileStream, WritesTextUnchangedAndAtOnce) {
  OpenFileStream stream(Base());
  stream.Write("one\r\n");
  EXPECT_EQ(FileBytes(File(0)), "one\r\n");
  stream.Write("two, no end \xFF");
  EXPECT_EQ(FileBytes(File(0)), "one\r\ntwo, no end \xFF");
}

TEST_F(FileStream, IgnoresNullAndEmptyText) {
  OpenFileStream stream(Base());
  stream.Write(nullptr);
  stream.Write("");
  EXPECT_FALSE(stream.m_hFile.IsOpen());
  EXPECT_EQ(Present(), "");
}

TEST_F(FileStream, WithoutANameQueriesNoSize) {
  int asked = 0;
  ReplacedSize size([&asked](auto, const platform::WideChar*, std::uint64_t*) {
    ++asked;
    return false;
  });
  const OpenFileStream stream(QV_WIDE(""));
  EXPECT_EQ(stream.m_nIndex, 0);
  EXPECT_EQ(asked, 0);
}

TEST_F(FileStream, CreatesAFileWithAccessForEveryone) {
  std::vector<std::string> calls;
  SecurityDescriptor* made = nullptr;
  ScopedReplacement<platform::security,
                    &SecurityOperations::ConvertStringSecurityDescriptorToSecurityDescriptorW>
      convert([&](auto original, const platform::WideChar* text, SecurityDescriptor** result) {
        calls.push_back("convert");
        EXPECT_EQ(platform::WideString(text), QV_WIDE("D:(A;OICI;GA;;;S-1-1-0)"));
        const bool done = original(text, result);
        made = *result;
        return done;
      });
  ScopedReplacement<platform::security, &SecurityOperations::SetSecurityDescriptorDacl> dacl(
      [&](auto original, SecurityDescriptor* descriptor) {
        calls.push_back("dacl");
        EXPECT_EQ(descriptor, made);
        return original(descriptor);
      });
  ScopedReplacement<platform::security, &SecurityOperations::LocalFree> release(
      [&](auto original, SecurityDescriptor* descriptor) {
        calls.push_back("free");
        EXPECT_EQ(descriptor, made);
        original(descriptor);
      });
  ReplacedCreate create([&](auto original, const platform::WideChar* path, std::uint32_t access,
                            std::uint32_t share, const SecurityDescriptor* security,
                            std::uint32_t disposition, std::uint32_t attributes) {
    calls.push_back("create");
    EXPECT_EQ(platform::WideString(path), Base() + QV_WIDE("_0.log"));
    EXPECT_EQ(access, 0xC0000000U);
    EXPECT_EQ(share, 3U);
    EXPECT_EQ(security, made);
    EXPECT_EQ(disposition, 4U);
    EXPECT_EQ(attributes, 0x80U);
    return original(path, access, share, security, disposition, attributes);
  });
  OpenFileStream stream(Base());
  stream.Write("one\r\n");
  stream.Write("two\r\n");
  EXPECT_NE(made, nullptr);
  EXPECT_THAT(calls, ElementsAre("convert", "dacl", "create", "free"));
  EXPECT_EQ(FileBytes(File(0)), "one\r\ntwo\r\n");
}

TEST_F(FileStream, CreatesAFileEvenWithoutADescriptor) {
  ScopedReplacement<platform::security,
                    &SecurityOperations::ConvertStringSecurityDescriptorToSecurityDescriptorW>
      convert([](auto, const platform::WideChar*, SecurityDescriptor** result) {
        *result = nullptr;
        return false;
      });
  OpenFileStream stream(Base());
  stream.Write("one\r\n");
  EXPECT_EQ(FileBytes(File(0)), "one\r\n");
}

TEST_F(FileStream, AppendsAfterAnotherWritersData) {
  OpenFileStream stream(Base());
  stream.Write("one\r\n");
  std::ofstream(File(0), std::ios::binary | std::ios::app) << "other\r\n";
  stream.Write("two\r\n");
  EXPECT_EQ(FileBytes(File(0)), "one\r\nother\r\ntwo\r\n");
}

TEST_F(FileStream, ClosesItsFileAtTheEnd) {
  std::vector<platform::Handle> closed;
  ReplacedClose close([&closed](auto original, platform::Handle handle) {
    closed.push_back(handle);
    return original(handle);
  });
  platform::Handle used = nullptr;
  {
    OpenFileStream stream(Base());
    stream.Write("one\r\n");
    used = stream.m_hFile.Get();
  }
  EXPECT_THAT(closed, ElementsAre(used));
  closed.clear();
  { const OpenFileStream unused(Base()); }
  EXPECT_THAT(closed, IsEmpty());
}

// Failures.

TEST_F(FileStream, LosesALineIfTheFileCannotBeOpenedAndRetriesWithTheNext) {
  OpenFileStream stream(Base());
  {
    int tried = 0;
    ReplacedCreate create([&tried](auto, auto...) {
      ++tried;
      return platform::kInvalidHandle;
    });
    stream.Write("lost\r\n");
    stream.Write("lost too\r\n");
    EXPECT_EQ(tried, 2);
  }
  stream.Write("kept\r\n");
  EXPECT_EQ(FileBytes(File(0)), "kept\r\n");
}

TEST_F(FileStream, LosesALineIfTheSeekFails) {
  MakeFileOfSize(0, kCap - 1);
  OpenFileStream stream(Base());
  stream.Write("a");
  const platform::Handle used = stream.m_hFile.Get();
  ASSERT_NE(used, platform::kInvalidHandle);
  {
    int written = 0;
    ReplacedSeek seek([](auto, platform::Handle, std::int32_t, std::int32_t* high, std::uint32_t) {
      *high = -1;
      return 0xFFFFFFFFU;
    });
    ReplacedWrite write([&written](auto, auto...) {
      ++written;
      return true;
    });
    stream.Write("lost\r\n");
    EXPECT_EQ(written, 0);
  }
  EXPECT_EQ(stream.m_hFile.Get(), used);
  EXPECT_EQ(stream.m_nIndex, 0);
  EXPECT_EQ(std::filesystem::file_size(File(0)), kCap);
}

TEST_F(FileStream, AcceptsALowHalfWithAllBitsSetAsAPosition) {
  OpenFileStream stream(Base());
  int written = 0;
  ReplacedSeek seek([](auto, platform::Handle, std::int32_t, std::int32_t* high, std::uint32_t) {
    *high = 0;
    return 0xFFFFFFFFU;
  });
  ReplacedWrite write([&written](auto, auto...) {
    ++written;
    return true;
  });
  stream.Write("x");
  EXPECT_EQ(written, 1);
}

TEST_F(FileStream, RotatesAsUsualAfterAFailedWrite) {
  MakeFileOfSize(0, kCap - 4);
  OpenFileStream stream(Base());
  {
    ReplacedWrite write([](auto, auto...) { return false; });
    stream.Write("1234");
    EXPECT_EQ(stream.m_nIndex, 0);
    stream.Write("12345");
    EXPECT_EQ(stream.m_nIndex, 1);
  }
  stream.Write("next");
  EXPECT_EQ(std::filesystem::file_size(File(0)), kCap - 4);
  EXPECT_EQ(FileBytes(File(1)), "next");
}

TEST_F(FileStream, ContinuesAFileThatCannotBeDeleted) {
  MakeFileOfSize(0, kCap - 1);
  MakeFile(File(1), "old ");
  OpenFileStream stream(Base());
  {
    ReplacedDelete remove([](auto, const platform::WideChar*) { return false; });
    stream.Write("over");
  }
  stream.Write("new");
  EXPECT_EQ(FileBytes(File(1)), "old new");
}

// The first file of a new stream.

TEST_F(FileStream, ContinuesFileZeroBelowTheLimitWhateverElseExists) {
  MakeFileOfSize(0, kCap - 1);
  MakeFileOfSize(1, 3);
  MakeFileOfSize(2, kCap);
  EXPECT_EQ(OpenFileStream(Base()).m_nIndex, 0);
}

TEST_F(FileStream, StartsWithZeroIfNoFileExists) {
  EXPECT_EQ(OpenFileStream(Base()).m_nIndex, 0);
  MakeFileOfSize(1, 3);
  EXPECT_EQ(OpenFileStream(Base()).m_nIndex, 0);
}

TEST_F(FileStream, ContinuesTheFirstFileBelowTheLimit) {
  MakeFileOfSize(0, kCap);
  MakeFileOfSize(1, kCap - 1);
  EXPECT_EQ(OpenFileStream(Base()).m_nIndex, 1);
  MakeFileOfSize(1, kCap + 1);
  MakeFileOfSize(2, kCap + 1);
  MakeFileOfSize(3, 0);
  EXPECT_EQ(OpenFileStream(Base()).m_nIndex, 3);
}

TEST_F(FileStream, StartsTheFirstMissingFileAfterFullOnes) {
  MakeFileOfSize(0, kCap);
  MakeFileOfSize(2, 3);
  OpenFileStream stream(Base());
  EXPECT_EQ(stream.m_nIndex, 1);
  stream.Write("x");
  EXPECT_EQ(FileBytes(File(1)), "x");
}

TEST_F(FileStream, AFileOfExactlyTheLimitIsFull) {
  MakeFileOfSize(0, kCap);
  EXPECT_EQ(OpenFileStream(Base()).m_nIndex, 1);
  std::filesystem::resize_file(File(0), kCap - 1);
  EXPECT_EQ(OpenFileStream(Base()).m_nIndex, 0);
}

TEST_F(FileStream, AFileWithoutAReadableSizeIsFree) {
  MakeFileOfSize(0, kCap);
  MakeFileOfSize(1, kCap);
  ReplacedSize size([this](auto original, const platform::WideChar* path, std::uint64_t* result) {
    if (platform::WideString(path) == Base() + QV_WIDE("_1.log")) return false;
    return original(path, result);
  });
  EXPECT_EQ(OpenFileStream(Base()).m_nIndex, 1);
}

TEST_F(FileStream, AFileAboveThirtyTwoBitsIsFull) {
  ReplacedSize size([](auto, const platform::WideChar* path, std::uint64_t* result) {
    *result = platform::WideString(path).ends_with(QV_WIDE("_0.log")) ? 1ULL << 32 : 0;
    return true;
  });
  EXPECT_EQ(OpenFileStream(Base()).m_nIndex, 1);
}

TEST_F(FileStream, ChecksSixFilesForARingOfFive) {
  std::vector<platform::WideString> asked;
  ReplacedSize size([&asked](auto, const platform::WideChar* path, std::uint64_t* result) {
    asked.push_back(path);
    *result = kCap;
    return true;
  });
  EXPECT_EQ(OpenFileStream(QV_WIDE("b")).m_nIndex, 0);
  EXPECT_THAT(asked, ElementsAre(QV_WIDE("b_0.log"), QV_WIDE("b_1.log"), QV_WIDE("b_2.log"),
                                 QV_WIDE("b_3.log"), QV_WIDE("b_4.log"), QV_WIDE("b_5.log")));
}

TEST_F(FileStream, MayStartWithIndexFiveAndRotatesFromThereToZero) {
  for (int index = 0; index < 5; ++index) MakeFileOfSize(index, kCap);
  MakeFileOfSize(5, kCap - 1);
  OpenFileStream stream(Base());
  EXPECT_EQ(stream.m_nIndex, 5);
  stream.Write("xy");
  EXPECT_EQ(stream.m_nIndex, 0);
  EXPECT_EQ(Present(), "12345");
  EXPECT_EQ(std::filesystem::file_size(File(5)), kCap + 1);
  stream.Write("new");
  EXPECT_EQ(FileBytes(File(0)), "new");
}

TEST_F(FileStream, WithAllSixFullStartsWithZeroAndDeletesOneAfterTheFirstLine) {
  for (int index = 0; index < 6; ++index) MakeFileOfSize(index, kCap + 1);
  OpenFileStream stream(Base());
  EXPECT_EQ(stream.m_nIndex, 0);
  EXPECT_EQ(Present(), "012345");
  stream.Write("first");
  EXPECT_EQ(LastBytes(0, 5), "first");
  EXPECT_EQ(stream.m_nIndex, 1);
  EXPECT_EQ(Present(), "02345");
}

// Rotation.

TEST_F(FileStream, DoesNotRotateAtExactlyTheLimit) {
  MakeFileOfSize(0, kCap - 5);
  OpenFileStream stream(Base());
  stream.Write("12345");
  EXPECT_EQ(std::filesystem::file_size(File(0)), 104857600U);
  EXPECT_EQ(stream.m_nIndex, 0);
  EXPECT_TRUE(stream.m_hFile.IsOpen());
}

TEST_F(FileStream, RotatesOneBytePastTheLimit) {
  MakeFileOfSize(0, kCap - 5);
  OpenFileStream stream(Base());
  stream.Write("123456");
  EXPECT_EQ(std::filesystem::file_size(File(0)), 104857601U);
  EXPECT_EQ(LastBytes(0, 6), "123456");
  EXPECT_EQ(stream.m_nIndex, 1);
  EXPECT_FALSE(stream.m_hFile.IsOpen());
  EXPECT_EQ(Present(), "0");
  stream.Write("next");
  EXPECT_EQ(FileBytes(File(1)), "next");
}

TEST_F(FileStream, RotatesAboveFourGigabytesWhateverTheLowHalf) {
  OpenFileStream stream(Base());
  ReplacedSeek seek([](auto, platform::Handle, std::int32_t, std::int32_t* high, std::uint32_t) {
    *high = 1;
    return 0U;
  });
  stream.Write("x");
  EXPECT_EQ(stream.m_nIndex, 1);
}

TEST_F(FileStream, AddsPositionAndLengthInThirtyTwoBits) {
  OpenFileStream stream(Base());
  std::uint32_t low = 0xFFFFFFFE;
  ReplacedSeek seek(
      [&low](auto, platform::Handle, std::int32_t, std::int32_t* high, std::uint32_t) {
        *high = 0;
        return low;
      });
  stream.Write("12345");  // ends at 3
  EXPECT_EQ(stream.m_nIndex, 0);
  low = 0xFFFFFFF0;
  stream.Write("12345");
  EXPECT_EQ(stream.m_nIndex, 1);
}

TEST_F(FileStream, SeeksToTheEndBeforeEachLine) {
  OpenFileStream stream(Base());
  int asked = 0;
  ReplacedSeek seek([&asked](auto original, platform::Handle file, std::int32_t distance,
                             std::int32_t* high, std::uint32_t method) {
    ++asked;
    EXPECT_EQ(distance, 0);
    EXPECT_EQ(*high, 0);
    EXPECT_EQ(method, 2U);
    return original(file, distance, high, method);
  });
  stream.Write("a");
  stream.Write("b");
  EXPECT_EQ(asked, 2);
}

TEST_F(FileStream, CyclesThroughFiveFilesDeletingEachAtRotation) {
  for (int index = 0; index < 5; ++index) MakeFile(File(index), "old");
  OpenFileStream stream(Base());
  ReplacedSeek seek(AlwaysAtCap());
  std::vector<std::string> steps;
  for (const char* text : {"a", "b", "c", "d", "e", "f"}) {
    stream.Write(text);
    steps.push_back(std::to_string(stream.m_nIndex) + ":" + Present());
  }
  // The next file is gone at once; the line after the rotation creates it again.
  EXPECT_THAT(steps, ElementsAre("1:0234", "2:0134", "3:0124", "4:0123", "0:1234", "1:0234"));
  EXPECT_EQ(FileBytes(File(4)), "e");
  EXPECT_EQ(FileBytes(File(0)), "f");
}

TEST_F(FileStream, ClosesTheFileBeforeItDeletesTheNext) {
  std::vector<std::string> calls;
  OpenFileStream stream(Base());
  ReplacedSeek seek(AlwaysAtCap());
  ReplacedWrite write([&calls](auto original, auto... arguments) {
    calls.push_back("write");
    return original(arguments...);
  });
  ReplacedClose close([&calls](auto original, platform::Handle handle) {
    calls.push_back("close");
    return original(handle);
  });
  ReplacedDelete remove([&calls, this](auto original, const platform::WideChar* path) {
    calls.push_back("delete");
    EXPECT_EQ(platform::WideString(path), Base() + QV_WIDE("_1.log"));
    return original(path);
  });
  stream.Write("x");
  EXPECT_THAT(calls, ElementsAre("write", "close", "delete"));
}

}  // namespace
