#include "core/file_trees.h"
#include "core/user_memory.h"
#include "scpi/error_codes.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::string contents(const char* path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

TEST(UserMemory, GrowsWithTheUsersFilesAndIsEmptyAfterADeletion) {
    uint32_t freeBytes = 0, before = 0, after = 0;
    ASSERT_EQ(tvstuff_getUserMemoryStats(&freeBytes, &before), 0);
    EXPECT_GT(freeBytes, 0u);
    EXPECT_LE(freeBytes, uint32_t{INT32_MAX});
    constexpr uint32_t fileSize = 1024 * 1024;
    std::ofstream("/tolvane/cust/sav7") << std::string(fileSize, 's');
    ASSERT_EQ(tvstuff_getUserMemoryStats(&freeBytes, &after), 0);
    EXPECT_GE(after - before, fileSize);
    EXPECT_LT(after - before, fileSize + 64 * 1024) << "bytes, not kilobytes";

    fs::create_directories("/tolvane/cust/deep/er");
    EXPECT_EQ(tvstuff_deleteUserMemory(), 0);
    std::vector<std::string> left;
    for (const auto& entry : fs::recursive_directory_iterator("/tolvane/cust"))
        left.push_back(entry.path().filename());
    std::ranges::sort(left);
    EXPECT_EQ(left, (std::vector<std::string>{"flatness", "list"}));
    EXPECT_EQ(contents("/run/unit/protection/tv"), "protected\n");
}

TEST(UserMemory, WithoutAScratchFileThereAreNoFigures) {
    fs::remove_all("/media/ram/user_memory_stats");
    fs::create_directories("/media/ram/user_memory_stats/in/the/way");
    uint32_t freeBytes = 1, used = 2;
    EXPECT_EQ(tvstuff_getUserMemoryStats(&freeBytes, &used), scpi::executionError);
    EXPECT_EQ(freeBytes, 1u);
    EXPECT_EQ(used, 2u);
}

TEST(ProtectedWrite, EndsItsBracketOnEveryWayOut) {
    for (const auto& [tree, record] :
         {std::pair{FileTree::tv, "/run/unit/protection/tv"}, std::pair{FileTree::root, "/run/unit/protection/root"}}) {
        {
            const ProtectedWrite guard(tree);
            EXPECT_EQ(contents(record), "writable\n");
        }
        EXPECT_EQ(contents(record), "protected\n");
    }
    const std::string calls = contents("/run/unit/calls.log");
    { const ProtectedWrite none(FileTree::none); }
    EXPECT_EQ(contents("/run/unit/calls.log"), calls);
}

} // namespace
