#include <cstdio>

#include <ymdshow/Text.h>

#include "CInterface/Objects.h"
#include "CInterface/Records.h"

using namespace ymdshow;
using namespace ymdshow::c;

namespace {

/// The library takes narrow scripts in code page 936: this one is the same in both.
std::string AsciiScript(const std::wstring& script) {
    std::string ascii;
    for (const wchar_t unit : script) {
        if (unit < 0x80) {
            ascii += static_cast<char>(unit);
        } else {
            char escape[8];
            std::snprintf(escape, sizeof(escape), "\\u%04x", static_cast<unsigned>(unit));
            ascii += escape;
        }
    }
    return ascii;
}

template <class Load> void Edit(ymd_scheme* handle, Load&& load) {
    From(handle)->Edit(std::forward<Load>(load));
}

/// A class that may be missing.
char* GuidOrEmpty(Block& block, bool isThere, const GUID& guid) {
    return block.Text(isThere ? GuidText(guid) : std::wstring());
}

} // namespace

ymd_result ymd_scheme_create(ymd_scheme* source, ymd_scheme** scheme) {
    return Call(__func__, [&] {
        Out(scheme);
        auto set = source != nullptr ? std::make_shared<CCoderScheme>(*From(source)->Get())
                                     : std::make_shared<CCoderScheme>();
        *scheme = static_cast<ymd_scheme*>(
            Handles::Get().Add(Kind::Scheme, std::make_shared<Scheme>(std::move(set))));
    });
}

ymd_result ymd_scheme_destroy(ymd_scheme* scheme) {
    return Call(__func__, [&] {
        Require(!From(scheme)->isOfPlayer, YMD_ERROR_STATE, "the set is a player's");
        Handles::Get().Remove(Kind::Scheme, scheme);
    });
}

ymd_result ymd_scheme_load_file(ymd_scheme* scheme, const char* path, int32_t replace) {
    return Call(__func__, [&] {
        Edit(scheme, [&](CCoderScheme& set) { return set.LoadScheme(Wide(path), replace); });
    });
}

ymd_result ymd_scheme_load_text(ymd_scheme* scheme, const char* script, int32_t replace) {
    return Call(__func__, [&] {
        Edit(scheme, [&](CCoderScheme& set) {
            return set.LoadSchemeByScript(AsciiScript(Wide(script)), replace);
        });
    });
}

ymd_result ymd_scheme_get_report(ymd_scheme* scheme, ymd_scheme_report** report) {
    return Call(__func__, [&] {
        Out(report);
        Block block;
        block.Give(*report, Convert(block, From(scheme)->Get()->GetLoadReport()));
    });
}

ymd_result ymd_scheme_get_types(ymd_scheme* scheme, char*** types, uint32_t* count) {
    return Call(__func__, [&] {
        Out(types);
        Out(count);
        const std::vector<std::string> names = From(scheme)->Get()->GetSchemeTypes();
        Block block;
        char** const list = block.Make<char*>(names.size() + 1);
        for (std::size_t i = 0; i < names.size(); ++i) {
            list[i] = block.Text(Utf8FromNarrow(names[i]));
        }
        *count = static_cast<std::uint32_t>(names.size());
        block.Give(*types, list);
    });
}

ymd_result ymd_scheme_get_filters(ymd_scheme* scheme, const char* const* types, uint32_t type_count,
                                  ymd_scheme_filter*** filters, uint32_t* count) {
    return Call(__func__, [&] {
        Out(filters);
        Out(count);
        const std::shared_ptr<CCoderScheme> set = From(scheme)->Get();
        Require(types != nullptr || type_count == 0, YMD_ERROR_ARGUMENT, "the types are null");
        std::vector<std::wstring> names;
        for (std::uint32_t i = 0; i < type_count; ++i) {
            names.push_back(Wide(types[i]));
        }
        Require(type_count != 1 || set->FindScheme(names[0], nullptr), YMD_ERROR_NOT_FOUND,
                "the type has no scheme");
        CCoderScheme::Scheme all;
        set->ConfigScheme(names, all);
        GiveList(filters, count, all.listFilter,
                 [](Block& block, ymd_scheme_filter& to, const FilterInfo* info) {
                     to.name = block.Text(info->strName);
                     to.clsid = block.Text(GuidText(info->clsid));
                     to.module = block.Text(info->strPath);
                     to.category = GuidOrEmpty(block, info->bHasCategory, info->clsidCategory);
                     to.dmo_category =
                         GuidOrEmpty(block, info->bHasDMOCategory, info->clsidDMOCategory);
                     to.role = info->nType;
                     to.only_one = info->bOnlyOne;
                     to.cache = info->bCache;
                     to.try_replace = info->bTryReplace;
                 });
    });
}

ymd_result ymd_scheme_unload(ymd_scheme* scheme) {
    return Call(__func__, [&] {
        Edit(scheme, [](CCoderScheme& set) {
            set.UnloadScheme();
            return true;
        });
    });
}

ymd_result ymd_scheme_unload_modules(ymd_scheme* scheme) {
    return Call(__func__, [&] {
        Edit(scheme, [](CCoderScheme& set) {
            set.UnloadModules();
            return true;
        });
    });
}
