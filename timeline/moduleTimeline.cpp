#include "timeline/moduleTimeline.h"

#include "core/QmMsgBox.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "engine/ITWTimeline.h"
#include "shell/ModuleSettings.h"

#include <algorithm>

using namespace QmShared;

namespace moduleTimeline {

namespace {

// The rows of the timeline as the form was designed: one video row (with its effect
// lane), one overlay row, two audio rows.
constexpr int kVideoRows = 1;
constexpr int kAudioRows = 2;

bool Created(int32_t handle)
{
    if (handle != 0)
        return true;
    MsgBox(QStringLiteral("Unable to initialize timeline."), QmMsgBox::Icon::Critical);
    return false;
}

} // namespace

void InitTimeline()
{
    QmTrap::Run(QStringLiteral("moduleTimeline"), QStringLiteral("InitTimeline"), [] {
        ModuleSettings::SetApplicationName(AppSection);
        ModuleSettings::GetResentFilesFromReg();
        ModuleSettings::GetResentProjectFilesFromReg();

        auto& tl = Eng<ITWTimeline>();
        for (int i = 0; i < kVideoRows; ++i) {
            const int32_t track = tl.CreateTrack(true);
            if (!Created(track))
                break;
            TrackCollection.Add(track);
            tl.SetTrackLink(track, true);
        }
        OverlayTrack = tl.CreateTrack(true);
        if (Created(OverlayTrack))
            tl.SetTrackLink(OverlayTrack, true);
        for (int i = 0; i < kAudioRows; ++i) {
            const int32_t track = tl.CreateTrack(false);
            if (!Created(track))
                break;
            tl.SetTrackLink(track, true);
            TrackCollection.Add(track);
        }
        ModuleSettings::LoadRegistrySettings();
    });
}

int32_t GetTimelineDuration()
{
    auto& tl = Eng<ITWTimeline>();
    int32_t duration = 0;
    for (int32_t track : TrackCollection)
        duration = std::max(duration, tl.GetTrackDuration(track));
    if (OverlayTrack != 0)
        duration = std::max(duration, tl.GetTrackDuration(OverlayTrack));
    return duration;
}

bool IsTimelineEmpty()
{
    auto& tl = Eng<ITWTimeline>();
    for (int32_t track : TrackCollection) {
        if (tl.GetSourceCount(track) > 0)
            return false;
    }
    return OverlayTrack == 0 || tl.GetSourceCount(OverlayTrack) == 0;
}

} // namespace moduleTimeline
