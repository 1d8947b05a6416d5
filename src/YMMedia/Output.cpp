// The play window, snapshots, volume and mute, free running.

#include <cmath>

#include "YMMedia/Inside.h"

namespace ymdshow {

namespace {

constexpr long kChildStyle = WS_CHILD | WS_CLIPSIBLINGS | WS_CLIPCHILDREN;
constexpr long kSilence = -10000;
constexpr long kFullVolume = 0;

} // namespace

void CMedia::SetPlayWindow(HWND window) {
    Inside::OnGraph(*this, [&] {
        m_playWindow = window;
        const ComPtr<IVideoWindow> video(m_pVideoWindow);
        if (video == nullptr) {
            return;
        }
        const bool isShown = window != nullptr && m_videoTrackNum > 0;
        video->put_MessageDrain(reinterpret_cast<OAHWND>(window));
        video->put_Visible(OAFALSE);
        if (!isShown) {
            video->put_Owner(0);
            return;
        }
        video->put_WindowStyle(kChildStyle);
        video->put_Owner(reinterpret_cast<OAHWND>(window));
        RECT client{};
        GetClientRect(window, &client);
        video->SetWindowPosition(client.left, client.top, client.right - client.left,
                                 client.bottom - client.top);
        video->put_Visible(OATRUE);
        video->SetWindowForeground(OATRUE);
    });
}

int CMedia::GetCurrentImageData(BYTE* buffer, long* size) {
    return Inside::OnGraph(*this, 0, [&] {
        return m_pBasicVideo != nullptr && (buffer != nullptr || size != nullptr) &&
                       SUCCEEDED(
                           m_pBasicVideo->GetCurrentImage(size, reinterpret_cast<long*>(buffer)))
                   ? 1
                   : 0;
    });
}

long CMedia::GetCurrentImageDataSize() {
    return Inside::OnGraph(*this, 0L, [&] {
        long size = 0;
        return m_pBasicVideo != nullptr && SUCCEEDED(m_pBasicVideo->GetCurrentImage(&size, nullptr))
                   ? size
                   : 0L;
    });
}

long CMedia::GetVolume() const {
    return Inside::OnGraph(*this, kSilence, [&] {
        ComPtr<IBasicAudio> audio;
        long volume = kSilence;
        return m_pGB != nullptr && SUCCEEDED(m_pGB->QueryInterface(IID_PPV_ARGS(&audio))) &&
                       audio != nullptr && SUCCEEDED(audio->get_Volume(&volume))
                   ? volume
                   : kSilence;
    });
}

float CMedia::GetVolumePercent() const {
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
    return Inside::OnGraph(*this, 0, [&] {
        if (m_pGB == nullptr) {
            return 0;
        }
        if (volume == m_volume && m_isMuted != 1) {
            return 1;
        }
        ComPtr<IBasicAudio> audio;
        if (FAILED(m_pGB->QueryInterface(IID_PPV_ARGS(&audio))) || audio == nullptr ||
            FAILED(audio->put_Volume(volume))) {
            return 0;
        }
        m_volume = volume;
        m_isMuted = volume == kSilence ? 1 : 0;
        return 1;
    });
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
    return Inside::OnGraph(*this, 0, [&] {
        // Kept: silence becomes the last volume, so the one before it is lost.
        if (m_isMuted == 0 && m_volume != kSilence && SetVolume(kSilence) == 0) {
            return 0;
        }
        m_isMuted = 1;
        return 1;
    });
}

int CMedia::ResumeAudio() {
    return Inside::OnGraph(*this, 0, [&] {
        const int resumed =
            SetVolume(m_volume == kSilence ? kFullVolume : static_cast<long>(m_volume));
        m_isMuted = resumed == 0 ? 1 : 0;
        return resumed;
    });
}

void CMedia::SetAmain(int on) {
    Inside::OnGraph(*this, [&] {
        const ymlib::CYMAutoLock item(m_lock);
        if (IsPlaying() != 0 || item.IsDestroyed()) {
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
    });
}

int CMedia::IsAmain() const {
    return m_isAmain;
}

} // namespace ymdshow
