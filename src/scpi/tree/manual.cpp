/// command-manual [file]: writes the manual of the commands from the rows themselves, to the file or to standard
/// output.

#include "scpi/error_queue.h"
#include "scpi/tree/command_tree.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr char preface[] =
    R"(# Commands

Every command of the instrument, by branch. This page is written by `command-manual` from the rows of
`src/scpi/tree/`: change the rows, then run `command-manual docs/commands.md`.

## How to read it, how to write it

**Headers.** The nodes of a header are joined by `:`. Each node has two forms, the upper-case start and the whole word,
in any case: `FREQuency` is `freq` or `frequency`, nothing between. Nodes in brackets may be left out. `<n>` behind a
node stands for a number that may be written there, as in `SUPPly2`. A header that ends in `?` is a query. *Form* tells
which of the two a command has: Q for the query, S for the command without `?`.

**Messages.** A newline ends a message. `;` joins several commands; the answers of a message are one line, joined by
`;` too. Behind `;` a header goes on at the level of the one before: `:SENS:PN:AVER 5;CORR 2` sets both. A leading `:`
starts at the root again. Any number of messages may be sent without waiting for answers: all come, in the order of the
queries. A block ends the line of answers before it, and the answers behind it begin a new one.

**Numbers.** A plain number with an exponent or with a suffix of its quantity: `1.5GHz`, `1500 MHz`, `15E8`. Suffixes
ignore case: `mHz` is megahertz. Where *Parameters* lists `MIN` and `MAX`, the words MINimum and MAXimum stand for the
limits, in a query as well: `SENS:PN:FREQ? MAX`. A number beyond a limit is set to the limit without an error. Answers
are in the base unit: Hz, s, V, A.

**Switches.** `ON`, `OFF` or a number, which is on unless it rounds to 0. Answers are `1` and `0`.

**Words.** Written like nodes of a header; another word than those listed is error -113.

**Texts** stand in double quotes. They cannot hold a comma, a semicolon or a newline.

**Blocks.** A block answer is `#`, one digit that counts the digits of the length, the length in bytes, and the data,
with no newline behind it: `#15hello`. A binary block is framed differently: the size of a header (32 bits), that header,
the size of the data (32 bits), the data, all little-endian. The header is empty, except for a block of several pieces,
where it holds the number 1 and the size of each piece.

**While a measurement is running** settings reach the next one. What would touch the hardware at once, also to read it, is
refused with -221 and changes nothing.

**Errors** wait in a queue of 50 entries, one for all links; `SYSTem:ERRor?` takes the oldest. A command that the
instrument does not have, or has no hardware for, is error -113. When the queue overflows its newest entry becomes -350.
)";

constexpr int32_t errorCodes[] = {
    0,    -100, -108, -109, -113, -131, -190, -191,   -200,    -221,    -222,    -223,    -224,
    -226, -240, -241, -321, -350, -365, -400, -65736, -131272, -196808, -262344, -327880, -393416,
};

/// Text as a code span in a cell of a table; nothing for no text.
std::string code(std::string_view text) {
    if (text.empty())
        return "";
    std::string cell = "`";
    for (const char c : text) {
        if (c == '|')
            cell += '\\';
        cell += c;
    }
    return cell + '`';
}

/// A header as it is sent, where there is only one way to send it.
std::string headerText(const scpi::Row& row) {
    return std::string(row.header) + (row.forms == scpi::Q ? "?" : "");
}
const char* formText(scpi::Forms forms) {
    return forms == scpi::QS ? "QS" : forms == scpi::Q ? "Q" : "S";
}

void writeBranch(FILE* out, const scpi::CommandBranch& branch) {
    fprintf(out, "\n## %s\n\n| Command | Form | Parameters | Meaning |\n|---|---|---|---|\n", branch.title);
    for (const scpi::Row& row : branch.rows)
        if (row.meaning != nullptr)
            fprintf(out, "| %s | %s | %s | %s |\n", code(headerText(row)).c_str(), formText(row.forms),
                    code(row.parameters).c_str(), row.meaning);
}

void writeOldForms(FILE* out) {
    fprintf(out,
            "\n## Older forms\n\nA prefix and what stands behind it, for host tools of an older kind. They are looked "
            "at last.\n\n| Prefix | Parameters | Meaning |\n|---|---|---|\n");
    for (const scpi::OldRow& row : scpi::commandOldRows())
        fprintf(out, "| %s | %s | %s |\n", code(row.prefix).c_str(), code(row.parameters).c_str(), row.meaning);
}

void writeErrors(FILE* out) {
    fprintf(out, "\n## Error codes\n\nAs `SYSTem:ERRor?` answers them.\n\n| Entry |\n|---|\n");
    for (const int32_t error : errorCodes) {
        std::array<char, 128> text{};
        int32_t length = 0;
        if (scpi_errorCode2Str(text.data(), error, text.size(), &length) == 0)
            fprintf(out, "| %s |\n", code(text.data()).c_str());
    }
}

} // namespace

int main(int argc, char** argv) {
    FILE* const out = argc > 1 ? fopen(argv[1], "w") : stdout;
    if (out == nullptr) {
        perror(argv[1]);
        return 1;
    }
    fputs(preface, out);
    for (const scpi::CommandBranch& branch : scpi::commandBranches())
        writeBranch(out, branch);
    writeOldForms(out);
    writeErrors(out);
    if (fclose(out) != 0) {
        perror("command-manual");
        return 1;
    }
    return 0;
}
