#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

// The Windows Media profiles the engine knows: a catalogue of system profiles, and the
// custom ones the user keeps in Quillmont's data folder, one file a profile:
//
//   Profiles/<anything>.profile, an INI file:
//     [Profile]  Name=..., Description=...
//     [Stream1], [Stream2], ...  Type=Video or Audio, Name=..., BitRate=bits a second;
//       for video Width=, Height=, Fps=, KeyFrameInterval=seconds, Quality=0 to 100;
//       for sound SampleRate=, Channels=
//
// A file without a name takes its base name. Saving uses a profile's first video
// stream and first audio stream.
namespace Tarnwick {

struct ProfileStream
{
    bool video = false;
    QString name;
    int32_t bitRate = 0;
    int16_t width = 0;
    int16_t height = 0;
    int16_t fps = 0;
    int32_t keyFrameSeconds = 0;
    int32_t quality = 0;
    int32_t sampleRate = 0;
    int16_t channels = 0;
};

struct Profile
{
    QString name;
    QString description;
    std::vector<ProfileStream> streams;

    const ProfileStream* FirstStream(bool video) const;
};

const std::vector<Profile>& SystemProfiles();
// Where the custom profiles are: Quillmont's folder in the user's data folder.
QString CustomProfileFolder();
// The custom profiles' names, in order of name.
std::vector<QString> CustomProfileNames();
std::optional<Profile> CustomProfile(const QString& name);
// A custom profile by name, else a system one.
std::optional<Profile> FindProfile(const QString& name);

} // namespace Tarnwick
