#pragma once

// What the handles stand for.

#include <memory>
#include <mutex>
#include <vector>

#include <ymdshow/CoderScheme.h>
#include <ymdshow/Media.h>
#include <ymdshow/Text.h>

#include "CInterface/Call.h"
#include "CInterface/EventQueue.h"
#include "CInterface/Handles.h"

namespace ymdshow::c {

/// A scheme set, which is never changed: a changed copy takes its place, and items that load
/// meanwhile go on with the one that they have.
class Scheme {
public:
    explicit Scheme(std::shared_ptr<CCoderScheme> set) : m_set(std::move(set)) {}

    std::shared_ptr<CCoderScheme> Get() {
        const std::lock_guard lock(m_mutex);
        return m_set;
    }

    /// The report of a load that fails is kept.
    template <class Change> void Edit(Change&& change) {
        const std::lock_guard lock(m_mutex);
        auto changed = std::make_shared<CCoderScheme>(*m_set);
        const bool isDone = change(*changed);
        m_set = std::move(changed);
        if (!isDone) {
            throw Failure{YMD_ERROR_FAILED, WideToUtf8(m_set->GetLoadReport().failureReason)};
        }
    }

    bool isOfPlayer = false;

private:
    std::mutex m_mutex;
    std::shared_ptr<CCoderScheme> m_set;
};

/// The item of the library, with its lock.
class Media : public CMedia {
public:
    using CMedia::CMedia;
    ymlib::CLock& Lock() { return m_lock; }
};

template <class Function> struct Callback {
    Function* function = nullptr;
    void* user = nullptr;
};

class Player;

class Item {
public:
    Item(const std::shared_ptr<Player>& owner, std::shared_ptr<Scheme> ownScheme);

    /// Loads with the set; the item keeps it for as long as filters of its modules may be alive.
    /// Ends the call when it fails.
    void Load(const std::shared_ptr<CCoderScheme>& set, int flag);
    void Unload();

    template <class Function> Callback<Function> Get(const Callback<Function>& callback) {
        const std::lock_guard lock(m_mutex);
        return callback;
    }
    template <class Function>
    void Set(Callback<Function>& callback, Function* function, void* user) {
        const std::lock_guard lock(m_mutex);
        callback = {function, user};
    }

    std::weak_ptr<Player> player;
    std::shared_ptr<Scheme> scheme; ///< the player's
    void* handle = nullptr;
    EventQueue events;
    Callback<std::remove_pointer_t<ymd_event_callback>> onEvent;
    Callback<std::remove_pointer_t<ymd_filter_callback>> onFilter;

private:
    std::mutex m_mutex;
    std::vector<std::shared_ptr<CCoderScheme>> m_sets;

public:
    Media media; ///< the first to end, and its threads with it
};

class Player {
public:
    /// The handle of the item that is put in; null once the player has ended.
    void* Add(const std::shared_ptr<Item>& item);
    void Remove(const void* item);
    std::vector<void*> Items();
    void Close();

    std::shared_ptr<Scheme> scheme;
    void* schemeHandle = nullptr;

private:
    std::mutex m_mutex;
    std::vector<void*> m_items;
    bool m_isClosed = false;
};

/// Marks a callback of an item's, in which it must not end.
class InCallback {
public:
    InCallback(const Item* item, bool isLoading);
    InCallback(const InCallback&) = delete;
    InCallback& operator=(const InCallback&) = delete;
    ~InCallback();

    /// Ends the call when this thread is in a callback of the item's; with `loads`, when it is in
    /// one that is called from within a load.
    static void Refuse(const Item& item, bool loads);
    static void Refuse(const Player& player);

private:
    const Item* m_item;
    bool m_isLoading;
    InCallback* m_outer;
};

std::shared_ptr<Player> From(const ymd_player* handle);
std::shared_ptr<Item> From(const ymd_item* handle);
std::shared_ptr<Scheme> From(const ymd_scheme* handle);

/// Ends an item that a host has by this handle; false when it has ended already.
bool EndItem(const void* handle);

/// A call of an item's.
template <class Body> ymd_result OnItem(const char* function, const ymd_item* handle, Body&& body) {
    return Call(function, [&] {
        const std::shared_ptr<Item> item = From(handle);
        body(*item);
    });
}

} // namespace ymdshow::c
