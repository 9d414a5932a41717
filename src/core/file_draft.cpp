#include "core/file_draft.h"

#include "base/error_codes.h"
#include "core/file_trees.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char draftEnding[] = ".~new"; // no user's file is called so
constexpr int foldersOpen = 8;

int removeIfDraft(const char* path, const struct stat*, int kind, struct FTW*) {
    if (kind == FTW_F && std::string_view(path).ends_with(draftEnding)) {
        ProtectedWrite guard(tvstuffFileTreeOf(path));
        unlink(path);
    }
    return 0;
}

/// Makes a new name outlive a loss of power. The file has it already, so a failure changes nothing.
void syncFolderOf(char* path) {
    char* const slash = strrchr(path, '/');
    if (slash == nullptr || slash == path)
        return;
    *slash = '\0';
    if (const int folder = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC); folder >= 0) {
        fsync(folder);
        close(folder);
    }
    *slash = '/';
}

} // namespace

FileDraft::FileDraft(const char* path, mode_t mode) {
    const int length = snprintf(path_, sizeof path_, "%s", path);
    const int draftLength = snprintf(draft_, sizeof draft_, "%s%s", path, draftEnding);
    if (length < 0 || draftLength < length || draftLength >= pathMax)
        return;
    descriptor_ = open(draft_, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    if (descriptor_ >= 0)
        state_ = fchmod(descriptor_, mode) == 0 ? State::writing : State::failed;
}

FileDraft::~FileDraft() {
    if (descriptor_ < 0)
        return;
    close(descriptor_);
    if (state_ == State::committed)
        syncFolderOf(path_);
    else
        unlink(draft_);
}

void FileDraft::write(std::string_view content) {
    while (state_ == State::writing && !content.empty()) {
        const ssize_t count = ::write(descriptor_, content.data(), content.size());
        if (count > 0)
            content.remove_prefix(static_cast<size_t>(count));
        else if (count == 0 || errno != EINTR)
            state_ = State::failed;
    }
}

int FileDraft::finish() {
    if (state_ == State::writing)
        state_ = fsync(descriptor_) == 0 ? State::finished : State::failed;
    return state_ == State::failed ? scpi::executionError : 0;
}

int FileDraft::commit() {
    if (const int error = finish(); error != 0)
        return error;
    if (state_ == State::finished) {
        if (rename(draft_, path_) != 0)
            return scpi::executionError;
        state_ = State::committed;
    }
    return 0;
}

void file_removeDrafts(const char* folder) {
    nftw(folder, removeIfDraft, foldersOpen, FTW_PHYS);
}

int file_replace(const char* path, std::string_view content) {
    FileDraft draft(path);
    draft.write(content);
    return draft.commit();
}
