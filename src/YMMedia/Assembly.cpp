#include <ymdshow/CoderScheme.h>
#include <ymdshow/GraphToolkit.h>
#include <ymdshow/Media.h>

#include "Text/Text.h"
#include "YMMedia/Support.h"

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
    return result;
}

} // namespace

int CMedia::_InitFilters(CCoderScheme* scheme, int tryRenderSource) {
    if (m_pGB == nullptr) {
        return 0;
    }
    // The scan takes what is left of the sources; whatever keeps it from that gives them back.
    struct Sources {
        CMedia& media;
        std::vector<IBaseFilter*> filters;
        ~Sources() {
            for (IBaseFilter* source : filters) {
                media._RemoveFilter(source);
                source->Release();
            }
        }
    } unused{*this, {}};
    std::vector<IBaseFilter*>& sources = unused.filters;
    _LoadFilterWithScheme(scheme, sources);
    if (_TrySourceFilter(sources, tryRenderSource) == 0) {
        return 0;
    }
    // The ways that failed before one succeeded are in the attempts.
    m_loadReport.failure.clear();
    m_loadReport.failureResult = S_OK;
    _RemoveAllCachedFilterInGraphConfig();
    _ScanAllFilterAndGetAVTrackInfo(sources);
    const HRESULT control = QueryMember(m_pGB, m_pMediaControl);
    if (FAILED(control)) {
        FailLoad(L"the graph has no IMediaControl", control);
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
    std::vector<std::string> names;
    const auto add = [&names](const std::string& name) {
        if (!name.empty()) {
            names.push_back(name);
        }
    };
    add(m_urlProtocol);
    if (m_hasMediaFormat) {
        add(m_mediaFormat);
    }
    add(m_fileExt);
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

    const auto configure = [&](const std::vector<std::string>& wanted,
                               CCoderScheme::Scheme& merged) {
        for (const std::string& name : wanted) {
            m_loadReport.names.push_back({text::ToWide(name), scheme->FindScheme(name, nullptr)});
        }
        scheme->ConfigScheme(wanted, merged);
    };
    CCoderScheme::Scheme merged;
    configure(names, merged);
    if (merged.listFilter.empty()) {
        configure({"unknown"}, merged);
    }
    scheme->LoadSchemeFilters(this, merged, &sources, &m_schemeFilters, &m_renderFilters,
                              kEveryRole);
}

int CMedia::_AddFilter(IBaseFilter* filter, const wchar_t* name, int cache) {
    if (filter == nullptr || m_pGB == nullptr) {
        return 0;
    }
    int cached = 0;
    if (cache != 0 && m_pGraphConfig != nullptr) {
        cached = AddFilterToGraphBuilderCache(m_pGraphConfig, filter);
    }
    m_addFilterResult = cached == 0 ? m_pGB->AddFilter(filter, name) : S_OK;
    if (FAILED(m_addFilterResult)) {
        // Kept: the wide name goes to a narrow format and shows up to its first zero byte.
        YMD_LOG_WARNING("ymdshow::CMedia::_AddFilter", "AddFilter FAILED : %s", name);
        return 0;
    }
    if (m_pAddFilterCallBack != nullptr) {
        m_pAddFilterCallBack(filter, m_pAddFilterCallBackUser);
    }
    return 1;
}

void CMedia::_RemoveFilter(IBaseFilter* filter) {
    if (filter == nullptr || m_pGB == nullptr) {
        return;
    }
    UnlinkFilter(m_pGB, filter);
    if (FAILED(m_pGB->RemoveFilter(filter))) {
        YMD_LOG_WARNING("ymdshow::CMedia::_RemoveFilter", "RemoveFilter FAILED");
    }
    if (m_pGraphConfig != nullptr) {
        RemoveFilterFromGraphBuilderCache(m_pGraphConfig, filter);
    }
}

} // namespace ymdshow
