#include "fakes/TaskMemory.h"

#include <windows.h>

#include <objbase.h>

#include <atomic>
#include <map>
#include <mutex>
#include <utility>

namespace fakes {

namespace {

std::mutex g_mutex;
std::map<void*, const char*> g_blocks;
std::atomic<bool> g_watching{false};

/// Sees the blocks that come back to the task allocator.
class Spy final : public IMallocSpy {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        const bool known = iid == IID_IUnknown || iid == IID_IMallocSpy;
        *out = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T size) override { return size; }
    STDMETHODIMP_(void*) PostAlloc(void* block) override { return block; }
    STDMETHODIMP_(void*) PreFree(void* block, WINBOOL) override {
        const std::lock_guard lock(g_mutex);
        g_blocks.erase(block);
        return block;
    }
    STDMETHODIMP_(void) PostFree(WINBOOL) override {}
    STDMETHODIMP_(SIZE_T) PreRealloc(void* block, SIZE_T size, void** out, WINBOOL) override {
        *out = PreFree(block, TRUE);
        return size;
    }
    STDMETHODIMP_(void*) PostRealloc(void* block, WINBOOL) override { return block; }
    STDMETHODIMP_(void*) PreGetSize(void* block, WINBOOL) override { return block; }
    STDMETHODIMP_(SIZE_T) PostGetSize(SIZE_T size, WINBOOL) override { return size; }
    STDMETHODIMP_(void*) PreDidAlloc(void* block, WINBOOL) override { return block; }
    STDMETHODIMP_(int) PostDidAlloc(void*, WINBOOL, int actual) override { return actual; }
    STDMETHODIMP_(void) PreHeapMinimize() override {}
    STDMETHODIMP_(void) PostHeapMinimize() override {}
};

Spy g_spy;

} // namespace

void* NewTaskMemory(std::size_t size, const char* what) {
    void* const block = CoTaskMemAlloc(size);
    const std::lock_guard lock(g_mutex);
    if (g_watching) {
        g_blocks[block] = what;
    }
    return block;
}

void WatchTaskMemory() {
    CoRegisterMallocSpy(&g_spy); // refused when it is there already
    g_watching = true;
}

bool IsTaskMemoryWatched() {
    return g_watching;
}

std::vector<std::string> TakeUnfreedTaskMemory() {
    const std::lock_guard lock(g_mutex);
    std::vector<std::string> texts;
    for (const auto& [block, what] : std::exchange(g_blocks, {})) {
        texts.push_back(std::string(what) + " that was not freed");
    }
    return texts;
}

} // namespace fakes
