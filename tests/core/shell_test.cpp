#include "core/file_trees.h"
#include "core/shell.h"
#include "scpi/error_codes.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

int exitStatus(const char* command) {
    const int status = tvstuffSystem(command);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// A shell line of `length` characters that ends with status 3.
std::string lineOf(size_t length) {
    return "exit 3" + std::string(length - 6, ' ');
}

TEST(Shell, GivesTheWaitStatus) {
    EXPECT_EQ(exitStatus("exit 7"), 7);
    EXPECT_EQ(exitStatus("true"), 0);
    EXPECT_EQ(exitStatus("/no/such/program 2> /dev/null"), 127);
    EXPECT_TRUE(WIFSIGNALED(tvstuffSystem("kill -KILL $$")));
}

TEST(Shell, TakesALineOf510Characters) {
    EXPECT_EQ(exitStatus(lineOf(510).c_str()), 3);
    EXPECT_EQ(tvstuffSystem(lineOf(511).c_str()), scpi::executionError);
    EXPECT_EQ(tvstuffSystem(lineOf(100'000).c_str()), scpi::executionError);
    EXPECT_EQ(tvstuffTTYMessage(std::string(600, 'x').c_str()), scpi::executionError);
}

TEST(Shell, CommandsOfSeveralThreadsDoNotMix) {
    std::atomic<int> wrong{0};
    const auto run = [&wrong](int status) {
        const std::string command = "exit " + std::to_string(status);
        for (int i = 0; i < 20; ++i)
            if (exitStatus(command.c_str()) != status)
                ++wrong;
    };
    std::thread other(run, 11);
    run(22);
    other.join();
    EXPECT_EQ(wrong, 0);
}

volatile sig_atomic_t handlerRuns = 0;

TEST(Shell, TheChildHasNeitherTheHandlersNorTheBlockedSignalsOfTheFirmware) {
    const auto previous = signal(SIGTERM, [](int) { handlerRuns = handlerRuns + 1; });
    const int status = tvstuffSystem("kill -TERM $$; exit 5");
    signal(SIGTERM, previous);
    ASSERT_TRUE(WIFSIGNALED(status)) << status;
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
    EXPECT_EQ(handlerRuns, 0);
}

TEST(Shell, WaitsThroughSignalsToTheFirmware) {
    handlerRuns = 0;
    const auto previous = signal(SIGUSR1, [](int) { handlerRuns = handlerRuns + 1; });
    const std::string command = "kill -USR1 " + std::to_string(getpid()) + "; exit 9";
    EXPECT_EQ(exitStatus(command.c_str()), 9);
    usleep(0); // where a sanitizer that holds signals back lets them through
    signal(SIGUSR1, previous);
    EXPECT_EQ(handlerRuns, 1);
}

TEST(FileTrees, EachPathBelongsToOneTree) {
    const struct {
        const char* path;
        FileTree tree;
    } cases[] = {
        {"/media/ram/x", FileTree::none}, {"/tolvane/temp/x", FileTree::none},
        {"/tolvane/temp", FileTree::tv},  {"/tolvane/dev/sn", FileTree::tv},
        {"/tolvane", FileTree::root},     {"/tolvanes/x", FileTree::root},
        {"/media/ramp", FileTree::root},  {"/etc/passwd", FileTree::root},
        {"tolvane/x", FileTree::root},    {"", FileTree::root},
    };
    for (const auto& [path, tree] : cases) {
        EXPECT_EQ(tvstuffFileTreeOf(path), tree) << path;
        EXPECT_EQ(tvstuffIsTempFile(path), tree == FileTree::none) << path;
        EXPECT_EQ(tvstuffIsTvFile(path), tree == FileTree::tv) << path;
        EXPECT_EQ(tvstuffIsRootFile(path), tree == FileTree::root) << path;
    }
}

} // namespace
