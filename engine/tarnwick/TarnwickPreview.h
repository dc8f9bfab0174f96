#pragma once

#include "engine/ITWPreview.h"
#include "engine/tarnwick/MltPlayer.h"
#include "engine/tarnwick/TarnwickRenderer.h"
#include "engine/tarnwick/TimelineGraph.h"

struct TarnwickState;

// The timeline's player, on the engine's graph of the timeline.
class TarnwickPreview final : public ITWPreview
{
public:
    explicit TarnwickPreview(const TarnwickState& state);

    void SetOwnerWindow(ITWVideoSurface* surface) override;
    bool BuildPreview() override;
    void ClosePreview() override;
    bool IsPreviewValid() override;
    bool Play() override;
    bool Pause() override;
    bool Stop() override;
    bool Seek(int32_t position) override;
    bool RefreshPreview() override;
    bool Halt() override;
    int32_t GetDuration() override;
    int32_t GetPosition() override;
    void GetFramePixel(const QImage& dc, int32_t x, int32_t y, int32_t& red, int32_t& green, int32_t& blue) override;
    void DrawSnapFrame(const QString& path, double seconds, QImage& dc, int32_t width, int32_t height) override;
    void DrawKeyFrame(int32_t stream, double seconds, QImage& dc, int32_t width, int32_t height) override;
    bool SaveSnapFrame(const QImage& dc, const QString& path, int32_t width, int32_t height) override;
    void SetVolume(int32_t level) override;
    // The level last set, -100 to 0.
    int32_t VolumeLevel() const { return m_volumeLevel; }

private:
    const TarnwickState& m_state;
    TarnwickRenderer m_renderer;
    Tarnwick::MltPlayer m_player;
    // The files the player's graphs are cut from, kept from one edit to the next.
    std::shared_ptr<Tarnwick::ProducerCache> m_producers;
    int32_t m_volumeLevel = 0;
    int32_t m_soughtFrame = 0;
    int m_builtWidth = 0;
    int m_builtHeight = 0;
    // The timeline the graph playing was made from.
    Tarnwick::GraphSource m_builtFrom;
};
