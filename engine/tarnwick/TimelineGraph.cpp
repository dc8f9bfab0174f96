#include "engine/tarnwick/TimelineGraph.h"

#include "engine/tarnwick/MltRuntime.h"
#include "engine/tarnwick/MltServices.h"

#include <Mlt.h>

#include <QFile>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <set>
#include <tuple>

namespace Tarnwick {

using MltServices::SourceSpec;

class ProducerCache
{
public:
    explicit ProducerCache(Mlt::Profile& profile, bool sequential = false)
        : m_profile(profile)
        , m_sequential(sequential)
    {
    }

    // A graph starts: what it does not ask for is let go when it is done.
    void StartBuild()
    {
        for (auto& [key, entry] : m_producers)
            entry.used = false;
    }
    void EndBuild()
    {
        std::erase_if(m_producers, [](const auto& item) { return !item.second.used; });
    }

    Mlt::Producer* Get(const SourceSpec& source)
    {
        auto it = m_producers.find(source);
        if (it != m_producers.end()) {
            it->second.used = true;
            return it->second.producer.get();
        }
        // A save reads each file's pictures once, in order: Quillmont's own decoding
        // producer hands them on as decoded, without MLT's cache.
        std::unique_ptr<Mlt::Producer> producer;
        if (m_sequential && source.Pictures() && !source.still && source.speed == 1.0)
            producer = MltServices::OpenSequential(m_profile.get_profile(), source);
        if (!producer)
            producer = MltServices::OpenSource(m_profile.get_profile(), source);
        if (!producer)
            return nullptr;
        Mlt::Producer* raw = producer.get();
        m_producers.emplace(source, Entry{std::move(producer), true});
        return raw;
    }

private:
    struct Entry
    {
        std::unique_ptr<Mlt::Producer> producer;
        bool used = false; // asked for by the graph being built
    };

    Mlt::Profile& m_profile;
    const bool m_sequential;
    // Compared field by field rather than formatted into text: a graph asks once a piece.
    std::map<SourceSpec, Entry> m_producers;
};

std::shared_ptr<ProducerCache> MakeProducerCache(Mlt::Profile& profile)
{
    return std::make_shared<ProducerCache>(profile);
}

namespace {

// The key of an overlay's transition, when it has one ("KeyType" 0).
bool KeyOf(const TransitionItem* transition, MltServices::TrackPiece& piece)
{
    if (!transition)
        return false;
    const auto keyType = std::find_if(transition->parameters.begin(), transition->parameters.end(),
                                      [](const auto& p) { return p.first.compare(QLatin1String("KeyType"), Qt::CaseInsensitive) == 0; });
    if (keyType == transition->parameters.end() || keyType->second != 0)
        return false;
    piece.keyRed = transition->keyRed & 0xFF;
    piece.keyGreen = transition->keyGreen & 0xFF;
    piece.keyBlue = transition->keyBlue & 0xFF;
    piece.keyTolerance = KeyTolerance;
    return true;
}

std::string Text(double value)
{
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}

// One of the six effects, as a filter with a visible result over its range; false for a
// name that is none of them.
bool EffectFilter(const QString& name, int frames, FilterPlan& filter)
{
    const QString effect = name.trimmed().toLower();
    auto set = [&filter](const char* property, const std::string& value) { filter.properties.emplace_back(property, value); };
    if (effect == u"fade") {
        // From black and back to black: a quarter of the range each way.
        filter.service = "brightness";
        const int last = std::max(1, frames - 1);
        const int quarter = std::max(1, frames / 4);
        set("level", QStringLiteral("0=0;%1=1;%2=1;%3=0").arg(quarter).arg(std::max(quarter, last - quarter)).arg(last).toStdString());
    } else if (effect == u"pixelate") {
        filter.service = MltServices::PixelateFilter;
        set("block_width", Text(0.04));
        set("block_height", Text(0.05));
    } else if (effect == u"blur") {
        filter.service = "box_blur";
        set("hradius", "6");
        set("vradius", "6");
    } else if (effect == u"wave") {
        filter.service = "frei0r.distort0r";
        set("0", Text(0.5));
        set("1", Text(0.01));
    } else if (effect == u"emboss" || effect == u"engrave") {
        // Engraving is embossing with the light from the other side.
        filter.service = "frei0r.emboss";
        set("0", Text(effect == u"emboss" ? 0.375 : 0.875));
        set("1", Text(0.333333));
        set("2", Text(0.25));
    }
    return !filter.service.empty();
}

// A track: the visible stretch of each source cut from its file, at its frames; gaps
// between, and where a file holds less than the timeline asks of it.
MltServices::TrackSpec PlanTrack(const Track& track, SourceSpec::Role role, const StreamLookup& lookup, int32_t frames)
{
    MltServices::TrackSpec spec;
    spec.frames = frames;
    std::map<SourceSpec, int> numbers;
    for (const Segment& segment : VisibleSegments(track.sources)) {
        const SourceItem& s = track.sources[segment.source];
        const StreamSource stream = lookup(s.stream);
        const int32_t first = MsToFrame(segment.start);
        const int32_t length = MsToFrame(segment.stop) - first;
        if (length <= 0 || !stream.facts)
            continue;
        double speed = static_cast<double>(s.mediaStop - s.mediaStart) / (s.stop - s.start);
        if (std::fabs(speed - 1.0) < 0.001 || stream.facts->still)
            speed = 1.0;
        if (speed <= 0.0)
            continue;
        const StreamFacts& facts = *stream.facts;
        SourceSpec source;
        source.path = QFile::encodeName(stream.path).toStdString();
        source.containerIndex = facts.containerIndex;
        source.role = role;
        source.speed = speed;
        source.still = facts.still;
        source.sequence = facts.imageSequence;
        // A picture lasts as long as the timeline asks of it; a stream as long as the
        // engine's facts say, which may be less than a lying header claims, or more than
        // a header without a length lets MLT see.
        source.frames = 1 << 24;
        if (!facts.still) {
            const double ms = std::min<double>(LongestMs, facts.duration * 1000.0 / speed);
            source.frames = MsToFrame(static_cast<int32_t>(std::lround(ms))) + 1;
        }
        auto number = numbers.find(source);
        if (number == numbers.end()) {
            number = numbers.emplace(source, static_cast<int>(spec.sources.size())).first;
            spec.sources.push_back(source);
        }
        const double mediaAt = s.mediaStart + (segment.start - s.start) * speed;
        MltServices::TrackPiece piece;
        piece.first = first;
        piece.length = length;
        piece.source = number->second;
        piece.in =
            stream.facts->still ? 0 : static_cast<int32_t>(std::lround(MsToFrame(static_cast<int32_t>(mediaAt)) / speed));
        if (role != SourceSpec::Role::Sound) {
            piece.fitMode = std::clamp<int>(s.stretchMode, 0, 3);
            if (role == SourceSpec::Role::Overlay)
                piece.keyed = KeyOf(segment.source < track.transitions.size() ? &track.transitions[segment.source] : nullptr,
                                    piece);
        }
        spec.pieces.push_back(piece);
    }
    return spec;
}

std::vector<FilterPlan> PlanEffects(const Track& track)
{
    std::vector<FilterPlan> filters;
    for (const EffectItem& effect : track.effects) {
        const int32_t in = MsToFrame(std::max(0, effect.start));
        const int32_t out = MsToFrame(effect.stop) - 1;
        if (out < in)
            continue;
        FilterPlan filter;
        if (!EffectFilter(effect.name, out - in + 1, filter))
            continue;
        filter.in = in;
        filter.out = out;
        filters.push_back(std::move(filter));
    }
    return filters;
}

// A planned filter made in MLT: its values are text in the C locale, read as a saved
// project's are, whatever the process's own locale.
std::unique_ptr<Mlt::Filter> MakeFilter(Mlt::Profile& profile, const FilterPlan& plan)
{
    auto filter = std::make_unique<Mlt::Filter>(profile, plan.service.c_str());
    if (!filter->is_valid())
        return nullptr;
    filter->set_lcnumeric("C");
    for (const auto& [name, value] : plan.properties)
        filter->set(name.c_str(), value.c_str());
    filter->set_in_and_out(plan.in, plan.out);
    return filter;
}

// A layer's effects as one lane; each effect's filter is made when a frame needs it.
// Null for no effects.
std::unique_ptr<Mlt::Filter> MakeLane(Mlt::Profile& profile, std::vector<FilterPlan> filters)
{
    if (filters.empty())
        return nullptr;
    std::vector<MltServices::EffectRange> ranges;
    ranges.reserve(filters.size());
    for (const FilterPlan& filter : filters)
        ranges.push_back({filter.in, filter.out});
    auto make = [&profile, filters = std::move(filters)](size_t index) { return MakeFilter(profile, filters[index]); };
    return MltServices::MakeEffects(profile, std::move(ranges), std::move(make));
}

} // namespace

int GraphDimension(int pixels)
{
    return std::max(16, pixels + (pixels & 1));
}

void SetGraphProfile(Mlt::Profile& profile, int width, int height)
{
    width = GraphDimension(width);
    height = GraphDimension(height);
    mlt_profile p = profile.get_profile();
    p->width = width;
    p->height = height;
    p->frame_rate_num = GraphFps;
    p->frame_rate_den = 1;
    p->sample_aspect_num = 1;
    p->sample_aspect_den = 1;
    p->display_aspect_num = width;
    p->display_aspect_den = height;
    p->progressive = 1;
    // Standard-definition colours, as the movies Quillmont writes are; sources in them
    // then reach the graph without a conversion.
    p->colorspace = 601;
    profile.set_explicit(1);
}

QByteArray StillResource(const QString& path, const StreamFacts& facts)
{
    return QByteArray::fromStdString(MltServices::StillResource(QFile::encodeName(path).toStdString(), facts.imageSequence));
}

int32_t MsToFrame(int32_t ms)
{
    return static_cast<int32_t>(std::lround(static_cast<double>(ms) * GraphFps / 1000.0));
}

int32_t FrameToMs(int32_t frame)
{
    return static_cast<int32_t>(std::lround(static_cast<double>(frame) * 1000.0 / GraphFps));
}

void TakeSound(Mlt::Frame& frame, int32_t position, std::vector<int16_t>& into)
{
    mlt_audio_format format = mlt_audio_s16;
    int frequency = GraphFrequency, channels = GraphChannels;
    int samples = mlt_audio_calculate_frame_samples(GraphFps, frequency, position);
    const auto* pcm = static_cast<const int16_t*>(frame.get_audio(format, frequency, channels, samples));
    if (pcm && format == mlt_audio_s16 && channels == GraphChannels)
        into.insert(into.end(), pcm, pcm + samples * channels);
    else // a frame without usable sound is silence of its length
        into.resize(into.size() + static_cast<size_t>(std::max(0, samples)) * GraphChannels, 0);
}

std::vector<Segment> VisibleSegments(const std::vector<SourceItem>& sources)
{
    // Sweep over the boundaries; the active source with the highest sequence number
    // owns each stretch between two of them.
    struct Edge
    {
        int32_t time;
        bool starts;
        size_t source;
    };
    std::vector<Edge> edges;
    edges.reserve(sources.size() * 2);
    for (size_t i = 0; i < sources.size(); ++i) {
        const int32_t start = std::max(0, sources[i].start);
        if (sources[i].stop <= start)
            continue;
        edges.push_back({start, true, i});
        edges.push_back({sources[i].stop, false, i});
    }
    std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) {
        return a.time != b.time ? a.time < b.time : (!a.starts && b.starts);
    });
    std::vector<Segment> segments;
    std::set<size_t> active;
    for (size_t e = 0; e < edges.size();) {
        const int32_t time = edges[e].time;
        for (; e < edges.size() && edges[e].time == time; ++e) {
            if (edges[e].starts)
                active.insert(edges[e].source);
            else
                active.erase(edges[e].source);
        }
        if (active.empty() || e == edges.size())
            continue;
        const size_t owner = *active.rbegin();
        const int32_t next = edges[e].time;
        if (!segments.empty() && segments.back().source == owner && segments.back().stop == time)
            segments.back().stop = next;
        else
            segments.push_back({time, next, owner});
    }
    return segments;
}

GraphPlan PlanTimelineGraph(const TimelineModel& model, const StreamLookup& lookup, const GraphParts& parts)
{
    auto included = [&](const Track& track) {
        return !track.disabled && std::find(parts.leaveOut.begin(), parts.leaveOut.end(), track.handle) == parts.leaveOut.end();
    };

    // The first video track is the video track proper; later ones are overlays.
    const Track* video = nullptr;
    std::vector<const Track*> overlays;
    std::vector<const Track*> audio;
    for (const auto& track : model.Tracks()) {
        if (track->isVideo && !video)
            video = track.get();
        else if (track->isVideo)
            overlays.push_back(track.get());
        else
            audio.push_back(track.get());
    }
    int32_t end = 0;
    for (const auto& track : model.Tracks())
        if (included(*track))
            end = std::max(end, TimelineModel::Duration(*track));

    GraphPlan plan;
    plan.frames = std::max(1, MsToFrame(end));
    plan.sequential = parts.sequential;
    using Role = SourceSpec::Role;
    if (video && included(*video)) {
        LayerPlan layer{PlanTrack(*video, Role::Video, lookup, plan.frames), false, {}};
        if (parts.effects && model.EffectsEnabled())
            layer.filters = PlanEffects(*video);
        plan.layers.push_back(std::move(layer));
    }
    for (const Track* overlay : overlays)
        if (included(*overlay))
            plan.layers.push_back({PlanTrack(*overlay, Role::Overlay, lookup, plan.frames), false, {}});
    for (const Track* track : audio)
        if (included(*track))
            plan.layers.push_back({PlanTrack(*track, Role::Sound, lookup, plan.frames), true, {}});
    return plan;
}

std::unique_ptr<Mlt::Tractor> BuildGraph(Mlt::Profile& profile, GraphPlan plan, ProducerCache* shared)
{
    if (!MltRuntime::Start())
        return nullptr;
    auto tractor = std::make_unique<Mlt::Tractor>(profile);
    std::shared_ptr<ProducerCache> own = shared ? nullptr : std::make_shared<ProducerCache>(profile, plan.sequential);
    ProducerCache& cache = shared ? *shared : *own;
    cache.StartBuild();
    int index = 0;
    // Made by name, not through the loader: the ground needs none of its normalising.
    Mlt::Producer black(profile, MltServices::BlackProducer, "black");
    black.set("length", plan.frames);
    black.set("out", plan.frames - 1);
    // Whatever the graph's pictures become, asked for in another format, is converted
    // by the frame at the bottom of the stack: the ground's.
    Mlt::Filter convert(profile, "avcolor_space");
    if (convert.is_valid())
        black.attach(convert);
    tractor->set_track(black, index++);

    for (LayerPlan& layer : plan.layers) {
        std::vector<Mlt::Producer*> producers;
        producers.reserve(layer.track.sources.size());
        for (const SourceSpec& source : layer.track.sources)
            producers.push_back(cache.Get(source));
        std::unique_ptr<Mlt::Producer> track = MltServices::MakeTrack(profile, layer.track, producers);
        if (!track)
            continue;
        if (auto lane = MakeLane(profile, std::move(layer.filters)))
            track->attach(*lane);
        const int at = index++;
        tractor->set_track(*track, at);
        std::unique_ptr<Mlt::Producer> placed(tractor->track(at));
        placed->set("hide", layer.sound ? 1 : 2); // sound only, or pictures only
        Mlt::Transition join(profile, layer.sound ? "mix" : MltServices::OverTransition);
        join.set("always_active", 1);
        if (layer.sound)
            join.set("sum", 1);
        tractor->plant_transition(join, 0, at);
    }
    cache.EndBuild();
    return tractor;
}

std::unique_ptr<Mlt::Tractor> BuildTimelineGraph(Mlt::Profile& profile, const TimelineModel& model,
                                                 const StreamLookup& lookup, const GraphParts& parts,
                                                 ProducerCache* cache)
{
    return BuildGraph(profile, PlanTimelineGraph(model, lookup, parts), cache);
}

GraphSource::GraphSource(const TimelineModel& model)
    : m_effects(model.EffectsEnabled())
    , m_taken(true)
{
    m_tracks.reserve(model.Tracks().size());
    for (const auto& track : model.Tracks())
        m_tracks.push_back(*track);
}

bool GraphSource::operator==(const GraphSource& other) const
{
    auto sameSources = [](const SourceItem& a, const SourceItem& b) {
        return a.stream == b.stream && a.start == b.start && a.stop == b.stop && a.mediaStart == b.mediaStart
               && a.mediaStop == b.mediaStop && a.stretchMode == b.stretchMode;
    };
    auto sameEffects = [](const EffectItem& a, const EffectItem& b) {
        return a.name == b.name && a.start == b.start && a.stop == b.stop;
    };
    auto sameTransitions = [](const TransitionItem& a, const TransitionItem& b) {
        return a.name == b.name && a.start == b.start && a.stop == b.stop && a.keyRed == b.keyRed
               && a.keyGreen == b.keyGreen && a.keyBlue == b.keyBlue && a.parameters == b.parameters;
    };
    if (!m_taken || !other.m_taken || m_effects != other.m_effects || m_tracks.size() != other.m_tracks.size())
        return false;
    for (size_t i = 0; i < m_tracks.size(); ++i) {
        const Track& a = m_tracks[i];
        const Track& b = other.m_tracks[i];
        if (a.handle != b.handle || a.isVideo != b.isVideo || a.disabled != b.disabled
            || !std::equal(a.sources.begin(), a.sources.end(), b.sources.begin(), b.sources.end(), sameSources)
            || !std::equal(a.effects.begin(), a.effects.end(), b.effects.begin(), b.effects.end(), sameEffects)
            || !std::equal(a.transitions.begin(), a.transitions.end(), b.transitions.begin(), b.transitions.end(),
                           sameTransitions))
            return false;
    }
    return true;
}

} // namespace Tarnwick
