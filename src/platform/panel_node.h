#pragma once
/// The node of the front panel. A write goes to the channel that was chosen last; what the panel sends is read as it
/// comes.

#include <cstdint>

inline constexpr const char* panelNode_path = "/dev/tvhc";

enum panelNode_request : uint32_t {
    panelNode_selectOlder = 57347,   // no argument; after the panel has told who it is
    panelNode_askOlder = 57350,      // no argument; the panel is about to be asked who it is
    panelNode_getPort = 57351,       // uint32_t*: the newer panel's port of what was read last
    panelNode_selectNewer = 57352,   // no argument
    panelNode_sendUpdates = 57354,   // no argument: writes go to the channel of updates
    panelNode_sendElsewhere = 57355, // no argument: writes go to the channel of answers
};
