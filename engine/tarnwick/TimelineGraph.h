#pragma once

#include "engine/tarnwick/MediaProbe.h"
#include "engine/tarnwick/MltServices.h"
#include "engine/tarnwick/TimelineModel.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
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
    // Rendered once from start to end (a save): the files' pictures come from Quillmont's
    // own decoding producer, which hands them on as decoded, without a cache.
    bool sequential = false;
};

// Sets a profile for the graph: the frame size, GraphFps, square pixels.
void SetGraphProfile(Mlt::Profile& profile, int width, int height);
// A width or height as the graph's profile takes it: even, and at least 16 pixels.
int GraphDimension(int pixels);

// The resource of a still for MLT's avformat producer: read by the reader FFmpeg
// names for it, and able to give its picture at every frame asked for. The instant
// preview and the timeline (MltServices::OpenSource) both read stills so.
QByteArray StillResource(const QString& path, const StreamFacts& facts);

int32_t MsToFrame(int32_t ms);
int32_t FrameToMs(int32_t frame);

// The parent producers graphs cut their pieces from: one per file, stream, role and
// speed, opened once however many pieces use it. A player keeps one over the graphs it
// is given, made on the same profile, so that an edit opens no file again; what the
// latest graph did not use is let go.
class ProducerCache;
std::shared_ptr<ProducerCache> MakeProducerCache(Mlt::Profile& profile);

// The graph as plain data, before any of it is made in MLT: what the preview plays and
// the renders render is built from it, and a saved project writes it as MLT's XML, so
// that all of them are one graph.
//
// Bottom to top: the black ground (implied), then one layer per track that takes part,
// each a track of pieces joined to the ground by "quillmont_over" (pictures) or "mix"
// (sound). The video layer's effects are filters by their ranges: the engine runs them
// through one lane ("quillmont_effects") that makes each when a frame first needs it, a
// saved project holds them attached to the layer, and MLT applies both alike.
struct FilterPlan
{
    std::string service;
    std::vector<std::pair<std::string, std::string>> properties;
    int32_t in = 0;
    int32_t out = 0;
};
struct LayerPlan
{
    MltServices::TrackSpec track;
    bool sound = false;
    std::vector<FilterPlan> filters; // the effects, on the video layer
};
struct GraphPlan
{
    int32_t frames = 1;
    std::vector<LayerPlan> layers;
    bool sequential = false; // see GraphParts
};

// The plan of the model's graph. The first video track is the video track proper; later
// ones are overlays. Reads the model and the lookup only: it can run on any thread.
GraphPlan PlanTimelineGraph(const TimelineModel& model, const StreamLookup& lookup, const GraphParts& parts = {});
// The plan made in MLT on profile (set by SetGraphProfile); without a cache the graph
// opens its files for itself. The graph's effect lanes keep the plan's filters.
std::unique_ptr<Mlt::Tractor> BuildGraph(Mlt::Profile& profile, GraphPlan plan, ProducerCache* cache = nullptr);

// The graph of the model on profile: BuildGraph of its plan.
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
