#include "engine/tarnwick/MediaProbe.h"

#include <QFile>
#include <QFileInfo>

#include <memory>
#include <mutex>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

namespace Tarnwick {

namespace {

struct InputCloser
{
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
using InputPtr = std::unique_ptr<AVFormatContext, InputCloser>;

struct CodecFreer
{
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
using CodecPtr = std::unique_ptr<AVCodecContext, CodecFreer>;

struct PacketFreer
{
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FrameFreer
{
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

// Broken files are reported through Quillmont's own messages; FFmpeg's chatter on
// the terminal would only repeat them.
void QuietFfmpeg()
{
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_FATAL); });
}

QByteArray NativePath(const QString& path)
{
    return QFile::encodeName(path);
}

int OpenInput(const QString& path, InputPtr& input)
{
    QuietFfmpeg();
    AVFormatContext* context = nullptr;
    int rc = avformat_open_input(&context, NativePath(path).constData(), nullptr, nullptr);
    if (rc < 0)
        return rc;
    input.reset(context);
    rc = avformat_find_stream_info(context, nullptr);
    return rc < 0 ? rc : 0;
}

bool IsUsable(const AVStream* stream)
{
    switch (stream->codecpar->codec_type) {
    case AVMEDIA_TYPE_VIDEO:
        return !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC); // cover art is no video
    case AVMEDIA_TYPE_AUDIO:
        return true;
    default:
        return false;
    }
}

// Image files come through FFmpeg's image demuxers; an animated GIF is still one
// picture to Quillmont, as the media list classes it.
bool IsStillFormat(const AVInputFormat* format)
{
    const QLatin1String name(format->name);
    return name == QLatin1String("image2") || name == QLatin1String("gif") || name.endsWith(QLatin1String("_pipe"));
}

double StreamSeconds(const AVFormatContext* context, const AVStream* stream)
{
    if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0)
        return static_cast<double>(stream->duration) * av_q2d(stream->time_base);
    if (context->duration != AV_NOPTS_VALUE && context->duration > 0)
        return static_cast<double>(context->duration) / AV_TIME_BASE;
    return 0.0;
}

double StreamFrameRate(const AVStream* stream)
{
    AVRational rate = stream->avg_frame_rate;
    if (rate.num <= 0 || rate.den <= 0)
        rate = stream->r_frame_rate;
    return rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0.0;
}

bool IsReadFailure(int rc)
{
    return rc == AVERROR(EACCES) || rc == AVERROR(EPERM) || rc == AVERROR(EIO) || rc == AVERROR(EISDIR);
}

bool IsMidiFile(const QString& path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("mid") || suffix == QLatin1String("midi"))
        return true;
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(4) == "MThd";
}

// Which format FFmpeg recognises in the content, or none.
bool IsRecognised(const QString& path, int& ioError)
{
    ioError = 0;
    AVIOContext* io = nullptr;
    const QByteArray native = NativePath(path);
    int rc = avio_open(&io, native.constData(), AVIO_FLAG_READ);
    if (rc < 0) {
        ioError = rc;
        return false;
    }
    const AVInputFormat* format = nullptr;
    rc = av_probe_input_buffer2(io, &format, native.constData(), nullptr, 0, 0);
    avio_closep(&io);
    return rc >= 0 && format != nullptr;
}

struct Trial
{
    bool isVideo = false;
    double seconds = 0.0;
    CodecPtr codec;
    bool sawPacket = false;
    bool decoded = false;
    bool failed = false;
};

bool ReceiveOne(AVCodecContext* codec, AVFrame* frame)
{
    const bool got = avcodec_receive_frame(codec, frame) == 0;
    av_frame_unref(frame);
    return got;
}

} // namespace

MediaFacts ProbeMedia(const QString& path)
{
    MediaFacts facts;
    InputPtr input;
    if (path.isEmpty() || OpenInput(path, input) < 0)
        return facts;

    facts.opened = true;
    facts.formatName = QString::fromLatin1(input->iformat->name);
    const bool still = IsStillFormat(input->iformat);
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVStream* stream = input->streams[i];
        if (!IsUsable(stream))
            continue;
        const AVCodecParameters* par = stream->codecpar;
        StreamFacts sf;
        sf.containerIndex = static_cast<int>(i);
        if (par->codec_type == AVMEDIA_TYPE_VIDEO) {
            sf.isVideo = true;
            sf.width = par->width;
            sf.height = par->height;
            sf.still = still;
            sf.duration = still ? StillImageSeconds : StreamSeconds(input.get(), stream);
            sf.frameRate = still ? 0.0 : StreamFrameRate(stream);
        } else {
            sf.isAudio = true;
            sf.sampleRate = par->sample_rate;
            sf.channels = par->ch_layout.nb_channels;
            sf.duration = StreamSeconds(input.get(), stream);
        }
        facts.streams.push_back(std::move(sf));
    }
    return facts;
}

int32_t CheckRenderable(const QString& path)
{
    if (path.trimmed().isEmpty())
        return ResultCode::InvalidArgument;
    const QFileInfo info(path);
    if (!info.exists())
        return ResultCode::NotFound;
    if (info.isDir())
        return ResultCode::UnknownFileType;
    if (IsMidiFile(path))
        return ResultCode::UnsupportedStream;

    int ioError = 0;
    if (!IsRecognised(path, ioError)) {
        if (ioError == AVERROR(ENOENT))
            return ResultCode::NotFound;
        if (IsReadFailure(ioError))
            return ResultCode::CannotLoadSourceFilter;
        return ResultCode::UnknownFileType;
    }

    InputPtr input;
    const int rc = OpenInput(path, input);
    if (rc < 0) {
        if (rc == AVERROR(ENOENT))
            return ResultCode::NotFound;
        return IsReadFailure(rc) ? ResultCode::CannotLoadSourceFilter : ResultCode::InvalidFileFormat;
    }

    // One decoder per video and audio stream, each to give a first frame.
    std::vector<Trial> trials(input->nb_streams);
    int usable = 0;
    int pending = 0;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVStream* stream = input->streams[i];
        if (!IsUsable(stream))
            continue;
        ++usable;
        Trial& trial = trials[i];
        trial.isVideo = stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        trial.seconds = StreamSeconds(input.get(), stream);
        const AVCodec* decoder = avcodec_find_decoder(stream->codecpar->codec_id);
        trial.codec.reset(decoder ? avcodec_alloc_context3(decoder) : nullptr);
        if (!trial.codec || avcodec_parameters_to_context(trial.codec.get(), stream->codecpar) < 0) {
            trial.failed = true;
            continue;
        }
        trial.codec->thread_count = 1;
        if (avcodec_open2(trial.codec.get(), decoder, nullptr) < 0) {
            trial.failed = true;
            continue;
        }
        ++pending;
    }
    if (usable == 0)
        return ResultCode::UnsupportedStream;

    std::unique_ptr<AVPacket, PacketFreer> packet(av_packet_alloc());
    std::unique_ptr<AVFrame, FrameFreer> frame(av_frame_alloc());
    // A corrupt packet may be followed by good ones, so keep reading for a while.
    constexpr int kMaxPackets = 4000;
    for (int read = 0; pending > 0 && read < kMaxPackets; ++read) {
        if (av_read_frame(input.get(), packet.get()) < 0)
            break;
        const auto index = static_cast<size_t>(packet->stream_index);
        if (index < trials.size()) {
            Trial& trial = trials[index];
            if (trial.codec && !trial.failed && !trial.decoded) {
                trial.sawPacket = true;
                if (avcodec_send_packet(trial.codec.get(), packet.get()) >= 0 && ReceiveOne(trial.codec.get(), frame.get())) {
                    trial.decoded = true;
                    --pending;
                }
            }
        }
        av_packet_unref(packet.get());
    }

    int videoFailed = 0, audioFailed = 0, videoOk = 0, audioOk = 0;
    for (Trial& trial : trials) {
        if (!trial.codec && !trial.failed)
            continue; // not a video or audio stream
        if (!trial.failed && !trial.decoded && trial.sawPacket) {
            // Frames held back by the decoder come out when it is drained.
            avcodec_send_packet(trial.codec.get(), nullptr);
            trial.decoded = ReceiveOne(trial.codec.get(), frame.get());
        }
        // A stream with no packets at all is empty, which is fine only when the file
        // does not claim it has a length.
        const bool ok = trial.decoded || (!trial.failed && !trial.sawPacket && trial.seconds < 0.001);
        if (trial.isVideo)
            (ok ? videoOk : videoFailed)++;
        else
            (ok ? audioOk : audioFailed)++;
    }

    if (videoFailed == 0 && audioFailed == 0)
        return ResultCode::Ok;
    if (videoOk == 0 && audioOk == 0)
        return ResultCode::UnsupportedStream;
    if (audioFailed == 0 && videoOk == 0)
        return ResultCode::VideoNotRendered;
    if (videoFailed == 0 && audioOk == 0)
        return ResultCode::AudioNotRendered;
    return ResultCode::PartialSuccess;
}

} // namespace Tarnwick
