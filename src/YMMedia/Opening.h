#pragma once

#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <memory>
#include <mutex>
#include <string>

namespace ymdshow {

/// The source filter that a load is opening, which may wait for a dead server: another thread
/// that wants the item ends that, for it would wait for the item's lock as long. It ends no load
/// whose source filters do not take that (IAMOpenProgress).
class Opening : public std::enable_shared_from_this<Opening> {
public:
    /// A load, for its scope; the item may be gone when that ends. What was aborted before does
    /// not count for it.
    class Load {
    public:
        explicit Load(Opening& opening);
        ~Load();
        Load(const Load&) = delete;
        Load& operator=(const Load&) = delete;

    private:
        const std::shared_ptr<Opening> m_opening;
        const DWORD m_outer; ///< the thread of a load around it
    };

    /// toolkit::LoadSourceFile on the load's thread, or E_ABORT.
    HRESULT Open(const std::wstring& path, IBaseFilter* source);
    /// An opening of this load was ended: no other is begun.
    bool IsAborted() const;

    /// Ends another thread's load as far as that waits for a source filter.
    void Abort();

private:
    bool TellSource();

    mutable std::mutex m_mutex; ///< held for a moment only
    DWORD m_thread = 0;         ///< that loads
    bool m_isWanted = false;    ///< by another thread
    bool m_isAborted = false;
    Microsoft::WRL::ComPtr<IAMOpenProgress> m_source;
};

} // namespace ymdshow
