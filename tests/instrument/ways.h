#pragma once
/// The ways to one running instrument, for a client that knows how long its answers are.

#include "benchmarks/bus_peers.h"
#include "benchmarks/rpc_peer.h"
#include "benchmarks/tcp_peer.h"

#include <fcntl.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/un.h>
#include <vector>

/// A line and what it is to answer; both with their newlines, the answer may be empty.
struct Message {
    std::string text, answer;
};
using Messages = std::vector<Message>;

class Way {
public:
    virtual ~Way() = default;
    /// Sends all of them and returns what they have answered: as many bytes as they should.
    virtual std::string converse(const Messages& messages) = 0;
    /// The client leaves, and another one comes.
    virtual void comeAgain() = 0;

protected:
    static std::string textOf(const Messages& messages) {
        std::string text;
        for (const Message& message : messages)
            text += message.text;
        return text;
    }
    static size_t answerBytes(const Messages& messages) {
        size_t count = 0;
        for (const Message& message : messages)
            count += message.answer.size();
        return count;
    }
};

class TcpWay : public Way {
public:
    explicit TcpWay(int port) : port_(port) { enter(); }
    ~TcpWay() override { close(fd_); }
    std::string converse(const Messages& messages) override {
        sendAll(fd_, textOf(messages));
        std::string answers(answerBytes(messages), '\0');
        receiveAll(fd_, answers.data(), answers.size());
        return answers;
    }
    void comeAgain() override {
        close(fd_);
        enter();
    }

private:
    /// The port may still be another client's: the one that has just left.
    void enter() {
        char answer[2];
        for (;;) {
            fd_ = connectTo(port_);
            if (write(fd_, "*OPC?\n", 6) == 6 && read(fd_, answer, 2) == 2)
                return;
            close(fd_);
        }
    }
    int port_, fd_ = -1;
};

class VxiWay : public Way {
public:
    VxiWay() { enter(); }
    std::string converse(const Messages& messages) override {
        peer_->write(lid_, textOf(messages));
        std::string answers;
        while (answers.size() < answerBytes(messages)) {
            bool end = false;
            peer_->read(lid_, 1 + answers.size() % 700, &end);
            answers += peer_->data();
            if (end && answers.size() < answerBytes(messages))
                return answers += "<the end>";
        }
        return answers;
    }
    void comeAgain() override { enter(); }

private:
    void enter() {
        do {
            peer_.reset();
            peer_.emplace(RpcPeer::instrumentPort);
            lid_ = peer_->open();
        } while (lid_ == RpcPeer::noLink);
    }
    std::optional<RpcPeer> peer_;
    uint32_t lid_ = 0;
};

class UsbWay : public Way {
public:
    std::string converse(const Messages& messages) override {
        peer_->write(textOf(messages));
        std::string answers;
        for (bool end; answers.size() < answerBytes(messages);)
            answers += peer_->read(1 + answers.size() % 700, &end);
        return answers;
    }
    void comeAgain() override {
        peer_.reset();
        peer_ = std::make_unique<UsbPeer>();
    }

private:
    std::unique_ptr<UsbPeer> peer_ = std::make_unique<UsbPeer>();
};

class GpibWay : public Way {
public:
    std::string converse(const Messages& messages) override {
        std::string lines;
        for (const Message& message : messages)
            lines.append(message.text).append(message.answer.empty() ? "" : GpibPeer::readLine);
        peer_->send(lines);
        std::string answers(answerBytes(messages), '\0');
        peer_->receive(answers.data(), answers.size());
        return answers;
    }
    void comeAgain() override { peer_ = std::make_unique<GpibPeer>(); }

private:
    std::unique_ptr<GpibPeer> peer_ = std::make_unique<GpibPeer>();
};

class PanelWay : public Way {
public:
    explicit PanelWay(std::string path) : path_(std::move(path)) { enter(); }
    ~PanelWay() override { close(fd_); }
    std::string converse(const Messages& messages) override {
        sendAll(fd_, textOf(messages));
        std::string answers;
        for (size_t left = messages.size(); left > 0;) {
            const std::string line = receiveLine();
            if (!line.starts_with("answer ") && !line.starts_with("refused"))
                continue; // of the display
            if (line.starts_with("refused"))
                return line;
            answers += receive(std::stoul(line.substr(7)));
            --left;
        }
        return answers;
    }
    void comeAgain() override {
        close(fd_);
        received_.clear();
        enter();
    }

private:
    void enter() {
        sockaddr_un place{};
        place.sun_family = AF_UNIX;
        path_.copy(place.sun_path, sizeof place.sun_path - 1);
        fd_ = socket(AF_UNIX, SOCK_STREAM, 0);
        if (connect(fd_, reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0)
            fail("panel");
    }
    void more() {
        char bytes[4096];
        const ssize_t count = read(fd_, bytes, sizeof bytes);
        if (count <= 0)
            fail("panel");
        received_.append(bytes, static_cast<size_t>(count));
    }
    std::string receive(size_t count) {
        while (received_.size() < count)
            more();
        std::string bytes = received_.substr(0, count);
        received_.erase(0, count);
        return bytes;
    }
    std::string receiveLine() {
        while (received_.find('\n') == std::string::npos)
            more();
        return receive(received_.find('\n') + 1);
    }
    std::string path_, received_;
    int fd_ = -1;
};

/// Keys into a pipe; what the instrument prints goes to a file, so that anything else in there is a wrong answer.
class ConsoleWay : public Way {
public:
    ConsoleWay(int keys, const char* printed) : keys_(keys), printed_(open(printed, O_RDONLY | O_CLOEXEC)) {
        if (printed_ < 0)
            fail(printed);
        lseek(printed_, 0, SEEK_END);
    }
    ~ConsoleWay() override { close(printed_); }
    std::string converse(const Messages& messages) override {
        sendAll(keys_, textOf(messages));
        std::string answers(answerBytes(messages), '\0');
        for (size_t got = 0; got < answers.size();) {
            const ssize_t count = read(printed_, answers.data() + got, answers.size() - got);
            if (count < 0)
                fail("console");
            if (count == 0)
                usleep(1000);
            got += static_cast<size_t>(count);
        }
        return answers;
    }
    void comeAgain() override {}

private:
    int keys_, printed_;
};
