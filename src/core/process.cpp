#include "core/process.h"

Device* debug_device = nullptr;
pid_t pid = 0;
