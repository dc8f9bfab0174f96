#pragma once

#include "engine/tarnwick/MediaProbe.h"
#include "engine/tarnwick/TimelineModel.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace Mlt {
class Frame;
class Profile;
class Tractor;
} // namespace Mlt

// The one place where Quillmont's timeline becomes an MLT graph. The preview plays it,
// and saving and still frames use the same graph, so that what is previewed is what is
// saved.
//
// The graph, bottom to top: a black ground as long as the timeline; the video track,
// sources fitted to the frame by their stretch mode, its effects over their ranges; the
// overlay track composited over it, each overlay's key colour made transparent; the
// audio tracks mixed together. Video tracks give no sound and audio tracks no picture.
// Disabled tracks, and the effects while they are switched off, are left out.
namespace Tarnwick {

// Every graph runs at this rate, frames per second.
constexpr int GraphFps = 25;
// A key colour keys out what lies within this distance of it (0 to 1), so that
// compressed pictures key cleanly.
constexpr double KeyTolerance = 0.15;

struct StreamSource
{
    QString path;
    const StreamFacts* facts = nullptr; // null when the engine has no such stream
};
using StreamLookup = std::function<StreamSource(int32_t stream)>;

// Which parts of the timeline a graph is made of (saving can leave tracks out).
struct GraphParts
{
    // Track handles to leave out besides the disabled ones.
    std::vector<int32_t> leaveOut;
    bool effects = true;
};

// Sets a profile for the graph: the frame size, GraphFps, square pixels.
void SetGraphProfile(Mlt::Profile& profile, int width, int height);

// The resource of a still for MLT's avformat producer: read by the reader FFmpeg
// names for it, and able to give its picture at every frame asked for.
QByteArray StillResource(const QString& path, const StreamFacts& facts);

int32_t MsToFrame(int32_t ms);
int32_t FrameToMs(int32_t frame);

// The parent producers graphs cut their pieces from: one per file, stream, role and
// speed, opened once however many pieces use it. A player keeps one over the graphs it
// is given, made on the same profile, so that an edit opens no file again; what the
// latest graph did not use is let go.
class ProducerCache;
std::shared_ptr<ProducerCache> MakeProducerCache(Mlt::Profile& profile);

// The graph of the model on profile (set by SetGraphProfile). The overlay track is the
// one model track that holds transitions; the video track is the first video track
// without any. Without a cache the graph opens its files for itself.
std::unique_ptr<Mlt::Tractor> BuildTimelineGraph(Mlt::Profile& profile, const TimelineModel& model,
                                                 const StreamLookup& lookup, const GraphParts& parts = {},
                                                 ProducerCache* cache = nullptr);

// Every graph's sound: 48 kHz stereo.
constexpr int GraphFrequency = 48000;
constexpr int GraphChannels = 2;

// Appends the sound of a frame of a graph, taken at position, as interleaved 16-bit
// samples.
void TakeSound(Mlt::Frame& frame, int32_t position, std::vector<int16_t>& into);

// The stretches of a track that each source shows: where sources overlap, the one with
// the higher sequence number wins. In timeline order.
struct Segment
{
    int32_t start = 0;
    int32_t stop = 0;
    size_t source = 0; // index in the track's list
};
std::vector<Segment> VisibleSegments(const std::vector<SourceItem>& sources);

// What a graph is made from, kept to tell whether the timeline has changed since: the
// tracks and their items, selected flags aside, and whether effects take part. Two
// equal ones give the same graph.
class GraphSource
{
public:
    GraphSource() = default;
    explicit GraphSource(const TimelineModel& model);
    bool operator==(const GraphSource& other) const;

private:
    std::vector<Track> m_tracks;
    bool m_effects = true;
    bool m_taken = false;
};

} // namespace Tarnwick
