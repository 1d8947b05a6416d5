#include "JsonText.h"

#include <ymdshow/Text.h>

namespace ymds {

std::wstring JsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["emitUTF8"] = true;
    return ymdshow::Utf8ToWide(Json::writeString(builder, value)) + L"\n";
}

} // namespace ymds
