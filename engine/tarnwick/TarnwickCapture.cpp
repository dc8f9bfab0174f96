#include "engine/tarnwick/TarnwickCapture.h"

#include "engine/ITWVideoSurface.h"
#include "engine/tarnwick/MovieWriter.h"
#include "engine/tarnwick/StillFrames.h"
#include "engine/tarnwick/TarnwickSave.h"
#include "engine/tarnwick/TarnwickState.h"

#include <QFile>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/time.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <thread>

using namespace Tarnwick;

namespace {

constexpr int TestFps = 30;
constexpr int TestWidth = 320;
constexpr int TestHeight = 240;
const QString kTestPattern = QStringLiteral("Quillmont Test Pattern");
const QString kTestTone = QStringLiteral("Quillmont Test Tone");

QString AvError(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

// The one clock: microseconds of the wall clock, which the system's capture devices
// stamp their input with.
int64_t Now()
{
    return av_gettime();
}

// The moment the test devices count their seconds from, shared by both, so that a flash
// and its beep happen at the same moment whenever each device was opened.
int64_t TestEpoch()
{
    static const int64_t epoch = Now() / 1000000 * 1000000;
    return epoch;
}

QByteArray TestDevicesWanted()
{
    return qgetenv("QUILLMONT_TEST_DEVICES").trimmed().toLower();
}

// Device names as the user reads them; a name met twice gets " (2)", " (3)" ...
void AddDevice(std::vector<TarnwickCapture::Device>& list, TarnwickCapture::Device device)
{
    const QString base = device.name.section(u'\n', 0, 0).trimmed();
    device.name = base.isEmpty() ? device.url : base;
    for (int n = 2; std::any_of(list.begin(), list.end(), [&](const auto& d) { return d.name == device.name; }); ++n)
        device.name = base + QStringLiteral(" (%1)").arg(n);
    list.push_back(device);
}

void AddSystemDevices(std::vector<TarnwickCapture::Device>& list, const char* format, bool skipNull)
{
    const AVInputFormat* input = av_find_input_format(format);
    if (!input)
        return;
    AVDeviceInfoList* found = nullptr;
    if (avdevice_list_input_sources(input, nullptr, nullptr, &found) >= 0 && found) {
        for (int i = 0; i < found->nb_devices; ++i) {
            const AVDeviceInfo* info = found->devices[i];
            const QString url = QString::fromUtf8(info->device_name);
            if (url.isEmpty() || (skipNull && (url == u"null" || url.startsWith(u"null:"))))
                continue;
            const QString description = info->device_description ? QString::fromUtf8(info->device_description) : url;
            AddDevice(list, {description, QString::fromLatin1(format), url, false});
        }
    }
    avdevice_free_list_devices(&found);
}

struct PacketDeleter
{
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

} // namespace

// An opened device with its decoder and what its pictures or sound are converted with.
struct TarnwickCapture::Source
{
    ~Source()
    {
        if (thread.joinable())
            thread.join();
        avcodec_free_context(&decoder);
        avformat_close_input(&input);
        sws_freeContext(preview);
        sws_freeContext(recorder);
        swr_free(&resampler);
    }

    Device device;
    bool video = false;
    AVFormatContext* input = nullptr;
    AVCodecContext* decoder = nullptr;
    int stream = -1;
    int width = 0, height = 0;
    int fps = TestFps;
    int sampleRate = 0;
    int channels = 0;
    // Test devices run at their own pace and stamp from here; others stamp themselves.
    int64_t base = 0;
    int64_t firstPts = AV_NOPTS_VALUE;
    std::thread thread;
    SwsContext* preview = nullptr;
    SwsContext* recorder = nullptr;
    SwrContext* resampler = nullptr;
    std::vector<int16_t> samples;
};

// The file being recorded, with where each stream stands in it.
struct TarnwickCapture::Recording
{
    ~Recording() { sws_freeContext(scaler); }

    std::mutex mutex;
    MovieWriter writer;
    int16_t syncMaster = 1;
    int rate = 48000, channels = 2;
    int64_t start = 0;    // on the one clock, when the devices ran
    int64_t end = -1;     // when it ended, once it has
    int64_t nextPicture = 0;
    FramePtr last;        // repeated where the device sent nothing in time
    // The newest picture is held back until the next one comes, or the end: a picture
    // taken just before the end has no frame of its own in the file.
    FramePtr pending;
    int64_t pendingIndex = 0;
    SwsContext* scaler = nullptr;
    bool soundStarted = false;
    int64_t soundWritten = 0; // samples of each channel
    int64_t soundLag = 0;     // µs: the sound's own clock behind the one clock
    bool failed = false;
    std::atomic<int32_t> captured{0};
    std::atomic<int32_t> dropped{0};

    // The frame the next picture may take.
    int64_t NextFree() const { return pending ? pendingIndex + 1 : nextPicture; }

    // Writes the picture held back, after the frames before it that the device did not
    // send in time, which show the picture before them.
    void Flush(QString* error)
    {
        AVFrame* filler = last ? last.get() : pending.get();
        // Before the first picture the device had nothing to send yet: no frame was dropped.
        const bool first = !last;
        while (nextPicture < pendingIndex && !failed) {
            failed = !writer.WriteVideo(*filler, error);
            ++nextPicture;
            dropped += first ? 0 : 1;
        }
        if (!failed)
            failed = !writer.WriteVideo(*pending, error);
        ++nextPicture;
        ++captured;
        last = std::move(pending);
    }

    void WriteSilence(int64_t count, QString* error)
    {
        std::vector<int16_t> silence(static_cast<size_t>(std::min<int64_t>(count, rate)) * channels, 0);
        while (count > 0 && !failed) {
            const int n = static_cast<int>(std::min<int64_t>(count, rate));
            failed = !writer.WriteAudio(silence.data(), n, error);
            soundWritten += n;
            count -= n;
        }
    }

    // The pictures and the sound brought up to the end: a device that fell silent or
    // stopped sending pictures leaves the last picture and silence behind.
    bool Finish(QString* error)
    {
        const double seconds = std::max<int64_t>(0, end - start) / 1e6;
        if (writer.HasVideo() && !failed) {
            const int64_t due = std::llround(seconds * writer.fps);
            // The newest picture stays out when its frame would begin at or after the end,
            // so that the pictures last as long as the sound.
            if (pending && pendingIndex < due)
                Flush(error);
            pending.reset();
            while (last && nextPicture < due && !failed) {
                failed = !writer.WriteVideo(*last, error);
                ++nextPicture;
            }
        }
        if (writer.HasAudio() && !failed) {
            const int64_t due = std::llround(seconds * rate);
            if (soundWritten < due)
                WriteSilence(due - soundWritten, error);
        }
        return writer.Finish(failed ? nullptr : error) && !failed;
    }
};

TarnwickCapture::TarnwickCapture(OpenProfile openProfile)
    : m_openProfile(std::move(openProfile))
{
}

TarnwickCapture::~TarnwickCapture()
{
    ReleaseCapture();
}

void TarnwickCapture::ListDevices()
{
    static const bool registered = [] {
        avdevice_register_all();
        return true;
    }();
    (void)registered;
    m_videoDevices.clear();
    m_audioDevices.clear();
    const QByteArray wanted = TestDevicesWanted();
    const bool test = !wanted.isEmpty() && wanted != "0";
    if (!test || wanted == "1") {
        AddSystemDevices(m_videoDevices, "video4linux2", false);
        AddSystemDevices(m_audioDevices, "pulse", false);
        AddSystemDevices(m_audioDevices, "alsa", true);
    }
    if (!test || wanted == "none")
        return;
    // Test devices: FFmpeg's own sources through the same opening and reading as
    // cameras and microphones. Their graphs are completed when opened (see Open).
    const bool broken = wanted == "broken";
    if (wanted != "audio")
        m_videoDevices.push_back({kTestPattern, QStringLiteral("lavfi"), broken ? QStringLiteral("quillmont_missing") : QString(), true});
    if (wanted != "video")
        m_audioDevices.push_back({kTestTone, QStringLiteral("lavfi"), broken ? QStringLiteral("quillmont_missing") : QString(), true});
}

bool TarnwickCapture::InitCapture()
{
    ReleaseCapture();
    ListDevices();
    m_initialised = true;
    m_deviceSet = false;
    // Fresh capture objects record uncompressed until a compressor is set.
    m_videoCompressor = m_audioCompressor = QStringLiteral("Uncompressed");
    m_videoChoice = m_videoDevices.empty() ? -1 : 0;
    m_audioChoice = m_audioDevices.empty() ? -1 : 0;
    {
        std::lock_guard lock(m_mutex);
        m_problem.clear();
    }
    return true;
}

void TarnwickCapture::ReleaseCapture()
{
    Halt();
    CloseSources();
    m_initialised = false;
}

const TarnwickCapture::Device* TarnwickCapture::Chosen(bool video) const
{
    const auto& list = video ? m_videoDevices : m_audioDevices;
    const int choice = video ? m_videoChoice : m_audioChoice;
    return choice >= 0 && static_cast<size_t>(choice) < list.size() ? &list[static_cast<size_t>(choice)] : nullptr;
}

int16_t TarnwickCapture::GetVideoDeviceStatus()
{
    if (!m_initialised)
        InitCapture();
    if (m_videoDevices.empty())
        return DeviceNotFound;
    if (m_video)
        return DeviceOk;
    const Device* device = Chosen(true);
    QString error;
    return device && Open(*device, true, &error) ? DeviceOk : DeviceNotOpened;
}

int16_t TarnwickCapture::GetAudioDeviceStatus()
{
    if (!m_initialised)
        InitCapture();
    if (m_audioDevices.empty())
        return DeviceNotFound;
    if (m_audio)
        return DeviceOk;
    const Device* device = Chosen(false);
    QString error;
    return device && Open(*device, false, &error) ? DeviceOk : DeviceNotOpened;
}

void TarnwickCapture::TearDownCapture()
{
    Halt();
    CloseSources();
}

void TarnwickCapture::TearDownPreview()
{
    std::lock_guard lock(m_mutex);
    if (m_surface)
        m_surface->ClearFrame();
    m_surface = nullptr;
}

void TarnwickCapture::SetVideoDevice(const QString& name)
{
    if (!m_deviceSet) {
        // The first device set after InitCapture: from now on only the devices set run.
        m_deviceSet = true;
        m_audioChoice = -1;
    }
    m_videoChoice = -1;
    for (size_t i = 0; i < m_videoDevices.size(); ++i)
        if (m_videoDevices[i].name == name.trimmed())
            m_videoChoice = static_cast<int>(i);
}

void TarnwickCapture::SetAudioDevice(const QString& name)
{
    if (!m_deviceSet) {
        m_deviceSet = true;
        m_videoChoice = -1;
    }
    m_audioChoice = -1;
    for (size_t i = 0; i < m_audioDevices.size(); ++i)
        if (m_audioDevices[i].name == name.trimmed())
            m_audioChoice = static_cast<int>(i);
}

void TarnwickCapture::SetCaptureAudioCompressor(const QString& name)
{
    m_audioCompressor = name.trimmed();
}

void TarnwickCapture::SetCaptureVideoCompressor(const QString& name)
{
    m_videoCompressor = name.trimmed();
}

QString TarnwickCapture::GetVideoDeviceName(int16_t index, int32_t size)
{
    if (!m_initialised)
        InitCapture();
    return index >= 0 && static_cast<size_t>(index) < m_videoDevices.size()
               ? CutToBuffer(m_videoDevices[static_cast<size_t>(index)].name, size)
               : QString();
}

QString TarnwickCapture::GetAudioDeviceName(int16_t index, int32_t size)
{
    if (!m_initialised)
        InitCapture();
    return index >= 0 && static_cast<size_t>(index) < m_audioDevices.size()
               ? CutToBuffer(m_audioDevices[static_cast<size_t>(index)].name, size)
               : QString();
}

std::unique_ptr<TarnwickCapture::Source> TarnwickCapture::Open(const Device& device, bool video, QString* error)
{
    auto source = std::make_unique<Source>();
    source->device = device;
    source->video = video;
    AVDictionary* options = nullptr;
    QString url = device.url;
    if (device.test && url.isEmpty()) {
        // Both test devices keep a grid from the shared epoch: a picture or a sample falls
        // on each whole second, where the flash and the beep are.
        const double step = video ? 1e6 / TestFps : 1e6 / m_sampleRate;
        const int64_t since = Now() - TestEpoch();
        source->base = TestEpoch() + static_cast<int64_t>(std::ceil(since / step) * step);
        const double phase = std::fmod((source->base - TestEpoch()) / 1e6, 1.0);
        const QByteArray seconds = qgetenv("QUILLMONT_TEST_DEVICE_SECONDS");
        const QString length = seconds.toDouble() > 0 ? QString::number(seconds.toDouble()) : QString();
        if (video) {
            url = QStringLiteral("testsrc2=size=%1x%2:rate=%3%4,drawbox=x=0:y=0:w=iw:h=ih:color=white:t=fill:"
                                 "enable='lt(mod(t+%5+0.5/%3,1),1/%3)'")
                      .arg(TestWidth)
                      .arg(TestHeight)
                      .arg(TestFps)
                      .arg(length.isEmpty() ? QString() : QStringLiteral(":duration=") + length)
                      .arg(phase, 0, 'f', 9);
        } else {
            url = QStringLiteral("aevalsrc=exprs='0.1*sin(2*PI*440*t)+if(lt(mod(t+%1,1),0.05),0.6*sin(2*PI*1000*t),0)'"
                                 ":s=%2:c=%3:n=%4%5")
                      .arg(phase, 0, 'f', 9)
                      .arg(m_sampleRate)
                      .arg(m_channels == 1 ? QStringLiteral("mono") : QStringLiteral("stereo"))
                      .arg(m_sampleRate / 100)
                      .arg(length.isEmpty() ? QString() : QStringLiteral(":d=") + length);
        }
    } else if (!video && !device.test) {
        av_dict_set_int(&options, "sample_rate", m_sampleRate, 0);
        av_dict_set_int(&options, "channels", m_channels, 0);
    }
    const AVInputFormat* format = av_find_input_format(device.format.toLatin1().constData());
    source->input = avformat_alloc_context();
    source->input->interrupt_callback.callback = [](void* stop) -> int {
        return static_cast<std::atomic<bool>*>(stop)->load() ? 1 : 0;
    };
    source->input->interrupt_callback.opaque = &m_stop;
    const bool wasStopping = m_stop.exchange(false);
    int code = format ? avformat_open_input(&source->input, url.toUtf8().constData(), format, &options) : AVERROR_DEMUXER_NOT_FOUND;
    av_dict_free(&options);
    m_stop = wasStopping;
    if (code < 0) {
        source->input = nullptr; // freed by the failed open
        if (error)
            *error = QStringLiteral("The device \"%1\" cannot be opened: %2").arg(device.name, AvError(code));
        return nullptr;
    }
    if (!device.test)
        avformat_find_stream_info(source->input, nullptr);
    source->stream = av_find_best_stream(source->input, video ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (source->stream < 0) {
        if (error)
            *error = QStringLiteral("The device \"%1\" sends no %2.").arg(device.name, video ? QStringLiteral("pictures") : QStringLiteral("sound"));
        return nullptr;
    }
    const AVStream* stream = source->input->streams[source->stream];
    const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    source->decoder = codec ? avcodec_alloc_context3(codec) : nullptr;
    if (!source->decoder || avcodec_parameters_to_context(source->decoder, stream->codecpar) < 0
        || avcodec_open2(source->decoder, codec, nullptr) < 0) {
        if (error)
            *error = QStringLiteral("The input of the device \"%1\" cannot be read.").arg(device.name);
        return nullptr;
    }
    if (video) {
        source->width = source->decoder->width;
        source->height = source->decoder->height;
        const AVRational rate = stream->avg_frame_rate.num > 0 ? stream->avg_frame_rate : stream->r_frame_rate;
        source->fps = rate.num > 0 && rate.den > 0 ? std::clamp(static_cast<int>(std::lround(av_q2d(rate))), 1, 120) : TestFps;
        if (source->width <= 0 || source->height <= 0) {
            if (error)
                *error = QStringLiteral("The device \"%1\" does not say its picture size.").arg(device.name);
            return nullptr;
        }
    } else {
        source->sampleRate = source->decoder->sample_rate > 0 ? source->decoder->sample_rate : m_sampleRate;
        source->channels = std::max(1, source->decoder->ch_layout.nb_channels);
    }
    return source;
}

bool TarnwickCapture::BuildGraph()
{
    Halt();
    CloseSources();
    if (!m_initialised)
        InitCapture();
    const Device* video = Chosen(true);
    const Device* audio = Chosen(false);
    if (!video && !audio)
        return false;
    QString error;
    if (!m_deviceSet) {
        // The first devices, as found: whichever of them opens takes part.
        if (video)
            m_video = Open(*video, true, &error);
        if (audio)
            m_audio = Open(*audio, false, &error);
        return m_video || m_audio;
    }
    if (video && !(m_video = Open(*video, true, &error)))
        return false;
    if (audio && !(m_audio = Open(*audio, false, &error))) {
        m_video.reset();
        return false;
    }
    return true;
}

bool TarnwickCapture::SetVideoWindow(ITWVideoSurface* surface)
{
    std::lock_guard lock(m_mutex);
    if (m_surface && m_surface != surface)
        m_surface->ClearFrame();
    m_surface = surface;
    return surface != nullptr;
}

void TarnwickCapture::SetVideoPosition(int32_t x, int32_t y, int32_t width, int32_t height)
{
    std::lock_guard lock(m_mutex);
    m_area = QRect(x, y, width, height);
}

void TarnwickCapture::SetPreviewing(bool on)
{
    std::lock_guard lock(m_mutex);
    m_previewing = on;
    if (!on && m_surface)
        m_surface->ClearFrame();
}

void TarnwickCapture::GetCaptureSize(int32_t& width, int32_t& height)
{
    width = m_video ? m_video->width : 0;
    height = m_video ? m_video->height : 0;
}

bool TarnwickCapture::StartCaptureToFile(const QString& path, int16_t format, int16_t syncMaster)
{
    Halt();
    if (!m_video && !m_audio && !BuildGraph())
        return false;
    auto recording = std::make_unique<Recording>();
    recording->syncMaster = syncMaster;
    EncodeSettings encode;
    encode.path = path;
    int width = m_video ? m_video->width : 0, height = m_video ? m_video->height : 0;
    int fps = m_video ? m_video->fps : TestFps;
    if (format == 1) {
        // A Windows Media file needs both streams; RunGraph refuses it otherwise.
        if (!m_video || !m_audio) {
            m_recording = std::move(recording);
            return true;
        }
        const std::optional<Profile> profile = m_openProfile ? m_openProfile() : std::nullopt;
        if (!profile || !WindowsMediaEncoding(*profile, true, encode, width, height))
            return false;
        fps = encode.frameRate > 0 ? encode.frameRate : fps;
    } else {
        QString videoEncoder, audioEncoder;
        if (!AviEncoders(m_videoCompressor, m_audioCompressor, videoEncoder, audioEncoder))
            return false;
        encode.container = QStringLiteral("avi");
        encode.videoCodec = m_video ? videoEncoder : QString();
        encode.audioCodec = m_audio ? audioEncoder : QString();
        encode.quality = 80;
        encode.keyFrameInterval = fps * 2;
        if (audioEncoder == u"libmp3lame")
            encode.audioBitRate = 128000;
        if (m_audio) {
            encode.sampleRate = m_audio->sampleRate;
            encode.channels = m_audio->channels;
        }
    }
    if (!m_video)
        encode.videoCodec.clear();
    if (!m_audio)
        encode.audioCodec.clear();
    recording->rate = m_audio ? m_audio->sampleRate : 48000;
    recording->channels = m_audio ? m_audio->channels : 2;
    width = std::max(16, width + (width & 1));
    height = std::max(16, height + (height & 1));
    QFile::remove(path);
    QString error;
    if (!recording->writer.Open(encode, width, height, fps, &error, recording->rate, recording->channels)) {
        std::lock_guard lock(m_mutex);
        m_problem = error;
        recording.reset();
        QFile::remove(path);
        return false;
    }
    m_recording = std::move(recording);
    return true;
}

bool TarnwickCapture::RunGraph()
{
    Halt();
    if (m_recording && !m_recording->writer.HasVideo() && !m_recording->writer.HasAudio()) {
        // Prepared for a Windows Media file without both streams.
        m_recording.reset();
        return false;
    }
    if (!m_video && !m_audio) {
        if (m_recording) {
            const QString path = m_recording->writer.settings.path;
            m_recording.reset();
            QFile::remove(path);
        }
        return false;
    }
    {
        std::lock_guard lock(m_mutex);
        m_problem.clear();
    }
    m_stop = false;
    m_lastCaptured = m_lastDropped = 0;
    if (m_recording)
        m_recording->start = Now();
    for (Source* source : {m_video.get(), m_audio.get()})
        if (source)
            source->thread = std::thread([this, source] { Read(*source); });
    m_running = true;
    return true;
}

void TarnwickCapture::Halt()
{
    if (m_recording && m_recording->start > 0) {
        std::lock_guard lock(m_recording->mutex);
        if (m_recording->end < 0)
            m_recording->end = Now();
    }
    m_stop = true;
    for (Source* source : {m_video.get(), m_audio.get()})
        if (source && source->thread.joinable())
            source->thread.join();
    m_running = false;
    if (m_recording && m_recording->start > 0) {
        QString error;
        if (!m_recording->Finish(&error)) {
            std::lock_guard lock(m_mutex);
            if (m_problem.isEmpty())
                m_problem = QStringLiteral("The capture file could not be finished: ") + error;
        }
        m_lastCaptured = m_recording->captured;
        m_lastDropped = m_recording->dropped;
        m_recording.reset();
    }
}

void TarnwickCapture::CloseSources()
{
    m_video.reset();
    m_audio.reset();
    {
        std::lock_guard lock(m_mutex);
        m_lastPicture = QImage(); // a snap shows what the devices send now
    }
    if (m_recording) {
        // Prepared and never run: nothing was recorded into it.
        const QString path = m_recording->writer.settings.path;
        const bool started = m_recording->start > 0;
        m_recording.reset();
        if (!started && !path.isEmpty())
            QFile::remove(path);
    }
}

void TarnwickCapture::StopCapture()
{
    Halt();
}

int32_t TarnwickCapture::GetFramesCaptured()
{
    return m_recording ? m_recording->captured.load() : m_lastCaptured;
}

int32_t TarnwickCapture::GetFramesDropped()
{
    return m_recording ? m_recording->dropped.load() : m_lastDropped;
}

void TarnwickCapture::Lost(const QString& problem)
{
    if (m_recording) {
        std::lock_guard lock(m_recording->mutex);
        if (m_recording->end < 0)
            m_recording->end = Now();
    }
    std::lock_guard lock(m_mutex);
    if (m_problem.isEmpty())
        m_problem = problem;
}

QString TarnwickCapture::GetCaptureProblem(int32_t size)
{
    std::lock_guard lock(m_mutex);
    return CutToBuffer(m_problem, size);
}

void TarnwickCapture::Read(Source& source)
{
    std::unique_ptr<AVPacket, PacketDeleter> packet(av_packet_alloc());
    FramePtr frame(av_frame_alloc());
    const AVRational timeBase = source.input->streams[source.stream]->time_base;
    while (!m_stop) {
        const int code = av_read_frame(source.input, packet.get());
        if (code == AVERROR(EAGAIN)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            continue;
        }
        if (code < 0) {
            if (!m_stop)
                Lost(QStringLiteral("The %1 device \"%2\" stopped sending (it may have been unplugged). "
                                    "The capture ended there.")
                         .arg(source.video ? QStringLiteral("video") : QStringLiteral("audio"), source.device.name));
            break;
        }
        if (packet->stream_index != source.stream) {
            av_packet_unref(packet.get());
            continue;
        }
        const int64_t pts = packet->pts == AV_NOPTS_VALUE ? 0 : av_rescale_q(packet->pts, timeBase, AV_TIME_BASE_Q);
        int64_t stamp;
        if (source.device.test) {
            // A test device sends in real time on its grid, as a camera would.
            if (source.firstPts == AV_NOPTS_VALUE)
                source.firstPts = pts;
            stamp = source.base + (pts - source.firstPts);
            while (!m_stop && Now() < stamp)
                std::this_thread::sleep_for(std::chrono::microseconds(std::min<int64_t>(stamp - Now(), 5000)));
        } else {
            // Devices stamp on the wall clock; one that does not is stamped on arrival.
            const int64_t now = Now();
            stamp = packet->pts != AV_NOPTS_VALUE && std::llabs(now - pts) < 10 * 1000000LL ? pts : now;
        }
        const bool sent = avcodec_send_packet(source.decoder, packet.get()) >= 0;
        av_packet_unref(packet.get());
        while (sent && !m_stop && avcodec_receive_frame(source.decoder, frame.get()) >= 0) {
            if (source.video)
                Picture(source, *frame, stamp);
            else
                Sound(source, *frame, stamp);
            av_frame_unref(frame.get());
        }
    }
}

void TarnwickCapture::Picture(Source& source, const AVFrame& frame, int64_t stamp)
{
    // The live picture and the snap's frame.
    QImage image(frame.width, frame.height, QImage::Format_RGB32);
    source.preview = sws_getCachedContext(source.preview, frame.width, frame.height, static_cast<AVPixelFormat>(frame.format),
                                          frame.width, frame.height, AV_PIX_FMT_BGRA, SWS_BILINEAR, nullptr, nullptr, nullptr);
    if (source.preview) {
        uint8_t* planes[1] = {image.bits()};
        const int strides[1] = {static_cast<int>(image.bytesPerLine())};
        sws_scale(source.preview, frame.data, frame.linesize, 0, frame.height, planes, strides);
        std::lock_guard lock(m_mutex);
        m_lastPicture = image;
        if (m_previewing && m_surface)
            m_surface->PresentFrame(image, m_area);
    }

    Recording* rec = m_recording.get();
    if (!rec)
        return;
    std::lock_guard lock(rec->mutex);
    MovieWriter& writer = rec->writer;
    if (!writer.HasVideo() || rec->failed || (rec->end >= 0 && stamp >= rec->end))
        return;
    int64_t at = stamp - rec->start;
    if (rec->syncMaster == 1 && rec->soundStarted)
        at -= rec->soundLag; // the pictures follow the sound's clock
    if (at < 0)
        return;
    const int64_t index = std::llround(at * writer.fps / 1e6);
    if (index < rec->NextFree()) {
        // A second picture for a frame already taken: dropped, unless the file simply
        // has fewer frames a second than the device sends.
        if (writer.fps >= source.fps)
            ++rec->dropped;
        return;
    }
    FramePtr picture = writer.NewPicture();
    rec->scaler = sws_getCachedContext(rec->scaler, frame.width, frame.height, static_cast<AVPixelFormat>(frame.format),
                                       writer.width, writer.height, writer.PictureFormat(), SWS_BICUBIC, nullptr, nullptr, nullptr);
    if (!picture || !rec->scaler)
        return;
    sws_scale(rec->scaler, frame.data, frame.linesize, 0, frame.height, picture->data, picture->linesize);
    QString error;
    if (rec->pending)
        rec->Flush(&error);
    rec->pending = std::move(picture);
    rec->pendingIndex = index;
    if (rec->failed) {
        rec->end = Now();
        std::lock_guard problem(m_mutex);
        m_problem = QStringLiteral("The capture file could not be written: ") + error;
    }
}

void TarnwickCapture::Sound(Source& source, const AVFrame& frame, int64_t stamp)
{
    Recording* rec = m_recording.get();
    if (!rec)
        return;
    // Interleaved 16-bit samples as the writer takes them.
    const int channels = frame.ch_layout.nb_channels > 0 ? frame.ch_layout.nb_channels : source.channels;
    if (!source.resampler) {
        AVChannelLayout layout;
        av_channel_layout_default(&layout, channels);
        AVChannelLayout out;
        av_channel_layout_default(&out, source.channels);
        if (swr_alloc_set_opts2(&source.resampler, &out, AV_SAMPLE_FMT_S16, source.sampleRate, &layout,
                                static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr) < 0
            || swr_init(source.resampler) < 0)
            return;
    }
    source.samples.resize(static_cast<size_t>(frame.nb_samples + 64) * source.channels);
    uint8_t* out[1] = {reinterpret_cast<uint8_t*>(source.samples.data())};
    const int made = swr_convert(source.resampler, out, frame.nb_samples + 64, const_cast<const uint8_t**>(frame.extended_data),
                                 frame.nb_samples);
    if (made <= 0)
        return;
    if (const int32_t level = m_level; level != 100) {
        for (size_t i = 0; i < static_cast<size_t>(made) * source.channels; ++i)
            source.samples[i] = static_cast<int16_t>(std::clamp(source.samples[i] * level / 100, -32768, 32767));
    }

    std::lock_guard lock(rec->mutex);
    if (!rec->writer.HasAudio() || rec->failed || (rec->end >= 0 && stamp >= rec->end))
        return;
    const int16_t* samples = source.samples.data();
    int count = made;
    QString error;
    const int64_t due = rec->start + rec->soundWritten * 1000000 / rec->rate; // where the next sample belongs
    if (!rec->soundStarted) {
        // The first sound takes its place after the start; sound from before it is cut.
        const int64_t lead = (stamp - rec->start) * rec->rate / 1000000;
        if (lead > 0) {
            rec->WriteSilence(lead, &error);
        } else {
            const int cut = static_cast<int>(std::min<int64_t>(-lead, count));
            samples += static_cast<size_t>(cut) * source.channels;
            count -= cut;
            if (count <= 0)
                return;
        }
        rec->soundStarted = true;
    } else {
        rec->soundLag = stamp - due;
        if (rec->syncMaster == 0 && std::llabs(rec->soundLag) > 40000) {
            // The sound follows the pictures' clock: silence where it fell behind, cut where
            // it ran ahead.
            const int64_t shift = rec->soundLag * rec->rate / 1000000;
            if (shift > 0) {
                rec->WriteSilence(shift, &error);
            } else {
                const int cut = static_cast<int>(std::min<int64_t>(-shift, count));
                samples += static_cast<size_t>(cut) * source.channels;
                count -= cut;
            }
            rec->soundLag = 0;
        }
    }
    if (count > 0 && !rec->failed) {
        rec->failed = !rec->writer.WriteAudio(samples, count, &error);
        rec->soundWritten += count;
    }
    if (rec->failed) {
        rec->end = Now();
        std::lock_guard problem(m_mutex);
        m_problem = QStringLiteral("The capture file could not be written: ") + error;
    }
}

void TarnwickCapture::TakeSnap(const QString& path, int16_t width, int16_t height)
{
    QImage picture;
    {
        std::lock_guard lock(m_mutex);
        picture = m_lastPicture;
    }
    if (picture.isNull())
        throw QmError(QmErr::IllegalCall, QStringLiteral("There is no picture to snap: the video device shows none."));
    if (width > 0 && height > 0 && (width != picture.width() || height != picture.height()))
        picture = picture.scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (!WriteBitmap(picture, path, picture.width(), picture.height()))
        throw QmError(QmErr::PathFileAccess, QStringLiteral("The snap could not be written to ") + path);
}

namespace {

// The V4L2 controls of a camera, by the control's own name.
struct Control
{
    v4l2_queryctrl query{};
    int32_t value = 0;
};

std::vector<Control> ReadControls(int fd)
{
    std::vector<Control> controls;
    v4l2_queryctrl query{};
    query.id = V4L2_CTRL_FLAG_NEXT_CTRL;
    while (ioctl(fd, VIDIOC_QUERYCTRL, &query) == 0) {
        const bool usable = !(query.flags & (V4L2_CTRL_FLAG_DISABLED | V4L2_CTRL_FLAG_READ_ONLY | V4L2_CTRL_FLAG_INACTIVE))
                            && (query.type == V4L2_CTRL_TYPE_INTEGER || query.type == V4L2_CTRL_TYPE_BOOLEAN
                                || query.type == V4L2_CTRL_TYPE_MENU);
        if (usable) {
            v4l2_control control{};
            control.id = query.id;
            if (ioctl(fd, VIDIOC_G_CTRL, &control) == 0)
                controls.push_back({query, control.value});
        }
        query.id |= V4L2_CTRL_FLAG_NEXT_CTRL;
    }
    return controls;
}

} // namespace

QStringList TarnwickCapture::GetVideoControls()
{
    QStringList list;
    const Device* device = Chosen(true);
    if (!device || device->format != u"video4linux2")
        return list;
    const int fd = ::open(QFile::encodeName(device->url).constData(), O_RDWR | O_NONBLOCK);
    if (fd < 0)
        return list;
    for (const Control& c : ReadControls(fd))
        list << QStringLiteral("%1|%2|%3|%4|%5|%6")
                    .arg(QString::fromUtf8(reinterpret_cast<const char*>(c.query.name)))
                    .arg(c.query.minimum)
                    .arg(c.query.maximum)
                    .arg(std::max(1, c.query.step))
                    .arg(c.query.default_value)
                    .arg(c.value);
    ::close(fd);
    return list;
}

bool TarnwickCapture::SetVideoControl(const QString& name, int32_t value)
{
    const Device* device = Chosen(true);
    if (!device || device->format != u"video4linux2")
        return false;
    const int fd = ::open(QFile::encodeName(device->url).constData(), O_RDWR | O_NONBLOCK);
    if (fd < 0)
        return false;
    bool done = false;
    for (const Control& c : ReadControls(fd)) {
        if (QString::fromUtf8(reinterpret_cast<const char*>(c.query.name)) == name) {
            v4l2_control control{};
            control.id = c.query.id;
            control.value = std::clamp(value, c.query.minimum, c.query.maximum);
            done = ioctl(fd, VIDIOC_S_CTRL, &control) == 0;
        }
    }
    ::close(fd);
    return done;
}

void TarnwickCapture::GetAudioFormat(int32_t& sampleRate, int16_t& channels)
{
    sampleRate = m_audio ? m_audio->sampleRate : m_sampleRate;
    channels = static_cast<int16_t>(m_audio ? m_audio->channels : m_channels);
}

void TarnwickCapture::SetAudioFormat(int32_t sampleRate, int16_t channels)
{
    m_sampleRate = std::clamp(sampleRate, 8000, 192000);
    m_channels = static_cast<int16_t>(std::clamp<int>(channels, 1, 2));
}

int32_t TarnwickCapture::GetAudioLevel()
{
    return m_level;
}

void TarnwickCapture::SetAudioLevel(int32_t percent)
{
    m_level = std::clamp(percent, 0, 400);
}
