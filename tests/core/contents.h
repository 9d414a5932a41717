#pragma once
/// Files as the tests look at them.

#include <fstream>
#include <iterator>
#include <string>

/// Everything in the file; nothing if there is none.
inline std::string contents(const char* path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator(file), {}};
}
