#include "engine/tarnwick/TarnwickTimeline.h"

#include "engine/CreateObject.h"
#include "engine/tarnwick/TarnwickCapture.h"
#include "engine/tarnwick/TarnwickCoreRoot.h"
#include "engine/tarnwick/TarnwickFilePreview.h"
#include "engine/tarnwick/TarnwickKeyTransition.h"
#include "engine/tarnwick/TarnwickMediaFiles.h"
#include "engine/tarnwick/TarnwickPreview.h"
#include "engine/tarnwick/TarnwickProfiles.h"
#include "engine/tarnwick/TarnwickSave.h"
#include "engine/tarnwick/TarnwickProjectStore.h"
#include "engine/tarnwick/TarnwickStreamInfo.h"
#include "engine/tarnwick/TarnwickTracks.h"

#include <Mlt.h>

namespace {

// This file is linked into every program that links the engine (see
// engine/CMakeLists.txt), so the class is registered before main runs.
[[maybe_unused]] const bool kRegistered = RegisterEngineClass(
    "TWCore.TarnwickTimeline", [] { return std::shared_ptr<ITWObject>(std::make_shared<TarnwickTimeline>()); });

} // namespace

TarnwickTimeline::TarnwickTimeline()
{
    // The timeline first: the editing loops ask for it most.
    Add<ITWTimeline>(std::make_unique<TarnwickTracks>(m_state));
    Add<ITWCoreRoot>(std::make_unique<TarnwickCoreRoot>(m_state));
    Add<ITWMediaFiles>(std::make_unique<TarnwickMediaFiles>(m_state));
    Add<ITWStreamInfo>(std::make_unique<TarnwickStreamInfo>(m_state));
    Add<ITWKeyTransition>(std::make_unique<TarnwickKeyTransition>(m_state));
    Add<ITWPreview>(std::make_unique<TarnwickPreview>(m_state));
    Add<ITWFilePreview>(std::make_unique<TarnwickFilePreview>());
    Add<ITWSave>(std::make_unique<TarnwickSave>(m_state));
    auto profiles = std::make_unique<TarnwickProfiles>();
    TarnwickProfiles* openProfiles = profiles.get();
    Add<ITWProfiles>(std::move(profiles));
    Add<ITWProjectStore>(std::make_unique<TarnwickProjectStore>(m_state));
    Add<ITWCapture>(std::make_unique<TarnwickCapture>([openProfiles] { return openProfiles->OpenedProfile(); }));
}

TarnwickTimeline::~TarnwickTimeline() = default;

template <class I>
void TarnwickTimeline::Add(std::unique_ptr<I> part)
{
    // Stored as I's own ITWObject, which TWCast turns back into I.
    m_parts.push_back({&typeid(I), std::move(part)});
}

ITWObject* TarnwickTimeline::QueryInterface(const std::type_info& interface)
{
    // A program linked in one piece has one type_info per interface, so comparing
    // addresses finds it; names are compared only when that fails: for an interface the
    // engine lacks, or one whose type_info a shared library holds twice.
    for (const Part& entry : m_parts) {
        if (entry.interface == &interface)
            return entry.part.get();
    }
    for (const Part& entry : m_parts) {
        if (*entry.interface == interface)
            return entry.part.get();
    }
    return nullptr;
}

std::unique_ptr<Mlt::Tractor> TarnwickTimeline::BuildGraph(Mlt::Profile& profile, Tarnwick::ProducerCache* cache) const
{
    return m_renderer.BuildGraph(profile, cache);
}
