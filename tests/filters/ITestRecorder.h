#pragma once

#include <windows.h>

#include <unknwn.h>

/// One thing that happened to a test renderer. Times are in 100 ns units.
struct TestRecord {
    enum Kind : LONG {
        Sample = 0, ///< a sample was shown: at its time, or when it came during a pause
        NewSegment, ///< start and stop are the segment's
        KindCount
    };

    LONG kind;
    LONG frame = -1;           ///< frame number read from a picture, -1 when there is none
    LONGLONG start = 0;        ///< time stamps, relative to the segment
    LONGLONG stop = 0;         ///<
    LONGLONG segmentStart = 0; ///< start of the segment in force: add to start for media time
    LONGLONG wall = 0;         ///< a steady clock's time when it happened
    double frequency = 0;      ///< of the first channel's zero crossings; 0 for silence
};

/// The record of a test renderer, asked of its filter. All threads may use it.
struct DECLSPEC_UUID("6b0c0e2a-4f35-4b0e-9b52-6d7e3a51c101") ITestRecorder : public IUnknown {
    /// The number of records so far.
    virtual HRESULT STDMETHODCALLTYPE GetCount(ULONG* count) = 0;

    /// Copies up to `count` records from number `first` on. S_FALSE when there are fewer;
    /// `fetched` is not used.
    virtual HRESULT STDMETHODCALLTYPE GetRecords(ULONG first, ULONG count, TestRecord* records,
                                                 ULONG* fetched) = 0;

    virtual HRESULT STDMETHODCALLTYPE Clear() = 0;

    /// Waits until there are `count` records of a kind. S_FALSE when the time is up.
    virtual HRESULT STDMETHODCALLTYPE WaitFor(LONG kind, ULONG count, DWORD milliseconds) = 0;

    /// TRUE: the input can be connected and disconnected while the graph is not stopped.
    virtual HRESULT STDMETHODCALLTYPE SetLiveConnect(BOOL isOn) = 0;

    /// Only types of this subtype and format block are taken from now on, null: of any; and the
    /// last sample's bytes are kept.
    virtual HRESULT STDMETHODCALLTYPE Accept(REFGUID subtype, REFGUID format) = 0;

    /// Copies what is kept; `size` is the buffer's size, then that of the sample.
    virtual HRESULT STDMETHODCALLTYPE GetLast(BYTE* buffer, ULONG* size) = 0;
};

#if defined(__MINGW32__)
__CRT_UUID_DECL(ITestRecorder, 0x6b0c0e2a, 0x4f35, 0x4b0e, 0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc1,
                0x01)
#endif
