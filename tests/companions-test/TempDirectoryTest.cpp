#include "companions-test/FolderTest.h"
#include "replay/TempDirectory.h"

namespace
{

using TempDirectoryTest = FolderTest;

TEST_F(TempDirectoryTest, OnlyWhatAComponentLeavesIsRemoved)
{
    std::wstring name;
    {
        TempDirectory directory;
        ASSERT_TRUE(directory.Make(m_folder.wstring()).IsOk());
        name = fs::path(directory.Path()).filename().wstring();
        Put(fs::path(name) / "Temp0.RBV");
        Put(fs::path(name) / "Temp12.RBA");
    }
    EXPECT_EQ(List(), "");
    {
        TempDirectory directory;
        ASSERT_TRUE(directory.Make(m_folder.wstring()).IsOk());
        name = fs::path(directory.Path()).filename().wstring();
        Put(fs::path(name) / "Temp0.RBV");
        Put(fs::path(name) / "Temp1.RBV.txt");
    }
    EXPECT_EQ(Read(m_folder / name / "Temp1.RBV.txt"), "theirs");
    EXPECT_FALSE(fs::exists(m_folder / name / "Temp0.RBV"));
}

TEST_F(TempDirectoryTest, WhatLooksLikeOursAndIsNotStays)
{
    Put("pyx-replay-77/Temp3.RBA"); // no lock
    Put("pyx-replay-78/Temp3.RBA"); // a lock of somebody else
    Put("pyx-replay-78.lock");
    Put("pyx-replay-1x/Temp3.RBA");
    TempDirectory living;
    ASSERT_TRUE(living.Make(m_folder.wstring()).IsOk());
    const fs::path mine = Put(fs::path(living.Path()).filename() / "Temp0.RBV");
    {
        TempDirectory other;
        ASSERT_TRUE(other.Make(m_folder.wstring()).IsOk());
        EXPECT_NE(other.Path(), living.Path());
    }
    EXPECT_TRUE(fs::exists(mine)) << "of a program that lives";
    EXPECT_EQ(Read(m_folder / "pyx-replay-77" / "Temp3.RBA"), "theirs");
    EXPECT_EQ(Read(m_folder / "pyx-replay-78" / "Temp3.RBA"), "theirs");
    EXPECT_EQ(Read(m_folder / "pyx-replay-1x" / "Temp3.RBA"), "theirs");
}

TEST_F(TempDirectoryTest, WhatAKilledProgramLeftIsRemovedByTheNext)
{
    Put("pyx-replay-7.lock", "replay.exe holds this while it uses the directory of the same name\n");
    Put("pyx-replay-7/Temp0.RBV");
    Put("pyx-replay-7/Temp0.RBA");
    {
        TempDirectory directory;
        ASSERT_TRUE(directory.Make(m_folder.wstring()).IsOk());
    }
    EXPECT_EQ(List(), "");
}

TEST_F(TempDirectoryTest, AParentThatIsNoDirectoryIsNamed)
{
    TempDirectory directory;
    const Outcome missing = directory.Make((m_folder / "missing").wstring());
    EXPECT_EQ(missing.Code(), ExitCode::CannotWrite);
    EXPECT_NE(missing.Text().find("missing"), std::string::npos);
    const fs::path file = Put("file");
    EXPECT_EQ(directory.Make(file.wstring()).Code(), ExitCode::CannotWrite);
}

} // namespace
