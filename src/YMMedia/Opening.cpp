#include "YMMedia/Opening.h"

#include <utility>

#include "BaseClasses/InterfaceIds.h"
#include "GraphToolkit/Attempts.h"
#include "Guard.h"

namespace ymdshow {

using Microsoft::WRL::ComPtr;

namespace {

constexpr int kTries = 30;
constexpr DWORD kInterval = 10; // ms

} // namespace

Opening::Load::Load(Opening& opening)
    : m_opening(opening.shared_from_this()), m_outer([&] {
          const std::lock_guard guard(opening.m_mutex);
          if (opening.m_thread == 0) {
              opening.m_isWanted = opening.m_isAborted = false;
          }
          return std::exchange(opening.m_thread, GetCurrentThreadId());
      }()) {}

Opening::Load::~Load() {
    const std::lock_guard guard(m_opening->m_mutex);
    m_opening->m_thread = m_outer;
}

HRESULT Opening::Open(const std::wstring& path, IBaseFilter* source) {
    ComPtr<IAMOpenProgress> progress;
    if (source != nullptr) {
        Quietly([&] { source->QueryInterface(IID_PPV_ARGS(&progress)); });
    }
    {
        const std::lock_guard guard(m_mutex);
        m_isAborted = m_isAborted || (m_isWanted && progress != nullptr);
        if (m_isAborted) {
            return E_ABORT;
        }
        m_source = progress;
    }
    const HRESULT opened = toolkit::LoadSourceFile(path, source);
    const std::lock_guard guard(m_mutex);
    m_source = nullptr;
    return opened;
}

bool Opening::IsAborted() const {
    const std::lock_guard guard(m_mutex);
    return m_isAborted;
}

void Opening::Abort() {
    // More than once: the source may just be about to begin.
    for (int i = 0; i < kTries && TellSource(); ++i) {
        Sleep(kInterval);
    }
}

/// False when no source is being opened.
bool Opening::TellSource() {
    ComPtr<IAMOpenProgress> source;
    {
        const std::lock_guard guard(m_mutex);
        if (m_thread == 0 || m_thread == GetCurrentThreadId()) {
            return false;
        }
        m_isWanted = true;
        m_isAborted = m_isAborted || m_source != nullptr;
        source = m_source;
    }
    if (source == nullptr) {
        return false;
    }
    Quietly([&] { source->AbortOperation(); });
    return true;
}

} // namespace ymdshow
