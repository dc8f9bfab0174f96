#include "engine/tarnwick/GraphEncoder.h"

#include "engine/tarnwick/TimelineGraph.h"

#include <Mlt.h>

#include <QFile>
#include <QThread>

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
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

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

struct FrameDeleter
{
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;

// The picture format an encoder gets: YUV 4:2:0 as the graph renders it where the
// encoder takes it, else its own first format. Motion JPEG takes 4:2:0 only in full
// range; raw pictures are written as 24-bit RGB.
AVPixelFormat PictureFormat(const AVCodec* codec)
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

// The file being written with its encoders, and the graph it is made from.
struct GraphEncoder::Output
{
    ~Output()
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
        graph.reset();
        profile.reset();
    }

    bool Open(QString* error);
    bool OpenVideo(QString* error);
    bool OpenAudio(QString* error);
    // The graph frame an output frame shows.
    int32_t GraphFrameOf(int32_t outputFrame) const;
    // A picture ready for the encoder from the graph's YUV 4:2:0 (black when null).
    FramePtr Picture(const uint8_t* yuv, SwsContext*& converter) const;
    bool WriteVideo(AVFrame& picture, QString* error);
    bool WriteAudio(const int16_t* samples, int count, QString* error);
    bool EncodeAudio(bool last, QString* error);
    bool Drain(AVCodecContext* codec, AVStream* stream, QString* error);
    bool Finish(QString* error);

    EncodeSettings settings;
    std::unique_ptr<Mlt::Profile> profile;
    std::unique_ptr<Mlt::Producer> graph;
    int32_t graphFrames = 0;
    int graphFps = GraphFps;
    int width = 0, height = 0;
    int fps = GraphFps;
    int32_t startMs = 0, lengthMs = 0;
    int32_t outputFrames = 0;   // pictures due
    int64_t firstSample = 0;    // of the graph's 48 kHz sound
    int64_t soundSamples = 0;   // due, at 48 kHz

    AVFormatContext* format = nullptr;
    bool opened = false;
    AVCodecContext* video = nullptr;
    AVStream* videoStream = nullptr;
    AVPixelFormat pictureFormat = AV_PIX_FMT_YUV420P;
    std::vector<uint8_t> black; // a black picture of the graph, YUV 4:2:0
    int64_t videoPts = 0;
    AVCodecContext* audio = nullptr;
    AVStream* audioStream = nullptr;
    SwrContext* resampler = nullptr;
    AVAudioFifo* fifo = nullptr;
    int64_t audioPts = 0;
    AVPacket* packet = nullptr;
};

bool GraphEncoder::Output::Open(QString* error)
{
    width = profile->width();
    height = profile->height();
    graphFps = std::max(1, profile->frame_rate_num() / std::max(1, profile->frame_rate_den()));
    fps = settings.frameRate > 0 ? settings.frameRate : graphFps;
    graphFrames = std::max(0, graph->get_length());
    const int32_t graphEndMs = static_cast<int32_t>(static_cast<int64_t>(graphFrames) * 1000 / graphFps);
    startMs = std::max(0, settings.startMs);
    const int32_t stopMs = settings.stopMs < 0 ? graphEndMs : settings.stopMs;
    lengthMs = stopMs - startMs;
    if (lengthMs <= 0)
        return Fail(error, QStringLiteral("There is nothing to save in that range."));
    outputFrames = std::max<int32_t>(1, static_cast<int32_t>(std::lround(lengthMs * static_cast<double>(fps) / 1000.0)));
    firstSample = static_cast<int64_t>(startMs) * GraphFrequency / 1000;
    soundSamples = static_cast<int64_t>(lengthMs) * GraphFrequency / 1000;

    const QByteArray path = QFile::encodeName(settings.path);
    int code = avformat_alloc_output_context2(&format, nullptr, settings.container.toLatin1().constData(), path.constData());
    if (code < 0 || !format)
        return Fail(error, QStringLiteral("The movie format is not available: ") + AvError(code));
    packet = av_packet_alloc();
    if (!settings.videoCodec.isEmpty() && !OpenVideo(error))
        return false;
    if (!settings.audioCodec.isEmpty() && !OpenAudio(error))
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

bool GraphEncoder::Output::OpenVideo(QString* error)
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
    pictureFormat = PictureFormat(codec);
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

bool GraphEncoder::Output::OpenAudio(QString* error)
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

    AVChannelLayout stereo;
    av_channel_layout_default(&stereo, GraphChannels);
    code = swr_alloc_set_opts2(&resampler, &audio->ch_layout, audio->sample_fmt, audio->sample_rate, &stereo,
                               AV_SAMPLE_FMT_S16, GraphFrequency, 0, nullptr);
    if (code < 0 || swr_init(resampler) < 0)
        return Fail(error, QStringLiteral("The sound cannot be converted for the compressor."));
    fifo = av_audio_fifo_alloc(audio->sample_fmt, settings.channels, 4096);
    return fifo != nullptr;
}

int32_t GraphEncoder::Output::GraphFrameOf(int32_t outputFrame) const
{
    // The frame nearest the output frame's moment, as the preview seeks to a moment.
    const double ms = startMs + outputFrame * 1000.0 / fps;
    return static_cast<int32_t>(std::lround(ms * graphFps / 1000.0));
}

FramePtr GraphEncoder::Output::Picture(const uint8_t* yuv, SwsContext*& converter) const
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

bool GraphEncoder::Output::WriteVideo(AVFrame& picture, QString* error)
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

bool GraphEncoder::Output::WriteAudio(const int16_t* samples, int count, QString* error)
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

bool GraphEncoder::Output::EncodeAudio(bool last, QString* error)
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

bool GraphEncoder::Output::Drain(AVCodecContext* codec, AVStream* stream, QString* error)
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

bool GraphEncoder::Output::Finish(QString* error)
{
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

GraphEncoder::GraphEncoder() = default;

GraphEncoder::~GraphEncoder() = default;

bool GraphEncoder::Open(std::unique_ptr<Mlt::Profile> profile, std::unique_ptr<Mlt::Producer> graph,
                        const EncodeSettings& settings, QString* error)
{
    m_output = std::make_unique<Output>();
    m_output->settings = settings;
    m_output->profile = std::move(profile);
    m_output->graph = std::move(graph);
    m_stop = false;
    m_doneMs = 0;
    if (!m_output->Open(error)) {
        Discard();
        return false;
    }
    return true;
}

void GraphEncoder::Discard()
{
    if (!m_output)
        return;
    const QString path = m_output->settings.path;
    m_output.reset();
    QFile::remove(path);
}

void GraphEncoder::Stop()
{
    m_stop = true;
}

int32_t GraphEncoder::LengthMs() const
{
    return m_output ? m_output->lengthMs : 0;
}

int32_t GraphEncoder::OutputFrames() const
{
    return m_output && m_output->video ? m_output->outputFrames : 0;
}

double GraphEncoder::FrameRate() const
{
    return m_output ? m_output->fps : 0.0;
}

int GraphEncoder::Width() const
{
    return m_output ? m_output->width : 0;
}

int GraphEncoder::Height() const
{
    return m_output ? m_output->height : 0;
}

double GraphEncoder::SoundFrameMs() const
{
    const AVCodecContext* audio = m_output ? m_output->audio : nullptr;
    return audio && audio->frame_size > 0 ? audio->frame_size * 1000.0 / audio->sample_rate : 0.0;
}

namespace {

// A frame of the graph on its way to the file: taken in order with its sound, its
// picture rendered by a worker when an output frame shows it.
struct Slot
{
    int32_t graphFrame = 0;
    std::unique_ptr<Mlt::Frame> frame; // null past the graph's end
    std::vector<int16_t> sound;        // its samples within the stretch
    int copies = 0;                    // output frames that show it
    FramePtr picture;
    bool rendered = false;
};

} // namespace

GraphEncoder::Result GraphEncoder::Run(const EncodeProgress& progress, QString* error)
{
    if (!m_output) {
        Fail(error, QStringLiteral("The movie was not prepared."));
        return Result::Failed;
    }
    Output& out = *m_output;
    const bool pictures = out.video != nullptr;
    const bool sound = out.audio != nullptr;

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::unique_ptr<Slot>> inOrder; // taken, not yet written
    std::deque<Slot*> toRender;
    bool stopping = false, fed = false;
    const int threads = pictures ? std::clamp(QThread::idealThreadCount(), 1, 4) : 0;
    const size_t ahead = static_cast<size_t>(2 * threads + 4);

    // The graph's frames in order, with their sound cut to the stretch.
    auto feed = [&] {
        const int32_t firstFrame = std::min(out.GraphFrameOf(0), static_cast<int32_t>(out.firstSample * out.graphFps / GraphFrequency));
        if (firstFrame < out.graphFrames) {
            out.graph->seek(firstFrame);
            out.graph->set_speed(1.0);
        }
        const int64_t lastSample = out.firstSample + out.soundSamples;
        int32_t nextOutput = 0;
        int64_t soundAt = out.firstSample;
        for (int32_t g = firstFrame; (pictures && nextOutput < out.outputFrames) || (sound && soundAt < lastSample); ++g) {
            auto slot = std::make_unique<Slot>();
            slot->graphFrame = g;
            if (g < out.graphFrames)
                slot->frame.reset(out.graph->get_frame());
            if (sound) {
                std::vector<int16_t> all;
                if (slot->frame)
                    TakeSound(*slot->frame, g, all);
                const int64_t from = static_cast<int64_t>(g) * GraphFrequency / out.graphFps;
                const int64_t to = static_cast<int64_t>(g + 1) * GraphFrequency / out.graphFps;
                all.resize(static_cast<size_t>(to - from) * GraphChannels, 0);
                const int64_t keepFrom = std::max(from, soundAt), keepTo = std::min(to, lastSample);
                if (keepTo > keepFrom) {
                    slot->sound.assign(all.begin() + (keepFrom - from) * GraphChannels, all.begin() + (keepTo - from) * GraphChannels);
                    soundAt = keepTo;
                }
            }
            while (pictures && nextOutput < out.outputFrames && out.GraphFrameOf(nextOutput) <= g) {
                ++slot->copies;
                ++nextOutput;
            }
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return stopping || inOrder.size() < ahead; });
            if (stopping)
                break;
            Slot* raw = slot.get();
            raw->rendered = raw->copies == 0;
            inOrder.push_back(std::move(slot));
            if (!raw->rendered)
                toRender.push_back(raw);
            changed.notify_all();
        }
        std::lock_guard lock(mutex);
        fed = true;
        changed.notify_all();
    };

    auto render = [&] {
        SwsContext* converter = nullptr;
        for (;;) {
            Slot* slot = nullptr;
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return stopping || !toRender.empty(); });
                if (stopping)
                    break;
                slot = toRender.front();
                toRender.pop_front();
            }
            const uint8_t* image = nullptr;
            if (slot->frame) {
                mlt_image_format format = mlt_image_yuv420p;
                int w = out.width, h = out.height;
                image = slot->frame->get_image(format, w, h);
                if (format != mlt_image_yuv420p || w != out.width || h != out.height)
                    image = nullptr; // a picture that could not be made is black, not a hole
            }
            FramePtr picture = out.Picture(image, converter);
            std::lock_guard lock(mutex);
            slot->picture = std::move(picture);
            slot->rendered = true;
            changed.notify_all();
        }
        sws_freeContext(converter);
    };

    std::thread feeder(feed);
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i)
        workers.emplace_back(render);

    Result result = Result::Done;
    QString failure;
    int32_t written = 0, graphDone = 0;
    const int32_t total = pictures ? out.outputFrames : static_cast<int32_t>(out.soundSamples * out.graphFps / GraphFrequency);
    int64_t soundWritten = 0;
    for (;;) {
        std::unique_ptr<Slot> slot;
        {
            std::unique_lock lock(mutex);
            // Stop comes from another thread without a word to this one: looked at often.
            while (!m_stop && !(!inOrder.empty() && inOrder.front()->rendered) && !(fed && inOrder.empty()))
                changed.wait_for(lock, std::chrono::milliseconds(20));
            if (m_stop) {
                result = Result::Stopped;
                break;
            }
            if (inOrder.empty())
                break;
            slot = std::move(inOrder.front());
            inOrder.pop_front();
            changed.notify_all();
        }
        bool ok = true;
        for (int c = 0; c < slot->copies && ok; ++c) {
            ok = slot->picture ? out.WriteVideo(*slot->picture, &failure)
                               : Fail(&failure, QStringLiteral("No memory for a picture."));
            written += ok;
        }
        ok = ok && out.WriteAudio(slot->sound.data(), static_cast<int>(slot->sound.size() / GraphChannels), &failure);
        if (!ok) {
            result = Result::Failed;
            break;
        }
        soundWritten += static_cast<int64_t>(slot->sound.size() / GraphChannels);
        ++graphDone;
        m_doneMs = pictures ? static_cast<int32_t>(static_cast<int64_t>(written) * 1000 / out.fps)
                            : static_cast<int32_t>(soundWritten * 1000 / GraphFrequency);
        if (progress && (slot->copies > 0 || !pictures) && !progress(pictures ? written : graphDone, total)) {
            result = Result::Stopped;
            break;
        }
    }
    {
        std::lock_guard lock(mutex);
        stopping = true;
        changed.notify_all();
    }
    feeder.join();
    for (std::thread& t : workers)
        t.join();
    inOrder.clear();

    QString finishing;
    const bool finished = out.Finish(&finishing);
    if (result == Result::Failed) {
        if (error)
            *error = failure;
    } else if (!finished) {
        result = Result::Failed;
        if (error)
            *error = finishing;
    }
    return result;
}

bool EncodeGraph(std::unique_ptr<Mlt::Profile> profile, std::unique_ptr<Mlt::Producer> graph,
                 const EncodeSettings& settings, const EncodeProgress& progress, QString* error)
{
    GraphEncoder encoder;
    if (!encoder.Open(std::move(profile), std::move(graph), settings, error))
        return false;
    const GraphEncoder::Result result = encoder.Run(progress, error);
    if (result == GraphEncoder::Result::Done)
        return true;
    if (result == GraphEncoder::Result::Stopped && error)
        error->clear();
    encoder.Discard();
    return false;
}

} // namespace Tarnwick
