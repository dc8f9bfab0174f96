#pragma once

// MLT, which renders the timeline for preview, saving and still frames.
namespace Tarnwick::MltRuntime {

// Whether MLT's core and FFmpeg modules can be loaded. Quick enough for the start-up
// path: it loads the two module files, not the whole of MLT.
bool ModulesLoad();

// Starts MLT if it is not started (loading all its modules takes a moment, so it
// waits for the first render); true when it runs with its FFmpeg module.
bool Start();

} // namespace Tarnwick::MltRuntime
