#include "export/moduleProfiles.h"

#include "core/QmCollection.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "engine/ITWProfiles.h"

using namespace QmShared;

namespace moduleProfiles {

namespace {

const QString kModule = QStringLiteral("moduleProfiles");

QmCollection<ProfileData> ProfileList;

ITWProfiles& Profiles()
{
    return Eng<ITWProfiles>();
}

// The first entry of a name, null for none.
const ProfileData* Entry(const QString& name)
{
    for (const ProfileData& profile : ProfileList)
        if (profile.GetName() == name)
            return &profile;
    return nullptr;
}

} // namespace

const QStringList& SettingProfiles(bool video)
{
    static const QStringList videoProfiles = {
        QStringLiteral("Video for dial-up modems or single channel ISDN (28.8 to 56 Kbps)"),
        QStringLiteral("Video for dial-up modems or LAN (28.8 to 100 Kbps)"),
        QStringLiteral("Video for e-mail and dual-channel ISDN (128 Kbps)")};
    static const QStringList audioProfiles = {QStringLiteral("Audio for near-CD quality (64 Kbps stereo)"),
                                              QStringLiteral("Audio for CD-quality (96 Kbps stereo)"),
                                              QStringLiteral("Audio for CD-quality transparency (128 Kbps stereo)")};
    return video ? videoProfiles : audioProfiles;
}

void InitProfiles()
{
    QmTrap::Run(kModule, QStringLiteral("InitProfiles"), [] {
        Profiles().InitProfileManager();
        ProfileList.Clear();
    });
}

void EnumProfiles()
{
    QmTrap::Run(kModule, QStringLiteral("EnumProfiles"), [] {
        EnumSystemProfiles();
        EnumCustomProfiles();
    });
}

void EnumSystemProfiles()
{
    QmTrap::Run(kModule, QStringLiteral("EnumSystemProfiles"), [] {
        ITWProfiles& engine = Profiles();
        const int16_t count = engine.GetSystemProfileCount();
        for (int16_t index = 0; index < count; ++index) {
            if (!engine.OpenSystemProfile(index))
                continue; // a profile that does not open is left out
            ProfileData profile;
            profile.SetSystem(true);
            profile.SetSystemIndex(index);
            const QString name = engine.GetProfileName(500).trimmed();
            if (!name.isEmpty()) {
                profile.SetName(name);
                profile.SetVideoPresent(IsVideoStreamPresent());
                ProfileList.Add(profile);
            }
            engine.CloseProfile();
        }
    });
}

void EnumCustomProfiles()
{
    QmTrap::Run(kModule, QStringLiteral("EnumCustomProfiles"), [] {
        ITWProfiles& engine = Profiles();
        QString name;
        engine.GetFirstCustomProfile(260, name);
        for (name = name.trimmed(); !name.isEmpty(); name = engine.GetNextCustomProfile(260).trimmed()) {
            if (!engine.OpenProfile(name))
                continue; // a profile that does not open is left out
            ProfileData profile;
            profile.SetSystem(false);
            profile.SetName(name);
            profile.SetVideoPresent(IsVideoStreamPresent());
            engine.CloseProfile();
            ProfileList.Add(profile);
        }
        engine.CloseCustomProfileList();
    });
}

void UnInitProfiles()
{
    QmTrap::Run(kModule, QStringLiteral("UnInitProfiles"), [] {
        ProfileList.Clear();
        Profiles().ReleaseProfileManager();
    });
}

int ProfileCount()
{
    return ProfileList.Count();
}

QString ProfileName(int index)
{
    return ProfileList.Item(index + 1).GetName();
}

bool VideoPresent(int index)
{
    return ProfileList.Item(index + 1).GetVideoPresent();
}

int GetIndex(const QString& name)
{
    for (int i = 1; i <= ProfileList.Count(); ++i)
        if (ProfileList.Item(i).GetName() == name)
            return i - 1;
    return 0;
}

bool IsSystemProfile(const QString& name)
{
    const ProfileData* profile = Entry(name);
    return profile && profile->GetSystem();
}

int16_t GetSysProfileIndex(const QString& name)
{
    const ProfileData* profile = Entry(name);
    return profile ? profile->GetSystemIndex() : int16_t{0};
}

bool IsVideoStreamPresent()
{
    ITWProfiles& engine = Profiles();
    const int16_t count = engine.GetStreamCount();
    for (int16_t index = 0; index < count; ++index) {
        if (!engine.SelectStream(index))
            continue;
        const bool video = engine.GetStreamType() == ITWProfiles::VideoStream;
        engine.CloseStream();
        if (video)
            return true;
    }
    return false;
}

bool OpenListedProfile(const QString& name)
{
    ITWProfiles& engine = Profiles();
    return IsSystemProfile(name) ? engine.OpenSystemProfile(GetSysProfileIndex(name)) : engine.OpenProfile(name);
}

ProfileFacts ReadProfileFacts(const QString& name)
{
    ITWProfiles& engine = Profiles();
    ProfileFacts facts;
    if (!OpenListedProfile(name))
        return facts;
    const int16_t count = engine.GetStreamCount();
    for (int16_t i = 0; i < count; ++i) {
        engine.SelectStream(i);
        if (engine.GetStreamType() == ITWProfiles::VideoStream) {
            facts.fps = engine.GetVideoFps();
            facts.width = engine.GetVideoWidth();
            facts.height = engine.GetVideoHeight();
        } else {
            facts.sampleRate = engine.GetAudioSampleRate();
        }
        engine.CloseStream();
    }
    engine.CloseProfile();
    return facts;
}

} // namespace moduleProfiles
