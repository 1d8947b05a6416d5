#include "CInterface/Objects.h"

#include <algorithm>

#include <ymdshow/Text.h>

namespace ymdshow::c {

namespace {

thread_local InCallback* t_callback = nullptr;

int OnEvent(CMedia*, void* user, long code, std::int64_t param1, std::int64_t param2) {
    Item& item = *static_cast<Item*>(user);
    const ymd_event event{sizeof(ymd_event), static_cast<std::int32_t>(code), param1, param2, 0};
    item.events.Put(event);
    if (const auto callback = item.Get(item.onEvent); callback.function != nullptr) {
        const InCallback mark(&item, false);
        callback.function(static_cast<ymd_item*>(item.handle), &event, callback.user);
    }
    return 0;
}

void OnFilter(IBaseFilter* filter, void* user) {
    Item& item = *static_cast<Item*>(user);
    if (const auto callback = item.Get(item.onFilter); callback.function != nullptr) {
        const InCallback mark(&item, true);
        callback.function(filter, callback.user);
    }
}

template <class Object> std::shared_ptr<Object> Look(Kind kind, const void* handle) {
    auto object = std::static_pointer_cast<Object>(Handles::Get().Find(kind, handle));
    Require(object != nullptr, YMD_ERROR_HANDLE,
            "the handle is null, of another kind, or was destroyed");
    return object;
}

} // namespace

InCallback::InCallback(const Item* item, bool isLoading)
    : m_item(item), m_isLoading(isLoading), m_outer(t_callback) {
    t_callback = this;
}

InCallback::~InCallback() {
    t_callback = m_outer;
}

void InCallback::Refuse(const Item& item, bool loads) {
    for (const InCallback* at = t_callback; at != nullptr; at = at->m_outer) {
        Require(at->m_item != &item || (loads && !at->m_isLoading), YMD_ERROR_STATE,
                "called from a callback of the item's");
    }
}

void InCallback::Refuse(const Player& player) {
    for (const InCallback* at = t_callback; at != nullptr; at = at->m_outer) {
        Require(at->m_item->player.lock().get() != &player, YMD_ERROR_STATE,
                "called from a callback of an item of the player's");
    }
}

Item::Item(const std::shared_ptr<Player>& owner, std::shared_ptr<Scheme> ownScheme)
    : player(owner), scheme(std::move(ownScheme)), media(nullptr) {
    media.SetEventCallBackFun(&OnEvent, this);
    media.SetAddFilterCallBack(&OnFilter, this);
}

void Item::Load(const std::shared_ptr<CCoderScheme>& set, int flag) {
    InCallback::Refuse(*this, true);
    const ymlib::CYMAutoLock held(media.Lock()); // for the list and the report
    {
        const std::lock_guard lock(m_mutex);
        if (std::find(m_sets.begin(), m_sets.end(), set) == m_sets.end()) {
            m_sets.push_back(set);
        }
    }
    if (media.Load(set.get(), flag) != 1) {
        const LoadReport& report = media.GetLoadReport();
        std::wstring text = report.Explain();
        if (text.empty()) {
            text = report.failure.empty() ? L"the load was ended" : report.failure;
        }
        throw Failure{YMD_ERROR_FAILED, WideToUtf8(text), report.failureResult};
    }
}

void Item::Unload() {
    media.Unload();
    const ymlib::CYMAutoLock held(media.Lock());
    if (media.IsLoaded() == 0) {
        const std::lock_guard lock(m_mutex);
        m_sets.clear();
    }
}

void* Player::Add(const std::shared_ptr<Item>& item) {
    const std::lock_guard lock(m_mutex);
    if (m_isClosed) {
        return nullptr;
    }
    m_items.reserve(m_items.size() + 1);
    item->handle = Handles::Get().Add(Kind::Item, item);
    m_items.push_back(item->handle);
    return item->handle;
}

void Player::Remove(const void* item) {
    const std::lock_guard lock(m_mutex);
    std::erase(m_items, item);
}

std::vector<void*> Player::Items() {
    const std::lock_guard lock(m_mutex);
    return m_items;
}

void Player::Close() {
    const std::lock_guard lock(m_mutex);
    m_isClosed = true;
}

std::shared_ptr<Player> From(const ymd_player* handle) {
    return Look<Player>(Kind::Player, handle);
}
std::shared_ptr<Item> From(const ymd_item* handle) {
    return Look<Item>(Kind::Item, handle);
}
std::shared_ptr<Scheme> From(const ymd_scheme* handle) {
    return Look<Scheme>(Kind::Scheme, handle);
}

bool EndItem(const void* handle) {
    const auto item = std::static_pointer_cast<Item>(Handles::Get().Remove(Kind::Item, handle));
    if (item == nullptr) {
        return false;
    }
    if (const auto player = item->player.lock(); player != nullptr) {
        player->Remove(handle);
    }
    item->events.Close();
    item->Unload(); // also ends what others wait for in it
    return true;
}

} // namespace ymdshow::c
