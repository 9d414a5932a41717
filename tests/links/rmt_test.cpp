#include "links/rmt.h"
#include "links/tvsocket.h"
#include "scpi/error_codes.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr char path[] = "/tolvane/dev/table.csv";

std::string contents(const char* name) {
    std::ifstream file(name);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// A connection whose other end is the test.
class FileTransfer : public testing::Test {
protected:
    FileTransfer() {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        socket_.connFd = ends[0];
        peer_ = ends[1];
    }
    ~FileTransfer() override {
        Tvsocket_close(&socket_);
        close(peer_);
    }
    void say(const std::string& text) {
        EXPECT_EQ(::send(peer_, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    }
    /// What the instrument has sent so far.
    std::string heard() {
        char text[8192];
        const ssize_t count = recv(peer_, text, sizeof text, MSG_DONTWAIT);
        return count > 0 ? std::string(text, static_cast<size_t>(count)) : std::string();
    }

    Tvsocket socket_;
    int peer_ = -1;
};

TEST_F(FileTransfer, SendsEachFileInOrderWithoutItsLastNewline) {
    std::string lines;
    for (int i = 0; lines.size() < 1000; ++i)
        lines += std::to_string(i) + ";1.5\n";
    std::vector<std::string> files{"", "x", "\n", "\n\n", "ab", "a\n"};
    for (const size_t size : {127, 128, 129, 130, 255, 256, 257, 1000}) {
        files.push_back(lines.substr(0, size - 1) + "\n");
        files.push_back(lines.substr(0, size - 1) + "z");
    }
    for (const std::string& file : files) {
        std::ofstream(path) << file;
        EXPECT_EQ(Tvsocket_rmtSendFile(&socket_, path), 0);
        const bool endsInNewline = !file.empty() && file.back() == '\n';
        EXPECT_EQ(heard(), file.substr(0, file.size() - endsInNewline) + "/\n") << file.size() << " bytes";
    }
}

TEST_F(FileTransfer, AMissingFileIsAnEmptyOneAndAFailure) {
    EXPECT_EQ(Tvsocket_rmtSendFile(&socket_, "/tolvane/no/such"), scpi::executionError);
    EXPECT_EQ(heard(), "/\n");
}

TEST_F(FileTransfer, ReceivesUpToTheSlashAndAcknowledgesEachRead) {
    const struct {
        std::string sent, stored;
        int acknowledged;
    } cases[] = {
        {"1;2\n3;4/", "1;2\n3;4\n", 1},
        {"/", "\n", 1},
        {"a/ignored", "a\n", 1},
        {std::string(128, 'x') + "/", std::string(128, 'x') + "\n", 2},
        {std::string(127, 'x') + "/", std::string(127, 'x') + "\n", 1},
        {std::string(300, 'x') + "/", std::string(300, 'x') + "\n", 3},
    };
    for (const auto& [sent, stored, acknowledged] : cases) {
        say(sent);
        EXPECT_EQ(Tvsocket_rmtReceiveFile(&socket_, path), 0);
        EXPECT_EQ(contents(path), stored);
        std::string acknowledgements;
        for (int i = 0; i < acknowledged; ++i)
            acknowledgements += "/\n";
        EXPECT_EQ(heard(), acknowledgements) << sent.size() << " bytes";
    }
    struct stat status {};
    ASSERT_EQ(stat(path, &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0777u);
    EXPECT_EQ(contents("/run/unit/protection/tv"), "protected\n");
}

TEST_F(FileTransfer, WhatASenderThatLeavesHasSentIsKept) {
    say("half a li");
    shutdown(peer_, SHUT_WR);
    EXPECT_EQ(Tvsocket_rmtReceiveFile(&socket_, path), 0);
    EXPECT_EQ(contents(path), "half a li\n");
    EXPECT_EQ(heard(), "/\n/\n");
}

TEST_F(FileTransfer, AFileThatCannotBeWrittenStillTakesItsTextOffTheLine) {
    say("text/");
    EXPECT_EQ(Tvsocket_rmtReceiveFile(&socket_, "/tolvane/no/such/folder"), scpi::executionError);
    EXPECT_EQ(heard(), "/\n");
    EXPECT_EQ(contents("/run/unit/protection/tv"), "protected\n");
}

TEST_F(FileTransfer, WithoutAClientItEndsAtOnce) {
    Tvsocket nobody;
    EXPECT_EQ(Tvsocket_rmtReceiveFile(&nobody, path), 0);
    EXPECT_EQ(contents(path), "\n");
    EXPECT_EQ(Tvsocket_rmtSendFile(&nobody, path), scpi::executionError);
}

} // namespace
