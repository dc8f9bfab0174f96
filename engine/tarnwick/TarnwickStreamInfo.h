#pragma once

#include "engine/ITWStreamInfo.h"
#include "engine/tarnwick/MediaProbe.h"

struct TarnwickState;

// Particulars of the stream selected through ITWMediaFiles, and the stream count of the
// file named by OpenFileInfo.
class TarnwickStreamInfo final : public ITWStreamInfo
{
public:
    explicit TarnwickStreamInfo(TarnwickState& state);

    bool IsVideo() override;
    bool IsAudio() override;
    void GetVideoSize(int32_t& height, int32_t& width) override;
    int32_t GetAudioSampleRate() override;
    double GetDuration() override;
    double GetFrameRate() override;
    void OpenFileInfo(const QString& path, int32_t flags) override;
    int32_t GetStreamCount() override;

private:
    const Tarnwick::StreamFacts* SelectedFacts() const;

    TarnwickState& m_state;
};
