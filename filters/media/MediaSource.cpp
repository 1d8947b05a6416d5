#include "media/MediaSource.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <utility>

#include "BaseClasses/InterfaceIds.h"
#include "Guard.h"
#include "media/MediaFilters.h"
#include "media/StreamTypes.h"

namespace ymfilters {

namespace {

constexpr double kSlowest = 0.5;
constexpr double kFastest = 2.0;

/// How long an aborted open may take to notice, before it is left behind.
constexpr auto kFarewell = std::chrono::milliseconds(150);

struct Language {
    const char* code; ///< ISO 639-2
    WORD id;
};
constexpr Language kLanguages[] = {
    {"ara", LANG_ARABIC},     {"bul", LANG_BULGARIAN}, {"cat", LANG_CATALAN},
    {"ces", LANG_CZECH},      {"chi", LANG_CHINESE},   {"cze", LANG_CZECH},
    {"dan", LANG_DANISH},     {"deu", LANG_GERMAN},    {"dut", LANG_DUTCH},
    {"ell", LANG_GREEK},      {"eng", LANG_ENGLISH},   {"est", LANG_ESTONIAN},
    {"fin", LANG_FINNISH},    {"fra", LANG_FRENCH},    {"fre", LANG_FRENCH},
    {"ger", LANG_GERMAN},     {"gre", LANG_GREEK},     {"heb", LANG_HEBREW},
    {"hin", LANG_HINDI},      {"hrv", LANG_CROATIAN},  {"hun", LANG_HUNGARIAN},
    {"ind", LANG_INDONESIAN}, {"ita", LANG_ITALIAN},   {"jpn", LANG_JAPANESE},
    {"kor", LANG_KOREAN},     {"lav", LANG_LATVIAN},   {"lit", LANG_LITHUANIAN},
    {"nld", LANG_DUTCH},      {"nor", LANG_NORWEGIAN}, {"pol", LANG_POLISH},
    {"por", LANG_PORTUGUESE}, {"ron", LANG_ROMANIAN},  {"rum", LANG_ROMANIAN},
    {"rus", LANG_RUSSIAN},    {"slk", LANG_SLOVAK},    {"slo", LANG_SLOVAK},
    {"slv", LANG_SLOVENIAN},  {"spa", LANG_SPANISH},   {"swe", LANG_SWEDISH},
    {"tha", LANG_THAI},       {"tur", LANG_TURKISH},   {"ukr", LANG_UKRAINIAN},
    {"vie", LANG_VIETNAMESE}, {"zho", LANG_CHINESE},
};

LCID LocaleOf(const std::string& code) {
    for (const Language& language : kLanguages) {
        if (code == language.code) {
            return MAKELCID(MAKELANGID(language.id, SUBLANG_NEUTRAL), SORT_DEFAULT);
        }
    }
    return 0;
}

/// "Audio 2 - Commentary [eng] (aac, 48000 Hz, stereo)"
std::wstring Describe(const MediaStream& stream, int number) {
    const AVCodecParameters& codec = *stream.parameters->codec;
    std::string text = stream.kind == StreamKind::Video   ? "Video "
                       : stream.kind == StreamKind::Audio ? "Audio "
                                                          : "Text ";
    text += std::to_string(number);
    text += stream.title.empty() ? "" : " - " + stream.title;
    text += stream.language.empty() || stream.language == "und" ? "" : " [" + stream.language + "]";
    text += std::string(" (") + avcodec_get_name(codec.codec_id);
    if (stream.kind == StreamKind::Video) {
        text += ", " + std::to_string(codec.width) + "x" + std::to_string(codec.height);
    } else if (stream.kind == StreamKind::Audio) {
        char layout[64]{};
        av_channel_layout_describe(&codec.ch_layout, layout, sizeof(layout));
        text += ", " + std::to_string(codec.sample_rate) + " Hz, " + layout;
    }
    return FromUtf8((text + ")").c_str());
}

/// Keeps this module loaded for a thread that may outlive the last object.
HMODULE HoldModule() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCWSTR>(&HoldModule), &module);
    return module;
}

} // namespace

/// An open on a thread of its own: a host that gives up does not wait for a name server or a
/// file server.
struct Opening {
    std::wstring name;
    int timeout = 0;
    std::shared_ptr<Demuxer> demuxer = std::make_shared<Demuxer>();
    std::mutex mutex; // guards what follows
    std::condition_variable changed;
    bool isDone = false;
    bool isAborted = false;
    int result = 0;
    std::wstring reason;

    struct Start {
        std::shared_ptr<Opening> opening;
        HMODULE module;
    };
    static DWORD WINAPI Run(void* parameter) {
        std::unique_ptr<Start> start(static_cast<Start*>(parameter));
        const HMODULE module = start->module;
        start->opening->Work();
        start.reset();
        FreeLibraryAndExitThread(module, 0);
    }
    void Work() {
        std::wstring why;
        const int opened = AVERROR(ENOMEM);
        const int answer =
            ymdshow::AnswerOr(opened, [&] { return demuxer->Open(name, timeout, why); });
        const std::lock_guard lock(mutex);
        result = answer;
        reason = std::move(why);
        isDone = true;
        changed.notify_all();
    }
    void Abort() {
        demuxer->Interrupt(true);
        const std::lock_guard lock(mutex);
        isAborted = true;
        changed.notify_all();
    }
};

MediaSource::MediaSource() : Filter(CLSID_MediaSource) {}

MediaSource::~MediaSource() {
    OnDeactivate();
}

void* MediaSource::Interface(REFIID iid) {
    if (iid == IID_IFileSourceFilter) {
        return static_cast<IFileSourceFilter*>(this);
    }
    if (iid == IID_IAMStreamSelect) {
        return static_cast<IAMStreamSelect*>(this);
    }
    if (iid == IID_IAMOpenProgress) {
        return static_cast<IAMOpenProgress*>(this);
    }
    if (iid == __uuidof(IAMMediaContent) || iid == IID_IDispatch) {
        return static_cast<IAMMediaContent*>(this);
    }
    if (iid == IID_IPropertyBag) {
        return static_cast<IPropertyBag*>(this);
    }
    return iid == IID_ISupportErrorInfo ? static_cast<ISupportErrorInfo*>(this)
                                        : Filter::Interface(iid);
}

bool MediaSource::IsOwnDecoder(const CLSID& clsid) {
    return clsid == CLSID_MediaVideoDecoder || clsid == CLSID_MediaAudioDecoder;
}

// Opening

HRESULT STDMETHODCALLTYPE MediaSource::Load(LPCOLESTR name, const AM_MEDIA_TYPE*) {
    if (name == nullptr) {
        return E_POINTER;
    }
    return ymdshow::AnswerOr(E_OUTOFMEMORY, [&] {
        {
            const std::lock_guard lock(Lock());
            if (m_demuxer != nullptr && m_name == name) {
                return S_OK;
            }
            for (const Pin* pin : Pins()) {
                if (pin->IsConnected()) {
                    return VFW_E_ALREADY_CONNECTED;
                }
            }
            if (State() != State_Stopped) {
                return VFW_E_NOT_STOPPED;
            }
        }
        std::shared_ptr<Demuxer> demuxer;
        const HRESULT hr = Open(name, demuxer); // without the lock: it may take long
        if (FAILED(hr)) {
            return hr;
        }
        const std::lock_guard lock(Lock());
        m_name = name;
        m_demuxer = std::move(demuxer);
        m_flow.SetDemuxer(m_demuxer);
        {
            const std::lock_guard seek(m_seekMutex);
            m_seekers.clear();
        }
        MakePins();
        return S_OK;
    });
}

HRESULT MediaSource::Open(const std::wstring& name, std::shared_ptr<Demuxer>& demuxer) {
    const auto opening = std::make_shared<Opening>();
    opening->name = name;
    opening->timeout = m_timeout;
    {
        const std::lock_guard lock(m_openMutex);
        if (m_opening != nullptr) {
            return HRESULT_FROM_WIN32(ERROR_BUSY);
        }
        m_opening = opening;
    }
    auto start = std::make_unique<Opening::Start>(Opening::Start{opening, HoldModule()});
    const HANDLE thread = CreateThread(nullptr, 0, &Opening::Run, start.get(), 0, nullptr);
    if (thread == nullptr) {
        FreeLibrary(start->module);
        const std::lock_guard lock(m_openMutex);
        m_opening.reset();
        return E_OUTOFMEMORY;
    }
    start.release();
    CloseHandle(thread);
    HRESULT hr = S_OK;
    {
        std::unique_lock lock(opening->mutex);
        const auto isOver = [&] { return opening->isDone || opening->isAborted; };
        const std::chrono::milliseconds most(opening->timeout);
        const bool isInTime = opening->changed.wait_for(lock, most + kFarewell, isOver);
        if (!opening->isDone) {
            opening->demuxer->Interrupt(true);
            opening->changed.wait_for(lock, kFarewell, [&] { return opening->isDone; });
        }
        if (opening->isAborted) {
            hr = E_ABORT;
            TellError(L"the open was aborted");
        } else if (!opening->isDone || !isInTime) {
            hr = HRESULT_FROM_WIN32(ERROR_TIMEOUT);
            TellError(L"the open took too long");
        } else if (opening->result < 0) {
            hr = ResultOf(opening->result);
            TellError(opening->reason);
        } else {
            demuxer = opening->demuxer;
        }
    }
    const std::lock_guard lock(m_openMutex);
    m_opening.reset();
    return hr;
}

void MediaSource::MakePins() {
    std::array<SourcePin*, kStreamKinds> byKind{};
    std::vector<Pin*> pins;
    // Sound first: the library lists renderers in that order, and a graph that tries a pin on the
    // other's renderer looks through all filters of the system in vain.
    for (StreamKind kind : {StreamKind::Audio, StreamKind::Video, StreamKind::Text}) {
        if (!m_flow.Streams(kind).empty()) {
            m_sourcePins.push_back(std::make_unique<SourcePin>(*this, kind));
            byKind[static_cast<std::size_t>(kind)] = m_sourcePins.back().get();
            pins.push_back(m_sourcePins.back().get());
        }
    }
    m_flow.SetPins(byKind);
    SetPins(std::move(pins));
}

HRESULT STDMETHODCALLTYPE MediaSource::GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) {
    if (name == nullptr) {
        return E_POINTER;
    }
    if (type != nullptr) {
        *type = {};
        type->majortype = MEDIATYPE_Stream;
    }
    const std::lock_guard lock(Lock());
    *name = m_name.empty() ? nullptr : CopyText(m_name);
    return m_name.empty() || *name != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE MediaSource::AbortOperation() {
    const std::lock_guard lock(m_openMutex);
    if (m_opening != nullptr) {
        m_opening->Abort();
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSource::QueryProgress(LONGLONG* total, LONGLONG* current) {
    if (total == nullptr || current == nullptr) {
        return E_POINTER;
    }
    const std::lock_guard lock(m_openMutex);
    *total = 1;
    *current = m_opening == nullptr ? 1 : 0;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSource::InterfaceSupportsErrorInfo(REFIID iid) {
    return iid == IID_IFileSourceFilter ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE MediaSource::Read(LPCOLESTR name, VARIANT* value, IErrorLog*) {
    if (name == nullptr || value == nullptr) {
        return E_POINTER;
    }
    if (std::wstring_view(name) != L"OpenTimeout") {
        return E_INVALIDARG;
    }
    VariantClear(value);
    value->vt = VT_I4;
    value->lVal = m_timeout;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSource::Write(LPCOLESTR name, VARIANT* value) {
    if (name == nullptr || value == nullptr) {
        return E_POINTER;
    }
    if (std::wstring_view(name) != L"OpenTimeout" || value->vt != VT_I4 || value->lVal <= 0) {
        return E_INVALIDARG;
    }
    m_timeout = value->lVal;
    return S_OK;
}

// Running

HRESULT MediaSource::OnActivate() {
    const HRESULT hr = Filter::OnActivate();
    if (SUCCEEDED(hr)) {
        return ymdshow::AnswerOr(E_OUTOFMEMORY, [&] { return m_flow.Start(), S_OK; });
    }
    return hr;
}

void MediaSource::OnDeactivate() {
    Filter::OnDeactivate();
    m_flow.Stop();
}

HRESULT STDMETHODCALLTYPE MediaSource::Stop() {
    m_flow.BeginStop(); // without the lock: it calls other filters
    const HRESULT hr = Filter::Stop();
    m_flow.EndStop();
    return hr;
}

std::shared_ptr<const StreamParameters> MediaSource::SelectedStream(StreamKind kind) const {
    const std::vector<MediaStream>& streams = m_flow.Streams(kind);
    if (streams.empty()) {
        return nullptr;
    }
    return streams[static_cast<std::size_t>(std::max(m_flow.Selected(kind), 0))].parameters;
}

DWORD MediaSource::Capabilities() const {
    DWORD capabilities = AM_SEEKING_CanGetCurrentPos;
    if (Duration() > 0) {
        capabilities |= AM_SEEKING_CanGetDuration | AM_SEEKING_CanGetStopPos;
    }
    if (m_demuxer != nullptr && m_demuxer->IsSeekable()) {
        capabilities |= AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanSeekForwards |
                        AM_SEEKING_CanSeekBackwards | AM_SEEKING_CanGetStopPos |
                        AM_SEEKING_CanDoSegments;
    }
    return capabilities;
}

HRESULT MediaSource::SetPositions(SourcePin& pin, LONGLONG* current, DWORD currentFlags,
                                  LONGLONG* stop, DWORD stopFlags) {
    const DWORD startKind = currentFlags & AM_SEEKING_PositioningBitsMask;
    const DWORD stopKind = stopFlags & AM_SEEKING_PositioningBitsMask;
    if ((startKind != AM_SEEKING_NoPositioning && current == nullptr) ||
        (stopKind != AM_SEEKING_NoPositioning && stop == nullptr)) {
        return E_POINTER;
    }
    if (startKind == AM_SEEKING_IncrementalPositioning) {
        return E_INVALIDARG;
    }
    if (m_demuxer == nullptr || !m_demuxer->IsSeekable()) {
        return E_NOTIMPL;
    }
    SeekRequest request = m_flow.Wanted();
    SampleSegment& segment = request.segment;
    const LONGLONG duration = Duration();
    if (startKind != AM_SEEKING_NoPositioning) {
        const bool isRelative = startKind == AM_SEEKING_RelativePositioning;
        segment.start = std::max<LONGLONG>(*current + (isRelative ? m_flow.Now() : 0), 0);
    }
    if (stopKind != AM_SEEKING_NoPositioning) {
        const LONGLONG from = stopKind == AM_SEEKING_RelativePositioning
                                  ? std::min(segment.stop, duration)
                              : stopKind == AM_SEEKING_IncrementalPositioning ? segment.start
                                                                              : 0;
        segment.stop = std::max<LONGLONG>(from + *stop, 0);
        segment.stop = duration > 0 && segment.stop >= duration ? kNoStop : segment.stop;
    }
    segment.base = 0;
    request.isToKeyFrame = (currentFlags & AM_SEEKING_SeekToKeyFrame) != 0;
    request.isFlushed = (currentFlags & AM_SEEKING_NoFlush) == 0;
    request.isSegment = (currentFlags & AM_SEEKING_Segment) != 0;
    if (startKind == AM_SEEKING_NoPositioning) {
        m_flow.SetStop(segment.stop);
    } else {
        // The graph's manager asks each renderer, and so each pin, for the same seek.
        {
            const std::lock_guard lock(m_seekMutex);
            const bool isNew = m_seekers.empty() || !(m_lastSeek == request) ||
                               m_seekers.find(&pin) != m_seekers.end();
            if (isNew) {
                m_seekers.clear();
                m_lastSeek = request;
            }
            m_seekers.insert(&pin);
            if (!isNew) {
                return S_OK;
            }
        }
        const bool tellsKey = request.isToKeyFrame && (currentFlags & AM_SEEKING_ReturnTime) != 0;
        if (request.isFlushed) {
            ResetStreamTime();
        }
        LONGLONG keyFrame = segment.start;
        m_flow.Seek(request, tellsKey ? &keyFrame : nullptr);
        segment.start = keyFrame;
    }
    if ((currentFlags & AM_SEEKING_ReturnTime) != 0 && current != nullptr) {
        *current = segment.start;
    }
    if ((stopFlags & AM_SEEKING_ReturnTime) != 0 && stop != nullptr) {
        *stop = segment.stop < kNoStop ? segment.stop : duration;
    }
    return S_OK;
}

HRESULT MediaSource::SetRate(double rate) {
    if (!(rate >= kSlowest && rate <= kFastest)) {
        return E_INVALIDARG;
    }
    SeekRequest request = m_flow.Wanted();
    if (request.segment.rate == rate) {
        return S_OK; // the second pin's turn
    }
    if (m_demuxer == nullptr || !m_demuxer->IsSeekable()) {
        return E_NOTIMPL;
    }
    // The stream time goes on, the new rate begins in its middle.
    request.segment.base = State() == State_Stopped ? 0 : StreamTime();
    request.segment.start = m_flow.Now();
    request.segment.rate = rate;
    request.isToKeyFrame = false;
    request.isFlushed = true;
    m_flow.Seek(request, nullptr);
    return S_OK;
}

// IAMStreamSelect

std::vector<MediaSource::Entry> MediaSource::Entries() const {
    std::vector<Entry> entries;
    for (StreamKind kind : {StreamKind::Video, StreamKind::Audio, StreamKind::Text}) {
        int place = 0;
        for (const MediaStream& stream : m_flow.Streams(kind)) {
            entries.push_back({kind, place++, &stream});
        }
    }
    return entries;
}

HRESULT STDMETHODCALLTYPE MediaSource::Count(DWORD* count) {
    if (count == nullptr) {
        return E_POINTER;
    }
    return ymdshow::AnswerOr(E_OUTOFMEMORY, [&] {
        *count = static_cast<DWORD>(Entries().size());
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE MediaSource::Info(LONG index, AM_MEDIA_TYPE** type, DWORD* flags,
                                            LCID* language, DWORD* group, LPWSTR* name,
                                            IUnknown** object, IUnknown** unknown) {
    const auto put = [](auto* out, auto value) {
        if (out != nullptr) {
            *out = value;
        }
    };
    put(type, nullptr);
    put(name, nullptr);
    put(object, nullptr);
    put(unknown, nullptr);
    return ymdshow::AnswerOr(E_OUTOFMEMORY, [&] {
        const std::vector<Entry> entries = Entries();
        if (index < 0 || index >= static_cast<LONG>(entries.size())) {
            return S_FALSE;
        }
        const Entry& entry = entries[static_cast<std::size_t>(index)];
        if (type != nullptr) {
            std::vector<ymdshow::MediaType> types = TypesOf(*entry.stream->parameters);
            *type = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
            if (*type == nullptr) {
                return E_OUTOFMEMORY;
            }
            **type = types.empty() ? AM_MEDIA_TYPE{} : types[0].Detach();
        }
        const bool isOn = m_flow.Selected(entry.kind) == entry.place;
        put(flags, isOn ? DWORD{AMSTREAMSELECTINFO_ENABLED | AMSTREAMSELECTINFO_EXCLUSIVE} : 0);
        put(language, LocaleOf(entry.stream->language));
        put(group, static_cast<DWORD>(entry.kind));
        if (name != nullptr) {
            *name = CopyText(Describe(*entry.stream, entry.place + 1));
        }
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE MediaSource::Enable(LONG index, DWORD flags) {
    return ymdshow::AnswerOr(E_OUTOFMEMORY, [&] {
        const std::vector<Entry> entries = Entries();
        if (index < 0 || index >= static_cast<LONG>(entries.size())) {
            return E_INVALIDARG;
        }
        const Entry& entry = entries[static_cast<std::size_t>(index)];
        if (flags == 0) {
            if (m_flow.Selected(entry.kind) == entry.place) {
                m_flow.Switch(entry.kind, -1);
            }
            return S_OK;
        }
        for (Pin* pin : Pins()) {
            auto* const own = static_cast<SourcePin*>(pin);
            if (own->Kind() == entry.kind && !own->Accepts(*entry.stream->parameters)) {
                return VFW_E_TYPE_NOT_ACCEPTED;
            }
        }
        m_flow.Switch(entry.kind, entry.place);
        return S_OK;
    });
}

// IAMMediaContent

HRESULT MediaSource::Text(const char* tag, BSTR* text) const {
    if (text == nullptr) {
        return E_POINTER;
    }
    *text = nullptr;
    return ymdshow::AnswerOr(E_OUTOFMEMORY, [&] {
        const std::wstring found = m_demuxer != nullptr ? m_demuxer->Tag(tag) : L"";
        if (found.empty()) {
            return VFW_E_NOT_FOUND;
        }
        *text = SysAllocString(found.c_str());
        return *text != nullptr ? S_OK : E_OUTOFMEMORY;
    });
}

HRESULT STDMETHODCALLTYPE MediaSource::get_AuthorName(BSTR* text) {
    return Text("artist", text);
}
HRESULT STDMETHODCALLTYPE MediaSource::get_Title(BSTR* text) {
    return Text("title", text);
}
HRESULT STDMETHODCALLTYPE MediaSource::get_Rating(BSTR* text) {
    return Text("rating", text);
}
HRESULT STDMETHODCALLTYPE MediaSource::get_Description(BSTR* text) {
    return Text("comment", text);
}
HRESULT STDMETHODCALLTYPE MediaSource::get_Copyright(BSTR* text) {
    return Text("copyright", text);
}
HRESULT STDMETHODCALLTYPE MediaSource::get_BaseURL(BSTR*) {
    return E_NOTIMPL;
}
HRESULT STDMETHODCALLTYPE MediaSource::get_LogoURL(BSTR*) {
    return E_NOTIMPL;
}
HRESULT STDMETHODCALLTYPE MediaSource::get_LogoIconURL(BSTR*) {
    return E_NOTIMPL;
}
HRESULT STDMETHODCALLTYPE MediaSource::get_WatermarkURL(BSTR*) {
    return E_NOTIMPL;
}
HRESULT STDMETHODCALLTYPE MediaSource::get_MoreInfoURL(BSTR*) {
    return E_NOTIMPL;
}
HRESULT STDMETHODCALLTYPE MediaSource::get_MoreInfoBannerImage(BSTR*) {
    return E_NOTIMPL;
}
HRESULT STDMETHODCALLTYPE MediaSource::get_MoreInfoBannerURL(BSTR*) {
    return E_NOTIMPL;
}
HRESULT STDMETHODCALLTYPE MediaSource::get_MoreInfoText(BSTR*) {
    return E_NOTIMPL;
}
HRESULT STDMETHODCALLTYPE MediaSource::GetTypeInfoCount(UINT* count) {
    if (count == nullptr) {
        return E_POINTER;
    }
    *count = 0;
    return S_OK;
}
HRESULT STDMETHODCALLTYPE MediaSource::GetTypeInfo(UINT, LCID, ITypeInfo**) {
    return E_NOTIMPL;
}
HRESULT STDMETHODCALLTYPE MediaSource::GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) {
    return E_NOTIMPL;
}
HRESULT STDMETHODCALLTYPE MediaSource::Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*,
                                              EXCEPINFO*, UINT*) {
    return E_NOTIMPL;
}

} // namespace ymfilters
