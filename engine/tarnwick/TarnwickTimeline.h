#pragma once

#include "engine/ITWObject.h"
#include "engine/tarnwick/TarnwickRenderer.h"
#include "engine/tarnwick/TarnwickState.h"

#include <memory>
#include <typeinfo>
#include <vector>

// Quillmont's timeline engine, the object CreateObject makes for
// "TWCore.TarnwickTimeline". It owns the state that its parts share and hands out each
// ITW interface from a part of its own; it keeps the timeline as a plain model, learns
// about media files with FFmpeg, and renders with MLT.
class TarnwickTimeline final : public ITWObject
{
public:
    TarnwickTimeline();
    ~TarnwickTimeline() override;

    ITWObject* QueryInterface(const std::type_info& interface) override;

    // For the engine's own users and its tests: the timeline as it stands and what it
    // renders (see TarnwickRenderer).
    const Tarnwick::TimelineModel& Model() const { return m_state.model; }
    std::unique_ptr<Mlt::Tractor> BuildGraph(Mlt::Profile& profile, Tarnwick::ProducerCache* cache = nullptr) const;
    QImage RenderFrame(int32_t ms) { return m_renderer.RenderFrame(ms); }
    std::vector<int16_t> RenderSound(int32_t fromMs, int32_t lengthMs)
    {
        return m_renderer.RenderSound(fromMs, lengthMs);
    }
    bool RenderMovie(const Tarnwick::EncodeSettings& settings, const Tarnwick::EncodeProgress& progress, QString* error)
    {
        return m_renderer.RenderMovie(settings, progress, error);
    }

private:
    template <class I>
    void Add(std::unique_ptr<I> part);

    struct Part
    {
        const std::type_info* interface;
        std::unique_ptr<ITWObject> part;
    };

    TarnwickState m_state; // first, so that it outlives the parts that hold it
    TarnwickRenderer m_renderer{m_state};
    std::vector<Part> m_parts;
};
