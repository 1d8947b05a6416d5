#pragma once

// jsoncpp's classes, whose code is in the utility library: a host needs no jsoncpp of its own. One
// that has another version uses that alone, and not this header.
#include <ymlib/json/json.h>

#include <ymlib/Export.h>

namespace ymlib {

/// True when the string value's bytes are valid UTF-8 (pure ASCII included); false for
/// a value that is no string.
YMLIB_API bool isSureUtf8(const Json::Value& value);

} // namespace ymlib
