#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <mutex>

#include "BaseClasses/FilterModule.h"
#include "Clsids.h"
#include "Formats.h"
#include "FramePattern.h"
#include "base/InputPin.h"
#include "base/OutputPin.h"
#include "base/SeekingPassThrough.h"

namespace ymfilters {

namespace {

/// Makes RGB32 pictures of the coded clip. Times, segments, flushes and the end pass.
class TestTransform final : public Filter {
public:
    TestTransform() : Filter(CLSID_TestTransform) { SetPins({&m_input, &m_output}); }

protected:
    // The connections may go once the filter has stopped, so nothing may be on its way then.
    void OnDeactivate() override {
        Filter::OnDeactivate();
        const std::lock_guard lock(m_receiveMutex);
    }

private:
    class Input final : public InputPin {
    public:
        explicit Input(TestTransform& owner) : InputPin(owner, L"In"), m_owner(owner) {}

    protected:
        HRESULT CheckType(const AM_MEDIA_TYPE& type) override {
            return ReadVideo(type, MEDIASUBTYPE_TestCoded) != nullptr ? S_OK
                                                                      : VFW_E_TYPE_NOT_ACCEPTED;
        }
        HRESULT OnSample(IMediaSample& sample) override { return m_owner.Decode(sample); }
        HRESULT OnEndOfStream() override {
            const std::lock_guard lock(m_owner.m_receiveMutex);
            return m_owner.m_output.DeliverEndOfStream();
        }
        HRESULT OnBeginFlush() override { return m_owner.m_output.DeliverBeginFlush(); }
        HRESULT OnEndFlush() override { return m_owner.m_output.DeliverEndFlush(); }
        HRESULT OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override {
            const std::lock_guard lock(m_owner.m_receiveMutex);
            return m_owner.m_output.DeliverNewSegment(start, stop, rate);
        }

    private:
        TestTransform& m_owner;
    };

    /// Offers one type, made from the input's; seeks through the input.
    class Output final : public OutputPin {
    public:
        explicit Output(TestTransform& owner)
            : OutputPin(owner, L"Out"), m_owner(owner),
              m_seeking(*static_cast<IPin*>(this), owner.m_input) {}

        bool PreferredType(unsigned index, ymdshow::MediaType& type) override {
            const auto* const header = ReadVideo(m_owner.m_input.Type(), MEDIASUBTYPE_TestCoded);
            if (index != 0 || header == nullptr) {
                return false;
            }
            type = VideoType(MEDIASUBTYPE_RGB32, header->bmiHeader.biWidth,
                             header->bmiHeader.biHeight, header->AvgTimePerFrame);
            return true;
        }

    protected:
        void* Interface(REFIID iid) override {
            return iid == IID_IMediaSeeking ? static_cast<IMediaSeeking*>(&m_seeking)
                                            : OutputPin::Interface(iid);
        }
        HRESULT CheckType(const AM_MEDIA_TYPE& type) override {
            ymdshow::MediaType own;
            return PreferredType(0, own) ? CheckSameType(type, own.Get()) : VFW_E_NOT_CONNECTED;
        }
        ALLOCATOR_PROPERTIES BufferNeeds() const override {
            return {4, static_cast<long>(Type().lSampleSize), 1, 0};
        }

    private:
        TestTransform& m_owner;
        SeekingPassThrough m_seeking;
    };

    HRESULT Decode(IMediaSample& sample) {
        const std::lock_guard lock(m_receiveMutex);
        Microsoft::WRL::ComPtr<IMediaSample> out;
        const HRESULT hr = m_output.GetBuffer(&out);
        const auto* const header = ReadVideo(m_output.Type(), MEDIASUBTYPE_RGB32);
        BYTE* frame = nullptr;
        BYTE* pixels = nullptr;
        if (FAILED(hr) || header == nullptr || FAILED(sample.GetPointer(&frame)) ||
            FAILED(out->GetPointer(&pixels))) {
            return FAILED(hr) ? hr : VFW_E_NOT_CONNECTED;
        }
        PaintFrame(*reinterpret_cast<const DWORD*>(frame), header->bmiHeader.biWidth,
                   header->bmiHeader.biHeight, reinterpret_cast<std::uint32_t*>(pixels));
        REFERENCE_TIME start = 0;
        REFERENCE_TIME stop = 0;
        sample.GetTime(&start, &stop);
        out->SetTime(&start, &stop);
        out->SetSyncPoint(TRUE);
        out->SetDiscontinuity(sample.IsDiscontinuity() == S_OK);
        out->SetActualDataLength(static_cast<long>(header->bmiHeader.biSizeImage));
        return m_output.Deliver(*out.Get());
    }

    Input m_input{*this};
    Output m_output{*this};
    std::mutex m_receiveMutex; // held while something passes downstream, flushes excepted
};

constexpr ymdshow::ClassObject kClasses[] = {
    {&CLSID_TestTransform, L"Test Transform", &Create<TestTransform>}};

} // namespace

} // namespace ymfilters

YMD_FILTER_MODULE(ymfilters::kClasses)
