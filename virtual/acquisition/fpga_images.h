#pragma once
/// The two images from which the FPGA boots, as this hardware takes them: a configuration with a checksum, and its soft
/// core's firmware as S-records. The FPGA comes up only from a whole pair of its own generation.

#include "virtual/acquisition/soft_core_kind.h"
#include "virtual/chips/serial_flash.h"

#include <string>

namespace vi {

struct FpgaImages {
    std::string configuration, firmware;
};

/// As they leave the factory.
[[nodiscard]] const FpgaImages& fpgaImages_ofFactory(FpgaGeneration generation);

/// Places of the images in the flash of a generation.
[[nodiscard]] size_t fpgaImages_firmwareAddress(FpgaGeneration generation);

void fpgaImages_store(const FpgaImages& images, FpgaGeneration generation, FlashCells* cells);
/// The FPGA would come up from what the flash holds.
[[nodiscard]] bool fpgaImages_boot(const FlashCells& cells, FpgaGeneration generation);

} // namespace vi
