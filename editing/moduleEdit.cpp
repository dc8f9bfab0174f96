#include "editing/moduleEdit.h"

#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWTimeline.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

using namespace QmShared;

namespace moduleEdit {

void ClearSourceClips()
{
    SourceClips.clear();
}

void ClearEffectClips()
{
    EffectClips.clear();
}

void ClearTransitionClips()
{
    TransitionClips.clear();
}

bool IsClipboardFilled()
{
    return !SourceClips.isEmpty() || !EffectClips.isEmpty() || !TransitionClips.isEmpty();
}

void ApplyTransitionKey(int32_t track, int16_t seq, int16_t red, int16_t green, int16_t blue)
{
    auto& key = Eng<ITWKeyTransition>();
    key.ClearKeyParameters(track, seq);
    key.SetKeyParameter(track, seq, QStringLiteral("KeyType"), 0);
    key.SetKeyColor(track, seq, red, green, blue);
}

void EmptyEffectTrack()
{
    QmTrap::Run(QStringLiteral("moduleEdit"), QStringLiteral("EmptyEffectTrack"), [] {
        auto& tl = Eng<ITWTimeline>();
        for (int32_t track : TrackCollection) {
            if (!tl.IsVideoTrack(track))
                continue;
            while (tl.RemoveEffect(track, 0)) {
            }
        }
        moduleScaleRenderer::RenderScale();
        moduleTimeline::RenderAllBars();
        moduleTimeline::RenderAllSelections();
    });
}

void EmptyEffectsOfBareTracks()
{
    QmTrap::Run(QStringLiteral("moduleEdit"), QStringLiteral("EmptyEffectsOfBareTracks"), [] {
        auto& tl = Eng<ITWTimeline>();
        for (int32_t track : TrackCollection) {
            if (tl.IsVideoTrack(track) && tl.GetSourceCount(track) == 0) {
                EmptyEffectTrack();
                return;
            }
        }
    });
}

} // namespace moduleEdit
