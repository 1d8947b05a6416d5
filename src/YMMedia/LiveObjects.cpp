// What is alive, for a host that looks for its leaks.

#include <ymdshow/LiveObjects.h>

#include <array>
#include <mutex>
#include <set>

#include <ymdshow/GraphToolkit.h>

#include "BaseClasses/ComTypes.h"
#include "GraphToolkit/Ranges.h"
#include "YMMedia/EventThread.h"

namespace ymdshow {

namespace {

constexpr DWORD kPatience = 200; // ms

/// Kept to the end of the process: items may outlive static destruction.
struct Registry {
    std::mutex mutex; ///< held while an item is looked at, whose end waits for it
    std::set<CMedia::Inside*> items;
};

Registry& Items() {
    static Registry& registry = *new Registry;
    return registry;
}

std::wstring Place(const void* address) {
    std::array<wchar_t, 32> text{};
    swprintf_s(text.data(), text.size(), L"%p", address);
    return text.data();
}

} // namespace

void CMedia::Inside::Enlist() {
    Registry& registry = Items();
    const std::lock_guard lock(registry.mutex);
    registry.items.insert(this);
}

void CMedia::Inside::Strike() {
    Registry& registry = Items();
    const std::lock_guard lock(registry.mutex);
    registry.items.erase(this);
}

/// The item itself, then what it holds.
void CMedia::Inside::List(const CMedia& media, std::vector<LiveObject>& objects) {
    LiveObject self{LiveObject::Kind::Item, L"", &media, 0, &media, true};
    const ymlib::CYMAutoLock item(media.m_lock, kPatience);
    if (!item.IsHeld() || item.IsDestroyed()) {
        objects.push_back(self);
        return;
    }
    self.name = media.m_inside->path;
    const ymlib::CYMAutoLock turn(media.m_inside->gate, kPatience);
    self.isBusy = !turn.IsHeld();
    objects.push_back(self);
    if (self.isBusy || media.m_pGB == nullptr) {
        return;
    }
    const auto count = [](IUnknown* unknown) {
        return static_cast<unsigned long>(GetIUnknownRef(unknown));
    };
    objects.push_back(
        {LiveObject::Kind::Graph, L"graph", media.m_pGB, count(media.m_pGB), &media, false});
    for (const ComPtr<IBaseFilter>& filter : toolkit::Filters(media.m_pGB)) {
        FilterInfoHolder info;
        const bool isNamed = SUCCEEDED(filter->QueryFilterInfo(info.Put()));
        objects.push_back({LiveObject::Kind::Filter, isNamed ? info->achName : L"", filter.Get(),
                           count(filter.Get()) - 1, &media, false}); // without the enumerator's
    }
}

std::vector<LiveObject> GetLiveObjects() {
    std::vector<LiveObject> objects;
    Quietly([&] {
        Registry& registry = Items();
        const std::lock_guard lock(registry.mutex);
        for (const CMedia::Inside* const inside : registry.items) {
            if (const CMedia* const media = inside->owner; media != nullptr) {
                CMedia::Inside::List(*media, objects);
            }
        }
    });
    return objects;
}

std::wstring LiveObjectsText() {
    return AnswerOr(std::wstring(), [] {
        std::wstring text;
        for (const LiveObject& object : GetLiveObjects()) {
            const bool isItem = object.kind == LiveObject::Kind::Item;
            text += isItem ? L"item " : object.kind == LiveObject::Kind::Graph ? L"  " : L"    ";
            text += object.name + L" at " + Place(object.address);
            text += isItem ? L"" : L", " + std::to_wstring(object.references) + L" references";
            text += object.isBusy ? L", busy\n" : L"\n";
        }
        return text;
    });
}

} // namespace ymdshow
