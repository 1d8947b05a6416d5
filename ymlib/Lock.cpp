#include <ymlib/Lock.h>

#include <algorithm>
#include <atomic>

namespace ymlib {

/// Whoever waits for the lock marks it contended and waits for the event; nobody's place is
/// kept, so that a thread may be terminated while it waits. The state belongs to the lock and
/// to those who wait; once the lock is destroyed, who holds it owns a share of the state.
class CLock::State {
public:
    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    State* Share() {
        ++m_shares;
        return this;
    }
    void Release() {
        if (--m_shares == 0) {
            CloseHandle(m_freed);
            delete this;
        }
    }
    void Destroy() {
        m_isDestroyed = true;
        if (m_owner != GetCurrentThreadId()) {
            Release();
        }
    }
    bool IsDestroyed() const { return m_isDestroyed; }

    bool Enter(DWORD patience) {
        const DWORD self = GetCurrentThreadId();
        if (m_owner.load(std::memory_order_relaxed) == self) {
            ++m_depth;
            return true;
        }
        if (!Take(self) && !Await(self, patience)) {
            return false;
        }
        m_depth = 1;
        return true;
    }
    void Leave() {
        if (m_depth > 1) {
            --m_depth;
        } else {
            Free();
        }
    }
    /// The depth, for EnterAgain; 0 when this thread does not hold it.
    unsigned LeaveAll() {
        if (m_owner.load(std::memory_order_relaxed) != GetCurrentThreadId()) {
            return 0;
        }
        const unsigned depth = m_depth;
        Free();
        return depth;
    }
    void EnterAgain(unsigned depth) {
        Await(GetCurrentThreadId(), INFINITE);
        m_depth = depth;
    }
    void Abandon(DWORD thread) {
        m_isContended = true; // it may have been woken in another's place
        if (m_owner == thread) {
            Free();
        }
    }

private:
    bool Take(DWORD self) {
        DWORD nobody = 0;
        return m_owner.compare_exchange_strong(nobody, self);
    }
    bool Await(DWORD self, DWORD patience) {
        Share(); // a message may destroy the lock
        const ULONGLONG start = GetTickCount64();
        bool taken = false;
        for (;;) {
            m_isContended = true; // and stays so behind this one: there may be others
            taken = Take(self);
            const ULONGLONG waited = GetTickCount64() - start;
            if (taken || (patience != INFINITE && waited >= patience)) {
                break;
            }
            WaitAnswering(m_freed,
                          patience == INFINITE ? INFINITE : patience - static_cast<DWORD>(waited));
        }
        if (!taken || !m_isDestroyed) {
            Release();
        }
        return taken;
    }
    void Free() {
        const bool isDestroyed = m_isDestroyed;
        m_owner = 0;
        if (m_isContended && m_isContended.exchange(false)) {
            SetEvent(m_freed);
        }
        if (isDestroyed) {
            Release();
        }
    }

    std::atomic<DWORD> m_owner{0};
    unsigned m_depth = 0; ///< of the owner's
    std::atomic<bool> m_isContended{false};
    std::atomic<bool> m_isDestroyed{false};
    std::atomic<unsigned> m_shares{1};
    const HANDLE m_freed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
};

CLock::CLock() : m_state(new State) {}

CLock::CLock(const CLock&) : CLock() {}

CLock& CLock::operator=(const CLock&) {
    return *this;
}

CLock::~CLock() {
    m_state->Destroy();
}

void CLock::Lock() {
    m_state->Enter(INFINITE);
}

bool CLock::TryLock(DWORD patience) {
    return m_state->Enter(patience);
}

void CLock::Unlock() {
    m_state->Leave();
}

void CLock::Abandon(DWORD thread) {
    m_state->Abandon(thread);
}

CYMAutoLock::CYMAutoLock(CLock& lock, DWORD patience)
    : m_state(lock.m_state), m_isHeld(m_state->Enter(patience)) {}

CYMAutoLock::~CYMAutoLock() {
    if (m_isHeld) {
        m_state->Leave();
    }
}

bool CYMAutoLock::IsDestroyed() const {
    return m_state->IsDestroyed();
}

CYMAutoUnlock::CYMAutoUnlock(CLock& lock)
    : m_state(lock.m_state->Share()), m_depth(m_state->LeaveAll()) {}

CYMAutoUnlock::~CYMAutoUnlock() {
    if (m_depth != 0) {
        m_state->EnterAgain(m_depth);
    }
    m_state->Release();
}

bool WaitAnswering(HANDLE object, DWORD patience) {
    const DWORD woke =
        MsgWaitForMultipleObjectsEx(1, &object, patience, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE);
    if (woke == WAIT_OBJECT_0 + 1) {
        MSG message;
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
    } else if (woke == WAIT_FAILED) {
        Sleep(1); // without the object there is nothing to wait for, but time passes
    }
    return woke == WAIT_OBJECT_0;
}

} // namespace ymlib
