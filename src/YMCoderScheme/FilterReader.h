#pragma once

#include "YMCoderScheme/ReportBuilder.h"
#include "YMCoderScheme/ScriptDocument.h"

#include <memory>

#include <ymdshow/CoderScheme.h>

namespace ymdshow {

/// The members of a filter object; null where a key is missing or its value is null.
struct FilterObject {
    const Json::Value* object = nullptr;
    const Json::Value* name = nullptr;
    const Json::Value* clsid = nullptr;
    const Json::Value* path = nullptr;
    const Json::Value* type = nullptr;
    const Json::Value* isTryReplace = nullptr;
    const Json::Value* isOnlyOne = nullptr;
    const Json::Value* isCache = nullptr;
    const Json::Value* categoryClsid = nullptr;
    const Json::Value* dmoCategoryClsid = nullptr;

    /// Nothing but a name.
    bool IsReference() const { return name != nullptr && object->size() == 1; }
};

/// Sorts the members of filter objects and makes filter descriptions of them.
class FilterReader {
public:
    FilterReader(const ScriptDocument& document, ReportBuilder& report)
        : m_document(document), m_report(report) {}

    /// Also of a value that is no object: it has no members. Text members that are no
    /// strings count as missing, but for "CLSID", see Read.
    FilterObject Collect(const Json::Value& value, const ScriptPlace& place);

    /// The name, valid until the next call.
    const std::wstring& GetName(const FilterObject& object);

    /// Null when `object` has no "Name" or a "CLSID" that is no string.
    std::shared_ptr<FilterInfo> Read(const FilterObject& object, const ScriptPlace& place);

private:
    void ReadText(const Json::Value& value, const ScriptPlace& place, const char* key,
                  std::wstring& text);
    void ReadGuid(const Json::Value& value, const ScriptPlace& place, const char* key, GUID& guid);
    void ReadDmoCategory(const Json::Value& value, const ScriptPlace& place, GUID& guid);
    std::int32_t ReadRole(const Json::Value& value, const ScriptPlace& place);

    const ScriptDocument& m_document;
    ReportBuilder& m_report;
    std::wstring m_name;
    std::wstring m_text;
};

} // namespace ymdshow
