#include "JsonText.h"

#include "Text.h"

namespace ymds {

std::wstring JsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["emitUTF8"] = true;
    return FromUtf8(Json::writeString(builder, value)) + L"\n";
}

} // namespace ymds
