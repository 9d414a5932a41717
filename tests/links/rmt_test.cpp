#include "../core/contents.h"
#include "../core/full_disk.h"
#include "base/error_codes.h"
#include "links/rmt.h"
#include "links/tvsocket.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr char path[] = "/tolvane/dev/table.csv";

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
    void say(const std::string& text) { EXPECT_EQ(write(peer_, text.data(), text.size()), ssize_t(text.size())); }
    /// What the instrument has sent so far.
    std::string heard() {
        char text[8192];
        return {text, static_cast<size_t>(std::max<ssize_t>(recv(peer_, text, sizeof text, MSG_DONTWAIT), 0))};
    }

    Tvsocket socket_;
    int peer_ = -1;
};

TEST_F(FileTransfer, SendsEachFileInOrderWithoutItsLastNewline) {
    std::string lines;
    for (int i = 0; lines.size() < 1000; ++i)
        lines += std::to_string(i) + ";1.5\n";
    std::vector<std::string> files{"", "x", "\n", "\n\n", "a\n"};
    for (const size_t size : {128, 129, 130, 256, 257, 1000}) // around one and two pieces
        for (const char* last : {"\n", "z"})
            files.push_back(lines.substr(0, size - 1) + last);
    for (const std::string& file : files) {
        std::ofstream(path) << file;
        EXPECT_EQ(Tvsocket_rmtSendFile(&socket_, path), 0);
        EXPECT_EQ(heard(), file.substr(0, file.size() - file.ends_with('\n')) + "/\n") << file.size() << " bytes";
    }
    EXPECT_EQ(Tvsocket_rmtSendFile(&socket_, "/tolvane/no/such"), scpi::executionError);
    EXPECT_EQ(heard(), "/\n") << "a missing file is an empty one and a failure";
}

TEST_F(FileTransfer, ReceivesUpToTheSlashAndAcknowledgesEachRead) {
    for (const std::string& text : {std::string("1;2\n3;4"), std::string(), std::string(127, 'x'),
                                    std::string(128, 'x'), std::string(300, 'x')}) {
        say(text + "/");
        EXPECT_EQ(Tvsocket_rmtReceiveFile(&socket_, path), 0);
        EXPECT_EQ(contents(path), text + "\n");
        std::string acknowledgements;
        for (size_t read = 0; read <= text.size(); read += 128)
            acknowledgements += "/\n";
        EXPECT_EQ(heard(), acknowledgements) << text.size() << " bytes";
    }
    struct stat status {};
    ASSERT_EQ(stat(path, &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0777u);
    EXPECT_EQ(contents("/run/unit/protection/tv"), "protected\n");
}

TEST_F(FileTransfer, EndsInOrderWhateverGoesWrong) {
    say("a/ignored");
    EXPECT_EQ(Tvsocket_rmtReceiveFile(&socket_, path), 0);
    EXPECT_EQ(contents(path), "a\n");
    say("text/"); // to a file that cannot be written; it leaves the line all the same
    EXPECT_EQ(Tvsocket_rmtReceiveFile(&socket_, "/tolvane/no/such/folder"), scpi::executionError);
    EXPECT_EQ(heard(), "/\n/\n");
    say("newer/");
    {
        const FullDisk full;
        EXPECT_EQ(Tvsocket_rmtReceiveFile(&socket_, path), scpi::executionError);
    }
    EXPECT_EQ(heard(), "/\n");
    EXPECT_EQ(contents(path), "a\n");
    say("half a li");
    shutdown(peer_, SHUT_WR);
    EXPECT_EQ(Tvsocket_rmtReceiveFile(&socket_, path), 0);
    EXPECT_EQ(contents(path), "half a li\n") << "what a sender that leaves has sent is kept";
    EXPECT_EQ(heard(), "/\n/\n");
    Tvsocket nobody;
    EXPECT_EQ(Tvsocket_rmtReceiveFile(&nobody, path), 0);
    EXPECT_EQ(contents(path), "\n");
    EXPECT_EQ(Tvsocket_rmtSendFile(&nobody, path), scpi::executionError);
    EXPECT_EQ(contents("/run/unit/protection/tv"), "protected\n");
}

} // namespace
