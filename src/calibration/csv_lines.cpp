#include "calibration/csv_lines.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

bool CsvLines::open(const char* path) {
    close();
    failed_ = false;
    begin_ = end_ = total_ = 0;
    descriptor_ = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK); // a pipe must not wait for its writer
    isOpen_ = descriptor_ >= 0;
    struct stat status;
    if (isOpen_ && (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)))
        close();
    return isOpen_;
}

void CsvLines::close() {
    line_[0] = '\0';
    if (isOpen_)
        ::close(descriptor_);
    isOpen_ = false;
}

bool CsvLines::fail() {
    failed_ = true;
    close();
    return false;
}

long CsvLines::refill() {
    memmove(buffer_, buffer_ + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    ssize_t count;
    do
        count = read(descriptor_, buffer_ + end_, sizeof buffer_ - end_);
    while (count < 0 && errno == EINTR);
    if (count > 0) {
        end_ += static_cast<size_t>(count);
        total_ += static_cast<size_t>(count);
    }
    return total_ > csvFileMax ? -1 : count;
}

bool CsvLines::next() {
    if (!isOpen_)
        return false;
    size_t searched = 0;
    for (;;) {
        const char* start = buffer_ + begin_;
        const auto* newline = static_cast<const char*>(memchr(start + searched, '\n', end_ - begin_ - searched));
        searched = end_ - begin_;
        const size_t length = newline != nullptr ? static_cast<size_t>(newline - start) : searched;
        if (length > csvLineMax)
            return fail();
        if (newline == nullptr) {
            const long count = refill();
            if (count < 0)
                return fail();
            if (count > 0)
                continue;
            if (searched == 0) {
                close();
                return false;
            }
        }
        const size_t size = length + (newline != nullptr);
        memcpy(line_, buffer_ + begin_, size);
        line_[size] = '\0';
        begin_ += size;
        return memchr(line_, '\0', size) == nullptr || fail();
    }
}
