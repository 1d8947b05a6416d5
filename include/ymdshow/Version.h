#pragma once

#include <ymdshow/Export.h>

// Of the headers. Within a minor version a newer library serves hosts that were built before.
#define YMDSHOW_VERSION_MAJOR 0
#define YMDSHOW_VERSION_MINOR 1
#define YMDSHOW_VERSION_PATCH 0
#define YMDSHOW_VERSION "0.1.0"

namespace ymdshow {

/// Of the library that is loaded, such as "0.1.0": compare it with YMDSHOW_VERSION.
YMDSHOW_API const char* GetLibraryVersion();

} // namespace ymdshow
