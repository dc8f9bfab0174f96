#include "engine/tarnwick/MovieWriter.h"

#include <QFile>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>

namespace Tarnwick {

namespace {

QString AvError(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

bool Fail(QString* error, const QString& text)
{
    if (error)
        *error = text;
    return false;
}

// The picture format an encoder gets: YUV 4:2:0 as the graph renders it where the
// encoder takes it, else its own first format. Motion JPEG takes 4:2:0 only in full
// range; raw pictures are written as 24-bit RGB.
AVPixelFormat EncoderPictureFormat(const AVCodec* codec)
{
    if (codec->id == AV_CODEC_ID_RAWVIDEO)
        return AV_PIX_FMT_BGR24;
    if (!codec->pix_fmts)
        return AV_PIX_FMT_YUV420P;
    if (codec->id != AV_CODEC_ID_MJPEG)
        for (const AVPixelFormat* f = codec->pix_fmts; *f != AV_PIX_FMT_NONE; ++f)
            if (*f == AV_PIX_FMT_YUV420P)
                return *f;
    return codec->pix_fmts[0];
}

AVSampleFormat SoundFormat(const AVCodec* codec)
{
    return codec->sample_fmts ? codec->sample_fmts[0] : AV_SAMPLE_FMT_S16;
}

} // namespace

MovieWriter::~MovieWriter()
{
    avcodec_free_context(&video);
    avcodec_free_context(&audio);
    swr_free(&resampler);
    if (fifo)
        av_audio_fifo_free(fifo);
    av_packet_free(&packet);
    if (format) {
        if (opened)
            avio_closep(&format->pb);
        avformat_free_context(format);
    }
}

bool MovieWriter::Open(const EncodeSettings& wanted, int pictureWidth, int pictureHeight, int framesPerSecond, QString* error,
                       int soundRate, int soundChannels)
{
    settings = wanted;
    width = pictureWidth;
    height = pictureHeight;
    fps = std::max(1, framesPerSecond);
    const QByteArray path = QFile::encodeName(settings.path);
    int code = avformat_alloc_output_context2(&format, nullptr, settings.container.toLatin1().constData(), path.constData());
    if (code < 0 || !format)
        return Fail(error, QStringLiteral("The movie format is not available: ") + AvError(code));
    packet = av_packet_alloc();
    if (!settings.videoCodec.isEmpty() && !OpenVideo(error))
        return false;
    if (!settings.audioCodec.isEmpty() && !OpenAudio(soundRate, soundChannels, error))
        return false;
    if (!video && !audio)
        return Fail(error, QStringLiteral("The movie would hold neither pictures nor sound."));
    if (!(format->oformat->flags & AVFMT_NOFILE)) {
        code = avio_open(&format->pb, path.constData(), AVIO_FLAG_WRITE);
        if (code < 0)
            return Fail(error, QStringLiteral("The movie file cannot be written: ") + AvError(code));
        opened = true;
    }
    code = avformat_write_header(format, nullptr);
    if (code < 0)
        return Fail(error, QStringLiteral("The movie file cannot be started: ") + AvError(code));
    return true;
}

bool MovieWriter::OpenVideo(QString* error)
{
    const AVCodec* codec = avcodec_find_encoder_by_name(settings.videoCodec.toLatin1().constData());
    if (!codec)
        return Fail(error, QStringLiteral("The video compressor is not available: ") + settings.videoCodec);
    videoStream = avformat_new_stream(format, nullptr);
    video = avcodec_alloc_context3(codec);
    video->width = width;
    video->height = height;
    video->time_base = AVRational{1, fps};
    video->framerate = AVRational{fps, 1};
    video->sample_aspect_ratio = AVRational{1, 1};
    pictureFormat = EncoderPictureFormat(codec);
    video->pix_fmt = pictureFormat;
    video->thread_count = 0;
    if (settings.keyFrameInterval > 0) {
        video->gop_size = settings.keyFrameInterval;
        // Some compressors count their key frames by the smallest interval.
        if (codec->id == AV_CODEC_ID_MSVIDEO1 || codec->id == AV_CODEC_ID_CINEPAK)
            video->keyint_min = settings.keyFrameInterval;
    }
    // AVI keeps no time stamps for pictures sent out of order.
    if (codec->id == AV_CODEC_ID_H264 && settings.container == u"avi")
        video->max_b_frames = 0;
    else if (settings.bFrames >= 0)
        video->max_b_frames = settings.bFrames;
    if (settings.videoBitRate > 0) {
        video->bit_rate = settings.videoBitRate;
    } else if (settings.quality >= 0) {
        const double quality = std::clamp(settings.quality, 0, 100);
        if (codec->id == AV_CODEC_ID_H264) {
            av_opt_set_double(video->priv_data, "crf", std::nearbyint(51.0 - 0.41 * quality), 0);
        } else {
            video->flags |= AV_CODEC_FLAG_QSCALE;
            video->global_quality = FF_QP2LAMBDA * std::clamp(static_cast<int>(std::nearbyint(31.0 - 0.3 * quality)), 1, 31);
        }
    }
    if (format->oformat->flags & AVFMT_GLOBALHEADER)
        video->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    const int code = avcodec_open2(video, codec, nullptr);
    if (code < 0)
        return Fail(error, QStringLiteral("The video compressor refuses the settings: ") + AvError(code));
    avcodec_parameters_from_context(videoStream->codecpar, video);
    videoStream->time_base = video->time_base;
    videoStream->avg_frame_rate = video->framerate;
    const size_t luma = static_cast<size_t>(width) * height;
    black.assign(luma, 16);
    black.resize(luma + 2 * static_cast<size_t>((width + 1) / 2) * ((height + 1) / 2), 128);
    return true;
}

bool MovieWriter::OpenAudio(int soundRate, int soundChannels, QString* error)
{
    const AVCodec* codec = avcodec_find_encoder_by_name(settings.audioCodec.toLatin1().constData());
    if (!codec)
        return Fail(error, QStringLiteral("The audio compressor is not available: ") + settings.audioCodec);
    audioStream = avformat_new_stream(format, nullptr);
    audio = avcodec_alloc_context3(codec);
    audio->sample_rate = settings.sampleRate;
    av_channel_layout_default(&audio->ch_layout, settings.channels);
    audio->time_base = AVRational{1, settings.sampleRate};
    audio->sample_fmt = SoundFormat(codec);
    if (settings.audioBitRate > 0)
        audio->bit_rate = settings.audioBitRate;
    if (format->oformat->flags & AVFMT_GLOBALHEADER)
        audio->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    int code = avcodec_open2(audio, codec, nullptr);
    if (code < 0)
        return Fail(error, QStringLiteral("The audio compressor refuses the settings: ") + AvError(code));
    avcodec_parameters_from_context(audioStream->codecpar, audio);
    audioStream->time_base = audio->time_base;

    AVChannelLayout input;
    av_channel_layout_default(&input, soundChannels);
    soundChannelsIn = soundChannels;
    code = swr_alloc_set_opts2(&resampler, &audio->ch_layout, audio->sample_fmt, audio->sample_rate, &input,
                               AV_SAMPLE_FMT_S16, soundRate, 0, nullptr);
    if (code < 0 || swr_init(resampler) < 0)
        return Fail(error, QStringLiteral("The sound cannot be converted for the compressor."));
    fifo = av_audio_fifo_alloc(audio->sample_fmt, settings.channels, 4096);
    return fifo != nullptr;
}

FramePtr MovieWriter::Picture(const uint8_t* yuv, SwsContext*& converter) const
{
    if (!yuv)
        yuv = black.data();
    FramePtr picture(av_frame_alloc());
    picture->width = width;
    picture->height = height;
    const int chromaWidth = (width + 1) / 2, chromaHeight = (height + 1) / 2;
    const uint8_t* planes[3] = {yuv, yuv + width * height, yuv + width * height + chromaWidth * chromaHeight};
    const int strides[3] = {width, chromaWidth, chromaWidth};
    if (pictureFormat == AV_PIX_FMT_YUV420P) {
        // Handed on as it is: the encoder copies what it keeps.
        picture->format = AV_PIX_FMT_YUV420P;
        for (int i = 0; i < 3; ++i) {
            picture->data[i] = const_cast<uint8_t*>(planes[i]);
            picture->linesize[i] = strides[i];
        }
        return picture;
    }
    picture->format = pictureFormat;
    if (av_frame_get_buffer(picture.get(), 0) < 0)
        return nullptr;
    converter = sws_getCachedContext(converter, width, height, AV_PIX_FMT_YUV420P, width, height, pictureFormat,
                                     SWS_BICUBIC, nullptr, nullptr, nullptr);
    if (!converter)
        return nullptr;
    sws_scale(converter, planes, strides, 0, height, picture->data, picture->linesize);
    return picture;
}

bool MovieWriter::WriteVideo(AVFrame& picture, QString* error)
{
    // A wrapped picture is copied by the encoder, a converted one shared. A fixed
    // quantiser is taken from each picture.
    picture.pts = videoPts++;
    if (video->flags & AV_CODEC_FLAG_QSCALE)
        picture.quality = video->global_quality;
    const int code = avcodec_send_frame(video, &picture);
    if (code < 0)
        return Fail(error, QStringLiteral("A picture could not be encoded: ") + AvError(code));
    return Drain(video, videoStream, error);
}

bool MovieWriter::WriteAudio(const int16_t* samples, int count, QString* error)
{
    if (!audio || count <= 0)
        return true;
    const int room = swr_get_out_samples(resampler, count);
    uint8_t** converted = nullptr;
    if (av_samples_alloc_array_and_samples(&converted, nullptr, settings.channels, std::max(1, room), audio->sample_fmt, 0) < 0)
        return Fail(error, QStringLiteral("No memory for the sound."));
    const uint8_t* in[1] = {reinterpret_cast<const uint8_t*>(samples)};
    const int made = swr_convert(resampler, converted, room, in, count);
    if (made > 0)
        av_audio_fifo_write(fifo, reinterpret_cast<void**>(converted), made);
    av_freep(&converted[0]);
    av_freep(&converted);
    return made >= 0 && EncodeAudio(false, error);
}

bool MovieWriter::EncodeAudio(bool last, QString* error)
{
    const bool variable = (audio->codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE) || audio->frame_size == 0;
    const int size = audio->frame_size > 0 ? audio->frame_size : 1024;
    while (av_audio_fifo_size(fifo) >= size || (last && av_audio_fifo_size(fifo) > 0)) {
        const int take = std::min(size, av_audio_fifo_size(fifo));
        FramePtr frame(av_frame_alloc());
        frame->format = audio->sample_fmt;
        frame->nb_samples = variable ? take : size;
        frame->sample_rate = audio->sample_rate;
        av_channel_layout_copy(&frame->ch_layout, &audio->ch_layout);
        if (av_frame_get_buffer(frame.get(), 0) < 0)
            return Fail(error, QStringLiteral("No memory for the sound."));
        // The last frame of a fixed size is filled up with silence.
        av_samples_set_silence(frame->data, 0, frame->nb_samples, settings.channels, audio->sample_fmt);
        av_audio_fifo_read(fifo, reinterpret_cast<void**>(frame->data), take);
        frame->pts = audioPts;
        audioPts += frame->nb_samples;
        const int code = avcodec_send_frame(audio, frame.get());
        if (code < 0)
            return Fail(error, QStringLiteral("The sound could not be encoded: ") + AvError(code));
        if (!Drain(audio, audioStream, error))
            return false;
    }
    return true;
}

bool MovieWriter::Drain(AVCodecContext* codec, AVStream* stream, QString* error)
{
    for (;;) {
        int code = avcodec_receive_packet(codec, packet);
        if (code == AVERROR(EAGAIN) || code == AVERROR_EOF)
            return true;
        if (code < 0)
            return Fail(error, QStringLiteral("Encoding failed: ") + AvError(code));
        if (codec == audio && codec->initial_padding > 0) {
            // A compressor's priming samples come before 0, where AVI keeps no time: the
            // writer would shift every stream by them, and the pictures by a frame.
            packet->pts += codec->initial_padding;
            packet->dts += codec->initial_padding;
        }
        av_packet_rescale_ts(packet, codec->time_base, stream->time_base);
        packet->stream_index = stream->index;
        code = av_interleaved_write_frame(format, packet);
        if (code < 0)
            return Fail(error, QStringLiteral("The movie file could not be written: ") + AvError(code));
    }
}

bool MovieWriter::Finish(QString* error)
{
    if (finished || !format)
        return true;
    finished = true;
    bool ok = true;
    if (audio) {
        // What the resampler still holds, then the rest of the queue.
        uint8_t** converted = nullptr;
        const int room = std::max(1, swr_get_out_samples(resampler, 0));
        if (av_samples_alloc_array_and_samples(&converted, nullptr, settings.channels, room, audio->sample_fmt, 0) >= 0) {
            const int made = swr_convert(resampler, converted, room, nullptr, 0);
            if (made > 0)
                av_audio_fifo_write(fifo, reinterpret_cast<void**>(converted), made);
            av_freep(&converted[0]);
            av_freep(&converted);
        }
        ok = EncodeAudio(true, error);
    }
    for (auto [codec, stream] : {std::pair{video, videoStream}, std::pair{audio, audioStream}}) {
        if (codec && ok) {
            avcodec_send_frame(codec, nullptr);
            ok = Drain(codec, stream, error);
        }
    }
    // The trailer even after a failure: a file with its index plays as far as it came.
    const int code = av_write_trailer(format);
    if (code < 0 && ok)
        return Fail(error, QStringLiteral("The movie file could not be finished: ") + AvError(code));
    if (opened) {
        avio_closep(&format->pb);
        opened = false;
    }
    return ok;
}

FramePtr MovieWriter::NewPicture() const
{
    FramePtr picture(av_frame_alloc());
    picture->width = width;
    picture->height = height;
    picture->format = pictureFormat;
    if (av_frame_get_buffer(picture.get(), 0) < 0)
        return nullptr;
    return picture;
}

double MovieWriter::SoundFrameMs() const
{
    return audio && audio->frame_size > 0 ? audio->frame_size * 1000.0 / audio->sample_rate : 0.0;
}

} // namespace Tarnwick
