// The four ways of finding a source filter, tried in order until one gives a rendered source.

#include <ymdshow/GraphToolkit.h>

#include "GraphToolkit/Attempts.h"
#include "GraphToolkit/ToldError.h"
#include "YMMedia/Inside.h"

namespace ymdshow {

namespace {

constexpr const char* kFunction = "ymdshow::CMedia::_TrySourceFilter";

} // namespace

class CMedia::Inside::SourceSearch {
public:
    SourceSearch(CMedia& media, std::vector<IBaseFilter*>& sources)
        : m_media(media), m_sources(sources), m_path(media.m_inside->path) {}

    /// A source of the scheme, rendered to the scheme's renderers (way 1) or by the graph (way 3).
    void FromScheme(bool toRenderers);
    /// A source that the graph chooses, rendered likewise (ways 2 and 4).
    void FromGraph(bool toRenderers);

private:
    bool Render(int way, IBaseFilter* source, std::size_t index);
    void RecordEnds(int way, IBaseFilter* source, HRESULT rendered);
    void Warn(const char* text) const {
        YMD_LOG_WARNING(kFunction, text, m_media.m_mediaPath.c_str());
    }

    CMedia& m_media;
    std::vector<IBaseFilter*>& m_sources;
    const std::wstring m_path;
};

int CMedia::_TrySourceFilter(std::vector<IBaseFilter*>& sources, int tryRenderSource) {
    Inside::SourceSearch search(*this, sources);
    const auto goesOn = [this] {
        return m_pSourceFilter == nullptr && !m_inside->opening->IsAborted();
    };
    if (tryRenderSource != 0 && !m_renderFilters.empty()) {
        search.FromScheme(true);
        if (goesOn()) {
            search.FromGraph(true);
        }
    }
    if (goesOn()) {
        search.FromScheme(false);
    }
    if (goesOn()) {
        search.FromGraph(false);
    }
    if (m_pSourceFilter == nullptr) {
        Inside::RecordGraph(*this);
        _FreeFilters();
        return 0;
    }
    return 1;
}

void CMedia::Inside::SourceSearch::FromScheme(bool toRenderers) {
    const int way = toRenderers ? 1 : 3;
    for (std::size_t i = 0; i < m_sources.size(); ++i) {
        const toolkit::ToldError told;
        const HRESULT accepted = m_media.m_inside->opening->Open(m_path, m_sources[i]);
        m_media.m_inside->load.Attempt(way, L"TrySourceFilter", i, accepted, told.Take());
        if (FAILED(accepted)) {
            // Kept: the two ways differ in the blank before the colon.
            Warn(toRenderers ? "Try loaded source filter (TrySourceFilter) FAILED: %s"
                             : "Try loaded source filter (TrySourceFilter) FAILED : %s");
            continue;
        }
        if (Render(way, m_sources[i], i)) {
            m_media.m_pSourceFilter = m_sources[i];
            m_sources.erase(m_sources.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            Warn(toRenderers
                     ? "Try to render the loaded source filter (TryRenderSource) FAILED : %s"
                     : "Try to render the loaded source filter (RenderFilter) FAILED : %s");
        }
        return; // no further source is tried
    }
}

void CMedia::Inside::SourceSearch::FromGraph(bool toRenderers) {
    const int way = toRenderers ? 2 : 4;
    try {
        ComPtr<IBaseFilter> source;
        const toolkit::ToldError told;
        HRESULT added = E_POINTER;
        if (m_media.m_pGB != nullptr) { // else a callback has unloaded the item
            added = m_media.m_pGB->AddSourceFilter(m_path.c_str(), nullptr, &source);
        }
        added = SUCCEEDED(added) && source == nullptr ? E_POINTER : added;
        m_media.m_inside->load.Attempt(way, L"AddSourceFilter", LoadRecorder::kGraphSource, added,
                                       told.Take());
        if (FAILED(added)) {
            Warn("Auto AddSourceFilter FAILED : %s");
        } else if (Render(way, source.Get(), LoadRecorder::kGraphSource)) {
            m_media.m_pSourceFilter = source.Detach();
        } else {
            source.Reset();
            Warn(toRenderers ? "Auto AddSourceFilter OK But TryRenderSource FAILED : %s"
                             : "Auto AddSourceFilter OK But RenderFilter FAILED : %s");
        }
    } catch (...) {
        Warn("Auto AddSourceFilter Catch Exception : %s");
    }
}

/// The scheme's renderers have to receive every kind of stream that is known; what the graph
/// renders is taken when it is anything, and left connected when it is nothing.
bool CMedia::Inside::SourceSearch::Render(int way, IBaseFilter* source, std::size_t index) {
    if (way > 2) {
        HRESULT rendered = S_OK;
        const bool any = toolkit::RenderFilter(m_media.m_pGB, source, &rendered) != 0;
        m_media.m_inside->load.Attempt(way, L"RenderFilter", index, rendered);
        RecordEnds(way, source, rendered);
        return any;
    }
    unsigned int video = 0;
    unsigned int audio = 0;
    TryRenderSource(m_media.m_pGB, source, m_media.m_renderFilters, &video, &audio, nullptr);
    const bool complete = IsComplete(m_media, video, audio);
    m_media.m_inside->load.Attempt(way, L"TryRenderSource", index,
                                   complete ? S_OK : VFW_E_CANNOT_RENDER);
    RecordEnds(way, source, complete ? S_OK : VFW_E_CANNOT_RENDER);
    if (!complete) {
        UnlinkGraphBuilder(m_media.m_pGB);
    }
    return complete;
}

/// For the report alone: nothing depends on it.
void CMedia::Inside::SourceSearch::RecordEnds(int way, IBaseFilter* source, HRESULT rendered) {
    Quietly([&] {
        if (m_media.m_pGB != nullptr) { // else a callback has unloaded the item
            m_media.m_inside->load.DeadEnds(
                way, rendered,
                toolkit::FindDeadEnds(m_media.m_pGB, source, m_media.m_inside->Makers()));
        }
    });
}

bool CMedia::Inside::IsComplete(const CMedia& media, unsigned video, unsigned audio) {
    return (media.m_originalVideoTrackNum == 0 || video > 0) &&
           (media.m_originalAudioTrackNum == 0 || audio > 0);
}

} // namespace ymdshow
