#include "link_rig.h"
#include "links/console.h"

#include <string>
#include <unistd.h>

using namespace rig;

namespace {

/// Standard input and output of the process in the test's hands.
class Console : public Rig {
protected:
    Console() {
        EXPECT_EQ(pipe(in_), 0);
        EXPECT_EQ(pipe(out_), 0);
        fflush(stdout);
        dup2(in_[0], STDIN_FILENO);
        dup2(out_[1], STDOUT_FILENO);
    }
    ~Console() override { restore(); }

    void restore() {
        dup2(savedIn_, STDIN_FILENO);
        dup2(savedOut_, STDOUT_FILENO);
        for (int* fd : {&in_[0], &in_[1], &out_[0], &out_[1]}) {
            if (*fd >= 0)
                close(*fd);
            *fd = -1;
        }
    }
    void type(std::string_view text) {
        EXPECT_EQ(write(in_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void endInput() {
        close(in_[1]);
        in_[1] = -1;
    }
    std::string shown() {
        char text[4096];
        const ssize_t count = read(out_[0], text, sizeof text);
        return std::string(text, count > 0 ? static_cast<size_t>(count) : 0);
    }

    int savedIn_ = dup(STDIN_FILENO), savedOut_ = dup(STDOUT_FILENO);
    int in_[2], out_[2];
};

TEST_F(Console, AnswersWhatIsTypedAndEndsWithTheInput) {
    type("*IDN?\n");
    const int typed = Tvconsole_handle(&link_);
    const std::string answer = shown();
    type("TOUC\nTOUC\nTOU"); // a pipe may end in the middle of a line
    endInput();
    const int lastLines = Tvconsole_handle(&link_);
    const int end = Tvconsole_handle(&link_);
    const int after = Tvconsole_handle(&link_);
    restore();
    EXPECT_EQ(typed, 0);
    EXPECT_EQ(answer, identity);
    EXPECT_EQ(lastLines, 0);
    EXPECT_EQ(touched, 2);
    EXPECT_EQ(end, -1);
    EXPECT_EQ(after, -1);
}

TEST_F(Console, TakesALineLongerThanItsBuffer) {
    type("TOUC" + std::string(5000, ' ') + "\n*IDN?\n");
    endInput();
    while (Tvconsole_handle(&link_) == 0) {
    }
    const std::string answer = shown();
    restore();
    EXPECT_EQ(answer, identity);
}

} // namespace
