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

/// Called on the media item's event thread, once for every event of its graph, after the
/// library's own handling of it, without a lock of the library's. The parameters are valid during
/// the call only; the result is ignored. CMedia::SetEventCallBackFun says what it may do.
using EventCallBack = int (*)(CMedia* media, void* user, long eventCode, std::int64_t param1,
                              std::int64_t param2);

/// Called on the loading thread, which holds the item's lock, when a scheme filter has entered the
/// graph or its filter cache. The filter is not transferred. The callback may use the filter and
/// read the item. It must not load into or unload the scheme set that the item loads with, nor
/// delete the item; what it unloads, the load answers 0 for.
using AddFilterCallBack = void (*)(IBaseFilter* filter, void* user);

/// One media item: a path or URL, what is known about its streams, and the filter
/// graph that plays it. An exception of a filter or a callback becomes the failure value of the
/// operation that it was thrown in; so does memory that runs out.
///
/// Each operation says in brackets what it holds, and so for what it may wait:
/// - [plain] nothing: it reads or stores one value. From any thread, but not while another one
///   changes that value (SetMediaPath and Load change what is known of the file). What it refers
///   to is the item's own and changes with it: copy it.
/// - [lock] the item's recursive lock, for its whole run: it waits as long as another thread is in
///   an operation of the item. A Load takes as long as its filters do.
/// - [graph] the lock, and the graph: it waits for the event thread as well while that restarts a
///   loop or hides the picture. What is done on the graph takes as long as the filters take; a
///   question for its state waits at most 500 ms.
/// All of them can be called from any thread that has initialised COM, from the event callback
/// and, but for Load, from a window procedure.
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
    /// `player` may be null and is not owned. Takes as long as SetMediaPath.
    CMedia(const std::string& path, CMediaPlayer* player);
    /// The same for a path with any character.
    CMedia(const std::wstring& path, CMediaPlayer* player);
    /// Without a path.
    explicit CMedia(CMediaPlayer* player);
    /// Member-wise: see above.
    CMedia(const CMedia& other);
    /// Member-wise: see above.
    CMedia& operator=(const CMedia& other);

    /// Stops, unloads, and tells the player. Waits like Stop and Unload. Not from a callback of
    /// the item's.
    virtual ~CMedia();

    /// Names the file or URL, unloads what was loaded and reads the media information, which reads
    /// the file. 0 for an empty path or a local file that does not exist; then nothing changes but
    /// IsMediaPathURL. Ends a Load of another thread's that waits for a server. [lock]
    int SetMediaPath(const std::string& path);
    /// The same for a path with any character. [lock]
    int SetMediaPath(const std::wstring& path);

    /// The path in code page 936; characters that it lacks are "?", so that two files may look the
    /// same: GetMediaPathW has the true one. [plain]
    const std::string& GetMediaPath() const;
    /// The path as it is; empty without one. [lock]
    std::wstring GetMediaPathW() const;

    /// What follows the last "." of the path, in lower case. [plain]
    const std::string& GetFileExt() const;

    /// True when the path that was set last, taken or refused, contains "://". [plain]
    bool IsMediaPathURL() const;

    /// True for a URL that gave no duration when it was loaded. [plain]
    bool IsLiveStream() const;

    /// 1 when the graph manager exists, which does not mean that the item can be played: a Load
    /// that has failed late leaves it. [lock]
    int IsLoaded() const;

    /// 1 when the graph is loaded and linked. [lock]
    int IsReadyForPlay() const;

    /// Builds and links the graph, and applies the stored clip, loop, volume, main
    /// switch and window. A null `scheme` means the player's; it is used during the call, its
    /// modules as long as the graph lives. A non-zero `flag` asks for the scheme's renderers to be
    /// tried first. 1 on success, also when it was loaded already. After a 0, GetLoadReport says
    /// why; IsLoaded may be 1 then, and a further Load only tries to link what is there: call
    /// Unload (or SetMediaPath) before another try. Renderers' windows belong to the thread
    /// that loads. Unload, SetMediaPath and the destructor on another thread end a source filter's
    /// opening that hangs (IAMOpenProgress). [graph]
    int Load(CCoderScheme* scheme, int flag);

    /// What the last Load did; empty before the first. Read it on the thread that
    /// loads, or while no load runs. [plain]
    const LoadReport& GetLoadReport() const;

    /// Stops and releases the graph. The path, the media information, the clip,
    /// loop, volume, window and callbacks stay. Always 1. Waits like Stop. [lock]
    int Unload();

    // --- The whole graph ------------------------------------------------------

    /// Links the source to its renderers: the scheme's first, else DirectShow's
    /// own. 1 when linked, 0 when not, or without a graph. [graph]
    int LinkAllFilter();

    /// Takes every connection downstream of the source apart; filters stay in the
    /// graph. A playing item is stopped first, which waits like Stop. 0 when it was not linked.
    /// [graph]
    int UnlinkAllFilter();
    /// 1 when the graph is linked. [lock]
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
    /// information lists. [plain]
    std::uint32_t GetAudioTrackNum() const;
    /// Streams that the media information or the graph's scan has found. [plain]
    std::uint32_t GetOriginalAudioTrackNum() const;

    /// The track's renderer, without a reference; null when there is none. [lock]
    IBaseFilter* GetAudioTrackRender(std::uint32_t index) const;
    /// Plays the track beside those that are enabled. False when the filter refuses. [graph]
    bool EnableAudioTrack(std::uint32_t index);
    /// No longer plays the track. False when the filter refuses. [graph]
    bool DisableAudioTrack(std::uint32_t index);
    /// Plays all audio tracks. False when there is none, or the filter refuses. [graph]
    bool EnableAllAudioTrack();
    /// Plays no audio track. False when the filter refuses one, and stops there. [graph]
    bool DisableAllAudioTrack();
    /// Plays this audio track alone. False when the filter refuses. [graph]
    bool EnableOnlyOneAudioTrack(std::uint32_t index);
    /// Whether the track is to be played. [lock]
    bool IsAudioTrackEnable(std::uint32_t index);

    /// -1 when no audio track is enabled. [lock]
    int GetFirstEnabledAudioTrackIndex();
    /// Connects every audio renderer again, whatever the mode. Always true. [graph]
    bool LinkAllAudioTrack();
    /// Cuts every audio renderer off, whatever the mode. Always true. [graph]
    bool UnlinkAllAudioTrack();

    /// As GetAudioTrackNum. [plain]
    std::uint32_t GetVideoTrackNum() const;
    /// As GetOriginalAudioTrackNum. [plain]
    std::uint32_t GetOriginalVideoTrackNum() const;
    /// As GetAudioTrackRender. [lock]
    IBaseFilter* GetVideoTrackRender(std::uint32_t index) const;
    /// Plays the track beside those that are enabled. False when the filter refuses. [graph]
    bool EnableVideoTrack(std::uint32_t index);
    /// No longer plays the track. False when the filter refuses. [graph]
    bool DisableVideoTrack(std::uint32_t index);
    /// Plays all video tracks. False when there is none, or the filter refuses. [graph]
    bool EnableAllVideoTrack();
    /// Plays no video track. False when the filter refuses one, and stops there. [graph]
    bool DisableAllVideoTrack();
    /// Plays this video track alone. False when the filter refuses. [graph]
    bool EnableOnlyOneVideoTrack(std::uint32_t index);
    /// Whether the track is to be played. [lock]
    bool IsVideoTrackEnable(std::uint32_t index) const;

    /// -1 when no video track is enabled. [lock]
    int GetFirstEnabledVideoTrackIndex();
    /// Connects every video renderer again, whatever the mode. Always true. [graph]
    bool LinkAllVideoTrack();
    /// Cuts every video renderer off, whatever the mode. Always true. [graph]
    bool UnlinkAllVideoTrack();

    /// What is known of a stream: from the media information, and once the graph is loaded as the
    /// connections have it. False, with a record of defaults, past the end. [lock]
    bool GetVideoInfo(std::uint32_t index, VideoInfo& info) const;
    /// The same for sound. [lock]
    bool GetAudioInfo(std::uint32_t index, AudioInfo& info) const;

    /// What the filter that lists the streams calls a track; an empty name where none does. False
    /// past the end. [lock]
    bool GetVideoTrackName(std::uint32_t index, StreamName& name) const;
    /// The same for sound. [lock]
    bool GetAudioTrackName(std::uint32_t index, StreamName& name) const;

    /// A flag kept for the host; it changes no behaviour. 1 from construction. [plain]
    int IsDecodeAudio() const;
    /// A flag kept for the host; it changes no behaviour. 1 from construction. [plain]
    int IsDecodeVideo() const;
    /// Stores the flag. [plain]
    void SetIsDecodeAudio(int decode);
    /// Stores the flag. [plain]
    void SetIsDecodeVideo(int decode);

    // --- Playback ---------------------------------------------------------------
    //
    // Positions, durations and clip bounds are in 100 ns units. Operations answer
    // 1 on success and 0 on failure or without the interface they need.

    /// Loads first when necessary, with the player's schemes. 1 at once when already running.
    /// [graph]
    int Play();

    /// Pauses a running item; 1 without effect in any other state. [graph]
    int Pause();

    /// Stops and rewinds to the start of the loop range or clip. Then waits up to 500 ms for the
    /// event thread, which the event callback may hold, and terminates it; not when the callback
    /// itself calls it. A graph that the event thread has to itself for 500 ms is stopped all
    /// the same. [graph]
    int Stop();
    /// Stops the graph once its renderers have data; the item itself stays in its state. [graph]
    int StopWhenReady();

    /// Pauses unless paused, and shows the next frame; returns before it is shown. 0 where the
    /// renderer cannot. [graph]
    int StepFrame();
    /// 1 where the renderer steps. [graph]
    int CanStep() const;

    /// Pauses unless paused, and shows the picture so many frames ahead or, negative, behind: ahead
    /// by the renderer where that can, else by a seek. 0 for a stopped item, for 0 frames, at
    /// the first frame, and where the graph cannot. [graph]
    int StepFrames(int frames);

    /// Seeks; the play state stays. The position is not clamped to the clip. [graph]
    int SetMediaPosition(std::int64_t position);

    /// 0 while stopped. [graph]
    std::int64_t GetMediaPosition();

    /// Both at once; either may be null. 0, and 0 in both, without a graph that seeks. [graph]
    int GetPositionAndDuration(std::int64_t* position, std::int64_t* duration);

    /// How fast the item plays, 1 for its own speed. 0 for a rate that the graph cannot play (the
    /// media module plays 0.5 to 2), and without a graph; nothing has changed then. The play state
    /// and the position stay. A new graph begins at 1. [graph]
    int SetPlayRate(double rate);
    /// 1 without a graph. [lock]
    double GetPlayRate() const;

    /// Plays [start, end] again and again, from its start at once, whatever SetLoop says: without a
    /// gap where the filters play segments, else by a seek. An end that is not behind the start
    /// ends that, and so do TimeClip and a new graph; the position stays then. While it is in
    /// force the host gets EC_END_OF_SEGMENT or EC_COMPLETE for each round. 0 when the graph
    /// cannot seek, or without one. [graph]
    int SetLoopRange(std::int64_t start, std::int64_t end);

    /// Restricts playback to [start, end]. A negative start means 0, an end below
    /// 1 the duration; bounds in the wrong order are swapped. Without a graph the
    /// clip is stored for the next load. 0 when the graph cannot seek or refuses. [graph]
    int TimeClip(const std::int64_t& start, const std::int64_t& end);
    /// 0 without a clip. [plain]
    const std::int64_t& GetClipStartTime() const;
    /// The duration without a clip. [plain]
    const std::int64_t& GetClipEndTime() const;
    /// From the clip's start to its end. [plain]
    std::int64_t GetClipDuration() const;
    /// Of the whole file, once it is loaded; 0 when it is not known. [plain]
    const std::int64_t& GetOriginalDuration() const;

    /// The graph's state: 0 stopped, 1 paused, 2 running; 0 without a graph. [graph]
    long GetPlayState() const;
    /// 1 when the graph is paused, and has been for sure. [graph]
    int IsPaused() const;
    /// 1 when the graph runs, and does for sure. [graph]
    int IsPlaying() const;
    /// 1 when a graph is there and stopped. [graph]
    int IsStopped() const;

    /// Non-zero restarts playback at the end. [graph]
    void SetLoop(int loop);
    /// What SetLoop was given. [plain]
    int IsLoop() const;

    // --- Events and filters -----------------------------------------------------

    /// Forwards graph events to `fn` while the item plays, on a thread of the item's
    /// that initialises no COM; null ends that. A call that has begun may still run
    /// afterwards: `user` must live until Stop or Unload has returned.
    /// `fn` may call every operation of the item, to unload it or load another path
    /// included, but must not delete it; it initialises COM for what needs that. What stops the
    /// item or gives its graph up on another
    /// thread (Stop, Unload, the destructor; SetMediaPath and UnlinkAllFilter where the item
    /// is loaded or plays) waits 500 ms for `fn` to be through with the queued events and then
    /// terminates the thread where it stands: `fn` keeps short, and holds no lock then that another
    /// thread needs, the heap's included. An operation of the item that `fn` calls meanwhile waits
    /// for that end. No other operation waits for `fn`; Pause holds the events back from when it
    /// returns. [graph]
    void SetEventCallBackFun(EventCallBack fn, void* user);
    /// Calls `fn` for the scheme's filters of the loads to come; null ends that. [plain]
    void SetAddFilterCallBack(AddFilterCallBack fn, void* user);

    /// The filters of the graph, in the order in which data flows through them. Without a graph,
    /// what stood in it when the last load gave up (LoadReport::graph). [graph]
    std::vector<FilterDescription> GetFilters() const;

    /// GetFilters as a picture: DrawGraph. [graph]
    std::wstring GetGraphPicture(GraphFormat format) const;

    /// Calls `fn` for each filter of the graph, or with `all` 0 for each that has
    /// a connected pin. The filter is not transferred. Events are forwarded meanwhile; `fn` holds
    /// the item's lock, may call its operations and delete it. [graph]
    void EnumMediaFilter(void (*fn)(IBaseFilter*, void*), void* user, int all);

    /// The interface of the first filter of the graph that has it, with one
    /// reference for the caller, or null. With a non-zero `flag` only the graph's
    /// first filter counts, with its first pin. [graph]
    void* FindInterfaceInGraphFilters(const GUID& iid, int flag);

    // --- Video and audio output -------------------------------------------------

    /// Draws into the client area of `window`; null hides and detaches the video. The window is
    /// the host's and outlives the graph. [graph]
    void SetPlayWindow(HWND window);

    /// Source rectangle in picture pixels. The values stay stored when the result
    /// is false, for the next load. [graph]
    bool SetVideoClipRange(long left, long top, long width, long height);

    /// Destination rectangle in window pixels; stored likewise. [graph]
    bool SetVideoDisplayRange(long left, long top, long width, long height);

    /// Null pointers are skipped; the others are left as they are when the item is gone. [lock]
    void GetVideoClipRange(long* left, long* top, long* width, long* height) const;
    /// As GetVideoClipRange. [lock]
    void GetVideoDisplayRange(long* left, long* top, long* width, long* height) const;
    /// Width by height as the picture is to be shown; 1 before anything is known. [plain]
    float GetDisplayAspectRatio() const;

    /// Degrees. [plain]
    float GetDisplayRotation() const;
    /// True when the display aspect ratio is not that of the pixels. [plain]
    bool IsEnableDisplayAspectRatio() const;
    /// Pixels; 0 without a picture. [plain]
    long GetVideoOriginalWidth() const;
    /// Pixels; 0 without a picture. [plain]
    long GetVideoOriginalHeight() const;

    /// 100 ns units; 0 when it is not known. [plain]
    const std::int64_t& GetVideoOiginalAvgFrameTime() const;

    /// Copies the current picture as a packed DIB, in the renderer's format: `*size` is the
    /// buffer's size in bytes and receives the picture's. 0 when the renderer gives none; some
    /// give one only while paused. On failure both are what the renderer left. [graph]
    int GetCurrentImageData(BYTE* buffer, long* size);

    /// Bytes that GetCurrentImageData needs; 0 when the renderer does not say. [graph]
    long GetCurrentImageDataSize();

    /// The current picture of a playing or paused item, whatever format the renderer gives. A
    /// renderer that gives none while it plays is paused for a moment, up to 1.5 s. False, with an
    /// empty picture, when there is none; why goes to `reason`, which is empty otherwise. [graph]
    bool GetSnapshot(Snapshot& picture, std::wstring* reason = nullptr);

    /// The same, written as PNG; [graph] for the picture, nothing is held for the file.
    bool SaveSnapshot(const std::wstring& path, std::wstring* reason = nullptr);

    /// Hundredths of a decibel, -10000 (silence, also without sound) to 0 (full). [graph]
    long GetVolume() const;

    /// 0 to 1 on a power curve; does not round-trip with SetVolume(float). [graph]
    float GetVolumePercent() const;
    /// Hundredths of a decibel. 0 when there is no sound, or without a graph. [graph]
    int SetVolume(long volume);
    /// 0 to 1 on a power curve; beyond these, silence or full. Answers likewise. [graph]
    int SetVolume(float fraction);

    /// Silence. The volume before it is not kept: ResumeAudio restores full volume. [graph]
    int MuteAudio();
    /// The last volume, or full volume when that is silence. [graph]
    int ResumeAudio();

    /// Non-zero plays without a reference clock, as fast as the data flows. Has no
    /// effect while playing. [graph]
    void SetAmain(int on);
    /// What SetAmain has taken. [plain]
    int IsAmain() const;

    /// Shows the property pages of the used filter at `index`; modal: it returns when the user
    /// closes them, and other operations of the item wait for that. [lock]
    void ShowFilterPropertyPage(int index, HWND parent);

    /// A listing of the used filters: index, name, CLSID, server file. Cleared first; empty
    /// without a graph. [lock]
    void GetFilterInfo(std::wstring& text) const;
    /// The same in code page 936. [lock]
    void GetFilterInfo(std::string& text) const;

    // --- Media information ------------------------------------------------------
    //
    // Read with MediaInfo.dll, which is found like any DLL of the host program and stays
    // loaded. Its options are process-wide, and these are set: "ParseSpeed" 0, "Complete"
    // empty, and "CharSet" UTF-8: a host that calls the same DLL's narrow interface gives
    // and gets UTF-8 there (its wide interface is not touched). Text is in code page 936;
    // characters that it lacks are "?". Durations end at 2147483647 ms (596 hours).

    /// The media information library's report of the file; empty without it. [plain]
    const std::string& GetMediaInfo() const;

    /// The report's lines in order, each cut at its first ":" into key and value. The
    /// heading of a stream's section ("General", "Audio #2") is a key without a value. [lock]
    std::vector<std::pair<std::string, std::string>> GetMediaInfoPairs() const;

    /// The file's duration in 100 ns units, without a media item; 0 on failure. Opens the file;
    /// no lock.
    static std::int64_t GetMediaDurationByMediaInfo(const std::string& path);
    /// The same for a path with any character.
    static std::int64_t GetMediaDurationByMediaInfo(const std::wstring& path);

    /// Hands the text of `languageFile` (UTF-8, code page 936, or UTF-16 with a
    /// byte-order mark) to the media information library, for the whole process. 1 when
    /// it was handed over, 0 when nothing was set. No lock.
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
