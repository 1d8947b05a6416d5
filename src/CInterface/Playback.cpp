#include "CInterface/Objects.h"

using namespace ymdshow;
using namespace ymdshow::c;

ymd_result ymd_item_play(ymd_item* item) {
    return OnItem(__func__, item, [&](Item& it) {
        const ymlib::CYMAutoLock held(it.media.Lock());
        if (it.media.IsLoaded() == 0) {
            it.Load(it.scheme->Get(), 0);
        }
        RequireDone(it.media.Play() == 1);
    });
}

ymd_result ymd_item_pause(ymd_item* item) {
    return OnItem(__func__, item, [&](Item& it) { RequireDone(it.media.Pause() == 1); });
}

ymd_result ymd_item_stop(ymd_item* item) {
    return OnItem(__func__, item, [&](Item& it) { RequireDone(it.media.Stop() == 1); });
}

ymd_result ymd_item_stop_when_ready(ymd_item* item) {
    return OnItem(__func__, item, [&](Item& it) { RequireDone(it.media.StopWhenReady() == 1); });
}

ymd_result ymd_item_step(ymd_item* item, int32_t frames) {
    return OnItem(__func__, item, [&](Item& it) { RequireDone(it.media.StepFrames(frames) == 1); });
}

ymd_result ymd_item_get_position(ymd_item* item, int64_t* position, int64_t* duration) {
    return OnItem(__func__, item, [&](Item& it) {
        RequireDone(it.media.GetPositionAndDuration(&Out(position), &Out(duration)) == 1);
    });
}

ymd_result ymd_item_set_clip(ymd_item* item, int64_t start, int64_t end) {
    return OnItem(__func__, item,
                  [&](Item& it) { RequireDone(it.media.TimeClip(start, end) == 1); });
}

ymd_result ymd_item_set_loop_range(ymd_item* item, int64_t start, int64_t end) {
    return OnItem(__func__, item,
                  [&](Item& it) { RequireDone(it.media.SetLoopRange(start, end) == 1); });
}

ymd_result ymd_item_wait_event(ymd_item* item, ymd_event* event, uint32_t milliseconds) {
    return OnItem(__func__, item, [&](Item& it) {
        ymd_event taken{};
        Fill(event, taken);
        const ymd_result result = it.events.Take(taken, milliseconds);
        Require(result == YMD_OK, result,
                result == YMD_ERROR_TIMEOUT ? "no event came" : "the item was destroyed");
        Fill(event, taken);
    });
}

ymd_result ymd_item_set_event_callback(ymd_item* item, ymd_event_callback callback, void* user) {
    return OnItem(__func__, item, [&](Item& it) { it.Set(it.onEvent, callback, user); });
}
