#include "engine/tarnwick/TimelineGraph.h"

#include "engine/tarnwick/MltRuntime.h"
#include "engine/tarnwick/MltServices.h"

#include <Mlt.h>

#include <QFile>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <tuple>

namespace Tarnwick {

// How a track's pictures and sound take part.
enum class Role { Video, Overlay, Audio };

class ProducerCache
{
public:
    explicit ProducerCache(Mlt::Profile& profile)
        : m_profile(profile)
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

    Mlt::Producer* Get(const StreamSource& source, Role role, double speed)
    {
        const StreamFacts& facts = *source.facts;
        Key key{facts.containerIndex, role, speed, source.path};
        auto it = m_producers.find(key);
        if (it != m_producers.end()) {
            it->second.used = true;
            return it->second.producer.get();
        }
        // Pictures at their own speed skip MLT's normalising filters: the fit filter sizes
        // them, and they stay in the decoder's YUV 4:2:0 unless a filter asks otherwise,
        // which the converter attached then answers.
        const bool plainPictures = role != Role::Audio && speed == 1.0;
        auto producer = plainPictures
                            ? std::make_unique<Mlt::Producer>(m_profile, "abnormal", Resource(source, speed).constData())
                            : std::make_unique<Mlt::Producer>(m_profile, Resource(source, speed).constData());
        if (!producer->is_valid())
            return nullptr;
        if (plainPictures) {
            Mlt::Filter convert(m_profile, "avcolor_space");
            if (convert.is_valid())
                producer->attach(convert);
        }
        // A picture lasts as long as the timeline asks of it; a stream as long as the
        // engine's facts say, which may be less than a lying header claims, or more than
        // a header without a length lets MLT see.
        int32_t frames = 1 << 24;
        if (!facts.still) {
            const double ms = std::min<double>(LongestMs, facts.duration * 1000.0 / speed);
            frames = MsToFrame(static_cast<int32_t>(std::lround(ms))) + 1;
        }
        producer->set("length", frames);
        producer->set("out", frames - 1);
        if (speed == 1.0) {
            producer->set(role == Role::Audio ? "audio_index" : "video_index", facts.containerIndex);
            producer->set(role == Role::Audio ? "video_index" : "audio_index", -1);
        }
        Mlt::Producer* raw = producer.get();
        m_producers.emplace(std::move(key), Entry{std::move(producer), true});
        return raw;
    }

private:
    static QByteArray Resource(const StreamSource& source, double speed)
    {
        if (source.facts->still)
            return "avformat:" + StillResource(source.path, *source.facts);
        const QByteArray path = QFile::encodeName(source.path);
        if (speed != 1.0)
            return "timewarp:" + QByteArray::number(speed, 'g', 9) + ':' + path;
        return path;
    }

    // Compared field by field rather than formatted into text: a graph asks once a piece.
    struct Key
    {
        int containerIndex;
        Role role;
        double speed;
        QString path;
        bool operator<(const Key& other) const
        {
            return std::tie(containerIndex, role, speed, path)
                   < std::tie(other.containerIndex, other.role, other.speed, other.path);
        }
    };
    struct Entry
    {
        std::unique_ptr<Mlt::Producer> producer;
        bool used = false; // asked for by the graph being built
    };

    Mlt::Profile& m_profile;
    std::map<Key, Entry> m_producers;
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

// One of the six effects, as a filter with a visible result over its range.
std::unique_ptr<Mlt::Filter> EffectFilter(Mlt::Profile& profile, const QString& name, int frames)
{
    const QString effect = name.trimmed().toLower();
    std::unique_ptr<Mlt::Filter> filter;
    if (effect == u"fade") {
        // From black and back to black: a quarter of the range each way.
        filter = std::make_unique<Mlt::Filter>(profile, "brightness");
        const int last = std::max(1, frames - 1);
        const int quarter = std::max(1, frames / 4);
        filter->set("level", QStringLiteral("0=0;%1=1;%2=1;%3=0").arg(quarter).arg(std::max(quarter, last - quarter)).arg(last).toUtf8().constData());
    } else if (effect == u"pixelate") {
        filter = std::make_unique<Mlt::Filter>(profile, "frei0r.pixeliz0r");
        filter->set("0", 0.04);
        filter->set("1", 0.05);
    } else if (effect == u"blur") {
        filter = std::make_unique<Mlt::Filter>(profile, "box_blur");
        filter->set("hradius", 6);
        filter->set("vradius", 6);
    } else if (effect == u"wave") {
        filter = std::make_unique<Mlt::Filter>(profile, "frei0r.distort0r");
        filter->set("0", 0.5);
        filter->set("1", 0.01);
    } else if (effect == u"emboss" || effect == u"engrave") {
        // Engraving is embossing with the light from the other side.
        filter = std::make_unique<Mlt::Filter>(profile, "frei0r.emboss");
        filter->set("0", effect == u"emboss" ? 0.375 : 0.875);
        filter->set("1", 0.333333);
        filter->set("2", 0.25);
    }
    if (filter && !filter->is_valid())
        filter.reset();
    return filter;
}

// A track: the visible stretch of each source cut from its producer, at its frames;
// gaps between, and where a file holds less than the timeline asks of it.
std::unique_ptr<Mlt::Producer> BuildTrack(Mlt::Profile& profile, const Track& track, Role role,
                                          const StreamLookup& lookup, ProducerCache& cache, int32_t frames)
{
    std::vector<MltServices::TrackPiece> pieces;
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
        Mlt::Producer* parent = cache.Get(stream, role, speed);
        if (!parent)
            continue;
        const double mediaAt = s.mediaStart + (segment.start - s.start) * speed;
        const int32_t in =
            stream.facts->still ? 0 : static_cast<int32_t>(std::lround(MsToFrame(static_cast<int32_t>(mediaAt)) / speed));
        const int32_t taken = std::max(0, std::min(length, parent->get_length() - in));
        if (taken <= 0)
            continue;
        MltServices::TrackPiece piece;
        piece.first = first;
        piece.length = taken;
        piece.producer = parent;
        piece.in = in;
        piece.still = stream.facts->still;
        if (role != Role::Audio) {
            piece.fitMode = std::clamp<int>(s.stretchMode, 0, 3);
            if (role == Role::Overlay)
                piece.keyed = KeyOf(segment.source < track.transitions.size() ? &track.transitions[segment.source] : nullptr,
                                    piece);
        }
        pieces.push_back(piece);
    }
    return MltServices::MakeTrack(profile, std::move(pieces), frames);
}

void AttachEffects(Mlt::Profile& profile, Mlt::Producer& layer, const Track& track)
{
    // The whole lane as one filter; each effect's filter is made when a frame needs it.
    struct Effect
    {
        QString name;
        MltServices::EffectRange range;
    };
    std::vector<Effect> effects;
    for (const EffectItem& effect : track.effects) {
        const int32_t in = MsToFrame(std::max(0, effect.start));
        const int32_t out = MsToFrame(effect.stop) - 1;
        if (out >= in)
            effects.push_back({effect.name, {in, out}});
    }
    if (effects.empty())
        return;
    std::vector<MltServices::EffectRange> ranges;
    ranges.reserve(effects.size());
    for (const Effect& effect : effects)
        ranges.push_back(effect.range);
    auto make = [&profile, effects = std::move(effects)](size_t index) {
        const Effect& effect = effects[index];
        std::unique_ptr<Mlt::Filter> filter =
            EffectFilter(profile, effect.name, effect.range.out - effect.range.in + 1);
        if (filter)
            filter->set_in_and_out(effect.range.in, effect.range.out);
        return filter;
    };
    if (auto lane = MltServices::MakeEffects(profile, std::move(ranges), std::move(make)))
        layer.attach(*lane);
}

} // namespace

void SetGraphProfile(Mlt::Profile& profile, int width, int height)
{
    width = std::max(16, width + (width & 1));
    height = std::max(16, height + (height & 1));
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
    const QByteArray native = QFile::encodeName(path);
    // FFmpeg's image-sequence reader hands its one picture out once, and MLT seeks
    // before it decodes: looped, the picture stays. (A '?' would end the path there.)
    if (facts.imageSequence && !path.contains(u'?'))
        return "image2:" + native + "?loop=1";
    return native;
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

std::unique_ptr<Mlt::Tractor> BuildTimelineGraph(Mlt::Profile& profile, const TimelineModel& model,
                                                 const StreamLookup& lookup, const GraphParts& parts,
                                                 ProducerCache* shared)
{
    if (!MltRuntime::Start())
        return nullptr;
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
    const int32_t frames = std::max(1, MsToFrame(end));

    auto tractor = std::make_unique<Mlt::Tractor>(profile);
    std::shared_ptr<ProducerCache> own = shared ? nullptr : MakeProducerCache(profile);
    ProducerCache& cache = shared ? *shared : *own;
    cache.StartBuild();
    int index = 0;
    // Made by name, not through the loader: the ground needs none of its normalising.
    Mlt::Producer black(profile, MltServices::BlackProducer, "black");
    black.set("length", frames);
    black.set("out", frames - 1);
    // Whatever the graph's pictures become, asked for in another format, is converted
    // by the frame at the bottom of the stack: the ground's.
    Mlt::Filter convert(profile, "avcolor_space");
    if (convert.is_valid())
        black.attach(convert);
    tractor->set_track(black, index++);

    auto addPictures = [&](const Track& track, Role role, bool effects) {
        std::unique_ptr<Mlt::Producer> layer = BuildTrack(profile, track, role, lookup, cache, frames);
        if (effects)
            AttachEffects(profile, *layer, track);
        const int at = index++;
        tractor->set_track(*layer, at);
        std::unique_ptr<Mlt::Producer> placed(tractor->track(at));
        placed->set("hide", 2); // pictures only
        Mlt::Transition blend(profile, MltServices::OverTransition);
        blend.set("always_active", 1);
        tractor->plant_transition(blend, 0, at);
    };
    if (video && included(*video))
        addPictures(*video, Role::Video, parts.effects && model.EffectsEnabled());
    for (const Track* overlay : overlays)
        if (included(*overlay))
            addPictures(*overlay, Role::Overlay, false);
    for (const Track* track : audio) {
        if (!included(*track))
            continue;
        std::unique_ptr<Mlt::Producer> layer = BuildTrack(profile, *track, Role::Audio, lookup, cache, frames);
        const int at = index++;
        tractor->set_track(*layer, at);
        std::unique_ptr<Mlt::Producer> placed(tractor->track(at));
        placed->set("hide", 1); // sound only
        Mlt::Transition mix(profile, "mix");
        mix.set("always_active", 1);
        mix.set("sum", 1);
        tractor->plant_transition(mix, 0, at);
    }
    cache.EndBuild();
    return tractor;
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
