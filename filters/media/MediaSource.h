#pragma once

#include <windows.h>

#include <dshow.h>
#include <oaidl.h>
#include <qnetwork.h>

#include <memory>
#include <set>

#include "base/Filter.h"
#include "media/SourcePin.h"
#include "media/Streaming.h"

namespace ymfilters {

struct Opening;

/// Files and URLs through FFmpeg's demuxers: one pin a kind of stream, the others of a kind
/// behind IAMStreamSelect. Has no pins before Load.
class MediaSource final : public Filter,
                          public IFileSourceFilter,
                          public IAMStreamSelect,
                          public IAMOpenProgress,
                          public IAMMediaContent,
                          public IPropertyBag,
                          public ISupportErrorInfo {
public:
    MediaSource();
    ~MediaSource() override;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return Filter::QueryInterface(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return Filter::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return Filter::Release(); }

    HRESULT STDMETHODCALLTYPE Stop() override;

    /// The same name again changes nothing; another one is refused while a pin is connected. A
    /// failure tells its reason in words by the error information of the thread.
    HRESULT STDMETHODCALLTYPE Load(LPCOLESTR name, const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override;

    /// Streams by kind, video, audio, text; one of a kind is on at a time.
    HRESULT STDMETHODCALLTYPE Count(DWORD* count) override;
    HRESULT STDMETHODCALLTYPE Info(LONG index, AM_MEDIA_TYPE** type, DWORD* flags, LCID* language,
                                   DWORD* group, LPWSTR* name, IUnknown** object,
                                   IUnknown** unknown) override;
    HRESULT STDMETHODCALLTYPE Enable(LONG index, DWORD flags) override;

    /// From any thread: a Load that is under way fails with E_ABORT at once.
    HRESULT STDMETHODCALLTYPE AbortOperation() override;
    HRESULT STDMETHODCALLTYPE QueryProgress(LONGLONG* total, LONGLONG* current) override;

    /// "OpenTimeout": milliseconds that an open, and later a read from a network, may take.
    HRESULT STDMETHODCALLTYPE Read(LPCOLESTR name, VARIANT* value, IErrorLog* log) override;
    HRESULT STDMETHODCALLTYPE Write(LPCOLESTR name, VARIANT* value) override;

    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override;

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID locale,
                                            DISPID* ids) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID locale, WORD flags,
                                     DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                     UINT* argument) override;
    HRESULT STDMETHODCALLTYPE get_AuthorName(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_Title(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_Rating(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_Copyright(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_BaseURL(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_LogoURL(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_LogoIconURL(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_WatermarkURL(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_MoreInfoURL(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_MoreInfoBannerImage(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_MoreInfoBannerURL(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_MoreInfoText(BSTR* text) override;

    // For the pins.
    Streaming& Flow() { return m_flow; }
    std::shared_ptr<const StreamParameters> SelectedStream(StreamKind kind) const;
    LONGLONG Duration() const { return m_demuxer != nullptr ? m_demuxer->Duration() : 0; }
    bool IsDurationEstimated() const { return m_demuxer->IsDurationEstimated(); }
    DWORD Capabilities() const;
    HRESULT SetPositions(SourcePin& pin, LONGLONG* current, DWORD currentFlags, LONGLONG* stop,
                         DWORD stopFlags);
    HRESULT SetRate(double rate);
    static bool IsOwnDecoder(const CLSID& clsid);

protected:
    void* Interface(REFIID iid) override;
    HRESULT OnActivate() override;
    void OnDeactivate() override;

private:
    HRESULT Open(const std::wstring& name, std::shared_ptr<Demuxer>& demuxer);
    void MakePins();
    HRESULT Text(const char* tag, BSTR* text) const;
    struct Entry {
        StreamKind kind;
        int place; ///< among those of its kind
        const MediaStream* stream;
    };
    std::vector<Entry> Entries() const;

    std::wstring m_name;
    std::shared_ptr<Demuxer> m_demuxer; ///< set once
    Streaming m_flow{*this};
    std::vector<std::unique_ptr<SourcePin>> m_sourcePins; ///< those of earlier names too
    std::atomic<int> m_timeout{10'000};

    std::mutex m_openMutex; // guards what follows
    std::shared_ptr<Opening> m_opening;

    std::mutex m_seekMutex; // guards what follows
    SeekRequest m_lastSeek;
    std::set<const SourcePin*> m_seekers; ///< the pins that have asked for it
};

} // namespace ymfilters
