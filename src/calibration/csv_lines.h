#pragma once
/// The lines of a text file, one after another, in memory that does not grow.

#include <cstddef>

inline constexpr size_t csvLineMax = 32767;            // characters of a line without its end
inline constexpr size_t csvFileMax = 16 * 1024 * 1024; // bytes: three times a file with every table full

class CsvLines {
public:
    /// False if there is no such file, or if it is none that has an end (a folder, a pipe, a device).
    [[nodiscard]] bool open(const char* path);
    void close();

    /// Goes on to the next line. False, with an empty line, at the end of the file and where nothing can be read on: an
    /// error of the disk, a line or a file that is too long, a zero byte. From then on it stays false.
    [[nodiscard]] bool next();
    /// After next() returned false: there is more in the file.
    [[nodiscard]] bool failed() const { return failed_; }

    /// The line with its end, which only the last one of a file may lack.
    [[nodiscard]] const char* line() const { return line_; }

private:
    /// Reads on behind what is left of the buffer. Returns the bytes read, 0 at the end of the file, -1.
    [[nodiscard]] long refill();
    bool fail();

    // All zero at first, so that the one reader of the process costs no room in the program's file.
    int descriptor_ = 0; // while it is open
    bool isOpen_ = false, failed_ = false;
    size_t begin_ = 0, end_ = 0, total_ = 0;
    char line_[csvLineMax + 2] = "";
    char buffer_[2 * (csvLineMax + 1)] = {};
};
