#pragma once

#include <string>

namespace bench {

/// What ffmpeg says that it took to decode the file, in milliseconds; 0 without it.
double FfmpegTime(const std::string& file);

} // namespace bench
