#include <ymlib/Json.h>

#include "Text/Utf8.h"

namespace ymlib {

bool isSureUtf8(const Json::Value& value) {
    const char* begin = nullptr;
    const char* end = nullptr;
    return value.isString() && value.getString(&begin, &end) &&
           ymdshow::text::IsUtf8({begin, static_cast<std::size_t>(end - begin)});
}

} // namespace ymlib
