// ModuleSettings: the copies between the Options dialogue and the settings' values.
#include "shell/ModuleSettings.h"

#include "ui_frmPreferences.h"

#include "core/QmDimensionBoxes.h"
#include "core/QmNumbers.h"
#include "core/QmShared.h"
#include "core/moduleUtilities.h"
#include "core/QmTrap.h"
#include "export/moduleProfiles.h"
#include "shell/frmPreferences.h"

using namespace QmShared;

namespace ModuleSettings {

namespace {

const QString kModule = QStringLiteral("ModuleSettings");

Ui::frmPreferences& Form()
{
    return frmPreferences::instance()->Controls();
}

// Chooses the entry of a text; else the fallback entry, when the box has it.
void Choose(QComboBox* box, const QString& text, const QString& fallback)
{
    if (!moduleUtilities::ChooseInCombo(box, text))
        moduleUtilities::ChooseInCombo(box, fallback);
}

// A profile name as the position of its setting; a name of no setting falls to the
// recommended one.
int SettingOf(const QString& profile, bool video)
{
    const int index = moduleProfiles::SettingProfiles(video).indexOf(profile);
    return index >= 0 ? index : 1;
}

int32_t BoxNumber(const QLineEdit* box)
{
    return QmNumbers::CLng(box->text().trimmed().toDouble());
}

} // namespace

void SetColorValues()
{
    Ui::frmPreferences& f = Form();
    VideoBarFill = frmPreferences::BackColor(f.lblVideoColor);
    AudioBarFill = frmPreferences::BackColor(f.lblAudioColor);
    EffectBarFill = frmPreferences::BackColor(f.lblEffectColor);
    OverlayBarFill = frmPreferences::BackColor(f.lblOverlayColor);
    WorkingFolder = f.txtPath->text().trimmed();
}

void GetColorValues()
{
    Ui::frmPreferences& f = Form();
    frmPreferences::SetBackColor(f.lblVideoColor, VideoBarFill);
    frmPreferences::SetBackColor(f.lblAudioColor, AudioBarFill);
    frmPreferences::SetBackColor(f.lblEffectColor, EffectBarFill);
    frmPreferences::SetBackColor(f.lblOverlayColor, OverlayBarFill);
    f.txtPath->setText(WorkingFolder);
}

void SetSaveOptionValues()
{
    Ui::frmPreferences& f = Form();
    VideoCompressorName = f.cboVideoCompressorST->currentText();
    AudioCompressorName = f.cboAudioCompressorST->currentText();
    VideoDimensionText = f.txtWidth->text().trimmed() + QStringLiteral(" x ") + f.txtHeight->text().trimmed();
    SaveFrameRate = f.sldFPS->value();
    SaveQuality = f.sldQuality->value();
    SaveKeyFrameRate = f.sldKeyFrameRate->value();
    SaveFrameFrequency = f.sldPFrameFrequency->value();
    PreviewAfterSave = f.chkPreview->isChecked() ? 1 : 0;
    HideTutorial = f.chkDoNotShowTutorial->isChecked() ? 1 : 0;
    VideoProfileName = f.cboVideoProfile->currentText();
    AudioProfileName = f.cboAudioProfile->currentText();
}

void GetSaveOptionValues()
{
    Ui::frmPreferences& f = Form();
    frmPreferences& form = *frmPreferences::instance();
    const QString uncompressed = QStringLiteral("Uncompressed");
    Choose(f.cboVideoCompressorST, VideoCompressorName, uncompressed);
    form.cboVideoCompressorST_Click();
    Choose(f.cboAudioCompressorST, AudioCompressorName, uncompressed);

    // The stored size: an entry of the list, else the custom size with its own numbers
    // (what is no number there gives way to 320 x 240).
    const QStringList pieces = VideoDimensionText.split(u' ', Qt::SkipEmptyParts);
    form.Dimensions().Reset(320, 240, 4.0 / 3.0);
    f.cboVideoDimension->setCurrentIndex(-1);
    if (VideoDimensionText != u"Custom" && f.cboVideoDimension->findText(VideoDimensionText, Qt::MatchExactly) >= 0) {
        Choose(f.cboVideoDimension, VideoDimensionText, QString());
    } else {
        Choose(f.cboVideoDimension, QStringLiteral("Custom"), QString());
        form.Dimensions().SetValues(pieces.value(0), pieces.value(pieces.size() - 1));
    }
    form.Dimensions().Reset(BoxNumber(f.txtWidth), BoxNumber(f.txtHeight), 4.0 / 3.0);

    f.sldFPS->setValue(SaveFrameRate);
    f.sldQuality->setValue(SaveQuality);
    f.sldKeyFrameRate->setValue(SaveKeyFrameRate);
    f.sldPFrameFrequency->setValue(SaveFrameFrequency);
    f.chkPreview->setChecked(PreviewAfterSave != 0);
    f.chkDoNotShowTutorial->setChecked(HideTutorial != 0);

    f.cboVideoSetting->setCurrentIndex(SettingOf(VideoProfileName, true));
    form.OnCboVideoSettingClick();
    f.cboAudioSetting->setCurrentIndex(SettingOf(AudioProfileName, false));
    form.OnCboAudioSettingClick();
}

void LoadPreferences()
{
    QmTrap::Run(kModule, QStringLiteral("LoadPreferences"), [] {
        GetGeneralSettingsFromReg();
        GetSaveOptionsFromReg();
        GetColorValues();
        GetSaveOptionValues();
    });
}

void StorePreferences()
{
    QmTrap::Run(kModule, QStringLiteral("StorePreferences"), [] {
        SetColorValues();
        StoreGeneralSettingsInReg();
        SetSaveOptionValues();
        StoreSaveOptionsToReg();
    });
}

} // namespace ModuleSettings
