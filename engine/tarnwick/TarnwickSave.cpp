#include "engine/tarnwick/TarnwickSave.h"

#include "engine/tarnwick/ProfileCatalogue.h"
#include "engine/tarnwick/TarnwickState.h"
#include "engine/tarnwick/TimelineGraph.h"

#include <Mlt.h>

#include <QFileInfo>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>

using namespace Tarnwick;

namespace {

const QString kUncompressed = QStringLiteral("Uncompressed");

// The compressors an AVI file carries, by FFmpeg's encoder name, with what the user may
// set on each. Only those the FFmpeg at hand has are listed.
struct Compressor
{
    const char* encoder;
    const char* name;
    bool keyFrames = false;
    bool predictedFrames = false;
    bool quality = false;
};

const Compressor kVideoCompressors[] = {
    {"mpeg4", "MPEG-4 Part 2 (mpeg4)", true, true, true},
    {"msmpeg4v2", "MPEG-4 V2 (msmpeg4v2)", true, false, true},
    {"msmpeg4", "MPEG-4 V3 (msmpeg4v3)", true, false, true},
    {"msvideo1", "Video-1 (msvideo1)", true, false, false},
    {"cinepak", "Cinepak (cinepak)", true, false, false},
    {"mjpeg", "Motion JPEG (mjpeg)", false, false, true},
    {"huffyuv", "HuffYUV, lossless (huffyuv)", false, false, false},
    {"ffv1", "FFV1, lossless (ffv1)", true, false, false},
    {"dvvideo", "DV (dvvideo)", false, false, false},
    {"libx264", "H.264 (libx264)", true, false, true},
};
const Compressor kRawVideo{"rawvideo", "Uncompressed"};

const Compressor kAudioCompressors[] = {
    {"pcm_s16le", "PCM, 16-bit (pcm_s16le)"},
    {"libmp3lame", "MP3 (libmp3lame)"},
    {"adpcm_ms", "ADPCM (adpcm_ms)"},
    {"adpcm_ima_wav", "IMA ADPCM (adpcm_ima_wav)"},
    {"pcm_alaw", "A-law (pcm_alaw)"},
    {"pcm_mulaw", "mu-law (pcm_mulaw)"},
};
const Compressor kRawAudio{"pcm_s16le", "Uncompressed"};

template <size_t N>
std::vector<const Compressor*> Installed(const Compressor (&table)[N])
{
    std::vector<const Compressor*> list;
    for (const Compressor& c : table)
        if (avcodec_find_encoder_by_name(c.encoder))
            list.push_back(&c);
    return list;
}

const std::vector<const Compressor*>& VideoList()
{
    static const std::vector<const Compressor*> list = Installed(kVideoCompressors);
    return list;
}

const std::vector<const Compressor*>& AudioList()
{
    static const std::vector<const Compressor*> list = Installed(kAudioCompressors);
    return list;
}

// The compressor of a name: "Uncompressed" after the listed ones; null for none.
const Compressor* Find(const std::vector<const Compressor*>& list, const Compressor& raw, const QString& name, int32_t* index = nullptr)
{
    for (size_t i = 0; i < list.size(); ++i) {
        if (name == QLatin1String(list[i]->name)) {
            if (index)
                *index = static_cast<int32_t>(i);
            return list[i];
        }
    }
    if (index)
        *index = name == kUncompressed ? static_cast<int32_t>(list.size()) : -1;
    return name == kUncompressed ? &raw : nullptr;
}

const Compressor* VideoAt(int32_t index)
{
    return index >= 0 && static_cast<size_t>(index) < VideoList().size() ? VideoList()[static_cast<size_t>(index)] : nullptr;
}

QString NameAt(const std::vector<const Compressor*>& list, int16_t index, int32_t size)
{
    if (index < 0 || static_cast<size_t>(index) >= list.size())
        return QString();
    return CutToBuffer(QLatin1String(list[static_cast<size_t>(index)]->name), size);
}

int16_t Short(int32_t value)
{
    return static_cast<int16_t>(std::clamp<int32_t>(value, -32768, 32767));
}

// 4:2:0 pictures have even sides.
int Even(int side)
{
    return std::max(16, side + (side & 1));
}

} // namespace

namespace Tarnwick {

bool AviEncoders(const QString& videoCompressor, const QString& audioCompressor, QString& videoEncoder, QString& audioEncoder)
{
    const Compressor* videoCodec = Find(VideoList(), kRawVideo, videoCompressor);
    const Compressor* audioCodec = Find(AudioList(), kRawAudio, audioCompressor);
    if (!videoCodec || !audioCodec)
        return false;
    videoEncoder = QLatin1String(videoCodec->encoder);
    audioEncoder = QLatin1String(audioCodec->encoder);
    return true;
}

bool WindowsMediaEncoding(const Profile& profile, bool video, EncodeSettings& encode, int& width, int& height)
{
    const ProfileStream* pictures = video ? profile.FirstStream(true) : nullptr;
    const ProfileStream* sound = profile.FirstStream(false);
    if ((pictures && (pictures->bitRate <= 0 || pictures->fps <= 0)) || (sound && sound->bitRate <= 0))
        return false;
    encode.container = QStringLiteral("asf");
    encode.videoCodec = pictures ? QStringLiteral("wmv2") : QString();
    encode.audioCodec = sound ? QStringLiteral("wmav2") : QString();
    encode.quality = -1;
    if (pictures) {
        encode.videoBitRate = pictures->bitRate;
        encode.frameRate = pictures->fps;
        encode.keyFrameInterval = std::max(1, pictures->keyFrameSeconds * pictures->fps);
        width = pictures->width;
        height = pictures->height;
    }
    if (sound) {
        encode.audioBitRate = sound->bitRate;
        encode.sampleRate = sound->sampleRate;
        encode.channels = sound->channels;
    }
    return true;
}

} // namespace Tarnwick

TarnwickSave::TarnwickSave(TarnwickState& state)
    : m_state(state)
{
}

TarnwickSave::~TarnwickSave()
{
    CloseSave();
}

bool TarnwickSave::AddSaveTrack(int32_t track)
{
    m_state.model.At(track); // an unknown handle is a failure status
    if (std::find(m_settings.tracks.begin(), m_settings.tracks.end(), track) == m_settings.tracks.end())
        m_settings.tracks.push_back(track);
    return true;
}

bool TarnwickSave::TimelineReads(const QString& path) const
{
    const QFileInfo target(path);
    if (!target.exists())
        return false;
    for (const auto& track : m_state.model.Tracks())
        for (const SourceItem& source : track->sources)
            if (QFileInfo(m_state.StreamPath(source.stream)) == target)
                return true;
    return false;
}

bool TarnwickSave::Prepare(EncodeSettings encode, int width, int height)
{
    Release();
    SetProblem(QString());
    m_saveState = Idle;
    if (m_settings.tracks.empty() || TimelineReads(encode.path))
        return false;
    GraphParts parts;
    parts.effects = m_settings.effects;
    parts.sequential = true;
    for (const auto& track : m_state.model.Tracks())
        if (std::find(m_settings.tracks.begin(), m_settings.tracks.end(), track->handle) == m_settings.tracks.end())
            parts.leaveOut.push_back(track->handle);
    if (!m_settings.whole) {
        if (m_settings.stop <= std::max(0, m_settings.start))
            return false;
        encode.startMs = std::max(0, m_settings.start);
        encode.stopMs = m_settings.stop;
    }
    auto profile = std::make_unique<Mlt::Profile>();
    SetGraphProfile(*profile, width, height);
    std::unique_ptr<Mlt::Tractor> graph =
        BuildTimelineGraph(*profile, m_state.model, [this](int32_t stream) { return m_state.Source(stream); }, parts);
    if (!graph)
        return false;
    auto encoder = std::make_unique<GraphEncoder>();
    QString error;
    if (!encoder->Open(std::move(profile), std::move(graph), encode, &error)) {
        SetProblem(error);
        return false;
    }
    m_encoder = std::move(encoder);
    m_stopping = false;
    m_path = encode.path;
    m_started = false;
    m_expected = {};
    m_expected.videoCodec = encode.videoCodec;
    m_expected.audioCodec = encode.audioCodec;
    m_expected.width = m_encoder->Width();
    m_expected.height = m_encoder->Height();
    m_expected.frames = m_encoder->OutputFrames();
    m_expected.frameRate = m_encoder->FrameRate();
    m_expected.lengthMs = m_encoder->LengthMs();
    m_expected.sampleRate = encode.sampleRate;
    m_expected.channels = encode.channels;
    m_expected.soundFrameMs = m_encoder->SoundFrameMs();
    return true;
}

bool TarnwickSave::PrepareAviFile(const QString& path)
{
    bool video = false, audio = false;
    for (int32_t track : m_settings.tracks)
        (m_state.model.At(track).isVideo ? video : audio) = true;
    int32_t index = -1;
    const Compressor* videoCodec = Find(VideoList(), kRawVideo, m_settings.videoCompressor, &index);
    const Compressor* audioCodec = Find(AudioList(), kRawAudio, m_settings.audioCompressor);
    if ((video && !videoCodec) || (audio && !audioCodec))
        return false;
    EncodeSettings encode;
    encode.path = path;
    encode.container = QStringLiteral("avi");
    encode.videoCodec = video ? QLatin1String(videoCodec->encoder) : QString();
    encode.audioCodec = audio ? QLatin1String(audioCodec->encoder) : QString();
    encode.frameRate = std::max(0, m_settings.frameRate);
    encode.quality = video && videoCodec->quality ? m_settings.quality : -1;
    encode.keyFrameInterval = video && videoCodec->keyFrames ? std::max(0, m_settings.keyFrameRate) : 0;
    if (video && videoCodec->predictedFrames && m_settings.pFrameFrequency > 0) {
        // Between two key frames stand so many predicted frames, and the others are
        // shared out as bidirectional ones between them.
        const int gop = encode.keyFrameInterval > 0 ? encode.keyFrameInterval : 12;
        encode.bFrames = std::clamp((gop - 1 - m_settings.pFrameFrequency) / (m_settings.pFrameFrequency + 1), 0, 4);
    }
    if (audio && QLatin1String(audioCodec->encoder) == u"libmp3lame")
        encode.audioBitRate = 128000;
    return Prepare(encode, Even(GetVideoWidth()), Even(GetVideoHeight()));
}

bool TarnwickSave::PrepareWindowsMediaFile(const QString& path)
{
    bool video = false;
    for (int32_t track : m_settings.tracks)
        video = video || m_state.model.At(track).isVideo;
    const std::optional<Profile> profile = FindProfile(video ? m_settings.videoProfile : m_settings.audioProfile);
    if (!profile)
        return false;
    EncodeSettings encode;
    encode.path = path;
    int width = m_state.model.FrameWidth(), height = m_state.model.FrameHeight();
    if (!WindowsMediaEncoding(*profile, video, encode, width, height))
        return false;
    if (video && m_settings.mediaWidth > 0 && m_settings.mediaHeight > 0) {
        width = m_settings.mediaWidth;
        height = m_settings.mediaHeight;
    }
    return Prepare(encode, Even(width), Even(height));
}

void TarnwickSave::Release()
{
    StopSave();
    if (m_encoder && !m_started)
        m_encoder->Discard(); // prepared, never run: only a header was written
    m_encoder.reset();
}

void TarnwickSave::CloseSave()
{
    // The tracks belong to this save: the next one adds its own.
    Release();
    m_settings.tracks.clear();
}

bool TarnwickSave::StartSave()
{
    if (!m_encoder || m_started)
        return false;
    m_started = true;
    m_saveState = Running;
    m_thread = std::thread([this] { Run(); });
    return true;
}

void TarnwickSave::RunSaveToEnd()
{
    if (!m_encoder || m_started)
        return;
    m_started = true;
    m_saveState = Running;
    Run();
}

void TarnwickSave::Run()
{
    QString error;
    switch (m_encoder->Run({}, &error)) {
    case GraphEncoder::Result::Done:
        SetProblem(MovieFile::Differences(m_path, m_expected, &m_stopping).join(u' '));
        m_saveState = Complete;
        break;
    case GraphEncoder::Result::Stopped:
        m_saveState = Stopped;
        break;
    case GraphEncoder::Result::Failed:
        SetProblem(error);
        m_saveState = Failed;
        break;
    }
}

bool TarnwickSave::StopSave()
{
    m_stopping = true; // the reading back too
    if (m_encoder)
        m_encoder->Stop();
    if (m_thread.joinable())
        m_thread.join();
    return true;
}

int32_t TarnwickSave::GetSaveDuration()
{
    return m_encoder ? m_encoder->LengthMs() : 0;
}

int32_t TarnwickSave::GetSavePosition()
{
    return m_encoder ? m_encoder->DoneMs() : 0;
}

int32_t TarnwickSave::GetSaveState()
{
    return m_saveState;
}

void TarnwickSave::SetProblem(const QString& problem)
{
    std::lock_guard lock(m_problemMutex);
    m_problem = problem;
}

QString TarnwickSave::GetSaveProblem(int32_t size)
{
    std::lock_guard lock(m_problemMutex);
    return CutToBuffer(m_problem, size);
}

bool TarnwickSave::OpenVideoCompressorList()
{
    return true;
}

bool TarnwickSave::OpenAudioCompressorList()
{
    return true;
}

QString TarnwickSave::GetVideoCompressorName(int16_t index, int32_t size)
{
    return NameAt(VideoList(), index, size);
}

QString TarnwickSave::GetAudioCompressorName(int16_t index, int32_t size)
{
    return NameAt(AudioList(), index, size);
}

void TarnwickSave::CloseVideoCompressorList()
{
}

void TarnwickSave::CloseAudioCompressorList()
{
}

void TarnwickSave::SetVideoCompressor(const QString& name)
{
    m_settings.videoCompressor = name.trimmed();
}

void TarnwickSave::SetAudioCompressor(const QString& name)
{
    m_settings.audioCompressor = name.trimmed();
}

int32_t TarnwickSave::GetVideoCompressorIndex()
{
    int32_t index = -1;
    Find(VideoList(), kRawVideo, m_settings.videoCompressor, &index);
    return index;
}

bool TarnwickSave::CanSetKeyFrameRate(int32_t index)
{
    const Compressor* c = VideoAt(index);
    return c && c->keyFrames;
}

bool TarnwickSave::CanSetPFrameFrequency(int32_t index)
{
    const Compressor* c = VideoAt(index);
    return c && c->predictedFrames;
}

bool TarnwickSave::CanSetQuality(int32_t index)
{
    const Compressor* c = VideoAt(index);
    return c && c->quality;
}

void TarnwickSave::SetFrameRate(int32_t value)
{
    m_settings.frameRate = value > 0 ? value : -1;
}

void TarnwickSave::SetKeyFrameRate(int32_t value)
{
    m_settings.keyFrameRate = value > 0 ? value : -1;
}

void TarnwickSave::SetPFrameFrequency(int32_t value)
{
    m_settings.pFrameFrequency = value >= 0 ? value : -1;
}

void TarnwickSave::SetQuality(int32_t value)
{
    m_settings.quality = value >= 0 ? std::min(value, 100) : -1;
}

int16_t TarnwickSave::GetFrameRate()
{
    return Short(m_settings.frameRate);
}

int16_t TarnwickSave::GetKeyFrameRate()
{
    return Short(m_settings.keyFrameRate);
}

int16_t TarnwickSave::GetPFrameFrequency()
{
    return Short(m_settings.pFrameFrequency);
}

int16_t TarnwickSave::GetQuality()
{
    return Short(m_settings.quality);
}

void TarnwickSave::ResetSave()
{
    CloseSave();
    m_settings = Settings{};
    m_saveState = Idle;
    SetProblem(QString());
}

void TarnwickSave::SetSaveRange(int32_t start, int32_t stop)
{
    m_settings.start = start;
    m_settings.stop = stop;
}

void TarnwickSave::SetSaveWholeTimeline(bool whole)
{
    m_settings.whole = whole;
}

void TarnwickSave::SetSaveEffects(bool include)
{
    m_settings.effects = include;
}

int16_t TarnwickSave::GetVideoWidth()
{
    return m_settings.width > 0 && m_settings.height > 0 ? Short(m_settings.width) : m_state.model.FrameWidth();
}

int16_t TarnwickSave::GetVideoHeight()
{
    return m_settings.width > 0 && m_settings.height > 0 ? Short(m_settings.height) : m_state.model.FrameHeight();
}

void TarnwickSave::SetVideoSize(int32_t width, int32_t height)
{
    m_settings.width = width;
    m_settings.height = height;
}

void TarnwickSave::SetWindowsMediaVideoSize(int16_t width, int16_t height)
{
    m_settings.mediaWidth = width;
    m_settings.mediaHeight = height;
}

void TarnwickSave::SetVideoProfile(const QString& name)
{
    m_settings.videoProfile = name.trimmed();
}

QString TarnwickSave::GetVideoProfile(int32_t size)
{
    return CutToBuffer(m_settings.videoProfile, size);
}

void TarnwickSave::SetAudioProfile(const QString& name)
{
    m_settings.audioProfile = name.trimmed();
}

QString TarnwickSave::GetAudioProfile(int32_t size)
{
    return CutToBuffer(m_settings.audioProfile, size);
}

bool TarnwickSave::OpenMetadata(const QString& path)
{
    m_fields = {};
    const QString container = MovieFile::Container(path);
    m_fieldsPath = container == u"avi" || container == u"asf" ? path : QString();
    return !m_fieldsPath.isEmpty();
}

void TarnwickSave::SetTitle(const QString& text)
{
    m_fields.title = text;
}

void TarnwickSave::SetAuthor(const QString& text)
{
    m_fields.author = text;
}

void TarnwickSave::SetRating(const QString& text)
{
    m_fields.rating = text;
}

void TarnwickSave::SetCopyright(const QString& text)
{
    m_fields.copyright = text;
}

void TarnwickSave::SetDescription(const QString& text)
{
    m_fields.description = text;
}

bool TarnwickSave::SaveMetadata()
{
    const QString path = std::exchange(m_fieldsPath, QString());
    if (path.isEmpty())
        return false;
    QString error;
    const bool written = m_fields.Empty() || MovieFile::WriteFields(path, m_fields, &error);
    if (!written)
        SetProblem(error);
    m_fields = {};
    return written;
}
