#pragma once
/// A client of a link of this process, behind the memory transport.

#include "links/memory_transport.h"

#include <string>
#include <string_view>
#include <utility>

class MemoryClient {
public:
    enum MainLoop { noMainLoop, mainLoop };

    explicit MemoryClient(scpi_link* link, MainLoop loop = noMainLoop)
        : row_{.link = link, .transport = &memoryTransport, .medium = &medium_, .alone = loop == noMainLoop} {
        medium_.take = [](void* context, std::string_view answer) {
            static_cast<MemoryClient*>(context)->answers_ += answer;
        };
        medium_.context = this;
    }
    MemoryClient(const MemoryClient&) = delete;
    MemoryClient& operator=(const MemoryClient&) = delete;

    /// Sends a text, `piece` bytes at a time, and gives what is answered.
    std::string ask(std::string_view text, size_t piece = SIZE_MAX) {
        medium_.unsent = text;
        medium_.piece = piece;
        memory_converse(row_);
        return std::exchange(answers_, {});
    }
    /// Of what the buffer holds, the answers of one pass; and those of all that follow.
    std::string askForSome() {
        more_ = link_answer(row_);
        return std::exchange(answers_, {});
    }
    std::string rest() {
        std::string all;
        while (more_)
            all += askForSome();
        return all;
    }
    std::string askForAll() {
        const std::string first = askForSome();
        return first + rest();
    }
    void clear() {
        medium_.clears = true;
        memory_converse(row_);
    }

private:
    MemoryMedium medium_;
    LinkRow row_;
    std::string answers_;
    bool more_ = false;
};

/// One message on a link that a main loop serves, and its whole answer.
inline std::string askOn(scpi_link* link, std::string_view message) {
    return MemoryClient(link, MemoryClient::mainLoop).ask(message);
}
