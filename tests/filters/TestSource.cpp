#include <windows.h>

#include <dshow.h>

#include <cwchar>
#include <memory>

#include "BaseClasses/FilterModule.h"
#include "Clsids.h"
#include "SourceStream.h"

namespace ymfilters {

namespace {

LPWSTR CopyText(const std::wstring& text) {
    const std::size_t size = text.size() + 1;
    auto* const copy = static_cast<LPWSTR>(CoTaskMemAlloc(size * sizeof(wchar_t)));
    return copy == nullptr ? nullptr : std::wmemcpy(copy, text.c_str(), size);
}

/// A source filter without a file: the name that Load gets says what it plays. Has no
/// pins before that.
class TestSource final : public Filter, public IFileSourceFilter, public IAMStreamSelect {
public:
    TestSource() : Filter(CLSID_TestSource) {}

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
    HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR*, AM_MEDIA_TYPE*) override { return E_NOTIMPL; }

    // The picture is stream 0 when there is one, in a group of its own; the tones follow. A
    // tone is switched alone: flags 0 silences it, ENABLE silences the others, ENABLEALL
    // lets all sound.
    HRESULT STDMETHODCALLTYPE Count(DWORD* count) override {
        *count = static_cast<DWORD>(FirstTone()) + static_cast<DWORD>(m_clip.streams.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Info(LONG index, AM_MEDIA_TYPE** type, DWORD* flags, LCID* language,
                                   DWORD* group, LPWSTR* name, IUnknown** object,
                                   IUnknown** unknown) override {
        const LONG tone = index - FirstTone();
        if (object != nullptr || unknown != nullptr) {
            return E_NOTIMPL;
        }
        if (index < 0 || tone >= static_cast<LONG>(m_clip.streams.size())) {
            return S_FALSE;
        }
        ymdshow::MediaType own;
        (tone < 0 ? Pins()[0] : m_selectable)->PreferredType(0, own);
        *type = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
        **type = own.Detach();
        const bool isOn = tone < 0 || (m_selectable->enabled >> tone & 1U) != 0;
        *flags = isOn ? AMSTREAMSELECTINFO_ENABLED : 0;
        *language = 0;
        *group = tone < 0 ? 0 : 1;
        *name = CopyText(tone < 0 ? L"Picture" : L"Tone " + std::to_wstring(tone + 1));
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
    {&CLSID_TestSource, L"Test Source", &Create<TestSource>}};

} // namespace

} // namespace ymfilters

YMD_FILTER_MODULE(ymfilters::kClasses)
