#pragma once

#include "YMCoderScheme/ReportBuilder.h"
#include "YMCoderScheme/ScriptDocument.h"

#include <memory>

#include <ymdshow/CoderScheme.h>

namespace ymdshow {

/// The members of a filter object by their keys.
struct FilterObject {
    /// The last three are flags, for which any value will do; the others are texts.
    enum Key {
        Name,
        Clsid,
        Path,
        Type,
        CategoryClsid,
        DmoCategoryClsid,
        IsTryReplace,
        IsOnlyOne,
        IsCache,
        KeyCount
    };

    /// Null where a key is missing or its value is null.
    const Json::Value* members[KeyCount] = {};
    bool isReference = false; ///< nothing but a name

    const Json::Value* operator[](Key key) const { return members[key]; }
};

/// Sorts the members of filter objects and makes filter descriptions of them.
class FilterReader {
public:
    FilterReader(const ScriptDocument& document, ReportBuilder& report)
        : m_document(document), m_report(report) {}

    /// Also of a value that is no object: it has no members. Text members that are no
    /// strings count as missing, but for "CLSID", see Read.
    FilterObject Collect(const Json::Value& value);

    /// The name, valid until the next call.
    const std::wstring& GetName(const FilterObject& object);

    /// Of an object that has a "Name" and a "CLSID"; null when the latter is no string.
    std::shared_ptr<FilterInfo> Read(const FilterObject& object);

private:
    void ReadText(const FilterObject& object, FilterObject::Key key, std::wstring& text);
    bool ReadGuid(const FilterObject& object, FilterObject::Key key, GUID& guid);
    std::int32_t ReadRole(const Json::Value& value);

    const ScriptDocument& m_document;
    ReportBuilder& m_report;
    std::wstring m_name;
    std::wstring m_text;
};

} // namespace ymdshow
