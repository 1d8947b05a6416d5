#pragma once

#include <windows.h>

#include <dshow.h>

#include <memory>
#include <mutex>

#include "FramePattern.h"
#include "base/InputPin.h"
#include "base/OutputPin.h"
#include "base/SeekingPassThrough.h"

namespace ymfilters {

class TestTransform;

class TransformInput final : public InputPin {
public:
    explicit TransformInput(TestTransform& transform);

protected:
    HRESULT CheckType(const AM_MEDIA_TYPE& type) override;
    HRESULT OnConnected() override;
    HRESULT OnSample(IMediaSample& sample) override;
    HRESULT OnEndOfStream() override;
    HRESULT OnBeginFlush() override;
    HRESULT OnEndFlush() override;
    HRESULT OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

private:
    TestTransform& m_transform;
};

/// Offers one type, made from the input's; seeks through the input.
class TransformOutput final : public OutputPin {
public:
    explicit TransformOutput(TestTransform& transform);

    bool PreferredType(unsigned index, ymdshow::MediaType& type) override;

protected:
    void* Interface(REFIID iid) override;
    HRESULT CheckType(const AM_MEDIA_TYPE& type) override;
    ALLOCATOR_PROPERTIES BufferNeeds() const override;

private:
    TestTransform& m_transform;
    SeekingPassThrough m_seeking;
};

/// Copies each sample changed: the coded clip becomes RGB32 pictures, RGB pictures are
/// inverted, 16-bit PCM is halved. Times, flags, segments, flushes and the end pass.
class TestTransform final : public Filter {
public:
    TestTransform();

protected:
    void OnDeactivate() override;

private:
    friend class TransformInput;
    friend class TransformOutput;

    /// What is made of the input.
    enum class Kind { None, Decode, Invert, Halve };
    static Kind KindOf(const AM_MEDIA_TYPE& type);

    HRESULT Transform(IMediaSample& sample);
    HRESULT Convert(const BYTE* in, long size, BYTE* out, long capacity, long& made) const;

    TransformInput m_input;
    TransformOutput m_output;
    std::mutex m_receiveMutex; // held while something passes downstream, flushes excepted
    std::unique_ptr<FramePainter> m_painter;
};

} // namespace ymfilters
