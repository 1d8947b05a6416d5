#pragma once

// What the files of a media item share.

#include <windows.h>

#include <wrl/client.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <ymdshow/LiveObjects.h>
#include <ymdshow/Media.h>

#include "BaseClasses/InterfaceIds.h"
#include "GraphToolkit/Description.h"
#include "Guard.h"
#include "YMMedia/LoadRecorder.h"
#include "YMMedia/Opening.h"
#include "YMMedia/Pace.h"

#define YMD_LOG_SOURCE "src/YMMedia"
#include "Log.h"

namespace ymdshow {

using Microsoft::WRL::ComPtr;

/// What the library keeps of its own for a media item, and what its files do for each other.
struct CMedia::Inside {
    struct AudioKind;
    struct VideoKind;
    template <class Kind, class Media> class Tracks;
    class EventThread;
    class SourceSearch;
    class TrackScan;

    Inside();
    ~Inside();

    /// The item, for the list of what is alive; null for a copy that nothing was done with.
    std::atomic<const CMedia*> owner{nullptr};

    /// Held for what is done on the graph, by host threads and the event thread.
    ymlib::CLock gate;
    std::unique_ptr<EventThread> events;
    LoadRecorder load;

    Pace pace;

    /// The item's path as it is; m_mediaPath is its form in code page 936, in which two files may
    /// look the same.
    std::wstring path;
    /// The filters that the scheme has made for this load.
    std::vector<std::pair<const IBaseFilter*, LoadReport::Filter>> made;
    const std::shared_ptr<Opening> opening = std::make_shared<Opening>();

    /// What a load does not derive: another path starts from it.
    struct Given {
        std::int32_t clipRange[4]{};
        std::int32_t displayRange[4]{};
        std::int64_t derivedClipEnd = 0; ///< the duration taken for a clip end that was not given
    } given;

    /// Runs the body of an operation under the item's lock; `failure` when it throws, or when the
    /// item is gone before it begins.
    template <class Result, class Body>
    static Result Locked(const CMedia& media, Result failure, Body&& body) {
        const ymlib::CYMAutoLock lock(media.m_lock);
        if (lock.IsDestroyed()) {
            return failure;
        }
        media.m_inside->owner = &media;
        return AnswerOr(failure, body);
    }

    /// The same for an operation that uses the graph, which the event thread leaves alone
    /// meanwhile: it may be sending messages to this thread from within the graph manager,
    /// which does not let this one in before it is answered.
    template <class Result, class Body>
    static Result OnGraph(const CMedia& media, Result failure, Body&& body) {
        const ymlib::CYMAutoLock lock(media.m_lock);
        if (lock.IsDestroyed()) {
            return failure;
        }
        media.m_inside->owner = &media;
        media.m_inside->AnswerEventThread();
        const ymlib::CYMAutoLock turn(media.m_inside->gate);
        return lock.IsDestroyed() ? failure : AnswerOr(failure, body);
    }

    /// Before waiting for the gate: the message that this thread is handling may be the event
    /// thread's, which waits for its answer in the graph.
    void AnswerEventThread() const;

    /// Without a result.
    template <class Body> static void Locked(const CMedia& media, Body&& body) {
        Locked(media, 0, [&] { return body(), 0; });
    }
    template <class Body> static void OnGraph(const CMedia& media, Body&& body) {
        OnGraph(media, 0, [&] { return body(), 0; });
    }

    // By file, in the order of the road.
    static int SetPath(CMedia& media, const std::wstring& path, const std::string& narrow);
    static void ForgetFacts(CMedia& media);
    static int Load(CMedia& media, CCoderScheme* scheme, int flag);
    static int BuildGraph(CMedia& media, CCoderScheme* scheme, int flag);
    static void ApplyStoredSettings(CMedia& media);
    static HRESULT Add(CMedia& media, IBaseFilter* filter, const wchar_t* name, int cache);
    static ULONG Drop(CMedia& media, IBaseFilter* filter);
    static bool IsComplete(const CMedia& media, unsigned video, unsigned audio);
    static void TakeRatio(CMedia& media, const VideoInfo& record, std::int32_t width,
                          std::int32_t height);
    static void TakePictureFromRecord(CMedia& media);
    static void CompletePicture(CMedia& media, std::uint32_t knownVideoTracks);
    static int Link(CMedia& media, HRESULT& result);
    void Enlist();
    void Strike();
    static void List(const CMedia& media, std::vector<LiveObject>& objects);
    toolkit::FindMaker Makers() const;
    static std::vector<FilterDescription> Describe(const CMedia& media);
    static void RecordGraph(CMedia& media);
    static bool EndPlayback(CMedia& media);
    static bool TakeDown(CMedia& media);
    static int IsInState(const CMedia& media, OAFilterState wanted);
    static void ShowVideo(const CMedia& media, long visible);
    static void Rewind(CMedia& media);
    static int ApplyClip(CMedia& media);
    static HRESULT SeekRange(CMedia& media, IMediaSeeking* seeking);
    static bool RepeatSegment(CMedia& media);
    static std::size_t PictureBytes(const CMedia& media);
    static bool GrabPicture(CMedia& media, std::vector<BYTE>& dib);
    static void StartEvents(CMedia& media);
};

/// Gives a member's reference back and clears it.
template <class T> void ReleaseMember(T*& member) {
    if (member != nullptr) {
        std::exchange(member, nullptr)->Release(); // which may let others look at the member
    }
}

/// Destroys the owned records of a list and empties it.
template <class Records> void DeleteRecords(Records& records) {
    for (auto* record : records) {
        delete record;
    }
    records.clear();
}

} // namespace ymdshow
