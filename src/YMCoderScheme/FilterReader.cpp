#include "YMCoderScheme/FilterReader.h"

#include "Text/Text.h"

#include <iterator>
#include <utility>

#include <objbase.h>

namespace ymdshow {

namespace {

using Kind = SchemeLoadReport::Kind;

/// What a member is for: a text, or a flag, which any value will do for.
struct Key {
    std::string_view name;
    const Json::Value* FilterObject::*member;
    bool isText;
};

constexpr Key keys[] = {
    {"Name", &FilterObject::name, true},
    {"CLSID", &FilterObject::clsid, true},
    {"Path", &FilterObject::path, true},
    {"Type", &FilterObject::type, true},
    {"IsTryReplace", &FilterObject::isTryReplace, false},
    {"IsOnlyOne", &FilterObject::isOnlyOne, false},
    {"IsCache", &FilterObject::isCache, false},
    {"CategoryCLSID", &FilterObject::categoryClsid, true},
    {"DMOCategoryClsid", &FilterObject::dmoCategoryClsid, true},
};

struct Role {
    std::wstring_view name;
    std::int32_t value;
};

constexpr Role roles[] = {{L"source", 1}, {L"transform", 2}, {L"render", 4}};

struct DmoCategory {
    std::wstring_view name;
    GUID guid;
};

constexpr DmoCategory dmoCategories[] = {
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

FilterObject FilterReader::Collect(const Json::Value& value, const ScriptPlace& place) {
    FilterObject object;
    object.object = &value;
    if (!value.isObject()) {
        return object;
    }
    for (auto it = value.begin(); it != value.end(); ++it) {
        const char* end = nullptr;
        const char* begin = it.memberName(&end);
        const std::string_view name(begin, static_cast<std::size_t>(end - begin));
        const Key* key = std::begin(keys);
        while (key != std::end(keys) && key->name != name) {
            ++key;
        }
        if (key == std::end(keys)) {
            m_report.Add(Kind::UnknownKey, place, name, m_document.OffsetOf(*it),
                         L"no filter has this key");
        } else if (!it->isNull()) {
            const bool isWrong = key->isText && !it->isString();
            if (isWrong) {
                m_report.Add(Kind::WrongType, place, name, m_document.OffsetOf(*it),
                             L"is no string");
            }
            // A "CLSID" that is no string still makes the object a description.
            if (!isWrong || key->member == &FilterObject::clsid) {
                object.*key->member = &*it;
            }
        }
    }
    return object;
}

const std::wstring& FilterReader::GetName(const FilterObject& object) {
    m_document.GetWide(*object.name, m_name);
    return m_name;
}

std::shared_ptr<FilterInfo> FilterReader::Read(const FilterObject& object,
                                               const ScriptPlace& place) {
    if (object.name == nullptr || object.clsid == nullptr || !object.clsid->isString()) {
        return nullptr;
    }
    auto info = std::make_shared<FilterInfo>();
    ReadText(*object.name, place, "Name", info->strName);
    if (object.path != nullptr) {
        ReadText(*object.path, place, "Path", info->strPath);
    }
    if (object.type != nullptr) {
        info->nType = ReadRole(*object.type, place);
    }
    info->bTryReplace = ToBool(object.isTryReplace, info->bTryReplace);
    info->bOnlyOne = ToBool(object.isOnlyOne, info->bOnlyOne);
    info->bCache = ToBool(object.isCache, info->bCache);
    if (object.categoryClsid != nullptr) {
        info->bHasCategory = true;
        ReadGuid(*object.categoryClsid, place, "CategoryCLSID", info->clsidCategory);
    }
    if (object.dmoCategoryClsid != nullptr) {
        info->bHasDMOCategory = true;
        ReadDmoCategory(*object.dmoCategoryClsid, place, info->clsidDMOCategory);
    }
    ReadGuid(*object.clsid, place, "CLSID", info->clsid);
    return info;
}

void FilterReader::ReadText(const Json::Value& value, const ScriptPlace& place, const char* key,
                            std::wstring& text) {
    m_document.GetWide(value, text);
    if (text.empty() && ToBool(&value, false)) {
        m_report.Add(Kind::UnreadableText, place, key, m_document.OffsetOf(value),
                     L"is text neither in code page 936 nor in UTF-8 of one to three bytes a "
                     L"character, and read as empty");
    }
}

void FilterReader::ReadGuid(const Json::Value& value, const ScriptPlace& place, const char* key,
                            GUID& guid) {
    m_document.GetWide(value, m_text);
    if (FAILED(CLSIDFromString(m_text.c_str(), &guid))) {
        m_report.Add(Kind::MalformedGuid, place, key, m_document.OffsetOf(value), L"is no GUID:",
                     m_text);
    }
}

void FilterReader::ReadDmoCategory(const Json::Value& value, const ScriptPlace& place, GUID& guid) {
    m_document.GetWide(value, m_text);
    for (const DmoCategory& category : dmoCategories) {
        if (category.name == m_text) {
            guid = category.guid;
            return;
        }
    }
    ReadGuid(value, place, "DMOCategoryClsid", guid);
}

std::int32_t FilterReader::ReadRole(const Json::Value& value, const ScriptPlace& place) {
    m_document.GetWide(value, m_text);
    m_text = text::LowerAscii(std::move(m_text));
    for (const Role& role : roles) {
        if (role.name == text::Trim(m_text)) {
            return role.value;
        }
    }
    m_report.Add(Kind::UnknownRole, place, "Type", m_document.OffsetOf(value), L"names no role:",
                 m_text);
    return 0;
}

} // namespace ymdshow
