#pragma once
/// What the workshop does with a unit whose instrument is not running: operations by name, with the boards brought up
/// and no link open.

#include <span>

struct ServiceCommand {
    const char* name;
    const char* purpose;
};
/// All there are.
[[nodiscard]] std::span<const ServiceCommand> firmware_serviceCommands();

/// Brings up the boards of this unit and carries out the operation, which tells what it does on standard output.
/// Returns an exit status: 0, 1 if the operation failed, 2 if there is none of that name.
int firmware_service(const char* command);
