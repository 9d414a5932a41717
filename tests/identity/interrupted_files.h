#pragma once
/// Cuts off or refuses the file operations of the code under test, one at a time. The program is linked with its calls
/// of open, write, fsync, rename and tvstuffSystem led through here; each is a step, a write two: half of it, the rest.

#include <functional>

/// A child runs `action` and is killed at step `step`, counted from 0. True if it came to its end before that.
bool killedAtStep_ends(int step, const std::function<void()>& action);

/// Runs `action` while the disk refuses step `step`, shell commands not counted. False if there were fewer steps.
bool refuseStep(int step, const std::function<void()>& action);

/// While this lives, commands to the link watcher and to the protection scripts are steps but do nothing: they take
/// long.
struct WithoutSystemScripts {
    WithoutSystemScripts();
    ~WithoutSystemScripts();
};
