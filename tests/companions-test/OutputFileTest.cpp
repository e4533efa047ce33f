#include "companions-test/FolderTest.h"
#include "muxer/OutputFile.h"

#include <cstdio>

namespace
{

using OutputFileTest = FolderTest;

TEST_F(OutputFileTest, AFileTakesItsNameWhenItIsCompleteAndNobodyElsesFileIsTouched)
{
    const fs::path clip = Put("clip.mp4", "older");
    Put("clip.mp4.part");
    OutputFile file;
    ASSERT_TRUE(file.Create(clip.wstring()));
    const pyx_uint8 bytes[] = {'n', 'e', 'w', 'e', 'r'};
    ASSERT_TRUE(file.Write(bytes, 5));
    EXPECT_EQ(Read(clip), "older");

    pyx_uint8 read[8];
    EXPECT_EQ(file.ReadAt(2, read, 8), 3);
    EXPECT_EQ(std::string(read, read + 3), "wer");
    EXPECT_EQ(file.Seek(0, SEEK_CUR), 5) << "reading back moves no writer";
    EXPECT_EQ(file.GetSize(), 5);

    ASSERT_TRUE(file.Commit());
    EXPECT_EQ(List(), "clip.mp4 clip.mp4.part");
    EXPECT_EQ(Read(clip), "newer");
    EXPECT_EQ(Read(m_folder / "clip.mp4.part"), "theirs");
}

TEST_F(OutputFileTest, WhatIsGivenUpLeavesNothingAndFailuresSayWhy)
{
    {
        OutputFile file;
        ASSERT_TRUE(file.Create((m_folder / "clip.mp4").wstring()));
    }
    EXPECT_EQ(List(), "");
    OutputFile file;
    EXPECT_FALSE(file.Create((m_folder / "missing" / "clip.mp4").wstring()));
    EXPECT_FALSE(file.GetErrorText().empty());

    Put("folder.mp4/file");
    ASSERT_TRUE(file.Create((m_folder / "folder.mp4").wstring()));
    EXPECT_FALSE(file.Commit());
    EXPECT_EQ(List(), "folder.mp4 folder.mp4/file");
}

} // namespace
