#include "engine/tarnwick/GraphEncoder.h"

#include "engine/tarnwick/TimelineGraph.h"

#include <Mlt.h>

#include <QFile>
#include <QThread>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Tarnwick {

namespace {

constexpr int kFrequency = 48000;
constexpr int kChannels = 2;

QString AvError(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

// The file being written: its container, its encoders and what they still hold.
class Output
{
public:
    ~Output()
    {
        avcodec_free_context(&m_video);
        avcodec_free_context(&m_audio);
        av_frame_free(&m_audioFrame);
        av_packet_free(&m_packet);
        if (m_format) {
            if (m_opened)
                avio_closep(&m_format->pb);
            avformat_free_context(m_format);
        }
    }

    bool Open(Mlt::Profile& profile, const EncodeSettings& settings, QString* error)
    {
        const QByteArray path = QFile::encodeName(settings.path);
        int code = avformat_alloc_output_context2(&m_format, nullptr, settings.container.toLatin1().constData(),
                                                  path.constData());
        if (code < 0 || !m_format)
            return Fail(error, QStringLiteral("The movie format is not available: ") + AvError(code));
        m_packet = av_packet_alloc();
        if (settings.withVideo && !OpenVideo(profile, settings, error))
            return false;
        if (settings.withAudio && !OpenAudio(settings, error))
            return false;
        if (!(m_format->oformat->flags & AVFMT_NOFILE)) {
            code = avio_open(&m_format->pb, path.constData(), AVIO_FLAG_WRITE);
            if (code < 0)
                return Fail(error, QStringLiteral("The movie file cannot be written: ") + AvError(code));
            m_opened = true;
        }
        code = avformat_write_header(m_format, nullptr);
        if (code < 0)
            return Fail(error, QStringLiteral("The movie file cannot be started: ") + AvError(code));
        return true;
    }

    bool WriteVideo(const uint8_t* image, int width, int height, int64_t index, QString* error)
    {
        if (!m_video)
            return true;
        AVFrame* frame = av_frame_alloc();
        frame->format = AV_PIX_FMT_YUV420P;
        frame->width = m_video->width;
        frame->height = m_video->height;
        frame->pts = index;
        std::vector<uint8_t> black;
        if (!image || width != m_video->width || height != m_video->height) {
            // A picture that could not be made is black rather than a hole in the movie.
            const size_t luma = static_cast<size_t>(m_video->width) * m_video->height;
            black.assign(luma, 16);
            black.resize(luma + 2 * static_cast<size_t>((m_video->width + 1) / 2) * ((m_video->height + 1) / 2), 128);
            image = black.data();
            width = m_video->width;
            height = m_video->height;
        }
        const int chromaWidth = (width + 1) / 2, chromaHeight = (height + 1) / 2;
        frame->data[0] = const_cast<uint8_t*>(image);
        frame->data[1] = frame->data[0] + width * height;
        frame->data[2] = frame->data[1] + chromaWidth * chromaHeight;
        frame->linesize[0] = width;
        frame->linesize[1] = frame->linesize[2] = chromaWidth;
        // Not reference counted: the encoder copies what it keeps.
        const int code = avcodec_send_frame(m_video, frame);
        av_frame_free(&frame);
        if (code < 0)
            return Fail(error, QStringLiteral("A picture could not be encoded: ") + AvError(code));
        return Drain(m_video, m_videoStream, error);
    }

    // Interleaved stereo samples; the encoder takes them in frames of its own size.
    bool WriteAudio(const std::vector<int16_t>& samples, QString* error)
    {
        if (!m_audio)
            return true;
        m_pending.insert(m_pending.end(), samples.begin(), samples.end());
        const int size = m_audio->frame_size > 0 ? m_audio->frame_size : 1024;
        while (static_cast<int>(m_pending.size()) >= size * kChannels) {
            if (!EncodeAudio(size, error))
                return false;
        }
        return true;
    }

    bool Finish(QString* error)
    {
        if (m_audio && !m_pending.empty()) {
            const int rest = static_cast<int>(m_pending.size()) / kChannels;
            const bool variable = m_audio->codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE || m_audio->frame_size == 0;
            if (!variable) // the last frame filled up with silence
                m_pending.resize(static_cast<size_t>(m_audio->frame_size) * kChannels, 0);
            if (!EncodeAudio(variable ? rest : m_audio->frame_size, error))
                return false;
        }
        for (auto [codec, stream] : {std::pair{m_video, m_videoStream}, std::pair{m_audio, m_audioStream}}) {
            if (!codec)
                continue;
            avcodec_send_frame(codec, nullptr);
            if (!Drain(codec, stream, error))
                return false;
        }
        const int code = av_write_trailer(m_format);
        if (code < 0)
            return Fail(error, QStringLiteral("The movie file could not be finished: ") + AvError(code));
        return true;
    }

private:
    static bool Fail(QString* error, const QString& text)
    {
        if (error)
            *error = text;
        return false;
    }

    bool OpenVideo(Mlt::Profile& profile, const EncodeSettings& settings, QString* error)
    {
        const AVCodec* codec = avcodec_find_encoder_by_name(settings.videoCodec.toLatin1().constData());
        if (!codec)
            return Fail(error, QStringLiteral("The video compressor is not available: ") + settings.videoCodec);
        m_videoStream = avformat_new_stream(m_format, nullptr);
        m_video = avcodec_alloc_context3(codec);
        m_video->width = profile.width();
        m_video->height = profile.height();
        m_video->time_base = AVRational{profile.frame_rate_den(), profile.frame_rate_num()};
        m_video->framerate = AVRational{profile.frame_rate_num(), profile.frame_rate_den()};
        m_video->sample_aspect_ratio = AVRational{1, 1};
        m_video->pix_fmt = AV_PIX_FMT_YUV420P;
        m_video->gop_size = std::max(1, settings.keyFrameInterval);
        m_video->thread_count = 0;
        if (settings.quantiser > 0) {
            m_video->flags |= AV_CODEC_FLAG_QSCALE;
            m_video->global_quality = FF_QP2LAMBDA * settings.quantiser;
        } else if (settings.videoBitRate > 0) {
            m_video->bit_rate = settings.videoBitRate;
        }
        if (m_format->oformat->flags & AVFMT_GLOBALHEADER)
            m_video->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        const int code = avcodec_open2(m_video, codec, nullptr);
        if (code < 0)
            return Fail(error, QStringLiteral("The video compressor cannot start: ") + AvError(code));
        avcodec_parameters_from_context(m_videoStream->codecpar, m_video);
        m_videoStream->time_base = m_video->time_base;
        m_videoStream->avg_frame_rate = m_video->framerate;
        return true;
    }

    bool OpenAudio(const EncodeSettings& settings, QString* error)
    {
        const AVCodec* codec = avcodec_find_encoder_by_name(settings.audioCodec.toLatin1().constData());
        if (!codec)
            return Fail(error, QStringLiteral("The audio compressor is not available: ") + settings.audioCodec);
        m_audioStream = avformat_new_stream(m_format, nullptr);
        m_audio = avcodec_alloc_context3(codec);
        m_audio->sample_rate = kFrequency;
        av_channel_layout_default(&m_audio->ch_layout, kChannels);
        m_audio->time_base = AVRational{1, kFrequency};
        // The first of the encoder's formats that Quillmont can hand it.
        m_audio->sample_fmt = AV_SAMPLE_FMT_S16;
        if (codec->sample_fmts) {
            for (const AVSampleFormat* f = codec->sample_fmts; *f != AV_SAMPLE_FMT_NONE; ++f) {
                if (*f == AV_SAMPLE_FMT_S16 || *f == AV_SAMPLE_FMT_S16P || *f == AV_SAMPLE_FMT_FLT
                    || *f == AV_SAMPLE_FMT_FLTP) {
                    m_audio->sample_fmt = *f;
                    break;
                }
            }
        }
        if (settings.audioBitRate > 0)
            m_audio->bit_rate = settings.audioBitRate;
        if (m_format->oformat->flags & AVFMT_GLOBALHEADER)
            m_audio->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        const int code = avcodec_open2(m_audio, codec, nullptr);
        if (code < 0)
            return Fail(error, QStringLiteral("The audio compressor cannot start: ") + AvError(code));
        avcodec_parameters_from_context(m_audioStream->codecpar, m_audio);
        m_audioStream->time_base = m_audio->time_base;
        m_audioFrame = av_frame_alloc();
        return true;
    }

    bool EncodeAudio(int samples, QString* error)
    {
        AVFrame* frame = m_audioFrame;
        av_frame_unref(frame);
        frame->format = m_audio->sample_fmt;
        frame->nb_samples = samples;
        frame->sample_rate = kFrequency;
        av_channel_layout_copy(&frame->ch_layout, &m_audio->ch_layout);
        int code = av_frame_get_buffer(frame, 0);
        if (code < 0)
            return Fail(error, QStringLiteral("No memory for the sound: ") + AvError(code));
        const int16_t* in = m_pending.data();
        switch (m_audio->sample_fmt) {
        case AV_SAMPLE_FMT_S16:
            std::copy(in, in + samples * kChannels, reinterpret_cast<int16_t*>(frame->data[0]));
            break;
        case AV_SAMPLE_FMT_S16P:
            for (int c = 0; c < kChannels; ++c)
                for (int i = 0; i < samples; ++i)
                    reinterpret_cast<int16_t*>(frame->data[c])[i] = in[i * kChannels + c];
            break;
        case AV_SAMPLE_FMT_FLT:
            for (int i = 0; i < samples * kChannels; ++i)
                reinterpret_cast<float*>(frame->data[0])[i] = in[i] / 32768.0f;
            break;
        default: // planar float
            for (int c = 0; c < kChannels; ++c)
                for (int i = 0; i < samples; ++i)
                    reinterpret_cast<float*>(frame->data[c])[i] = in[i * kChannels + c] / 32768.0f;
            break;
        }
        m_pending.erase(m_pending.begin(), m_pending.begin() + samples * kChannels);
        frame->pts = m_audioPts;
        m_audioPts += samples;
        code = avcodec_send_frame(m_audio, frame);
        if (code < 0)
            return Fail(error, QStringLiteral("The sound could not be encoded: ") + AvError(code));
        return Drain(m_audio, m_audioStream, error);
    }

    bool Drain(AVCodecContext* codec, AVStream* stream, QString* error)
    {
        for (;;) {
            int code = avcodec_receive_packet(codec, m_packet);
            if (code == AVERROR(EAGAIN) || code == AVERROR_EOF)
                return true;
            if (code < 0)
                return Fail(error, QStringLiteral("Encoding failed: ") + AvError(code));
            av_packet_rescale_ts(m_packet, codec->time_base, stream->time_base);
            m_packet->stream_index = stream->index;
            code = av_interleaved_write_frame(m_format, m_packet);
            if (code < 0)
                return Fail(error, QStringLiteral("The movie file could not be written: ") + AvError(code));
        }
    }

    AVFormatContext* m_format = nullptr;
    bool m_opened = false;
    AVCodecContext* m_video = nullptr;
    AVStream* m_videoStream = nullptr;
    AVCodecContext* m_audio = nullptr;
    AVStream* m_audioStream = nullptr;
    AVFrame* m_audioFrame = nullptr;
    AVPacket* m_packet = nullptr;
    int64_t m_audioPts = 0;
    std::vector<int16_t> m_pending;
};

// A frame of the graph on its way to the file: taken in order, its picture rendered by
// a worker, its sound taken with it.
struct Slot
{
    std::unique_ptr<Mlt::Frame> frame;
    std::vector<int16_t> sound;
    const uint8_t* image = nullptr;
    int width = 0;
    int height = 0;
    bool rendered = false;
};

} // namespace

bool EncodeGraph(Mlt::Producer& graph, Mlt::Profile& profile, int32_t frames, const EncodeSettings& settings,
                 const EncodeProgress& progress, QString* error)
{
    auto output = std::make_unique<Output>();
    if (!output->Open(profile, settings, error)) {
        output.reset();
        QFile::remove(settings.path);
        return false;
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::map<int32_t, Slot> inFlight; // node addresses stay put while others come and go
    std::vector<Slot*> queue;
    bool stopping = false;
    const int width = profile.width(), height = profile.height();
    const bool pictures = settings.withVideo;

    auto worker = [&] {
        for (;;) {
            Slot* slot = nullptr;
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return stopping || !queue.empty(); });
                if (stopping)
                    return;
                slot = queue.front();
                queue.erase(queue.begin());
            }
            mlt_image_format format = mlt_image_yuv420p;
            int w = width, h = height;
            const uint8_t* image = slot->frame->get_image(format, w, h);
            std::lock_guard lock(mutex);
            slot->image = format == mlt_image_yuv420p ? image : nullptr;
            slot->width = w;
            slot->height = h;
            slot->rendered = true;
            changed.notify_all();
        }
    };
    std::vector<std::thread> workers;
    const int threads = pictures ? std::clamp(QThread::idealThreadCount(), 1, 4) : 0;
    for (int i = 0; i < threads; ++i)
        workers.emplace_back(worker);

    bool ok = true;
    graph.seek(0);
    graph.set_speed(1.0);
    const int32_t ahead = 2 * threads + 2;
    int32_t taken = 0;
    for (int32_t index = 0; index < frames && ok; ++index) {
        // Keep the workers fed a few frames ahead of the encoder.
        while (taken < frames && taken - index < ahead) {
            Slot slot;
            slot.frame.reset(graph.get_frame());
            if (!slot.frame)
                break;
            if (settings.withAudio)
                TakeSound(*slot.frame, taken, slot.sound);
            std::lock_guard lock(mutex);
            Slot& placed = inFlight.emplace(taken, std::move(slot)).first->second;
            if (pictures)
                queue.push_back(&placed);
            else
                placed.rendered = true;
            changed.notify_all();
            ++taken;
        }
        Slot* slot = nullptr;
        {
            std::unique_lock lock(mutex);
            auto it = inFlight.find(index);
            if (it == inFlight.end()) {
                ok = false;
                if (error)
                    *error = QStringLiteral("The timeline could not be rendered.");
                break;
            }
            slot = &it->second;
            changed.wait(lock, [&] { return slot->rendered; });
        }
        ok = (!pictures || output->WriteVideo(slot->image, slot->width, slot->height, index, error))
             && output->WriteAudio(slot->sound, error);
        {
            std::lock_guard lock(mutex);
            inFlight.erase(index);
        }
        if (ok && progress && !progress(index + 1, frames)) {
            ok = false;
            if (error)
                error->clear();
        }
    }
    {
        std::lock_guard lock(mutex);
        stopping = true;
        changed.notify_all();
    }
    for (std::thread& t : workers)
        t.join();
    inFlight.clear();
    ok = ok && output->Finish(error);
    output.reset();
    if (!ok)
        QFile::remove(settings.path);
    return ok;
}

} // namespace Tarnwick
