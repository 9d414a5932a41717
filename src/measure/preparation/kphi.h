#pragma once
/// The phase detector constants: volts at the ADC per radian at the mixer, read off a beat as its slope where it
/// crosses zero. Kept in ADC counts per radian (kphiA, kphiB of the set-up that it is given).

#include "device_table/device_fptrs.h"

#include <cstdint>
#include <span>

struct MeasConfig;

/// The Kphi step of a run. Moves the sources 100 kHz off the DUT, captures the beat, up to three times, and puts them
/// back on frequencyRounded. Fills kphiA and kphiB, 0 for a channel that gave none, and peakA and peakB.
///
/// A capture that fails ends the step at once: the constants stay as they were and the sources stay off. Left out, but
/// for the IF gain of 0, when the detect flag is down.
void measureKphi(Device* device, MeasConfig* config);

/// True if these constants can be measured with: A is there, and for a cross-correlation B too and within 1.5 of it.
[[nodiscard]] bool kphi_isGood(double kphiA, double kphiB, uint32_t measurementMethod);

inline constexpr uint32_t kphiSamplesMax = 65535; // of a record that measureKphi works on

/// Positions of zero crossings in a record, in order. The items are the owner's; a full list drops what follows.
struct ZeroCrossingList {
    uint32_t* items;
    uint32_t count;
    uint32_t capacity;
};
/// Makes an empty list on `storage`, which must outlive it.
void arrayInit(ZeroCrossingList* list, std::span<uint32_t> storage);
void arrayInsert(ZeroCrossingList* list, uint32_t position);

/// Peak to peak of `count` samples, ADC counts. The minimum is looked for from 32000 down: samples that all lie above
/// count from there. 0 without a sample.
[[nodiscard]] uint32_t measure_peakpeak(const uint16_t* samples, uint32_t count);

/// Centres `count` samples of A, and with `channels` 2 of B, on 32768: half way between their extremes. Nothing happens
/// to a null record.
void removeDC(uint16_t* bufferA, uint16_t* bufferB, uint32_t count, uint32_t channels);

/// Positions where the records cross 32768, with a hysteresis of 30 mV to each side, appended to the lists.
/// Returns the crossings of A, with `channels` 2 the smaller number of both; -1 if a record that it needs is null.
int32_t getZeroCrossings(const uint16_t* bufferA, const uint16_t* bufferB, uint32_t count, uint32_t channels,
                         ZeroCrossingList* listA, ZeroCrossingList* listB);
