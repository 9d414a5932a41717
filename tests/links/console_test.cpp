#include "link_rig.h"
#include "links/console.h"
#include "links/link_thread.h"

#include <string>
#include <unistd.h>
#include <utility>

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
    /// So that a failure shows.
    void restore() {
        dup2(savedIn_, STDIN_FILENO);
        dup2(savedOut_, STDOUT_FILENO);
    }
    void type(std::string_view text) {
        EXPECT_EQ(write(in_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
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
    type("*IDN?\nTOUC" + std::string(5000, ' ') + "\n"); // a line longer than the buffers
    ::Console console;
    const LinkRow row{.link = &link_, .transport = &consoleTransport, .medium = &console};
    EXPECT_TRUE(link_step(row));
    const std::string answer = shown();
    type("TOUC\nTOU"); // a pipe may end in the middle of a line
    close(std::exchange(in_[1], -1));
    link_run(row); // comes back
    restore();
    EXPECT_EQ(answer, identity);
    EXPECT_EQ(touched, 2);
}

} // namespace
