#pragma once
/// A transport: how bytes come from a medium and go to it. The loop around it (links/link_thread.h) is the same for
/// all; a link's row says which transport carries it.

/// What a medium says with the bytes, or instead of them.
enum class Said {
    bytes,        // nothing else
    endOfMessage, // the last of the bytes ends a message
    deviceClear,  // what is under way is to be dropped
    gone,         // the client has left, or the medium has failed
};

struct Received {
    int count = 0; // bytes; 0 with Said::gone
    Said said = Said::bytes;
};

/// What became of an answer.
struct Sent {
    int taken = 0;       // bytes; the others stay for the next call
    bool goesOn = false; // the medium wants what else there is now
    Said said = Said::bytes;
};

/// `medium` is the row's. All of them run on the link's thread.
struct Transport {
    /// Waits until a client is there; `path` is the row's. False: there will be none any more.
    bool (*open)(void* medium, const char* path);
    /// Waits for bytes and takes at most `room` of them. Without room, which no client that keeps to the rules sees, it
    /// waits for nothing.
    Received (*receive)(void* medium, char* where, int room);
    /// Sends the `count` bytes, or loses them with a client that has gone; 0 tells that there is no answer. With `more`
    /// those of the next call belong to the same answer. A medium whose client fetches its answers takes what is asked
    /// for; all others take all and go on as long as there is more.
    Sent (*send)(void* medium, const char* data, int count, bool more);
    /// The client has gone: lets go of it.
    void (*close)(void* medium);
    /// Throws away what the medium still holds of before a device clear; null where it holds nothing.
    void (*clear)(void* medium);
    /// Whether a device clear has come that no receive or send has told of yet, asked while a command waits; null where
    /// nothing comes past the bytes.
    bool (*isCleared)(void* medium) = nullptr;
};
