#pragma once
/// The one place to which an operation tells a failure that its caller can only pass on.

/// Takes a failure as an operation tells it: its status and a line without an end.
using ErrorHandler = void (*)(int status, const char* text);

/// Tells of a failure: at the start on the debug channel. From any thread.
void globalErrorHandler(int status, const char* text);
/// Who is told from now on; null is the debug channel again.
void setGlobalErrorHandler(ErrorHandler handler);
