#pragma once

#include "engine/ITWFilePreview.h"
#include "engine/tarnwick/MltPlayer.h"

// The instant preview of one media file, on an MLT player of its own. A still image
// is shown, not played; a file with sound only plays without pictures.
class TarnwickFilePreview final : public ITWFilePreview
{
public:
    void SetOwnerWindow(ITWVideoSurface* surface) override;
    bool ResetPlayer() override;
    bool OpenFile(const QString& path) override;
    void Close() override;
    bool Play() override;
    bool Stop() override;
    void SetVideoWindow(int32_t left, int32_t top, int32_t width, int32_t height) override;
    bool Seek(int32_t position) override;
    bool Rewind() override;
    int32_t GetDuration() override;
    int32_t GetPosition() override;
    bool ShowFirstFrame() override;
    void SetVolume(int32_t level) override;
    // The level last set, -100 to 0.
    int32_t VolumeLevel() const { return m_volumeLevel; }

private:
    Tarnwick::MltPlayer m_player;
    int32_t m_volumeLevel = 0;
    int32_t m_durationMs = 0;
    bool m_still = false;
};
