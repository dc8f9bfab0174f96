#include "engine/tarnwick/MltServices.h"

#include <Mlt.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <cmath>
#include <mutex>
#include <string>

// The producer "quillmont_video": one video stream of a file, decoded with FFmpeg in
// order and handed on in YUV 4:2:0 as decoded (copied once into the frame's buffer).
// A save asks for its pictures once each, from start to end; MLT's own file producer
// converts every picture afresh through the scaler and keeps a copy of each in a cache,
// which costs a save as much again as the decoding. Frames are picked as MLT's producer
// picks them: the first picture at or after the asked position, in the file's own rate.
namespace Tarnwick::MltServices {

namespace {

struct VideoSource
{
    ~VideoSource()
    {
        sws_freeContext(scaler);
        av_frame_free(&picture);
        av_packet_free(&packet);
        avcodec_free_context(&codec);
        avformat_close_input(&format);
    }

    // The stream of a container index, else the first video stream; null for none.
    const AVCodecParameters* StreamParameters(int containerIndex) const
    {
        if (containerIndex < 0 || containerIndex >= static_cast<int>(format->nb_streams)
            || format->streams[containerIndex]->codecpar->codec_type != AVMEDIA_TYPE_VIDEO) {
            containerIndex = -1;
            for (unsigned i = 0; i < format->nb_streams && containerIndex < 0; ++i)
                if (format->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
                    containerIndex = static_cast<int>(i);
        }
        return containerIndex < 0 ? nullptr : format->streams[containerIndex]->codecpar;
    }
    // Opens the decoder of the stream asked for; false when there is none.
    bool OpenDecoder(int containerIndex, int threads);
    // Makes picture the file's picture for a position of the profile; false when the
    // file has none there.
    bool Fetch(int64_t position);
    // The next picture of the file; false at its end.
    bool Decode();
    void Seek(int64_t index);
    void Rewind();
    void Restart();
    int64_t IndexOf(int64_t pts) const;

    std::mutex mutex; // the pictures' workers share the decoder
    std::string path;
    double profileFps = 25.0;
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    AVStream* stream = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* picture = nullptr;
    SwsContext* scaler = nullptr;
    double sourceFps = 25.0;
    int64_t startPts = 0;
    bool decoderTried = false;
    bool held = false;           // picture holds a decoded picture
    int64_t heldIndex = -1;      // its index in the file's rate
    int64_t lastRequest = -1;    // the index last asked for
    bool draining = false;
    bool rewound = false;
};

bool VideoSource::OpenDecoder(int containerIndex, int threads)
{
    decoderTried = true;
    if (containerIndex < 0 || containerIndex >= static_cast<int>(format->nb_streams)
        || format->streams[containerIndex]->codecpar->codec_type != AVMEDIA_TYPE_VIDEO)
        containerIndex = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (containerIndex < 0)
        return false;
    stream = format->streams[containerIndex];
    for (unsigned i = 0; i < format->nb_streams; ++i)
        format->streams[i]->discard = static_cast<int>(i) == containerIndex ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    const AVCodec* decoder = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!decoder)
        return false;
    codec = avcodec_alloc_context3(decoder);
    avcodec_parameters_to_context(codec, stream->codecpar);
    codec->thread_count = std::max(1, threads);
    if (avcodec_open2(codec, decoder, nullptr) < 0)
        return false;
    const AVRational rate = av_guess_frame_rate(format, stream, nullptr);
    sourceFps = rate.num > 0 && rate.den > 0 ? av_q2d(rate) : profileFps;
    startPts = stream->start_time != AV_NOPTS_VALUE ? stream->start_time : 0;
    packet = av_packet_alloc();
    picture = av_frame_alloc();
    return true;
}

int64_t VideoSource::IndexOf(int64_t pts) const
{
    return std::llround((pts - startPts) * av_q2d(stream->time_base) * sourceFps);
}

void VideoSource::Seek(int64_t index)
{
    const int64_t target = startPts + static_cast<int64_t>(index / sourceFps / av_q2d(stream->time_base));
    av_seek_frame(format, stream->index, target, AVSEEK_FLAG_BACKWARD);
    Restart();
}

void VideoSource::Rewind()
{
    // By bytes: a file without an index (MPEG) may not seek to a time before its first
    // key frame.
    if (av_seek_frame(format, -1, 0, AVSEEK_FLAG_BYTE) < 0)
        av_seek_frame(format, stream->index, startPts, AVSEEK_FLAG_BACKWARD);
    Restart();
}

void VideoSource::Restart()
{
    avcodec_flush_buffers(codec);
    held = false;
    draining = false;
}

bool VideoSource::Decode()
{
    for (;;) {
        const int received = avcodec_receive_frame(codec, picture);
        if (received == 0) {
            const int64_t pts = picture->best_effort_timestamp != AV_NOPTS_VALUE ? picture->best_effort_timestamp : picture->pts;
            heldIndex = pts != AV_NOPTS_VALUE ? IndexOf(pts) : heldIndex + 1;
            held = true;
            return true;
        }
        if (received == AVERROR_EOF || (received != AVERROR(EAGAIN)))
            return false;
        if (draining)
            return false;
        const int read = av_read_frame(format, packet);
        if (read < 0) {
            draining = true;
            avcodec_send_packet(codec, nullptr);
            continue;
        }
        if (packet->stream_index == stream->index)
            avcodec_send_packet(codec, packet); // a damaged packet is passed over
        av_packet_unref(packet);
    }
}

bool VideoSource::Fetch(int64_t position)
{
    const int64_t index = std::llround(position / profileFps * sourceFps);
    if (held && index == lastRequest)
        return true;
    // Backwards, or far ahead: from the key frame before. Near the start the file is
    // read from its beginning, where it stands when opened.
    const int64_t far = static_cast<int64_t>(2 * sourceFps) + 1;
    if (held ? index < lastRequest || index > heldIndex + far : index > far)
        Seek(index);
    lastRequest = index;
    bool first = true;
    while (!held || heldIndex < index) {
        if (!Decode())
            break; // past the end: the last picture stays
        // A seek that landed past the picture asked for: from the beginning, then.
        if (first && heldIndex > index && !rewound) {
            rewound = true;
            Rewind();
            continue;
        }
        first = false;
    }
    rewound = false;
    return held;
}

VideoSource* SourceOf(mlt_producer producer)
{
    return static_cast<VideoSource*>(mlt_properties_get_data(MLT_PRODUCER_PROPERTIES(producer), "_source", nullptr));
}

int VideoGetImage(mlt_frame frame, uint8_t** image, mlt_image_format* format, int* width, int* height, int)
{
    auto producer = static_cast<mlt_producer>(mlt_frame_pop_service(frame));
    const int64_t position = mlt_frame_pop_service_int(frame);
    VideoSource* source = SourceOf(producer);
    if (!source)
        return 1;
    std::lock_guard lock(source->mutex);
    mlt_properties properties = MLT_PRODUCER_PROPERTIES(producer);
    if (!source->decoderTried)
        source->OpenDecoder(mlt_properties_get_int(properties, "video_index"), mlt_properties_get_int(properties, "threads"));
    if (!source->codec || !source->Fetch(position)) {
        return 1;
    }
    const AVFrame* picture = source->picture;
    const int w = picture->width, h = picture->height;
    const int size = mlt_image_format_size(mlt_image_yuv420p, w, h, nullptr);
    auto* buffer = static_cast<uint8_t*>(mlt_pool_alloc(size));
    const int chromaWidth = (w + 1) / 2, chromaHeight = (h + 1) / 2;
    uint8_t* planes[4] = {buffer, buffer + w * h, buffer + w * h + chromaWidth * chromaHeight, nullptr};
    int strides[4] = {w, chromaWidth, chromaWidth, 0};
    if (picture->format == AV_PIX_FMT_YUV420P) {
        av_image_copy(planes, strides, const_cast<const uint8_t**>(picture->data), picture->linesize, AV_PIX_FMT_YUV420P, w, h);
    } else {
        source->scaler = sws_getCachedContext(source->scaler, w, h, static_cast<AVPixelFormat>(picture->format), w, h,
                                              AV_PIX_FMT_YUV420P, SWS_BICUBIC, nullptr, nullptr, nullptr);
        if (!source->scaler) {
            mlt_pool_release(buffer);
            return 1;
        }
        sws_scale(source->scaler, picture->data, picture->linesize, 0, h, planes, strides);
    }
    mlt_frame_set_image(frame, buffer, size, mlt_pool_release);
    *image = buffer;
    *format = mlt_image_yuv420p;
    *width = w;
    *height = h;
    return 0;
}

int VideoGetFrame(mlt_producer producer, mlt_frame_ptr frame, int)
{
    *frame = mlt_frame_init(MLT_PRODUCER_SERVICE(producer));
    mlt_properties properties = MLT_FRAME_PROPERTIES(*frame);
    // The picture's own size, which the fitting step reads; no sound.
    if (VideoSource* source = SourceOf(producer)) {
        std::lock_guard lock(source->mutex);
        const AVCodecParameters* stream = source->StreamParameters(
            mlt_properties_get_int(MLT_PRODUCER_PROPERTIES(producer), "video_index"));
        mlt_properties_set_int(properties, "width", stream ? stream->width : 0);
        mlt_properties_set_int(properties, "height", stream ? stream->height : 0);
    }
    mlt_properties_set_int(properties, "progressive", 1);
    mlt_properties_set_int(properties, "test_audio", 1);
    mlt_frame_set_position(*frame, mlt_producer_position(producer));
    mlt_frame_push_service_int(*frame, static_cast<int>(mlt_producer_position(producer)));
    mlt_frame_push_service(*frame, producer);
    mlt_frame_push_get_image(*frame, VideoGetImage);
    mlt_producer_prepare_next(producer);
    return 0;
}

void* CreateVideo(mlt_profile profile, mlt_service_type, const char*, const void* resource)
{
    if (!resource || !profile)
        return nullptr;
    auto source = std::make_unique<VideoSource>();
    source->path = static_cast<const char*>(resource);
    source->profileFps = mlt_profile_fps(profile);
    if (avformat_open_input(&source->format, source->path.c_str(), nullptr, nullptr) < 0
        || avformat_find_stream_info(source->format, nullptr) < 0)
        return nullptr;
    mlt_producer producer = NewProducer(profile, VideoGetFrame);
    if (!producer)
        return nullptr;
    mlt_properties properties = MLT_PRODUCER_PROPERTIES(producer);
    mlt_properties_set(properties, "resource", source->path.c_str());
    // As long as the file lasts, in frames of the profile, as MLT's own producer counts.
    const double seconds = source->format->duration > 0 ? source->format->duration / static_cast<double>(AV_TIME_BASE) : 0.0;
    const int frames = std::max(1, static_cast<int>(seconds * source->profileFps + 0.5));
    mlt_properties_set_int(properties, "length", frames);
    mlt_properties_set_int(properties, "out", frames - 1);
    mlt_properties_set_data(properties, "_source", source.release(), 0,
                            [](void* data) { delete static_cast<VideoSource*>(data); }, nullptr);
    return producer;
}

} // namespace

void RegisterVideoProducer(mlt_repository repository)
{
    mlt_repository_register(repository, mlt_service_producer_type, VideoProducer, CreateVideo);
}

std::unique_ptr<Mlt::Producer> OpenSequential(mlt_profile profile, const SourceSpec& source)
{
    auto producer = std::make_unique<Mlt::Producer>(profile, VideoProducer, source.path.c_str());
    if (!producer->is_valid())
        return nullptr;
    // As OpenSource: a step that asks for another format than YUV 4:2:0 gets it converted.
    Mlt::Filter convert(profile, "avcolor_space");
    if (convert.is_valid())
        producer->attach(convert);
    if (source.frames > 0) {
        producer->set("length", source.frames);
        producer->set("out", source.frames - 1);
    }
    producer->set("video_index", source.containerIndex);
    return producer;
}

} // namespace Tarnwick::MltServices
