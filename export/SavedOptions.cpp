#include "export/SavedOptions.h"

#include "core/QmNumbers.h"
#include "core/QmTrap.h"
#include "engine/ITWSave.h"
#include "shell/ModuleSettings.h"

#include <QStringList>

namespace {

const QString kSaveOptions = QStringLiteral("Save Options");

// A number of the settings store as the engine takes it; text that is no number is a
// type mismatch (error 13).
int32_t Number(const QString& text)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok)
        throw QmError(QmErr::TypeMismatch, QStringLiteral("Type mismatch"));
    return QmNumbers::CLng(value);
}

} // namespace

SavedOptions SavedOptions::Read()
{
    using ModuleSettings::ReadSetting;
    SavedOptions options;
    options.videoCompressor = ReadSetting(kSaveOptions, QStringLiteral("Video Compressor"), QStringLiteral("Uncompressed"));
    options.audioCompressor = ReadSetting(kSaveOptions, QStringLiteral("Audio Compressor"), QStringLiteral("Uncompressed"));
    options.videoProfile = ReadSetting(kSaveOptions, QStringLiteral("Video Profile"),
                                       QStringLiteral("Video for dial-up modems or LAN (28.8 to 100 Kbps)"));
    // Read from "Save Optoins", which nothing writes: the default always wins.
    options.audioProfile = ReadSetting(QStringLiteral("Save Optoins"), QStringLiteral("Audio Profile"),
                                       QStringLiteral("Audio for CD-quality (96 Kbps stereo)"));
    options.fps = ReadSetting(kSaveOptions, QStringLiteral("FPS"), QStringLiteral("15"));
    options.pFrameFrequency = Number(ReadSetting(kSaveOptions, QStringLiteral("Frame Frequency"), QStringLiteral("15")));
    options.keyFrameRate = Number(ReadSetting(kSaveOptions, QStringLiteral("Key Frame Rate"), QStringLiteral("15")));
    options.quality = Number(ReadSetting(kSaveOptions, QStringLiteral("Quality"), QStringLiteral("75")));
    const QStringList pieces = ReadSetting(kSaveOptions, QStringLiteral("Video Dimension"), QStringLiteral("320 x 240"))
                                   .split(u' ', Qt::SkipEmptyParts);
    options.width = pieces.value(0);
    options.height = pieces.value(pieces.size() - 1);
    return options;
}

void SavedOptions::ApplyTo(ITWSave& save) const
{
    save.ResetSave();
    save.SetVideoCompressor(videoCompressor);
    save.SetAudioCompressor(audioCompressor);
    save.SetVideoProfile(videoProfile);
    save.SetAudioProfile(audioProfile);
    save.SetFrameRate(Number(fps));
    save.SetPFrameFrequency(pFrameFrequency);
    save.SetKeyFrameRate(keyFrameRate);
    save.SetQuality(quality);
    save.SetVideoSize(Number(width), Number(height));
}
