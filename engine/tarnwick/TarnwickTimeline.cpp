#include "engine/tarnwick/TarnwickTimeline.h"

#include "core/QmNumbers.h"
#include "engine/tarnwick/MltRuntime.h"
#include "engine/tarnwick/SystemFacts.h"
#include "engine/tarnwick/TarnwickFilePreview.h"
#include "engine/tarnwick/TarnwickPreview.h"

#include <Mlt.h>

#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QStandardPaths>

#include <algorithm>

using namespace Tarnwick;

namespace {

QString CutToBuffer(const QString& text, int32_t size)
{
    return size <= 0 ? QString() : text.left(size);
}

int32_t DurationMs(const StreamFacts& facts)
{
    return QmNumbers::CLng(facts.duration * 1000.0);
}

} // namespace

TarnwickTimeline::TarnwickTimeline()
    : m_filePreview(std::make_unique<TarnwickFilePreview>())
    , m_preview(std::make_unique<TarnwickPreview>(*this))
{
}

TarnwickTimeline::~TarnwickTimeline() = default;

ITWObject* TarnwickTimeline::QueryInterface(const std::type_info& interface)
{
    if (interface == typeid(ITWFilePreview))
        return m_filePreview.get();
    if (interface == typeid(ITWPreview))
        return m_preview.get();
    return nullptr;
}

// ---------------------------------------------------------------- ITWCoreRoot

int32_t TarnwickTimeline::OpenFile(const QString& path)
{
    MediaFacts facts = ProbeMedia(path);
    // A file without a video or audio stream has nothing to put in the media list.
    if (!facts.opened || facts.streams.empty())
        return 0;
    const int32_t handle = NewHandle();
    m_files.emplace(handle, FileRecord{path, std::move(facts), true});
    return handle;
}

bool TarnwickTimeline::CloseFile(int32_t file)
{
    auto it = m_files.find(file);
    if (it == m_files.end() || !it->second.open)
        return false;
    it->second.open = false;
    DropFileIfDone(file);
    return true;
}

bool TarnwickTimeline::GetFileName(int32_t file, int32_t size, QString& name)
{
    auto it = m_files.find(file);
    if (it == m_files.end())
        return false;
    name = CutToBuffer(it->second.path, size);
    return true;
}

int32_t TarnwickTimeline::GetFirstStream(int32_t file)
{
    for (const auto& [handle, record] : m_streams) {
        if (record.file == file)
            return handle;
    }
    return 0;
}

bool TarnwickTimeline::FileExists(const QString& path)
{
    return !path.isEmpty() && QFileInfo::exists(path);
}

bool TarnwickTimeline::ReleaseStillSource(int32_t handle)
{
    return m_stillSources.erase(handle) > 0;
}

QString TarnwickTimeline::GetWorkingFolder(int32_t size)
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        folder = QDir::homePath();
    return CutToBuffer(QDir::toNativeSeparators(folder), size);
}

void TarnwickTimeline::GetFileVersionInfo(const QString& fileName, int32_t& major, int32_t& minor, int32_t& build,
                                          int32_t& revision)
{
    const ComponentVersion version = SystemFacts::VersionOf(fileName);
    major = version.major;
    minor = version.minor;
    build = version.build;
    revision = version.revision;
}

void TarnwickTimeline::GetMemoryStatus(int32_t& load, int32_t& totalPhysical, int32_t& freePhysical,
                                       int32_t& freeSwap)
{
    const MemoryStatus status = SystemFacts::Memory();
    load = status.load;
    totalPhysical = status.totalPhysicalMb;
    freePhysical = status.freePhysicalMb;
    freeSwap = status.freeSwapMb;
}

QString TarnwickTimeline::GetSystemVersion(int32_t size)
{
    return CutToBuffer(QLocale::system().name(), size);
}

bool TarnwickTimeline::CheckDirectShowVersion()
{
    return MltRuntime::ModulesLoad();
}

int32_t TarnwickTimeline::GetFileError(const QString& path)
{
    return CheckRenderable(path);
}

// ---------------------------------------------------------------- ITWTimeline

int32_t TarnwickTimeline::CreateTrack(bool isVideo)
{
    return m_model.CreateTrack(NewHandle(), isVideo).handle;
}

bool TarnwickTimeline::StreamFits(const Track& track, int32_t stream) const
{
    const StreamFacts* facts = TimelineFacts(stream);
    return facts && facts->isVideo == track.isVideo;
}

bool TarnwickTimeline::AppendSource(int32_t track, int32_t stream, int32_t start)
{
    Track& t = m_model.At(track);
    if (!StreamFits(t, stream) || t.sources.size() >= MaxItems)
        return false;
    SourceItem source;
    source.stream = stream;
    source.start = start == -1 ? TimelineModel::Duration(t) : start;
    source.mediaStop = DurationMs(*TimelineFacts(stream));
    source.stop = source.start + source.mediaStop;
    t.sources.push_back(source);
    return true;
}

bool TarnwickTimeline::AddEffectAt(int32_t track, const QString& name, int32_t start, int32_t stop)
{
    Track& t = m_model.At(track);
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

bool TarnwickTimeline::AddTransitionAt(int32_t track, const QString& name, int32_t start, int32_t stop)
{
    Track& t = m_model.At(track);
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

bool TarnwickTimeline::InsertSource(int32_t track, int32_t stream, int16_t seq, int32_t start, int32_t stop)
{
    Track& t = m_model.At(track);
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

bool TarnwickTimeline::InsertEffect(int32_t track, const QString& name, int16_t seq, int32_t start, int32_t stop,
                                    int32_t /*reserved*/)
{
    Track& t = m_model.At(track);
    if (!t.isVideo)
        return false;
    return Items::InsertAt(t.effects, seq, EffectItem{name.left(MaxEffectName), start, stop, false});
}

bool TarnwickTimeline::InsertTransition(int32_t track, const QString& name, int16_t seq, int32_t start,
                                        int32_t stop, int32_t /*reserved*/)
{
    TransitionItem transition;
    transition.name = name;
    transition.start = start;
    transition.stop = stop;
    return Items::InsertAt(m_model.At(track).transitions, seq, std::move(transition));
}

bool TarnwickTimeline::RemoveSource(int32_t track, int16_t seq)
{
    return Items::Remove(m_model.At(track).sources, seq);
}

bool TarnwickTimeline::RemoveEffect(int32_t track, int16_t seq)
{
    return Items::Remove(m_model.At(track).effects, seq);
}

bool TarnwickTimeline::RemoveTransition(int32_t track, int16_t seq)
{
    return Items::Remove(m_model.At(track).transitions, seq);
}

bool TarnwickTimeline::IsVideoTrack(int32_t track)
{
    return m_model.At(track).isVideo;
}

bool TarnwickTimeline::GetSourceTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop)
{
    return Items::GetTimes(m_model.At(track).sources, seq, start, stop);
}

bool TarnwickTimeline::GetEffectTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop)
{
    return Items::GetTimes(m_model.At(track).effects, seq, start, stop);
}

bool TarnwickTimeline::GetTransitionTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop)
{
    return Items::GetTimes(m_model.At(track).transitions, seq, start, stop);
}

bool TarnwickTimeline::SetSourceTimes(int32_t track, int16_t seq, int32_t start, int32_t stop)
{
    return Items::SetTimes(m_model.At(track).sources, seq, start, stop);
}

bool TarnwickTimeline::SetEffectTimes(int32_t track, int16_t seq, int32_t start, int32_t stop)
{
    return Items::SetTimes(m_model.At(track).effects, seq, start, stop);
}

bool TarnwickTimeline::SetTransitionTimes(int32_t track, int16_t seq, int32_t start, int32_t stop)
{
    return Items::SetTimes(m_model.At(track).transitions, seq, start, stop);
}

bool TarnwickTimeline::GetSourceMediaTimes(int32_t track, int16_t seq, int32_t& mediaStart, int32_t& mediaStop)
{
    const SourceItem* source = Items::Find(m_model.At(track).sources, seq);
    if (!source)
        return false;
    mediaStart = source->mediaStart;
    mediaStop = source->mediaStop;
    return true;
}

bool TarnwickTimeline::SetSourceMediaTimes(int32_t track, int16_t seq, int32_t mediaStart, int32_t mediaStop)
{
    SourceItem* source = Items::Find(m_model.At(track).sources, seq);
    if (!source)
        return false;
    source->mediaStart = mediaStart;
    source->mediaStop = mediaStop;
    return true;
}

int16_t TarnwickTimeline::GetSourceCount(int32_t track)
{
    return Items::Count(m_model.At(track).sources);
}

int16_t TarnwickTimeline::GetEffectCount(int32_t track)
{
    return Items::Count(m_model.At(track).effects);
}

int16_t TarnwickTimeline::GetTransitionCount(int32_t track)
{
    return Items::Count(m_model.At(track).transitions);
}

int32_t TarnwickTimeline::GetSourceStream(int32_t track, int16_t seq)
{
    const SourceItem* source = Items::Find(m_model.At(track).sources, seq);
    return source ? source->stream : 0;
}

QString TarnwickTimeline::GetEffectName(int32_t track, int16_t seq, int32_t size)
{
    const EffectItem* effect = Items::Find(m_model.At(track).effects, seq);
    return effect ? CutToBuffer(effect->name, size) : QString();
}

QString TarnwickTimeline::GetTransitionName(int32_t track, int16_t seq, int32_t size)
{
    const TransitionItem* transition = Items::Find(m_model.At(track).transitions, seq);
    return transition ? CutToBuffer(transition->name, size) : QString();
}

int32_t TarnwickTimeline::GetTrackDuration(int32_t track)
{
    return TimelineModel::Duration(m_model.At(track));
}

bool TarnwickTimeline::GetTrackLink(int32_t track)
{
    return m_model.At(track).linked;
}

bool TarnwickTimeline::IsSourceSelected(int32_t track, int16_t seq)
{
    const SourceItem* source = Items::Find(m_model.At(track).sources, seq);
    return source && source->selected;
}

bool TarnwickTimeline::IsEffectItemSelected(int32_t track, int16_t seq)
{
    const EffectItem* effect = Items::Find(m_model.At(track).effects, seq);
    return effect && effect->selected;
}

void TarnwickTimeline::SetSourceSelected(int32_t track, int16_t seq, bool selected)
{
    Items::SetSelected(m_model.At(track).sources, seq, selected);
}

void TarnwickTimeline::SetEffectSelected(int32_t track, int16_t seq, bool selected)
{
    Items::SetSelected(m_model.At(track).effects, seq, selected);
}

void TarnwickTimeline::SetTransitionSelected(int32_t track, int16_t seq, bool selected)
{
    Items::SetSelected(m_model.At(track).transitions, seq, selected);
}

void TarnwickTimeline::SetTrackLink(int32_t track, bool linked)
{
    m_model.At(track).linked = linked;
}

bool TarnwickTimeline::ShiftSources(int32_t track, int16_t fromSeq, int32_t delta)
{
    return Items::Shift(m_model.At(track).sources, fromSeq, delta);
}

bool TarnwickTimeline::ShiftEffects(int32_t track, int16_t fromSeq, int32_t delta)
{
    return Items::Shift(m_model.At(track).effects, fromSeq, delta);
}

bool TarnwickTimeline::ShiftTransitions(int32_t track, int16_t fromSeq, int32_t delta)
{
    return Items::Shift(m_model.At(track).transitions, fromSeq, delta);
}

void TarnwickTimeline::SetEffectsEnabled(bool enabled)
{
    m_model.SetEffectsEnabled(enabled);
}

void TarnwickTimeline::SetTrackDisabled(int32_t track, bool disabled)
{
    m_model.At(track).disabled = disabled;
}

void TarnwickTimeline::SetFrameSize(int16_t width, int16_t height)
{
    if (width <= 0 || height <= 0)
        throw QmError(QmErr::InvalidArgument, QStringLiteral("The frame size %1 x %2 is not valid.").arg(width).arg(height));
    m_model.SetFrameSize(width, height);
}

void TarnwickTimeline::SetSourceStretchMode(int32_t track, int16_t seq, int16_t mode)
{
    if (SourceItem* source = Items::Find(m_model.At(track).sources, seq))
        source->stretchMode = mode;
}

int16_t TarnwickTimeline::GetSourceStretchMode(int32_t track, int16_t seq)
{
    const SourceItem* source = Items::Find(m_model.At(track).sources, seq);
    return source ? source->stretchMode : 0;
}

// ---------------------------------------------------------------- ITWKeyTransition

TransitionItem* TarnwickTimeline::Transition(int32_t track, int16_t seq)
{
    return Items::Find(m_model.At(track).transitions, seq);
}

bool TarnwickTimeline::SetKeyColor(int32_t track, int16_t seq, int16_t red, int16_t green, int16_t blue)
{
    TransitionItem* transition = Transition(track, seq);
    if (!transition)
        return false;
    transition->keyRed = red;
    transition->keyGreen = green;
    transition->keyBlue = blue;
    return true;
}

int16_t TarnwickTimeline::GetKeyRed(int32_t track, int16_t seq)
{
    const TransitionItem* transition = Transition(track, seq);
    return transition ? transition->keyRed : 0;
}

int16_t TarnwickTimeline::GetKeyGreen(int32_t track, int16_t seq)
{
    const TransitionItem* transition = Transition(track, seq);
    return transition ? transition->keyGreen : 0;
}

int16_t TarnwickTimeline::GetKeyBlue(int32_t track, int16_t seq)
{
    const TransitionItem* transition = Transition(track, seq);
    return transition ? transition->keyBlue : 0;
}

bool TarnwickTimeline::SetKeyParameter(int32_t track, int16_t seq, const QString& name, int32_t value)
{
    TransitionItem* transition = Transition(track, seq);
    if (!transition || name.isEmpty())
        return false;
    for (auto& [key, current] : transition->parameters) {
        if (key.compare(name, Qt::CaseInsensitive) == 0) {
            current = value;
            return true;
        }
    }
    transition->parameters.emplace_back(name, value);
    return true;
}

void TarnwickTimeline::ClearKeyParameters(int32_t track, int16_t seq)
{
    if (TransitionItem* transition = Transition(track, seq)) {
        transition->parameters.clear();
        transition->keyRed = transition->keyGreen = transition->keyBlue = 0;
    }
}

// ---------------------------------------------------------------- ITWMediaFiles

const StreamFacts* TarnwickTimeline::Facts(int32_t stream) const
{
    auto it = m_streams.find(stream);
    if (it == m_streams.end())
        return nullptr;
    const FileRecord& file = m_files.at(it->second.file);
    return &file.facts.streams[static_cast<size_t>(it->second.index)];
}

int32_t TarnwickTimeline::OpenStream(int32_t file, int16_t index)
{
    auto it = m_files.find(file);
    if (it == m_files.end() || !it->second.open || index < 0
        || static_cast<size_t>(index) >= it->second.facts.streams.size())
        return 0;
    for (const auto& [handle, record] : m_streams) {
        if (record.file == file && record.index == index)
            return handle;
    }
    const int32_t handle = NewHandle();
    m_streams.emplace(handle, StreamRecord{file, index});
    return handle;
}

const StreamFacts* TarnwickTimeline::TimelineFacts(int32_t stream) const
{
    if (const StreamFacts* facts = Facts(stream))
        return facts;
    auto retired = m_retiredStreams.find(stream);
    return retired == m_retiredStreams.end() ? nullptr : &retired->second.facts;
}

QString TarnwickTimeline::StreamPath(int32_t stream) const
{
    if (auto it = m_streams.find(stream); it != m_streams.end())
        return m_files.at(it->second.file).path;
    auto retired = m_retiredStreams.find(stream);
    return retired == m_retiredStreams.end() ? QString() : retired->second.path;
}

Tarnwick::StreamSource TarnwickTimeline::Source(int32_t stream) const
{
    return {StreamPath(stream), TimelineFacts(stream)};
}

std::unique_ptr<Mlt::Tractor> TarnwickTimeline::BuildGraph(Mlt::Profile& profile, Tarnwick::ProducerCache* cache) const
{
    return BuildTimelineGraph(profile, m_model, [this](int32_t stream) { return Source(stream); }, {}, cache);
}

std::unique_ptr<Mlt::Tractor> TarnwickTimeline::GraphAtFrameSize(Mlt::Profile& profile) const
{
    SetGraphProfile(profile, m_model.FrameWidth(), m_model.FrameHeight());
    return BuildGraph(profile);
}

QImage TarnwickTimeline::RenderFrame(int32_t ms)
{
    Mlt::Profile profile;
    std::unique_ptr<Mlt::Tractor> graph = GraphAtFrameSize(profile);
    if (!graph)
        return {};
    graph->seek(Tarnwick::MsToFrame(ms));
    std::unique_ptr<Mlt::Frame> frame(graph->get_frame());
    return frame ? Tarnwick::FrameImage(*frame, profile) : QImage();
}

bool TarnwickTimeline::RenderMovie(const Tarnwick::EncodeSettings& settings, const Tarnwick::EncodeProgress& progress,
                                   QString* error)
{
    Mlt::Profile profile;
    std::unique_ptr<Mlt::Tractor> graph = GraphAtFrameSize(profile);
    if (!graph) {
        if (error)
            *error = QStringLiteral("The timeline could not be rendered.");
        return false;
    }
    const int32_t frames = std::max(1, Tarnwick::MsToFrame(m_model.PlayedDuration()));
    return Tarnwick::EncodeGraph(*graph, profile, frames, settings, progress, error);
}

std::vector<int16_t> TarnwickTimeline::RenderSound(int32_t fromMs, int32_t lengthMs)
{
    Mlt::Profile profile;
    std::unique_ptr<Mlt::Tractor> graph = GraphAtFrameSize(profile);
    std::vector<int16_t> sound;
    if (!graph)
        return sound;
    const int32_t first = Tarnwick::MsToFrame(fromMs);
    const int32_t last = Tarnwick::MsToFrame(fromMs + lengthMs);
    graph->seek(first);
    graph->set_speed(1.0);
    for (int32_t position = first; position < last; ++position) {
        std::unique_ptr<Mlt::Frame> frame(graph->get_frame());
        if (!frame)
            break;
        Tarnwick::TakeSound(*frame, position, sound);
    }
    return sound;
}

bool TarnwickTimeline::CloseStream(int32_t stream)
{
    auto it = m_streams.find(stream);
    if (it == m_streams.end())
        return false;
    const int32_t file = it->second.file;
    m_retiredStreams.emplace(stream, RetiredStream{StreamPath(stream), *Facts(stream)});
    m_streams.erase(it);
    if (m_selectedStream == stream)
        m_selectedStream = 0;
    DropFileIfDone(file);
    return true;
}

void TarnwickTimeline::DropFileIfDone(int32_t file)
{
    auto it = m_files.find(file);
    if (it != m_files.end() && !it->second.open && GetFirstStream(file) == 0)
        m_files.erase(it);
}

bool TarnwickTimeline::SelectStream(int32_t stream)
{
    m_selectedStream = m_streams.count(stream) ? stream : 0;
    return m_selectedStream != 0;
}

int32_t TarnwickTimeline::GetStreamFile(int32_t stream)
{
    auto it = m_streams.find(stream);
    return it == m_streams.end() ? 0 : it->second.file;
}

bool TarnwickTimeline::IsVideoStream(int32_t stream)
{
    const StreamFacts* facts = Facts(stream);
    return facts && facts->isVideo;
}

// ---------------------------------------------------------------- ITWStreamInfo

bool TarnwickTimeline::IsVideo()
{
    const StreamFacts* facts = SelectedFacts();
    return facts && facts->isVideo;
}

bool TarnwickTimeline::IsAudio()
{
    const StreamFacts* facts = SelectedFacts();
    return facts && facts->isAudio;
}

void TarnwickTimeline::GetVideoSize(int32_t& height, int32_t& width)
{
    const StreamFacts* facts = SelectedFacts();
    height = facts ? facts->height : 0;
    width = facts ? facts->width : 0;
}

int32_t TarnwickTimeline::GetAudioSampleRate()
{
    const StreamFacts* facts = SelectedFacts();
    return facts ? facts->sampleRate : 0;
}

double TarnwickTimeline::GetDuration()
{
    const StreamFacts* facts = SelectedFacts();
    return facts ? facts->duration : 0.0;
}

double TarnwickTimeline::GetFrameRate()
{
    const StreamFacts* facts = SelectedFacts();
    return facts ? facts->frameRate : 0.0;
}

void TarnwickTimeline::OpenFileInfo(const QString& path, int32_t /*flags*/)
{
    // A file the engine has open was read already; others are read now.
    for (const auto& [handle, record] : m_files) {
        if (record.path == path) {
            m_fileInfo = record.facts;
            return;
        }
    }
    m_fileInfo = ProbeMedia(path);
}

int32_t TarnwickTimeline::GetStreamCount()
{
    return static_cast<int32_t>(m_fileInfo.streams.size());
}
