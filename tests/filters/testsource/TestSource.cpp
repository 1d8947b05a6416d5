#include "testsource/TestSource.h"

#include <cwchar>

#include "BaseClasses/ComTypes.h"
#include "BaseClasses/FilterModule.h"
#include "Clsids.h"

namespace ymfilters {

namespace {

LPWSTR CopyText(const std::wstring& text) {
    const std::size_t size = text.size() + 1;
    auto* const copy = static_cast<LPWSTR>(CoTaskMemAlloc(size * sizeof(wchar_t)));
    return copy == nullptr ? nullptr : std::wmemcpy(copy, text.c_str(), size);
}

} // namespace

TestSource::TestSource() : Filter(CLSID_TestSource) {}
TestSource::~TestSource() = default;

HRESULT STDMETHODCALLTYPE TestSource::QueryInterface(REFIID iid, void** out) {
    return Filter::QueryInterface(iid, out);
}
ULONG STDMETHODCALLTYPE TestSource::AddRef() {
    return Filter::AddRef();
}
ULONG STDMETHODCALLTYPE TestSource::Release() {
    return Filter::Release();
}

void* TestSource::Interface(REFIID iid) {
    if (iid == IID_IFileSourceFilter) {
        return static_cast<IFileSourceFilter*>(this);
    }
    if (iid == IID_IAMStreamSelect && m_selectable != nullptr) {
        return static_cast<IAMStreamSelect*>(this);
    }
    return Filter::Interface(iid);
}

HRESULT STDMETHODCALLTYPE TestSource::Load(LPCOLESTR name, const AM_MEDIA_TYPE*) {
    if (name == nullptr) {
        return E_POINTER;
    }
    const std::lock_guard lock(Lock());
    if (!m_name.empty() && m_name == name) {
        return S_OK;
    }
    if (State() != State_Stopped) {
        return VFW_E_NOT_STOPPED;
    }
    for (const Pin* pin : Pins()) {
        if (pin->IsConnected()) {
            return VFW_E_ALREADY_CONNECTED;
        }
    }
    const std::optional<Clip> clip = ReadClip(name);
    if (!clip) {
        return VFW_E_INVALID_FILE_FORMAT;
    }
    ::Sleep(clip->loadDelay);
    if (FAILED(clip->loadResult)) {
        return clip->loadResult;
    }
    m_name = name;
    MakePins(*clip);
    return S_OK;
}

void TestSource::MakePins(const Clip& clip) {
    m_clip = clip;
    m_segment.Set({0, clip.duration, 1});
    m_video = nullptr;
    m_selectable = nullptr;
    std::vector<Pin*> pins;
    const auto add = [&](auto stream) {
        auto* const pin = stream.get();
        m_streams.push_back(std::move(stream));
        pins.push_back(pin);
        return pin;
    };
    if (clip.hasVideo) {
        m_video = add(std::make_unique<VideoStream>(*this, L"Video", clip, m_segment));
    }
    if (!clip.streams.empty()) {
        m_selectable =
            add(std::make_unique<AudioStream>(*this, L"Audio", clip, m_segment, clip.streams));
        m_selectable->enabled = 1;
    } else {
        for (std::size_t i = 0; i < clip.tones.size(); ++i) {
            const std::wstring number = i == 0 ? L"" : L" " + std::to_wstring(i + 1);
            add(std::make_unique<AudioStream>(*this, L"Audio" + number, clip, m_segment,
                                              std::vector{clip.tones[i]}));
        }
    }
    SetPins(std::move(pins));
}

HRESULT STDMETHODCALLTYPE TestSource::GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) {
    if (name == nullptr) {
        return E_POINTER;
    }
    const std::lock_guard lock(Lock());
    *name = nullptr;
    if (m_name.empty()) {
        return E_FAIL;
    }
    if (type != nullptr) {
        *type = AM_MEDIA_TYPE{};
        type->majortype = MEDIATYPE_Stream;
    }
    *name = CopyText(m_name);
    return *name != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE TestSource::Count(DWORD* count) {
    if (count == nullptr) {
        return E_POINTER;
    }
    *count = static_cast<DWORD>(m_clip.streams.size()) + (m_video != nullptr ? 1 : 0);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TestSource::Info(LONG index, AM_MEDIA_TYPE** type, DWORD* flags,
                                           LCID* language, DWORD* group, LPWSTR* name,
                                           IUnknown** object, IUnknown** unknown) {
    DWORD count = 0;
    Count(&count);
    if (index < 0 || static_cast<DWORD>(index) >= count) {
        return S_FALSE;
    }
    const bool isVideo = m_video != nullptr && index == 0;
    const auto tone = static_cast<unsigned>(index - (m_video != nullptr ? 1 : 0));
    Pin* const pin = isVideo ? static_cast<Pin*>(m_video) : m_selectable;
    if (type != nullptr) {
        ymdshow::MediaType own;
        *type = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
        if (*type == nullptr || !pin->PreferredType(0, own)) {
            return E_OUTOFMEMORY;
        }
        **type = own.Detach();
    }
    if (flags != nullptr) {
        const bool isOn = isVideo || (m_selectable->enabled >> tone & 1U) != 0;
        *flags = isOn ? AMSTREAMSELECTINFO_ENABLED : 0;
    }
    if (language != nullptr) {
        *language = 0;
    }
    if (group != nullptr) {
        *group = isVideo ? 0 : 1;
    }
    if (name != nullptr) {
        *name = CopyText(isVideo ? L"Picture" : L"Tone " + std::to_wstring(tone + 1));
    }
    if (object != nullptr) {
        *object = static_cast<IPin*>(pin);
        pin->AddRef();
    }
    if (unknown != nullptr) {
        *unknown = nullptr;
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TestSource::Enable(LONG index, DWORD flags) {
    DWORD count = 0;
    Count(&count);
    if (index < 0 || static_cast<DWORD>(index) >= count || flags > AMSTREAMSELECTENABLE_ENABLEALL) {
        return E_INVALIDARG;
    }
    if (m_video != nullptr && index == 0) {
        return flags == 0 ? E_NOTIMPL : S_OK;
    }
    const unsigned tone = 1U << (index - (m_video != nullptr ? 1 : 0));
    if (flags == 0) {
        m_selectable->enabled &= ~tone;
    } else {
        m_selectable->enabled = flags == AMSTREAMSELECTENABLE_ENABLE ? tone : ~0U;
    }
    return S_OK;
}

} // namespace ymfilters

namespace {

constexpr ymdshow::ClassObject kClasses[] = {
    {&ymfilters::CLSID_TestSource, L"Test Source", &ymfilters::Create<ymfilters::TestSource>}};

} // namespace

YMD_FILTER_MODULE(kClasses)
