#pragma once

#include "engine/tarnwick/GraphEncoder.h"
#include "engine/tarnwick/TimelineGraph.h"

#include <QImage>

#include <cstdint>
#include <memory>
#include <vector>

struct TarnwickState;

// The timeline of the engine's state rendered through its graph: for the preview, for
// still frames, for saving a movie, and for the tests.
class TarnwickRenderer
{
public:
    explicit TarnwickRenderer(const TarnwickState& state);

    const Tarnwick::TimelineModel& Model() const;
    // The graph of the timeline as it stands, on profile; cut from cache's files when given.
    std::unique_ptr<Mlt::Tractor> BuildGraph(Mlt::Profile& profile, Tarnwick::ProducerCache* cache = nullptr) const;
    // The timeline's picture at a time, as the graph renders it at the frame size.
    QImage RenderFrame(int32_t ms) const;
    // The timeline's mixed sound from a time for a length: 48 kHz stereo, interleaved.
    std::vector<int16_t> RenderSound(int32_t fromMs, int32_t lengthMs) const;
    // The whole timeline written to a movie file as the graph renders it.
    bool RenderMovie(const Tarnwick::EncodeSettings& settings, const Tarnwick::EncodeProgress& progress,
                     QString* error) const;

private:
    // A fresh graph on profile, set to the timeline's frame size.
    std::unique_ptr<Mlt::Tractor> GraphAtFrameSize(Mlt::Profile& profile) const;

    const TarnwickState& m_state;
};
