// Tools > Options: what the dialogue shows, what it stores, and that the Save Timeline
// dialogue reads what it stored.
#include "QmTestSupport.h"

#include "ui_frmPreferences.h"

#include "core/QmColors.h"
#include "core/QmDialogs.h"
#include "core/QmSettings.h"
#include "engine/ITWSave.h"
#include "export/SavedOptions.h"
#include "shell/ModuleSettings.h"
#include "shell/frmPreferences.h"

#include <QSettings>

using QmSettings::GetSetting;

namespace {

const QString kSave = QStringLiteral("Save Options");

frmPreferences* Form()
{
    return frmPreferences::instance();
}

Ui::frmPreferences& F()
{
    return Form()->Controls();
}

// A fresh store: every test starts from the defaults.
void ClearStore()
{
    QSettings store(QmSettings::StoreFile(), QSettings::IniFormat);
    store.clear();
    store.sync();
}

void Choose(QComboBox* box, const QString& text)
{
    const int index = box->findText(text);
    QVERIFY2(index >= 0, qPrintable(text));
    box->setCurrentIndex(index);
}

} // namespace

class TestPreferences : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void controlsCarryTheirNames();
    void freshStoreShowsTheDefaults();
    void applyStoresWhatSaveTimelineReads();
    void okStoresAndCancelStoresNothing();
    void anyChangeTurnsApplyOn();
    void defaultsPutBackTheStandardValues();
    void dimensionListAndLock();
    void compressorAbilitiesFollowTheEngine();
    void windowsMediaSettingsWriteProfileAndDescription();
    void coloursAndFolderFromTheirDialogues();
    void unknownFolderIsRefused();
    void helpAndMenuEntry();
};

void TestPreferences::initTestCase()
{
    QVERIFY(QmTest::StartMainWindow(1000, 700));
}

void TestPreferences::init()
{
    ClearStore();
    Form()->Form_Load();
    QmTest::TakeMessageTexts();
}

void TestPreferences::controlsCarryTheirNames()
{
    QCOMPARE(Form()->windowTitle(), QStringLiteral("Options"));
    auto* tabs = Form()->findChild<QTabWidget*>(QStringLiteral("tbSettings"));
    QVERIFY(tabs);
    QStringList keys, titles;
    for (int i = 0; i < tabs->count(); ++i) {
        keys << tabs->widget(i)->objectName();
        titles << tabs->tabText(i);
    }
    QCOMPARE(keys, (QStringList{"GENERAL", "AVI_SAVE_OPTIONS", "WMF_SAVE_OPTIONS"}));
    // Each tab shows its frames.
    for (auto [frame, tab] : {std::pair{"fmeGeneral", 0}, std::pair{"fmeGeneral2", 0}, std::pair{"fmeSave", 1},
                              std::pair{"fmeWMFOptions", 2}}) {
        QWidget* widget = Form()->findChild<QWidget*>(QString::fromLatin1(frame));
        QVERIFY2(widget && tabs->widget(tab)->isAncestorOf(widget), frame);
    }
    for (const char* name :
         {"chkDoNotShowTutorial", "chkPreview", "txtPath", "cmdBrowse", "lblVideoColor", "lblAudioColor", "lblEffectColor",
          "lblOverlayColor", "cmdVideo", "cmdAudio", "cmdEffects", "cmdOverlays", "cmdDefault", "cboVideoCompressorST",
          "cboAudioCompressorST", "sldFPS", "sldKeyFrameRate", "sldQuality", "sldPFrameFrequency", "lblFPS",
          "lblKeyFrameRate", "lblQuality", "lblPFrameFrequency", "cboVideoDimension", "txtWidth", "txtHeight",
          "chkLockAspectRatio", "cmdDefaultSO", "cboVideoProfile", "cboVideoSetting", "txtVideoProfile",
          "cmdVideoProperties", "cmdVideoDefault", "cboAudioProfile", "cboAudioSetting", "txtAudioProfile",
          "cmdAudioProperties", "cmdAudioDefault", "cmdOk", "cmdCancel", "cmdApply", "Command1"})
        QVERIFY2(Form()->findChild<QWidget*>(QString::fromLatin1(name)), name);
    QCOMPARE(F().cmdApply->text(), QStringLiteral("&Apply"));
    QCOMPARE(F().Command1->text(), QStringLiteral("&Help"));
    QCOMPARE(F().cmdDefault->text(), QStringLiteral("&Defaults"));
    QCOMPARE(F().cmdDefaultSO->text(), QStringLiteral("Defa&ult"));
    QCOMPARE(F().fmeGeneral2->title(), QStringLiteral("Color Settings"));
    QCOMPARE(F().fmeWMFOptions->title(), QStringLiteral("&Windows Media Format Save Options"));
    QCOMPARE(F().chkDoNotShowTutorial->text(), QStringLiteral("Do not show Tutorial on startup"));
    QCOMPARE(F().chkPreview->text(), QStringLiteral("Preview video after saving timeline"));
}

void TestPreferences::freshStoreShowsTheDefaults()
{
    QVERIFY(!F().cmdApply->isEnabled());
    QCOMPARE(frmPreferences::BackColor(F().lblVideoColor), 0xFFFF80);
    QCOMPARE(frmPreferences::BackColor(F().lblAudioColor), 0x80FFFF);
    QCOMPARE(frmPreferences::BackColor(F().lblEffectColor), 0x80FF80);
    QCOMPARE(frmPreferences::BackColor(F().lblOverlayColor), 0xC0E0FF);
    QCOMPARE(F().lblVideoColor->palette().color(QPalette::Window), QmColors::ToQColor(0xFFFF80));
    QCOMPARE(F().txtPath->text(), ModuleSettings::DefaultWorkingFolder());
    QVERIFY(F().chkPreview->isChecked());
    QVERIFY(!F().chkDoNotShowTutorial->isChecked());
    QCOMPARE(F().cboVideoCompressorST->currentText(), QStringLiteral("Uncompressed"));
    QCOMPARE(F().cboAudioCompressorST->currentText(), QStringLiteral("Uncompressed"));
    QCOMPARE(F().lblFPS->text(), QStringLiteral("15"));
    QCOMPARE(F().lblQuality->text(), QStringLiteral("75"));
    QCOMPARE(F().cboVideoDimension->currentText(), QStringLiteral("320 x 240"));
    QCOMPARE(F().txtWidth->text(), QStringLiteral("320"));
    QVERIFY(!F().fmeCustomPreview->isEnabled());
    QCOMPARE(F().cboVideoSetting->currentText(), QStringLiteral("Medium Quality (Recommended)"));
    QCOMPARE(F().cboVideoProfile->currentText(), QStringLiteral("Video for dial-up modems or LAN (28.8 to 100 Kbps)"));
    QCOMPARE(F().cboAudioProfile->currentText(), QStringLiteral("Audio for CD-quality (96 Kbps stereo)"));
    QCOMPARE(Form()->SelectedTab(), QStringLiteral("GENERAL"));
}

void TestPreferences::applyStoresWhatSaveTimelineReads()
{
    const QString video = F().cboVideoCompressorST->itemText(0);
    QVERIFY(video != u"Uncompressed");
    Choose(F().cboVideoCompressorST, video);
    Choose(F().cboVideoDimension, QStringLiteral("640 x 480"));
    F().sldFPS->setValue(25);
    F().sldQuality->setValue(90);
    F().sldKeyFrameRate->setValue(10);
    F().sldPFrameFrequency->setValue(5);
    F().chkPreview->setChecked(false);
    F().chkDoNotShowTutorial->setChecked(true);
    F().cboVideoSetting->setCurrentIndex(2);
    Form()->OnCboVideoSettingClick();
    F().cboAudioSetting->setCurrentIndex(0);
    Form()->OnCboAudioSettingClick();
    QVERIFY(F().cmdApply->isEnabled());
    F().cmdApply->click();
    QVERIFY(!F().cmdApply->isEnabled());
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());

    QCOMPARE(GetSetting(kSave, QStringLiteral("Video Compressor")), video);
    QCOMPARE(GetSetting(kSave, QStringLiteral("Video Dimension")), QStringLiteral("640 x 480"));
    QCOMPARE(GetSetting(kSave, QStringLiteral("FPS")), QStringLiteral("25"));
    QCOMPARE(GetSetting(kSave, QStringLiteral("Preview")), QStringLiteral("0"));
    QCOMPARE(GetSetting(kSave, QStringLiteral("Tutorial")), QStringLiteral("1"));
    QCOMPARE(GetSetting(kSave, QStringLiteral("Video Profile")), QStringLiteral("Video for e-mail and dual-channel ISDN (128 Kbps)"));
    QCOMPARE(GetSetting(kSave, QStringLiteral("Audio Profile")), QStringLiteral("Audio for near-CD quality (64 Kbps stereo)"));
    QCOMPARE(GetSetting(QStringLiteral("Color Settings"), QStringLiteral("VideoBarColor")), QString::number(0xFFFF80));

    // The Save Timeline dialogue starts from them (the audio profile it reads under the
    // section nothing writes, so it keeps its default).
    const SavedOptions read = SavedOptions::Read();
    QCOMPARE(read.videoCompressor, video);
    QCOMPARE(read.fps, QStringLiteral("25"));
    QCOMPARE(read.quality, 90);
    QCOMPARE(read.keyFrameRate, 10);
    QCOMPARE(read.pFrameFrequency, 5);
    QCOMPARE(read.width + u'x' + read.height, QStringLiteral("640x480"));
    QCOMPARE(read.videoProfile, QStringLiteral("Video for e-mail and dual-channel ISDN (128 Kbps)"));
    QCOMPARE(read.audioProfile, QStringLiteral("Audio for CD-quality (96 Kbps stereo)"));

    // Opened again, the dialogue shows them all.
    Form()->Form_Load();
    QCOMPARE(F().cboVideoCompressorST->currentText(), video);
    QCOMPARE(F().cboVideoDimension->currentText(), QStringLiteral("640 x 480"));
    QCOMPARE(F().lblFPS->text(), QStringLiteral("25"));
    QCOMPARE(F().sldQuality->value(), 90);
    QVERIFY(!F().chkPreview->isChecked());
    QVERIFY(F().chkDoNotShowTutorial->isChecked());
    QCOMPARE(F().cboVideoSetting->currentIndex(), 2);
    QCOMPARE(F().cboAudioSetting->currentIndex(), 0);
    QVERIFY(!F().cmdApply->isEnabled());

    // A custom size comes back as Custom with its numbers; a stored name of no setting
    // shows the recommended one.
    QmSettings::SaveSetting(kSave, QStringLiteral("Video Dimension"), QStringLiteral("500 x 300"));
    QmSettings::SaveSetting(kSave, QStringLiteral("Video Profile"), QStringLiteral("No such profile"));
    Form()->Form_Load();
    QCOMPARE(F().cboVideoDimension->currentText(), QStringLiteral("Custom"));
    QCOMPARE(F().txtWidth->text() + u'x' + F().txtHeight->text(), QStringLiteral("500x300"));
    QVERIFY(F().fmeCustomPreview->isEnabled());
    QCOMPARE(F().cboVideoSetting->currentIndex(), 1);
}

void TestPreferences::okStoresAndCancelStoresNothing()
{
    F().sldFPS->setValue(20);
    F().cmdCancel->click();
    QCOMPARE(GetSetting(kSave, QStringLiteral("FPS")), QString());

    Form()->Form_Load();
    F().sldFPS->setValue(20);
    frmPreferences::SetBackColor(F().lblAudioColor, 0x123456);
    F().cmdOk->click();
    QCOMPARE(Form()->result(), int(QDialog::Accepted));
    QCOMPARE(GetSetting(kSave, QStringLiteral("FPS")), QStringLiteral("20"));
    // The bars take the colour at once.
    QCOMPARE(QmShared::AudioBarFill, 0x123456);
    QCOMPARE(GetSetting(QStringLiteral("Color Settings"), QStringLiteral("AudioBarColor")), QString::number(0x123456));
}

void TestPreferences::anyChangeTurnsApplyOn()
{
    const std::function<void()> changes[] = {
        [] { F().sldKeyFrameRate->setValue(3); },
        [] { F().txtPath->setText(QStringLiteral("/tmp")); },
        [] { F().chkPreview->toggle(); },
        [] { F().cboVideoCompressorST->setCurrentIndex(0); },
        [] { F().cboVideoDimension->setCurrentIndex(F().cboVideoDimension->count() - 1); },
        [] { F().cboAudioSetting->setCurrentIndex(0); },
    };
    int n = 0;
    for (const auto& change : changes) {
        Form()->Form_Load();
        QVERIFY(!F().cmdApply->isEnabled());
        change();
        QVERIFY2(F().cmdApply->isEnabled(), qPrintable(QString::number(n++)));
    }
    // And each slider's label follows it.
    F().sldPFrameFrequency->setValue(7);
    QCOMPARE(F().lblPFrameFrequency->text(), QStringLiteral("7"));
}

void TestPreferences::defaultsPutBackTheStandardValues()
{
    frmPreferences::SetBackColor(F().lblVideoColor, 0x010203);
    frmPreferences::SetBackColor(F().lblOverlayColor, 0x010203);
    F().txtPath->setText(QStringLiteral("/tmp"));
    F().chkPreview->setChecked(false);
    F().chkDoNotShowTutorial->setChecked(true);
    F().cmdDefault->click();
    QCOMPARE(frmPreferences::BackColor(F().lblVideoColor), 0xFFFF80);
    QCOMPARE(frmPreferences::BackColor(F().lblOverlayColor), 0xC0E0FF);
    QCOMPARE(F().txtPath->text(), ModuleSettings::DefaultWorkingFolder());
    QVERIFY(F().chkPreview->isChecked());
    QVERIFY(!F().chkDoNotShowTutorial->isChecked());

    Choose(F().cboVideoCompressorST, F().cboVideoCompressorST->itemText(0));
    Choose(F().cboAudioCompressorST, F().cboAudioCompressorST->itemText(0));
    Choose(F().cboVideoDimension, QStringLiteral("Custom"));
    F().chkLockAspectRatio->setChecked(false);
    F().sldFPS->setValue(30);
    F().sldQuality->setValue(10);
    F().sldKeyFrameRate->setValue(2);
    F().sldPFrameFrequency->setValue(2);
    F().cmdDefaultSO->click();
    QCOMPARE(F().cboVideoCompressorST->currentText(), QStringLiteral("Uncompressed"));
    QCOMPARE(F().cboAudioCompressorST->currentText(), QStringLiteral("Uncompressed"));
    QCOMPARE(F().cboVideoDimension->currentText(), QStringLiteral("320 x 240"));
    QVERIFY(F().chkLockAspectRatio->isChecked());
    QCOMPARE(F().sldFPS->value() * 1000000 + F().sldKeyFrameRate->value() * 10000 + F().sldPFrameFrequency->value() * 100,
             15151500);
    QCOMPARE(F().sldQuality->value(), 75);
}

void TestPreferences::dimensionListAndLock()
{
    Choose(F().cboVideoDimension, QStringLiteral("800 x 600"));
    QCOMPARE(F().txtWidth->text() + u'x' + F().txtHeight->text(), QStringLiteral("800x600"));
    QVERIFY(!F().txtWidth->isEnabled());
    Choose(F().cboVideoDimension, QStringLiteral("Custom"));
    QVERIFY(F().txtWidth->isEnabled());
    // Locked at 4:3, the height follows the width.
    F().chkLockAspectRatio->setChecked(true);
    F().txtWidth->setText(QStringLiteral("400"));
    QCOMPARE(F().txtHeight->text(), QStringLiteral("300"));
    // 2000 and over is refused: the box keeps its last value.
    F().txtHeight->setText(QStringLiteral("2000"));
    QCOMPARE(F().txtHeight->text(), QStringLiteral("300"));
    F().chkLockAspectRatio->setChecked(false);
    F().txtHeight->setText(QStringLiteral("250"));
    QCOMPARE(F().txtWidth->text(), QStringLiteral("400"));
    F().cmdApply->click();
    QCOMPARE(GetSetting(kSave, QStringLiteral("Video Dimension")), QStringLiteral("400 x 250"));
    const SavedOptions read = SavedOptions::Read();
    QCOMPARE(read.width + u'x' + read.height, QStringLiteral("400x250"));
}

void TestPreferences::compressorAbilitiesFollowTheEngine()
{
    auto& save = QmShared::Eng<ITWSave>();
    bool sawEnabled = false, sawDisabled = false;
    for (int i = 0; i < F().cboVideoCompressorST->count(); ++i) {
        F().cboVideoCompressorST->setCurrentIndex(i);
        save.SetVideoCompressor(F().cboVideoCompressorST->itemText(i));
        const int32_t index = save.GetVideoCompressorIndex();
        const QString name = F().cboVideoCompressorST->itemText(i);
        QCOMPARE(F().sldQuality->isEnabled(), save.CanSetQuality(index));
        QCOMPARE(F().lblQuality->isEnabled(), save.CanSetQuality(index));
        QCOMPARE(F().sldKeyFrameRate->isEnabled(), save.CanSetKeyFrameRate(index));
        QCOMPARE(F().sldPFrameFrequency->isEnabled(), save.CanSetPFrameFrequency(index));
        sawEnabled = sawEnabled || save.CanSetQuality(index);
        sawDisabled = sawDisabled || !save.CanSetQuality(index);
        // The frame rate is every compressor's.
        QVERIFY2(F().sldFPS->isEnabled(), qPrintable(name));
    }
    // The list holds both kinds, so the check above saw each state.
    QVERIFY(sawEnabled && sawDisabled);
}

void TestPreferences::windowsMediaSettingsWriteProfileAndDescription()
{
    for (int i = 0; i < 3; ++i) {
        F().cboVideoSetting->setCurrentIndex(i);
        Form()->OnCboVideoSettingClick();
        const QString name = F().cboVideoProfile->currentText();
        QCOMPARE(name, QStringList({"Video for dial-up modems or single channel ISDN (28.8 to 56 Kbps)",
                                    "Video for dial-up modems or LAN (28.8 to 100 Kbps)",
                                    "Video for e-mail and dual-channel ISDN (128 Kbps)"})
                           .at(i));
        QVERIFY(!F().txtVideoProfile->toPlainText().isEmpty());
        QCOMPARE(F().txtVideoProfile->toPlainText(), frmPreferences::ProfileDescription(name));
    }
    F().cboAudioSetting->setCurrentIndex(2);
    Form()->OnCboAudioSettingClick();
    QCOMPARE(F().cboAudioProfile->currentText(), QStringLiteral("Audio for CD-quality transparency (128 Kbps stereo)"));
    const QString high = F().txtAudioProfile->toPlainText();
    QVERIFY(!high.isEmpty());
    F().cmdAudioDefault->click();
    QCOMPARE(F().cboAudioProfile->currentText(), QStringLiteral("Audio for CD-quality (96 Kbps stereo)"));
    QVERIFY(F().txtAudioProfile->toPlainText() != high);

    // Properties shows the profile's own details in its form.
    bool shown = false;
    QmScript::HandleModal([&shown](QDialog& dialog) {
        shown = dialog.objectName() == u"frmProfileProperties";
        dialog.reject();
    });
    F().cmdVideoProperties->click();
    QVERIFY(shown);
}

void TestPreferences::coloursAndFolderFromTheirDialogues()
{
    QmScript::AnswerDialog(QVariant(0x00336699));
    F().cmdEffects->click();
    QCOMPARE(frmPreferences::BackColor(F().lblEffectColor), 0x00336699);
    QVERIFY(F().cmdApply->isEnabled());
    // A cancelled colour dialogue changes nothing and says nothing.
    QmScript::CancelDialog();
    F().cmdEffects->click();
    QCOMPARE(frmPreferences::BackColor(F().lblEffectColor), 0x00336699);
    const QList<QmScript::DialogRequest> colours = QmScript::TakeDialogs();
    QCOMPARE(colours.size(), 2);
    QCOMPARE(colours[0].kind, QStringLiteral("color"));

    const QString folder = QmTest::Root().path() + QStringLiteral("/work");
    QmScript::AnswerDialog(QVariant(folder + u'/'));
    F().cmdBrowse->click();
    QCOMPARE(F().txtPath->text(), folder);
    const QList<QmScript::DialogRequest> folders = QmScript::TakeDialogs();
    QCOMPARE(folders.size(), 1);
    QCOMPARE(folders[0].title, QStringLiteral("Select a Folder"));

    F().cmdOk->click();
    QCOMPARE(GetSetting(QStringLiteral("Working DIR"), QStringLiteral("Path")), folder);
    QCOMPARE(QmShared::WorkingFolder, folder);
    QCOMPARE(GetSetting(QStringLiteral("Color Settings"), QStringLiteral("EffectBarColor")), QString::number(0x00336699));
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
}

void TestPreferences::unknownFolderIsRefused()
{
    F().sldFPS->setValue(12);
    F().txtPath->setText(QmTest::Root().path() + QStringLiteral("/no/such/folder"));
    Form()->SelectTab(QStringLiteral("AVI_SAVE_OPTIONS"));
    F().cmdApply->click();
    const QStringList said = QmTest::TakeMessageTexts();
    QCOMPARE(said.size(), 1);
    QVERIFY2(said[0].contains(QStringLiteral("/no/such/folder")), qPrintable(said[0]));
    QCOMPARE(GetSetting(kSave, QStringLiteral("FPS")), QString());
    QCOMPARE(Form()->SelectedTab(), QStringLiteral("GENERAL"));
    QVERIFY(F().cmdApply->isEnabled());
}

void TestPreferences::helpAndMenuEntry()
{
    QmScript::TakeOpened();
    F().Command1->click();
    const QList<QString> opened = QmScript::TakeOpened();
    QCOMPARE(opened.size(), 1);
    QVERIFY2(opened[0].endsWith(QStringLiteral("/help/2_2_Understanding_Preferences.htm")), qPrintable(opened[0]));

    // Tools > Options opens the dialogue, filled from the store.
    QmSettings::SaveSetting(kSave, QStringLiteral("Quality"), QStringLiteral("33"));
    QVERIFY(QmTest::Main()->Item(QStringLiteral("mnuToolsOptions"))->isEnabled());
    int quality = -1;
    QmScript::HandleModal([&quality](QDialog& dialog) {
        quality = dialog.findChild<QSlider*>(QStringLiteral("sldQuality"))->value();
        dialog.findChild<QPushButton*>(QStringLiteral("cmdCancel"))->click();
    });
    QmCommands::Run(QStringLiteral("mnuToolsOptions"));
    QCOMPARE(quality, 33);
}

QM_TEST_MAIN(TestPreferences)
#include "test_preferences.moc"
