#pragma once

#include "engine/tarnwick/TimelineGraph.h"

#include <QString>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixfmt.h>
}

#include <cstdint>
#include <memory>
#include <vector>

struct AVCodecContext;
struct AVFormatContext;
struct AVPacket;
struct AVStream;
struct AVAudioFifo;
struct SwrContext;
struct SwsContext;

// A movie file being written with FFmpeg: the container, a picture encoder and a sound
// encoder, and the conversions they need. Saving the timeline and capturing from devices
// both write their movies through it.
namespace Tarnwick {

struct EncodeSettings
{
    QString path;
    // FFmpeg's names: the container ("avi", "asf"), the encoders ("mpeg4", "pcm_s16le").
    // An empty encoder leaves its stream out.
    QString container = QStringLiteral("avi");
    QString videoCodec = QStringLiteral("mpeg4");
    QString audioCodec = QStringLiteral("pcm_s16le");
    // 0 (smallest) to 100 (best picture); -1 leaves the compressor to its own.
    int quality = 93;
    // Bits a second; 0 for the compressor's own.
    int64_t videoBitRate = 0;
    int64_t audioBitRate = 0;
    // Frames from one key frame to the next; 0 for the compressor's own.
    int keyFrameInterval = 250;
    // Bidirectional frames between two predicted ones; -1 for the compressor's own.
    int bFrames = -1;
    // Frames a second; 0 for the graph's.
    int frameRate = 0;
    int sampleRate = 48000;
    int channels = 2;
    // The stretch of the graph, in ms; a stop of -1 is the graph's end. Past the graph's
    // end the movie is black and silent.
    int32_t startMs = 0;
    int32_t stopMs = -1;
};

struct FrameDeleter
{
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;

class MovieWriter
{
public:
    MovieWriter() = default;
    ~MovieWriter();
    MovieWriter(const MovieWriter&) = delete;
    MovieWriter& operator=(const MovieWriter&) = delete;

    // Opens the encoders that settings name for pictures of width x height at fps, and
    // sound that arrives as interleaved 16-bit samples at soundRate with soundChannels,
    // and starts the file. False with the reason when FFmpeg refuses them; the caller
    // removes the file then.
    bool Open(const EncodeSettings& settings, int width, int height, int fps, QString* error,
              int soundRate = GraphFrequency, int soundChannels = GraphChannels);

    bool HasVideo() const { return video != nullptr; }
    bool HasAudio() const { return audio != nullptr; }
    // The picture format the encoder takes.
    AVPixelFormat PictureFormat() const { return pictureFormat; }
    // A picture ready for the encoder from YUV 4:2:0 of width x height (black when null).
    FramePtr Picture(const uint8_t* yuv, SwsContext*& converter) const;
    // An empty picture of the encoder's format and size, to be filled by the caller.
    FramePtr NewPicture() const;
    // The next picture of the movie, at the next frame's time.
    bool WriteVideo(AVFrame& picture, QString* error);
    // count samples of every channel, interleaved.
    bool WriteAudio(const int16_t* samples, int count, QString* error);
    // Drains the encoders and writes the index, even after a failure, so that the file
    // plays as far as it came.
    bool Finish(QString* error);

    // The sound compressor's frame in ms; 0 for one that takes any length.
    double SoundFrameMs() const;
    int64_t PicturesWritten() const { return videoPts; }

    EncodeSettings settings;
    int width = 0, height = 0;
    int fps = GraphFps;

private:
    bool OpenVideo(QString* error);
    bool OpenAudio(int soundRate, int soundChannels, QString* error);
    bool EncodeAudio(bool last, QString* error);
    bool Drain(AVCodecContext* codec, AVStream* stream, QString* error);

    AVFormatContext* format = nullptr;
    bool opened = false;
    bool finished = false;
    AVCodecContext* video = nullptr;
    AVStream* videoStream = nullptr;
    AVPixelFormat pictureFormat = AV_PIX_FMT_YUV420P;
    std::vector<uint8_t> black; // a black picture, YUV 4:2:0
    int64_t videoPts = 0;
    AVCodecContext* audio = nullptr;
    AVStream* audioStream = nullptr;
    SwrContext* resampler = nullptr;
    AVAudioFifo* fifo = nullptr;
    int soundChannelsIn = GraphChannels;
    int64_t audioPts = 0;
    AVPacket* packet = nullptr;
};

} // namespace Tarnwick
