#include "editing/moduleTWState.h"

#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "timeline/frmTimeline.h"

#include <QCheckBox>

using namespace QmShared;

namespace moduleTWState {

namespace {

const QString kModule = QStringLiteral("moduleTWState");

// Which control of a row's box arrays stands for the track: video rows by their index,
// audio rows after them, the overlay row for OverlayTrack.
QCheckBox* BoxOf(int32_t track, const QList<QCheckBox*>& video, const QList<QCheckBox*>& audio,
                 const QList<QCheckBox*>& overlay)
{
    const int videoRows = static_cast<int>(video.size());
    for (int i = 1; i <= TrackCollection.Count(); ++i) {
        if (TrackCollection.Item(i) != track)
            continue;
        if (i <= videoRows)
            return video[i - 1];
        if (i - videoRows - 1 < audio.size())
            return audio[i - videoRows - 1];
    }
    if (track == OverlayTrack && track != 0 && !overlay.isEmpty())
        return overlay[0];
    return nullptr;
}

QCheckBox* EffectBoxOf(int32_t track, const QList<QCheckBox*>& effect)
{
    for (int i = 1; i <= TrackCollection.Count() && i <= effect.size(); ++i) {
        if (TrackCollection.Item(i) == track)
            return effect[i - 1];
    }
    return nullptr;
}

bool IsOn(const QString& function, const std::function<QCheckBox*()>& box)
{
    return QmTrap::Value<bool>(kModule, function, false, [&] {
        QCheckBox* found = box();
        return found && found->isChecked();
    });
}

} // namespace

bool IsTrackLocked(int32_t track)
{
    return IsOn(QStringLiteral("IsTrackLocked"), [track] {
        frmTimeline* f = frmTimeline::instance();
        return BoxOf(track, f->chkLockVideo, f->chkLockAudio, f->chkLockOverlay);
    });
}

bool IsTrackDisabled(int32_t track)
{
    return IsOn(QStringLiteral("IsTrackDisabled"), [track] {
        frmTimeline* f = frmTimeline::instance();
        return BoxOf(track, f->chkDisableVideo, f->chkDisableAudio, f->chkDisableOverlay);
    });
}

bool IsEffectLocked(int32_t track)
{
    return IsOn(QStringLiteral("IsEffectLocked"), [track] { return EffectBoxOf(track, frmTimeline::instance()->chkLockEffect); });
}

bool IsEffectDisabled(int32_t track)
{
    return IsOn(QStringLiteral("IsEffectDisabled"),
                [track] { return EffectBoxOf(track, frmTimeline::instance()->chkDisableEffect); });
}

bool IsEffectSelected(int32_t track)
{
    return IsOn(QStringLiteral("IsEffectSelected"), [track] { return EffectBoxOf(track, frmTimeline::instance()->chkLinkEffect); });
}

} // namespace moduleTWState
