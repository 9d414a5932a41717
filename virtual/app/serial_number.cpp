#include "virtual/app/serial_number.h"

#include <span>

namespace vi {
namespace {

struct Word {
    char character;
    std::string_view name;
};
constexpr Word analogBoards[] = {{'1', "1B"}, {'2', "1C"}, {'3', "2A"}, {'4', "2B"}, {'5', "2C"}, {'6', "2D"}};
constexpr Word acquisitionBoards[] = {{'2', "1B"}, {'3', "1C"}, {'4', "1D"}, {'5', "1E"}, {'6', "2A"}};
constexpr Word ownSources[] = {{'5', "of 6 GHz"}};
constexpr Word pairedSources[] = {{'5', "of 6 GHz"}, {'7', "of the first kind"}, {'8', "2A"}, {'9', "2B"}};

/// What the character at a position tells.
struct Position {
    size_t at;
    std::string_view what;
    std::span<const Word> words;
};

std::string_view nameAt(std::string_view number, const Position& position) {
    for (const Word& word : position.words)
        if (position.at < number.size() && number[position.at] == word.character)
            return word.name;
    return {};
}

} // namespace

std::string serialNumber_describe(std::string_view number) {
    const bool hasPairs = number.starts_with('2') || number.starts_with('5');
    const std::span<const Word> sources = hasPairs ? std::span<const Word>(pairedSources) : ownSources;
    std::string known, missing;
    for (const Position& position :
         {Position{6, "analog boards", analogBoards}, Position{9, "acquisition board", acquisitionBoards},
          Position{10, "internal sources", sources}}) {
        const std::string_view name = nameAt(number, position);
        std::string& list = name.empty() ? missing : known;
        list += list.empty() ? "" : ", ";
        list += position.what;
        if (!name.empty())
            (list += ' ') += name;
    }
    if (missing.empty())
        return known;
    return (known.empty() ? std::string("no board that is known") : known) + "\nwarning: the number names no " +
           missing + ", so runs may fail; docs/serial-numbers.md tells what its characters mean";
}

} // namespace vi
