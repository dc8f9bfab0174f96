#include "engine/tarnwick/TimelineModel.h"

#include "core/QmError.h"

#include <algorithm>

namespace Tarnwick {

Track& TimelineModel::CreateTrack(int32_t handle, bool isVideo)
{
    auto track = std::make_unique<Track>();
    track->handle = handle;
    track->isVideo = isVideo;
    m_tracks.push_back(std::move(track));
    return *m_tracks.back();
}

Track& TimelineModel::At(int32_t handle)
{
    return const_cast<Track&>(std::as_const(*this).At(handle));
}

const Track& TimelineModel::At(int32_t handle) const
{
    if (m_lastTrack && m_lastTrack->handle == handle)
        return *m_lastTrack;
    for (const auto& track : m_tracks) {
        if (track->handle == handle) {
            m_lastTrack = track.get();
            return *track;
        }
    }
    throw QmError(QmErr::InvalidArgument, QStringLiteral("The timeline has no track %1.").arg(handle));
}

void TimelineModel::SetFrameSize(int16_t width, int16_t height)
{
    m_frameWidth = width;
    m_frameHeight = height;
}

int32_t TimelineModel::Duration(const Track& track)
{
    int32_t duration = 0;
    for (const SourceItem& source : track.sources)
        duration = std::max(duration, source.stop);
    return duration;
}

int32_t TimelineModel::PlayedDuration() const
{
    int32_t end = 0;
    for (const auto& track : m_tracks)
        if (!track->disabled)
            end = std::max(end, Duration(*track));
    return end;
}

} // namespace Tarnwick
