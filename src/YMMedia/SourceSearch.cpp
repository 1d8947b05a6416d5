// The four ways of finding a source filter, tried in order until one gives a rendered source.

#include <ymdshow/GraphToolkit.h>
#include <ymdshow/Media.h>

#include "GraphToolkit/Attempts.h"
#include "Text/Text.h"
#include "YMMedia/Support.h"

namespace ymdshow {

namespace {

constexpr const char* kFunction = "ymdshow::CMedia::_TrySourceFilter";
constexpr std::size_t kGraphSource = static_cast<std::size_t>(-1);

} // namespace

int CMedia::_TrySourceFilter(std::vector<IBaseFilter*>& sources, int tryRenderSource) {
    const std::wstring path = text::ToWide(m_mediaPath);
    if (tryRenderSource != 0 && !m_renderFilters.empty()) {
        TrySchemeSourceWithRenderers(sources, path);
        if (m_pSourceFilter == nullptr) {
            TryGraphSourceWithRenderers(path);
        }
    }
    if (m_pSourceFilter == nullptr) {
        TrySchemeSourceRendered(sources, path);
    }
    if (m_pSourceFilter == nullptr) {
        TryGraphSourceRendered(path);
    }
    if (m_pSourceFilter == nullptr) {
        _FreeFilters();
        return 0;
    }
    return 1;
}

bool CMedia::IsComplete(unsigned int video, unsigned int audio) const {
    return (m_originalVideoTrackNum == 0 || video > 0) &&
           (m_originalAudioTrackNum == 0 || audio > 0);
}

/// `source` counts the scheme's source filters; the graph's own source has none.
void CMedia::AddAttempt(int way, const wchar_t* step, std::size_t source, HRESULT result) {
    LoadReport::Attempt attempt;
    attempt.way = way;
    attempt.step = step;
    attempt.result = result;
    attempt.text = ResultText(result);
    for (const LoadReport::Filter& filter : m_loadReport.filters) {
        if (filter.role == DSFT_SOURCE && filter.added && source-- == 0) {
            attempt.filter = filter.name;
            break;
        }
    }
    m_loadReport.attempts.push_back(std::move(attempt));
    if (FAILED(result)) {
        // The last way's answer is what the host sees first.
        m_loadReport.failure = std::wstring(step) + L": " + m_loadReport.attempts.back().text;
        m_loadReport.failureResult = result;
    }
}

void CMedia::TrySchemeSourceWithRenderers(std::vector<IBaseFilter*>& sources,
                                          const std::wstring& path) {
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const HRESULT accepted = toolkit::LoadSourceFile(path, sources[i]);
        AddAttempt(1, L"TrySourceFilter", i, accepted);
        if (FAILED(accepted)) {
            YMD_LOG_WARNING(kFunction, "Try loaded source filter (TrySourceFilter) FAILED: %s",
                            m_mediaPath.c_str());
            continue;
        }
        unsigned int video = 0;
        unsigned int audio = 0;
        TryRenderSource(m_pGB, sources[i], m_renderFilters, &video, &audio, nullptr);
        const bool complete = IsComplete(video, audio);
        AddAttempt(1, L"TryRenderSource", i, complete ? S_OK : VFW_E_CANNOT_RENDER);
        if (complete) {
            m_pSourceFilter = sources[i];
            sources.erase(sources.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            UnlinkGraphBuilder(m_pGB);
            YMD_LOG_WARNING(kFunction,
                            "Try to render the loaded source filter (TryRenderSource) FAILED : %s",
                            m_mediaPath.c_str());
        }
        return;
    }
}

void CMedia::TryGraphSourceWithRenderers(const std::wstring& path) {
    try {
        ComPtr<IBaseFilter> source;
        const HRESULT added = m_pGB->AddSourceFilter(path.c_str(), nullptr, &source);
        AddAttempt(2, L"AddSourceFilter", kGraphSource, added);
        if (FAILED(added)) {
            YMD_LOG_WARNING(kFunction, "Auto AddSourceFilter FAILED : %s", m_mediaPath.c_str());
            return;
        }
        unsigned int video = 0;
        unsigned int audio = 0;
        TryRenderSource(m_pGB, source.Get(), m_renderFilters, &video, &audio, nullptr);
        const bool complete = IsComplete(video, audio);
        AddAttempt(2, L"TryRenderSource", kGraphSource, complete ? S_OK : VFW_E_CANNOT_RENDER);
        if (complete) {
            m_pSourceFilter = source.Detach();
            return;
        }
        UnlinkGraphBuilder(m_pGB);
        source.Reset();
        YMD_LOG_WARNING(kFunction, "Auto AddSourceFilter OK But TryRenderSource FAILED : %s",
                        m_mediaPath.c_str());
    } catch (...) {
        YMD_LOG_WARNING(kFunction, "Auto AddSourceFilter Catch Exception : %s",
                        m_mediaPath.c_str());
    }
}

void CMedia::TrySchemeSourceRendered(std::vector<IBaseFilter*>& sources, const std::wstring& path) {
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const HRESULT accepted = toolkit::LoadSourceFile(path, sources[i]);
        AddAttempt(3, L"TrySourceFilter", i, accepted);
        if (FAILED(accepted)) {
            // Kept: unlike the first way's message, this one has a blank before the colon.
            YMD_LOG_WARNING(kFunction, "Try loaded source filter (TrySourceFilter) FAILED : %s",
                            m_mediaPath.c_str());
            continue;
        }
        HRESULT rendered = S_OK;
        const int any = toolkit::RenderFilter(m_pGB, sources[i], &rendered);
        AddAttempt(3, L"RenderFilter", i, rendered);
        if (any != 0) {
            m_pSourceFilter = sources[i];
            sources.erase(sources.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            // Kept: what it has connected stays so, unlike after the ways before.
            YMD_LOG_WARNING(kFunction,
                            "Try to render the loaded source filter (RenderFilter) FAILED : %s",
                            m_mediaPath.c_str());
        }
        return;
    }
}

void CMedia::TryGraphSourceRendered(const std::wstring& path) {
    try {
        ComPtr<IBaseFilter> source;
        const HRESULT added = m_pGB->AddSourceFilter(path.c_str(), nullptr, &source);
        AddAttempt(4, L"AddSourceFilter", kGraphSource, added);
        if (FAILED(added)) {
            YMD_LOG_WARNING(kFunction, "Auto AddSourceFilter FAILED : %s", m_mediaPath.c_str());
            return;
        }
        HRESULT rendered = S_OK;
        const int any = toolkit::RenderFilter(m_pGB, source.Get(), &rendered);
        AddAttempt(4, L"RenderFilter", kGraphSource, rendered);
        if (any != 0) {
            m_pSourceFilter = source.Detach();
            return;
        }
        source.Reset();
        YMD_LOG_WARNING(kFunction, "Auto AddSourceFilter OK But RenderFilter FAILED : %s",
                        m_mediaPath.c_str());
    } catch (...) {
        YMD_LOG_WARNING(kFunction, "Auto AddSourceFilter Catch Exception : %s",
                        m_mediaPath.c_str());
    }
}

} // namespace ymdshow
