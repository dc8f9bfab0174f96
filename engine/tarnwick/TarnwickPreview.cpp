#include "engine/tarnwick/TarnwickPreview.h"

#include "engine/tarnwick/StillFrames.h"
#include "engine/tarnwick/TarnwickState.h"
#include "engine/tarnwick/TimelineGraph.h"

#include <Mlt.h>

#include <algorithm>

using namespace Tarnwick;

TarnwickPreview::TarnwickPreview(const TarnwickState& state)
    : m_state(state)
    , m_renderer(state)
{
}

void TarnwickPreview::SetOwnerWindow(ITWVideoSurface* surface)
{
    m_player.SetSurface(surface);
}

bool TarnwickPreview::BuildPreview()
{
    ClosePreview();
    auto profile = std::make_unique<Mlt::Profile>();
    const TimelineModel& model = m_renderer.Model();
    SetGraphProfile(*profile, model.FrameWidth(), model.FrameHeight());
    m_producers = MakeProducerCache(*profile);
    std::unique_ptr<Mlt::Tractor> graph = m_renderer.BuildGraph(*profile, m_producers.get());
    if (!graph)
        return false;
    m_builtWidth = model.FrameWidth();
    m_builtHeight = model.FrameHeight();
    m_builtFrom = GraphSource(model);
    m_soughtFrame = 0;
    if (!m_player.Load(std::move(profile), std::move(graph), true))
        return false;
    m_player.ShowFrame(0);
    return true;
}

void TarnwickPreview::ClosePreview()
{
    // The files go before the profile they were opened on.
    m_producers.reset();
    m_player.Unload();
    m_builtWidth = m_builtHeight = 0;
    m_builtFrom = {};
}

bool TarnwickPreview::IsPreviewValid()
{
    const TimelineModel& model = m_renderer.Model();
    return m_player.Loaded() && m_builtWidth == model.FrameWidth() && m_builtHeight == model.FrameHeight();
}

bool TarnwickPreview::Play()
{
    return m_player.Play();
}

bool TarnwickPreview::Pause()
{
    return m_player.Stop();
}

bool TarnwickPreview::Stop()
{
    // Already still at the place sought: nothing to show again.
    if (!m_player.Playing() && m_player.Loaded() && m_player.Position() == m_soughtFrame)
        return true;
    if (!m_player.Stop())
        return false;
    return m_player.Seek(m_soughtFrame);
}

bool TarnwickPreview::Seek(int32_t position)
{
    m_soughtFrame = MsToFrame(std::max(0, position));
    return m_player.Seek(m_soughtFrame);
}

bool TarnwickPreview::RefreshPreview()
{
    if (!m_player.Loaded() || !m_player.Profile())
        return false;
    // A timeline as it was when the graph playing was made gives the same graph: that
    // one stays, and a refresh after a refresh costs no second build.
    GraphSource now(m_renderer.Model());
    if (!(now == m_builtFrom)) {
        std::unique_ptr<Mlt::Tractor> graph = m_renderer.BuildGraph(*m_player.Profile(), m_producers.get());
        if (!graph || !m_player.Replace(std::move(graph)))
            return false;
        m_builtFrom = std::move(now);
    }
    if (!m_player.Playing())
        m_player.ShowFrame(m_player.Position());
    return true;
}

bool TarnwickPreview::Halt()
{
    return Stop();
}

int32_t TarnwickPreview::GetDuration()
{
    if (!m_player.Loaded())
        return 0;
    // The graph holds a frame of black when the timeline is empty; it lasts nothing.
    return m_renderer.Model().PlayedDuration();
}

int32_t TarnwickPreview::GetPosition()
{
    const int32_t duration = GetDuration();
    // Played to the end, the player holds the last frame; its time is the end itself.
    if (m_player.Playing() && m_player.Position() >= m_player.Length() - 1)
        return duration;
    return std::min(FrameToMs(m_player.Position()), duration);
}

void TarnwickPreview::GetFramePixel(const QImage& dc, int32_t x, int32_t y, int32_t& red, int32_t& green,
                                    int32_t& blue)
{
    const QRgb pixel = PixelNear(dc, x, y);
    red = qRed(pixel);
    green = qGreen(pixel);
    blue = qBlue(pixel);
}

void TarnwickPreview::DrawSnapFrame(const QString& path, double seconds, QImage& dc, int32_t width, int32_t height)
{
    DrawInto(dc, FileFrame(path, seconds), width, height);
}

void TarnwickPreview::DrawKeyFrame(int32_t stream, double seconds, QImage& dc, int32_t width, int32_t height)
{
    DrawInto(dc, StreamFrame(m_state.Source(stream), seconds), width, height);
}

bool TarnwickPreview::SaveSnapFrame(const QImage& dc, const QString& path, int32_t width, int32_t height)
{
    return WriteBitmap(dc, path, width, height);
}

void TarnwickPreview::SetVolume(int32_t level)
{
    m_volumeLevel = std::clamp(level, -100, 0);
    m_player.SetVolume(GainOfLevel(m_volumeLevel));
}
