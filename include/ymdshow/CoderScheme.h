#pragma once

#include <windows.h>

#include <dshow.h>

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <ymdshow/Export.h>
#include <ymlib/Module.h>

namespace ymdshow {

class CMedia;

/// One filter description of a scheme script.
struct FilterInfo {
    std::wstring strName;         ///< key of the entry, and the filter's name in the graph
    std::wstring strPath;         ///< module that implements the filter; empty for a system filter
    std::int32_t nType = 0;       ///< role: 1 source, 2 transform, 4 render, 0 ask the filter
    bool bTryReplace = false;     ///< kept with the entry; nothing acts on it
    bool bOnlyOne = false;        ///< may stand only once in a scheme's list
    bool bCache = true;           ///< goes into the graph's filter cache when there is one
    bool bHasCategory = false;    ///< clsidCategory is valid
    bool bHasDMOCategory = false; ///< clsidDMOCategory is valid; clsid names a DMO
    GUID clsidCategory{};
    GUID clsidDMOCategory{};
    GUID clsid{};
};

/// The decoder configuration: named filter descriptions, and for each file type
/// the ordered list of filters that a media item of that type is built from.
/// Takes no lock: load before use, from one thread at a time.
class YMDSHOW_API CCoderScheme {
public:
    /// One type's filters, in script order. The pointers are not owned.
    struct YMDSHOW_API Scheme {
        std::list<FilterInfo*> listFilter;
    };

    CCoderScheme();
    CCoderScheme(const CCoderScheme& other);
    CCoderScheme& operator=(const CCoderScheme& other);
    virtual ~CCoderScheme();

    bool LoadScheme(const std::wstring& path, int replace);
    bool LoadScheme(const std::string& path, int replace);
    bool LoadSchemeByScript(const std::string& script, int replace);
    bool FindScheme(const std::string& type, Scheme** out);
    bool FindScheme(const std::wstring& type, Scheme** out);
    bool ConfigScheme(const std::vector<std::string>& types, Scheme& out);
    bool ConfigScheme(const std::vector<std::wstring>& types, Scheme& out);

    bool LoadSchemeFilters(CMedia* media, const Scheme& scheme, std::vector<IBaseFilter*>* sources,
                           std::vector<IBaseFilter*>* transforms,
                           std::vector<IBaseFilter*>* renders, DWORD typeMask);
    bool LoadSchemeFilters(CMedia* media, const std::string& type,
                           std::vector<IBaseFilter*>* sources,
                           std::vector<IBaseFilter*>* transforms,
                           std::vector<IBaseFilter*>* renders, DWORD typeMask);
    bool LoadSchemeFilters(CMedia* media, const std::wstring& type,
                           std::vector<IBaseFilter*>* sources,
                           std::vector<IBaseFilter*>* transforms,
                           std::vector<IBaseFilter*>* renders, DWORD typeMask);

    void UnloadScheme();
    void UnloadModules();

protected:
    std::map<std::wstring, std::shared_ptr<FilterInfo>> m_mapFilterInfo;
    ymlib::CModuleManager m_moduleManager;
    std::map<std::string, std::shared_ptr<Scheme>> m_mapScheme;
};

} // namespace ymdshow
