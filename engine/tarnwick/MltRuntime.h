#pragma once

// MLT, which renders the timeline for preview, saving and still frames. Started
// once, on first need, because loading its modules takes a moment.
namespace Tarnwick::MltRuntime {

// Starts MLT if it is not started; true when it and its FFmpeg module are there.
bool Start();

} // namespace Tarnwick::MltRuntime
