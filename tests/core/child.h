#pragma once
/// A process of its own that a test watches.

#include <array>
#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

class Child {
public:
    /// Runs `body` for the exit status; its standard output goes into a pipe, a standard input it has none.
    template <class Body> explicit Child(Body body) {
        std::array<int, 2> pipeEnds{-1, -1};
        (void)!pipe(pipeEnds.data());
        output_ = pipeEnds[0];
        fflush(stdout);
        process = fork();
        if (process == 0) {
            dup2(pipeEnds[1], STDOUT_FILENO);
            for (const int fd : {STDIN_FILENO, pipeEnds[0], pipeEnds[1]})
                close(fd);
            _exit(body());
        }
        close(pipeEnds[1]);
    }
    ~Child() {
        if (process > 0)
            stop();
        close(output_);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// Everything that it has printed up to and with `text`, or to its end.
    std::string printed(std::string_view text = neverPrinted) {
        for (char c; !printed_.ends_with(text) && read(output_, &c, 1) == 1;)
            printed_ += c;
        return printed_;
    }
    /// Its exit status; -1 if a signal has killed it.
    int wait() {
        int status = 0;
        waitpid(std::exchange(process, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    int stop() {
        kill(process, SIGTERM);
        return wait();
    }

    pid_t process = -1;

private:
    static constexpr std::string_view neverPrinted{"\0", 1};
    int output_ = -1;
    std::string printed_;
};
