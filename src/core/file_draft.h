#pragma once
/// A file in the making. It is written beside the file whose place it is to take, as "<path>.~new", and takes it at
/// once: whoever is killed or runs out of room on the way leaves the old file as it was. A draft that a killed process
/// left is overwritten by the next one for the same file, and removed by the next start.
///
/// Files that belong together are all finished first, when they need no more room, and then committed one after
/// another, with nothing slow in between.

#include <string_view>
#include <sys/types.h>

class FileDraft {
public:
    explicit FileDraft(const char* path, mode_t mode = 0644);
    /// Removes a draft that has not been committed; a committed one has its name on the disk after this.
    ~FileDraft();
    FileDraft(const FileDraft&) = delete;
    FileDraft& operator=(const FileDraft&) = delete;

    /// False if the draft could not be opened; all operations fail then.
    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }

    /// Appends. After a failure the draft cannot be finished.
    void write(std::string_view content);

    /// Puts everything on the disk. Returns 0, or -200 if that or a write before it failed.
    [[nodiscard]] int finish();

    /// Finishes if need be and takes the place of the file. Returns 0, or -200 with the file as it was.
    [[nodiscard]] int commit();

private:
    static constexpr int pathMax = 256;
    char path_[pathMax];
    char draft_[pathMax];
    int descriptor_ = -1;
    enum class State { writing, failed, finished, committed } state_ = State::failed;
};

/// Removes the drafts that killed processes left in a folder and below. Nobody may be writing there.
void file_removeDrafts(const char* folder);

/// Gives the file this content. Returns 0, or -200 with the file as it was.
[[nodiscard]] int file_replace(const char* path, std::string_view content);
