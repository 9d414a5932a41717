#include "scpi/parameter_lists.h"

#include "base/error_codes.h"
#include "device_table/device_fptrs.h"
#include "scpi/link.h"
#include "scpi/parameters.h"
#include "scpi/parser.h"
#include "scpi/text/text_parse.h"

#include <array>

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

} // namespace

int paramListParser_AteTestSetCmd(scpi_link* link, char* text, char*, int, int cbufFull) {
    if (link->listParser == nullptr) {
        link->listError = Automeasure_setTestSetDefinition ? 0 : scpi::undefinedHeader;
        link->listParser = paramListParser_AteTestSetCmd;
    }
    std::array<TestSetDefinition, testSetSize> entries{};
    size_t count = 0;
    int found = 2;
    while (found == 2 && link->listError == 0) {
        char* item = nullptr;
        char* rest = nullptr;
        found = scpi_getNextParameter(text, &item, &rest);
        text = rest;
        const int32_t type = found == 0 ? noEntry : entryType(*item);
        if (type == noEntry)
            continue;
        if (count + 1 == entries.size()) {
            link->listError = scpi::illegalParameterValue;
            break;
        }
        double offset = -1.0; // Hz; entries other than a noise offset have none
        if (type == testSetOffsetNoise)
            link->listError = scpi_str2double(item + 1, &offset);
        entries[count++] = {type, offset};
    }
    if (cbufFull != 0)
        return 0;
    entries[count] = {testSetEnd, -1.0};
    if (link->listError == 0)
        link->listError = Automeasure_setTestSetDefinition(parser->device, entries.data());
    scpi_pushErrorQueue(link->listError, &parser->errors);
    link->listParser = nullptr;
    return 0;
}
