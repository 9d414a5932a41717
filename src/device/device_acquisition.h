#pragma once
/// The device operations that are the acquisition board's own.

struct Device;

/// Fills their slots: spectra, samples, the stream of samples to a client, frequency versus time, counter settings, the
/// 10 MHz reference of the sample clock, abort and reset. They act on Device::adfpga, which must stand by then.
void registerAcquisitionFunctions();
/// Those of frequency versus time.
void device_registerFvst();

/// Whether a client reads the capture buffers or the stream, or its capture goes on. A run has no capture but its own,
/// which it waits for.
[[nodiscard]] bool device_acquisitionIsBusy(Device* device);
