// Mappings shared by two processes. Each system includes this in the file that starts processes.
#pragma once

#include "tests/platform/secondprocess.h"

namespace tests {

using platform::Handle;
using platform::handles;
using platform::mappings;

TEST_F(MappingOfTwo, BothSeeTheSameMemory) {
  const Handle mine = mappings.CreateFileMappingA(kMappingSize, m_name.c_str());
  ASSERT_NE(mine, nullptr);
  Words words(mine);
  Process other("open", m_name);
  WaitUntilThere(words);
  words.Set(kEnd, 1);
  EXPECT_EQ(other.Wait(), kDone);
  // The other process's end left the name alone.
  const Handle again = Open();
  EXPECT_NE(again, nullptr);
  handles.CloseHandle(again);
  handles.CloseHandle(mine);
  EXPECT_EQ(Open(), nullptr);
}

TEST_F(MappingOfTwo, TheOtherProcessCannotCreateTheNameAgain) {
  const Handle mine = mappings.CreateFileMappingA(kMappingSize, m_name.c_str());
  Process other("make", m_name);
  EXPECT_EQ(other.Wait(), kNoMapping);
  handles.CloseHandle(mine);
}

TEST_F(MappingOfTwo, TheNameStaysUntilTheOtherProcessCloses) {
  Process other("make", m_name);
  const Handle mine = OpenWhenThere();
  ASSERT_NE(mine, nullptr);
  Words words(mine);
  WaitUntilThere(words);
  EXPECT_TRUE(handles.CloseHandle(mine));
  const Handle again = Open();
  EXPECT_NE(again, nullptr);
  EXPECT_TRUE(handles.CloseHandle(again));
  words.Set(kEnd, 1);
  EXPECT_EQ(other.Wait(), kDone);
}

TEST_F(MappingOfTwo, TheNameDisappearsWhenItsOnlyHolderDies) {
  Process other("make", m_name);
  const Handle mine = OpenWhenThere();
  ASSERT_NE(mine, nullptr);
  {
    Words words(mine);
    WaitUntilThere(words);
  }
  handles.CloseHandle(mine);
  other.Kill();
  EXPECT_EQ(Open(), nullptr);
  const Handle remade = mappings.CreateFileMappingA(kMappingSize, m_name.c_str());
  ASSERT_NE(remade, nullptr);
  Words words(remade);
  EXPECT_EQ(words.Get(kThere), 0u);
  handles.CloseHandle(remade);
}

TEST_F(MappingOfTwo, TheMappingSurvivesItsCreatorWhileAnotherProcessHoldsIt) {
  Process other("make", m_name);
  const Handle mine = OpenWhenThere();
  ASSERT_NE(mine, nullptr);
  Words words(mine);
  WaitUntilThere(words);
  other.Kill();
  EXPECT_EQ(words.Get(kThere), 4711u);
  EXPECT_EQ(mappings.CreateFileMappingA(kMappingSize, m_name.c_str()), nullptr);
  handles.CloseHandle(mine);
  EXPECT_EQ(Open(), nullptr);
}

}  // namespace tests
