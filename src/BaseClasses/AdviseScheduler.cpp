#include "BaseClasses/AdviseScheduler.h"

#include <algorithm>

namespace ymdshow {
namespace {

/// Adds `count` to a semaphore, or as much of it as still fits below its maximum.
void ReleasePeriods(HANDLE semaphore, REFERENCE_TIME count) {
    REFERENCE_TIME step = std::min<REFERENCE_TIME>(count, std::numeric_limits<LONG>::max());
    while (step > 0) {
        if (!ReleaseSemaphore(semaphore, static_cast<LONG>(step), nullptr)) {
            step /= 2;
            continue;
        }
        count -= step;
        step = std::min(step, count);
    }
}

} // namespace

AdviseScheduler::Added AdviseScheduler::AddOneShot(REFERENCE_TIME due, HANDLE event) {
    return Add(due, {event, 0});
}

AdviseScheduler::Added AdviseScheduler::AddPeriodic(REFERENCE_TIME due, REFERENCE_TIME period,
                                                    HANDLE semaphore) {
    return Add(due, {semaphore, period});
}

AdviseScheduler::Added AdviseScheduler::Add(REFERENCE_TIME due, const Advise& advise) {
    const std::lock_guard lock(m_mutex);
    const Cookie cookie = ++m_lastCookie;
    const auto known = m_dues.emplace(cookie, due).first;
    try {
        const auto position = m_queue.emplace(Key(due, cookie), advise).first;
        return {cookie, position == m_queue.begin()};
    } catch (...) {
        m_dues.erase(known);
        throw;
    }
}

bool AdviseScheduler::Cancel(Cookie cookie) {
    const std::lock_guard lock(m_mutex);
    const auto known = m_dues.find(cookie);
    if (known == m_dues.end()) {
        return false;
    }
    m_queue.erase(Key(known->second, cookie));
    m_dues.erase(known);
    return true;
}

REFERENCE_TIME AdviseScheduler::Advance(REFERENCE_TIME now) {
    const std::lock_guard lock(m_mutex);
    while (!m_queue.empty() && m_queue.begin()->first.first <= now) {
        auto node = m_queue.extract(m_queue.begin());
        auto& [due, cookie] = node.key();
        const auto [handle, period] = node.mapped();
        if (period == 0) {
            SetEvent(handle);
            m_dues.erase(cookie);
            continue;
        }
        const REFERENCE_TIME missed = (now - due) / period;
        ReleasePeriods(handle, missed + 1);
        due += missed * period;
        if (due > kNever - period) {
            m_dues.erase(cookie);
            continue;
        }
        due += period;
        m_dues[cookie] = due;
        m_queue.insert(std::move(node));
    }
    return m_queue.empty() ? kNever : m_queue.begin()->first.first;
}

} // namespace ymdshow
