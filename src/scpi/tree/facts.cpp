/// command-facts: prints what the command tree knows of each command, and every error with a text, as JSON. The
/// reference of the commands (docs/reference) is made of it.

#include "scpi/error_queue.h"
#include "scpi/tree/command_tree.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace {

using scpi::Kind;

constexpr struct {
    Kind kind;
    const char* name;
} kindNames[] = {
    {Kind::special, "special"}, {Kind::action, "action"}, {Kind::number, "number"},       {Kind::integer, "integer"},
    {Kind::natural, "natural"}, {Kind::onOff, "onOff"},   {Kind::frequency, "frequency"}, {Kind::power, "power"},
    {Kind::seconds, "seconds"}, {Kind::word, "word"},     {Kind::text, "text"},           {Kind::reading, "reading"},
    {Kind::trace, "trace"},     {Kind::report, "report"}, {Kind::absent, "absent"},
};

const char* nameOf(Kind kind) {
    for (const auto& [value, name] : kindNames)
        if (value == kind)
            return name;
    return "";
}

/// A JSON string; the texts of the tree hold no control characters.
void printText(const char* text) {
    putchar('"');
    for (const char c : std::string_view(text == nullptr ? "" : text)) {
        if (c == '"' || c == '\\')
            putchar('\\');
        putchar(c);
    }
    putchar('"');
}

void printField(const char* name, const char* text) {
    printf("\"%s\":", name);
    printText(text);
    putchar(',');
}

void printRow(const scpi::Row& row) {
    putchar('{');
    printField("header", row.header);
    printField("kind", nameOf(row.command.kind));
    printField("parameters", row.parameters);
    printField("replies", row.command.replies);
    printField("meaning", row.meaning);
    printf("\"limits\":%s,\"query\":%s,\"set\":%s}", row.command.hasLimits ? "true" : "false",
           row.forms & scpi::Q ? "true" : "false", row.forms & scpi::S ? "true" : "false");
}

void printOldRow(const scpi::OldRow& row) {
    putchar('{');
    printField("header", row.prefix);
    printField("parameters", row.parameters);
    printField("meaning", row.meaning);
    printf("\"kind\":\"special\",\"limits\":false,\"query\":false,\"set\":true,\"replies\":\"\"}");
}

void printBranch(const char* title, const auto& rows, void (*print)(decltype(*rows.data()))) {
    printf("{\"title\":");
    printText(title);
    printf(",\"rows\":[\n");
    const char* separator = "";
    for (const auto& row : rows) {
        fputs(separator, stdout);
        print(row);
        separator = ",\n";
    }
    printf("]}");
}

/// Every code that has a text, plain ones first.
void printErrors() {
    constexpr int32_t plainLast = -999;
    constexpr int32_t detailMax = 15;
    const char* separator = "";
    const auto print = [&separator](int32_t code) {
        std::array<char, 128> text{};
        int32_t length = 0;
        if (scpi_errorCode2Str(text.data(), code, text.size(), &length) != 0 ||
            std::string_view(text.data()).ends_with(",\"\""))
            return;
        printf("%s{\"code\":%d,\"entry\":", separator, code);
        printText(text.data());
        putchar('}');
        separator = ",\n";
    };
    for (int32_t code = 0; code >= plainLast; --code)
        print(code);
    for (int32_t detail = 1; detail <= detailMax; ++detail)
        print(scpi::runFailure(detail));
}

} // namespace

int main() {
    printf("{\"branches\":[");
    for (const scpi::CommandBranch& branch : scpi::commandBranches()) {
        printBranch(branch.title, branch.rows, printRow);
        printf(",\n");
    }
    printBranch("Older forms", scpi::commandOldRows(), printOldRow);
    printf("],\n\"errors\":[");
    printErrors();
    printf("]}\n");
    return ferror(stdout) != 0;
}
