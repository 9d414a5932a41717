"""Many faults in one build: `mutant_chosen(17) ? faulty : right` where a fault stands in what is evaluated at run time.

What only the compiler evaluates (a table, a size, a case) keeps its right value there and shows as reached by no test.
"""

import re

from .places import TOKEN

WARNINGS = ("narrowing parentheses dangling-else int-in-bool-context unused-value unused-variable unused-but-set-variable "
            "unused-function unused-parameter maybe-uninitialized sequence-point return-type sign-compare bool-operation "
            "tautological-compare extra array-bounds div-by-zero shift-count-overflow overflow unused-result pedantic")
HEADER = """\
#ifndef MUTANT_CHOSEN
#define MUTANT_CHOSEN
extern "C" bool mutant_isChosen(int number) noexcept;
constexpr bool mutant_chosen(int number) noexcept {
    return __builtin_is_constant_evaluated() ? false : mutant_isChosen(number);
}
#endif
""" + "".join(f'#pragma GCC diagnostic ignored "-W{name}"\n' for name in WARNINGS.split())
CHOICE = """// Generated. MUTANT is the number of the fault, MUTANT_REACHED a file with a byte a fault, set when its place is passed.
#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>
static int chosen;
static unsigned char* reached;
__attribute__((constructor(101))) static void choose() {
    if (const char* text = getenv("MUTANT")) chosen = atoi(text);
    const char* path = getenv("MUTANT_REACHED");
    if (!path) return;
    int file = open("/run/mutants", O_RDWR); // inside the sandbox
    if (file < 0) file = open(path, O_RDWR);
    void* bytes = file < 0 ? MAP_FAILED : mmap(nullptr, 65536, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (bytes != MAP_FAILED) reached = static_cast<unsigned char*>(bytes);
    if (file >= 0) close(file);
}
extern "C" bool mutant_isChosen(int number) noexcept {
    if (reached) reached[number] = 1;
    return number == chosen;
}
"""
OPENING, CLOSING = "([{", ")]}"
ASSIGNMENT = re.compile(r"[+\-*/&|]=")


def blanked(text):
    """The text with comments, strings and preprocessor lines as blanks of the same length."""
    pieces, end = [], 0
    for token in TOKEN.finditer(text):
        if token.lastgroup == "skip" and not token.group().lstrip().startswith("static_assert"):
            pieces += [text[end:token.start()], re.sub(r"[^\n]", "_" if token.group()[0] in "\"'" else " ", token.group())]
            end = token.end()
    return "".join(pieces) + text[end:]


def is_stop(text, at, assignment):
    """Whether an expression ends at this character: a separator, a plain assignment, a colon or question mark."""
    c = text[at]
    if c in ",;?":
        return True
    if c == ":":
        return ":" not in (text[at - 1], text[at + 1:at + 2])
    return c == "=" and not assignment and text[at + 1:at + 2] != "=" and text[at - 1] not in "=!<>"


def expression(text, at, length, assignment):
    """First and last of the whole expression around a place, as far as separators and brackets tell."""
    first, depth = at, 0
    while first > 0:
        c = text[first - 1]
        depth += (c in CLOSING) - (c in OPENING)
        if depth < 0 or (depth == 1 and c == "}") or (depth == 0 and is_stop(text, first - 1, assignment)):
            break
        first -= 1
    last, depth = at + length, 0
    while last < len(text):
        c = text[last]
        depth += (c in OPENING) - (c in CLOSING)
        if depth < 0 or (depth == 0 and is_stop(text, last, assignment)):
            break
        last += 1
    while True: # what introduces a statement is no part of its expression
        found = re.match(r"\s*(?:return|else|do|case|co_return)\b|\s+", text[first:at])
        head = re.match(r"(?:if|while|for|switch)(?:\s+constexpr)?\s*\(", text[first:at])
        if head:
            end, depth = first + head.end(), 1
            while depth and end < at:
                depth += (text[end] == "(") - (text[end] == ")")
                end += 1
            first = end
        elif found:
            first += found.end()
        else:
            break
    while text[last - 1].isspace():
        last -= 1
    return first, last


def switched_place(text, plain, number, kind, at, length, instead):
    """(first, last, text with both) for a fault; `plain` is the text without comments."""
    right = text[at:at + length]
    chosen = f"mutant_chosen({number})"
    if kind == "constant":
        return at, at + length, f"({chosen} ? {instead} : {right})"
    if kind == "dropped":
        return at, at + length, f"{{ if (!{chosen}) {{ {right} }} }}"
    if kind == "order":
        return at, at + length, f"{{ if ({chosen}) {{\n{instead}}} else {{\n{right}}} }}\n"
    if kind == "result":
        first = text.rindex("return", 0, at)
        return first, at + length + 1, f"{{ if ({chosen}) return {{}}; return {right}; }}"
    first, last = expression(plain, at, length, bool(ASSIGNMENT.fullmatch(right)))
    wrong = text[first:at] + instead + text[at + length:last]
    return first, last, f"({chosen} ? ({wrong}) : ({text[first:last]}))"


def switched(text, faults):
    """The text with all faults that do not overlap, by number; and {number: (first line, last line)} of what it took."""
    plain = blanked(text)
    rows = sorted((*switched_place(text, plain, number, *place), number) for number, place in faults.items())
    pieces, lines, end, line = [], {}, 0, 1
    for first, last, both, number in rows:
        if first < end:
            continue
        line += text.count("\n", end, first)
        lines[number] = (line, line + both.count("\n"))
        pieces += [text[end:first], both]
        line, end = line + both.count("\n"), last
    return "".join(pieces) + text[end:], lines
