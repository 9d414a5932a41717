#include "identity/device_variants.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace {

using Questions = std::vector<bool (*)()>;

// A row for each kind of question: one character, several, any above a limit, any but 0, only units of some
// generations.
TEST(DeviceVariantsTest, TheSerialNumberAnswersByItsCharacters) {
    const struct {
        const char* serialNumber;
        Questions yes, no;
    } units[] = {
        {"223-336306710-0001",
         {device_config_isTVPNX, device_config_isTVPNXFamily, device_config_usesFpStm, device_config_usesFp,
          device_config_usesTvcont_1ForNewer, device_config_usesTVPNX_ALG_2D, device_config_isTvpnDutSupply_12V_1A,
          device_config_usesTVPN_ADFPGA_1C_FVST, device_config_usesTVPN_IS, device_config_usesPE5,
          device_config_hasInternalRef, device_config_usesGPIB},
         {device_config_isTVPNM, device_config_usesFpAt91, device_config_usesOptionFs, device_config_usesTVPN_IS_2,
          device_config_usesTVPN_IS6G, device_config_isAnalog2BCDModified}},
        {"140-222200711-0001",
         {device_config_isTVPNM, device_config_isTVPNXFamily, device_config_usesFpHcAt91, device_config_usesPE5,
          device_config_usesTvcont_1EorNewer, device_config_usesTvpnDutSupply},
         {device_config_isTVPNX, device_config_usesTvcont_1ForNewer, device_config_usesBattery,
          device_config_usesTVPN_IS, device_config_hasInternalRef, device_config_isAnalog2BCDModified}},
    };
    for (const auto& [serialNumber, yes, no] : units) {
        strcpy(device_config_sn, serialNumber);
        for (size_t i = 0; i < yes.size(); ++i)
            EXPECT_TRUE(yes[i]()) << serialNumber << ' ' << i;
        for (size_t i = 0; i < no.size(); ++i)
            EXPECT_FALSE(no[i]()) << serialNumber << ' ' << i;
    }
}

} // namespace
