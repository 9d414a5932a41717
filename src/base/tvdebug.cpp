#include "base/tvdebug.h"

#include <cstdarg>
#include <cstdio>

void tvdebug_enable() {
    debugEnabled = true;
}
void tvdebug_disable() {
    debugEnabled = false;
}

void tvdebug_print(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stdout, format, arguments);
    va_end(arguments);
}
