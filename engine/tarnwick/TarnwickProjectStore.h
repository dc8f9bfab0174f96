#pragma once

#include "engine/ITWProjectStore.h"

struct TarnwickState;

// The timeline in a project file: written as an MLT document of the graph the engine
// plays, with the engine's own model beside it, and rebuilt from that model.
class TarnwickProjectStore final : public ITWProjectStore
{
public:
    explicit TarnwickProjectStore(TarnwickState& state);

    bool SaveProject(const QString& path) override;
    void LoadProject(const QString& path) override;
    std::shared_ptr<const ITWTimelineSnapshot> TakeSnapshot() override;

private:
    TarnwickState& m_state;
};
