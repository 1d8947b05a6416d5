#include "YMCoderScheme/FilterReader.h"

#include "Text/Text.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <objbase.h>

namespace ymdshow {

namespace {

using Kind = SchemeLoadReport::Kind;
using Key = FilterObject::Key;

constexpr std::string_view kKeys[FilterObject::KeyCount] = {
    "Name",         "CLSID",     "Path",   "Type", "CategoryCLSID", "DMOCategoryClsid",
    "IsTryReplace", "IsOnlyOne", "IsCache"};

struct Role {
    std::wstring_view name;
    std::int32_t value;
};

constexpr Role kRoles[] = {{L"source", 1}, {L"transform", 2}, {L"render", 4}};

struct DmoCategory {
    std::wstring_view name;
    GUID guid;
};

constexpr DmoCategory kDmoCategories[] = {
    {L"DMOCATEGORY_AUDIO_DECODER",
     {0x57f2db8b, 0xe6bb, 0x4513, {0x9d, 0x43, 0xdc, 0xd2, 0xa6, 0x59, 0x31, 0x25}}},
    {L"DMOCATEGORY_VIDEO_DECODER",
     {0x4a69b442, 0x28be, 0x4991, {0x96, 0x9c, 0xb5, 0x00, 0xad, 0xf5, 0xd8, 0xa8}}},
    {L"DMOCATEGORY_AUDIO_EFFECT",
     {0xf3602b3f, 0x0592, 0x48df, {0xa4, 0xcd, 0x67, 0x47, 0x21, 0xe7, 0xeb, 0xeb}}},
    {L"DMOCATEGORY_AUDIO_ENCODER",
     {0x33d9a761, 0x90c8, 0x11d0, {0xbd, 0x43, 0x00, 0xa0, 0xc9, 0x11, 0xce, 0x86}}},
    {L"DMOCATEGORY_VIDEO_EFFECT",
     {0xd990ee14, 0x776c, 0x4723, {0xbe, 0x46, 0x3d, 0xa2, 0xf5, 0x6f, 0x10, 0xb9}}},
    {L"DMOCATEGORY_VIDEO_ENCODER",
     {0x33d9a760, 0x90c8, 0x11d0, {0xbd, 0x43, 0x00, 0xa0, 0xc9, 0x11, 0xce, 0x86}}},
    {L"DMOCATEGORY_AUDIO_CAPTURE_EFFECT",
     {0xf665aaba, 0x3e09, 0x4920, {0xaa, 0x5f, 0x21, 0x98, 0x11, 0x14, 0x8f, 0x09}}},
};

/// The boolean conversion for every kind of value; the library's own refuses texts,
/// arrays and objects, which are true here unless they are empty.
bool ToBool(const Json::Value* value, bool missing) {
    if (value == nullptr) {
        return missing;
    }
    if (value->isString()) {
        const char* begin = nullptr;
        const char* end = nullptr;
        return value->getString(&begin, &end) && begin != end;
    }
    return value->isArray() || value->isObject() ? !value->empty() : value->asBool();
}

} // namespace

FilterObject FilterReader::Collect(const Json::Value& value) {
    FilterObject object;
    if (!value.isObject()) {
        return object;
    }
    for (auto it = value.begin(); it != value.end(); ++it) {
        const char* end = nullptr;
        const char* begin = it.memberName(&end);
        const std::string_view name(begin, static_cast<std::size_t>(end - begin));
        const auto key = std::find(std::begin(kKeys), std::end(kKeys), name) - std::begin(kKeys);
        if (key == FilterObject::KeyCount) {
            m_report.Add(Kind::UnknownKey, name, *it, L"no filter has this key");
        } else if (!it->isNull()) {
            const bool isWrong = key < FilterObject::IsTryReplace && !it->isString();
            if (isWrong) {
                m_report.Add(Kind::WrongType, name, *it, L"is no string");
            }
            // A "CLSID" that is no string still makes the object a description.
            if (!isWrong || key == FilterObject::Clsid) {
                object.members[key] = &*it;
            }
        }
    }
    object.isReference = value.size() == 1 && object[Key::Name] != nullptr;
    return object;
}

const std::wstring& FilterReader::GetName(const FilterObject& object) {
    m_document.GetWide(*object[Key::Name], m_name);
    return m_name;
}

std::shared_ptr<FilterInfo> FilterReader::Read(const FilterObject& object) {
    if (!object[Key::Clsid]->isString()) {
        return nullptr;
    }
    auto info = std::make_shared<FilterInfo>();
    ReadText(object, Key::Name, info->strName);
    ReadText(object, Key::Path, info->strPath);
    if (object[Key::Type] != nullptr) {
        info->nType = ReadRole(*object[Key::Type]);
    }
    info->bTryReplace = ToBool(object[Key::IsTryReplace], info->bTryReplace);
    info->bOnlyOne = ToBool(object[Key::IsOnlyOne], info->bOnlyOne);
    info->bCache = ToBool(object[Key::IsCache], info->bCache);
    info->bHasCategory = ReadGuid(object, Key::CategoryClsid, info->clsidCategory);
    info->bHasDMOCategory = ReadGuid(object, Key::DmoCategoryClsid, info->clsidDMOCategory);
    ReadGuid(object, Key::Clsid, info->clsid);
    return info;
}

void FilterReader::ReadText(const FilterObject& object, Key key, std::wstring& text) {
    if (object[key] == nullptr) {
        return;
    }
    m_document.GetWide(*object[key], text);
    if (text.empty() && ToBool(object[key], false)) {
        m_report.Add(Kind::UnreadableText, kKeys[key], *object[key],
                     L"is text neither in code page 936 nor in UTF-8 of one to three bytes a "
                     L"character, and read as empty");
    }
}

/// False when there is no such member; what it holds need be no GUID.
bool FilterReader::ReadGuid(const FilterObject& object, Key key, GUID& guid) {
    if (object[key] == nullptr) {
        return false;
    }
    m_document.GetWide(*object[key], m_text);
    if (key == Key::DmoCategoryClsid) {
        for (const DmoCategory& category : kDmoCategories) {
            if (category.name == m_text) {
                guid = category.guid;
                return true;
            }
        }
    }
    if (FAILED(CLSIDFromString(m_text.c_str(), &guid))) {
        m_report.Add(Kind::MalformedGuid, kKeys[key], *object[key], L"is no GUID:" + Quote(m_text));
    }
    return true;
}

std::int32_t FilterReader::ReadRole(const Json::Value& value) {
    m_document.GetWide(value, m_text);
    m_text = text::LowerAscii(std::move(m_text));
    for (const Role& role : kRoles) {
        if (role.name == text::Trim(m_text)) {
            return role.value;
        }
    }
    m_report.Add(Kind::UnknownRole, "Type", value, L"names no role:" + Quote(m_text));
    return 0;
}

} // namespace ymdshow
