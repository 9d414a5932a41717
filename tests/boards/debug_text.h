#pragma once

#include "base/tvdebug.h"

#include <gtest/gtest.h>
#include <string>

/// What `action` prints on the debug channel.
template <class Action> std::string debugTextOf(Action action) {
    testing::internal::CaptureStdout();
    debugEnabled = true;
    action();
    debugEnabled = false;
    return testing::internal::GetCapturedStdout();
}
