#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace fs = std::filesystem;

/// An empty folder for files of ours beside those of others; it is listed as "a b b/c".
class FolderTest : public testing::Test
{
protected:
    FolderTest()
    {
        fs::remove_all(m_folder);
        fs::create_directories(m_folder);
    }

    ~FolderTest() override
    {
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }

    fs::path Put(const fs::path& name, const char* content = "theirs") const
    {
        const fs::path path = m_folder / name;
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    static std::string Read(const fs::path& path)
    {
        std::ifstream file(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    std::string List() const
    {
        std::set<std::string> names;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(m_folder))
        {
            names.insert(entry.path().lexically_relative(m_folder).generic_string());
        }
        std::string list;
        for (const std::string& name : names)
        {
            list += (list.empty() ? "" : " ") + name;
        }
        return list;
    }

    fs::path m_folder = fs::temp_directory_path() / ("pyx-folder-test-" + std::to_string(GetCurrentProcessId()));
};
