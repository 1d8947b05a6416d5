#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/Filter.h"
#include "testsource/Clip.h"
#include "testsource/Streams.h"

namespace ymfilters {

/// A source filter without a file: the name that Load gets says what it plays. Has no
/// pins before that.
class TestSource final : public Filter, public IFileSourceFilter, public IAMStreamSelect {
public:
    TestSource();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    /// The same name again changes nothing; another one is refused while a pin is connected.
    HRESULT STDMETHODCALLTYPE Load(LPCOLESTR name, const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override;

    // The picture is stream 0 when there is one, in a group of its own; the tones follow. A
    // tone is switched alone: flags 0 silences it, ENABLE silences the others, ENABLEALL
    // lets all sound.
    HRESULT STDMETHODCALLTYPE Count(DWORD* count) override;
    HRESULT STDMETHODCALLTYPE Info(LONG index, AM_MEDIA_TYPE** type, DWORD* flags, LCID* language,
                                   DWORD* group, LPWSTR* name, IUnknown** object,
                                   IUnknown** unknown) override;
    HRESULT STDMETHODCALLTYPE Enable(LONG index, DWORD flags) override;

protected:
    void* Interface(REFIID iid) override;

private:
    ~TestSource() override;

    void MakePins(const Clip& clip);

    std::wstring m_name;
    Clip m_clip;
    SharedSegment m_segment;
    std::vector<std::unique_ptr<SourceStream>> m_streams; // those of earlier names too
    VideoStream* m_video = nullptr;
    AudioStream* m_selectable = nullptr; // the pin whose tones IAMStreamSelect switches
};

} // namespace ymfilters
