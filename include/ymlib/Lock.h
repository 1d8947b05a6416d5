#pragma once

#include <windows.h>

#include <ymlib/Export.h>

namespace ymlib {

/// A recursive lock. A copy is a new, free lock: locks guard objects, and a copied
/// object is another object.
class YMLIB_API CLock {
public:
    CLock();
    CLock(const CLock&);
    CLock& operator=(const CLock&);
    ~CLock();

    void Lock();
    /// False when another thread holds it.
    bool TryLock();
    void Unlock();

private:
    CRITICAL_SECTION m_section;
};

/// Holds a CLock for its scope.
class CYMAutoLock {
public:
    explicit CYMAutoLock(CLock& lock) : m_lock(lock) { m_lock.Lock(); }
    ~CYMAutoLock() { m_lock.Unlock(); }
    CYMAutoLock(const CYMAutoLock&) = delete;
    CYMAutoLock& operator=(const CYMAutoLock&) = delete;

private:
    CLock& m_lock;
};

} // namespace ymlib
