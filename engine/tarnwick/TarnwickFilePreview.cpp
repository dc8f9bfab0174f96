#include "engine/tarnwick/TarnwickFilePreview.h"

#include "engine/tarnwick/MediaProbe.h"
#include "engine/tarnwick/TimelineGraph.h"

#include <QFile>

#include <algorithm>
#include <cmath>

using namespace Tarnwick;

void TarnwickFilePreview::SetOwnerWindow(ITWVideoSurface* surface)
{
    m_player.SetSurface(surface);
}

bool TarnwickFilePreview::ResetPlayer()
{
    m_player.Unload();
    m_durationMs = 0;
    m_still = false;
    return true;
}

bool TarnwickFilePreview::OpenFile(const QString& path)
{
    ResetPlayer();
    const MediaFacts facts = ProbeMedia(path);
    if (!facts.opened || facts.streams.empty() || facts.tooLong)
        return false;
    const auto video = std::find_if(facts.streams.begin(), facts.streams.end(), [](const StreamFacts& s) { return s.isVideo; });
    double seconds = 0.0;
    for (const StreamFacts& s : facts.streams)
        seconds = std::max(seconds, s.duration);
    const bool hasVideo = video != facts.streams.end();
    m_still = hasVideo && video->still;
    const QByteArray resource = m_still ? StillResource(path, *video) : QFile::encodeName(path);
    // The player ends where the engine's facts end, not where a header says.
    const int32_t durationMs = static_cast<int32_t>(std::lround(seconds * 1000.0));
    if (!m_player.LoadFile(resource, hasVideo ? video->width : 0, hasVideo ? video->height : 0, hasVideo,
                           m_still ? 0 : MsToFrame(durationMs) + 1)) {
        m_still = false;
        return false;
    }
    m_durationMs = durationMs;
    return true;
}

void TarnwickFilePreview::Close()
{
    ResetPlayer();
}

bool TarnwickFilePreview::Play()
{
    // A still has nothing to play, and an empty file nothing either.
    if (m_still || m_durationMs == 0)
        return false;
    return m_player.Play();
}

bool TarnwickFilePreview::Stop()
{
    return m_player.Stop();
}

void TarnwickFilePreview::SetVideoWindow(int32_t left, int32_t top, int32_t width, int32_t height)
{
    m_player.SetVideoWindow(QRect(left, top, width, height));
}

bool TarnwickFilePreview::Seek(int32_t position)
{
    return m_player.Seek(MsToFrame(std::clamp(position, 0, m_durationMs)));
}

bool TarnwickFilePreview::Rewind()
{
    return Seek(0);
}

int32_t TarnwickFilePreview::GetDuration()
{
    return m_player.Loaded() ? m_durationMs : 0;
}

int32_t TarnwickFilePreview::GetPosition()
{
    const int32_t frame = m_player.Position();
    // The last frame stands for the rest of the file: at the end the position is the
    // length, which is what the media list's timer waits for to stop and rewind.
    if (m_player.Loaded() && !m_still && frame >= m_player.Length() - 1)
        return GetDuration();
    return std::min(FrameToMs(frame), GetDuration());
}

bool TarnwickFilePreview::ShowFirstFrame()
{
    return m_player.ShowFrame(m_player.Position());
}

void TarnwickFilePreview::SetVolume(int32_t level)
{
    m_volumeLevel = std::clamp(level, -100, 0);
    m_player.SetVolume(GainOfLevel(m_volumeLevel));
}
