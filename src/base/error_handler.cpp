#include "base/error_handler.h"

#include "base/tvdebug.h"

#include <atomic>

namespace {

void tellDebugChannel(int status, const char* text) {
    printd("ERROR %d: %s\n", status, text);
}

std::atomic<ErrorHandler> handler = tellDebugChannel;

} // namespace

void globalErrorHandler(int status, const char* text) {
    handler.load()(status, text);
}

void setGlobalErrorHandler(ErrorHandler wanted) {
    handler = wanted != nullptr ? wanted : tellDebugChannel;
}
