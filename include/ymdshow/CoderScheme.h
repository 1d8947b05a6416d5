#pragma once

// Before <dshow.h>, which takes the formatting functions away that <string> uses.
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <ymdshow/DirectShow.h>
#include <ymdshow/Export.h>
#include <ymdshow/LoadReport.h>
#include <ymdshow/SchemeReport.h>
#include <ymlib/Module.h>

namespace ymdshow {

class CMedia;

/// One filter description of a scheme script. Owned by the scheme set that read it and
/// by the copies of that.
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
/// the ordered list of filters that a media item of that type is built from. Both are
/// read from a scheme script, a JSON document; samples/ has one with comments and a
/// JSON Schema.
///
/// Takes no lock: load before use, from one thread at a time. Only copying throws, when
/// memory runs out. A copy shares the filter descriptions and the loaded modules of its
/// source; loading into either or unloading it leaves the other as it is, whichever goes
/// first.
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

    /// Adds what the script file at `path` describes to what is there. The file is
    /// UTF-16 or UTF-8 with a byte-order mark, UTF-8 by its looks, or code page 936.
    /// The first description of a filter name counts, also across scripts. For a file
    /// type that has a scheme already, `replace` other than 0 puts the new list in its
    /// place; 0 appends to it what it may hold.
    ///
    /// False, with nothing changed, when the path is empty, the file is unreadable or
    /// empty, is no JSON, or has no array "Schemes". Bad entries are passed over and
    /// never fail a load; GetLoadReport names them.
    bool LoadScheme(const std::wstring& path, int replace);
    /// The same for a path in code page 936.
    bool LoadScheme(const std::string& path, int replace);
    /// The same for a script given as text in code page 936. String literals in it that
    /// are valid UTF-8 are read as that, but for the names of file types.
    bool LoadSchemeByScript(const std::string& script, int replace);

    /// The scheme of a file type, whose name is in lower case; false, with null in `out`,
    /// when there is none. An empty name is refused before `out` is touched, and so is a wide
    /// one when memory runs out. `out` may be null. The scheme stays owned by the set and
    /// valid until UnloadScheme; later loads change it in place.
    bool FindScheme(const std::string& type, Scheme** out);
    bool FindScheme(const std::wstring& type, Scheme** out);

    /// Appends the lists of the types that have a scheme to `out`, in order, without
    /// what may stand only once and stands there already. Always true.
    bool ConfigScheme(const std::vector<std::string>& types, Scheme& out);
    bool ConfigScheme(const std::vector<std::wstring>& types, Scheme& out);

    /// The file types that have a scheme, in byte order.
    std::vector<std::string> GetSchemeTypes() const;

    /// What the last load did; that of an empty script set says nothing. Replaced by
    /// the next load, kept by UnloadScheme.
    const SchemeLoadReport& GetLoadReport() const;

    /// Makes the filters of `scheme` in order: from its module when the entry names one that
    /// loads, as a DMO, or from the system. Each is added to the graph of `media`, unless that
    /// is null, and put with one reference for the caller into the list of its role; null
    /// lists and roles outside `typeMask` (bits of DSFilterType) drop theirs. An entry that
    /// gives no filter is logged and passed over; `results`, when given, gets what became of
    /// each. False only for an unknown `type`, or when memory runs out.
    bool LoadSchemeFilters(CMedia* media, const Scheme& scheme, std::vector<IBaseFilter*>* sources,
                           std::vector<IBaseFilter*>* transforms,
                           std::vector<IBaseFilter*>* renders, DWORD typeMask,
                           std::vector<LoadReport::Filter>* results = nullptr);
    bool LoadSchemeFilters(CMedia* media, const std::string& type,
                           std::vector<IBaseFilter*>* sources,
                           std::vector<IBaseFilter*>* transforms,
                           std::vector<IBaseFilter*>* renders, DWORD typeMask);
    bool LoadSchemeFilters(CMedia* media, const std::wstring& type,
                           std::vector<IBaseFilter*>* sources,
                           std::vector<IBaseFilter*>* transforms,
                           std::vector<IBaseFilter*>* renders, DWORD typeMask);

    /// Forgets every filter description and scheme; pointers to them end here, except
    /// that descriptions live on in copies. Loaded modules stay.
    void UnloadScheme();

    /// Lets the loaded modules go. Release every filter made from them before.
    void UnloadModules();

protected:
    std::map<std::wstring, std::shared_ptr<FilterInfo>> m_mapFilterInfo;
    ymlib::CModuleManager m_moduleManager;
    std::map<std::string, std::shared_ptr<Scheme>> m_mapScheme;

private:
    friend class CMedia;

    /// Puts a filter that was made for an entry where it belongs.
    using PlaceFilter = std::function<HRESULT(IBaseFilter* filter, const FilterInfo& info)>;

    /// LoadSchemeFilters with a place for the filters, or none, and what became of each entry.
    void MakeFilters(const Scheme& scheme, const PlaceFilter& place,
                     std::vector<IBaseFilter*>* sources, std::vector<IBaseFilter*>* transforms,
                     std::vector<IBaseFilter*>* renders, DWORD typeMask,
                     std::vector<LoadReport::Filter>& results);

    SchemeLoadReport m_report;
};

} // namespace ymdshow
