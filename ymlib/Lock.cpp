#include <ymlib/Lock.h>

namespace ymlib {

CLock::CLock() {
    InitializeCriticalSection(&m_section);
}

CLock::CLock(const CLock&) : CLock() {}

CLock& CLock::operator=(const CLock&) {
    return *this;
}

CLock::~CLock() {
    DeleteCriticalSection(&m_section);
}

void CLock::Lock() {
    EnterCriticalSection(&m_section);
}

bool CLock::TryLock() {
    return TryEnterCriticalSection(&m_section) != FALSE;
}

void CLock::Unlock() {
    LeaveCriticalSection(&m_section);
}

} // namespace ymlib
