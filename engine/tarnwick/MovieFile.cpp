#include "engine/tarnwick/MovieFile.h"

#include <QFile>
#include <QFileInfo>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace Tarnwick::MovieFile {

namespace {

struct InputCloser
{
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
using Input = std::unique_ptr<AVFormatContext, InputCloser>;

Input OpenInput(const QString& path, bool withStreamInfo)
{
    AVFormatContext* context = nullptr;
    if (avformat_open_input(&context, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
        return nullptr;
    Input input(context);
    if (withStreamInfo && avformat_find_stream_info(context, nullptr) < 0)
        return nullptr;
    return input;
}

QString CodecName(AVCodecID id)
{
    return QString::fromLatin1(avcodec_get_name(id));
}

AVCodecID EncoderId(const QString& encoder)
{
    const AVCodec* codec = avcodec_find_encoder_by_name(encoder.toLatin1().constData());
    return codec ? codec->id : AV_CODEC_ID_NONE;
}

// FFmpeg's AVI writer knows no chunk for a rating. It travels under one that the
// writer knows and nothing else of Quillmont writes, and is renamed in place to the
// rating's "IRTD" (of the same length, so nothing else in the file moves).
constexpr char kRatingCarrier[] = "ISRF";
constexpr char kRatingChunk[] = "IRTD";

bool RenameRatingChunk(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return false;
    // The INFO list stands in the header, before the pictures.
    const QByteArray head = file.read(4 << 20);
    const qsizetype info = head.indexOf("INFO");
    if (info < 8 || head.mid(info - 8, 4) != "LIST")
        return false;
    const auto* size = reinterpret_cast<const uint8_t*>(head.constData() + info - 4);
    const qsizetype end = std::min<qsizetype>(head.size(), info + (size[0] | size[1] << 8 | size[2] << 16 | size[3] << 24));
    for (qsizetype at = info + 4; at + 8 <= end;) {
        const auto* chunk = reinterpret_cast<const uint8_t*>(head.constData() + at + 4);
        const qsizetype length = chunk[0] | chunk[1] << 8 | chunk[2] << 16 | chunk[3] << 24;
        if (head.mid(at, 4) == kRatingCarrier) {
            file.seek(at);
            return file.write(kRatingChunk, 4) == 4;
        }
        at += 8 + length + (length & 1);
    }
    return false;
}

} // namespace

bool Fields::Empty() const
{
    return title.isEmpty() && author.isEmpty() && rating.isEmpty() && copyright.isEmpty() && description.isEmpty();
}

QString Container(const QString& path)
{
    Input input = OpenInput(path, false);
    if (!input)
        return QString();
    // Names may list several ("mov,mp4,..."); ASF's reader is "asf" (or "asf_o").
    const QString name = QString::fromLatin1(input->iformat->name).section(u',', 0, 0);
    return name.startsWith(u"asf") ? QStringLiteral("asf") : name;
}

QStringList Differences(const QString& path, const Expected& expected, const std::atomic<bool>* stop)
{
    QStringList differences;
    Input input = OpenInput(path, true);
    if (!input)
        return {QStringLiteral("The movie cannot be read back.")};
    const int videoIndex = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    const int audioIndex = av_find_best_stream(input.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);

    auto checkStream = [&](int index, const QString& encoder, const char* kind) -> const AVCodecParameters* {
        if (encoder.isEmpty()) {
            if (index >= 0)
                differences << QStringLiteral("It holds %1 that was not asked for.").arg(QLatin1String(kind));
            return nullptr;
        }
        if (index < 0) {
            differences << QStringLiteral("It holds no %1.").arg(QLatin1String(kind));
            return nullptr;
        }
        const AVCodecParameters* codec = input->streams[index]->codecpar;
        if (codec->codec_id != EncoderId(encoder))
            differences << QStringLiteral("Its %1 is compressed as %2, not as %3.")
                               .arg(QLatin1String(kind), CodecName(codec->codec_id), CodecName(EncoderId(encoder)));
        return codec;
    };

    if (const AVCodecParameters* video = checkStream(videoIndex, expected.videoCodec, "video")) {
        if (video->width != expected.width || video->height != expected.height)
            differences << QStringLiteral("Its pictures are %1 x %2 pixels, not %3 x %4.")
                               .arg(video->width).arg(video->height).arg(expected.width).arg(expected.height);
    }
    if (const AVCodecParameters* audio = checkStream(audioIndex, expected.audioCodec, "sound")) {
        if (audio->sample_rate != expected.sampleRate || audio->ch_layout.nb_channels != expected.channels)
            differences << QStringLiteral("Its sound is %1 Hz in %2 channels, not %3 Hz in %4.")
                               .arg(audio->sample_rate).arg(audio->ch_layout.nb_channels)
                               .arg(expected.sampleRate).arg(expected.channels);
    }

    // The pictures as the container's index counts them, else one by one.
    if (videoIndex >= 0 && !expected.videoCodec.isEmpty()) {
        int64_t frames = input->streams[videoIndex]->nb_frames;
        if (frames <= 0) {
            AVPacket* packet = av_packet_alloc();
            while ((!stop || !*stop) && av_read_frame(input.get(), packet) >= 0) {
                frames += packet->stream_index == videoIndex;
                av_packet_unref(packet);
            }
            av_packet_free(&packet);
            if (stop && *stop)
                return differences;
        }
        if (frames != expected.frames)
            differences << QStringLiteral("It holds %1 pictures, not %2.").arg(frames).arg(expected.frames);
    }

    // The length within one frame of the stretch saved: the pictures' where there are
    // any, else the sound's, by its packets (AVI's reader counts its header into the
    // length of a sound stream). A compressor's last sound frame may run over.
    auto streamMs = [&](int index) {
        const AVStream* stream = input->streams[index];
        return stream->duration > 0 ? stream->duration * av_q2d(stream->time_base) * 1000.0 : input->duration / 1000.0;
    };
    const double frameMs = expected.videoCodec.isEmpty() ? 0.0 : 1000.0 / std::max(1.0, expected.frameRate);
    const double toleranceMs = std::max({frameMs, expected.soundFrameMs, 1.0}) + 0.5;
    double lengthMs = 0.0;
    if (videoIndex >= 0 && !expected.videoCodec.isEmpty()) {
        lengthMs = streamMs(videoIndex);
    } else if (audioIndex >= 0) {
        av_seek_frame(input.get(), -1, 0, AVSEEK_FLAG_BYTE);
        int64_t ticks = 0;
        AVPacket* packet = av_packet_alloc();
        while ((!stop || !*stop) && av_read_frame(input.get(), packet) >= 0) {
            if (packet->stream_index == audioIndex)
                ticks += packet->duration;
            av_packet_unref(packet);
        }
        av_packet_free(&packet);
        lengthMs = ticks > 0 ? ticks * av_q2d(input->streams[audioIndex]->time_base) * 1000.0 : streamMs(audioIndex);
    }
    if (std::fabs(lengthMs - expected.lengthMs) > toleranceMs)
        differences << QStringLiteral("It lasts %1 ms, not %2 ms.").arg(std::lround(lengthMs)).arg(expected.lengthMs);
    if (audioIndex >= 0 && !expected.audioCodec.isEmpty() && !expected.videoCodec.isEmpty()
        && std::fabs(streamMs(audioIndex) - expected.lengthMs) > std::max(toleranceMs, 1000.0 / 25 + 0.5))
        differences << QStringLiteral("Its sound lasts %1 ms, not %2 ms.")
                           .arg(std::lround(streamMs(audioIndex))).arg(expected.lengthMs);
    return differences;
}

bool WriteFields(const QString& path, const Fields& fields, QString* error)
{
    auto fail = [error](const QString& text) {
        if (error)
            *error = text;
        return false;
    };
    const QString container = Container(path);
    if (container != u"avi" && container != u"asf")
        return fail(QStringLiteral("The movie's format carries no descriptive fields."));
    Input input = OpenInput(path, true);
    if (!input)
        return fail(QStringLiteral("The movie cannot be read."));

    const QString copy = path + QStringLiteral(".fields");
    const QByteArray copyName = QFile::encodeName(copy);
    AVFormatContext* output = nullptr;
    if (avformat_alloc_output_context2(&output, nullptr, container.toLatin1().constData(), copyName.constData()) < 0)
        return fail(QStringLiteral("The movie's format cannot be written."));
    std::unique_ptr<AVFormatContext, void (*)(AVFormatContext*)> owned(output, [](AVFormatContext* o) {
        if (o->pb)
            avio_closep(&o->pb);
        avformat_free_context(o);
    });

    for (unsigned i = 0; i < input->nb_streams; ++i) {
        AVStream* stream = avformat_new_stream(output, nullptr);
        avcodec_parameters_copy(stream->codecpar, input->streams[i]->codecpar);
        stream->codecpar->codec_tag = 0; // the writer's own tag for the codec
        stream->time_base = input->streams[i]->time_base;
        stream->avg_frame_rate = input->streams[i]->avg_frame_rate;
        stream->r_frame_rate = input->streams[i]->r_frame_rate;
    }
    av_dict_copy(&output->metadata, input->metadata, 0);
    const bool avi = container == u"avi";
    auto set = [&](const char* key, const QString& value) {
        if (!value.trimmed().isEmpty())
            av_dict_set(&output->metadata, key, value.toUtf8().constData(), 0);
    };
    set("title", fields.title);
    set(avi ? "artist" : "author", fields.author);
    set("copyright", fields.copyright);
    set("comment", fields.description);
    set(avi ? kRatingCarrier : "rating", fields.rating);

    if (avio_open(&output->pb, copyName.constData(), AVIO_FLAG_WRITE) < 0)
        return fail(QStringLiteral("The movie's folder cannot be written."));
    bool ok = avformat_write_header(output, nullptr) >= 0;
    AVPacket* packet = av_packet_alloc();
    while (ok && av_read_frame(input.get(), packet) >= 0) {
        AVStream* in = input->streams[packet->stream_index];
        AVStream* out = output->streams[packet->stream_index];
        av_packet_rescale_ts(packet, in->time_base, out->time_base);
        packet->pos = -1;
        ok = av_interleaved_write_frame(output, packet) >= 0;
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    ok = av_write_trailer(output) >= 0 && ok;
    avio_closep(&output->pb);
    owned.reset();
    input.reset();
    if (ok && avi && !fields.rating.trimmed().isEmpty())
        ok = RenameRatingChunk(copy);
    if (!ok || std::rename(copyName.constData(), QFile::encodeName(path).constData()) != 0) {
        QFile::remove(copy);
        return fail(QStringLiteral("The descriptive fields could not be written."));
    }
    return true;
}

} // namespace Tarnwick::MovieFile
