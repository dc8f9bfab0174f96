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

void RemoveAllItems(int32_t track, ItemList list)
{
    auto& tl = Eng<ITWTimeline>();
    const auto count = list == ItemList::Sources ? &ITWTimeline::GetSourceCount
                       : list == ItemList::Effects ? &ITWTimeline::GetEffectCount
                                                   : &ITWTimeline::GetTransitionCount;
    const auto remove = list == ItemList::Sources ? &ITWTimeline::RemoveSource
                        : list == ItemList::Effects ? &ITWTimeline::RemoveEffect
                                                    : &ITWTimeline::RemoveTransition;
    for (auto seq = static_cast<int16_t>((tl.*count)(track) - 1); seq >= 0 && (tl.*remove)(track, seq); --seq) {
    }
}

void EmptyEffectTrack()
{
    QmTrap::Run(QStringLiteral("moduleEdit"), QStringLiteral("EmptyEffectTrack"), [] {
        auto& tl = Eng<ITWTimeline>();
        for (int32_t track : TrackCollection) {
            if (tl.IsVideoTrack(track))
                RemoveAllItems(track, ItemList::Effects);
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
