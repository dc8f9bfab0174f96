#include "shell/ModuleSettings.h"

#include "core/QmMsgBox.h"
#include "core/QmPaths.h"
#include "core/QmSettings.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "engine/ITWCoreRoot.h"
#include "media/moduleTarnwick.h"
#include "shell/QmMenuArray.h"
#include "shell/mdiTarnwick.h"

using namespace QmShared;
using QmSettings::GetSetting;
using QmSettings::SaveSetting;

namespace ModuleSettings {

namespace {

const QString kModule = QStringLiteral("ModuleSettings");
const QString kColors = QStringLiteral("Color Settings");
const QString kWorkingDir = QStringLiteral("Working DIR");
const QString kSaveOptions = QStringLiteral("Save Options");

// A value read as an empty text counts as missing.
QString Read(const QString& section, const QString& key, const QString& def)
{
    const QString value = GetSetting(section, key, def);
    return value.isEmpty() ? def : value;
}

int32_t ReadNumber(const QString& section, const QString& key, int32_t def)
{
    bool ok = false;
    const int32_t value = Read(section, key, QString::number(def)).trimmed().toInt(&ok);
    return ok ? value : def;
}

// The two recent lists differ only by names; this is the one walk for both.
struct RecentList
{
    QString section;
    QString key;
    QStringList& paths;
    int& count;
    QmMenuArray& (*menu)();
    QString updateName;
    QString silentName; // where the routine logs an error it has already told
};

RecentList Files()
{
    return {QStringLiteral("Recent Files"), QStringLiteral("File"), RecentFilePaths, RecentFileCount,
            []() -> QmMenuArray& { return mdiTarnwick::instance()->mnuFileRF(); }, QStringLiteral("UpdateResentFileMenu"), QString()};
}

RecentList Projects()
{
    return {QStringLiteral("Recent Projects"), QStringLiteral("Project"), RecentProjectPaths, RecentProjectCount,
            []() -> QmMenuArray& { return mdiTarnwick::instance()->mnuFileRP(); },
            QStringLiteral("UpdateResentProjectMenu"), QStringLiteral("UpdateResentProjectMenu*")};
}

// sectionOfLaterEntries: where entries 1 to 3 are looked for at start.
void LoadRecent(const RecentList& list, const QString& sectionOfLaterEntries)
{
    QmMenuArray& menu = list.menu();
    const QString first = GetSetting(list.section, list.key + u'0', QString());
    if (first.isEmpty()) {
        // The key without a number is written as it always was.
        SaveSetting(list.section, list.key, QString());
        menu.SetCaption(0, QStringLiteral("Empty"));
        menu.SetEnabled(0, false);
        list.paths = QStringList();
        list.count = 0;
        return;
    }
    menu.SetEnabled(0, true);
    menu.SetCaption(0, first);
    list.paths = QStringList{first};
    list.count = 1;
    for (int i = 1; i <= 3; ++i) {
        const QString value = GetSetting(sectionOfLaterEntries, list.key + QString::number(i), QString());
        if (value.isEmpty())
            break;
        menu.Load(i);
        menu.SetCaption(i, value);
        list.paths.append(value);
        ++list.count;
    }
}

void StoreRecent(const RecentList& list)
{
    QmSettings::Batch batch;
    QmSettings::DeleteSetting(list.section);
    QmMenuArray& menu = list.menu();
    for (int i = 0; i < menu.Count(); ++i)
        SaveSetting(list.section, list.key + QString::number(i), menu.Caption(i));
}

void PutOnTop(const RecentList& list, const QString& path)
{
    QmMenuArray& menu = list.menu();
    while (list.paths.size() > list.count)
        list.paths.removeLast();
    list.paths.append(path);
    ++list.count;
    for (int i = menu.Count() - 1; i >= 1; --i)
        menu.Unload(i);
    menu.SetCaption(0, list.paths[list.count - 1]);
    const int shown = list.count < 4 ? list.count - 1 : 3;
    for (int i = 1; i <= shown; ++i) {
        menu.Load(i);
        menu.SetCaption(i, list.paths[list.count - 1 - i]);
    }
    StoreRecent(list);
}

void UpdateRecent(const RecentList& list, const std::function<QString()>& newestPath)
{
    QmTrap::Run(kModule, list.updateName,
                [&] {
                    list.menu().SetEnabled(0, true);
                    PutOnTop(list, newestPath());
                },
                [&](const QmError& e) {
                    if (e.Number() != QmErr::IllegalCall)
                        return false;
                    if (!FileNotFoundShown)
                        MsgBox(QStringLiteral("File not found."), QmMsgBox::Icon::Information);
                    else if (list.silentName.size())
                        QmTrap::Report(kModule, list.silentName, e); // said once already: logged only
                    return true;
                });
}

} // namespace

QString DefaultWorkingFolder()
{
    QString folder;
    if (Engine)
        folder = Eng<ITWCoreRoot>().GetWorkingFolder(500).trimmed();
    return folder.isEmpty() ? QmPaths::AppFolder() : folder;
}

void SetApplicationName(const QString& name)
{
    AppSection = name;
}

QString ReadSetting(const QString& section, const QString& key, const QString& def)
{
    return Read(section, key, def);
}

void StoreGeneralSettingsInReg()
{
    QmSettings::Batch batch;
    SaveSetting(kColors, QStringLiteral("VideoBarColor"), QString::number(VideoBarFill));
    SaveSetting(kColors, QStringLiteral("AudioBarColor"), QString::number(AudioBarFill));
    SaveSetting(kColors, QStringLiteral("EffectBarColor"), QString::number(EffectBarFill));
    SaveSetting(kColors, QStringLiteral("OverlayBarColor"), QString::number(OverlayBarFill));
    SaveSetting(kWorkingDir, QStringLiteral("Path"), WorkingFolder);
}

void GetGeneralSettingsFromReg()
{
    VideoBarFill = ReadNumber(kColors, QStringLiteral("VideoBarColor"), 0xFFFF80);
    AudioBarFill = ReadNumber(kColors, QStringLiteral("AudioBarColor"), 0x80FFFF);
    EffectBarFill = ReadNumber(kColors, QStringLiteral("EffectBarColor"), 0x80FF80);
    OverlayBarFill = ReadNumber(kColors, QStringLiteral("OverlayBarColor"), 0xC0E0FF);
    const QString path = GetSetting(kWorkingDir, QStringLiteral("Path"), QString());
    WorkingFolder = path.isEmpty() ? DefaultWorkingFolder() : path;
}

void StoreSaveOptionsToReg()
{
    QmSettings::Batch batch;
    SaveSetting(kSaveOptions, QStringLiteral("Video Compressor"), VideoCompressorName);
    SaveSetting(kSaveOptions, QStringLiteral("Audio Compressor"), AudioCompressorName);
    SaveSetting(kSaveOptions, QStringLiteral("Video Dimension"), VideoDimensionText);
    SaveSetting(kSaveOptions, QStringLiteral("FPS"), QString::number(SaveFrameRate));
    SaveSetting(kSaveOptions, QStringLiteral("Quality"), QString::number(SaveQuality));
    SaveSetting(kSaveOptions, QStringLiteral("Key Frame Rate"), QString::number(SaveKeyFrameRate));
    SaveSetting(kSaveOptions, QStringLiteral("Frame Frequency"), QString::number(SaveFrameFrequency));
    SaveSetting(kSaveOptions, QStringLiteral("Preview"), QString::number(PreviewAfterSave));
    SaveSetting(kSaveOptions, QStringLiteral("Tutorial"), QString::number(HideTutorial));
    SaveSetting(kSaveOptions, QStringLiteral("Video Profile"), VideoProfileName);
    SaveSetting(kSaveOptions, QStringLiteral("Audio Profile"), AudioProfileName);
}

void GetSaveOptionsFromReg()
{
    VideoCompressorName = Read(kSaveOptions, QStringLiteral("Video Compressor"), QStringLiteral("Uncompressed"));
    AudioCompressorName = Read(kSaveOptions, QStringLiteral("Audio Compressor"), QStringLiteral("Uncompressed"));
    VideoDimensionText = Read(kSaveOptions, QStringLiteral("Video Dimension"), QStringLiteral("320 x 240"));
    SaveFrameRate = ReadNumber(kSaveOptions, QStringLiteral("FPS"), 15);
    SaveQuality = ReadNumber(kSaveOptions, QStringLiteral("Quality"), 75);
    SaveKeyFrameRate = ReadNumber(kSaveOptions, QStringLiteral("Key Frame Rate"), 15);
    SaveFrameFrequency = ReadNumber(kSaveOptions, QStringLiteral("Frame Frequency"), 15);
    PreviewAfterSave = static_cast<int16_t>(ReadNumber(kSaveOptions, QStringLiteral("Preview"), 1));
    HideTutorial = static_cast<int16_t>(ReadNumber(kSaveOptions, QStringLiteral("Tutorial"), 0));
    VideoProfileName = Read(kSaveOptions, QStringLiteral("Video Profile"),
                            QStringLiteral("Video for dial-up modems or LAN (28.8 to 100 Kbps)"));
    AudioProfileName =
        Read(kSaveOptions, QStringLiteral("Audio Profile"), QStringLiteral("Audio for CD-quality (96 Kbps stereo)"));
}

void LoadRegistrySettings()
{
    GetGeneralSettingsFromReg();
}

void GetResentFilesFromReg()
{
    QmTrap::Run(kModule, QStringLiteral("GetResentFilesFromReg"), [] { LoadRecent(Files(), Files().section); });
}

void GetResentProjectFilesFromReg()
{
    // Entries after the first are looked for under "Recent Project", which holds
    // nothing: only the newest project comes back at start, as it always has.
    QmTrap::Run(kModule, QStringLiteral("GetResentProjectFilesFromReg"),
                [] { LoadRecent(Projects(), QStringLiteral("Recent Project")); });
}

void UpdateResentFileMenu()
{
    UpdateRecent(Files(), [] { return moduleTarnwick::FileNameOf(FileCollection.Item(FileCollection.Count())); });
}

void UpdateResentProjectMenu()
{
    UpdateRecent(Projects(), [] { return NewRecentProject; });
}

void StoreResentFilesInReg()
{
    StoreRecent(Files());
}

void StoreResentProjectsFilesinReg()
{
    StoreRecent(Projects());
}

} // namespace ModuleSettings
