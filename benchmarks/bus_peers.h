#pragma once
/// The least clients there are of the virtual unit's buses: a USBTMC driver over USB/IP, and a controller behind the
/// GPIB adapter.

#include "tcp_peer.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

inline void sendAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = write(fd, bytes.data(), bytes.size());
        if (sent <= 0)
            fail("write");
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
}

inline void receiveAll(int fd, char* where, size_t count) {
    while (count > 0) {
        const ssize_t got = read(fd, where, count);
        if (got <= 0)
            fail("read");
        where += got;
        count -= static_cast<size_t>(got);
    }
}

class UsbPeer {
public:
    static constexpr int port = 3240;

    /// Attaches the unit and configures it.
    UsbPeer() : fd_(connectTo(port)), packet_(transferMax) {
        std::string request("\x01\x11\x80\x03\0\0\0\0"
                            "1-1",
                            11);
        request.resize(8 + 32);
        sendAll(fd_, request);
        std::array<char, 8 + 312> device{};
        receiveAll(fd_, device.data(), 8);
        if (device[7] != 0)
            fail("import");
        receiveAll(fd_, device.data(), 312);
        submit(0, false, 0, {0, 9, 1, 0, 0, 0, 0, 0}, {});
        complete();
    }
    ~UsbPeer() { close(fd_); }
    UsbPeer(const UsbPeer&) = delete;
    UsbPeer& operator=(const UsbPeer&) = delete;

    void write(std::string_view message) {
        submitMessage(message);
        complete();
    }
    /// One transfer of at most `most` bytes of an answer; `*end` tells whether it is the answer's last. Valid until the
    /// next one.
    std::string_view read(size_t most, bool* end) {
        submitRead(most);
        complete();
        return data(end);
    }
    /// A message and the first transfer of its answer, all three requests at once.
    std::string_view query(std::string_view message, size_t most, bool* end) {
        submitMessage(message);
        submitRead(most);
        complete();
        return data(end);
    }

private:
    using Setup = std::array<uint8_t, 8>;
    static constexpr size_t transferMax = 1 << 20, headBytes = 12, packetBytes = 512;
    static constexpr uint8_t messageOut = 1, requestIn = 2, endOfMessage = 1;
    static constexpr uint32_t bulkOut = 1, bulkIn = 2;

    static std::string head(uint8_t kind, uint8_t tag, size_t size, uint8_t attributes) {
        std::string text{static_cast<char>(kind), static_cast<char>(tag), static_cast<char>(~tag), 0};
        for (int shift = 0; shift < 32; shift += 8)
            text += static_cast<char>(size >> shift & 0xff);
        return text.append(1, static_cast<char>(attributes)).append(3, '\0');
    }
    uint8_t nextTag() { return tag_ = static_cast<uint8_t>(tag_ % 255 + 1); }
    void submitMessage(std::string_view message) {
        std::string transfer = head(messageOut, nextTag(), message.size(), endOfMessage).append(message);
        transfer.resize((transfer.size() + 3) / 4 * 4);
        submit(bulkOut, false, transfer.size(), {}, transfer);
    }
    void submitRead(size_t most) {
        submit(bulkOut, false, headBytes, {}, head(requestIn, nextTag(), most, 0));
        submit(bulkIn, true, std::min((most + headBytes + packetBytes) / packetBytes * packetBytes, transferMax), {},
               {});
    }
    void submit(uint32_t endpoint, bool toHost, size_t length, const Setup& setup, std::string_view data) {
        const std::array<uint32_t, 10> command{htonl(1),
                                               htonl(++sequence_),
                                               htonl(0x10002),
                                               htonl(toHost),
                                               htonl(endpoint),
                                               0,
                                               htonl(static_cast<uint32_t>(length)),
                                               0,
                                               0,
                                               0};
        unsent_.append(reinterpret_cast<const char*>(command.data()), sizeof command);
        unsent_.append(reinterpret_cast<const char*>(setup.data()), setup.size()).append(data);
        if (toHost)
            reads_ = sequence_;
        ++pending_;
    }
    /// Sends what has been submitted and takes all of it back.
    void complete() {
        sendAll(fd_, unsent_);
        for (unsent_.clear(); pending_ > 0; --pending_) {
            std::array<uint32_t, 12> reply{};
            receiveAll(fd_, reinterpret_cast<char*>(reply.data()), sizeof reply);
            if (ntohl(reply[0]) != 3 || reply[5] != 0)
                fail("a request has failed");
            if (ntohl(reply[1]) == reads_)
                receiveAll(fd_, packet_.data(), got_ = ntohl(reply[6]));
        }
    }
    [[nodiscard]] std::string_view data(bool* end) const {
        if (got_ < headBytes)
            fail("a transfer without its head");
        *end = (packet_[8] & endOfMessage) != 0;
        return std::string_view(packet_.data(), got_).substr(headBytes);
    }

    int fd_;
    std::vector<char> packet_;
    size_t got_ = 0;
    std::string unsent_;
    uint32_t sequence_ = 0, reads_ = 0, pending_ = 0;
    uint8_t tag_ = 0;
};

class GpibPeer {
public:
    static constexpr int port = 1234;

    /// With a message's newline as it is, and END behind it.
    GpibPeer() : fd_(connectTo(port)) { sendAll(fd_, "++addr 18\n++eos 2\n++eoi 1\n++read_tmo_ms 3000\n"); }
    ~GpibPeer() { close(fd_); }
    GpibPeer(const GpibPeer&) = delete;
    GpibPeer& operator=(const GpibPeer&) = delete;

    /// Lines for the adapter or the unit.
    void send(std::string_view lines) { sendAll(fd_, lines); }
    static constexpr std::string_view readLine = "++read eoi\n";
    /// Answers of `count` bytes that are being read. Where the adapter has given up waiting it is told to read again.
    void receive(char* where, size_t count) {
        constexpr timeval silence{.tv_sec = 4, .tv_usec = 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &silence, sizeof silence);
        while (count > 0) {
            const ssize_t got = read(fd_, where, count);
            if (got < 0 && errno == EAGAIN) {
                send(readLine);
                continue;
            }
            if (got <= 0)
                fail("read");
            where += got;
            count -= static_cast<size_t>(got);
        }
    }

private:
    int fd_;
};
