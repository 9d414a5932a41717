#pragma once
/// The device operations that are the acquisition board's own.

/// Fills their slots: spectra, samples, the stream of samples to a client, counter settings, the 10 MHz reference of
/// the sample clock, abort and reset. They act on Device::adfpga, which must stand by then.
void registerAcquisitionFunctions();
