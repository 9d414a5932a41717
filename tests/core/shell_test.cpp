#include "base/error_codes.h"
#include "core/file_trees.h"
#include "core/shell.h"

#include <csignal>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int exitStatus(const std::string& command) {
    const int status = tvstuffSystem(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Shell, GivesTheWaitStatusOfALineOfUpTo510Characters) {
    const auto padded = [](size_t length) { return "exit 3" + std::string(length - 6, ' '); };
    EXPECT_EQ(exitStatus(padded(510)), 3);
    EXPECT_EQ(exitStatus("/no/such/program 2> /dev/null"), 127);
    EXPECT_TRUE(WIFSIGNALED(tvstuffSystem("kill -KILL $$")));
    for (const size_t length : {511, 100'000})
        EXPECT_EQ(tvstuffSystem(padded(length).c_str()), scpi::executionError);
    EXPECT_EQ(tvstuffTTYMessage(std::string(600, 'x').c_str()), scpi::executionError);
}

TEST(Shell, CommandsOfSeveralThreadsDoNotMix) {
    const auto wrongOf = [](int status) {
        int wrong = 0;
        for (int i = 0; i < 20; ++i)
            wrong += exitStatus("exit " + std::to_string(status)) != status;
        return wrong;
    };
    auto other = std::async(std::launch::async, wrongOf, 11);
    EXPECT_EQ(wrongOf(22) + other.get(), 0);
}

volatile sig_atomic_t handlerRuns = 0;

TEST(Shell, SignalsToTheChildAndToTheFirmwareDoNotMeet) {
    for (const int number : {SIGTERM, SIGUSR1})
        signal(number, [](int) { handlerRuns = handlerRuns + 1; });
    // The child has neither the handlers nor the blocked signals of the firmware.
    const int status = tvstuffSystem("kill -TERM $$; exit 5");
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    EXPECT_EQ(handlerRuns, 0);
    EXPECT_EQ(exitStatus("kill -USR1 " + std::to_string(getpid()) + "; exit 9"), 9);
    usleep(0); // where a sanitizer that holds signals back lets them through
    EXPECT_EQ(handlerRuns, 1);
    for (const int number : {SIGTERM, SIGUSR1})
        signal(number, SIG_DFL);
}

TEST(FileTrees, EachPathBelongsToOneTree) {
    const struct {
        const char* path;
        FileTree tree;
    } cases[] = {
        {"/media/ram/x", FileTree::none},  {"/tolvane/temp/x", FileTree::none}, {"/tolvane/temp", FileTree::tv},
        {"/tolvane/dev/sn", FileTree::tv}, {"/tolvane", FileTree::root},        {"/tolvanes/x", FileTree::root},
        {"/media/ramp", FileTree::root},   {"tolvane/x", FileTree::root},       {"", FileTree::root},
    };
    for (const auto& [path, tree] : cases)
        EXPECT_EQ(tvstuffFileTreeOf(path), tree) << path;
}

} // namespace
