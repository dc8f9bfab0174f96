#pragma once

#include <cstdint>

class QWidget;

// The settings dialogues of the capture devices: the camera's own controls (brightness,
// contrast, ...) as the driver offers them, the sound format, and the input level.
namespace frmDeviceSettings {

// The camera's controls, changed as the sliders move. Result 0: nothing changed; 1:
// something changed; 2: the driver offers no controls (no dialogue shown).
int16_t ShowVideoSettings(QWidget* parent);
// The same controls; a camera without any says so.
void ShowCameraSettings(QWidget* parent);
// The sample rate and channels; true when they changed (the device must be opened again).
bool ShowAudioFormats(QWidget* parent);
// The input level of the recorded sound.
void ShowAudioSettings(QWidget* parent);

} // namespace frmDeviceSettings
