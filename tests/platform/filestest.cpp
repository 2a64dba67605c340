// The contract of the file table, on every system.
#include "platform/files.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "platform/security.h"
#include "tests/support/temporaryfolder.h"

namespace {

using platform::files;
using platform::FindData;
using platform::Handle;
using platform::handles;
using platform::kCreateAlways;
using platform::kFileAttributeDirectory;
using platform::kFileAttributeNormal;
using platform::kFileEnd;
using platform::kGenericRead;
using platform::kGenericReadWrite;
using platform::kInvalidHandle;
using platform::kOpenAlways;
using platform::kOpenExisting;
using platform::kShareReadWrite;
using platform::WideString;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

class Files : public testing::Test {
 protected:
  Handle Open(const std::string& path, std::uint32_t access, std::uint32_t disposition) {
    return files.CreateFileA(path.c_str(), access, kShareReadWrite, nullptr, disposition,
                             kFileAttributeNormal);
  }

  void Put(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
  }

  std::string Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  static WideString Wide(const std::string& path) { return {path.begin(), path.end()}; }

  // Lists a pattern: names with the folder bit of their attributes.
  std::map<std::string, bool> List(const std::string& pattern) {
    std::map<std::string, bool> entries;
    FindData entry = {};
    const Handle listing = files.FindFirstFileA(pattern.c_str(), &entry);
    if (listing == kInvalidHandle) return entries;
    do {
      entries[entry.cFileName] = (entry.dwFileAttributes & kFileAttributeDirectory) != 0;
    } while (files.FindNextFileA(listing, &entry));
    EXPECT_TRUE(files.FindClose(listing));
    return entries;
  }

  tests::TemporaryFolder m_folder;
  const std::string m_path = m_folder.Entry("file.txt");
};

TEST_F(Files, OpeningAMissingFileFails) {
  EXPECT_EQ(Open(m_path, kGenericRead, kOpenExisting), kInvalidHandle);
  EXPECT_EQ(files.CreateFileW(Wide(m_path).c_str(), kGenericRead, kShareReadWrite, nullptr,
                              kOpenExisting, kFileAttributeNormal),
            kInvalidHandle);
  EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(Files, AFileInAMissingFolderCannotBeCreated) {
  EXPECT_EQ(Open(m_folder.Entry("none/file"), kGenericReadWrite, kCreateAlways), kInvalidHandle);
}

TEST_F(Files, AFolderCannotBeOpenedAsAFile) {
  const std::string folder = m_folder.Path().string();
  EXPECT_EQ(Open(folder, kGenericRead, kOpenExisting), kInvalidHandle);
  EXPECT_EQ(Open(folder, kGenericReadWrite, kOpenAlways), kInvalidHandle);
  EXPECT_FALSE(files.DeleteFileA(folder.c_str()));
}

TEST_F(Files, CreateAlwaysTruncatesAnExistingFile) {
  Put(m_path, "old content");
  const Handle file = Open(m_path, kGenericReadWrite, kCreateAlways);
  ASSERT_NE(file, kInvalidHandle);
  std::uint32_t written = 77;
  EXPECT_TRUE(files.WriteFile(file, "new", 3, &written));
  EXPECT_EQ(written, 3u);
  EXPECT_TRUE(handles.CloseHandle(file));
  EXPECT_EQ(Content(m_path), "new");
}

TEST_F(Files, OpenAlwaysKeepsAnExistingFileAndCreatesAMissingOne) {
  Put(m_path, "content");
  for (const std::string& path : {m_path, m_folder.Entry("other")}) {
    const Handle file = Open(path, kGenericReadWrite, kOpenAlways);
    ASSERT_NE(file, kInvalidHandle);
    EXPECT_TRUE(handles.CloseHandle(file));
  }
  EXPECT_EQ(Content(m_path), "content");
  EXPECT_TRUE(std::filesystem::exists(m_folder.Entry("other")));
}

TEST_F(Files, WideAndNarrowPathsReferToTheSameFile) {
  const Handle file = files.CreateFileW(Wide(m_path).c_str(), kGenericReadWrite, kShareReadWrite,
                                        nullptr, kCreateAlways, kFileAttributeNormal);
  ASSERT_NE(file, kInvalidHandle);
  EXPECT_TRUE(handles.CloseHandle(file));
  EXPECT_TRUE(files.DeleteFileA(m_path.c_str()));
}

TEST_F(Files, ABackslashIsASeparator) {
  std::filesystem::create_directory(m_folder.Path() / "below");
  const std::string path = m_folder.Path().string() + "\\below\\file";
  const Handle file = Open(path, kGenericReadWrite, kCreateAlways);
  ASSERT_NE(file, kInvalidHandle);
  handles.CloseHandle(file);
  EXPECT_TRUE(std::filesystem::exists(m_folder.Path() / "below" / "file"));
  EXPECT_THAT(List(m_folder.Path().string() + "\\below\\f*"),
              UnorderedElementsAre(Pair("file", false)));
  EXPECT_TRUE(files.DeleteFileW(Wide(path).c_str()));
}

TEST_F(Files, ReadingReturnsTheBytesAndThenTheEnd) {
  Put(m_path, std::string("a\r\n\0\x1A\xFF", 6));
  const Handle file = Open(m_path, kGenericRead, kOpenExisting);
  char buffer[10] = {};
  std::uint32_t read = 0;
  EXPECT_TRUE(files.ReadFile(file, buffer, 4, &read));
  EXPECT_EQ(std::string(buffer, read), std::string("a\r\n\0", 4));
  EXPECT_TRUE(files.ReadFile(file, buffer, 10, &read));
  EXPECT_EQ(std::string(buffer, read), "\x1A\xFF");
  read = 77;
  EXPECT_TRUE(files.ReadFile(file, buffer, 10, &read));
  EXPECT_EQ(read, 0u);
  handles.CloseHandle(file);
}

TEST_F(Files, AFileOpenForReadingCannotBeWritten) {
  Put(m_path, "content");
  const Handle file = Open(m_path, kGenericRead, kOpenExisting);
  std::uint32_t written = 77;
  EXPECT_FALSE(files.WriteFile(file, "x", 1, &written));
  EXPECT_EQ(written, 0u);
  handles.CloseHandle(file);
  EXPECT_EQ(Content(m_path), "content");
}

TEST_F(Files, ReadersAndWritersShareAFile) {
  const Handle writer = Open(m_path, kGenericReadWrite, kCreateAlways);
  const Handle reader = Open(m_path, kGenericRead, kOpenExisting);
  ASSERT_NE(reader, kInvalidHandle);
  std::uint32_t count = 0;
  char buffer[8] = {};
  EXPECT_TRUE(files.WriteFile(writer, "line", 4, &count));
  EXPECT_TRUE(files.ReadFile(reader, buffer, 8, &count));
  EXPECT_EQ(std::string(buffer, count), "line");
  handles.CloseHandle(writer);
  handles.CloseHandle(reader);
}

TEST_F(Files, EveryOperationAcceptsNullAndInvalidHandles) {
  for (const Handle handle : {Handle{nullptr}, kInvalidHandle}) {
    char buffer[4] = {};
    std::uint32_t count = 77;
    FindData entry = {};
    std::int32_t high = 0;
    EXPECT_FALSE(files.ReadFile(handle, buffer, 4, &count));
    EXPECT_EQ(count, 0u);
    count = 77;
    EXPECT_FALSE(files.WriteFile(handle, buffer, 4, &count));
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(files.SetFilePointer(handle, 0, &high, kFileEnd), 0xFFFFFFFFu);
    EXPECT_EQ(high, -1);
    EXPECT_FALSE(files.FindNextFileA(handle, &entry));
    EXPECT_FALSE(files.FindClose(handle));
    EXPECT_FALSE(handles.CloseHandle(handle));
  }
}

TEST_F(Files, TheFilePointerMovesFromTheEnd) {
  Put(m_path, "0123456789");
  const Handle file = Open(m_path, kGenericReadWrite, kOpenExisting);
  EXPECT_EQ(files.SetFilePointer(file, 0, nullptr, kFileEnd), 10u);
  std::int32_t high = -1;  // with the low half: 3 bytes before the end
  EXPECT_EQ(files.SetFilePointer(file, -3, &high, kFileEnd), 7u);
  EXPECT_EQ(high, 0);
  EXPECT_EQ(files.SetFilePointer(file, -4, nullptr, kFileEnd), 6u);
  char buffer[8] = {};
  std::uint32_t read = 0;
  EXPECT_TRUE(files.ReadFile(file, buffer, 8, &read));
  EXPECT_EQ(std::string(buffer, read), "6789");
  handles.CloseHandle(file);
}

TEST_F(Files, TheFilePointerMovesPastFourGibibytes) {
  const Handle file = Open(m_path, kGenericReadWrite, kCreateAlways);
  std::int32_t high = 3;
  EXPECT_EQ(files.SetFilePointer(file, static_cast<std::int32_t>(0xFFFFFFFE), &high, kFileEnd),
            0xFFFFFFFEu);
  EXPECT_EQ(high, 3);
  // A low half with all bits set is an ordinary position.
  EXPECT_EQ(files.SetFilePointer(file, -1, &high, kFileEnd), 0xFFFFFFFFu);
  EXPECT_EQ(high, 3);
  handles.CloseHandle(file);
}

TEST_F(Files, TheFilePointerDoesNotMoveBeforeTheBeginning) {
  Put(m_path, "0123");
  const Handle file = Open(m_path, kGenericReadWrite, kOpenExisting);
  std::int32_t high = -1;
  EXPECT_EQ(files.SetFilePointer(file, -5, &high, kFileEnd), 0xFFFFFFFFu);
  EXPECT_EQ(high, -1);
  handles.CloseHandle(file);
}

TEST_F(Files, DeletingReportsWhetherTheFileExisted) {
  Put(m_path, "");
  EXPECT_TRUE(files.DeleteFileA(m_path.c_str()));
  EXPECT_FALSE(files.DeleteFileA(m_path.c_str()));
  EXPECT_FALSE(files.DeleteFileW(Wide(m_path).c_str()));
  EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(Files, TheSizeOfAFileIsReported) {
  Put(m_path, std::string(70000, 'x'));
  std::uint64_t size = 77;
  EXPECT_TRUE(files.GetFileAttributesExW(Wide(m_path).c_str(), &size));
  EXPECT_EQ(size, 70000u);
  Put(m_path, "");
  EXPECT_TRUE(files.GetFileAttributesExW(Wide(m_path).c_str(), &size));
  EXPECT_EQ(size, 0u);
  EXPECT_FALSE(files.GetFileAttributesExW(Wide(m_folder.Entry("none")).c_str(), &size));
}

TEST_F(Files, NormalAttributesMakeAReadOnlyFileWritable) {
  Put(m_path, "x");
  std::filesystem::permissions(m_path, std::filesystem::perms::owner_read);
  EXPECT_TRUE(files.SetFileAttributesW(Wide(m_path).c_str(), kFileAttributeNormal));
  EXPECT_NE(std::filesystem::status(m_path).permissions() & std::filesystem::perms::owner_write,
            std::filesystem::perms::none);
  EXPECT_FALSE(
      files.SetFileAttributesW(Wide(m_folder.Entry("none")).c_str(), kFileAttributeNormal));
}

TEST_F(Files, AListingReturnsTheMatchingNamesWithoutTheirFolder) {
  for (const char* const name :
       {"OutlookAttachmentA.txt", "OutlookAttachmentB", "OutlookBody.txt"}) {
    Put(m_folder.Entry(name), "x");
  }
  std::filesystem::create_directory(m_folder.Path() / "OutlookAttachmentFolder");
  EXPECT_THAT(
      List(m_folder.Entry("OutlookAttachment*")),
      UnorderedElementsAre(Pair("OutlookAttachmentA.txt", false), Pair("OutlookAttachmentB", false),
                           Pair("OutlookAttachmentFolder", true)));
  EXPECT_THAT(
      List(m_folder.Entry("*.txt")),
      UnorderedElementsAre(Pair("OutlookAttachmentA.txt", false), Pair("OutlookBody.txt", false)));
  EXPECT_THAT(List(m_folder.Entry("*Att*B")),
              UnorderedElementsAre(Pair("OutlookAttachmentB", false)));
  EXPECT_THAT(List(m_folder.Entry("OutlookBod?.txt")),
              UnorderedElementsAre(Pair("OutlookBody.txt", false)));
  EXPECT_THAT(List(m_folder.Entry("OutlookBody.txt")),
              UnorderedElementsAre(Pair("OutlookBody.txt", false)));
}

TEST_F(Files, AListingOfEverythingIncludesTheFolderAndItsParent) {
  Put(m_path, "");
  const auto expected =
      UnorderedElementsAre(Pair(".", true), Pair("..", true), Pair("file.txt", false));
  EXPECT_THAT(List(m_folder.Entry("*")), expected);
  EXPECT_THAT(List(m_folder.Entry("*.*")), expected);
}

TEST_F(Files, AListingWithoutAMatchFailsAndKeepsTheEntry) {
  FindData entry = {};
  entry.dwFileAttributes = 12345;
  entry.cFileName[0] = '!';
  for (const char* const pattern : {"none*", "none/*", ""}) {
    EXPECT_EQ(files.FindFirstFileA(m_folder.Entry(pattern).c_str(), &entry), kInvalidHandle);
  }
  EXPECT_EQ(entry.dwFileAttributes, 12345u);
  EXPECT_EQ(entry.cFileName[0], '!');
}

TEST_F(Files, OnlyFindCloseEndsAListing) {
  Put(m_path, "");
  FindData entry = {};
  const Handle listing = files.FindFirstFileA(m_folder.Entry("f*").c_str(), &entry);
  ASSERT_NE(listing, kInvalidHandle);
  EXPECT_FALSE(handles.CloseHandle(listing));
  EXPECT_FALSE(files.FindNextFileA(listing, &entry));
  EXPECT_STREQ(entry.cFileName, "file.txt");
  EXPECT_TRUE(files.FindClose(listing));
}

TEST_F(Files, AFileCanBeCreatedWithAccessForEveryone) {
  platform::SecurityDescriptor* descriptor = nullptr;
  ASSERT_TRUE(platform::security.ConvertStringSecurityDescriptorToSecurityDescriptorW(
      QV_WIDE("D:(A;OICI;GA;;;S-1-1-0)"), &descriptor));
  ASSERT_NE(descriptor, nullptr);
  EXPECT_TRUE(platform::security.SetSecurityDescriptorDacl(descriptor));
  const Handle file = files.CreateFileA(m_path.c_str(), kGenericReadWrite, kShareReadWrite,
                                        descriptor, kCreateAlways, kFileAttributeNormal);
  EXPECT_NE(file, kInvalidHandle);
  handles.CloseHandle(file);
  platform::security.LocalFree(descriptor);
}

TEST(Security, AnInvalidDescriptorIsRejected) {
  int anything = 0;
  for (const platform::WideChar* const text : {QV_WIDE("nonsense"), QV_WIDE("X:(A)")}) {
    auto* descriptor = reinterpret_cast<platform::SecurityDescriptor*>(&anything);
    EXPECT_FALSE(
        platform::security.ConvertStringSecurityDescriptorToSecurityDescriptorW(text, &descriptor));
    EXPECT_EQ(descriptor, nullptr);
  }
  EXPECT_FALSE(platform::security.SetSecurityDescriptorDacl(nullptr));
  platform::security.LocalFree(nullptr);
}

}  // namespace
