#pragma once

#include <string>

#include <ymlib/Json.h>

namespace ymds {

/// The document, indented, with a line feed at its end.
std::wstring JsonText(const Json::Value& value);

} // namespace ymds
