#pragma once

#include "engine/ITWProfiles.h"
#include "engine/tarnwick/ProfileCatalogue.h"

#include <optional>
#include <vector>

// The profiles of ProfileCatalogue behind ITWProfiles: one open profile with one selected
// stream, and a walk over the custom profiles' names.
class TarnwickProfiles final : public ITWProfiles
{
public:
    // The profile open now, for the capture part's Windows Media files.
    std::optional<Tarnwick::Profile> OpenedProfile() const { return m_profile; }

    bool InitProfileManager() override;
    void ReleaseProfileManager() override;
    int16_t GetSystemProfileCount() override;
    bool OpenProfile(const QString& name) override;
    bool OpenSystemProfile(int16_t index) override;
    void CloseProfile() override;
    bool GetFirstCustomProfile(int32_t size, QString& name) override;
    QString GetNextCustomProfile(int32_t size) override;
    void CloseCustomProfileList() override;
    bool SelectStream(int16_t index) override;
    void CloseStream() override;
    int16_t GetVideoWidth() override;
    int16_t GetVideoHeight() override;
    int32_t GetAudioSampleRate() override;
    int16_t GetAudioChannels() override;
    int16_t GetVideoFps() override;
    int32_t GetKeyFrameInterval() override;
    int32_t GetVideoQuality() override;
    int16_t GetStreamCount() override;
    QString GetProfileName(int32_t size) override;
    QString GetProfileDescription(int32_t size) override;
    int32_t GetStreamBitRate() override;
    QString GetStreamName(int32_t size) override;
    int16_t GetStreamType() override;

private:
    const Tarnwick::Profile& Open() const;
    const Tarnwick::ProfileStream& Stream() const;

    std::optional<Tarnwick::Profile> m_profile;
    int m_stream = -1;
    std::vector<QString> m_customNames;
    size_t m_nextCustom = 0;
};
