// Assembling the graph: the scheme's filters, a rendered source, its tracks, its interfaces.

#include <algorithm>

#include <ymdshow/CoderScheme.h>
#include <ymdshow/GraphToolkit.h>

#include "YMMedia/Inside.h"

namespace ymdshow {

namespace {

constexpr DWORD kEveryRole = 0xFFFFFFFF;

/// Replaces what `member` holds by `graph`'s interface; null when it has none.
template <class T> HRESULT QueryMember(IGraphBuilder* graph, T*& member) {
    ReleaseMember(member);
    const HRESULT result = graph->QueryInterface(IID_PPV_ARGS(&member));
    if (FAILED(result)) {
        ReleaseMember(member);
    }
    return SUCCEEDED(result) && member == nullptr ? E_NOINTERFACE : result;
}

} // namespace

int CMedia::_InitFilters(CCoderScheme* scheme, int tryRenderSource) {
    if (m_pGB == nullptr) {
        return 0;
    }
    // The scan takes what is left of the sources; whatever keeps it from that gives them back.
    struct Sources {
        explicit Sources(CMedia& owner) : media(owner), item(owner.m_lock) {}
        ~Sources() {
            for (IBaseFilter* source : filters) {
                if (item.IsDestroyed()) {
                    source->Release();
                } else {
                    Inside::Drop(media, source);
                }
            }
        }
        CMedia& media;
        const ymlib::CYMAutoLock item;
        std::vector<IBaseFilter*> filters;
    } unused(*this);
    std::vector<IBaseFilter*>& sources = unused.filters;
    _LoadFilterWithScheme(scheme, sources);
    if (_TrySourceFilter(sources, tryRenderSource) == 0) {
        return 0;
    }
    m_inside->load.Succeed();
    _RemoveAllCachedFilterInGraphConfig();
    _ScanAllFilterAndGetAVTrackInfo(sources);
    const HRESULT control = QueryMember(m_pGB, m_pMediaControl);
    if (FAILED(control)) {
        m_inside->load.Fail(L"the graph has no IMediaControl", control);
        Inside::RecordGraph(*this);
        _FreeDirectShow();
        return 0;
    }
    QueryMember(m_pGB, m_pMediaFilter);
    QueryMember(m_pGB, m_pMediaSeeking);
    QueryMember(m_pGB, m_pBasicVideo);
    QueryMember(m_pGB, m_pMediaEvent);
    QueryMember(m_pGB, m_pVideoWindow);
    return 1;
}

void CMedia::_LoadFilterWithScheme(CCoderScheme* scheme, std::vector<IBaseFilter*>& sources) {
    if (scheme == nullptr) {
        YMD_LOG_WARNING("ymdshow::CMedia::_LoadFilterWithScheme", "CoderScheme Is NULL");
        return;
    }
    std::vector<std::string> names{m_urlProtocol, m_hasMediaFormat ? m_mediaFormat : std::string(),
                                   m_fileExt};
    names.erase(std::remove(names.begin(), names.end(), std::string()), names.end());
    // The global names are added once a stream: a global scheme's filters are made once for
    // each stream unless they are marked as standing only once.
    for (std::uint32_t i = 0; i < m_originalAudioTrackNum && i < m_audioInfos.size(); ++i) {
        names.push_back(m_audioInfos[i].format);
        names.emplace_back("audio_global");
    }
    for (std::uint32_t i = 0; i < m_originalVideoTrackNum && i < m_videoInfos.size(); ++i) {
        names.push_back(m_videoInfos[i].format);
        names.emplace_back("video_global");
    }

    CCoderScheme::Scheme merged;
    const auto configure = [&](const std::vector<std::string>& wanted) {
        for (const std::string& name : wanted) {
            m_inside->load.Name(name, scheme->FindScheme(name, nullptr));
        }
        scheme->ConfigScheme(wanted, merged);
    };
    configure(names);
    if (merged.listFilter.empty()) {
        configure({"unknown"});
    }
    std::vector<LoadReport::Filter> made;
    std::vector<const IBaseFilter*> added;
    scheme->MakeFilters(
        merged,
        [&, this](IBaseFilter* filter, const FilterInfo& info) {
            const HRESULT result =
                Inside::Add(*this, filter, info.strName.c_str(), info.bCache ? 1 : 0);
            if (FAILED(result)) {
                _RemoveFilter(filter);
            } else {
                added.push_back(filter);
            }
            return result;
        },
        &sources, &m_schemeFilters, &m_renderFilters, kEveryRole, made);
    m_inside->made.clear();
    for (const LoadReport::Filter& filter : made) {
        if (filter.added && m_inside->made.size() < added.size()) {
            m_inside->made.emplace_back(added[m_inside->made.size()], filter);
        }
    }
    m_inside->load.Filters(std::move(made));
}

/// What the cache or the graph answered.
HRESULT CMedia::Inside::Add(CMedia& media, IBaseFilter* filter, const wchar_t* name, int cache) {
    if (filter == nullptr || media.m_pGB == nullptr) {
        return E_POINTER;
    }
    const bool isCached = cache != 0 && media.m_pGraphConfig != nullptr &&
                          AddFilterToGraphBuilderCache(media.m_pGraphConfig, filter) != 0;
    const HRESULT added = isCached ? S_OK : media.m_pGB->AddFilter(filter, name);
    if (FAILED(added)) {
        // Kept: the wide name goes to a narrow format and shows up to its first zero byte.
        YMD_LOG_WARNING("ymdshow::CMedia::_AddFilter", "AddFilter FAILED : %s", name);
    } else if (media.m_pAddFilterCallBack != nullptr) {
        media.m_pAddFilterCallBack(filter, media.m_pAddFilterCallBackUser);
    }
    return added;
}

/// Takes a filter out of the graph and gives a reference back. The references that are left.
ULONG CMedia::Inside::Drop(CMedia& media, IBaseFilter* filter) {
    Quietly([&] { media._RemoveFilter(filter); });
    return filter->Release();
}

int CMedia::_AddFilter(IBaseFilter* filter, const wchar_t* name, int cache) {
    return SUCCEEDED(Inside::Add(*this, filter, name, cache)) ? 1 : 0;
}

void CMedia::_RemoveFilter(IBaseFilter* filter) {
    if (filter == nullptr || m_pGB == nullptr) {
        return;
    }
    const ComPtr<IGraphBuilder> graph(m_pGB);
    const ComPtr<IGraphConfig> config(m_pGraphConfig);
    UnlinkFilter(graph.Get(), filter);
    if (FAILED(graph->RemoveFilter(filter))) {
        YMD_LOG_WARNING("ymdshow::CMedia::_RemoveFilter", "RemoveFilter FAILED");
    }
    if (config != nullptr) {
        RemoveFilterFromGraphBuilderCache(config.Get(), filter);
    }
}

} // namespace ymdshow
