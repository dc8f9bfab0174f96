#pragma once

#include "engine/ITWObject.h"

#include <QStringList>

class ITWVideoSurface;

// Capture from a camera and a microphone: the devices by readable name, a live picture
// on a surface, recording into an AVI file (the listed compressors of ITWSave) or a
// Windows Media file (the profile open in ITWProfiles), and snaps of the current frame.
// Devices are opened by BuildGraph and run by RunGraph, which records when
// StartCaptureToFile prepared a file; StopCapture ends whatever runs and finishes the
// file. The work runs on threads of the engine; the program polls the counters.
//
// Device status: 0 usable, 1 not found, 2 cannot be opened.
//
// Besides the system's devices (V4L2 cameras, PulseAudio and ALSA sources), the
// variable QUILLMONT_TEST_DEVICES asks for test devices made by FFmpeg: "Quillmont Test
// Pattern", a moving pattern with a white flash at each second, and "Quillmont Test
// Tone", a quiet tone with a beep at each flash, on one clock. "1" adds them to the
// system's devices, "only" lists them alone, "audio" and "video" list one of them alone,
// "none" lists no device at all, "broken" lists both but neither opens.
// QUILLMONT_TEST_DEVICE_SECONDS ends the test devices after so many seconds, as a device
// that is unplugged.
class ITWCapture : public ITWObject
{
public:
    static constexpr int16_t DeviceOk = 0;
    static constexpr int16_t DeviceNotFound = 1;
    static constexpr int16_t DeviceNotOpened = 2;

    // Starts a session: the device lists are read afresh, the first video and audio
    // devices are chosen until a device is set, and recording is uncompressed until a
    // compressor is set.
    virtual bool InitCapture() = 0;
    virtual void ReleaseCapture() = 0;
    virtual int16_t GetVideoDeviceStatus() = 0;
    virtual int16_t GetAudioDeviceStatus() = 0;
    virtual void TearDownCapture() = 0;
    virtual void TearDownPreview() = 0;
    // After InitCapture, only the devices set take part; a name not listed chooses none.
    virtual void SetVideoDevice(const QString& name) = 0;
    virtual void SetAudioDevice(const QString& name) = 0;
    // Names of ITWSave's lists, or "Uncompressed".
    virtual void SetCaptureAudioCompressor(const QString& name) = 0;
    virtual void SetCaptureVideoCompressor(const QString& name) = 0;
    // The readable name at index from 0; empty after the last.
    virtual QString GetVideoDeviceName(int16_t index, int32_t size) = 0;
    virtual QString GetAudioDeviceName(int16_t index, int32_t size) = 0;
    // Stops what runs and creates the file: format 0 AVI, 1 ASF. syncMaster 1 times the
    // pictures by the sound's clock, 0 the sound by the pictures', -1 neither. False
    // when a compressor refuses (no file is left then).
    virtual bool StartCaptureToFile(const QString& path, int16_t format, int16_t syncMaster) = 0;
    virtual int32_t GetFramesCaptured() = 0;
    virtual int32_t GetFramesDropped() = 0;
    // Where the live picture stands on its surface, in pixels.
    virtual void SetVideoPosition(int32_t x, int32_t y, int32_t width, int32_t height) = 0;
    // The size of the incoming video; 0 x 0 without one.
    virtual void GetCaptureSize(int32_t& width, int32_t& height) = 0;
    virtual void SetPreviewing(bool on) = 0;
    // Opens the chosen devices. False when none is chosen or a device set cannot be
    // opened; of the first devices chosen by InitCapture, those that open take part.
    virtual bool BuildGraph() = 0;
    virtual bool SetVideoWindow(ITWVideoSurface* surface) = 0;
    // Runs the opened devices: the live picture, and the recording prepared. False when
    // nothing is open, or a Windows Media file lacks pictures or sound.
    virtual bool RunGraph() = 0;
    // Stops whatever runs; a recording is finished so that it plays.
    virtual void StopCapture() = 0;
    // The current frame as a 24-bit bitmap, scaled to width x height (-1, -1: the capture
    // size). A failure status when there is no frame or the file cannot be written.
    virtual void TakeSnap(const QString& path, int16_t width, int16_t height) = 0;

    // Why the devices stopped by themselves (a device unplugged, a full disk); empty while
    // all is well. Kept until the next RunGraph.
    virtual QString GetCaptureProblem(int32_t size) = 0;
    // The video device's adjustable controls (brightness, contrast, ...), one
    // "name|minimum|maximum|step|default|value" each; empty when the driver has none.
    virtual QStringList GetVideoControls() = 0;
    virtual bool SetVideoControl(const QString& name, int32_t value) = 0;
    // The sound format the audio device is opened with (samples a second, channels).
    virtual void GetAudioFormat(int32_t& sampleRate, int16_t& channels) = 0;
    // Taken at the next BuildGraph.
    virtual void SetAudioFormat(int32_t sampleRate, int16_t channels) = 0;
    // The level the recorded sound is taken at, in percent of the device's (0 to 400).
    virtual int32_t GetAudioLevel() = 0;
    virtual void SetAudioLevel(int32_t percent) = 0;
};
