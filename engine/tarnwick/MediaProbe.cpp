#include "engine/tarnwick/MediaProbe.h"

#include <QFile>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
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
using PacketPtr = std::unique_ptr<AVPacket, PacketFreer>;

struct FrameFreer
{
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

// How much of a file's start FFmpeg is shown to name its type, as FFmpeg's own probing
// goes no further.
constexpr qint64 kHeadBytes = 1 << 20;
// A header that claims more time than the file has bytes for at this rate is checked.
constexpr double kFewestBytesPerSecond = 1024.0;
// Reading time stamps through a file stops after this long.
constexpr auto kStampBudget = std::chrono::milliseconds(1500);
// Frames whose time stamps make a frame rate.
constexpr size_t kRateStamps = 100;
// Times and durations of broken files can be anything: those this far out of any length
// are passed by, so that the sums cannot overflow.
constexpr int64_t kFar = INT64_MAX / 4;

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

enum class Access { Missing, Refused, Plain };

// What the file system says of the path. Only a plain file is given to FFmpeg: a
// folder cannot be read as one, and a pipe or a device would block or never end.
Access AccessOf(const QString& path)
{
    std::error_code error;
    const auto status = std::filesystem::status(NativePath(path).toStdString(), error);
    if (status.type() == std::filesystem::file_type::not_found)
        return Access::Missing;
    if (error || status.type() != std::filesystem::file_type::regular)
        return Access::Refused;
    return Access::Plain;
}

// Opens the file with FFmpeg and reads its streams' parameters. headerEnd, when given,
// is where the header ended: for sound files, where the samples begin.
int OpenInput(const QString& path, InputPtr& input, int64_t* headerEnd = nullptr)
{
    QuietFfmpeg();
    AVFormatContext* context = nullptr;
    int rc = avformat_open_input(&context, NativePath(path).constData(), nullptr, nullptr);
    if (rc < 0)
        return rc;
    input.reset(context);
    if (headerEnd)
        *headerEnd = context->pb ? avio_tell(context->pb) : -1;
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

// Image files come through FFmpeg's image readers; an animated GIF is still one
// picture to Quillmont, as the media list classes it.
bool IsStillFormat(const AVInputFormat* format)
{
    const QLatin1String name(format->name);
    return name == QLatin1String("image2") || name == QLatin1String("gif") || name.endsWith(QLatin1String("_pipe"));
}

// The length the headers give, in seconds; 0 when they give none.
double ClaimedSeconds(const AVFormatContext* context, const AVStream* stream)
{
    if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0)
        return static_cast<double>(stream->duration) * av_q2d(stream->time_base);
    if (context->duration != AV_NOPTS_VALUE && context->duration > 0)
        return static_cast<double>(context->duration) / AV_TIME_BASE;
    return 0.0;
}

// Frames come no faster than this: a rate as high is a clock's tick (ASF counts in
// milliseconds), or a broken header's.
constexpr double kTickRate = 1000.0;

bool IsRate(double rate)
{
    return std::isfinite(rate) && rate > 0.0 && rate < kTickRate;
}

bool IsRate(AVRational rate)
{
    return rate.num > 0 && rate.den > 0 && IsRate(av_q2d(rate));
}

// What the packets of a file say of their times, read from its start.
struct Stamps
{
    struct Stream
    {
        int64_t first = AV_NOPTS_VALUE;
        int64_t end = AV_NOPTS_VALUE;
        int64_t lasting = 0; // the packets' durations added up, for packets without times
        std::vector<int64_t> frames; // the first frames' times, for a rate
        AVRational timeBase{0, 1};
    };
    std::vector<Stream> streams; // by container index
    // The share of the file read: 1 when every packet was read.
    double share = 0.0;

    // Seconds from the first packet to the end of the last, or the packets' durations
    // added up where they carry no times, reckoned on over the part not read; 0 when
    // they tell neither.
    double Seconds(size_t index) const
    {
        if (index >= streams.size() || share <= 0.0)
            return 0.0;
        const Stream& s = streams[index];
        const bool timed = s.first != AV_NOPTS_VALUE && s.end != AV_NOPTS_VALUE && s.end > s.first;
        return static_cast<double>(timed ? s.end - s.first : s.lasting) * av_q2d(s.timeBase) / share;
    }

    // Frames a second from the spacing of the first frames; 0 without two of them.
    double Rate(size_t index) const
    {
        if (index >= streams.size())
            return 0.0;
        std::vector<int64_t> times = streams[index].frames;
        std::sort(times.begin(), times.end());
        times.erase(std::unique(times.begin(), times.end()), times.end());
        if (times.size() < 2)
            return 0.0;
        const double span = static_cast<double>(times.back() - times.front()) * av_q2d(streams[index].timeBase);
        return span > 0.0 ? static_cast<double>(times.size() - 1) / span : 0.0;
    }
};

// Reads the packets of the file from its start: to its end when lengths are wanted,
// else until each stream in rates has its first frames' times; never for longer than
// kStampBudget.
Stamps ReadStamps(const QString& path, bool lengths, const std::vector<bool>& rates)
{
    Stamps stamps;
    InputPtr input;
    if (OpenInput(path, input) < 0)
        return stamps;
    AVFormatContext* context = input.get();
    stamps.streams.resize(context->nb_streams);
    for (unsigned i = 0; i < context->nb_streams; ++i)
        stamps.streams[i].timeBase = context->streams[i]->time_base;

    auto ratesDone = [&] {
        for (size_t i = 0; i < rates.size() && i < stamps.streams.size(); ++i)
            if (rates[i] && stamps.streams[i].frames.size() < kRateStamps)
                return false;
        return true;
    };
    const auto deadline = std::chrono::steady_clock::now() + kStampBudget;
    PacketPtr packet(av_packet_alloc());
    bool ended = false;
    for (int read = 0;; ++read) {
        if (!lengths && ratesDone())
            break;
        // The clock is asked every so many packets, not at each.
        if (read % 64 == 63 && std::chrono::steady_clock::now() > deadline)
            break;
        if (av_read_frame(context, packet.get()) < 0) {
            ended = true; // the end, or a break in the data that reading cannot pass
            break;
        }
        const auto index = static_cast<size_t>(packet->stream_index);
        const int64_t duration = packet->duration > 0 && packet->duration < kFar ? packet->duration : 0;
        const int64_t at = packet->dts != AV_NOPTS_VALUE ? packet->dts : packet->pts;
        if (index < stamps.streams.size())
            stamps.streams[index].lasting = std::min(kFar, stamps.streams[index].lasting + duration);
        if (index < stamps.streams.size() && at != AV_NOPTS_VALUE && at > -kFar && at < kFar) {
            Stamps::Stream& s = stamps.streams[index];
            s.first = s.first == AV_NOPTS_VALUE ? at : std::min(s.first, at);
            const int64_t end = at + duration;
            s.end = s.end == AV_NOPTS_VALUE ? end : std::max(s.end, end);
            if (index < rates.size() && rates[index] && s.frames.size() < kRateStamps)
                s.frames.push_back(at);
        }
        av_packet_unref(packet.get());
    }
    const int64_t size = avio_size(context->pb);
    const int64_t position = avio_tell(context->pb);
    stamps.share = ended || size <= 0 ? 1.0 : std::clamp(static_cast<double>(position) / size, 0.0, 1.0);
    return stamps;
}

// The seconds that the samples after the header can last, for a file of one stream of
// plain samples (WAV, AU, AIFF); 0 for any other.
double SampleSeconds(const AVFormatContext* context, int64_t headerEnd, int64_t fileBytes)
{
    const AVStream* only = nullptr;
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        if (!IsUsable(context->streams[i]))
            continue;
        if (only)
            return 0.0;
        only = context->streams[i];
    }
    if (!only || headerEnd < 0 || fileBytes < headerEnd)
        return 0.0;
    const AVCodecParameters* par = only->codecpar;
    const double bitsPerSecond = static_cast<double>(av_get_exact_bits_per_sample(par->codec_id))
                                 * par->ch_layout.nb_channels * par->sample_rate;
    return bitsPerSecond > 0.0 ? static_cast<double>(fileBytes - headerEnd) * 8.0 / bitsPerSecond : 0.0;
}

// The facts of the video and audio streams of an opened file, their lengths and frame
// rates made sound as ProbeMedia says.
MediaFacts FactsOf(const QString& path, AVFormatContext* context, int64_t headerEnd)
{
    MediaFacts facts;
    facts.opened = true;
    facts.formatName = QString::fromLatin1(context->iformat->name);
    const bool still = IsStillFormat(context->iformat);
    const int64_t fileBytes = std::max<int64_t>(0, avio_size(context->pb));
    // Plain samples last as long as their bytes: no need to read them through.
    const double sampleSeconds = SampleSeconds(context, headerEnd, fileBytes);
    bool lengths = false;
    std::vector<bool> rates(context->nb_streams, false);
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVStream* stream = context->streams[i];
        if (!IsUsable(stream))
            continue;
        const AVCodecParameters* par = stream->codecpar;
        StreamFacts sf;
        sf.containerIndex = static_cast<int>(i);
        sf.isVideo = par->codec_type == AVMEDIA_TYPE_VIDEO;
        sf.isAudio = !sf.isVideo;
        if (sf.isVideo) {
            sf.width = par->width;
            sf.height = par->height;
            sf.still = still;
            sf.imageSequence = still && facts.formatName == u"image2";
            sf.frameRate = still || !IsRate(stream->avg_frame_rate) ? 0.0 : av_q2d(stream->avg_frame_rate);
            rates[i] = !still && sf.frameRate == 0.0;
        } else {
            sf.sampleRate = par->sample_rate;
            sf.channels = par->ch_layout.nb_channels;
        }
        sf.duration = still ? StillImageSeconds : ClaimedSeconds(context, stream);
        if (sampleSeconds > 0.0) {
            if (sf.duration <= 0.0 || sf.duration > sampleSeconds)
                sf.duration = sampleSeconds;
        } else if (!still && (sf.duration <= 0.0 || sf.duration * kFewestBytesPerSecond > static_cast<double>(fileBytes))) {
            lengths = true;
        }
        facts.streams.push_back(sf);
    }

    const bool rateWanted = std::find(rates.begin(), rates.end(), true) != rates.end();
    const Stamps stamps = lengths || rateWanted ? ReadStamps(path, lengths, rates) : Stamps();
    for (StreamFacts& sf : facts.streams) {
        const auto index = static_cast<size_t>(sf.containerIndex);
        const AVStream* stream = context->streams[index];
        if (lengths && !sf.still) {
            const double measured = stamps.Seconds(index);
            // Read to the end, the packets are the truth; reckoned on, they are a bound.
            if (measured > 0.0 && (stamps.share >= 1.0 || sf.duration <= 0.0 || measured < sf.duration))
                sf.duration = measured;
        }
        if (rates[index]) {
            sf.frameRate = IsRate(stamps.Rate(index)) ? stamps.Rate(index) : 0.0;
            // The codec's rate, which FFmpeg puts where it otherwise puts the clock tick.
            const AVRational tick{stream->time_base.den, stream->time_base.num};
            if (sf.frameRate == 0.0 && IsRate(stream->r_frame_rate) && av_cmp_q(stream->r_frame_rate, tick) != 0)
                sf.frameRate = av_q2d(stream->r_frame_rate);
        }
        if (!std::isfinite(sf.duration) || sf.duration < 0.0)
            sf.duration = 0.0;
        if (sf.duration * 1000.0 >= static_cast<double>(LongestMs) + 0.5) { // rounds past the last millisecond
            facts.tooLong = true;
            sf.duration = static_cast<double>(LongestMs) / 1000.0;
        }
    }
    return facts;
}

// The start of a plain file; false when the system will not let this user read it.
bool ReadHead(const QString& path, QByteArray& head)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    head = file.read(kHeadBytes);
    return file.error() == QFileDevice::NoError;
}

// Whether FFmpeg names a media type in the bytes alone, as sure of it as it must be to
// stop probing; the name's extension is not looked at.
bool RecognisedByContent(const QByteArray& head)
{
    QByteArray padded = head;
    padded.append(AVPROBE_PADDING_SIZE, '\0');
    AVProbeData probe{};
    probe.filename = "";
    probe.buf = reinterpret_cast<unsigned char*>(padded.data());
    probe.buf_size = static_cast<int>(head.size());
    int score = 0;
    const AVInputFormat* format = av_probe_input_format3(&probe, 1, &score);
    return format && score >= AVPROBE_SCORE_RETRY;
}

struct Trial
{
    bool isVideo = false;
    double seconds = 0.0;
    CodecPtr codec;
    bool noDecoder = false;
    bool failed = false;
    bool sawPacket = false;
    bool decoded = false;
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
    InputPtr input;
    int64_t headerEnd = -1;
    if (path.isEmpty() || AccessOf(path) != Access::Plain || OpenInput(path, input, &headerEnd) < 0)
        return {};
    return FactsOf(path, input.get(), headerEnd);
}

int32_t CheckRenderable(const QString& path)
{
    if (path.trimmed().isEmpty())
        return ResultCode::InvalidArgument;
    switch (AccessOf(path)) {
    case Access::Missing:
        return ResultCode::NotFound;
    case Access::Refused:
        return ResultCode::CannotLoadSourceFilter;
    case Access::Plain:
        break;
    }
    QByteArray head;
    if (!ReadHead(path, head))
        return QFile::exists(path) ? ResultCode::CannotLoadSourceFilter : ResultCode::NotFound;
    if (head.startsWith("MThd"))
        return ResultCode::UnsupportedStream;
    // From here on a fault is the file's. A type known by its name alone that does not
    // render is no type recognised.
    const bool recognised = RecognisedByContent(head);
    const int32_t broken = recognised ? ResultCode::InvalidFileFormat : ResultCode::UnknownFileType;

    InputPtr input;
    int64_t headerEnd = -1;
    if (OpenInput(path, input, &headerEnd) < 0)
        return broken;

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
        // A still claims its picture, whatever its header says of time.
        trial.seconds = trial.isVideo && IsStillFormat(input->iformat) ? StillImageSeconds
                                                                        : ClaimedSeconds(input.get(), stream);
        const AVCodec* decoder = avcodec_find_decoder(stream->codecpar->codec_id);
        trial.noDecoder = decoder == nullptr;
        trial.codec.reset(decoder ? avcodec_alloc_context3(decoder) : nullptr);
        // A decoder that will not open on the stream's parameters has a broken header.
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
        return broken;

    PacketPtr packet(av_packet_alloc());
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
    bool decoderMissing = false;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        if (!IsUsable(input->streams[i]))
            continue;
        Trial& trial = trials[i];
        if (!trial.failed && !trial.decoded && trial.sawPacket) {
            // Frames held back by the decoder come out when it is drained.
            avcodec_send_packet(trial.codec.get(), nullptr);
            trial.decoded = ReceiveOne(trial.codec.get(), frame.get());
        }
        // A stream with no packets at all is empty, which is fine only when the file
        // does not claim it has a length.
        const bool ok = trial.decoded || (!trial.failed && !trial.sawPacket && trial.seconds < 0.001);
        decoderMissing = decoderMissing || trial.noDecoder;
        if (trial.isVideo)
            (ok ? videoOk : videoFailed)++;
        else
            (ok ? audioOk : audioFailed)++;
    }

    if (videoFailed == 0 && audioFailed == 0)
        return FactsOf(path, input.get(), headerEnd).tooLong ? broken : ResultCode::Ok;
    if (!recognised)
        return ResultCode::UnknownFileType;
    if (videoOk == 0 && audioOk == 0)
        return decoderMissing ? ResultCode::UnsupportedStream : ResultCode::InvalidFileFormat;
    if (audioFailed == 0 && videoOk == 0)
        return ResultCode::VideoNotRendered;
    if (videoFailed == 0 && audioOk == 0)
        return ResultCode::AudioNotRendered;
    return ResultCode::PartialSuccess;
}

} // namespace Tarnwick
