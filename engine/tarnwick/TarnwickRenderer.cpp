#include "engine/tarnwick/TarnwickRenderer.h"

#include "engine/tarnwick/MltPlayer.h"
#include "engine/tarnwick/TarnwickState.h"

#include <Mlt.h>

#include <algorithm>

using namespace Tarnwick;

TarnwickRenderer::TarnwickRenderer(const TarnwickState& state)
    : m_state(state)
{
}

const TimelineModel& TarnwickRenderer::Model() const
{
    return m_state.model;
}

std::unique_ptr<Mlt::Tractor> TarnwickRenderer::BuildGraph(Mlt::Profile& profile, ProducerCache* cache) const
{
    return BuildTimelineGraph(profile, m_state.model, [this](int32_t stream) { return m_state.Source(stream); }, {},
                              cache);
}

std::unique_ptr<Mlt::Tractor> TarnwickRenderer::GraphAtFrameSize(Mlt::Profile& profile) const
{
    SetGraphProfile(profile, m_state.model.FrameWidth(), m_state.model.FrameHeight());
    return BuildGraph(profile);
}

QImage TarnwickRenderer::RenderFrame(int32_t ms) const
{
    Mlt::Profile profile;
    std::unique_ptr<Mlt::Tractor> graph = GraphAtFrameSize(profile);
    if (!graph)
        return {};
    graph->seek(MsToFrame(ms));
    std::unique_ptr<Mlt::Frame> frame(graph->get_frame());
    return frame ? FrameImage(*frame, profile) : QImage();
}

bool TarnwickRenderer::RenderMovie(const EncodeSettings& settings, const EncodeProgress& progress,
                                   QString* error) const
{
    auto profile = std::make_unique<Mlt::Profile>();
    std::unique_ptr<Mlt::Tractor> graph = GraphAtFrameSize(*profile);
    if (!graph) {
        if (error)
            *error = QStringLiteral("The timeline could not be rendered.");
        return false;
    }
    return EncodeGraph(std::move(profile), std::move(graph), settings, progress, error);
}

std::vector<int16_t> TarnwickRenderer::RenderSound(int32_t fromMs, int32_t lengthMs) const
{
    Mlt::Profile profile;
    std::unique_ptr<Mlt::Tractor> graph = GraphAtFrameSize(profile);
    std::vector<int16_t> sound;
    if (!graph)
        return sound;
    const int32_t first = MsToFrame(fromMs);
    const int32_t last = MsToFrame(fromMs + lengthMs);
    graph->seek(first);
    graph->set_speed(1.0);
    for (int32_t position = first; position < last; ++position) {
        std::unique_ptr<Mlt::Frame> frame(graph->get_frame());
        if (!frame)
            break;
        TakeSound(*frame, position, sound);
    }
    return sound;
}
