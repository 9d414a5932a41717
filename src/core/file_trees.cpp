#include "core/file_trees.h"

#include "base/tvdebug.h"
#include "core/shell.h"

#include <string_view>
#include <unistd.h>

namespace {

constexpr char rule[] = "######################################################################\n";

int changeState(const char* script, const char* message) {
    if (const int result = access(script, X_OK); result != 0)
        return result;
    const int status = tvstuffSystem(script);
    printd("%s%s%s", rule, message, rule);
    return status;
}

} // namespace

int tvstuffWriteTv() {
    return changeState("/bin/write_tv", "# tvstuffWriteTv(): Tolvane file system is now writeable (vulnerable) #\n");
}

int tvstuffProtectTv() {
    return changeState("/bin/protect_tv", "# tvstuffProtectTv(): Tolvane file system is now read-only (safe)     #\n");
}

int tvstuffWriteRoot() {
    return changeState("/bin/write_root", "# tvstuffWriteRoot(): Root file system is now writeable (vulnerable)  #\n");
}

int tvstuffProtectRoot() {
    return changeState("/bin/protect_root",
                       "# tvstuffProtectRoot(): Root file system is now read-only (safe)      #\n");
}

bool tvstuffIsTempFile(const char* path) {
    return tvstuffFileTreeOf(path) == FileTree::none;
}
bool tvstuffIsTvFile(const char* path) {
    return tvstuffFileTreeOf(path) == FileTree::tv;
}
bool tvstuffIsRootFile(const char* path) {
    return tvstuffFileTreeOf(path) == FileTree::root;
}

FileTree tvstuffFileTreeOf(const char* path) {
    const std::string_view name(path);
    if (name.starts_with("/media/ram/") || name.starts_with("/tolvane/temp/"))
        return FileTree::none;
    return name.starts_with("/tolvane/") ? FileTree::tv : FileTree::root;
}

ProtectedWrite::ProtectedWrite(FileTree tree) : tree_(tree) {
    if (tree_ == FileTree::tv)
        tvstuffWriteTv();
    else if (tree_ == FileTree::root)
        tvstuffWriteRoot();
}

ProtectedWrite::~ProtectedWrite() {
    if (tree_ == FileTree::tv)
        tvstuffProtectTv();
    else if (tree_ == FileTree::root)
        tvstuffProtectRoot();
}
