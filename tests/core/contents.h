#pragma once
/// Files as the tests look at them.

#include <fstream>
#include <iterator>
#include <string>

/// Everything in the file; nothing if there is none.
inline std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator(file), {}};
}
inline void put(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}
