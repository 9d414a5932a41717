#pragma once
/// The test set: the list of figures that a production test asks of every run, in the order in which it wants them.

#include <cstdint>

/// What one entry asks for. The numbers go over the device table: append, never renumber.
enum TestSetType : int32_t {
    testSetOffsetNoise = 0, // noise at `value` Hz, dBc/Hz
    testSetFrequency = 1,
    testSetPower = 2,
    testSetJitter = 3,
    testSetIntegral = 4,
    testSetResidualD = 5, // statistics 2
    testSetResidualR = 6, // statistics 3
    testSetResidualM = 7, // statistics 4
    testSetEnd = 8,       // closes the list; its value is -1
};

struct TestSetDefinition {
    int32_t type; // TestSetType
    double value; // Hz for testSetOffsetNoise, else -1
};

inline constexpr int testSetSize = 64; // entries of a list, the end mark included
