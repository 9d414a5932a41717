#include "calibration/csv_regions.h"

#include "calibration/csv_cells.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <span>

namespace {

constexpr uint32_t rowsMax = 5;
constexpr uint32_t gainRowsMax = 72; // stages, paths and repetitions
constexpr uint32_t stagesAlwaysRead = 4;

/// Cells that follow one another without a gap; `count` above the capacity tells that there were more.
template <uint32_t capacity> struct Row {
    uint32_t count;
    int64_t stage;
    double values[capacity];
    static constexpr uint32_t tooMany = capacity + 1;
};
Row<powerPointsMax> rows[rowsMax];
Row<gainPointsMax> gainHead;
Row<gainPointsMax> gainRows[gainRowsMax];

template <uint32_t capacity> void readRow(Row<capacity>& row, CsvCells cells) {
    row.count = 0;
    while (const char* cell = cells.next()) {
        if (row.count == capacity) {
            row.count = row.tooMany;
            return;
        }
        row.values[row.count++] = csv_number(cell);
    }
}

/// Copies `count` values as single precision has them.
void copyAsFloat(const double* from, uint32_t count, double* to) {
    std::transform(from, from + count, to, [](double value) { return static_cast<double>(static_cast<float>(value)); });
}

/// Reads `count` lines from the one that the reader stands on, each with a label in its first cell.
bool readRows(CsvReader& reader, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        if (i > 0 && !reader.lines.next())
            return false;
        CsvCells cells(reader.lines.line());
        cells.skip(1);
        readRow(rows[i], cells);
        std::fill(rows[i].values + std::min(rows[i].count, powerPointsMax), std::end(rows[i].values), 0.0);
    }
    return true;
}

void tellSensitivity(CsvReader& reader, SourceSensitivity which, uint32_t channel, const char* cell) {
    if (cell != nullptr)
        reader.sensitivity[static_cast<size_t>(which)][channel] = static_cast<float>(csv_number(cell));
}

bool extractTVPNSingleCalibration(CsvReader& reader, uint32_t) {
    constexpr uint32_t unusedCells = 8;
    CsvCells cells(reader.lines.line());
    cells.skip(unusedCells);
    reader.calibration.frequencyCorrection = static_cast<float>(csv_number(cells.next()));
    for (uint32_t channel = 0; channel < sourceChannels; ++channel)
        tellSensitivity(reader, SourceSensitivity::vco, channel, cells.next());
    return true;
}

bool extractTVPNSensitivityCalibration(CsvReader& reader, uint32_t) {
    CsvCells cells(reader.lines.line());
    cells.skip(1);
    for (const auto which : {SourceSensitivity::at10MHz, SourceSensitivity::at100MHz, SourceSensitivity::at1000MHz})
        for (uint32_t channel = 0; channel < sourceChannels; ++channel)
            tellSensitivity(reader, which, channel, cells.next());
    return true;
}

bool extractTVPNPowerCalibration(CsvReader& reader, uint32_t) {
    if (!readRows(reader, 3))
        return false;
    const uint32_t count = std::min({rows[0].count, rows[1].count, rows[2].count});
    if (count > powerPointsMax)
        return false;
    CalibrationTVPN& to = reader.calibration;
    to.powerPoints = count;
    copyAsFloat(rows[0].values, count, to.powerFrequency);
    copyAsFloat(rows[1].values, count, to.powerOffset);
    copyAsFloat(rows[2].values, count, to.powerGain);
    return true;
}

bool extractTVPNPowerHeader(CsvReader& reader, uint32_t) {
    CsvCells cells(reader.lines.line());
    cells.skip(1);
    const int64_t lines = csv_wholeNumber(cells.next());
    for (int64_t i = 0; i < lines; ++i)
        if (!reader.lines.next())
            return false;
    if (lines > 0)
        reader.powerCalVersion = 1;
    return true;
}

bool extractTVPNPowerMultiCalibration(CsvReader& reader, uint32_t table) {
    if (!readRows(reader, 5))
        return false;
    // The frequencies and the last line do not end the table: what they lack is 0.
    const uint32_t count = std::min({rows[1].count, rows[2].count, rows[3].count});
    if (count > powerPointsMax)
        return false;
    DetectorTable& to = reader.calibration.detectorTable[table];
    reader.calibration.detectorPoints[table] = count;
    double* const columns[] = {to.detectorFrequency, to.adcZero, to.adcTen, to.adcZeroPreamp, to.adcTenPreamp};
    for (uint32_t i = 0; i < std::size(columns); ++i)
        copyAsFloat(rows[i].values, count, columns[i]);
    return true;
}

/// One gain table of the record, and how its lines begin.
struct GainTarget {
    uint32_t headCells; // before the first column, in every line
    uint32_t* points;
    uint32_t* paths;
    uint32_t* stages;
    double* frequency;
    GainOfPath* table;
};

uint32_t distinctStages(uint32_t count) {
    uint32_t distinct = 0;
    for (uint32_t i = 0; i < count; ++i)
        distinct +=
            std::none_of(gainRows, gainRows + i, [&](const auto& row) { return row.stage == gainRows[i].stage; });
    return distinct;
}

/// Takes one path from the rows that were read. The columns are walked together: the first cell that any of them lacks
/// is the last one. Returns their number, more than gainPointsMax if the table does not hold them.
uint32_t takePath(const GainTarget& target, uint32_t path) {
    const uint32_t stages =
        *target.stages > gainStagesMax - 1 ? gainStagesMax : std::min(*target.stages, stagesAlwaysRead);
    uint32_t columns = gainHead.count;
    for (uint32_t stage = 0; stage < stages; ++stage)
        columns = std::min(columns, gainRows[path + stage * *target.paths].count);
    if (columns > gainPointsMax)
        return columns;
    std::copy_n(gainHead.values, columns, target.frequency);
    for (uint32_t stage = 0; stage < stages; ++stage)
        std::copy_n(gainRows[path + stage * *target.paths].values, columns,
                    target.table[path] + size_t{stage} * gainPointsMax);
    return columns;
}

/// Reads `lines` lines, the head included, and sorts them into the record. `stored` is set if a value came of it.
bool extractGain(CsvReader& reader, const GainTarget& target, int64_t lines, bool* stored) {
    if (lines < 1 || lines > gainRowsMax + 1)
        return false;
    const char* head = reader.lines.line();
    const auto semicolons = static_cast<uint32_t>(std::count(head, head + strlen(head), ';'));
    const uint32_t count = static_cast<uint32_t>(lines - 1);
    *target.points = std::min(semicolons - std::min(semicolons, target.headCells - 1), gainPointsMax);
    CsvCells columns(head);
    columns.skip(target.headCells);
    readRow(gainHead, columns);
    for (uint32_t i = 0; i < count; ++i) {
        if (!reader.lines.next())
            return false;
        CsvCells cells(reader.lines.line());
        cells.skip(1);
        gainRows[i].stage = static_cast<int64_t>(static_cast<float>(std::clamp(csv_number(cells.next()), -1e9, 1e9)));
        cells.skip(target.headCells - 2);
        readRow(gainRows[i], cells);
    }
    *target.stages = distinctStages(count);
    *target.paths = *target.stages > 0 ? count / *target.stages : 0;
    for (uint32_t path = 0; path < std::min(*target.paths, gainPathsMax); ++path) {
        const uint32_t taken = takePath(target, path);
        if (taken > gainPointsMax)
            return false;
        *stored = *stored || taken > 0;
    }
    return true;
}

int64_t defaultLines(const CsvReader& reader) {
    return int64_t{gainPathsMax} * reader.defaultGainStages + 1;
}

bool extractTVPNGainCalibration(CsvReader& reader, uint32_t) {
    CalibrationTVPN& to = reader.calibration;
    CsvCells cells(reader.lines.line());
    cells.skip(1);
    const int64_t stated = csv_wholeNumber(cells.next());
    bool stored = false;
    return extractGain(reader, {2, &to.gainPoints, &to.gainPaths, &to.gainStages, to.gainFrequency, to.gainTable},
                       stated != 0 ? stated : defaultLines(reader), &stored);
}

bool extractTVPNMultiGainCalibration(CsvReader& reader, uint32_t group) {
    CalibrationTVPN& to = reader.calibration;
    CsvCells cells(reader.lines.line());
    cells.skip(1);
    int64_t stated = 1;
    for (int factor = 0; factor < 3; ++factor) // stages, paths, repetitions
        stated *= std::clamp<int64_t>(csv_wholeNumber(cells.next()), -1000, 1000);
    ++stated;
    bool stored = false;
    if (!extractGain(reader,
                     {4, &to.multiGainPoints, &to.multiGainPaths, &to.multiGainStages, to.multiGainFrequency,
                      to.multiGainTable[group]},
                     stated != 0 ? stated : defaultLines(reader), &stored))
        return false;
    if (stored)
        reader.gainCalVersion = 1;
    return true;
}

constexpr CsvRegion regions[] = {
    {33000, 0, extractTVPNGainCalibration},       {33001, 0, extractTVPNSingleCalibration},
    {33002, 0, extractTVPNPowerCalibration},      {33008, 0, extractTVPNSensitivityCalibration},
    {33100, 0, extractTVPNPowerHeader},           {33110, 0, extractTVPNPowerMultiCalibration},
    {33120, 1, extractTVPNPowerMultiCalibration}, {33130, 2, extractTVPNPowerMultiCalibration},
    {33140, 3, extractTVPNPowerMultiCalibration}, {33201, 0, extractTVPNMultiGainCalibration},
    {33202, 1, extractTVPNMultiGainCalibration},  {33203, 2, extractTVPNMultiGainCalibration},
};

} // namespace

const CsvRegion* csv_regionOf(int32_t number) {
    const auto* found = std::find_if(std::begin(regions), std::end(regions),
                                     [=](const CsvRegion& region) { return region.number == number; });
    return found != std::end(regions) ? found : nullptr;
}

void extractTvpnDutSupplyCalibration(CsvReader& reader, uint32_t number) {
    if (number >= supplyChannels * supplyRecords)
        return;
    const uint32_t channel = number / supplyRecords;
    const char* next;
    static_cast<void>(csvtables_getCell(reader.lines.line(), &next)); // label
    const char* cell = csvtables_getCell(next, &next);
    const bool isChecked = number % supplyRecords == 0;
    if (isChecked && csv_wholeNumber(cell) != channel + 1)
        return;
    SupplyConversion& record = reader.calibration.supplyCalibration[channel][number % supplyRecords];
    for (float* value : {&record.tag, &record.x0, &record.y0, &record.x1, &record.y1}) {
        cell = csvtables_getCell(next, &next);
        if (cell == next)
            return;
        *value = static_cast<float>(csv_number(cell));
    }
}
