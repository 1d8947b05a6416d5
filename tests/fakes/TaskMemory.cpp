#include "fakes/TaskMemory.h"

#include <windows.h>

#include <objbase.h>

#include <atomic>
#include <cstring>
#include <map>
#include <mutex>

namespace fakes {

namespace {

std::mutex g_mutex;
std::map<void*, const char*> g_blocks;
std::atomic<bool> g_watching{false};

void Forget(void* block) {
    const std::lock_guard lock(g_mutex);
    g_blocks.erase(block);
}

/// Sees the blocks that come back to the task allocator.
class Spy final : public IMallocSpy {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        const bool known = iid == IID_IUnknown || iid == IID_IMallocSpy;
        *out = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T size) override { return size; }
    void* STDMETHODCALLTYPE PostAlloc(void* block) override { return block; }
    void* STDMETHODCALLTYPE PreFree(void* block, WINBOOL) override {
        Forget(block);
        return block;
    }
    void STDMETHODCALLTYPE PostFree(WINBOOL) override {}
    SIZE_T STDMETHODCALLTYPE PreRealloc(void* block, SIZE_T size, void** out, WINBOOL) override {
        Forget(block);
        *out = block;
        return size;
    }
    void* STDMETHODCALLTYPE PostRealloc(void* block, WINBOOL) override { return block; }
    void* STDMETHODCALLTYPE PreGetSize(void* block, WINBOOL) override { return block; }
    SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T size, WINBOOL) override { return size; }
    void* STDMETHODCALLTYPE PreDidAlloc(void* block, WINBOOL) override { return block; }
    int STDMETHODCALLTYPE PostDidAlloc(void*, WINBOOL, int actual) override { return actual; }
    void STDMETHODCALLTYPE PreHeapMinimize() override {}
    void STDMETHODCALLTYPE PostHeapMinimize() override {}
};

Spy g_spy;

} // namespace

void* NewTaskMemory(std::size_t size, const char* what) {
    void* block = CoTaskMemAlloc(size);
    const std::lock_guard lock(g_mutex);
    if (g_watching) {
        g_blocks[block] = what;
    }
    return block;
}

wchar_t* NewTaskText(const std::wstring& text, const char* what) {
    const std::size_t size = (text.size() + 1) * sizeof(wchar_t);
    return static_cast<wchar_t*>(std::memcpy(NewTaskMemory(size, what), text.c_str(), size));
}

void WatchTaskMemory(bool on) {
    g_watching = on;
    if (on) {
        CoRegisterMallocSpy(&g_spy);
    } else {
        CoRevokeMallocSpy();
    }
}

bool IsTaskMemoryWatched() {
    return g_watching;
}

std::vector<std::string> TakeUnfreedTaskMemory() {
    const std::lock_guard lock(g_mutex);
    std::vector<std::string> texts;
    for (const auto& [block, what] : g_blocks) {
        texts.push_back(std::string(what) + " that was not freed");
    }
    g_blocks.clear();
    return texts;
}

} // namespace fakes
