#include "scpi/parameter_lists.h"

#include "base/error_codes.h"
#include "device_table/device_fptrs.h"
#include "scpi/link.h"
#include "scpi/parameters.h"
#include "scpi/parser.h"
#include "scpi/text/ascii.h"
#include "scpi/text/text_parse.h"

#include <array>
#include <cstring>

namespace {

constexpr int32_t noEntry = -1;

/// The entry that an item's first letter stands for; some letters count in upper case only.
int32_t entryType(char letter) {
    switch (letter) {
    case 'o':
    case 'O': return testSetOffsetNoise;
    case 'f':
    case 'F': return testSetFrequency;
    case 'p':
    case 'P': return testSetPower;
    case 'j':
    case 'J': return testSetJitter;
    case 'i':
    case 'I': return testSetIntegral;
    case 'D': return testSetResidualD;
    case 'R': return testSetResidualR;
    case 'M': return testSetResidualM;
    default: return noEntry;
    }
}

/// Was the buffer, full of text without a comma, cut at its end and not between two items?
bool endsInsideItem(int cut, const char* text) {
    const size_t length = strlen(text);
    return cut == unitCutAnywhere && length > 0 && !scpi::isBlank(text[length - 1]);
}

} // namespace

int paramListParser_AteTestSetCmd(scpi_link* link, char* text, char*, int, int cbufFull) {
    deviceAccessMutex.assertHeld();
    std::array<TestSetDefinition, testSetSize>& entries = link->listEntries;
    int32_t& count = link->listIndex;
    if (link->listParser == nullptr) {
        link->listError = Automeasure_setTestSetDefinition ? 0 : scpi::undefinedHeader;
        link->listParser = paramListParser_AteTestSetCmd;
        count = 0;
    }
    const bool itemGoesOn = endsInsideItem(cbufFull, text);
    int found = 2;
    while (found == 2 && link->listError == 0) {
        char* item = nullptr;
        char* rest = nullptr;
        found = scpi_getNextParameter(text, &item, &rest);
        text = rest;
        if (found == 0)
            break;
        const int32_t type = entryType(*item);
        if (*item == '#')
            link->listError = scpi::illegalParameterValue; // a block is none of the items
        if (type == noEntry)
            continue;
        if (count + 1 == testSetSize) {
            link->listError = scpi::illegalParameterValue;
            break;
        }
        double offset = -1.0; // Hz; entries other than a noise offset have none
        if (type == testSetOffsetNoise)
            link->listError = scpi_str2double(item + 1, &offset);
        entries[static_cast<size_t>(count++)] = {type, offset};
    }
    if (itemGoesOn && link->listError == 0)
        link->listError = scpi::tooMuchData;
    if (cbufFull != 0)
        return 0;
    entries[static_cast<size_t>(count)] = {testSetEnd, -1.0};
    if (link->listError == 0)
        link->listError = Automeasure_setTestSetDefinition(parser->device, entries.data());
    scpi_parser_error(link->listError);
    link->listParser = nullptr;
    return 0;
}
