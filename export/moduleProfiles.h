#pragma once

#include "export/ProfileData.h"

#include <QString>
#include <QStringList>

#include <cstdint>

// The one list of Windows Media profiles the save and capture screens offer: every
// system profile of the engine by index, then every custom one, as ProfileData. The list
// has no key: a name twice gives two entries, and a lookup by name finds the first.
// Indexes are from 0. The list lives from EnumProfiles to UnInitProfiles.
namespace moduleProfiles {

// The profiles of the three settings "Low Quality", "Medium Quality (Recommended)" and
// "High Quality", for a movie with video or for sound alone.
const QStringList& SettingProfiles(bool video);

// Starts the engine's profile manager with a new, empty list.
void InitProfiles();
// Fills the list: EnumSystemProfiles, then EnumCustomProfiles.
void EnumProfiles();
void EnumSystemProfiles();
void EnumCustomProfiles();
// Releases the manager and drops the list.
void UnInitProfiles();

int ProfileCount();
QString ProfileName(int index);
bool VideoPresent(int index);
// The first entry of a name; an unknown name gives 0, the first entry.
int GetIndex(const QString& name);
// bSystem of the first entry of a name; false for an unknown name.
bool IsSystemProfile(const QString& name);
// iSystemIndex of the first entry of a name; 0 for an unknown name.
int16_t GetSysProfileIndex(const QString& name);
// Whether the profile open in the engine has a video stream.
bool IsVideoStreamPresent();
// Opens a profile of the list in the engine: a system one by its index, a custom one by
// name. True when it opened.
bool OpenListedProfile(const QString& name);

// What the save screens show of a profile: its (last) video stream's rate and size and
// its sound's sample rate; zeros for what it has not, or when it does not open.
struct ProfileFacts
{
    int16_t fps = 0;
    int16_t width = 0;
    int16_t height = 0;
    int32_t sampleRate = 0;
};
ProfileFacts ReadProfileFacts(const QString& name);

} // namespace moduleProfiles
