// The capture window and its dialogues on the test devices, as the user drives them:
// the device checks at opening, a capture stopped by its duration, by the disk rule
// and by a vanishing device, the file rules, the streams and ASF, snaps numbered on,
// the start values and the options.
#include "QmProbe.h"
#include "QmTestSupport.h"

#include "capture/frmCapture.h"
#include "capture/frmCaptureOptions.h"
#include "capture/frmCaptureValues.h"
#include "capture/moduleCaptureSnap.h"
#include "core/QmDialogs.h"
#include "core/QmDiskSpace.h"
#include "core/QmSettings.h"
#include "core/QmTrap.h"
#include "core/QmVideoSurface.h"
#include "engine/ITWCapture.h"
#include "export/moduleProfiles.h"
#include "ui_frmCaptureOptions.h"
#include "ui_frmCaptureValues.h"

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTimer>

using namespace QmShared;

namespace {

frmCapture* Cap()
{
    return frmCapture::instance();
}

QAction* Item(const char* name)
{
    return Cap()->Item(QString::fromLatin1(name));
}

QAction* Button(const char* key)
{
    return Cap()->Button(QString::fromLatin1(key));
}

QString PanelText()
{
    return Cap()->Panel(QStringLiteral("sbr_1"))->text();
}

QString Light(const char* panel)
{
    return Cap()->Panel(QString::fromLatin1(panel))->property("image").toString();
}

} // namespace

class TestCapture : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void openingWithoutUsableDevices();
    void captureStoppedByItsDuration();
    void fileRulesBeforeAStart();
    void diskRuleStopsAtTenMiB();
    void vanishingDeviceEndsTheCapture();
    void streamsAndWindowsMedia();
    void snapsNumberOn();
    void startValuesDialogue();
    void optionsDialogue();
    void deviceSettingsDialogues();

private:
    // Opens the capture window on the devices the variable asks for.
    void Open(const char* devices);
    // Starts a capture without the start dialogue and waits until it runs.
    void StartWithoutDialogue(const QString& file, int16_t stopMode, int32_t seconds);

    QTemporaryDir m_folder;
    QStringList m_reports;
};

void TestCapture::initTestCase()
{
    qputenv("QUILLMONT_TEST_DEVICES", "only");
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder.filePath(QStringLiteral("data"))));
    QmTest::StartMainWindow(1000, 700);
    QmTrap::SetReporter([this](const QString& module, const QString& function, const QmError& error) {
        m_reports << module + u'.' + function + u' ' + error.Description();
    });
}

void TestCapture::init()
{
    WorkingFolder = m_folder.path();
    QmDiskSpace::SetSource({});
    qunsetenv("QUILLMONT_TEST_DEVICE_SECONDS");
    LastCapturedFile.clear();
    LastSnapFile.clear();
    moduleCaptureSnap::SetSnapUseCaptureDimension(true);
}

void TestCapture::cleanup()
{
    if (frmCapture::exists())
        Cap()->close();
    QCOMPARE(std::exchange(m_reports, {}), QStringList());
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
    QCOMPARE(QmScript::PendingMessageAnswers(), 0);
}

void TestCapture::Open(const char* devices)
{
    qputenv("QUILLMONT_TEST_DEVICES", devices);
    QVERIFY(QmTest::Main()->findChild<QAction*>(QStringLiteral("mnuToolsCapture"))->isEnabled());
    const int shown = frmCapture::exists() ? Cap()->picMainWorkspace()->FramesPresented() : 0;
    QmCommands::Run(QStringLiteral("mnuToolsCapture"));
    QVERIFY(Cap()->isVisible());
    QCOMPARE(Cap()->windowTitle(), QStringLiteral("Capture"));
    // With the test devices, the live picture runs before the test goes on.
    if (qstrcmp(devices, "only") == 0)
        QTRY_VERIFY_WITH_TIMEOUT(Cap()->picMainWorkspace()->FramesPresented() > shown + 1, 5000);
}

void TestCapture::StartWithoutDialogue(const QString& file, int16_t stopMode, int32_t seconds)
{
    Cap()->SetShowStartDialog(0);
    Cap()->SetCaptureFile(file);
    Cap()->SetStopMode(stopMode);
    Cap()->SetCaptureDuration(seconds);
    Item("mnuCaptureStart")->trigger();
    QVERIFY(Cap()->tm()->isActive());
}

void TestCapture::openingWithoutUsableDevices()
{
    // No camera: one box, the status text, every entry off.
    QmScript::AnswerMessage(QmMsgBox::OK);
    Open("none");
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{QStringLiteral("Video Device Not Found.")});
    QCOMPARE(PanelText(), QStringLiteral("Capture device not found"));
    for (const char* name : {"mnuCaptureStart", "mnuCaptureStop", "mnuCaptureOptions", "mnuToolsTakeSnap", "mnuFileSetCapFile"})
        QVERIFY2(!Item(name)->isEnabled(), name);
    for (const char* key : {"START_CAPTURE", "STOP_CAPTURE", "TAKE_SNAP", "OPTIONS"})
        QVERIFY2(!Button(key)->isEnabled(), key);
    QVERIFY(!VideoDeviceOk);
    Cap()->close();

    // A microphone alone is no capture device for the window either.
    QmScript::AnswerMessage(QmMsgBox::OK);
    Open("audio");
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{QStringLiteral("Video Device Not Found.")});
    QVERIFY(!Item("mnuCaptureStart")->isEnabled());
    Cap()->close();

    // Devices that are there but do not open: both boxes, and the window stays usable
    // for reading.
    QmScript::AnswerMessage(QmMsgBox::OK);
    QmScript::AnswerMessage(QmMsgBox::OK);
    Open("broken");
    QCOMPARE(QmTest::TakeMessageTexts(),
             (QStringList{QStringLiteral("Video device could not be initialized."), QStringLiteral("Audio device could not be initialized.")}));
    QVERIFY(!VideoDeviceOk);
    QVERIFY(!AudioDeviceOk);
    Cap()->close();

    // The test devices open: the live picture runs, the menus are on, Stop is off.
    Open("only");
    QVERIFY(VideoDeviceOk && AudioDeviceOk);
    QCOMPARE(VideoDeviceName, QStringLiteral("Quillmont Test Pattern"));
    QCOMPARE(AudioDeviceName, QStringLiteral("Quillmont Test Tone"));
    QTRY_VERIFY_WITH_TIMEOUT(Cap()->picMainWorkspace()->FramesPresented() > 5, 5000);
    QCOMPARE(Cap()->picMainWorkspace()->Frame().size(), QSize(320, 240));
    QCOMPARE(Cap()->picMainWorkspace()->size(), QSize(320, 240));
    QVERIFY(Item("mnuCaptureStart")->isEnabled());
    QVERIFY(!Item("mnuCaptureStop")->isEnabled() && !Button("STOP_CAPTURE")->isEnabled());
    QVERIFY(!Item("mnuFilePLCFile")->isEnabled() && !Item("mnuFileSaveas")->isEnabled());
    QVERIFY(!Item("mnuFilePLCFrame")->isEnabled());
    QCOMPARE(Light("CAPTURE_STATUS"), QStringLiteral("CAPTURE_OFF"));
}

void TestCapture::captureStoppedByItsDuration()
{
    Open("only");
    // The start dialogue sets a stop after 2 seconds; the blank file becomes Capture.avi.
    QmScript::HandleModal([](QDialog& dialog) {
        auto* ui = static_cast<frmCaptureValues&>(dialog).Controls();
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Start Capture"));
        QCOMPARE(ui->cmdOK->text(), QStringLiteral("Start"));
        ui->optDurationStop->click();
        ui->txtDuration->setText(QStringLiteral("2"));
        ui->cmdOK->click();
    });
    Item("mnuCaptureStart")->trigger();
    const QString file = m_folder.filePath(QStringLiteral("Capture.avi"));
    QCOMPARE(Cap()->CaptureFile(), file);
    QVERIFY(Cap()->tm()->isActive());
    QCOMPARE(Cap()->tm()->interval(), 33);
    QCOMPARE(Light("CAPTURE_STATUS"), QStringLiteral("CAPTURE_ON"));
    for (const char* name : {"mnuCaptureStart", "mnuCaptureOptions", "mnuToolsTakeSnap", "mnuCaptureStreamAudio", "mnuaudiomaster"})
        QVERIFY2(!Item(name)->isEnabled(), name);
    QVERIFY(Item("mnuCaptureStop")->isEnabled() && Button("STOP_CAPTURE")->isEnabled());
    QVERIFY(!Button("START_CAPTURE")->isEnabled() && !Button("CAPTURE_SETTINGS")->isEnabled());

    QTRY_VERIFY_WITH_TIMEOUT(PanelText().contains(QStringLiteral(" Frames Captured, ")), 2000);
    QTRY_VERIFY_WITH_TIMEOUT(!Cap()->tm()->isActive(), 6000);
    QVERIFY2(QRegularExpression(QStringLiteral("^\\d+ Frames Captured, \\d+ Frames Dropped, 2 Seconds Captured$")).match(PanelText()).hasMatch(),
             qPrintable(PanelText()));
    QCOMPARE(LastCapturedFile, file);
    QCOMPARE(Light("CAPTURE_STATUS"), QStringLiteral("CAPTURE_OFF"));
    QVERIFY(Item("mnuCaptureStart")->isEnabled() && !Item("mnuCaptureStop")->isEnabled());
    QVERIFY(Item("mnuFilePLCFile")->isEnabled() && Item("mnuCaptureLCFtoML")->isEnabled() && Item("mnuFileSaveas")->isEnabled());
    const QmProbe::Probe probe(file);
    QVERIFY(!probe.video.isEmpty() && !probe.audio.isEmpty());
    const double seconds = probe.Frames() / 30.0;
    QVERIFY2(seconds >= 2.0 && seconds < 2.2, qPrintable(QString::number(seconds)));
    // The preview runs again after the stop.
    const int shown = Cap()->picMainWorkspace()->FramesPresented();
    QTRY_VERIFY_WITH_TIMEOUT(Cap()->picMainWorkspace()->FramesPresented() > shown + 3, 3000);

    // Save As copies it; the capture stays where it was.
    const QString copy = m_folder.filePath(QStringLiteral("copy.avi"));
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{copy, 1}));
    Item("mnuFileSaveas")->trigger();
    QCOMPARE(QmScript::TakeDialogs().size(), 1);
    QCOMPARE(QFileInfo(copy).size(), QFileInfo(file).size());
    QVERIFY(QFile::exists(file));
    QCOMPARE(PanelText(), QString());

    // The result goes to the desktop's player, and into the media list.
    Item("mnuFilePLCFile")->trigger();
    QCOMPARE(QmScript::TakeOpened(), QList<QString>{file});
    Item("mnuCaptureLCFtoML")->trigger();
    QCOMPARE(FileCollection.Count(), 1);
    QCOMPARE(moduleTarnwick::FileNameOf(FileCollection.Item(1)), file);

    // A last capture that is gone says so.
    LastCapturedFile = m_folder.filePath(QStringLiteral("gone.avi"));
    QmScript::AnswerMessage(QmMsgBox::OK);
    Item("mnuFilePLCFile")->trigger();
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{QStringLiteral("File not found.")});
    QVERIFY(QmScript::TakeOpened().isEmpty());
    LastCapturedFile = file;

    // Now the file is open in the media list: no capture into it.
    QmScript::AnswerMessage(QmMsgBox::OK);
    Cap()->SetShowStartDialog(0);
    Item("mnuCaptureStart")->trigger();
    QVERIFY(!Cap()->tm()->isActive());
    QCOMPARE(QmTest::TakeMessageTexts(),
             QStringList{QStringLiteral("The specified file is being used by Quillmont. Please specify a different capture file name.")});
    moduleTarnwick::CloseAllMediaFiles();
}

void TestCapture::fileRulesBeforeAStart()
{
    Open("only");
    // An existing file and the answer No: nothing starts, the file stays.
    const QString file = m_folder.filePath(QStringLiteral("kept.avi"));
    QFile old(file);
    QVERIFY(old.open(QIODevice::WriteOnly));
    old.write("old");
    old.close();
    QmScript::AnswerMessage(QmMsgBox::No);
    Cap()->SetShowStartDialog(0);
    Cap()->SetCaptureFile(file);
    Item("mnuCaptureStart")->trigger();
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{QStringLiteral("Overwrite Exisiting File ") + file + QStringLiteral("?")});
    QVERIFY(!Cap()->tm()->isActive());
    QCOMPARE(QFileInfo(file).size(), 3);

    // Yes: the file is captured over.
    QmScript::AnswerMessage(QmMsgBox::Yes);
    Item("mnuCaptureStart")->trigger();
    QVERIFY(Cap()->tm()->isActive());
    QmTest::TakeMessageTexts();
    QTest::qWait(400);
    Item("mnuCaptureStop")->trigger();
    QVERIFY(QFileInfo(file).size() > 1000);

    // Cancel in the start dialogue: no capture, and the next start is allowed again.
    Cap()->SetShowStartDialog(1);
    QmScript::HandleModal([](QDialog& dialog) { static_cast<frmCaptureValues&>(dialog).Controls()->cmdCancel->click(); });
    Item("mnuCaptureStart")->trigger();
    QVERIFY(!Cap()->tm()->isActive());
    QCOMPARE(Light("CAPTURE_STATUS"), QStringLiteral("CAPTURE_OFF"));
    QVERIFY(CaptureAllowed);

    // A blank capture file becomes Capture1.avi in the working folder.
    StartWithoutDialogue(QString(128, u' '), 1, 0);
    QTRY_VERIFY_WITH_TIMEOUT(!Cap()->tm()->isActive(), 3000); // duration 0 stops at the first tick
    QCOMPARE(LastCapturedFile, m_folder.filePath(QStringLiteral("Capture1.avi")));
    QVERIFY(QFile::exists(LastCapturedFile));
}

void TestCapture::diskRuleStopsAtTenMiB()
{
    Open("only");
    // One byte more than 10 MiB goes on; a failed query (0) goes on too.
    int64_t free = 10485761;
    QmDiskSpace::SetSource([&free](const QString&) { return free; });
    const QString file = m_folder.filePath(QStringLiteral("disk.avi"));
    StartWithoutDialogue(file, 0, 0);
    QTest::qWait(300);
    QVERIFY(Cap()->tm()->isActive());
    free = 0;
    QTest::qWait(200);
    QVERIFY(Cap()->tm()->isActive());
    // Exactly 10 MiB stops it, with the box, and keeps what was recorded.
    QmScript::AnswerMessage(QmMsgBox::OK);
    free = 10485760;
    QTRY_VERIFY_WITH_TIMEOUT(!Cap()->tm()->isActive(), 2000);
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{QStringLiteral("Insufficient Disk Space.")});
    QCOMPARE(LastCapturedFile, file);
    QVERIFY(Item("mnuCaptureStart")->isEnabled());
    const QmProbe::Probe probe(file);
    QVERIFY(probe.Frames() >= 10);
}

void TestCapture::vanishingDeviceEndsTheCapture()
{
    qputenv("QUILLMONT_TEST_DEVICE_SECONDS", "1.5");
    Open("only");
    QmScript::AnswerMessage(QmMsgBox::OK);
    const QString file = m_folder.filePath(QStringLiteral("unplugged.avi"));
    StartWithoutDialogue(file, 0, 0);
    QTRY_VERIFY_WITH_TIMEOUT(!Cap()->tm()->isActive(), 5000);
    const QStringList texts = QmTest::TakeMessageTexts();
    QCOMPARE(texts.size(), 1);
    QVERIFY2(texts.first().contains(QStringLiteral("unplugged")), qPrintable(texts.first()));
    QCOMPARE(LastCapturedFile, file);
    const QmProbe::Probe probe(file);
    QVERIFY2(probe.Duration() > 1.2 && probe.Duration() < 1.8, qPrintable(QString::number(probe.Duration())));
    // What was recorded plays through.
    int code = -1;
    QmProbe::Run(QStringLiteral(QM_FFMPEG), {"-v", "error", "-i", file, "-f", "null", "-"}, &code);
    QCOMPARE(code, 0);
}

void TestCapture::streamsAndWindowsMedia()
{
    Open("only");
    // Sound off: its entries and the synchronize entries go off, the picture stays.
    Item("mnuCaptureStreamAudio")->trigger();
    QVERIFY(!Item("mnuCaptureStreamAudio")->isChecked());
    QVERIFY(!Item("mnuToolsAudioFromats")->isEnabled() && !Item("mnuToolsAudioSettings")->isEnabled());
    QVERIFY(!Item("mnuaudiomaster")->isEnabled() && !Button("AUDIO_FORMAT")->isEnabled());
    const int shown = Cap()->picMainWorkspace()->FramesPresented();
    QTRY_VERIFY_WITH_TIMEOUT(Cap()->picMainWorkspace()->FramesPresented() > shown + 3, 3000);

    // Then the picture cannot go as well.
    QmScript::AnswerMessage(QmMsgBox::OK);
    Item("mnuCaptureStreamVideo")->trigger();
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{QStringLiteral("Atleast one stream (Video or Audio) should be kept selected.")});
    QVERIFY(Item("mnuCaptureStreamVideo")->isChecked());

    // ASF with the picture alone: refused, and the preview comes back.
    moduleProfiles::EnumProfiles();
    int video = -1;
    for (int i = 0; i < moduleProfiles::ProfileCount() && video < 0; ++i)
        if (moduleProfiles::VideoPresent(i))
            video = i;
    QVERIFY(video >= 0);
    Cap()->SetCaptureFormat(1);
    Cap()->SetCaptureProfileName(moduleProfiles::ProfileName(video));
    Cap()->SetCaptureProfileIndex(static_cast<int16_t>(video));
    QmScript::AnswerMessage(QmMsgBox::OK);
    Cap()->SetShowStartDialog(0);
    Cap()->SetCaptureFile(m_folder.filePath(QStringLiteral("alone.asf")));
    Item("mnuCaptureStart")->trigger();
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{QStringLiteral("You must enable both the streams (Video and Audio) to capture in ASF.")});
    QVERIFY(!Cap()->tm()->isActive());
    QVERIFY(!QFile::exists(m_folder.filePath(QStringLiteral("alone.asf"))));
    QCOMPARE(Light("CAPTURE_STATUS"), QStringLiteral("CAPTURE_OFF"));
    const int after = Cap()->picMainWorkspace()->FramesPresented();
    QTRY_VERIFY_WITH_TIMEOUT(Cap()->picMainWorkspace()->FramesPresented() > after + 3, 3000);

    // Sound back on: ASF records both streams.
    Item("mnuCaptureStreamAudio")->trigger();
    QVERIFY(Item("mnuCaptureStreamAudio")->isChecked() && Item("mnuaudiomaster")->isEnabled());
    const QString file = m_folder.filePath(QStringLiteral("both.asf"));
    StartWithoutDialogue(file, 1, 1);
    QTRY_VERIFY_WITH_TIMEOUT(!Cap()->tm()->isActive(), 4000);
    const QmProbe::Probe probe(file);
    QCOMPARE(probe.video.value("codec_name").toString(), QStringLiteral("wmv2"));
    QCOMPARE(probe.audio.value("codec_name").toString(), QStringLiteral("wmav2"));

    // Sound alone records sound, and the panel counts its seconds.
    Cap()->SetCaptureFormat(0);
    Item("mnuCaptureStreamVideo")->trigger();
    QVERIFY(!Item("mnuCaptureStreamVideo")->isChecked());
    StartWithoutDialogue(m_folder.filePath(QStringLiteral("sound.avi")), 0, 0);
    QTRY_COMPARE_WITH_TIMEOUT(PanelText(), QStringLiteral("Captured Audio 1 Seconds"), 3000);
    Item("mnuCaptureStop")->trigger();
    const QmProbe::Probe sound(m_folder.filePath(QStringLiteral("sound.avi")));
    QVERIFY(sound.video.isEmpty() && !sound.audio.isEmpty());
}

void TestCapture::snapsNumberOn()
{
    Open("only");
    QTRY_VERIFY_WITH_TIMEOUT(Cap()->picMainWorkspace()->FramesPresented() > 2, 3000);
    moduleCaptureSnap::SetSnapCounter(0);
    moduleCaptureSnap::SetSnapFolder(m_folder.path());
    moduleCaptureSnap::SetSnapUseCaptureDimension(true);
    QFile existing(m_folder.filePath(QStringLiteral("Snap0000.bmp")));
    QVERIFY(existing.open(QIODevice::WriteOnly));
    existing.close();

    Item("mnuToolsTakeSnap")->trigger();
    const QString first = m_folder.filePath(QStringLiteral("Snap0001.bmp"));
    QCOMPARE(PanelText(), QStringLiteral("Snap0001.bmp (") + m_folder.path() + u')');
    QCOMPARE(QImage(first).size(), QSize(320, 240));
    QCOMPARE(LastSnapFile, first);
    QCOMPARE(moduleCaptureSnap::SnapCounter(), 1);
    QVERIFY(Item("mnuFilePLCFrame")->isEnabled() && Item("mnuCaptureLStoML")->isEnabled());
    QCOMPARE(Light("SNAP_STATUS"), QStringLiteral("SNAP_OFF"));

    // The other dimension.
    moduleCaptureSnap::SetSnapUseCaptureDimension(false);
    moduleCaptureSnap::SetSnapDimension(160, 120);
    Item("mnuToolsTakeSnap")->trigger();
    QCOMPARE(QImage(m_folder.filePath(QStringLiteral("Snap0002.bmp"))).size(), QSize(160, 120));

    // A counter run up to the end finds Snap10000.bmp once, then none.
    QFile last(m_folder.filePath(QStringLiteral("Snap9999.bmp")));
    QVERIFY(last.open(QIODevice::WriteOnly));
    last.close();
    moduleCaptureSnap::SetSnapCounter(9999);
    Item("mnuToolsTakeSnap")->trigger();
    QCOMPARE(PanelText(), QStringLiteral("Snap10000.bmp (") + m_folder.path() + u')');
    QVERIFY(QFile::exists(m_folder.filePath(QStringLiteral("Snap10000.bmp"))));
    QmScript::AnswerMessage(QmMsgBox::OK);
    Item("mnuToolsTakeSnap")->trigger();
    QCOMPARE(QmTest::TakeMessageTexts(),
             QStringList{QStringLiteral("There are too many snaps present in the folder to which the snaps are being saved.")});
    QCOMPARE(PanelText(), QStringLiteral("Unable to take snap. Too many snaps present."));
    moduleCaptureSnap::SetSnapCounter(0);

    // Sound alone has no picture to snap: a box, no file, the last snap kept.
    Item("mnuCaptureStreamVideo")->trigger();
    QmScript::AnswerMessage(QmMsgBox::OK);
    Item("mnuToolsTakeSnap")->trigger();
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{QStringLiteral("There is no picture to snap: the video device shows none.")});
    QCOMPARE(PanelText(), QStringLiteral("Unable to take snap."));
    QCOMPARE(LastSnapFile, m_folder.filePath(QStringLiteral("Snap10000.bmp")));
    QVERIFY(!QFile::exists(m_folder.filePath(QStringLiteral("Snap0003.bmp"))));
}

void TestCapture::startValuesDialogue()
{
    Open("only");
    // Set Capture File: the other caption, and Cancel keeps the capture allowed.
    QmScript::HandleModal([](QDialog& dialog) {
        auto* ui = static_cast<frmCaptureValues&>(dialog).Controls();
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Set Capture File"));
        QCOMPARE(ui->cmdOK->text(), QStringLiteral("OK"));
        QCOMPARE(ui->txtCaptureFile->text(), WorkingFolder + QStringLiteral("/Capture.avi"));
        QVERIFY(!ui->txtDuration->isEnabled());
        // Digits, the point, and the codes 39 and 37 (apostrophe, percent) pass.
        ui->optDurationStop->click();
        ui->txtDuration->clear();
        QTest::keyClicks(ui->txtDuration, QStringLiteral("1a2'%.x"));
        QCOMPARE(ui->txtDuration->text(), QStringLiteral("12'%."));
        ui->txtDuration->clear();
        // A blank duration is refused and the dialogue stays.
        QmScript::AnswerMessage(QmMsgBox::OK);
        ui->cmdOK->click();
        QCOMPARE(dialog.result(), int(QDialog::Rejected));
        ui->txtDuration->setText(QStringLiteral("7"));
        ui->chkShowWindow->click();
        ui->txtCaptureFile->setText(QStringLiteral("  /tmp/else.avi  "));
        ui->cmdOK->click();
    });
    Item("mnuFileSetCapFile")->trigger();
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{QStringLiteral("Please specify a valid capture duration.")});
    QCOMPARE(Cap()->CaptureFile(), QStringLiteral("/tmp/else.avi"));
    QCOMPARE(Cap()->CaptureDuration(), 7);
    QCOMPARE(Cap()->StopMode(), 1);
    QCOMPARE(Cap()->ShowStartDialog(), 0);
    QVERIFY(CaptureAllowed);

    // Opened again it shows what was set.
    QmScript::HandleModal([](QDialog& dialog) {
        auto* ui = static_cast<frmCaptureValues&>(dialog).Controls();
        QCOMPARE(ui->txtCaptureFile->text(), QStringLiteral("/tmp/else.avi"));
        QVERIFY(ui->optDurationStop->isChecked() && ui->txtDuration->isEnabled());
        QCOMPARE(ui->txtDuration->text(), QStringLiteral("7"));
        QVERIFY(ui->chkShowWindow->isChecked());
        ui->cmdCancel->click();
    });
    Item("mnuFileSetCapFile")->trigger();
    QVERIFY(CaptureAllowed);
}

void TestCapture::optionsDialogue()
{
    Open("only");
    QmSettings::DeleteSetting(QStringLiteral("Capture Snap"));
    Cap()->SetCaptureFile(m_folder.filePath(QStringLiteral("my.file.avi")));
    const QString snaps = m_folder.filePath(QStringLiteral("snaps"));
    QmScript::HandleModal([&](QDialog& dialog) {
        auto* ui = static_cast<frmCaptureOptions&>(dialog).Controls();
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Options"));
        QCOMPARE(ui->cmbVideoDevices->currentText(), QStringLiteral("Quillmont Test Pattern"));
        QCOMPARE(ui->cmbAudioDevices->currentText(), QStringLiteral("Quillmont Test Tone"));
        QCOMPARE(ui->cmbVideoCompressors->currentText(), QStringLiteral("Uncompressed"));
        QCOMPARE(ui->cmbAudioCompressors->currentText(), QStringLiteral("Uncompressed"));
        QVERIFY(ui->optAVI->isChecked() && ui->cmbVideoCompressors->isEnabled() && !ui->cboProfile->isEnabled());
        QVERIFY(!ui->cmdOK->isEnabled() && !ui->cmdApply->isEnabled());
        QVERIFY(ui->tabOptions->indexOf(ui->TAKE_SNAP) >= 0);
        QCOMPARE(ui->tabOptions->tabText(0), QStringLiteral("Save Options"));

        ui->optASF->click();
        QVERIFY(!ui->cmbVideoCompressors->isEnabled() && !ui->lblAudioCompressor->isEnabled());
        QVERIFY(ui->cboSetting->isEnabled() && ui->cmdCustomProfile->isEnabled());
        QVERIFY(ui->cmdOK->isEnabled() && ui->cmdApply->isEnabled());
        QVERIFY(ui->cboProfile->count() > 0);
        for (int i = 0; i < ui->cboProfile->count(); ++i)
            QVERIFY(moduleProfiles::VideoPresent(moduleProfiles::GetIndex(ui->cboProfile->itemText(i))));

        // Default: AVI and uncompressed again.
        ui->cmbVideoCompressors->setCurrentIndex(0);
        ui->cmdDefaultSO->click();
        QVERIFY(ui->optAVI->isChecked());
        QCOMPARE(ui->cmbVideoCompressors->currentText(), QStringLiteral("Uncompressed"));
        ui->optASF->click();

        // Snaps in another dimension, in a folder of their own.
        ui->tabOptions->setCurrentWidget(ui->TAKE_SNAP);
        QVERIFY(ui->optSaveSnapCapDim->isChecked() && !ui->cboSnapDimension->isEnabled());
        ui->optSaveSnapOthDim->click();
        QVERIFY(ui->cboSnapDimension->isEnabled());
        ui->cboSnapDimension->setCurrentText(QStringLiteral("640 x 480"));
        QCOMPARE(ui->txtWidth->text(), QStringLiteral("640"));
        QVERIFY(!ui->txtWidth->isEnabled());
        ui->cboSnapDimension->setCurrentText(QStringLiteral("Custom"));
        QVERIFY(ui->txtWidth->isEnabled());
        ui->cboSnapDimension->setCurrentText(QStringLiteral("640 x 480"));
        QmScript::AnswerDialog(snaps + u'/');
        ui->cmdSnapFolderBrowse->click();
        QCOMPARE(ui->txtSnapFolder->text(), snaps);
        ui->cmdOK->click();
    });
    Item("mnuCaptureOptions")->trigger();
    QCOMPARE(QmScript::TakeDialogs().size(), 1);
    // A name with dots inside loses them when the format gives its extension.
    QCOMPARE(Cap()->CaptureFile(), m_folder.filePath(QStringLiteral("myfile.asf")));
    QCOMPARE(Cap()->CaptureFormat(), 1);
    QCOMPARE(CaptureVideoCompressor, QStringLiteral("Uncompressed"));
    QCOMPARE(VideoDeviceName, QStringLiteral("Quillmont Test Pattern"));
    QCOMPARE(moduleCaptureSnap::SnapFolder(), snaps);
    QCOMPARE(QmSettings::GetSetting(QStringLiteral("Capture Snap"), QStringLiteral("Dimension")), QStringLiteral("640 x 480"));
    QCOMPARE(QmSettings::GetSetting(QStringLiteral("Capture Snap"), QStringLiteral("Capture Dimension")), QStringLiteral("0"));
    QCOMPARE(QmSettings::GetSetting(QStringLiteral("Capture Snap"), QStringLiteral("Folder")), snaps);
    QTRY_VERIFY_WITH_TIMEOUT(Cap()->picMainWorkspace()->FramesPresented() > 2, 3000);

    // Kept settings are read back at the next opening of the window.
    moduleCaptureSnap::SetSnapDimension(1, 1);
    moduleCaptureSnap::SetSnapUseCaptureDimension(true);
    Cap()->close();
    Open("only");
    QCOMPARE(moduleCaptureSnap::SnapWidth(), 640);
    QCOMPARE(moduleCaptureSnap::SnapHeight(), 480);
    QVERIFY(!moduleCaptureSnap::SnapUseCaptureDimension());

    // Apply takes the choices and turns OK and Apply off again.
    QmScript::HandleModal([](QDialog& dialog) {
        auto* ui = static_cast<frmCaptureOptions&>(dialog).Controls();
        QCOMPARE(ui->cboSnapDimension->currentText(), QStringLiteral("640 x 480"));
        QVERIFY(ui->optSaveSnapOthDim->isChecked());
        ui->cmbVideoCompressors->setCurrentIndex(0);
        emit ui->cmbVideoCompressors->activated(0);
        QVERIFY(ui->cmdApply->isEnabled());
        ui->cmdApply->click();
        QVERIFY(!ui->cmdOK->isEnabled() && !ui->cmdApply->isEnabled());
        ui->cmdCancel->click();
    });
    Item("mnuCaptureOptions")->trigger();
    QCOMPARE(CaptureVideoCompressor, QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
    moduleCaptureSnap::SetSnapUseCaptureDimension(true);
    moduleCaptureSnap::StoreSnapSettings();
}

void TestCapture::deviceSettingsDialogues()
{
    Open("only");
    // The test pattern has no driver controls: the box, then the preview is rebuilt.
    QmScript::AnswerMessage(QmMsgBox::OK);
    Item("mnuToolsVideoSettings")->trigger();
    QCOMPARE(QmTest::TakeMessageTexts(),
             QStringList{QStringLiteral("Video Settings not available with this Video device driver. Please select another device and try again.")});
    const int shown = Cap()->picMainWorkspace()->FramesPresented();
    QTRY_VERIFY_WITH_TIMEOUT(Cap()->picMainWorkspace()->FramesPresented() > shown + 3, 3000);

    // The toolbar's settings button runs the first available entry: the camera's.
    QmScript::AnswerMessage(QmMsgBox::OK);
    Button("CAPTURE_SETTINGS")->trigger();
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{QStringLiteral("This camera's driver offers no settings.")});

    // The sound format: mono, and the device opens with it.
    QmScript::HandleModal([](QDialog& dialog) {
        auto* channels = dialog.findChild<QComboBox*>(QStringLiteral("cboChannels"));
        channels->setCurrentIndex(0);
        dialog.accept();
    });
    Item("mnuToolsAudioFromats")->trigger();
    int32_t rate = 0;
    int16_t channels = 0;
    Eng<ITWCapture>().GetAudioFormat(rate, channels);
    QCOMPARE(channels, 1);
    QCOMPARE(rate, 48000);
    Eng<ITWCapture>().SetAudioFormat(48000, 2);
}

QM_TEST_MAIN(TestCapture)
#include "test_capture.moc"
