#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <numbers>
#include <optional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "BaseClasses/FilterModule.h"
#include "base/Formats.h"
#include "base/OutputPin.h"
#include "pattern/FramePattern.h"
#include "pattern/PatternSource.h"

namespace ymfilters {

namespace {

constexpr LONGLONG kSecond = 10'000'000;

/// The synthetic clip that a name describes; see README.md.
struct Clip {
    int width = 640;
    int height = 360;
    int frameRate = 25;
    LONGLONG duration = 10 * kSecond;
    int hasVideo = 1;
    int isLiveConnectable = 0;
    std::vector<int> tones = {440}; ///< one audio pin each
    std::vector<int> streams;       ///< tones that IAMStreamSelect chooses from
    int samplingRate = 44100;
    HRESULT loadResult = S_OK; ///< what Load answers
};

int Number(const std::wstring& text, int base = 10) {
    return static_cast<int>(std::wcstoul(text.c_str(), nullptr, base));
}

std::vector<int> Tones(const std::wstring& text) {
    std::vector<int> tones;
    static const std::wregex kNumber(LR"([1-9]\d*)");
    for (std::wsregex_iterator at(text.begin(), text.end(), kNumber), end; at != end; ++at) {
        tones.push_back(Number(at->str()));
    }
    return tones;
}

bool ReadOption(const std::wstring& key, const std::wstring& value, Clip& clip) {
    static const std::map<std::wstring, int Clip::*> kNumbers = {
        {L"video", &Clip::hasVideo},
        {L"live", &Clip::isLiveConnectable},
        {L"rate", &Clip::samplingRate}};
    if (const auto number = kNumbers.find(key); number != kNumbers.end()) {
        clip.*number->second = Number(value);
    } else if (key == L"fail") {
        clip.loadResult = Number(value, 16);
    } else if (key == L"audio" || key == L"select") {
        (key == L"audio" ? clip.tones : clip.streams) = Tones(value);
    } else {
        return false;
    }
    return true;
}

/// Reads a `test://` name, or a file whose first line is one. Nothing when it makes no sense.
std::optional<Clip> ReadClip(std::wstring name) {
    if (!name.starts_with(L"test://")) {
        std::string line;
        std::getline(std::ifstream{std::filesystem::path(name)}, line);
        name.assign(line.begin(), line.end());
    }
    static const std::wregex kForm(
        LR"(test://(?:(\d+)x(\d+))?(?:@(\d+))?(?:/(\d+)(m?)s)?(?:\?(.*?))?\r?)");
    static const std::wregex kOption(LR"((\w+)=([^&]*))");
    std::wsmatch part;
    if (!std::regex_match(name, part, kForm)) {
        return std::nullopt;
    }
    Clip clip;
    clip.width = part[1].matched ? Number(part[1]) : clip.width;
    clip.height = part[2].matched ? Number(part[2]) : clip.height;
    clip.frameRate = part[3].matched ? Number(part[3]) : clip.frameRate;
    clip.duration = part[4].matched ? Number(part[4]) * kSecond / (part[5].length() > 0 ? 1000 : 1)
                                    : clip.duration;
    const std::wstring options = part[6];
    for (std::wsregex_iterator at(options.begin(), options.end(), kOption), end; at != end; ++at) {
        if (!ReadOption((*at)[1], (*at)[2], clip)) {
            return std::nullopt;
        }
    }
    return clip;
}

/// What plays, in media time: the last seek on any pin of a filter. A pin that starts takes
/// it over, so that one connected later plays what the others play.
struct Segment {
    std::atomic<LONGLONG> start{0};
    std::atomic<LONGLONG> stop{0};
};

/// An output pin of the test source: a thread of its own delivers the stream's units
/// (pictures, samples of sound), and IMediaSeeking moves it, in media time alone. Each pin
/// seeks for itself: the graph manager hands a seek to every renderer, and so to every pin.
class SourceStream final : public OutputPin, public IMediaSeeking {
public:
    /// Without tones the pictures of the clip, else the tones that are enabled, mixed.
    SourceStream(Filter& filter, std::wstring name, const Clip& clip, Segment& segment,
                 std::vector<int> tones)
        : OutputPin(filter, std::move(name)), m_clip(clip), m_tones(std::move(tones)),
          m_segment(segment) {}

    /// One bit a tone; all are enabled at first. Heard from the next block on.
    std::atomic<unsigned> enabled{~0U};

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return OutputPin::QueryInterface(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return OutputPin::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return OutputPin::Release(); }

    HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* capabilities) override {
        *capabilities = kCapabilities;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsFormatSupported(const GUID* format) override {
        return *format == TIME_FORMAT_MEDIA_TIME ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE QueryPreferredFormat(GUID* format) override {
        *format = TIME_FORMAT_MEDIA_TIME;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID* format) override {
        return QueryPreferredFormat(format);
    }
    HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID* format) override {
        return IsFormatSupported(format) == S_OK ? S_OK : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* duration) override {
        *duration = m_clip.duration;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* stop) override {
        *stop = m_segment.stop;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* current) override {
        *current = m_position;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop,
                                           DWORD stopFlags) override {
        const DWORD start = currentFlags & AM_SEEKING_PositioningBitsMask;
        const DWORD end = stopFlags & AM_SEEKING_PositioningBitsMask;
        if (start > AM_SEEKING_AbsolutePositioning || end > AM_SEEKING_AbsolutePositioning) {
            return E_INVALIDARG;
        }
        LONGLONG last = m_segment.stop;
        if (end != AM_SEEKING_NoPositioning) {
            last = std::clamp<LONGLONG>(*stop, 0, m_clip.duration);
        }
        if (start != AM_SEEKING_NoPositioning) {
            Seek(std::clamp<LONGLONG>(*current, 0, m_clip.duration), last);
        } else {
            m_segment.stop = last; // of what starts next
        }
        return S_OK;
    }

    // What nobody here asks for.
    HRESULT STDMETHODCALLTYPE CheckCapabilities(DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ConvertTimeFormat(LONGLONG*, const GUID*, LONGLONG,
                                                const GUID*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetPositions(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAvailable(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetRate(double) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRate(double*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPreroll(LONGLONG*) override { return E_NOTIMPL; }

    HRESULT Activate() override {
        const HRESULT hr = OutputPin::Activate();
        if (SUCCEEDED(hr)) {
            const std::lock_guard lock(m_seekMutex);
            m_isExiting = false;
            m_thread = std::thread([this] { Work(); });
            // Zero when the filter leaves the stopped state; a pin connected while the others
            // play begins where they are.
            Start(m_segment.start + Owner().StreamTime());
        }
        return hr;
    }
    void Deactivate() override {
        const std::lock_guard lock(m_seekMutex);
        m_isInterrupted = true;
        OutputPin::Deactivate();
        if (m_thread.joinable()) {
            Await(State::Parked, State::Parked);
            m_isExiting = true;
            Await(State::Parked, State::Wanted);
            m_thread.join();
        }
    }
    bool PreferredType(unsigned index, ymdshow::MediaType& type) override {
        type = IsVideo() ? VideoType(m_clip.width, m_clip.height, UnitTime(1))
                         : PcmType(m_clip.samplingRate);
        return index == 0;
    }

protected:
    void* Interface(REFIID iid) override {
        return iid == IID_IMediaSeeking ? static_cast<IMediaSeeking*>(this)
                                        : OutputPin::Interface(iid);
    }
    // A renderer that wants another stride or the rows the other way round is refused.
    HRESULT CheckType(const AM_MEDIA_TYPE& type) override {
        ymdshow::MediaType own;
        PreferredType(0, own);
        return CheckSameType(type, own.Get());
    }
    ALLOCATOR_PROPERTIES BufferNeeds() const override {
        return {4, static_cast<long>(UnitsInASample() * static_cast<long>(Type().lSampleSize)), 1,
                0};
    }
    bool IsLiveConnectable() const override { return m_clip.isLiveConnectable != 0; }
    // The peer may hold the thread until it is flushed.
    void OnLiveDisconnect() override {
        m_isInterrupted = true;
        DeliverBeginFlush();
        Deactivate();
        DeliverEndFlush();
    }

private:
    static constexpr DWORD kCapabilities =
        AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanGetCurrentPos | AM_SEEKING_CanGetStopPos |
        AM_SEEKING_CanGetDuration | AM_SEEKING_CanSeekForwards | AM_SEEKING_CanSeekBackwards;

    bool IsVideo() const { return m_tones.empty(); }
    LONGLONG UnitRate() const { return IsVideo() ? m_clip.frameRate : m_clip.samplingRate; }
    LONGLONG UnitAt(LONGLONG time) const { return time * UnitRate() / kSecond; }
    LONGLONG UnitTime(LONGLONG unit) const {
        return (unit * kSecond + UnitRate() - 1) / UnitRate();
    }
    LONGLONG UnitsInASample() const { return IsVideo() ? 1 : m_clip.samplingRate / 20; }

    /// The thread's: it plays what is wanted and parks.
    enum class State { Parked, Wanted, Playing };
    /// Waits until it is in a state, and then brings it to another.
    void Await(State state, State next) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_state == state; });
        m_state = next;
        m_changed.notify_all();
    }
    void Seek(LONGLONG start, LONGLONG stop) {
        const std::lock_guard lock(m_seekMutex);
        const bool isActive = m_thread.joinable();
        if (isActive) {
            m_isInterrupted = true;
            DeliverBeginFlush();
            Await(State::Parked, State::Parked);
        }
        m_segment.start = m_position = start;
        m_segment.stop = stop;
        Owner().ResetStreamTime();
        if (isActive) {
            DeliverEndFlush();
            Start(start);
        }
    }
    void Start(LONGLONG from) {
        m_position = from;
        m_isInterrupted = false;
        Await(State::Parked, State::Wanted);
    }
    void Work() {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        for (Await(State::Wanted, State::Playing); !m_isExiting;) {
            Play(m_segment.start, m_segment.stop, UnitAt(m_position));
            Await(State::Playing, State::Parked);
            Await(State::Wanted, State::Playing);
        }
        CoUninitialize();
        Await(State::Playing, State::Parked);
    }
    void Play(LONGLONG start, LONGLONG stop, LONGLONG next) {
        DeliverNewSegment(start, stop, 1);
        HRESULT hr = S_OK;
        for (bool isFirst = true; hr == S_OK && UnitTime(next) < stop; isFirst = false) {
            hr = PlaySample(start, stop, next, isFirst);
        }
        if (hr == S_OK && !m_isInterrupted) {
            DeliverEndOfStream();
        }
    }
    HRESULT PlaySample(LONGLONG origin, LONGLONG end, LONGLONG& next, bool isFirst) {
        Microsoft::WRL::ComPtr<IMediaSample> sample;
        BYTE* data = nullptr;
        HRESULT hr = GetBuffer(&sample);
        if (FAILED(hr) || FAILED(hr = sample->GetPointer(&data))) {
            return hr;
        }
        REFERENCE_TIME start = UnitTime(next) - origin;
        long size = static_cast<long>(Type().lSampleSize);
        if (IsVideo()) {
            PaintFrame(static_cast<std::uint32_t>(next), m_clip.width, m_clip.height,
                       reinterpret_cast<std::uint32_t*>(data));
            ++next;
        } else {
            // The unit at the stop position is the first that is not played.
            const LONGLONG rest = UnitAt(end - 1) + 1 - next;
            const LONGLONG count = std::clamp<LONGLONG>(rest, 1, UnitsInASample());
            size = FillSound(reinterpret_cast<std::int16_t*>(data), next, count);
            next += count;
        }
        REFERENCE_TIME stop = UnitTime(next) - origin;
        sample->SetActualDataLength(size);
        sample->SetTime(&start, &stop);
        sample->SetSyncPoint(TRUE);
        sample->SetDiscontinuity(isFirst ? TRUE : FALSE);
        m_position = UnitTime(next);
        return m_isInterrupted ? S_FALSE : Deliver(*sample.Get());
    }
    /// A sine's phase is its position's, so that a stream sounds the same wherever it was entered.
    long FillSound(std::int16_t* out, LONGLONG first, LONGLONG count) const {
        const double amplitude = 16000.0 / static_cast<double>(m_tones.size());
        for (LONGLONG unit = first; unit < first + count; ++unit) {
            const double turn =
                2 * std::numbers::pi * static_cast<double>(unit) / m_clip.samplingRate;
            double value = 0;
            for (std::size_t tone = 0; tone < m_tones.size(); ++tone) {
                value +=
                    (enabled >> tone & 1U) != 0 ? amplitude * std::sin(turn * m_tones[tone]) : 0;
            }
            out = std::fill_n(out, 2, static_cast<std::int16_t>(std::lround(value)));
        }
        return static_cast<long>(count * 4);
    }

    const Clip m_clip;
    const std::vector<int> m_tones;
    Segment& m_segment;
    std::mutex m_seekMutex; // a seek, a start or a stop of the thread at a time
    std::thread m_thread;
    std::mutex m_mutex; // guards the state
    std::condition_variable m_changed;
    State m_state = State::Parked;
    bool m_isExiting = false; // what is wanted is the thread's end
    std::atomic<bool> m_isInterrupted{false};
    std::atomic<LONGLONG> m_position{0}; // start of the next unit
};

/// A source filter without a file: the name that Load gets says what it plays. Has no
/// pins before that.
class PatternSource final : public Filter, public IFileSourceFilter, public IAMStreamSelect {
public:
    PatternSource() : Filter(CLSID_PatternSource) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return Filter::QueryInterface(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return Filter::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return Filter::Release(); }

    /// The same name again changes nothing; another one is refused while a pin is connected.
    HRESULT STDMETHODCALLTYPE Load(LPCOLESTR name, const AM_MEDIA_TYPE*) override {
        const std::lock_guard lock(Lock());
        if (m_name == name) {
            return S_OK;
        }
        for (const Pin* pin : Pins()) {
            if (pin->IsConnected()) {
                return VFW_E_ALREADY_CONNECTED;
            }
        }
        const std::optional<Clip> clip = ReadClip(name);
        if (!clip || FAILED(clip->loadResult)) {
            return clip ? clip->loadResult : VFW_E_INVALID_FILE_FORMAT;
        }
        m_name = name;
        m_clip = *clip;
        m_segment.start = 0;
        m_segment.stop = clip->duration;
        MakePins();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override {
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

    // The picture is stream 0 when there is one, in a group of its own; the tones follow. A
    // tone is switched alone: flags 0 silences it, ENABLE silences the others, ENABLEALL
    // lets all sound.
    HRESULT STDMETHODCALLTYPE Count(DWORD* count) override {
        if (count == nullptr) {
            return E_POINTER;
        }
        *count = static_cast<DWORD>(FirstTone()) + static_cast<DWORD>(m_clip.streams.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Info(LONG index, AM_MEDIA_TYPE** type, DWORD* flags, LCID* language,
                                   DWORD* group, LPWSTR* name, IUnknown** object,
                                   IUnknown** unknown) override {
        const LONG tone = index - FirstTone();
        const auto put = [](auto* out, auto value) {
            if (out != nullptr) {
                *out = value;
            }
        };
        put(object, nullptr);
        put(unknown, nullptr);
        put(type, nullptr);
        put(name, nullptr);
        if (index < 0 || tone >= static_cast<LONG>(m_clip.streams.size())) {
            return S_FALSE;
        }
        if (type != nullptr) {
            ymdshow::MediaType own;
            (tone < 0 ? Pins()[0] : m_selectable)->PreferredType(0, own);
            *type = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
            if (*type == nullptr) {
                return E_OUTOFMEMORY;
            }
            **type = own.Detach();
        }
        const bool isOn = tone < 0 || (m_selectable->enabled >> tone & 1U) != 0;
        put(flags, isOn ? DWORD{AMSTREAMSELECTINFO_ENABLED} : 0);
        put(language, LCID{0});
        put(group, DWORD{tone < 0 ? 0U : 1U});
        if (name != nullptr) {
            *name = CopyText(tone < 0 ? L"Picture" : L"Tone " + std::to_wstring(tone + 1));
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Enable(LONG index, DWORD flags) override {
        const LONG tone = index - FirstTone();
        if (tone < 0 || tone >= static_cast<LONG>(m_clip.streams.size())) {
            return E_INVALIDARG;
        }
        if (flags == 0) {
            m_selectable->enabled &= ~(1U << tone);
        } else {
            m_selectable->enabled = flags == AMSTREAMSELECTENABLE_ENABLE ? 1U << tone : ~0U;
        }
        return S_OK;
    }

protected:
    void* Interface(REFIID iid) override {
        if (iid == IID_IFileSourceFilter) {
            return static_cast<IFileSourceFilter*>(this);
        }
        if (iid == IID_IAMStreamSelect && !m_clip.streams.empty()) {
            return static_cast<IAMStreamSelect*>(this);
        }
        return Filter::Interface(iid);
    }

private:
    LONG FirstTone() const { return m_clip.hasVideo; }

    void MakePins() {
        std::vector<Pin*> pins;
        const auto add = [&](std::wstring name, std::vector<int> tones) {
            m_streams.push_back(std::make_unique<SourceStream>(*this, std::move(name), m_clip,
                                                               m_segment, std::move(tones)));
            pins.push_back(m_streams.back().get());
            return m_streams.back().get();
        };
        if (m_clip.hasVideo != 0) {
            add(L"Video", {});
        }
        if (!m_clip.streams.empty()) {
            m_selectable = add(L"Audio", m_clip.streams);
            m_selectable->enabled = 1;
        } else {
            for (std::size_t i = 0; i < m_clip.tones.size(); ++i) {
                add(L"Audio" + (i == 0 ? L"" : L" " + std::to_wstring(i + 1)), {m_clip.tones[i]});
            }
        }
        SetPins(std::move(pins));
    }

    std::wstring m_name;
    Clip m_clip;
    Segment m_segment;
    std::vector<std::unique_ptr<SourceStream>> m_streams; // those of earlier names too
    SourceStream* m_selectable = nullptr; // the pin whose tones IAMStreamSelect switches
};

constexpr ymdshow::ClassObject kClasses[] = {
    {&CLSID_PatternSource, L"Pattern Source", &Create<PatternSource>}};

} // namespace

} // namespace ymfilters

YMD_FILTER_MODULE(ymfilters::kClasses)
