#pragma once

#include <QString>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

// The engine's plain in-memory timeline: tracks, and on each the ordered lists of
// sources, effects and transitions. Everything the program knows of the timeline
// is read back from here; the renderer builds its graphs from it.
namespace Tarnwick {

struct SourceItem
{
    int32_t stream = 0;
    int32_t start = 0;
    int32_t stop = 0;
    int32_t mediaStart = 0;
    int32_t mediaStop = 0;
    int16_t stretchMode = 0;
    bool selected = false;

    bool operator==(const SourceItem&) const = default;
};

struct EffectItem
{
    QString name;
    int32_t start = 0;
    int32_t stop = 0;
    bool selected = false;

    bool operator==(const EffectItem&) const = default;
};

struct TransitionItem
{
    QString name;
    int32_t start = 0;
    int32_t stop = 0;
    bool selected = false;
    int16_t keyRed = 0;
    int16_t keyGreen = 0;
    int16_t keyBlue = 0;
    // Named parameters in the order they were set ("KeyType" is the one in use).
    std::vector<std::pair<QString, int32_t>> parameters;

    bool operator==(const TransitionItem&) const = default;
};

struct Track
{
    int32_t handle = 0;
    bool isVideo = false;
    bool linked = false;
    bool disabled = false;
    std::vector<SourceItem> sources;
    std::vector<EffectItem> effects; // only ever filled on video tracks
    std::vector<TransitionItem> transitions;
};

// The longest list a track may hold: sequence numbers are 16 bits.
constexpr size_t MaxItems = 32767;
// Effect names are at most this long.
constexpr int MaxEffectName = 10;

class TimelineModel
{
public:
    Track& CreateTrack(int32_t handle, bool isVideo);
    // The track of a handle; a failure status (QmError) when there is none.
    Track& At(int32_t handle);
    const Track& At(int32_t handle) const;
    const std::vector<std::unique_ptr<Track>>& Tracks() const { return m_tracks; }

    bool EffectsEnabled() const { return m_effectsEnabled; }
    void SetEffectsEnabled(bool enabled) { m_effectsEnabled = enabled; }
    int16_t FrameWidth() const { return m_frameWidth; }
    int16_t FrameHeight() const { return m_frameHeight; }
    void SetFrameSize(int16_t width, int16_t height);

    // The latest stop among the track's sources, 0 when it has none.
    static int32_t Duration(const Track& track);
    // The latest stop over the tracks that take part (not disabled): how long the
    // timeline plays.
    int32_t PlayedDuration() const;

private:
    std::vector<std::unique_ptr<Track>> m_tracks;
    mutable Track* m_lastTrack = nullptr; // the walks ask for the same track many times over
    bool m_effectsEnabled = true;
    int16_t m_frameWidth = 320;
    int16_t m_frameHeight = 240;
};

// What the three item lists share: lookup, timing, shifting, removal, selection.
namespace Items {

template <class Item>
Item* Find(std::vector<Item>& items, int16_t seq)
{
    if (seq < 0 || static_cast<size_t>(seq) >= items.size())
        return nullptr;
    return &items[static_cast<size_t>(seq)];
}

template <class Item>
const Item* Find(const std::vector<Item>& items, int16_t seq)
{
    if (seq < 0 || static_cast<size_t>(seq) >= items.size())
        return nullptr;
    return &items[static_cast<size_t>(seq)];
}

template <class Item>
bool GetTimes(const std::vector<Item>& items, int16_t seq, int32_t& start, int32_t& stop)
{
    const Item* item = Find(items, seq);
    if (!item)
        return false;
    start = item->start;
    stop = item->stop;
    return true;
}

template <class Item>
bool SetTimes(std::vector<Item>& items, int16_t seq, int32_t start, int32_t stop)
{
    Item* item = Find(items, seq);
    if (!item)
        return false;
    item->start = start;
    item->stop = stop;
    return true;
}

template <class Item>
bool Shift(std::vector<Item>& items, int16_t fromSeq, int32_t delta)
{
    if (fromSeq < 0 || static_cast<size_t>(fromSeq) > items.size())
        return false;
    for (size_t i = static_cast<size_t>(fromSeq); i < items.size(); ++i) {
        items[i].start += delta;
        items[i].stop += delta;
    }
    return true;
}

template <class Item>
bool Remove(std::vector<Item>& items, int16_t seq)
{
    if (!Find(items, seq))
        return false;
    items.erase(items.begin() + seq);
    return true;
}

template <class Item>
bool InsertAt(std::vector<Item>& items, int16_t seq, Item item)
{
    if (seq < 0 || static_cast<size_t>(seq) > items.size() || items.size() >= MaxItems)
        return false;
    items.insert(items.begin() + seq, std::move(item));
    return true;
}

template <class Item>
void SetSelected(std::vector<Item>& items, int16_t seq, bool selected)
{
    if (Item* item = Find(items, seq))
        item->selected = selected;
}

template <class Item>
int16_t Count(const std::vector<Item>& items)
{
    return static_cast<int16_t>(items.size());
}

// Where an item that starts at start belongs: after every item that starts at or
// before it.
template <class Item>
size_t PlaceOf(const std::vector<Item>& items, int32_t start)
{
    size_t place = items.size();
    while (place > 0 && items[place - 1].start > start)
        --place;
    return place;
}

} // namespace Items

} // namespace Tarnwick
