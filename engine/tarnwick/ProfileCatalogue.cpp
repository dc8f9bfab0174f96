#include "engine/tarnwick/ProfileCatalogue.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>

#include <algorithm>
#include <map>

namespace Tarnwick {

namespace {

ProfileStream Video(int32_t bitRate, int16_t width, int16_t height, int16_t fps, int32_t keySeconds, int32_t quality)
{
    ProfileStream s;
    s.video = true;
    s.name = QStringLiteral("Video Stream");
    s.bitRate = bitRate;
    s.width = width;
    s.height = height;
    s.fps = fps;
    s.keyFrameSeconds = keySeconds;
    s.quality = quality;
    return s;
}

ProfileStream Audio(int32_t bitRate, int32_t sampleRate, int16_t channels)
{
    ProfileStream s;
    s.name = QStringLiteral("Audio Stream");
    s.bitRate = bitRate;
    s.sampleRate = sampleRate;
    s.channels = channels;
    return s;
}

// The sound encoder takes no less than 24 Kbps, which the smallest profiles keep to.
std::vector<Profile> MakeSystemProfiles()
{
    return {
        {QStringLiteral("Video for dial-up modems or single channel ISDN (28.8 to 56 Kbps)"),
         QStringLiteral("Small pictures at a low rate and mono sound, for the slowest connections."),
         {Video(32000, 160, 120, 15, 8, 30), Audio(24000, 22050, 1)}},
        {QStringLiteral("Video for dial-up modems or LAN (28.8 to 100 Kbps)"),
         QStringLiteral("Pictures a quarter of a television screen with mono sound, for modems and office networks."),
         {Video(68000, 240, 180, 15, 8, 50), Audio(32000, 22050, 1)}},
        {QStringLiteral("Video for e-mail and dual-channel ISDN (128 Kbps)"),
         QStringLiteral("320 by 240 pictures and stereo sound, small enough to send by e-mail."),
         {Video(96000, 320, 240, 15, 5, 60), Audio(32000, 22050, 2)}},
        {QStringLiteral("Video for broadband (384 Kbps)"),
         QStringLiteral("320 by 240 pictures at 25 frames a second with near-CD sound, for cable and DSL."),
         {Video(320000, 320, 240, 25, 5, 75), Audio(64000, 44100, 2)}},
        {QStringLiteral("Video for local networks (1 Mbps)"),
         QStringLiteral("640 by 480 pictures at 25 frames a second with CD-quality sound."),
         {Video(896000, 640, 480, 25, 4, 85), Audio(128000, 44100, 2)}},
        {QStringLiteral("Audio for voice (32 Kbps mono)"), QStringLiteral("Speech in mono."), {Audio(32000, 22050, 1)}},
        {QStringLiteral("Audio for near-CD quality (64 Kbps stereo)"), QStringLiteral("Music in stereo, near CD quality."),
         {Audio(64000, 44100, 2)}},
        {QStringLiteral("Audio for CD-quality (96 Kbps stereo)"), QStringLiteral("Music in stereo, CD quality."),
         {Audio(96000, 44100, 2)}},
        {QStringLiteral("Audio for CD-quality transparency (128 Kbps stereo)"),
         QStringLiteral("Music in stereo that cannot be told from the CD."), {Audio(128000, 44100, 2)}},
    };
}

// Every custom profile by name, from the files of the folder in order of file name; the
// first file of a name wins.
std::map<QString, Profile> ReadCustomProfiles()
{
    std::map<QString, Profile> profiles;
    const QDir folder(CustomProfileFolder());
    for (const QFileInfo& file : folder.entryInfoList({QStringLiteral("*.profile")}, QDir::Files, QDir::Name)) {
        QSettings ini(file.absoluteFilePath(), QSettings::IniFormat);
        Profile profile;
        profile.name = ini.value(QStringLiteral("Profile/Name"), file.completeBaseName()).toString().trimmed();
        profile.description = ini.value(QStringLiteral("Profile/Description")).toString();
        QStringList groups = ini.childGroups().filter(QRegularExpression(QStringLiteral("^Stream\\d+$")));
        std::sort(groups.begin(), groups.end(), [](const QString& a, const QString& b) { return a.mid(6).toInt() < b.mid(6).toInt(); });
        for (const QString& group : groups) {
            ini.beginGroup(group);
            ProfileStream s;
            s.video = ini.value(QStringLiteral("Type")).toString().trimmed().compare(u"Video", Qt::CaseInsensitive) == 0;
            s.name = ini.value(QStringLiteral("Name"), s.video ? QStringLiteral("Video Stream") : QStringLiteral("Audio Stream")).toString();
            s.bitRate = ini.value(QStringLiteral("BitRate")).toInt();
            s.width = static_cast<int16_t>(ini.value(QStringLiteral("Width")).toInt());
            s.height = static_cast<int16_t>(ini.value(QStringLiteral("Height")).toInt());
            s.fps = static_cast<int16_t>(ini.value(QStringLiteral("Fps")).toInt());
            s.keyFrameSeconds = ini.value(QStringLiteral("KeyFrameInterval")).toInt();
            s.quality = ini.value(QStringLiteral("Quality")).toInt();
            s.sampleRate = ini.value(QStringLiteral("SampleRate")).toInt();
            s.channels = static_cast<int16_t>(ini.value(QStringLiteral("Channels")).toInt());
            ini.endGroup();
            profile.streams.push_back(s);
        }
        if (!profile.name.isEmpty())
            profiles.emplace(profile.name, std::move(profile));
    }
    return profiles;
}

} // namespace

const ProfileStream* Profile::FirstStream(bool video) const
{
    auto it = std::find_if(streams.begin(), streams.end(), [video](const ProfileStream& s) { return s.video == video; });
    return it == streams.end() ? nullptr : &*it;
}

const std::vector<Profile>& SystemProfiles()
{
    static const std::vector<Profile> profiles = MakeSystemProfiles();
    return profiles;
}

QString CustomProfileFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Quillmont/Profiles");
}

std::vector<QString> CustomProfileNames()
{
    std::vector<QString> names;
    for (const auto& [name, profile] : ReadCustomProfiles())
        names.push_back(name);
    return names;
}

std::optional<Profile> CustomProfile(const QString& name)
{
    std::map<QString, Profile> profiles = ReadCustomProfiles();
    auto it = profiles.find(name.trimmed());
    if (it == profiles.end())
        return std::nullopt;
    return std::move(it->second);
}

std::optional<Profile> FindProfile(const QString& name)
{
    if (std::optional<Profile> custom = CustomProfile(name))
        return custom;
    for (const Profile& profile : SystemProfiles())
        if (profile.name == name.trimmed())
            return profile;
    return std::nullopt;
}

} // namespace Tarnwick
