#pragma once

#include <windows.h>

#include <ymlib/Export.h>

namespace ymlib {

/// A recursive lock. A thread that waits for it handles the messages that are sent to its
/// windows meanwhile: whoever holds it may be waiting for their answer. Such a message may
/// destroy the lock: CYMAutoLock survives that, and tells it.
///
/// A copy is a new, free lock: locks guard objects, and a copied object is another object.
class YMLIB_API CLock {
public:
    CLock();
    CLock(const CLock&);
    CLock& operator=(const CLock&);
    ~CLock();

    void Lock();
    /// False when another thread holds it for all of that time, in milliseconds.
    bool TryLock(DWORD patience = 0);
    void Unlock();

    /// Forgets the thread with this id, which has been terminated: frees the lock if it held it.
    void Abandon(DWORD thread);

private:
    friend class CYMAutoLock;
    friend class CYMAutoUnlock;
    class State;
    State* m_state; ///< shared with those who hold the lock or wait for it
};

/// Holds a CLock for its scope.
class YMLIB_API CYMAutoLock {
public:
    explicit CYMAutoLock(CLock& lock, DWORD patience = INFINITE);
    ~CYMAutoLock();
    CYMAutoLock(const CYMAutoLock&) = delete;
    CYMAutoLock& operator=(const CYMAutoLock&) = delete;

    /// False when another thread held it for all of the patience.
    bool IsHeld() const { return m_isHeld; }
    /// The lock, which is held, was destroyed since, and with it the object that it guarded.
    bool IsDestroyed() const;

private:
    CLock::State* m_state;
    bool m_isHeld;
};

/// Gives a CLock up for its scope, however often this thread holds it.
class YMLIB_API CYMAutoUnlock {
public:
    explicit CYMAutoUnlock(CLock& lock);
    ~CYMAutoUnlock();
    CYMAutoUnlock(const CYMAutoUnlock&) = delete;
    CYMAutoUnlock& operator=(const CYMAutoUnlock&) = delete;

private:
    CLock::State* m_state;
    unsigned m_depth;
};

/// Waits for a kernel object, at most so many milliseconds, and handles the messages that are
/// sent to this thread meanwhile. True when it was signalled; false also once messages were
/// handled, with time left.
YMLIB_API bool WaitAnswering(HANDLE object, DWORD patience);

} // namespace ymlib
