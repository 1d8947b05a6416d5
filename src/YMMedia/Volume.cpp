#include <cmath>

#include <ymdshow/Media.h>

#include "YMMedia/EventHold.h"
#include "YMMedia/Support.h"

namespace ymdshow {

namespace {

constexpr long kSilence = -10000;
constexpr long kFullVolume = 0;

} // namespace

long CMedia::GetVolume() const {
    const ItemLock lock(*this);
    ComPtr<IBasicAudio> audio;
    long volume = kSilence;
    if (m_pGB == nullptr || FAILED(m_pGB->QueryInterface(IID_PPV_ARGS(&audio))) ||
        FAILED(audio->get_Volume(&volume))) {
        return kSilence;
    }
    return volume;
}

float CMedia::GetVolumePercent() const {
    const ItemLock lock(*this);
    const long volume = GetVolume();
    if (volume == kSilence) {
        return 0.0F;
    }
    if (volume >= kFullVolume) {
        return 1.0F;
    }
    const int attenuation =
        static_cast<int>(std::pow(static_cast<float>(-volume), 1.1764706F)) / 100;
    return static_cast<float>((100 - attenuation) * 0.01);
}

int CMedia::SetVolume(long volume) {
    const ItemLock lock(*this);
    if (m_pGB == nullptr) {
        return 0;
    }
    if (volume == m_volume && m_isMuted != 1) {
        return 1;
    }
    ComPtr<IBasicAudio> audio;
    if (FAILED(m_pGB->QueryInterface(IID_PPV_ARGS(&audio))) || FAILED(audio->put_Volume(volume))) {
        return 0;
    }
    m_volume = volume;
    m_isMuted = volume == kSilence ? 1 : 0;
    return 1;
}

int CMedia::SetVolume(float fraction) {
    const double percent = static_cast<double>(fraction) * 100.0;
    if (!(percent >= 1.0)) { // not a number included
        return SetVolume(kSilence);
    }
    if (percent >= 100.0) {
        return SetVolume(kFullVolume);
    }
    const auto attenuation = static_cast<float>((100 - static_cast<int>(percent)) * 100);
    return SetVolume(static_cast<long>(-std::pow(attenuation, 0.85F)));
}

int CMedia::MuteAudio() {
    const ItemLock lock(*this);
    if (m_isMuted != 0) {
        return 1;
    }
    // Kept: silence becomes the last volume, so the one before it is lost.
    if (m_volume != kSilence && SetVolume(kSilence) == 0) {
        return 0;
    }
    m_isMuted = 1;
    return 1;
}

int CMedia::ResumeAudio() {
    const ItemLock lock(*this);
    const int resumed = SetVolume(m_volume == kSilence ? kFullVolume : static_cast<long>(m_volume));
    m_isMuted = resumed == 0 ? 1 : 0;
    return resumed;
}

void CMedia::SetAmain(int on) {
    const ItemLock lock(*this);
    const EventHold hold(*this);
    if (IsPlaying() != 0 || Shared(m_eventThread.restarting).load() != 0) {
        return;
    }
    m_isAmain = on;
    if (m_pMediaFilter == nullptr) {
        return;
    }
    if (on != 0) {
        m_pMediaFilter->SetSyncSource(nullptr);
    } else {
        m_pGB->SetDefaultSyncSource();
    }
}

int CMedia::IsAmain() const {
    return m_isAmain;
}

} // namespace ymdshow
