#pragma once

#include "engine/ITWCapture.h"
#include "engine/tarnwick/ProfileCatalogue.h"

#include <QImage>
#include <QRect>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

// Capture on FFmpeg's device libraries: each opened device is read and decoded on a
// thread of its own, every picture and every piece of sound is stamped on one clock
// (the wall clock that V4L2, PulseAudio and ALSA stamp their input with), and a recording
// places them in its file by those stamps through the MovieWriter that saving uses.
class TarnwickCapture final : public ITWCapture
{
public:
    // The profile open in the engine's profile part, for Windows Media files.
    using OpenProfile = std::function<std::optional<Tarnwick::Profile>()>;

    explicit TarnwickCapture(OpenProfile openProfile);
    ~TarnwickCapture() override;

    bool InitCapture() override;
    void ReleaseCapture() override;
    int16_t GetVideoDeviceStatus() override;
    int16_t GetAudioDeviceStatus() override;
    void TearDownCapture() override;
    void TearDownPreview() override;
    void SetVideoDevice(const QString& name) override;
    void SetAudioDevice(const QString& name) override;
    void SetCaptureAudioCompressor(const QString& name) override;
    void SetCaptureVideoCompressor(const QString& name) override;
    QString GetVideoDeviceName(int16_t index, int32_t size) override;
    QString GetAudioDeviceName(int16_t index, int32_t size) override;
    bool StartCaptureToFile(const QString& path, int16_t format, int16_t syncMaster) override;
    int32_t GetFramesCaptured() override;
    int32_t GetFramesDropped() override;
    void SetVideoPosition(int32_t x, int32_t y, int32_t width, int32_t height) override;
    void GetCaptureSize(int32_t& width, int32_t& height) override;
    void SetPreviewing(bool on) override;
    bool BuildGraph() override;
    bool SetVideoWindow(ITWVideoSurface* surface) override;
    bool RunGraph() override;
    void StopCapture() override;
    void TakeSnap(const QString& path, int16_t width, int16_t height) override;
    QString GetCaptureProblem(int32_t size) override;
    QStringList GetVideoControls() override;
    bool SetVideoControl(const QString& name, int32_t value) override;
    void GetAudioFormat(int32_t& sampleRate, int16_t& channels) override;
    void SetAudioFormat(int32_t sampleRate, int16_t channels) override;
    int32_t GetAudioLevel() override;
    void SetAudioLevel(int32_t percent) override;

    struct Device
    {
        QString name;   // what the user reads
        QString format; // FFmpeg's input device: "video4linux2", "pulse", "alsa", "lavfi"
        QString url;
        bool test = false;
    };

private:
    struct Source;
    struct Recording;

    void ListDevices();
    const Device* Chosen(bool video) const;
    std::unique_ptr<Source> Open(const Device& device, bool video, QString* error);
    // Ends the reading threads and, when recording, finishes the file.
    void Halt();
    void CloseSources();
    void Read(Source& source);
    void Picture(Source& source, const struct AVFrame& frame, int64_t stamp);
    void Sound(Source& source, const struct AVFrame& frame, int64_t stamp);
    void Lost(const QString& problem);

    OpenProfile m_openProfile;
    std::vector<Device> m_videoDevices, m_audioDevices;
    bool m_initialised = false;
    bool m_deviceSet = false; // a device was set since InitCapture: only those set take part
    int m_videoChoice = -1, m_audioChoice = -1;
    QString m_videoCompressor = QStringLiteral("Uncompressed");
    QString m_audioCompressor = QStringLiteral("Uncompressed");
    int32_t m_sampleRate = 48000;
    int16_t m_channels = 2;
    std::atomic<int32_t> m_level{100};

    std::unique_ptr<Source> m_video, m_audio;
    std::unique_ptr<Recording> m_recording;
    bool m_running = false;
    // The counters of the last recording, read after it stopped.
    int32_t m_lastCaptured = 0, m_lastDropped = 0;
    std::atomic<bool> m_stop{false};

    // What the reading threads share with the interface thread.
    std::mutex m_mutex;
    ITWVideoSurface* m_surface = nullptr;
    QRect m_area;
    bool m_previewing = true;
    QImage m_lastPicture;
    QString m_problem;
};
