#pragma once
/// The least VXI-11 client there is.

#include "tcp_peer.h"

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <sys/uio.h>
#include <vector>

/// The least client there is: messages written out, one record a call.
class RpcPeer {
public:
    static constexpr uint32_t core = 395183, createCall = 10, writeCall = 11, readCall = 12;
    static constexpr int instrumentPort = 1024;
    static constexpr uint32_t readMax = 1 << 20, endOfAnswer = 4, noLink = 0xFFFFFFFF;

    explicit RpcPeer(int port) : fd_(connectTo(port)), reply_(readMax + 64) {}
    ~RpcPeer() { close(fd_); }
    RpcPeer(const RpcPeer&) = delete;
    RpcPeer& operator=(const RpcPeer&) = delete;

    /// The number of a link; noLink if both are in use.
    uint32_t open() {
        call(createCall, {1, 0, 0}, "inst0");
        return word(6) == 0 ? word(7) : noLink;
    }
    void write(uint32_t lid, std::string_view text) {
        call(writeCall, {lid, 1000, 0, 8}, text);
        if (word(6) != 0 || word(7) != text.size())
            fail("device_write");
    }
    /// Returns the bytes of the answer; `*end` tells whether it is the last.
    uint32_t read(uint32_t lid, uint32_t size, bool* end) {
        call(readCall, {lid, size, 1000, 0, 0, 0}, {}, false);
        if (word(6) != 0)
            fail("device_read");
        *end = (word(7) & endOfAnswer) != 0;
        return word(8);
    }

    /// What the last read has brought, until the next call.
    [[nodiscard]] std::string_view data() const { return {reply_.data() + 4 * 9, word(8)}; }

private:
    [[nodiscard]] uint32_t word(size_t index) const {
        uint32_t value;
        memcpy(&value, reply_.data() + 4 * index, sizeof value);
        return ntohl(value);
    }
    void call(uint32_t procedure, std::initializer_list<uint32_t> arguments, std::string_view data,
              bool hasData = true) {
        request_.assign({0, ++xid_, 0, 2, core, 1, procedure, 0, 0, 0, 0});
        request_.insert(request_.end(), arguments);
        if (hasData)
            request_.push_back(static_cast<uint32_t>(data.size()));
        for (uint32_t& value : request_)
            value = htonl(value);
        const size_t head = request_.size();
        request_.resize(head + (data.size() + 3) / 4);
        std::copy(data.begin(), data.end(), reinterpret_cast<char*>(request_.data() + head));
        request_[0] = htonl(static_cast<uint32_t>(4 * (request_.size() - 1)) | 1u << 31);
        const auto bytes = static_cast<ssize_t>(4 * request_.size());
        if (::write(fd_, request_.data(), static_cast<size_t>(bytes)) != bytes)
            fail("write");
        receive();
    }
    /// A record of one fragment; word(0) is the number of the call.
    void receive() {
        char* const from = reply_.data();
        size_t got = 0, wanted = 4;
        uint32_t mark = 0;
        std::array<iovec, 2> parts{{{&mark, sizeof mark}, {from, reply_.size()}}};
        while (got < wanted) {
            const ssize_t n = got == 0 ? readv(fd_, parts.data(), 2) : ::read(fd_, from + got - 4, wanted - got);
            if (n < (got == 0 ? 4 : 1))
                fail("read");
            got += static_cast<size_t>(n);
            wanted = 4 + (ntohl(mark) & ~(1u << 31));
        }
    }
    int fd_;
    uint32_t xid_ = 0;
    std::vector<uint32_t> request_;
    std::vector<char> reply_;
};
