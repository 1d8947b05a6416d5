#pragma once

#include <string>

#include <ymlib/Log.h>

namespace ymlib {

LogSink MakeDebuggerSink();

/// Empty when the file cannot be opened.
LogSink MakeFileSink(const std::wstring& path);

} // namespace ymlib
