// Saving the timeline through its dialogues, over the real engine and real media: the
// Save Timeline dialogue (rows, range, default name, formats and extensions, the saved
// options read at each opening, browse), the advanced options (compressors and what
// they allow, rates, the dimension boxes, profiles and settings, the descriptive fields),
// the profile list and the properties dialogue, and the run in frmProgressBar: complete
// with the preview and the fields written, cancelled, stopped by the disk rule, refused.
#include "QmProbe.h"
#include "QmTestSupport.h"

#include "core/QmDiskSpace.h"
#include "core/QmDimensionBoxes.h"
#include "core/QmNumbers.h"
#include "core/QmDialogs.h"
#include "core/QmSettings.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/moduleUtilities.h"
#include "engine/ITWProfiles.h"
#include "engine/ITWSave.h"
#include "export/frmAdvancedSaveOptions.h"
#include "export/frmExportTimeline.h"
#include "export/frmProfileProperties.h"
#include "export/frmProgressBar.h"
#include "export/moduleProfiles.h"
#include "media/moduleTarnwick.h"
#include "shell/frmTools.h"
#include "timeline/moduleTimeline.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QTabWidget>
#include <QTimer>
#include <QTreeWidget>

using namespace QmShared;
using QmProbe::Probe;
using QmTest::Find;
using QmTest::Stream;
using QmTest::Tl;
using QmTest::Video;

namespace {

const QString kSaveOptions = QStringLiteral("Save Options");

frmExportTimeline* Export()
{
    return frmExportTimeline::instance();
}

frmAdvancedSaveOptions* Advanced()
{
    return frmAdvancedSaveOptions::instance();
}

template <class Control>
Control* In(QWidget* form, const char* name)
{
    return Find<Control>(form, QString::fromLatin1(name));
}

QStringList Rows()
{
    QStringList rows;
    for (int i = 0; i < Export()->lstSaveStreams()->count(); ++i) {
        const QListWidgetItem* row = Export()->lstSaveStreams()->item(i);
        rows << row->text() + (row->isSelected() ? QStringLiteral("*") : QString());
    }
    return rows;
}

// Selects exactly the rows named, as clicks in the list would leave them.
void SelectRows(const QStringList& names)
{
    QListWidget* list = Export()->lstSaveStreams();
    for (int i = 0; i < list->count(); ++i)
        list->item(i)->setSelected(names.contains(list->item(i)->text()));
}

QStringList ItemsOf(QComboBox* box)
{
    QStringList items;
    for (int i = 0; i < box->count(); ++i)
        items << box->itemText(i);
    return items;
}

// Chooses an entry of a box as the user does.
void Choose(QComboBox* box, const QString& text)
{
    const int index = box->findText(text);
    QVERIFY2(index >= 0, qPrintable(text));
    box->setCurrentIndex(index);
    emit box->activated(index);
}

void Type(QLineEdit* box, const QString& text)
{
    box->selectAll();
    QTest::keyClicks(box, text);
}

QString Status()
{
    return QmTest::Main()->StatusPanel(QStringLiteral("sbr_1"))->text();
}

} // namespace

class TestExport : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void rowsFollowTheTimeline();
    void nameRangeAndFormat();
    void savedOptionsReachTheEngineAtEachOpening();
    void advancedOptionsReadAndWriteTheEngine();
    void dimensionBoxesKeepToTheLimitAndTheLock();
    void windowsMediaProfilesAndTheirProperties();
    void saveRunsToTheEndWithPreviewAndFields();
    void cancelKeepsTheDialogueAndThePartialMovie();
    void diskRuleStopsTheSave();
    void refusalsKeepTheDialogue();
    void rowsChooseTheTracksSaved();
    void renderFromTheCommandLine();

private:
    // The dialogue filled for the timeline as it stands, without showing it.
    void Open();
    void PutLongTimeline();
    // Saves through the dialogue's "&Save" to path; the progress window is handled by
    // handler, or run to its end and closed with "&Done".
    void Save(const QString& path, std::function<void(QDialog&)> handler = {});

    QTemporaryDir m_folder;
    QStringList m_reports;
};

void TestExport::initTestCase()
{
    // Custom profiles come from the user's data folder: the test's own.
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder.filePath(QStringLiteral("data"))));
    QmTest::StartMainWindow(1200, 800);
    // An error that a routine's trap reports is a fault here.
    QmTrap::SetReporter([this](const QString& module, const QString& function, const QmError& error) {
        m_reports << module + u'.' + function + u' ' + error.Description();
    });
}

void TestExport::init()
{
    moduleTimeline::ShowSelSliders(false);
    auto& tl = Tl();
    for (int32_t track : {Video(), QmTest::Audio1(), QmTest::Audio2(), OverlayTrack}) {
        while (tl.RemoveSource(track, 0)) {}
        while (tl.IsVideoTrack(track) && tl.RemoveEffect(track, 0)) {}
        while (tl.IsVideoTrack(track) && tl.RemoveTransition(track, 0)) {}
    }
    moduleTimeline::ReInitLinkLockDisable();
    moduleTarnwick::CloseAllMediaFiles();
    QmSettings::DeleteSetting(kSaveOptions);
    WorkingFolder = m_folder.path();
    QmDiskSpace::SetSource({});
}

void TestExport::cleanup()
{
    QCOMPARE(std::exchange(m_reports, {}), QStringList());
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
    QmScript::TakeOpened();
    QmScript::TakeDialogs();
    if (Export()->isVisible())
        Export()->reject();
}

void TestExport::PutLongTimeline()
{
    // A picture over ten minutes: no save of it ends before its first tick.
    QVERIFY(Tl().AppendSource(Video(), Stream("image.bmp"), 0));
    QVERIFY(Tl().SetSourceTimes(Video(), 0, 0, 600000));
}

void TestExport::Open()
{
    Export()->Form_Load();
}

void TestExport::Save(const QString& path, std::function<void(QDialog&)> handler)
{
    if (!handler)
        handler = [](QDialog& progress) {
            auto* done = In<QPushButton>(&progress, "cmdCancel");
            QTRY_COMPARE_WITH_TIMEOUT(done->text(), QStringLiteral("&Done"), 30000);
            done->click();
        };
    QmScript::HandleModal(std::move(handler));
    Export()->txtSaveFileName()->setText(path);
    In<QPushButton>(Export(), "cmdOK")->click();
}

void TestExport::rowsFollowTheTimeline()
{
    // An empty timeline: no rows, nothing to save.
    Open();
    QCOMPARE(Rows(), QStringList());
    QVERIFY(!In<QPushButton>(Export(), "cmdOK")->isEnabled());
    QVERIFY(!In<QPushButton>(Export(), "cmdAdvanced")->isEnabled());
    Export()->reject();

    // Effects without a source give an effect row alone.
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 0, 1000));
    Open();
    QCOMPARE(Rows(), QStringList{QStringLiteral("Effect*")});
    QCOMPARE(Export()->SaveStreams().Count(), 0);
    Export()->reject();

    // The rows in screen order; a track switched off gives a row not selected.
    QVERIFY(Tl().AppendSource(Video(), Stream("red.avi"), 0));
    QVERIFY(Tl().AppendSource(QmTest::Audio1(), Stream("sine440.wav"), 0));
    QVERIFY(Tl().AppendSource(QmTest::Audio2(), Stream("sine1000.wav"), 0));
    TimelineView::SetRowOption(TimelineView::RowKind::Audio, 1, TimelineView::Option::Disable, true);
    TimelineView::SetRowOption(TimelineView::RowKind::Effect, 0, TimelineView::Option::Disable, true);
    Open();
    QCOMPARE(Rows(), (QStringList{"Video*", "Effect", "Audio 1*", "Audio 2"}));
    QCOMPARE(Export()->SaveStreams().Count(), 3);
    QCOMPARE(Export()->SaveStreams().Item(1), Video());
    QCOMPARE(Export()->SaveStreams().Item(2), QmTest::Audio1());
    QVERIFY(In<QPushButton>(Export(), "cmdOK")->isEnabled());

    // Save and Advanced follow the rows; Save the file name as well.
    SelectRows({});
    QVERIFY(!In<QPushButton>(Export(), "cmdOK")->isEnabled());
    QVERIFY(!In<QPushButton>(Export(), "cmdAdvanced")->isEnabled());
    SelectRows({QStringLiteral("Audio 2")});
    QVERIFY(In<QPushButton>(Export(), "cmdOK")->isEnabled());
    Export()->txtSaveFileName()->setText(QStringLiteral("  "));
    QVERIFY(!In<QPushButton>(Export(), "cmdOK")->isEnabled());
    QVERIFY(In<QPushButton>(Export(), "cmdAdvanced")->isEnabled());
    Export()->reject();
    TimelineView::SetRowOption(TimelineView::RowKind::Audio, 1, TimelineView::Option::Disable, false);
    TimelineView::SetRowOption(TimelineView::RowKind::Effect, 0, TimelineView::Option::Disable, false);
}

void TestExport::nameRangeAndFormat()
{
    QVERIFY(Tl().AppendSource(Video(), Stream("blue.avi"), 0));
    QVERIFY(Tl().AppendSource(OverlayTrack, Stream("red.avi"), 0));
    QVERIFY(Tl().AppendSource(QmTest::Audio1(), Stream("sine440.wav"), 0));
    for (const char* name : {"MyMovie.avi", "MyMovie1.avi"}) {
        QFile file(m_folder.filePath(QLatin1String(name)));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    Open();
    QCOMPARE(Export()->txtSaveFileName()->text(), m_folder.filePath(QStringLiteral("MyMovie2.avi")));
    QCOMPARE(In<QLabel>(Export(), "lblSaveRange")->text(), QStringLiteral("0:00:00.000 - 0:00:04.000"));
    QCOMPARE(In<QLabel>(Export(), "lblFPS")->text(), QStringLiteral("15"));
    QCOMPARE(In<QLabel>(Export(), "lblVideoDim")->text(), QStringLiteral("320 x 240 pixels"));
    Export()->reject();

    // One slider shown: the label shows a part, though the run saves everything.
    TimelineView::SetSelection(1000, 3000, false);
    moduleTimeline::ShowStartSelSlider(true);
    Open();
    QCOMPARE(In<QLabel>(Export(), "lblSaveRange")->text(), QStringLiteral("0:00:01.000 - 0:00:04.000"));

    // Windows Media: the video rows decide between .wmv and .wma; the labels show the
    // video profile's rate and size.
    In<QRadioButton>(Export(), "optWMF")->click();
    QVERIFY(Export()->txtSaveFileName()->text().endsWith(u"MyMovie2.wmv"));
    QCOMPARE(In<QLabel>(Export(), "lblFPS")->text(), QStringLiteral("15"));
    QCOMPARE(In<QLabel>(Export(), "lblVideoDim")->text(), QStringLiteral("240 x 180 pixels"));
    SelectRows({QStringLiteral("Audio 1")});
    QVERIFY(Export()->txtSaveFileName()->text().endsWith(u"MyMovie2.wma"));
    QVERIFY(!Export()->IsVideoApplicable());
    SelectRows({QStringLiteral("Overlay")});
    QVERIFY(Export()->txtSaveFileName()->text().endsWith(u"MyMovie2.wmv"));
    In<QRadioButton>(Export(), "optAVI")->click();
    QVERIFY(Export()->txtSaveFileName()->text().endsWith(u"MyMovie2.avi"));
    // A name without a dot keeps no extension.
    Export()->txtSaveFileName()->setText(m_folder.filePath(QStringLiteral("movie")));
    In<QRadioButton>(Export(), "optWMF")->click();
    QCOMPARE(Export()->txtSaveFileName()->text(), m_folder.filePath(QStringLiteral("movie")));

    // Browse starts with the name, by the format; a cancel changes nothing, quietly.
    const QString chosen = m_folder.filePath(QStringLiteral("chosen.wmv"));
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{chosen, 1}));
    In<QPushButton>(Export(), "cmdBrowse")->click();
    QCOMPARE(Export()->txtSaveFileName()->text(), chosen);
    const QList<QmScript::DialogRequest> asked = QmScript::TakeDialogs();
    QCOMPARE(asked.size(), 1);
    QCOMPARE(asked[0].kind, QStringLiteral("save"));
    QCOMPARE(asked[0].filter, QStringLiteral("WMV File|*.wmv"));
    QCOMPARE(asked[0].flags, QmDialogs::Flag::OverwritePrompt | QmDialogs::Flag::HideReadOnly | QmDialogs::Flag::PathMustExist);
    QmScript::CancelDialog();
    In<QPushButton>(Export(), "cmdBrowse")->click();
    QCOMPARE(Export()->txtSaveFileName()->text(), chosen);
    Export()->reject();
    moduleTimeline::ShowSelSliders(false);
}

void TestExport::savedOptionsReachTheEngineAtEachOpening()
{
    QVERIFY(Tl().AppendSource(Video(), Stream("red.avi"), 0));
    auto& save = Eng<ITWSave>();
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("Video Compressor"), QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("FPS"), QStringLiteral("25"));
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("Quality"), QString()); // blank: the default
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("Video Dimension"), QStringLiteral("640 x 480"));
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("Video Profile"), QStringLiteral("Video for broadband (384 Kbps)"));
    // The audio profile is read from "Save Optoins": what "Save Options" holds is not seen.
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("Audio Profile"), QStringLiteral("Audio for near-CD quality (64 Kbps stereo)"));
    Open();
    QCOMPARE(save.GetFrameRate(), int16_t{25});
    QCOMPARE(save.GetQuality(), int16_t{75});
    QCOMPARE(save.GetKeyFrameRate(), int16_t{15});
    QCOMPARE(save.GetPFrameFrequency(), int16_t{15});
    QCOMPARE(save.GetVideoWidth(), int16_t{640});
    QCOMPARE(save.GetVideoHeight(), int16_t{480});
    QCOMPARE(save.GetVideoProfile(260), QStringLiteral("Video for broadband (384 Kbps)"));
    QCOMPARE(save.GetAudioProfile(260), QStringLiteral("Audio for CD-quality (96 Kbps stereo)"));
    QCOMPARE(Advanced()->VideoCompressorName(), QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
    QCOMPARE(Advanced()->AudioCompressorName(), QStringLiteral("Uncompressed"));
    QCOMPARE(In<QLabel>(Export(), "lblVideoDim")->text(), QStringLiteral("640 x 480 pixels"));
    // What the advanced options changed lasts for this opening only.
    save.SetFrameRate(5);
    Export()->reject();
    Open();
    QCOMPARE(save.GetFrameRate(), int16_t{25});
    Export()->reject();
}

void TestExport::advancedOptionsReadAndWriteTheEngine()
{
    QVERIFY(Tl().AppendSource(Video(), Stream("video640.avi"), 0));
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("Video Compressor"), QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("Quality"), QStringLiteral("60"));
    Open();
    auto& save = Eng<ITWSave>();
    save.SetKeyFrameRate(-1);
    QWidget* form = Advanced();
    Advanced()->Form_Load();
    auto* video = In<QComboBox>(form, "cboVideoCompressor");
    QCOMPARE(ItemsOf(video).last(), QStringLiteral("Uncompressed"));
    QVERIFY(ItemsOf(video).contains(QStringLiteral("Cinepak (cinepak)")));
    QCOMPARE(video->currentText(), QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
    QCOMPARE(In<QComboBox>(form, "cboAudioCompressor")->currentText(), QStringLiteral("Uncompressed"));
    // The engine's values: ticked with their number, or cleared for -1.
    QVERIFY(In<QCheckBox>(form, "chkQuality")->isChecked());
    QCOMPARE(In<QSlider>(form, "sldQuality")->value(), 60);
    QCOMPARE(In<QLabel>(form, "lblQuality")->text(), QStringLiteral("60"));
    QVERIFY(!In<QCheckBox>(form, "chkKeyFrameRate")->isChecked());
    QVERIFY(!In<QSlider>(form, "sldKeyFrameRate")->isEnabled());
    QVERIFY(In<QSlider>(form, "sldQuality")->isEnabled());
    QCOMPARE(In<QTabWidget>(form, "tbsOptions")->currentWidget(), In<QWidget>(form, "fmeAVIOptions"));
    // The sizes of the video track's sources first, then the usual ones, then Custom.
    QCOMPARE(ItemsOf(In<QComboBox>(form, "cboVideoDimension")),
             (QStringList{"640 x 480", "320 x 240", "160 x 120", "720 x 480", "800 x 600", "1024 x 768", "Custom"}));
    QCOMPARE(In<QComboBox>(form, "cboVideoDimension")->currentText(), QStringLiteral("320 x 240"));

    // A compressor without key frames, bidirectional frames or quality greys them out;
    // the choice is in the engine at once, and Cancel does not take it back.
    Choose(video, QStringLiteral("Motion JPEG (mjpeg)"));
    QVERIFY(!In<QCheckBox>(form, "chkKeyFrameRate")->isEnabled());
    QVERIFY(!In<QSlider>(form, "sldPFrameFrequency")->isEnabled());
    QVERIFY(In<QSlider>(form, "sldQuality")->isEnabled());
    Choose(video, QStringLiteral("Uncompressed"));
    QVERIFY(!In<QSlider>(form, "sldQuality")->isEnabled() && !In<QLabel>(form, "lblQuality")->isEnabled());
    In<QPushButton>(form, "cmdCancel")->click();
    save.SetVideoCompressor(QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
    const int32_t mpeg4 = save.GetVideoCompressorIndex();
    save.SetVideoCompressor(QStringLiteral("Uncompressed"));
    QVERIFY(save.GetVideoCompressorIndex() != mpeg4);
    QCOMPARE(Advanced()->VideoCompressorName(), QStringLiteral("MPEG-4 Part 2 (mpeg4)"));

    // OK writes the rates (a cleared box as -1), the size, and keeps names and fields.
    Advanced()->Form_Load();
    Choose(video, QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
    In<QCheckBox>(form, "chkFrameRate")->setChecked(true);
    In<QSlider>(form, "sldFPS")->setValue(20);
    In<QCheckBox>(form, "chkKeyFrameRate")->setChecked(true);
    In<QSlider>(form, "sldKeyFrameRate")->setValue(10);
    In<QCheckBox>(form, "chkQuality")->setChecked(false);
    Choose(In<QComboBox>(form, "cboVideoDimension"), QStringLiteral("160 x 120"));
    In<QLineEdit>(form, "txtTitle")->setText(QStringLiteral("  Harbour  "));
    In<QLineEdit>(form, "txtRating")->setText(QStringLiteral("PG"));
    In<QPushButton>(form, "cmdOK")->click();
    QCOMPARE(save.GetFrameRate(), int16_t{20});
    QCOMPARE(save.GetKeyFrameRate(), int16_t{10});
    QCOMPARE(save.GetQuality(), int16_t{-1});
    QCOMPARE(save.GetVideoWidth(), int16_t{160});
    QCOMPARE(save.GetVideoHeight(), int16_t{120});
    QCOMPARE(Advanced()->GetTitle(), QStringLiteral("Harbour"));
    QCOMPARE(Advanced()->GetRating(), QStringLiteral("PG"));
    QCOMPARE(Advanced()->VideoCompressorName(), QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
    // Reopened, it shows them again; the Save dialogue's labels follow.
    Advanced()->Form_Load();
    QCOMPARE(In<QLineEdit>(form, "txtTitle")->text(), QStringLiteral("Harbour"));
    QCOMPARE(In<QComboBox>(form, "cboVideoDimension")->currentText(), QStringLiteral("160 x 120"));
    QCOMPARE(In<QSlider>(form, "sldFPS")->value(), 20);
    In<QPushButton>(form, "cmdCancel")->click();
    QmScript::HandleModal([](QDialog& dialog) { In<QPushButton>(&dialog, "cmdCancel")->click(); });
    In<QPushButton>(Export(), "cmdAdvanced")->click();
    QCOMPARE(In<QLabel>(Export(), "lblFPS")->text(), QStringLiteral("20"));
    QCOMPARE(In<QLabel>(Export(), "lblVideoDim")->text(), QStringLiteral("160 x 120 pixels"));
    // The help page follows the tab.
    In<QPushButton>(form, "cmdHelp")->click();
    QVERIFY(QmScript::TakeOpened().value(0).endsWith(u"3_5_2_Advanced_Save_Options.htm"));
    In<QTabWidget>(form, "tbsOptions")->setCurrentWidget(In<QWidget>(form, "fmeWMFOptions"));
    In<QPushButton>(form, "cmdHelp")->click();
    QVERIFY(QmScript::TakeOpened().value(0).endsWith(u"3_5_2a_Advanced_Save_Options_WMF.htm"));
    In<QLineEdit>(form, "txtTitle")->clear();
    In<QLineEdit>(form, "txtRating")->clear();
    In<QPushButton>(form, "cmdOK")->click();
    QCOMPARE(Advanced()->GetRating(), QString());
    Export()->reject();
}

void TestExport::dimensionBoxesKeepToTheLimitAndTheLock()
{
    QVERIFY(Tl().AppendSource(Video(), Stream("red.avi"), 0));
    Open();
    QWidget* form = Advanced();
    Advanced()->Form_Load();
    auto* width = In<QLineEdit>(form, "txtWidth");
    auto* height = In<QLineEdit>(form, "txtHeight");
    auto* lock = In<QCheckBox>(form, "chkLockAspectRatio");
    QVERIFY(!width->isEnabled() && !In<QWidget>(form, "fmeCustomPreview")->isEnabled());
    Choose(In<QComboBox>(form, "cboVideoDimension"), QStringLiteral("Custom"));
    QVERIFY(width->isEnabled() && height->isEnabled() && lock->isEnabled());
    QCOMPARE(width->text(), QStringLiteral("320"));

    // 2000 and more, below 0, or no number: the last accepted value comes back. Each
    // key is a change: typed, 2000 goes back to the 200 before it.
    lock->setChecked(false);
    width->setText(QStringLiteral("2000"));
    QCOMPARE(width->text(), QStringLiteral("320"));
    QCOMPARE(width->cursorPosition(), 3);
    Type(width, QStringLiteral("2000"));
    QCOMPARE(width->text(), QStringLiteral("200"));
    Type(width, QStringLiteral("1999"));
    QCOMPARE(width->text(), QStringLiteral("1999"));
    width->setText(QStringLiteral("-5"));
    QCOMPARE(width->text(), QStringLiteral("1999"));
    width->setText(QStringLiteral("wide"));
    QCOMPARE(width->text(), QStringLiteral("1999"));
    QCOMPARE(height->text(), QStringLiteral("240"));

    // The lock is 4:3, written without rounding; the box written does not answer.
    lock->setChecked(true);
    width->setText(QStringLiteral("101"));
    QCOMPARE(height->text(), QStringLiteral("75.75"));
    QCOMPARE(width->text(), QStringLiteral("101"));
    height->setText(QStringLiteral("300"));
    QCOMPARE(width->text(), QStringLiteral("400"));
    QVERIFY(Advanced()->Dimensions().DimensionGuard());
    // The whole number is taken at OK.
    width->setText(QStringLiteral("101"));
    In<QPushButton>(form, "cmdOK")->click();
    QCOMPARE(Eng<ITWSave>().GetVideoWidth(), int16_t{101});
    QCOMPARE(Eng<ITWSave>().GetVideoHeight(), int16_t{76});
    // A size of no entry reopens as the custom one.
    Advanced()->Form_Load();
    QCOMPARE(In<QComboBox>(form, "cboVideoDimension")->currentText(), QStringLiteral("Custom"));
    QCOMPARE(width->text(), QStringLiteral("101"));
    QCOMPARE(height->text(), QStringLiteral("76"));
    In<QPushButton>(form, "cmdCancel")->click();
    Export()->reject();
}

void TestExport::windowsMediaProfilesAndTheirProperties()
{
    // A custom profile with two video streams and sound, and one with sound alone.
    const QString folder = m_folder.filePath(QStringLiteral("data/Quillmont/Profiles"));
    QVERIFY(QDir().mkpath(folder));
    auto write = [&](const char* file, const char* text) {
        QFile profile(folder + u'/' + QLatin1String(file));
        QVERIFY(profile.open(QIODevice::WriteOnly));
        profile.write(text);
    };
    write("two.profile", "[Profile]\nName=Two pictures\n[Stream1]\nType=Video\nBitRate=64000\nWidth=176\nHeight=144\nFps=12\n"
                         "KeyFrameInterval=3\nQuality=40\n[Stream2]\nType=Video\nBitRate=32000\nWidth=128\nHeight=96\nFps=12\n"
                         "[Stream3]\nType=Audio\nBitRate=32000\nSampleRate=22050\nChannels=1\n");
    write("talk.profile", "[Profile]\nName=Talk\n[Stream1]\nType=Audio\nBitRate=48000\nSampleRate=44100\nChannels=2\n");

    moduleProfiles::InitProfiles();
    moduleProfiles::EnumProfiles();
    const int system = Eng<ITWProfiles>().GetSystemProfileCount();
    QCOMPARE(moduleProfiles::ProfileCount(), system + 2);
    QCOMPARE(moduleProfiles::ProfileName(system), QStringLiteral("Talk"));
    QVERIFY(!moduleProfiles::VideoPresent(system));
    QVERIFY(moduleProfiles::VideoPresent(system + 1));
    QCOMPARE(moduleProfiles::GetIndex(QStringLiteral("Two pictures")), system + 1);
    QVERIFY(!moduleProfiles::IsSystemProfile(QStringLiteral("Two pictures")));
    QVERIFY(moduleProfiles::IsSystemProfile(QStringLiteral("Audio for CD-quality (96 Kbps stereo)")));
    // An unknown name: the first entry, not a system profile, index 0.
    QCOMPARE(moduleProfiles::GetIndex(QStringLiteral("Nowhere")), 0);
    QVERIFY(!moduleProfiles::IsSystemProfile(QStringLiteral("Nowhere")));
    QCOMPARE(moduleProfiles::GetSysProfileIndex(QStringLiteral("Nowhere")), int16_t{0});

    // The properties: three streams, two of video; no video tab for sound alone.
    frmProfileProperties* properties = frmProfileProperties::instance();
    properties->SetProfileDetails(0, QStringLiteral("Two pictures"), false);
    properties->Form_Load();
    QCOMPARE(In<QLineEdit>(properties, "txtTotalStreams")->text(), QStringLiteral("3 (2 Video and 1 Audio Stream)"));
    auto* details = In<QTreeWidget>(properties, "lvwStreamDetails");
    QCOMPARE(details->topLevelItemCount(), 2);
    QCOMPARE(details->topLevelItem(0)->text(2), QStringLiteral("64 Kbps"));
    QCOMPARE(details->topLevelItem(0)->text(3), QStringLiteral("12 fps"));
    QCOMPARE(details->topLevelItem(0)->text(4), QStringLiteral("3 seconds"));
    QCOMPARE(details->topLevelItem(1)->text(0), QStringLiteral("2"));
    QCOMPARE(In<QLineEdit>(properties, "txtVideoDimension")->text(), QStringLiteral("128 x 96 pixels"));
    QCOMPARE(In<QLineEdit>(properties, "txtAudioFormat")->text(), QStringLiteral("22.05 KHz, Mono"));
    auto* tabs = In<QTabWidget>(properties, "tbs");
    QCOMPARE(tabs->count(), 3);
    properties->SetProfileDetails(moduleProfiles::GetSysProfileIndex(QStringLiteral("Audio for CD-quality (96 Kbps stereo)")),
                                  QString(), true);
    properties->Form_Load();
    QCOMPARE(In<QLineEdit>(properties, "txtProfileName")->text(), QStringLiteral("Audio for CD-quality (96 Kbps stereo)"));
    QCOMPARE(In<QLineEdit>(properties, "txtTotalStreams")->text(), QStringLiteral("1"));
    QCOMPARE(In<QLineEdit>(properties, "txtAudioFormat")->text(), QStringLiteral("44.1 KHz, Stereo"));
    QCOMPARE(tabs->count(), 2);
    QCOMPARE(tabs->indexOf(In<QWidget>(properties, "fmeVideoProperties")), -1);
    moduleProfiles::UnInitProfiles();
    QCOMPARE(moduleProfiles::ProfileCount(), 0);

    // The advanced options: the profiles with video for a movie with video, the setting
    // of the profile in force, and the name shown in place of the list.
    QVERIFY(Tl().AppendSource(Video(), Stream("red.avi"), 0));
    Open();
    In<QRadioButton>(Export(), "optWMF")->click();
    QWidget* form = Advanced();
    Advanced()->Form_Load();
    QCOMPARE(In<QTabWidget>(form, "tbsOptions")->currentWidget(), In<QWidget>(form, "fmeWMFOptions"));
    auto* profile = In<QComboBox>(form, "cboProfile");
    auto* setting = In<QComboBox>(form, "cboSetting");
    QCOMPARE(ItemsOf(setting), (QStringList{"Low Quality", "Medium Quality (Recommended)", "High Quality", "Other..."}));
    QVERIFY(ItemsOf(profile).contains(QStringLiteral("Two pictures")));
    QVERIFY(!ItemsOf(profile).contains(QStringLiteral("Talk")));
    QCOMPARE(setting->currentIndex(), 1);
    QCOMPARE(profile->currentText(), QStringLiteral("Video for dial-up modems or LAN (28.8 to 100 Kbps)"));
    QVERIFY(profile->isHidden() && !In<QLineEdit>(form, "txtProfile")->isHidden());
    QCOMPARE(In<QLineEdit>(form, "txtProfile")->text(), profile->currentText());
    QCOMPARE(In<QLineEdit>(form, "txtDimension")->text(), QStringLiteral("240 x 180 pixels"));
    QCOMPARE(In<QLineEdit>(form, "txtFrameRate")->text(), QStringLiteral("15 frames per second"));
    QCOMPARE(In<QLineEdit>(form, "txtFrequency")->text(), QStringLiteral("22.05 KHz"));
    setting->setCurrentIndex(2);
    QCOMPARE(profile->currentText(), QStringLiteral("Video for e-mail and dual-channel ISDN (128 Kbps)"));
    setting->setCurrentIndex(3);
    QVERIFY(!profile->isHidden() && In<QLineEdit>(form, "txtProfile")->isHidden());
    profile->setCurrentIndex(profile->findText(QStringLiteral("Two pictures")));
    QCOMPARE(In<QLineEdit>(form, "txtDimension")->text(), QStringLiteral("128 x 96 pixels"));
    QmScript::HandleModal([](QDialog& dialog) {
        QCOMPARE(In<QLineEdit>(&dialog, "txtProfileName")->text(), QStringLiteral("Two pictures"));
        In<QPushButton>(&dialog, "cmdCancel")->click();
    });
    In<QPushButton>(form, "cmdProperties")->click();
    In<QPushButton>(form, "cmdOK")->click();
    QCOMPARE(Eng<ITWSave>().GetVideoProfile(260), QStringLiteral("Two pictures"));
    Export()->reject();
    // Sound alone offers the audio profiles.
    Tl().RemoveSource(Video(), 0);
    QVERIFY(Tl().AppendSource(QmTest::Audio1(), Stream("sine440.wav"), 0));
    Open();
    In<QRadioButton>(Export(), "optWMF")->click();
    Advanced()->Form_Load();
    QVERIFY(ItemsOf(profile).contains(QStringLiteral("Talk")));
    QCOMPARE(profile->currentText(), QStringLiteral("Audio for CD-quality (96 Kbps stereo)"));
    In<QPushButton>(form, "cmdCancel")->click();
    Export()->reject();
    QFile::remove(folder + QStringLiteral("/two.profile"));
    QFile::remove(folder + QStringLiteral("/talk.profile"));
}

void TestExport::saveRunsToTheEndWithPreviewAndFields()
{
    // Red, a tone; the Save dialogue opened from the menu, the effect row left out.
    QVERIFY(Tl().AppendSource(Video(), Stream("redgreen.avi"), 0));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Fade"), 0, 2000));
    QVERIFY(Tl().AppendSource(QmTest::Audio1(), Stream("sine440.wav"), 0));
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("Video Compressor"), QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
    QmTest::Main()->EnableOrDisableMenuItems();
    const QString path = m_folder.filePath(QStringLiteral("whole.avi"));
    QString lastProgress;
    QmScript::HandleModal([&](QDialog& dialog) {
        QCOMPARE(dialog.objectName(), QStringLiteral("frmExportTimeline"));
        // Descriptive fields, the rating blank.
        QWidget* form = Advanced();
        Advanced()->Form_Load();
        In<QLineEdit>(form, "txtTitle")->setText(QStringLiteral("Harbour"));
        In<QLineEdit>(form, "txtAuthor")->setText(QStringLiteral("R. Okafor"));
        In<QLineEdit>(form, "txtCopyright")->setText(QStringLiteral("(c) 2024"));
        In<QLineEdit>(form, "txtDescription")->setText(QStringLiteral("Boats"));
        In<QPushButton>(form, "cmdOK")->click();
        SelectRows({QStringLiteral("Video"), QStringLiteral("Audio 1")});
        Save(path, [&](QDialog& progress) {
            QCOMPARE(progress.windowTitle(), QStringLiteral("Saving Timeline"));
            auto* done = In<QPushButton>(&progress, "cmdCancel");
            QCOMPARE(done->text(), QStringLiteral("&Cancel"));
            QVERIFY(frmProgressBar::instance()->tmSave()->isActive());
            QCOMPARE(frmProgressBar::instance()->SaveLength(), 2000);
            QTRY_COMPARE_WITH_TIMEOUT(done->text(), QStringLiteral("&Done"), 30000);
            QCOMPARE(In<QLabel>(&progress, "lblFramesSaved")->text(), QStringLiteral("Save Complete"));
            QCOMPARE(In<QLabel>(&progress, "lblComplete")->text(), QString());
            QCOMPARE(In<QProgressBar>(&progress, "pbr")->value(), 100);
            QVERIFY(!frmProgressBar::instance()->tmSave()->isActive());
            lastProgress = In<QLabel>(&progress, "lblFramesSaved")->text();
            done->click();
        });
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
    });
    QmTest::Main()->Item(QStringLiteral("mnuFileExportTimeline"))->trigger();
    QCOMPARE(lastProgress, QStringLiteral("Save Complete"));
    // Previewed when done, by the desktop.
    QCOMPARE(QmScript::TakeOpened(), QList<QString>{path});
    Probe probe(path);
    QCOMPARE(probe.video.value("codec_name").toString(), QStringLiteral("mpeg4"));
    QCOMPARE(probe.Frames(), 30);
    QCOMPARE(probe.audio.value("codec_name").toString(), QStringLiteral("pcm_s16le"));
    QCOMPARE(probe.Tag("title"), QStringLiteral("Harbour"));
    QCOMPARE(probe.Tag("artist"), QStringLiteral("R. Okafor"));
    QCOMPARE(probe.Tag("copyright"), QStringLiteral("(c) 2024"));
    QCOMPARE(probe.Tag("comment"), QStringLiteral("Boats"));
    QVERIFY2(!probe.format.value("tags").toObject().contains(QStringLiteral("IRTD")),
             qPrintable(QJsonDocument(probe.format.value("tags").toObject()).toJson()));
    // The effect row was not chosen: no fade at the start.
    QVERIFY(qRed(QmProbe::Decoded(path, 0.0, {320, 240}).pixel(160, 120)) > 200);

    // A range between both sliders, Windows Media, the box cleared: no preview.
    TimelineView::SetSelection(500, 1500, true);
    const QString wmv = m_folder.filePath(QStringLiteral("range.wmv"));
    QmScript::HandleModal([&](QDialog&) {
        In<QRadioButton>(Export(), "optWMF")->click();
        Save(wmv, [](QDialog& progress) {
            In<QCheckBox>(&progress, "chkPreviewWhenDone")->click();
            QVERIFY(!Export()->PreviewWhenDone());
            auto* done = In<QPushButton>(&progress, "cmdCancel");
            QTRY_COMPARE_WITH_TIMEOUT(done->text(), QStringLiteral("&Done"), 30000);
            done->click();
        });
    });
    frmExportTimeline::ShowSaveTimeline();
    QCOMPARE(QmScript::TakeOpened(), QList<QString>());
    Probe range(wmv);
    QCOMPARE(range.format.value("format_name").toString(), QStringLiteral("asf"));
    QCOMPARE(range.video.value("width").toInt(), int(ProjectWidth));
    QVERIFY2(std::fabs(range.Duration() - 1.0) <= 0.07, qPrintable(QString::number(range.Duration())));
    moduleTimeline::ShowSelSliders(false);
    Open();
    for (const char* field : {"txtTitle", "txtAuthor", "txtCopyright", "txtDescription"})
        In<QLineEdit>(Advanced(), field)->clear();
    In<QPushButton>(Advanced(), "cmdOK")->click();
    Export()->reject();
}

void TestExport::cancelKeepsTheDialogueAndThePartialMovie()
{
    PutLongTimeline();
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("Video Dimension"), QStringLiteral("160 x 120"));
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("FPS"), QStringLiteral("25"));
    Open();
    const QString path = m_folder.filePath(QStringLiteral("cancelled.avi"));
    int32_t saved = 0;
    Save(path, [&](QDialog& progress) {
        // The bar follows the engine's position; the percentage shows the bar as it
        // stood before the tick, one tick behind.
        auto* bar = In<QProgressBar>(&progress, "pbr");
        QTRY_VERIFY_WITH_TIMEOUT(bar->value() >= 2, 30000);
        const int value = bar->value();
        QCOMPARE(value, QmNumbers::CLng(frmProgressBar::instance()->SavedSoFar() * 100.0 / 600000));
        auto* label = In<QLabel>(&progress, "lblFramesSaved");
        const QString before = label->text();
        QVERIFY(before.startsWith(u"Saved: 0:0") && before.endsWith(u" of 0:10:00"));
        QTRY_VERIFY(label->text() != before);
        QCOMPARE(In<QLabel>(&progress, "lblComplete")->text(), QString::number(value) + QStringLiteral("% complete"));
        In<QPushButton>(&progress, "cmdCancel")->click();
        QVERIFY(!frmProgressBar::instance()->tmSave()->isActive());
        saved = Eng<ITWSave>().GetSaveState();
    });
    QCOMPARE(saved, int32_t{ITWSave::Stopped});
    // The Save dialogue stays, with its name; the partial movie stays, and is said to.
    QVERIFY(Export()->SaveCancelled());
    QCOMPARE(Export()->txtSaveFileName()->text(), path);
    QCOMPARE(QmScript::TakeOpened(), QList<QString>());
    QVERIFY2(Status().startsWith(u"Save cancelled. The first 0:0") && Status().endsWith(QStringLiteral(" of the movie stay in ") + path + u'.'),
             qPrintable(Status()));
    const Probe partial(path);
    QVERIFY(partial.Frames() > 0 && partial.Frames() < 15000);
    QByteArray errors;
    QVERIFY2(QmProbe::Plays(path, &errors), errors.constData());
    Export()->reject();
}

void TestExport::diskRuleStopsTheSave()
{
    PutLongTimeline();
    const QString path = m_folder.filePath(QStringLiteral("full.avi"));
    QString askedFor;
    auto abortedAtOnce = [&](int64_t free) {
        QmDiskSpace::SetSource([&, free](const QString& file) {
            askedFor = file;
            return free;
        });
        Open();
        Save(path, [&](QDialog& progress) {
            auto* done = In<QPushButton>(&progress, "cmdCancel");
            QTRY_COMPARE_WITH_TIMEOUT(done->text(), QStringLiteral("&Done"), 5000);
            QCOMPARE(In<QLabel>(&progress, "lblFramesSaved")->text(), QStringLiteral("Save Aborted"));
            QVERIFY(!frmProgressBar::instance()->tmSave()->isActive());
            const QList<QmScript::ShownMessage> shown = QmScript::TakeMessages();
            QCOMPARE(shown.size(), 1);
            QCOMPARE(shown[0].text, QStringLiteral("Insufficient disk space."));
            QCOMPARE(shown[0].icon, QmMsgBox::Icon::Critical);
            QVERIFY2(Status().startsWith(u"Save aborted. The first "), qPrintable(Status()));
            done->click();
        });
        QmScript::TakeOpened();
        QCOMPARE(askedFor, path);
        QVERIFY(QFile::exists(path)); // the partial movie stays
    };
    // Exactly 5 MiB free stops the save at the first tick; a volume that cannot be asked too.
    abortedAtOnce(5242880);
    abortedAtOnce(0);
    // One byte more lets it run.
    QmDiskSpace::SetSource([](const QString&) { return int64_t{5242881}; });
    QVERIFY(Tl().SetSourceTimes(Video(), 0, 0, 2000));
    Open();
    Save(path);
    QVERIFY(!Export()->SaveCancelled());
    QCOMPARE(Probe(path).Frames(), 2 * 15);
    QmScript::TakeOpened();
}

void TestExport::refusalsKeepTheDialogue()
{
    QVERIFY(Tl().AppendSource(Video(), Stream("red.avi"), 0));
    // A file of the media list is not written over.
    moduleTarnwick::OpenResentFile(QmTest::Fixture(QStringLiteral("video.avi")));
    Open();
    Export()->txtSaveFileName()->setText(QmTest::Fixture(QStringLiteral("video.avi")));
    In<QPushButton>(Export(), "cmdOK")->click();
    QCOMPARE(QmTest::TakeMessageTexts(),
             QStringList{QStringLiteral("Unable to save to file \"") + QmTest::Fixture(QStringLiteral("video.avi"))
                         + QStringLiteral("\" as it is being used by Quillmont. Please specify another filename.")});
    QVERIFY(Export()->txtSaveFileName()->text().endsWith(u"video.avi"));
    Export()->reject();

    // A compressor that refuses the size: said, nothing written, the dialogue stays.
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("Video Compressor"), QStringLiteral("DV (dvvideo)"));
    Open();
    const QString path = m_folder.filePath(QStringLiteral("refused.avi"));
    Export()->txtSaveFileName()->setText(path);
    In<QPushButton>(Export(), "cmdOK")->click();
    QCOMPARE(QmTest::TakeMessageTexts(),
             QStringList{QStringLiteral("Error Saving Timeline. Please select a different compressor and try again.")});
    QVERIFY(Export()->SaveCancelled());
    QVERIFY(!QFile::exists(path));
    // And a profile the engine does not know.
    Eng<ITWSave>().SetVideoProfile(QStringLiteral("No such profile"));
    In<QRadioButton>(Export(), "optWMF")->click();
    QCOMPARE(In<QLabel>(Export(), "lblFPS")->text(), QStringLiteral("-"));
    QCOMPARE(In<QLabel>(Export(), "lblVideoDim")->text(), QStringLiteral("-"));
    In<QPushButton>(Export(), "cmdOK")->click();
    QCOMPARE(QmTest::TakeMessageTexts(),
             QStringList{QStringLiteral("Error Saving Timeline. Please select a different profile and try again.")});
    QVERIFY(Export()->SaveCancelled());
    Export()->reject();

    // The tools panel's entry opens the dialogue too.
    QString opened;
    QmScript::HandleModal([&](QDialog& dialog) {
        opened = dialog.objectName();
        In<QPushButton>(&dialog, "cmdCancel")->click();
    });
    QmTest::Main()->OnActionsClick(QStringLiteral("Save Timeline..."));
    QCOMPARE(opened, QStringLiteral("frmExportTimeline"));
}

void TestExport::rowsChooseTheTracksSaved()
{
    // A row not chosen before one chosen: each row keeps its own track.
    QVERIFY(Tl().AppendSource(Video(), Stream("red.avi"), 0));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Fade"), 0, 2000));
    QVERIFY(Tl().AppendSource(QmTest::Audio1(), Stream("sine440.wav"), 0));
    Open();
    QCOMPARE(Rows(), (QStringList{"Video*", "Effect*", "Audio 1*"}));
    SelectRows({QStringLiteral("Effect"), QStringLiteral("Audio 1")});
    const QString path = m_folder.filePath(QStringLiteral("sound.avi"));
    Save(path);
    QmScript::TakeOpened();
    const Probe probe(path);
    QVERIFY(probe.video.isEmpty());
    QCOMPARE(probe.audio.value("codec_name").toString(), QStringLiteral("pcm_s16le"));
}


namespace {

struct Rendered
{
    int code = -1;
    QString said;
};

Rendered Render(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral(QM_QUILLMONT_EXE), QStringList{QStringLiteral("--render")} + arguments);
    process.waitForFinished(120000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromLocal8Bit(process.readAllStandardError())};
}

// The mean difference of two pictures' channels, 255 for pictures of other sizes.
double Difference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size() || a.isNull())
        return 255.0;
    double sum = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            sum += std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) + std::abs(qBlue(p) - qBlue(q));
        }
    return sum / (3.0 * a.width() * a.height());
}

} // namespace

void TestExport::renderFromTheCommandLine()
{
    // A saved project: pictures with a fade and a tone, saved as MPEG-4 by the options.
    QVERIFY(Tl().AppendSource(Video(), Stream("redgreen.avi"), 0));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Fade"), 0, 2000));
    QVERIFY(Tl().AppendSource(QmTest::Audio1(), Stream("sine440.wav"), 0));
    QmSettings::SaveSetting(kSaveOptions, QStringLiteral("Video Compressor"), QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
    const QString project = m_folder.filePath(QStringLiteral("render.qpj"));
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{project, 1}));
    QmTest::Main()->RunCommand(QStringLiteral("mnuFileSaveProject"));
    QVERIFY(QFile::exists(project));

    // The same timeline saved by the dialogue, every row chosen.
    const QString byDialogue = m_folder.filePath(QStringLiteral("dialogue.avi"));
    Open();
    SelectRows({QStringLiteral("Video"), QStringLiteral("Effect"), QStringLiteral("Audio 1")});
    Save(byDialogue);
    QVERIFY(QFile::exists(byDialogue));

    // The render gives the movie the dialogue gave, and says so.
    const QString movie = m_folder.filePath(QStringLiteral("rendered.avi"));
    Rendered run = Render({project, movie});
    QVERIFY2(run.code == 0, qPrintable(run.said));
    QVERIFY2(run.said.contains(QStringLiteral("Rendering")) && run.said.contains(QStringLiteral("Saved \"") + movie),
             qPrintable(run.said));
    Probe probe(movie);
    QCOMPARE(probe.video.value("codec_name").toString(), QStringLiteral("mpeg4"));
    QCOMPARE(probe.audio.value("codec_name").toString(), QStringLiteral("pcm_s16le"));
    QCOMPARE(probe.Frames(), Probe(byDialogue).Frames());
    const QList<QImage> ours = QmProbe::DecodedFrames(movie, {320, 240});
    const QList<QImage> theirs = QmProbe::DecodedFrames(byDialogue, {320, 240});
    QCOMPARE(ours.size(), theirs.size());
    QVERIFY(!ours.isEmpty());
    for (qsizetype i = 0; i < ours.size(); ++i)
        QVERIFY2(Difference(ours[i], theirs[i]) < 1.0, qPrintable(QStringLiteral("frame %1").arg(i)));
    // The fade holds: the first picture is near black, the red one past the fade in full.
    QVERIFY(qRed(ours.first().pixel(160, 120)) < 40);
    QVERIFY(qRed(ours[ours.size() * 3 / 8].pixel(160, 120)) > 200);

    // Windows Media by a profile named on the command line.
    const QString wmv = m_folder.filePath(QStringLiteral("rendered.wmv"));
    run = Render({project, wmv, QStringLiteral("--profile"),
                  QStringLiteral("Video for dial-up modems or LAN (28.8 to 100 Kbps)")});
    QVERIFY2(run.code == 0, qPrintable(run.said));
    QCOMPARE(Probe(wmv).format.value("format_name").toString(), QStringLiteral("asf"));

    // What cannot start ends 2 with the reason, and leaves no file.
    const QString none = m_folder.filePath(QStringLiteral("none.avi"));
    const struct
    {
        QStringList arguments;
        QString reason;
    } refusals[] = {
        {{m_folder.filePath(QStringLiteral("absent.qpj")), none}, QStringLiteral("is not there")},
        {{byDialogue, none}, QStringLiteral("is not a Quillmont project")},
        {{project, m_folder.filePath(QStringLiteral("movie.mov"))}, QStringLiteral("saves movies as .avi")},
        {{project, wmv, QStringLiteral("--profile"), QStringLiteral("No such profile")}, QStringLiteral("no profile named")},
        {{project}, QStringLiteral("usage:")},
    };
    for (const auto& refusal : refusals) {
        run = Render(refusal.arguments);
        QCOMPARE(run.code, 2);
        QVERIFY2(run.said.contains(refusal.reason), qPrintable(run.said));
        QVERIFY(!QFile::exists(none));
    }
    // A media file gone: the project cannot open.
    QFile text(project);
    QVERIFY(text.open(QIODevice::ReadOnly));
    QByteArray document = text.readAll();
    text.close();
    document.replace("redgreen.avi", "moved-away.avi");
    const QString moved = m_folder.filePath(QStringLiteral("moved.qpj"));
    QFile out(moved);
    QVERIFY(out.open(QIODevice::WriteOnly));
    out.write(document);
    out.close();
    run = Render({moved, none});
    QCOMPARE(run.code, 2);
    QVERIFY2(run.said.contains(QStringLiteral("missing")), qPrintable(run.said));

    // Interrupted, a render ends 130 and keeps the movie as far as it came.
    init();
    PutLongTimeline();
    const QString longProject = m_folder.filePath(QStringLiteral("long.qpj"));
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{longProject, 1}));
    QmTest::Main()->RunCommand(QStringLiteral("mnuFileSaveProjectAs"));
    QVERIFY(QFile::exists(longProject));
    const QString stopped = m_folder.filePath(QStringLiteral("stopped.avi"));
    QProcess process;
    process.start(QStringLiteral(QM_QUILLMONT_EXE), {QStringLiteral("--render"), longProject, stopped});
    QByteArray said;
    QTRY_VERIFY_WITH_TIMEOUT((said += process.readAllStandardError()).contains("Rendering"), 30000);
    process.terminate();
    QVERIFY(process.waitForFinished(10000));
    said += process.readAllStandardError();
    QCOMPARE(process.exitCode(), 130);
    QVERIFY2(said.contains("Stopped"), said.constData());
    QVERIFY(Probe(stopped).Duration() > 0.0);
}

QM_TEST_MAIN(TestExport)
#include "test_export.moc"
