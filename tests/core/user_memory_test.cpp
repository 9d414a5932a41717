#include "base/error_codes.h"
#include "contents.h"
#include "core/file_trees.h"
#include "core/user_memory.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <set>

namespace fs = std::filesystem;

namespace {

TEST(UserMemory, GrowsWithTheUsersFilesAndIsEmptyAfterADeletion) {
    uint32_t freeBytes = 0, before = 0, after = 0;
    ASSERT_EQ(tvstuff_getUserMemoryStats(&freeBytes, &before), 0);
    EXPECT_TRUE(freeBytes > 0 && freeBytes <= uint32_t{INT32_MAX}) << freeBytes;
    constexpr uint32_t fileSize = 1024 * 1024;
    std::ofstream("/tolvane/cust/sav7") << std::string(fileSize, 's');
    ASSERT_EQ(tvstuff_getUserMemoryStats(&freeBytes, &after), 0);
    EXPECT_GE(after - before, fileSize);
    EXPECT_LT(after - before, fileSize + 64 * 1024) << "bytes, not kilobytes";

    fs::create_directories("/tolvane/cust/deep/er");
    EXPECT_EQ(tvstuff_deleteUserMemory(), 0);
    std::set<std::string> left;
    for (const auto& entry : fs::recursive_directory_iterator("/tolvane/cust"))
        left.insert(entry.path().filename());
    EXPECT_EQ(left, (std::set<std::string>{"flatness", "list"}));
    EXPECT_EQ(contents("/run/unit/protection/tv"), "protected\n");
}

TEST(UserMemory, WithoutAScratchFileThereAreNoFigures) {
    fs::remove_all("/media/ram/user_memory_stats");
    fs::create_directories("/media/ram/user_memory_stats/in/the/way");
    uint32_t freeBytes = 1, used = 2;
    EXPECT_EQ(tvstuff_getUserMemoryStats(&freeBytes, &used), scpi::executionError);
    EXPECT_TRUE(freeBytes == 1 && used == 2);
}

TEST(ProtectedWrite, EndsItsBracketOnEveryWayOut) {
    for (const auto& [tree, record] :
         {std::pair{FileTree::tv, "/run/unit/protection/tv"}, {FileTree::root, "/run/unit/protection/root"}}) {
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
