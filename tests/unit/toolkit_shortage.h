#pragma once

#include <cstddef>

/// While it lives, the n-th allocation (from 1) on this thread throws std::bad_alloc. What
/// the fakes allocate in their methods goes through and is not counted.
class Shortage {
public:
    explicit Shortage(std::size_t n);
    ~Shortage();
    Shortage(const Shortage&) = delete;
    Shortage& operator=(const Shortage&) = delete;

    bool Hit() const { return m_count >= m_n; }
    static bool Strikes();

private:
    std::size_t m_n;
    std::size_t m_count = 0;
};
