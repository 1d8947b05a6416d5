#include "YMMedia/LoadRecorder.h"

#include <utility>

#include <ymdshow/GraphToolkit.h>

#include "Text/Text.h"

namespace ymdshow {

void LoadRecorder::Begin() {
    m_report = LoadReport();
    m_isTold = false;
}

void LoadRecorder::Name(const std::string& name, bool found) {
    m_report.names.push_back({text::ToWide(name), found});
}

void LoadRecorder::Filters(std::vector<LoadReport::Filter>&& filters) {
    m_report.filters = std::move(filters);
}

void LoadRecorder::Attempt(int way, const wchar_t* step, std::size_t source, HRESULT result,
                           std::wstring told) {
    const bool isTold = FAILED(result) && !told.empty();
    LoadReport::Attempt attempt{
        way, step, {}, result, isTold ? std::move(told) : ResultText(result)};
    for (const LoadReport::Filter& filter : m_report.filters) {
        if (filter.role == DSFT_SOURCE && filter.added && source-- == 0) {
            attempt.filter = filter.name;
            break;
        }
    }
    if (FAILED(result) && (isTold || !m_isTold)) {
        m_isTold = isTold;
        m_report.failure = attempt.step + L": " + attempt.text;
        m_report.failureResult = result;
    }
    m_report.attempts.push_back(std::move(attempt));
}

void LoadRecorder::DeadEnds(int way, HRESULT rendered, std::vector<LoadReport::DeadEnd>&& ends) {
    m_report.deadEnds = std::move(ends);
    for (LoadReport::DeadEnd& end : m_report.deadEnds) {
        end.way = way;
        end.result = rendered;
    }
}

void LoadRecorder::Succeed() {
    m_report.failure.clear();
    m_report.failureResult = S_OK;
    m_isTold = false;
}

int LoadRecorder::Fail(const wchar_t* reason, HRESULT result) {
    if (m_report.failure.empty()) {
        m_report.failureResult = result;
        m_report.failure = reason;
    }
    return 0;
}

} // namespace ymdshow
