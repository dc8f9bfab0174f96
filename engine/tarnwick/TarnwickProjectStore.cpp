#include "engine/tarnwick/TarnwickProjectStore.h"

#include "core/QmXml.h"
#include "engine/tarnwick/GraphDocument.h"
#include "engine/tarnwick/TarnwickState.h"
#include "engine/tarnwick/TimelineGraph.h"

#include <QFileInfo>

#include <limits>
#include <map>

using namespace Tarnwick;

namespace {

// The element of the root that holds the engine's model. Its name, and those of its
// children, must be none of MLT's own: MLT's loader acts on a "track" or a "filter"
// wherever it stands.
constexpr const char* kModel = "QuillmontTimeline";

// A media file as the document names it: the files open when it was written, in the
// order they were opened (the media list's), then any file that only a closed stream of
// the timeline still names.
struct MediaEntry
{
    QString path;
    bool listed = true;
    bool operator==(const MediaEntry&) const = default;
};

// A stream of the timeline: the media entry of its file and its number there.
struct StreamEntry
{
    int media = -1;
    int index = 0;
    StreamFacts facts;
};

[[noreturn]] void Unreadable()
{
    throw QmError(QmErr::SubscriptOutOfRange, QStringLiteral("The project holds no timeline that fits."));
}

int64_t Int(pugi::xml_node node, const char* name, int64_t low, int64_t high)
{
    const pugi::xml_attribute attribute = node.attribute(name);
    if (!attribute)
        Unreadable();
    try {
        return QmXml::Number(attribute, low, high);
    } catch (const QmError&) {
        Unreadable();
    }
}

int32_t Time(pugi::xml_node node, const char* name)
{
    return static_cast<int32_t>(Int(node, name, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

int16_t Short(pugi::xml_node node, const char* name)
{
    return static_cast<int16_t>(Int(node, name, std::numeric_limits<int16_t>::min(), std::numeric_limits<int16_t>::max()));
}

bool Flag(pugi::xml_node node, const char* name)
{
    return Int(node, name, 0, 1) != 0;
}

QString Text(pugi::xml_node node, const char* name)
{
    const pugi::xml_attribute attribute = node.attribute(name);
    if (!attribute)
        Unreadable();
    return QmXml::Value(attribute);
}

void Put(pugi::xml_node node, const char* name, long long value)
{
    node.append_attribute(name) = value;
}

void Put(pugi::xml_node node, const char* name, const QString& value)
{
    node.append_attribute(name) = value.toUtf8().constData();
}

class TimelineSnapshot final : public ITWTimelineSnapshot
{
public:
    explicit TimelineSnapshot(const TarnwickState& state);

    QByteArray Document() const override;
    bool SameAs(const ITWTimelineSnapshot& other) const override;

private:
    void WriteModel(pugi::xml_node model) const;
    int UnlistedMedia(const QString& path);

    TimelineModel m_model;
    std::vector<MediaEntry> m_media;
    std::map<int32_t, StreamEntry> m_streams;
};

TimelineSnapshot::TimelineSnapshot(const TarnwickState& state)
{
    std::map<int32_t, int> listed;
    for (const auto& [handle, file] : state.files) {
        if (!file.open)
            continue;
        listed.emplace(handle, static_cast<int>(m_media.size()));
        m_media.push_back({file.path, true});
    }
    for (const auto& track : state.model.Tracks()) {
        m_model.CreateTrack(track->handle, track->isVideo) = *track;
        for (const SourceItem& source : track->sources) {
            if (m_streams.count(source.stream))
                continue;
            if (auto open = state.streams.find(source.stream); open != state.streams.end()) {
                const auto file = listed.find(open->second.file);
                const int media = file != listed.end() ? file->second
                                                       : UnlistedMedia(state.files.at(open->second.file).path);
                m_streams.emplace(source.stream, StreamEntry{media, open->second.index, *state.Facts(source.stream)});
            } else if (auto retired = state.retiredStreams.find(source.stream); retired != state.retiredStreams.end()) {
                m_streams.emplace(source.stream, StreamEntry{UnlistedMedia(retired->second.path), retired->second.index,
                                                             retired->second.facts});
            }
        }
    }
    m_model.SetEffectsEnabled(state.model.EffectsEnabled());
    m_model.SetFrameSize(state.model.FrameWidth(), state.model.FrameHeight());
}

int TimelineSnapshot::UnlistedMedia(const QString& path)
{
    for (size_t i = 0; i < m_media.size(); ++i)
        if (!m_media[i].listed && m_media[i].path == path)
            return static_cast<int>(i);
    m_media.push_back({path, false});
    return static_cast<int>(m_media.size()) - 1;
}

QByteArray TimelineSnapshot::Document() const
{
    pugi::xml_document document;
    pugi::xml_node mlt = document.append_child("mlt");
    const GraphPlan plan = PlanTimelineGraph(m_model, [this](int32_t stream) {
        const auto it = m_streams.find(stream);
        return it == m_streams.end() ? StreamSource{} : StreamSource{m_media[static_cast<size_t>(it->second.media)].path, &it->second.facts};
    });
    WriteGraphDocument(mlt, plan, m_model.FrameWidth(), m_model.FrameHeight());
    WriteModel(mlt.append_child(kModel));
    return QmXml::Text(document);
}

void TimelineSnapshot::WriteModel(pugi::xml_node model) const
{
    Put(model, "width", m_model.FrameWidth());
    Put(model, "height", m_model.FrameHeight());
    Put(model, "effects", m_model.EffectsEnabled());
    for (const MediaEntry& media : m_media) {
        pugi::xml_node node = model.append_child("Media");
        Put(node, "path", media.path);
        Put(node, "listed", media.listed);
    }
    for (const auto& track : m_model.Tracks()) {
        pugi::xml_node node = model.append_child("TimelineTrack");
        Put(node, "video", track->isVideo);
        Put(node, "linked", track->linked);
        Put(node, "disabled", track->disabled);
        for (const SourceItem& s : track->sources) {
            const auto stream = m_streams.find(s.stream);
            pugi::xml_node item = node.append_child("Source");
            Put(item, "media", stream == m_streams.end() ? -1 : stream->second.media);
            Put(item, "stream", stream == m_streams.end() ? 0 : stream->second.index);
            Put(item, "start", s.start);
            Put(item, "stop", s.stop);
            Put(item, "mediaStart", s.mediaStart);
            Put(item, "mediaStop", s.mediaStop);
            Put(item, "stretch", s.stretchMode);
            Put(item, "selected", s.selected);
        }
        for (const EffectItem& e : track->effects) {
            pugi::xml_node item = node.append_child("Effect");
            Put(item, "name", e.name);
            Put(item, "start", e.start);
            Put(item, "stop", e.stop);
            Put(item, "selected", e.selected);
        }
        for (const TransitionItem& t : track->transitions) {
            pugi::xml_node item = node.append_child("Transition");
            Put(item, "name", t.name);
            Put(item, "start", t.start);
            Put(item, "stop", t.stop);
            Put(item, "selected", t.selected);
            Put(item, "red", t.keyRed);
            Put(item, "green", t.keyGreen);
            Put(item, "blue", t.keyBlue);
            for (const auto& [name, value] : t.parameters) {
                pugi::xml_node parameter = item.append_child("KeyParameter");
                Put(parameter, "name", name);
                Put(parameter, "value", value);
            }
        }
    }
}

bool TimelineSnapshot::SameAs(const ITWTimelineSnapshot& other) const
{
    const auto* that = dynamic_cast<const TimelineSnapshot*>(&other);
    if (!that || m_media != that->m_media || m_model.Tracks().size() != that->m_model.Tracks().size()
        || m_model.FrameWidth() != that->m_model.FrameWidth() || m_model.FrameHeight() != that->m_model.FrameHeight()
        || m_model.EffectsEnabled() != that->m_model.EffectsEnabled() || m_streams.size() != that->m_streams.size())
        return false;
    for (size_t i = 0; i < m_model.Tracks().size(); ++i) {
        const Track& a = *m_model.Tracks()[i];
        const Track& b = *that->m_model.Tracks()[i];
        if (a.handle != b.handle || a.isVideo != b.isVideo || a.linked != b.linked || a.disabled != b.disabled
            || a.sources != b.sources || a.effects != b.effects || a.transitions != b.transitions)
            return false;
    }
    for (const auto& [stream, entry] : m_streams) {
        const auto it = that->m_streams.find(stream);
        if (it == that->m_streams.end() || it->second.media != entry.media || it->second.index != entry.index)
            return false;
    }
    return true;
}

// What a document's model holds, read and checked before anything of it is applied.
struct ReadTrack
{
    bool isVideo = false;
    struct Placed
    {
        SourceItem item;
        int media = -1;
        int index = 0;
    };
    std::vector<Placed> sources;
    std::vector<EffectItem> effects;
    std::vector<TransitionItem> transitions;
};

std::vector<ReadTrack> ReadTracks(pugi::xml_node model, size_t mediaCount)
{
    std::vector<ReadTrack> tracks;
    for (pugi::xml_node node : model.children("TimelineTrack")) {
        ReadTrack track;
        track.isVideo = Flag(node, "video");
        for (pugi::xml_node item : node.children()) {
            const std::string kind = item.name();
            if (kind == "Source") {
                ReadTrack::Placed s;
                s.media = static_cast<int>(Int(item, "media", -1, static_cast<int64_t>(mediaCount) - 1));
                s.index = static_cast<int>(Int(item, "stream", 0, std::numeric_limits<int16_t>::max()));
                s.item.start = Time(item, "start");
                s.item.stop = Time(item, "stop");
                s.item.mediaStart = Time(item, "mediaStart");
                s.item.mediaStop = Time(item, "mediaStop");
                s.item.stretchMode = Short(item, "stretch");
                s.item.selected = Flag(item, "selected");
                track.sources.push_back(s);
            } else if (kind == "Effect") {
                if (!track.isVideo)
                    Unreadable();
                EffectItem e;
                e.name = Text(item, "name");
                if (e.name.size() > MaxEffectName)
                    Unreadable();
                e.start = Time(item, "start");
                e.stop = Time(item, "stop");
                e.selected = Flag(item, "selected");
                track.effects.push_back(e);
            } else if (kind == "Transition") {
                TransitionItem t;
                t.name = Text(item, "name");
                t.start = Time(item, "start");
                t.stop = Time(item, "stop");
                t.selected = Flag(item, "selected");
                t.keyRed = Short(item, "red");
                t.keyGreen = Short(item, "green");
                t.keyBlue = Short(item, "blue");
                for (pugi::xml_node parameter : item.children("KeyParameter"))
                    t.parameters.emplace_back(Text(parameter, "name"), Time(parameter, "value"));
                track.transitions.push_back(t);
            }
        }
        if (track.sources.size() > MaxItems || track.effects.size() > MaxItems || track.transitions.size() > MaxItems)
            Unreadable();
        tracks.push_back(std::move(track));
    }
    return tracks;
}

} // namespace

TarnwickProjectStore::TarnwickProjectStore(TarnwickState& state)
    : m_state(state)
{
}

std::shared_ptr<const ITWTimelineSnapshot> TarnwickProjectStore::TakeSnapshot()
{
    return std::make_shared<TimelineSnapshot>(m_state);
}

bool TarnwickProjectStore::SaveProject(const QString& path)
{
    QmXml::WriteFile(path, TakeSnapshot()->Document());
    return true;
}

void TarnwickProjectStore::LoadProject(const QString& path)
{
    pugi::xml_document document;
    if (!QmXml::Load(document, path))
        Unreadable();
    const pugi::xml_node root = document.first_child();
    const pugi::xml_node model = root.child(kModel);
    if (std::string(root.name()) != "mlt" || !model)
        Unreadable();

    const int16_t width = static_cast<int16_t>(Int(model, "width", 1, std::numeric_limits<int16_t>::max()));
    const int16_t height = static_cast<int16_t>(Int(model, "height", 1, std::numeric_limits<int16_t>::max()));
    std::vector<MediaEntry> media;
    for (pugi::xml_node node : model.children("Media"))
        media.push_back({Text(node, "path"), Flag(node, "listed")});
    const std::vector<ReadTrack> tracks = ReadTracks(model, media.size());
    const auto& present = m_state.model.Tracks();
    if (tracks.size() != present.size())
        Unreadable();
    for (size_t i = 0; i < tracks.size(); ++i)
        if (tracks[i].isVideo != present[i]->isVideo)
            Unreadable();

    // The files: the listed ones are those open now, in the order they were opened, as
    // long as each bears the name it had (a file found again may lie in another folder);
    // any other is looked for among the open files by its path, and else read afresh for
    // the streams of it that the timeline names.
    std::vector<int32_t> open;
    for (const auto& [handle, file] : m_state.files)
        if (file.open)
            open.push_back(handle);
    auto nameOf = [](const QString& path) { return QFileInfo(path).fileName(); };
    auto openByPath = [&](const QString& path) -> int32_t {
        for (int32_t handle : open)
            if (m_state.files.at(handle).path == path)
                return handle;
        return 0;
    };
    std::vector<int32_t> fileOf(media.size(), 0);
    std::map<int, MediaFacts> probed;
    size_t listed = 0;
    for (size_t m = 0; m < media.size(); ++m) {
        if (media[m].listed) {
            const size_t at = listed++;
            if (at < open.size() && nameOf(m_state.files.at(open[at]).path) == nameOf(media[m].path))
                fileOf[m] = open[at];
        }
        if (!fileOf[m])
            fileOf[m] = openByPath(media[m].path);
    }

    // Each source's stream, of the kind of its track.
    std::map<std::pair<int, int>, int32_t> streamOf;
    auto stream = [&](int m, int index, bool video) -> int32_t {
        if (m < 0)
            return 0;
        const auto key = std::make_pair(m, index);
        if (auto known = streamOf.find(key); known != streamOf.end())
            return known->second;
        int32_t handle = 0;
        const StreamFacts* facts = nullptr;
        if (const int32_t file = fileOf[static_cast<size_t>(m)]) {
            for (const auto& [candidate, record] : m_state.streams)
                if (record.file == file && record.index == index)
                    handle = candidate;
            facts = handle ? m_state.Facts(handle) : nullptr;
        } else {
            // A stream closed since, which the engine still knows, keeps its handle.
            for (const auto& [candidate, retired] : m_state.retiredStreams)
                if (retired.path == media[static_cast<size_t>(m)].path && retired.index == index)
                    handle = candidate, facts = &retired.facts;
        }
        if (!handle && !fileOf[static_cast<size_t>(m)]) {
            auto found = probed.find(m);
            if (found == probed.end())
                found = probed.emplace(m, ProbeMedia(media[static_cast<size_t>(m)].path)).first;
            if (!found->second.opened)
                throw QmError(QmErr::FileNotFound,
                              QStringLiteral("File not found: ") + media[static_cast<size_t>(m)].path);
            if (static_cast<size_t>(index) < found->second.streams.size()) {
                handle = m_state.NewHandle();
                facts = &found->second.streams[static_cast<size_t>(index)];
                m_state.retiredStreams.emplace(handle, TarnwickState::RetiredStream{media[static_cast<size_t>(m)].path, *facts, index});
            }
        }
        if (!handle || !facts || (video ? !facts->isVideo : !facts->isAudio))
            Unreadable();
        streamOf.emplace(key, handle);
        return handle;
    };
    std::vector<std::vector<SourceItem>> sources(tracks.size());
    for (size_t i = 0; i < tracks.size(); ++i) {
        for (const ReadTrack::Placed& placed : tracks[i].sources) {
            SourceItem item = placed.item;
            item.stream = stream(placed.media, placed.index, tracks[i].isVideo);
            sources[i].push_back(item);
        }
    }

    // All read and found: the timeline takes it.
    for (size_t i = 0; i < tracks.size(); ++i) {
        Track& track = *present[i];
        track.sources = std::move(sources[i]);
        track.effects = tracks[i].effects;
        track.transitions = tracks[i].transitions;
    }
    m_state.model.SetFrameSize(width, height);
}
