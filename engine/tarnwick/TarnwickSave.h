#pragma once

#include "engine/ITWSave.h"
#include "engine/tarnwick/GraphEncoder.h"
#include "engine/tarnwick/MovieFile.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

struct TarnwickState;

namespace Tarnwick {

struct Profile;

// The FFmpeg encoders of an AVI file for compressor names of the lists, "Uncompressed"
// among them; false for a name that is not listed.
bool AviEncoders(const QString& videoCompressor, const QString& audioCompressor, QString& videoEncoder, QString& audioEncoder);
// A Windows Media file after a profile: its first video stream (when video is asked) and
// its first audio stream; width and height become the profile's picture size. False for
// a profile without rates.
bool WindowsMediaEncoding(const Profile& profile, bool video, EncodeSettings& encode, int& width, int& height);

} // namespace Tarnwick

// Saving the timeline: the timeline's graph, with the tracks chosen and the effects on
// or off, written by a GraphEncoder on a thread of its own; the movie read back when it
// is done; its descriptive fields written afterwards.
class TarnwickSave final : public ITWSave
{
public:
    explicit TarnwickSave(TarnwickState& state);
    ~TarnwickSave() override;

    bool AddSaveTrack(int32_t track) override;
    bool PrepareAviFile(const QString& path) override;
    bool PrepareWindowsMediaFile(const QString& path) override;
    void CloseSave() override;
    bool StartSave() override;
    void RunSaveToEnd() override;
    bool StopSave() override;
    int32_t GetSaveDuration() override;
    int32_t GetSavePosition() override;
    int32_t GetSaveState() override;
    bool OpenVideoCompressorList() override;
    bool OpenAudioCompressorList() override;
    QString GetVideoCompressorName(int16_t index, int32_t size) override;
    QString GetAudioCompressorName(int16_t index, int32_t size) override;
    void CloseVideoCompressorList() override;
    void CloseAudioCompressorList() override;
    void SetVideoCompressor(const QString& name) override;
    void SetAudioCompressor(const QString& name) override;
    int32_t GetVideoCompressorIndex() override;
    bool CanSetKeyFrameRate(int32_t index) override;
    bool CanSetPFrameFrequency(int32_t index) override;
    bool CanSetQuality(int32_t index) override;
    void SetFrameRate(int32_t value) override;
    void SetKeyFrameRate(int32_t value) override;
    void SetPFrameFrequency(int32_t value) override;
    void SetQuality(int32_t value) override;
    int16_t GetFrameRate() override;
    int16_t GetKeyFrameRate() override;
    int16_t GetPFrameFrequency() override;
    int16_t GetQuality() override;
    void ResetSave() override;
    void SetSaveRange(int32_t start, int32_t stop) override;
    void SetSaveWholeTimeline(bool whole) override;
    void SetSaveEffects(bool include) override;
    int16_t GetVideoWidth() override;
    int16_t GetVideoHeight() override;
    void SetVideoSize(int32_t width, int32_t height) override;
    void SetWindowsMediaVideoSize(int16_t width, int16_t height) override;
    void SetVideoProfile(const QString& name) override;
    QString GetVideoProfile(int32_t size) override;
    void SetAudioProfile(const QString& name) override;
    QString GetAudioProfile(int32_t size) override;
    bool OpenMetadata(const QString& path) override;
    void SetTitle(const QString& text) override;
    void SetAuthor(const QString& text) override;
    void SetRating(const QString& text) override;
    void SetCopyright(const QString& text) override;
    void SetDescription(const QString& text) override;
    bool SaveMetadata() override;
    QString GetSaveProblem(int32_t size) override;

private:
    // What ResetSave forgets.
    struct Settings
    {
        std::vector<int32_t> tracks;
        bool whole = true;
        int32_t start = 0;
        int32_t stop = 0;
        bool effects = true;
        int32_t frameRate = -1;
        int32_t keyFrameRate = -1;
        int32_t pFrameFrequency = -1;
        int32_t quality = -1;
        int32_t width = -1;
        int32_t height = -1;
        int16_t mediaWidth = -1;
        int16_t mediaHeight = -1;
        QString videoCompressor = QStringLiteral("Uncompressed");
        QString audioCompressor = QStringLiteral("Uncompressed");
        QString videoProfile = QStringLiteral("Video for dial-up modems or LAN (28.8 to 100 Kbps)");
        QString audioProfile = QStringLiteral("Audio for CD-quality (96 Kbps stereo)");
    };

    // Builds the graph and opens the encoder: the picture size, the stretch and what is
    // left out come from the settings, the compression from encode.
    bool Prepare(Tarnwick::EncodeSettings encode, int width, int height);
    // Stops the save and lets go of its encoder.
    void Release();
    // Whether a source of the timeline reads the file at path.
    bool TimelineReads(const QString& path) const;
    void Run();
    void SetProblem(const QString& problem);

    TarnwickState& m_state;
    Settings m_settings;
    std::unique_ptr<Tarnwick::GraphEncoder> m_encoder;
    Tarnwick::MovieFile::Expected m_expected;
    QString m_path;
    bool m_started = false;
    std::thread m_thread;
    std::atomic<int32_t> m_saveState{Idle};
    std::atomic<bool> m_stopping{false};
    std::mutex m_problemMutex;
    QString m_problem;

    QString m_fieldsPath;
    Tarnwick::MovieFile::Fields m_fields;
};
