#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include <ymdshow/DirectShow.h>
#include <ymdshow/Export.h>
#include <ymdshow/LoadReport.h>
#include <ymdshow/Snapshot.h>
#include <ymdshow/StreamInfo.h>
#include <ymlib/Lock.h>

namespace ymdshow {

class CCoderScheme;
class CMedia;
class CMediaPlayer;

/// Called on the media item's event thread, once for every event of its graph,
/// after the library's own handling of it. The parameters are valid during the
/// call only; the result is ignored.
using EventCallBack = int (*)(CMedia* media, void* user, long eventCode, std::int64_t param1,
                              std::int64_t param2);

/// Called on the loading thread when a scheme filter has entered the graph or its
/// filter cache. The filter is not transferred. The callback must not load into or
/// unload the scheme set that the item loads with, nor unload or delete the item.
using AddFilterCallBack = void (*)(IBaseFilter* filter, void* user);

/// One media item: a path or URL, what is known about its streams, and the filter
/// graph that plays it. Every operation but the plain getters and setters of stored
/// values holds the item's recursive lock for its whole run. An exception of a filter or a callback
/// becomes the failure value of the operation that it was thrown in.
///
/// A thread that waits, for another one in an operation of the item or, where the item is
/// stopped or its graph given up, for a callback to end, handles the messages that are sent
/// to its windows. A window procedure may then do anything with the item, delete it and remove
/// it from its player included: the operation that was waiting answers its failure value
/// (Unload, and Stop once the graph has stopped, 1) and does no more. Only while Load and
/// LinkAllFilter build the graph, a window procedure leaves the item alone.
///
/// A copy is member-wise: it shares the graph of a loaded item without a reference
/// on it, so copy items that are not loaded.
class YMDSHOW_API CMedia {
public:
    /// A renderer reached from the source. `renderer` and every broken link hold
    /// one reference.
    class YMDSHOW_API FilterTrackInfo {
    public:
        /// Takes a reference on `render`.
        explicit FilterTrackInfo(IBaseFilter* render);
        FilterTrackInfo(const FilterTrackInfo&) = delete;
        FilterTrackInfo& operator=(const FilterTrackInfo&) = delete;

        /// Gives the broken links back without reconnecting them, then the renderer.
        virtual ~FilterTrackInfo();

        /// Reconnects what Unlink broke, in the same order. Always true.
        bool Link(IGraphBuilder* graph);

        /// Disconnects the renderer and the filters that feed nothing else, and
        /// remembers the connections. Always true.
        bool Unlink(IGraphBuilder* graph);

        /// Forgets the remembered connections without restoring them.
        void DiscardBrokenLinks();

        bool enabled = true;
        bool linked = true;
        IBaseFilter* renderer = nullptr;
        /// Upstream output pin and downstream filter; empty unless unlinked.
        std::list<std::pair<IPin*, IBaseFilter*>> brokenLinks;
    };
    class YMDSHOW_API AudioFilterTrackInfo : public FilterTrackInfo {
    public:
        using FilterTrackInfo::FilterTrackInfo;
    };
    class YMDSHOW_API VideoFilterTrackInfo : public FilterTrackInfo {
    public:
        using FilterTrackInfo::FilterTrackInfo;
    };

    /// One stream listed by IAMStreamSelect.
    struct StreamSelectTrackInfo {
        std::uint32_t index = 0; ///< for IAMStreamSelect::Info and Enable
        std::wstring name;
        bool enabled = true;
        LCID language = 0; ///< 0 when it is not known
    };

    // --- Lifecycle ----------------------------------------------------------

    /// Sets `path` when it is not empty; look at GetMediaPath for the outcome.
    /// `player` may be null and is not owned.
    CMedia(const std::string& path, CMediaPlayer* player);
    CMedia(const std::wstring& path, CMediaPlayer* player);
    explicit CMedia(CMediaPlayer* player);
    CMedia(const CMedia& other);
    CMedia& operator=(const CMedia& other);

    /// Stops, unloads, and tells the player.
    virtual ~CMedia();

    /// Names the file or URL, unloads what was loaded and reads the media information. 0 for an
    /// empty path or a local file that does not exist; then nothing changes but IsMediaPathURL. A
    /// wide path may have any character.
    int SetMediaPath(const std::string& path);
    int SetMediaPath(const std::wstring& path);

    /// The path in code page 936; characters that it lacks are "?", so that two files may look the
    /// same: GetMediaPathW has the true one.
    const std::string& GetMediaPath() const;
    std::wstring GetMediaPathW() const;

    /// What follows the last "." of the path, in lower case.
    const std::string& GetFileExt() const;

    /// True when the path contains "://".
    bool IsMediaPathURL() const;

    /// True for a URL that gave no duration when it was loaded.
    bool IsLiveStream() const;

    /// 1 when the graph manager exists.
    int IsLoaded() const;

    /// 1 when the graph is loaded and linked.
    int IsReadyForPlay() const;

    /// Builds and links the graph, and applies the stored clip, loop, volume, main
    /// switch and window. A null `scheme` means the player's. A non-zero `flag`
    /// asks for the scheme's renderers to be tried first. 1 on success, also when
    /// it was loaded already; after a 0, GetLoadReport says why. Unload, SetMediaPath and the
    /// destructor on another thread end a source filter's opening that hangs (IAMOpenProgress).
    int Load(CCoderScheme* scheme, int flag);

    /// What the last Load did; empty before the first. Read it on the thread that
    /// loads, or while no load runs.
    const LoadReport& GetLoadReport() const;

    /// Stops and releases the graph. The path, the media information, the clip,
    /// loop, volume, window and callbacks stay. Always 1.
    int Unload();

    // --- The whole graph ------------------------------------------------------

    /// Links the source to its renderers: the scheme's first, else DirectShow's
    /// own. 1 when linked, 0 when not, or without a graph.
    int LinkAllFilter();

    /// Takes every connection downstream of the source apart; filters stay in the
    /// graph. A playing item is stopped first. 0 when it was not linked.
    int UnlinkAllFilter();
    int IsAllFilterLinked() const;

    // --- Tracks ---------------------------------------------------------------
    //
    // A kind (audio, video) is in renderer mode when more renderers were found
    // than IAMStreamSelect streams, else in stream-select mode. An index at or
    // beyond the count of the mode in force throws std::runtime_error ("index out
    // of range"), the only exception that leaves the library. In renderer mode a
    // track is switched by its connections. Filters may refuse to change them until
    // the item is stopped; the result does not tell, IsFilterLinked of the track's
    // renderer does. Then stop the item, switch, seek back and play.

    /// Tracks of the loaded graph; before loading, the streams that the media
    /// information lists.
    std::uint32_t GetAudioTrackNum() const;
    std::uint32_t GetOriginalAudioTrackNum() const;

    /// The track's renderer, without a reference; null when there is none.
    IBaseFilter* GetAudioTrackRender(std::uint32_t index) const;
    bool EnableAudioTrack(std::uint32_t index);
    bool DisableAudioTrack(std::uint32_t index);
    bool EnableAllAudioTrack();
    bool DisableAllAudioTrack();
    bool EnableOnlyOneAudioTrack(std::uint32_t index);
    bool IsAudioTrackEnable(std::uint32_t index);

    /// -1 when no track is enabled.
    int GetFirstEnabledAudioTrackIndex();
    bool LinkAllAudioTrack();
    bool UnlinkAllAudioTrack();

    std::uint32_t GetVideoTrackNum() const;
    std::uint32_t GetOriginalVideoTrackNum() const;
    IBaseFilter* GetVideoTrackRender(std::uint32_t index) const;
    bool EnableVideoTrack(std::uint32_t index);
    bool DisableVideoTrack(std::uint32_t index);
    bool EnableAllVideoTrack();
    bool DisableAllVideoTrack();
    bool EnableOnlyOneVideoTrack(std::uint32_t index);
    bool IsVideoTrackEnable(std::uint32_t index) const;
    int GetFirstEnabledVideoTrackIndex();
    bool LinkAllVideoTrack();
    bool UnlinkAllVideoTrack();

    /// What is known of a stream: from the media information, and once the graph is loaded as the
    /// connections have it. False, with a record of defaults, past the end.
    bool GetVideoInfo(std::uint32_t index, VideoInfo& info) const;
    bool GetAudioInfo(std::uint32_t index, AudioInfo& info) const;

    /// What the filter that lists the streams calls a track; an empty name where none does. False
    /// past the end.
    bool GetVideoTrackName(std::uint32_t index, StreamName& name) const;
    bool GetAudioTrackName(std::uint32_t index, StreamName& name) const;

    /// Flags kept for the host; they change no behaviour. 1 from construction.
    int IsDecodeAudio() const;
    int IsDecodeVideo() const;
    void SetIsDecodeAudio(int decode);
    void SetIsDecodeVideo(int decode);

    // --- Playback ---------------------------------------------------------------
    //
    // Positions, durations and clip bounds are in 100 ns units. Operations answer
    // 1 on success and 0 on failure or without the interface they need.

    /// Loads first when necessary. 1 at once when already running.
    int Play();

    /// Pauses a running item; 1 without effect in any other state.
    int Pause();

    /// Stops and rewinds to the clip start. Then waits up to 500 ms for the event
    /// thread and terminates it.
    int Stop();
    int StopWhenReady();

    /// Pauses unless paused, and shows the next frame.
    int StepFrame();
    int CanStep() const;

    /// Pauses unless paused, and shows the picture so many frames ahead or, negative, behind: ahead
    /// by the renderer where that can, else by a seek. 0 for a stopped item, for 0 frames, at
    /// the first frame, and where the graph cannot.
    int StepFrames(int frames);

    /// Seeks; the play state stays. The position is not clamped to the clip.
    int SetMediaPosition(std::int64_t position);

    /// 0 while stopped.
    std::int64_t GetMediaPosition();

    /// Both at once; either may be null. 0, and 0 in both, without a graph that seeks.
    int GetPositionAndDuration(std::int64_t* position, std::int64_t* duration);

    /// How fast the item plays, 1 for its own speed. 0 for a rate that the graph cannot play (the
    /// media module plays 0.5 to 2), and without a graph; nothing has changed then. The play state
    /// and the position stay. A new graph begins at 1.
    int SetPlayRate(double rate);
    double GetPlayRate() const;

    /// Plays [start, end] again and again, from its start at once, whatever SetLoop says: without a
    /// gap where the filters play segments, else by a seek. An end that is not behind the start
    /// ends that, and so do TimeClip and a new graph; the position stays then. While it is in
    /// force the host gets EC_END_OF_SEGMENT or EC_COMPLETE for each round. 0 when the graph
    /// cannot seek, or without one.
    int SetLoopRange(std::int64_t start, std::int64_t end);

    /// Restricts playback to [start, end]. A negative start means 0, an end below
    /// 1 the duration; bounds in the wrong order are swapped. Without a graph the
    /// clip is stored for the next load. 0 when the graph cannot seek or refuses.
    int TimeClip(const std::int64_t& start, const std::int64_t& end);
    const std::int64_t& GetClipStartTime() const;
    const std::int64_t& GetClipEndTime() const;
    std::int64_t GetClipDuration() const;
    const std::int64_t& GetOriginalDuration() const;

    /// The graph's state: 0 stopped, 1 paused, 2 running.
    long GetPlayState() const;
    int IsPaused() const;
    int IsPlaying() const;
    int IsStopped() const;

    /// Non-zero restarts playback at the end.
    void SetLoop(int loop);
    int IsLoop() const;

    // --- Events and filters -----------------------------------------------------

    /// Forwards graph events to `fn` while the item plays, on a thread of the item's
    /// that initialises no COM; null ends that. A call that has begun may still run
    /// afterwards: `user` must live until Stop or Unload has returned.
    /// `fn` may call every operation of the item, to unload it or load another path
    /// included, but must not delete it. What stops the item or gives its graph up on another
    /// thread (Stop, Unload, the destructor; SetMediaPath and UnlinkAllFilter where the item
    /// is loaded or plays) waits 500 ms for `fn` to be through with the queued events and then
    /// terminates the thread where it stands: `fn` keeps short, and holds no lock then that another
    /// thread needs, the heap's included. An operation of the item that `fn` calls meanwhile waits
    /// for that end. No other operation waits for `fn`; Pause holds the events back from when it
    /// returns.
    void SetEventCallBackFun(EventCallBack fn, void* user);
    void SetAddFilterCallBack(AddFilterCallBack fn, void* user);

    /// The filters of the graph, in the order in which data flows through them. Without a graph,
    /// what stood in it when the last load gave up (LoadReport::graph).
    std::vector<FilterDescription> GetFilters() const;

    /// GetFilters as a picture: DrawGraph.
    std::wstring GetGraphPicture(GraphFormat format) const;

    /// Calls `fn` for each filter of the graph, or with `all` 0 for each that has
    /// a connected pin. The filter is not transferred. Events are forwarded meanwhile.
    void EnumMediaFilter(void (*fn)(IBaseFilter*, void*), void* user, int all);

    /// The interface of the first filter of the graph that has it, with one
    /// reference for the caller, or null. With a non-zero `flag` only the graph's
    /// first filter counts, with its first pin.
    void* FindInterfaceInGraphFilters(const GUID& iid, int flag);

    // --- Video and audio output -------------------------------------------------

    /// Draws into the client area of `window`; null hides and detaches the video.
    void SetPlayWindow(HWND window);

    /// Source rectangle in picture pixels. The values stay stored when the result
    /// is false, for the next load.
    bool SetVideoClipRange(long left, long top, long width, long height);

    /// Destination rectangle in window pixels.
    bool SetVideoDisplayRange(long left, long top, long width, long height);

    /// Null pointers are skipped.
    void GetVideoClipRange(long* left, long* top, long* width, long* height) const;
    void GetVideoDisplayRange(long* left, long* top, long* width, long* height) const;
    float GetDisplayAspectRatio() const;

    /// Degrees.
    float GetDisplayRotation() const;
    bool IsEnableDisplayAspectRatio() const;
    long GetVideoOriginalWidth() const;
    long GetVideoOriginalHeight() const;

    /// 100 ns units.
    const std::int64_t& GetVideoOiginalAvgFrameTime() const;

    /// Copies the current picture as a packed DIB: `*size` is the buffer's size in
    /// bytes and receives the picture's.
    int GetCurrentImageData(BYTE* buffer, long* size);

    /// Bytes that GetCurrentImageData needs; 0 when the renderer does not say.
    long GetCurrentImageDataSize();

    /// The current picture of a playing or paused item, whatever format the renderer gives. A
    /// renderer that gives none while it plays is paused for a moment, up to 1.5 s. False when
    /// there is none; why goes to `reason`, which is empty otherwise.
    bool GetSnapshot(Snapshot& picture, std::wstring* reason = nullptr);

    /// The same, written as PNG.
    bool SaveSnapshot(const std::wstring& path, std::wstring* reason = nullptr);

    /// Hundredths of a decibel, -10000 (silence) to 0 (full).
    long GetVolume() const;

    /// 0 to 1 on a power curve; does not round-trip with SetVolume(float).
    float GetVolumePercent() const;
    int SetVolume(long volume);
    int SetVolume(float fraction);

    /// Silence. The volume before it is not kept: ResumeAudio restores full volume.
    int MuteAudio();
    int ResumeAudio();

    /// Non-zero plays without a reference clock, as fast as the data flows. Has no
    /// effect while playing.
    void SetAmain(int on);
    int IsAmain() const;

    /// Shows the property pages of the used filter at `index`; modal.
    void ShowFilterPropertyPage(int index, HWND parent);

    /// A listing of the used filters: index, name, CLSID, server file.
    void GetFilterInfo(std::wstring& text) const;
    void GetFilterInfo(std::string& text) const;

    // --- Media information ------------------------------------------------------
    //
    // Read with MediaInfo.dll, which is found like any DLL of the host program and stays
    // loaded. Its options are process-wide, and these are set: "ParseSpeed" 0, "Complete"
    // empty, and "CharSet" UTF-8: a host that calls the same DLL's narrow interface gives
    // and gets UTF-8 there (its wide interface is not touched). Text is in code page 936;
    // characters that it lacks are "?". Durations end at 2147483647 ms (596 hours).

    /// The media information library's report of the file; empty without it.
    const std::string& GetMediaInfo() const;

    /// The report's lines in order, each cut at its first ":" into key and value. The
    /// heading of a stream's section ("General", "Audio #2") is a key without a value.
    std::vector<std::pair<std::string, std::string>> GetMediaInfoPairs() const;

    /// The file's duration in 100 ns units, without a media item; 0 on failure.
    static std::int64_t GetMediaDurationByMediaInfo(const std::string& path);
    static std::int64_t GetMediaDurationByMediaInfo(const std::wstring& path);

    /// Hands the text of `languageFile` (UTF-8, code page 936, or UTF-16 with a
    /// byte-order mark) to the media information library, for the whole process. 1 when
    /// it was handed over, 0 when nothing was set.
    static int SetMediaInfoLanguage(const std::string& languageFile);

    struct Inside; ///< the library's own

protected:
    friend class CMediaPlayer;
    friend class CCoderScheme;

    /// What the library keeps of its own for an item; a copied item has one of its own.
    class YMDSHOW_API InsidePointer {
    public:
        InsidePointer();
        InsidePointer(const InsidePointer& other);
        InsidePointer& operator=(const InsidePointer& other);
        ~InsidePointer();
        Inside* operator->() const { return m_inside; }

    private:
        Inside* m_inside;
    };

    int _InitDirectShow();
    void _FreeDirectShow();

    int _InitFilters(CCoderScheme* scheme, int tryRenderSource);
    void _LoadFilterWithScheme(CCoderScheme* scheme, std::vector<IBaseFilter*>& sources);
    int _TrySourceFilter(std::vector<IBaseFilter*>& sources, int tryRenderSource);
    int _AddFilter(IBaseFilter* filter, const wchar_t* name, int cache);
    void _RemoveFilter(IBaseFilter* filter);

    void _ScanAllFilterAndGetAVTrackInfo(std::vector<IBaseFilter*>& candidates);

    void _FreeFilters();
    void _RemoveAllFilterInGraphBuilder();
    void _RemoveAllCachedFilterInGraphConfig();

    void _ReadAndSetByIMediaSeeking();
    void _CheckAndSetDuration();
    int _ReadAndSetByIBasicVideo();

    int _ReadInfoByMediaIfo();
    void _FreeMediaInfo();

    static DWORD WINAPI _EventThreadFun(void* param);

    CMediaPlayer* m_pMediaPlayer = nullptr;
    std::string m_mediaPath;
    std::string m_fileExt;
    bool m_isMediaPathURL = false;
    bool m_isLiveStream = false;
    std::string m_urlProtocol;
    std::string m_mediaFormat;
    bool m_fix1088Height = true;
    bool m_evenVideoSize = true;
    bool m_hasMediaFormat = true;
    bool m_hasMediaInfo = false;
    std::string m_mediaInfo;
    std::int64_t m_originalDuration = 0;
    std::int64_t m_durationByMediaInfo = 0;
    std::int64_t m_durationBySeeking = 0;
    std::int64_t m_frameCount = 0;
    std::uint32_t m_originalVideoTrackNum = 0;
    std::uint32_t m_originalAudioTrackNum = 0;
    std::vector<VideoInfo> m_videoInfos;
    std::vector<AudioInfo> m_audioInfos;
    std::uint32_t m_videoTrackNum = 0;
    std::uint32_t m_audioTrackNum = 0;
    std::vector<VideoFilterTrackInfo*> m_videoTracks;
    std::vector<AudioFilterTrackInfo*> m_audioTracks;
    std::uint32_t m_streamSelectVideoNum = 0;
    std::uint32_t m_streamSelectAudioNum = 0;
    std::vector<StreamSelectTrackInfo*> m_streamSelectVideoTracks;
    std::vector<StreamSelectTrackInfo*> m_streamSelectAudioTracks;
    std::int32_t m_videoOriginalWidth = 0;
    std::int32_t m_videoOriginalHeight = 0;
    float m_displayAspectRatio = 1.0F;
    bool m_enableDisplayAspectRatio = false;
    float m_displayRotation = 0.0F;
    std::int64_t m_videoOriginalAvgFrameTime = 0;
    std::int64_t m_clipStartTime = 0;
    std::int64_t m_clipEndTime = 0;
    std::int32_t m_videoClipRange[4]{};
    std::int32_t m_videoDisplayRange[4]{};
    double m_playRate = 1.0;
    std::int32_t m_isMuted = 0;
    std::int32_t m_volume = 0;
    std::int32_t m_isLoop = 0;
    std::int32_t m_isDecodeVideo = 1;
    std::int32_t m_isDecodeAudio = 1;
    std::int32_t m_isAmain = 0;
    IGraphBuilder* m_pGB = nullptr;
    IGraphConfig* m_pGraphConfig = nullptr;
    IMediaControl* m_pMediaControl = nullptr;
    IMediaFilter* m_pMediaFilter = nullptr;
    IMediaSeeking* m_pMediaSeeking = nullptr;
    IBasicVideo* m_pBasicVideo = nullptr;
    IMediaEventEx* m_pMediaEvent = nullptr;
    IVideoWindow* m_pVideoWindow = nullptr;
    IBaseFilter* m_pSourceFilter = nullptr;
    IAMStreamSelect* m_pStreamSelect = nullptr;
    std::vector<IBaseFilter*> m_schemeFilters;
    std::vector<IBaseFilter*> m_renderFilters;
    std::vector<IBaseFilter*> m_usedFilters;
    bool m_isAllFilterLinked = false;
    HWND m_playWindow = nullptr;
    HANDLE m_hEventThread = nullptr;
    EventCallBack m_pEventCallBack = nullptr;
    void* m_pEventCallBackUser = nullptr;
    AddFilterCallBack m_pAddFilterCallBack = nullptr;
    void* m_pAddFilterCallBackUser = nullptr;
    std::int32_t m_playState = 0;
    mutable ymlib::CLock m_lock;

    InsidePointer m_inside;
};

} // namespace ymdshow
