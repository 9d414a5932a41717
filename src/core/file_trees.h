#pragma once
/// The two persistent file trees are mounted read-only; each change is bracketed by a Write and a Protect. On a system
/// without the scripts behind them the trees are writable anyway, and the brackets do nothing.

/// Return what the script returned (see tvstuffSystem), or -1, having done nothing, where there is no such script.
int tvstuffWriteTv();
int tvstuffProtectTv();
int tvstuffWriteRoot();
int tvstuffProtectRoot();

/// Where a file lies, which decides the bracket that a write to it needs.
[[nodiscard]] bool tvstuffIsTempFile(const char* path); // in /media/ram/ or /tolvane/temp/: needs none
[[nodiscard]] bool tvstuffIsTvFile(const char* path);   // elsewhere in /tolvane/
[[nodiscard]] bool tvstuffIsRootFile(const char* path); // anywhere else

enum class FileTree { none, tv, root };
[[nodiscard]] FileTree tvstuffFileTreeOf(const char* path);

/// Makes a tree writable for the lifetime of the guard. Brackets do not nest: the inner end protects the tree.
class ProtectedWrite {
public:
    explicit ProtectedWrite(FileTree tree = FileTree::tv);
    ~ProtectedWrite();
    ProtectedWrite(const ProtectedWrite&) = delete;
    ProtectedWrite& operator=(const ProtectedWrite&) = delete;

private:
    FileTree tree_;
};
