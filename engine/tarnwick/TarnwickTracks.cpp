#include "engine/tarnwick/TarnwickTracks.h"

#include "core/QmNumbers.h"
#include "engine/tarnwick/TarnwickState.h"

#include <algorithm>

using namespace Tarnwick;

namespace {

int32_t DurationMs(const StreamFacts& facts)
{
    return QmNumbers::CLng(facts.duration * 1000.0);
}

} // namespace

TarnwickTracks::TarnwickTracks(TarnwickState& state)
    : m_state(state)
{
}

int32_t TarnwickTracks::CreateTrack(bool isVideo)
{
    return m_state.model.CreateTrack(m_state.NewHandle(), isVideo).handle;
}

bool TarnwickTracks::StreamFits(const Track& track, int32_t stream) const
{
    const StreamFacts* facts = m_state.TimelineFacts(stream);
    return facts && facts->isVideo == track.isVideo;
}

bool TarnwickTracks::AppendSource(int32_t track, int32_t stream, int32_t start)
{
    Track& t = m_state.model.At(track);
    if (!StreamFits(t, stream) || t.sources.size() >= MaxItems)
        return false;
    SourceItem source;
    source.stream = stream;
    source.start = start == -1 ? TimelineModel::Duration(t) : start;
    source.mediaStop = DurationMs(*m_state.TimelineFacts(stream));
    // A stream that would end past the last millisecond the timeline counts does not fit.
    if (static_cast<int64_t>(source.start) + source.mediaStop > INT32_MAX)
        return false;
    source.stop = source.start + source.mediaStop;
    t.sources.push_back(source);
    return true;
}

bool TarnwickTracks::AddEffectAt(int32_t track, const QString& name, int32_t start, int32_t stop)
{
    Track& t = m_state.model.At(track);
    if (!t.isVideo || start < 0 || t.effects.size() >= MaxItems)
        return false;
    const size_t place = Items::PlaceOf(t.effects, start);
    // The effect before must end by start, and the one after must begin by stop.
    if (place > 0 && t.effects[place - 1].stop > start)
        return false;
    const bool hasNext = place < t.effects.size();
    if (stop == -1) {
        stop = start + DefaultEffectLength;
        stop = std::min(stop, TimelineModel::Duration(t));
        if (hasNext)
            stop = std::min(stop, t.effects[place].start);
    } else if (hasNext && t.effects[place].start < stop) {
        return false;
    }
    if (stop <= start)
        return false;
    t.effects.insert(t.effects.begin() + static_cast<std::ptrdiff_t>(place),
                     EffectItem{name.left(MaxEffectName), start, stop, false});
    return true;
}

bool TarnwickTracks::AddTransitionAt(int32_t track, const QString& name, int32_t start, int32_t stop)
{
    Track& t = m_state.model.At(track);
    if (start < 0 || t.transitions.size() >= MaxItems)
        return false;
    if (stop == -1)
        stop = start + DefaultEffectLength;
    if (stop <= start)
        return false;
    TransitionItem transition;
    transition.name = name;
    transition.start = start;
    transition.stop = stop;
    const size_t place = Items::PlaceOf(t.transitions, start);
    t.transitions.insert(t.transitions.begin() + static_cast<std::ptrdiff_t>(place), std::move(transition));
    return true;
}

bool TarnwickTracks::InsertSource(int32_t track, int32_t stream, int16_t seq, int32_t start, int32_t stop)
{
    Track& t = m_state.model.At(track);
    if (!StreamFits(t, stream))
        return false;
    SourceItem source;
    source.stream = stream;
    source.start = start;
    source.stop = stop;
    // With stop 0 the caller fills in the times right after; a half-filled item
    // plays nothing.
    if (stop != 0)
        source.mediaStop = std::max(0, stop - start);
    return Items::InsertAt(t.sources, seq, source);
}

bool TarnwickTracks::InsertEffect(int32_t track, const QString& name, int16_t seq, int32_t start, int32_t stop,
                                    int32_t /*reserved*/)
{
    Track& t = m_state.model.At(track);
    if (!t.isVideo)
        return false;
    return Items::InsertAt(t.effects, seq, EffectItem{name.left(MaxEffectName), start, stop, false});
}

bool TarnwickTracks::InsertTransition(int32_t track, const QString& name, int16_t seq, int32_t start,
                                        int32_t stop, int32_t /*reserved*/)
{
    TransitionItem transition;
    transition.name = name;
    transition.start = start;
    transition.stop = stop;
    return Items::InsertAt(m_state.model.At(track).transitions, seq, std::move(transition));
}

bool TarnwickTracks::RemoveSource(int32_t track, int16_t seq)
{
    return Items::Remove(m_state.model.At(track).sources, seq);
}

bool TarnwickTracks::RemoveEffect(int32_t track, int16_t seq)
{
    return Items::Remove(m_state.model.At(track).effects, seq);
}

bool TarnwickTracks::RemoveTransition(int32_t track, int16_t seq)
{
    return Items::Remove(m_state.model.At(track).transitions, seq);
}

bool TarnwickTracks::IsVideoTrack(int32_t track)
{
    return m_state.model.At(track).isVideo;
}

bool TarnwickTracks::GetSourceTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop)
{
    return Items::GetTimes(m_state.model.At(track).sources, seq, start, stop);
}

bool TarnwickTracks::GetEffectTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop)
{
    return Items::GetTimes(m_state.model.At(track).effects, seq, start, stop);
}

bool TarnwickTracks::GetTransitionTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop)
{
    return Items::GetTimes(m_state.model.At(track).transitions, seq, start, stop);
}

bool TarnwickTracks::SetSourceTimes(int32_t track, int16_t seq, int32_t start, int32_t stop)
{
    return Items::SetTimes(m_state.model.At(track).sources, seq, start, stop);
}

bool TarnwickTracks::SetEffectTimes(int32_t track, int16_t seq, int32_t start, int32_t stop)
{
    return Items::SetTimes(m_state.model.At(track).effects, seq, start, stop);
}

bool TarnwickTracks::SetTransitionTimes(int32_t track, int16_t seq, int32_t start, int32_t stop)
{
    return Items::SetTimes(m_state.model.At(track).transitions, seq, start, stop);
}

bool TarnwickTracks::GetSourceMediaTimes(int32_t track, int16_t seq, int32_t& mediaStart, int32_t& mediaStop)
{
    const SourceItem* source = Items::Find(m_state.model.At(track).sources, seq);
    if (!source)
        return false;
    mediaStart = source->mediaStart;
    mediaStop = source->mediaStop;
    return true;
}

bool TarnwickTracks::SetSourceMediaTimes(int32_t track, int16_t seq, int32_t mediaStart, int32_t mediaStop)
{
    SourceItem* source = Items::Find(m_state.model.At(track).sources, seq);
    if (!source)
        return false;
    source->mediaStart = mediaStart;
    source->mediaStop = mediaStop;
    return true;
}

int16_t TarnwickTracks::GetSourceCount(int32_t track)
{
    return Items::Count(m_state.model.At(track).sources);
}

int16_t TarnwickTracks::GetEffectCount(int32_t track)
{
    return Items::Count(m_state.model.At(track).effects);
}

int16_t TarnwickTracks::GetTransitionCount(int32_t track)
{
    return Items::Count(m_state.model.At(track).transitions);
}

int32_t TarnwickTracks::GetSourceStream(int32_t track, int16_t seq)
{
    const SourceItem* source = Items::Find(m_state.model.At(track).sources, seq);
    return source ? source->stream : 0;
}

QString TarnwickTracks::GetEffectName(int32_t track, int16_t seq, int32_t size)
{
    const EffectItem* effect = Items::Find(m_state.model.At(track).effects, seq);
    return effect ? CutToBuffer(effect->name, size) : QString();
}

QString TarnwickTracks::GetTransitionName(int32_t track, int16_t seq, int32_t size)
{
    const TransitionItem* transition = Items::Find(m_state.model.At(track).transitions, seq);
    return transition ? CutToBuffer(transition->name, size) : QString();
}

int32_t TarnwickTracks::GetTrackDuration(int32_t track)
{
    return TimelineModel::Duration(m_state.model.At(track));
}

bool TarnwickTracks::GetTrackLink(int32_t track)
{
    return m_state.model.At(track).linked;
}

bool TarnwickTracks::IsSourceSelected(int32_t track, int16_t seq)
{
    const SourceItem* source = Items::Find(m_state.model.At(track).sources, seq);
    return source && source->selected;
}

bool TarnwickTracks::IsEffectItemSelected(int32_t track, int16_t seq)
{
    const EffectItem* effect = Items::Find(m_state.model.At(track).effects, seq);
    return effect && effect->selected;
}

void TarnwickTracks::SetSourceSelected(int32_t track, int16_t seq, bool selected)
{
    Items::SetSelected(m_state.model.At(track).sources, seq, selected);
}

void TarnwickTracks::SetEffectSelected(int32_t track, int16_t seq, bool selected)
{
    Items::SetSelected(m_state.model.At(track).effects, seq, selected);
}

void TarnwickTracks::SetTransitionSelected(int32_t track, int16_t seq, bool selected)
{
    Items::SetSelected(m_state.model.At(track).transitions, seq, selected);
}

void TarnwickTracks::SetTrackLink(int32_t track, bool linked)
{
    m_state.model.At(track).linked = linked;
}

bool TarnwickTracks::ShiftSources(int32_t track, int16_t fromSeq, int32_t delta)
{
    return Items::Shift(m_state.model.At(track).sources, fromSeq, delta);
}

bool TarnwickTracks::ShiftEffects(int32_t track, int16_t fromSeq, int32_t delta)
{
    return Items::Shift(m_state.model.At(track).effects, fromSeq, delta);
}

bool TarnwickTracks::ShiftTransitions(int32_t track, int16_t fromSeq, int32_t delta)
{
    return Items::Shift(m_state.model.At(track).transitions, fromSeq, delta);
}

void TarnwickTracks::SetEffectsEnabled(bool enabled)
{
    m_state.model.SetEffectsEnabled(enabled);
}

void TarnwickTracks::SetTrackDisabled(int32_t track, bool disabled)
{
    m_state.model.At(track).disabled = disabled;
}

void TarnwickTracks::SetFrameSize(int16_t width, int16_t height)
{
    if (width <= 0 || height <= 0)
        throw QmError(QmErr::InvalidArgument, QStringLiteral("The frame size %1 x %2 is not valid.").arg(width).arg(height));
    m_state.model.SetFrameSize(width, height);
}

void TarnwickTracks::SetSourceStretchMode(int32_t track, int16_t seq, int16_t mode)
{
    if (SourceItem* source = Items::Find(m_state.model.At(track).sources, seq))
        source->stretchMode = mode;
}

int16_t TarnwickTracks::GetSourceStretchMode(int32_t track, int16_t seq)
{
    const SourceItem* source = Items::Find(m_state.model.At(track).sources, seq);
    return source ? source->stretchMode : 0;
}

