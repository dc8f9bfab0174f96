#pragma once

#include "engine/tarnwick/MovieWriter.h"

#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

namespace Mlt {
class Producer;
class Profile;
} // namespace Mlt

// Writes a stretch of a graph of the timeline to a movie file with FFmpeg, in a pipeline
// of threads: one takes the graph's frames in order with their sound, workers render
// their pictures in YUV 4:2:0 (and convert them where the compressor wants another
// format), and the caller's thread encodes and writes. Output frames are taken from the
// graph at their own rate: each shows the graph's frame of its moment.
namespace Tarnwick {

// Called with the frames done and due; false stops the work.
using EncodeProgress = std::function<bool(int32_t done, int32_t total)>;

class GraphEncoder
{
public:
    enum class Result { Done, Stopped, Failed };

    GraphEncoder();
    ~GraphEncoder();
    GraphEncoder(const GraphEncoder&) = delete;
    GraphEncoder& operator=(const GraphEncoder&) = delete;

    // Takes the graph and its profile (which gives the picture size), opens the
    // encoders and starts the file. False with the reason when FFmpeg refuses the
    // settings; no file is left then.
    bool Open(std::unique_ptr<Mlt::Profile> profile, std::unique_ptr<Mlt::Producer> graph,
              const EncodeSettings& settings, QString* error);
    // Encodes to the end, or until Stop or progress says no, and finishes the file, so
    // that a stopped movie plays as far as it came. On a failure error says why; the
    // partial file stays.
    Result Run(const EncodeProgress& progress, QString* error);
    // From any thread: the run ends after the frame in hand.
    void Stop();
    // Removes the file (a movie that was never run).
    void Discard();

    // The stretch's length and how far the run has come, in ms.
    int32_t LengthMs() const;
    int32_t DoneMs() const { return m_doneMs.load(); }
    // What the file should hold once it is done.
    int32_t OutputFrames() const;
    double FrameRate() const;
    int Width() const;
    int Height() const;
    // The sound compressor's frame in ms; 0 for one that takes any length.
    double SoundFrameMs() const;

private:
    struct Output;
    std::unique_ptr<Output> m_output;
    std::atomic<bool> m_stop{false};
    std::atomic<int32_t> m_doneMs{0};
};

// Encodes frames of graph, made on profile, to settings.path (see GraphEncoder). On a
// failure or a stop, error says why (empty for a stop) and the partial file is removed.
bool EncodeGraph(std::unique_ptr<Mlt::Profile> profile, std::unique_ptr<Mlt::Producer> graph,
                 const EncodeSettings& settings, const EncodeProgress& progress, QString* error);

} // namespace Tarnwick
