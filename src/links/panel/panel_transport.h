#pragma once
/// The front panel as a client.

#include "links/transport.h"

/// Its medium is a Tvhc. One client, the panel, from the start of the instrument until the device fails.
extern const Transport panelTransport;
