#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>

// The user's settings: colours, working folder, save options and the recent files and
// projects, kept in the settings store under QmShared::AppSection. Values are text;
// numbers decimal text.
namespace ModuleSettings {

// Save options, as last read or stored.
inline QString VideoCompressorName = QStringLiteral("Uncompressed");
inline QString AudioCompressorName = QStringLiteral("Uncompressed");
inline QString VideoDimensionText = QStringLiteral("320 x 240");
inline int32_t SaveFrameRate = 15;
inline int32_t SaveQuality = 75;
inline int32_t SaveKeyFrameRate = 15;
inline int32_t SaveFrameFrequency = 15;
inline int16_t PreviewAfterSave = 1;
inline int16_t HideTutorial = 0;
inline QString VideoProfileName = QStringLiteral("Video for dial-up modems or LAN (28.8 to 100 Kbps)");
inline QString AudioProfileName = QStringLiteral("Audio for CD-quality (96 Kbps stereo)");

// The recent lists grow for the whole run; the menus show the newest four.
inline QStringList RecentFilePaths;
inline int RecentFileCount = 0;
inline QStringList RecentProjectPaths;
inline int RecentProjectCount = 0;
// The project path that UpdateResentProjectMenu puts at the top; callers set it first.
inline QString NewRecentProject;

void SetApplicationName(const QString& name);

// A value of the store; a blank one counts as missing and gives def.
QString ReadSetting(const QString& section, const QString& key, const QString& def);

void StoreGeneralSettingsInReg();
void GetGeneralSettingsFromReg();
void StoreSaveOptionsToReg();
void GetSaveOptionsFromReg();
// GetGeneralSettingsFromReg, then the colours to the bars.
void LoadRegistrySettings();

// The working folder when the settings name none: the engine's, else the program's folder.
QString DefaultWorkingFolder();

// Between the controls of the Options dialogue (frmPreferences) and the values above:
// Set* takes the dialogue's values, Get* shows the values in it.
void SetColorValues();
void GetColorValues();
void SetSaveOptionValues();
void GetSaveOptionValues();
// The dialogue's load: the settings read, then shown.
void LoadPreferences();
// Its OK and Apply: the dialogue's values taken and written to the store.
void StorePreferences();

void GetResentFilesFromReg();
void GetResentProjectFilesFromReg();
void UpdateResentFileMenu();
void UpdateResentProjectMenu();
void StoreResentFilesInReg();
void StoreResentProjectsFilesinReg();

} // namespace ModuleSettings
