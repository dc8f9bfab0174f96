#pragma once

#include <QString>

#include <cstdint>
#include <functional>

namespace Mlt {
class Producer;
class Profile;
} // namespace Mlt

// Writes a graph of the timeline to a movie file with FFmpeg: the graph's frames are
// taken in order, their pictures rendered on worker threads in YUV 4:2:0 and handed to
// the encoder as they are, their sound in 48 kHz stereo.
namespace Tarnwick {

struct EncodeSettings
{
    QString path;
    // FFmpeg's names: the container ("avi", "asf"), the encoders ("mpeg4", "pcm_s16le").
    QString container = QStringLiteral("avi");
    QString videoCodec = QStringLiteral("mpeg4");
    QString audioCodec = QStringLiteral("pcm_s16le");
    // A fixed quantiser (1 best to 31) when above 0, else the bit rate.
    int quantiser = 3;
    int64_t videoBitRate = 0;
    int64_t audioBitRate = 0;
    // Frames between key frames.
    int keyFrameInterval = 250;
    bool withVideo = true;
    bool withAudio = true;
};

// Called after each frame written with the frames done and due; false stops the work.
using EncodeProgress = std::function<bool(int32_t done, int32_t total)>;

// Encodes frames 0 to frames - 1 of graph, made on profile. On failure, error says why
// and the partial file is removed.
bool EncodeGraph(Mlt::Producer& graph, Mlt::Profile& profile, int32_t frames, const EncodeSettings& settings,
                 const EncodeProgress& progress, QString* error);

} // namespace Tarnwick
