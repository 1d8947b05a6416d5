#pragma once

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include <ymdshow/LoadReport.h>

namespace ymdshow {

/// Fills the report of an item's loads. One rule for the reason: the last call that failed
/// tells it, one that told it in words of its own before those that did not, and a step that
/// gives up tells its own only when no call failed on the way.
class LoadRecorder {
public:
    const LoadReport& Report() const { return m_report; }

    void Begin();
    void Name(const std::string& name, bool found);
    void Filters(std::vector<LoadReport::Filter>&& filters);

    /// A step of one way of finding a source; `source` counts the scheme's source filters that
    /// are in the graph, the graph's own source has none. `told` is what a filter said of a
    /// failure; the result is put into words without.
    static constexpr std::size_t kGraphSource = static_cast<std::size_t>(-1);
    void Attempt(int way, const wchar_t* step, std::size_t source, HRESULT result,
                 std::wstring told = {});

    /// The dead ends that the last way left, in the place of an earlier one's.
    void DeadEnds(int way, HRESULT rendered, std::vector<LoadReport::DeadEnd>&& ends);
    /// What stands in the graph as the load gives up.
    void Graph(std::vector<FilterDescription>&& filters) { m_report.graph = std::move(filters); }

    /// What failed on the way to success stays with the attempts alone.
    void Succeed();
    /// A step gives up. Answers 0.
    int Fail(const wchar_t* reason, HRESULT result);

private:
    LoadReport m_report;
    bool m_isTold = false; ///< the failure, in a filter's words
};

} // namespace ymdshow
