#include "links/rmt.h"

#include "base/error_codes.h"
#include "core/file_draft.h"
#include "core/file_trees.h"
#include "links/tvsocket.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>

namespace {

constexpr size_t pieceSize = 128; // bytes
constexpr std::string_view endOfFile = "/\n";
constexpr mode_t everybody = 0777;

constexpr time_t silenceLimit_s = 10;

/// Bounds each read and write of a transfer: a command runs it, and a silent client must not hold up the rest of
/// the instrument. A step that takes longer fails like a connection that is gone.
class TimeLimit {
public:
    explicit TimeLimit(int fd) : fd_(fd) { set(silenceLimit_s); }
    ~TimeLimit() { set(0); }
    TimeLimit(const TimeLimit&) = delete;
    TimeLimit& operator=(const TimeLimit&) = delete;

private:
    void set(time_t seconds) {
        const timeval limit{.tv_sec = seconds, .tv_usec = 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    }
    int fd_;
};

bool sendText(Tvsocket* socket, std::string_view text) {
    return Tvsocket_send(socket, text.data(), text.size());
}

} // namespace

int Tvsocket_rmtSendFile(Tvsocket* socket, const char* path) {
    const TimeLimit limit(socket->connFd);
    FILE* file = fopen(path, "r");
    bool good = file != nullptr;
    // One byte is held back at the front of the buffer until it is known whether it is the file's last.
    std::array<char, 1 + pieceSize> buffer;
    size_t held = 0;
    while (file != nullptr) {
        const size_t count = held + fread(buffer.data() + held, 1, pieceSize, file);
        if (count == held)
            break;
        good = good && Tvsocket_send(socket, buffer.data(), count - 1);
        buffer[0] = buffer[count - 1];
        held = 1;
    }
    if (file != nullptr)
        fclose(file);

    std::array<char, 1 + endOfFile.size()> tail;
    const size_t kept = held == 1 && buffer[0] != '\n' ? 1 : 0;
    tail[0] = buffer[0];
    endOfFile.copy(tail.data() + kept, endOfFile.size());
    good = Tvsocket_send(socket, tail.data(), kept + endOfFile.size()) && good;
    return good ? 0 : scpi::executionError;
}

int Tvsocket_rmtReceiveFile(Tvsocket* socket, const char* path) {
    const TimeLimit limit(socket->connFd);
    ProtectedWrite writable;
    FileDraft file(path, everybody);
    bool ended = false;
    while (!ended) {
        std::array<char, pieceSize> buffer;
        const int count = Tvsocket_receive(socket, buffer.data(), static_cast<int>(buffer.size()));
        if (count == 0)
            break;
        const void* slash = memchr(buffer.data(), '/', static_cast<size_t>(count));
        ended = slash != nullptr;
        const size_t text =
            ended ? static_cast<size_t>(static_cast<const char*>(slash) - buffer.data()) : static_cast<size_t>(count);
        file.write({buffer.data(), text});
        if (!sendText(socket, endOfFile))
            break;
    }
    if (!ended)
        (void)sendText(socket, endOfFile);
    file.write("\n");
    return file.commit();
}
