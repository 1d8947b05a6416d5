#include "toolkit_shortage.h"

#include "fakes/Journal.h"

#include <cstdlib>
#include <new>

namespace {
thread_local Shortage* g_current = nullptr;
}

Shortage::Shortage(std::size_t n) : m_n(n) {
    g_current = this;
}

Shortage::~Shortage() {
    g_current = nullptr;
}

bool Shortage::Strikes() {
    if (!g_current) {
        return false;
    }
    const fakes::Silence probe;
    return probe.Outermost() && ++g_current->m_count == g_current->m_n;
}

void* operator new(std::size_t size) {
    if (!Shortage::Strikes()) {
        if (void* memory = std::malloc(size ? size : 1)) {
            return memory;
        }
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
