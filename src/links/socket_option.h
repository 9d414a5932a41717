#pragma once

#include <sys/socket.h>

inline void setSocketOption(int fd, int level, int option, int value) {
    setsockopt(fd, level, option, &value, sizeof value);
}
