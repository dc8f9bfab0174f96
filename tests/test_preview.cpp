// The preview panel over the real engine and real media: the player built, refreshed,
// rebuilt and closed as the timeline changes; the transport and its states, the timer,
// play over a selection, loop, rewind and forward; the seek bar and the timeline's
// slider in step; keys, hints and the tools panel's actions; the volume and its popup.
#include "QmTestSupport.h"

#include "core/QmDialogs.h"
#include "core/QmListView.h"
#include "core/QmPicture.h"
#include "core/QmScript.h"
#include "core/QmSettings.h"
#include "core/QmShared.h"
#include "core/QmVideoSurface.h"
#include "core/moduleUtilities.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWFilePreview.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWPreview.h"
#include "engine/ITWTimeline.h"
#include "engine/tarnwick/TarnwickFilePreview.h"
#include "engine/tarnwick/TarnwickPreview.h"
#include "editing/moduleEdit.h"
#include "history/ModuleHistory.h"
#include "media/frmMediaList.h"
#include "media/moduleTarnwick.h"
#include "timeline/moduleScaleRenderer.h"
#include "preview/ModuleTWPreview.h"
#include "preview/frmPreview.h"
#include "shell/frmTools.h"
#include "shell/mdiTarnwick.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleTimeline.h"
#include "tools/frmVolume.h"

#include <QLabel>
#include <QScrollBar>
#include <QSlider>
#include <QTimer>
#include <QToolButton>

using namespace QmShared;
using namespace ModuleTWPreview;
using QmTest::Stream;
using QmTest::Tl;

namespace {

ITWPreview& Player()
{
    return Eng<ITWPreview>();
}

frmPreview* Form()
{
    return frmPreview::instance();
}

QSlider* Bar()
{
    return Form()->sldSeekBar;
}

QString Status(const char* key = "sbr_1")
{
    return mdiTarnwick::instance()->StatusPanel(QLatin1String(key))->text();
}

bool Near(QRgb pixel, int r, int g, int b, int tolerance = 60)
{
    return std::abs(qRed(pixel) - r) <= tolerance && std::abs(qGreen(pixel) - g) <= tolerance
           && std::abs(qBlue(pixel) - b) <= tolerance;
}

// The middle of the picture last shown on picDisplay.
QRgb Shown()
{
    const QImage frame = Form()->picDisplay->Frame();
    return frame.isNull() ? qRgb(1, 2, 3) : frame.pixel(frame.width() / 2, frame.height() / 2);
}

int32_t EngineVolume()
{
    return dynamic_cast<TarnwickPreview&>(Player()).VolumeLevel();
}

int32_t FilePreviewVolume()
{
    return dynamic_cast<TarnwickFilePreview&>(Eng<ITWFilePreview>()).VolumeLevel();
}

} // namespace

class TestPreview : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void playerFollowsTheTimeline();
    void changedFrameSizeRebuildsWithAMessage();
    void playPauseStopAndTheTimer();
    void playOverTheSelectionStopsAtItsEnd();
    void loopStartsAgainAtOnce();
    void rewindAndForwardByATwentieth();
    void timelineSliderAndSeekBarInStep();
    void keysHintsAndActions();
    void commandsAndTheTimelineReachThePlayer();
    void volumeRulesAndItsPopup();

private:
    int32_t m_redGreen = 0, m_blue = 0, m_red = 0, m_sine = 0;
    void Lay(int32_t track, int32_t stream, int32_t start = -1);
};

void TestPreview::initTestCase()
{
    qputenv("SDL_AUDIODRIVER", "dummy");
    Engine = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    QVERIFY(moduleTarnwick::Init());
    mdiTarnwick::instance()->Load();
    mdiTarnwick::instance()->resize(1000, 700);
    mdiTarnwick::instance()->show();
    m_redGreen = Stream("redgreen.avi"); // red for a second, then green; 2 s
    m_blue = Stream("blue.avi");         // 4 s
    m_red = Stream("red.avi");           // 2 s
    m_sine = Stream("sine440.wav");
    QVERIFY(m_redGreen && m_blue && m_red && m_sine);
}

void TestPreview::Lay(int32_t track, int32_t stream, int32_t start)
{
    QVERIFY(Tl().AppendSource(track, stream, start));
}

void TestPreview::init()
{
    OnCmdStopClick();
    moduleTimeline::ShowSelSliders(false);
    Form()->cmdRepeat->setChecked(false);
    ModuleHistory::EmptyTimeline();
    Tl().SetFrameSize(320, 240);
    UpdatePreview();
    moduleTimeline::SetSliderPosition(0, true);
    PreviewState = 0;
    QmTest::TakeMessageTexts();
}

void TestPreview::playerFollowsTheTimeline()
{
    // Empty: no player, a bar of 10, no length.
    QVERIFY(!PreviewBuilt);
    QCOMPARE(Bar()->maximum(), 10);
    QCOMPARE(Form()->lblDuration->text(), QStringLiteral("0:00:00.000"));

    // The first source builds the player, which shows its first frame.
    Lay(TrackCollection.Item(1), m_redGreen);
    UpdatePreview();
    QVERIFY(PreviewBuilt);
    QCOMPARE(Bar()->maximum(), 2000);
    QCOMPARE(Form()->lblDuration->text(), QStringLiteral("0:00:02.000"));
    QCOMPARE(Status("DURATION"), QStringLiteral("0:00:02.000"));
    QTRY_VERIFY(Near(Shown(), 255, 0, 0));

    // An edit is taken in where the player stands, in its paused state.
    moduleTimeline::SetSliderPosition(1500, false);
    OnSliderMove();
    QCOMPARE(PreviewState, int16_t{2});
    QCOMPARE(Player().GetPosition(), 1520); // the frame nearest 1500 ms
    QTRY_VERIFY(Near(Shown(), 0, 128, 0));
    QVERIFY(Tl().InsertSource(TrackCollection.Item(1), m_blue, 1, 1000, 0));
    QVERIFY(Tl().SetSourceTimes(TrackCollection.Item(1), 1, 1000, 2500));
    QVERIFY(Tl().SetSourceMediaTimes(TrackCollection.Item(1), 1, 0, 1500));
    UpdatePreview();
    QCOMPARE(PreviewState, int16_t{2});
    QCOMPARE(Bar()->maximum(), 2500);
    QCOMPARE(Player().GetPosition(), 1520);
    QTRY_VERIFY2(Near(Shown(), 0, 0, 255), "the later source covers the earlier");

    // Sound alone keeps a player; an emptied timeline closes it and clears the picture.
    ModuleHistory::EmptyTimeline();
    Lay(TrackCollection.Item(2), m_sine);
    UpdatePreview();
    QVERIFY(PreviewBuilt);
    QVERIFY(Player().IsPreviewValid());
    ModuleHistory::EmptyTimeline();
    UpdatePreview();
    QVERIFY(!PreviewBuilt);
    QVERIFY(!Player().IsPreviewValid());
    QCOMPARE(Bar()->maximum(), 10);
    QVERIFY(Form()->picDisplay->Frame().isNull());
    QCOMPARE(PreviewState, int16_t{0}); // stopped by the empty length
    QCOMPARE(Form()->lblDuration->text(), QStringLiteral("0:00:00.000"));
}

void TestPreview::changedFrameSizeRebuildsWithAMessage()
{
    Lay(TrackCollection.Item(1), m_red);
    UpdatePreview();
    QTRY_COMPARE(Form()->picDisplay->Frame().size(), QSize(320, 240));
    QmStatus::Show(QString());
    Tl().SetFrameSize(640, 480);
    UpdatePreview();
    QCOMPARE(Status(), QStringLiteral("Preview update failed. Rebuilt Preview."));
    QVERIFY(PreviewBuilt);
    QTRY_COMPARE(Form()->picDisplay->Frame().size(), QSize(640, 480));
    // The same size again is a plain refresh, without the message.
    QmStatus::Show(QString());
    UpdatePreview();
    QCOMPARE(Status(), QString());
}

void TestPreview::playPauseStopAndTheTimer()
{
    // Nothing to play: the button does nothing.
    Form()->cmdPlay->click();
    QCOMPARE(PreviewState, int16_t{0});
    QVERIFY(!Form()->tm->isActive());

    Lay(TrackCollection.Item(1), m_redGreen);
    Lay(TrackCollection.Item(2), m_sine);
    UpdatePreview();
    Form()->cmdPlay->click();
    QCOMPARE(PreviewState, int16_t{1});
    QVERIFY(Form()->tm->isActive());
    QCOMPARE(Form()->tm->interval(), 250);
    // The timer carries the position to the bar and the timeline's slider.
    QTRY_VERIFY_WITH_TIMEOUT(Bar()->value() > 400, 3000);
    QCOMPARE(SliderPosition, Bar()->value());
    QCOMPARE(Form()->lblCurrentTime->text(), moduleUtilities::MilliSecondsToTimetypeAsString(Bar()->value()));

    Form()->cmdPause->click();
    QCOMPARE(PreviewState, int16_t{2});
    QVERIFY(!Form()->tm->isActive());
    const int32_t paused = Player().GetPosition();
    QTest::qWait(300);
    QVERIFY(std::abs(Player().GetPosition() - paused) <= 40);

    // Stop: back to the start, the slider with it.
    Form()->cmdStop->click();
    QCOMPARE(PreviewState, int16_t{0});
    QCOMPARE(Bar()->value(), 0);
    QCOMPARE(SliderPosition, 0);
    QCOMPARE(Player().GetPosition(), 0);
    // A second stop changes nothing.
    moduleTimeline::SetSliderPosition(700, false);
    Form()->cmdStop->click();
    QCOMPARE(SliderPosition, 700);

    // Played to the end, it stops by itself at the start.
    moduleTimeline::SetSliderPosition(1500, false);
    OnSliderMove();
    Form()->cmdPlay->click();
    QTRY_COMPARE_WITH_TIMEOUT(PreviewState, int16_t{0}, 3000);
    QCOMPARE(Bar()->value(), 0);
    QCOMPARE(SliderPosition, 0);
    QVERIFY(!Form()->tm->isActive());
}

void TestPreview::playOverTheSelectionStopsAtItsEnd()
{
    Lay(TrackCollection.Item(1), m_redGreen);
    Lay(TrackCollection.Item(1), m_blue);
    UpdatePreview();
    QCOMPARE(Bar()->maximum(), 6000);
    moduleTimeline::SetSelSliderPosition(2000, true);
    moduleTimeline::SetSelSliderPosition(2600, false);
    moduleTimeline::ShowSelSliders(true);
    const int32_t start = moduleTimeline::GetSelSliderPosition(true);
    const int32_t end = moduleTimeline::GetSelSliderPosition(false);
    QVERIFY(std::abs(start - 2000) < 100 && std::abs(end - 2600) < 100);

    Form()->cmdPlay->click();
    QCOMPARE(Bar()->minimum(), start);
    QCOMPARE(Bar()->maximum(), end);
    // From outside the selection it starts at the selection's start.
    QVERIFY(std::abs(Player().GetPosition() - start) <= 40);
    QTRY_COMPARE_WITH_TIMEOUT(PreviewState, int16_t{0}, 3000);
    // Stopped, the slider and the player wait at the selection's start.
    QCOMPARE(SliderPosition, start);
    QVERIFY(std::abs(Player().GetPosition() - start) <= 20);
}

void TestPreview::loopStartsAgainAtOnce()
{
    Lay(TrackCollection.Item(1), m_red);
    UpdatePreview();
    ModuleTWPreview::DoPreviewAction(QStringLiteral("Loop playback"));
    QVERIFY(Form()->cmdRepeat->isChecked());
    moduleTimeline::SetSliderPosition(1700, false);
    OnSliderMove();
    Form()->cmdPlay->click();
    // Only a loop brings the bar back below where play began, still playing.
    QTRY_VERIFY_WITH_TIMEOUT(Bar()->value() < 1000 && PreviewState == 1 && Player().GetPosition() < 1000, 3000);
    QVERIFY(Form()->tm->isActive());
    ModuleTWPreview::DoPreviewAction(QStringLiteral("Loop playback"));
    QVERIFY(!Form()->cmdRepeat->isChecked());
    QTRY_COMPARE_WITH_TIMEOUT(PreviewState, int16_t{0}, 4000);
}

void TestPreview::rewindAndForwardByATwentieth()
{
    Lay(TrackCollection.Item(1), m_redGreen);
    Lay(TrackCollection.Item(1), m_blue); // 6000 ms: a step is 300
    UpdatePreview();
    auto placeAt = [](int32_t ms) {
        moduleTimeline::SetSliderPosition(ms, false);
        OnSliderMove();
    };
    placeAt(1000);
    Form()->cmdForward->click();
    QCOMPARE(Bar()->value(), 1300);
    QCOMPARE(SliderPosition, 1300);
    QCOMPARE(Player().GetPosition(), 1320); // the frame nearest 1300 ms
    Form()->cmdRewind->click();
    QCOMPARE(Bar()->value(), 1020);
    QCOMPARE(Player().GetPosition(), 1040);
    QCOMPARE(SliderPosition, Bar()->value());

    // Near the start: a position before it, which the player takes as the start.
    placeAt(100);
    Form()->cmdRewind->click();
    QCOMPARE(Bar()->value(), 0);
    QCOMPARE(Player().GetPosition(), 0);
    QCOMPARE(SliderPosition, 0);
    // Near the end: no further than the end.
    placeAt(5900);
    Form()->cmdForward->click();
    QCOMPARE(Bar()->value(), 6000);
    QCOMPARE(SliderPosition, 6000);

    // While playing, it plays on from the new place.
    placeAt(1000);
    Form()->cmdPlay->click();
    Form()->cmdForward->click();
    QCOMPARE(PreviewState, int16_t{1});
    QTRY_VERIFY_WITH_TIMEOUT(Player().GetPosition() > 1400, 3000);
}

void TestPreview::timelineSliderAndSeekBarInStep()
{
    Lay(TrackCollection.Item(1), m_redGreen);
    UpdatePreview();
    Form()->cmdPlay->click();
    // The timeline's slider moved by hand pauses the player there.
    moduleTimeline::SetSliderPosition(1200, false);
    OnSliderMove();
    QCOMPARE(PreviewState, int16_t{2});
    QCOMPARE(Bar()->value(), 1200);
    QTRY_VERIFY(Near(Shown(), 0, 128, 0));
    // A place outside the bar's range leaves the bar alone.
    moduleTimeline::SetSliderPosition(2500, false);
    OnSliderMove();
    QCOMPARE(Bar()->value(), 1200);

    // Dragging the bar pauses and seeks; letting go moves the slider.
    Form()->cmdPlay->click();
    QCOMPARE(PreviewState, int16_t{1});
    Bar()->setSliderDown(true);
    Bar()->setSliderPosition(400);
    Bar()->triggerAction(QAbstractSlider::SliderMove);
    QCOMPARE(PreviewState, int16_t{2});
    // The bar writes its plain value; the time form comes with the slider at the release.
    QCOMPARE(Form()->lblCurrentTime->text(), QStringLiteral("400"));
    QCOMPARE(Player().GetPosition(), 400);
    QTRY_VERIFY(Near(Shown(), 255, 0, 0));
    Bar()->setSliderDown(false); // the release
    QCOMPARE(SliderPosition, 400);
    QCOMPARE(Form()->lblCurrentTime->text(), QStringLiteral("0:00:00.400"));
}

void TestPreview::keysHintsAndActions()
{
    Lay(TrackCollection.Item(1), m_redGreen);
    UpdatePreview();
    // Enter plays and Space pauses, wherever the focus is in the panel.
    QTest::keyClick(Form()->sldSeekBar, Qt::Key_Return);
    QCOMPARE(PreviewState, int16_t{1});
    QTest::keyClick(Form()->cmdPlay, Qt::Key_Space);
    QCOMPARE(PreviewState, int16_t{2});

    // Hints in the status bar.
    const std::pair<QWidget*, const char*> hints[] = {
        {Form()->cmdPlay, "Play"},
        {Form()->cmdRepeat, "Repeats playback (Loop)"},
        {Form()->cmdMute, "Control volume"},
        {Form()->lblCurrentTime, "Displays the current time of the video"},
        {Form()->lblDuration, "Displays the total duration of the video"},
        {Form()->picDisplay, "Previews the contents of the timeline"},
        {Form()->sldSeekBar, "Seek to the desired position of the video"},
    };
    for (auto [control, text] : hints) {
        QTest::mouseMove(control, QPoint(3, 3));
        QCOMPARE(Status(), QLatin1String(text));
    }
    QTest::mouseMove(Form()->fmeDisplay, QPoint(1, 1));
    QCOMPARE(Status(), QStringLiteral("Ready"));
    QCOMPARE(Form()->cmdRepeat->text(), QStringLiteral("Loop"));
    QCOMPARE(Form()->cmdMute->text(), QStringLiteral("Volume "));

    // The tools panel's preview actions run the transport.
    frmTools::instance()->SetActiveContext(1);
    mdiTarnwick::instance()->OnActionsClick(QStringLiteral("Play"));
    QCOMPARE(PreviewState, int16_t{1});
    mdiTarnwick::instance()->OnActionsClick(QStringLiteral("Stop"));
    QCOMPARE(PreviewState, int16_t{0});
    mdiTarnwick::instance()->OnActionsClick(QStringLiteral("Loop playback"));
    QVERIFY(Form()->cmdRepeat->isChecked());
}

void TestPreview::commandsAndTheTimelineReachThePlayer()
{
    mdiTarnwick* main = mdiTarnwick::instance();
    QmListView* list = frmMediaList::instance()->lvwMediaList;
    ModuleHistory::EmptyHistory();
    ModuleHistory::StoreCurrentTLImage();
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{
        QStringLiteral(QM_FIXTURE_DIR) + QChar(u'\0') + QStringLiteral("redgreen.avi"), 4}));
    main->RunCommand(QStringLiteral("mnuFileOpen"));
    QVERIFY(list->Count() > 0);
    const int row = list->Count() - 1;
    frmMediaList::instance()->ClearMediaListSelections();
    list->SetSelected(row, true);
    list->SetCurrentRow(row);
    // Clicking the row builds the media list's player, which takes the volume.
    frmVolume::instance()->SetVolume(40);
    dynamic_cast<TarnwickFilePreview&>(Eng<ITWFilePreview>()).SetVolume(0);
    frmMediaList::instance()->OnLvwMediaListClick();
    QCOMPARE(FilePreviewVolume(), -60);

    // Adding builds the player; undo empties the timeline and closes it; redo brings it back.
    main->RunCommand(QStringLiteral("mnuEditAddToTimeline"));
    QVERIFY(PreviewBuilt);
    QCOMPARE(Bar()->maximum(), 2000);
    QCOMPARE(Status("DURATION"), QStringLiteral("0:00:02.000"));
    QCOMPARE(EngineVolume(), -60);
    main->RunCommand(QStringLiteral("mnuEditUndo"));
    QVERIFY(!PreviewBuilt);
    QCOMPARE(Bar()->maximum(), 10);
    main->RunCommand(QStringLiteral("mnuEditRedo"));
    QVERIFY(PreviewBuilt);
    QCOMPARE(Bar()->maximum(), 2000);

    // A press on the scale while playing pauses the player there.
    Form()->cmdPlay->click();
    QCOMPARE(PreviewState, int16_t{1});
    QWidget* scale = QmTest::Find(frmTimeline::instance(), QStringLiteral("picScale"));
    const int x = moduleScaleRenderer::MsToPixels(1500) - TimelineView::ScrollValue() * TickSpacing;
    QTest::mousePress(scale, Qt::LeftButton, {}, QPoint(x, 8));
    QCOMPARE(PreviewState, int16_t{2});
    QVERIFY(std::abs(Player().GetPosition() - SliderPosition) <= 20);
    QVERIFY(std::abs(SliderPosition - 1500) <= 2 * ZoomFactor + 20);
    QTRY_VERIFY(Near(Shown(), 0, 128, 0));
    // The arrow keys on the scale move the slider and the player with it.
    const int32_t before = Player().GetPosition();
    QTest::keyClick(scale, Qt::Key_Left);
    QVERIFY(Player().GetPosition() < before);
    QCOMPARE(Bar()->value(), SliderPosition);

    // A press on a source away from the slider brings the slider, and the player, to it.
    moduleTimeline::SetSliderPosition(1900, false);
    ModuleTWPreview::OnSliderMove();
    QVERIFY(Tl().AppendSource(TrackCollection.Item(1), m_blue, -1)); // 2000..6000
    UpdatePreview();
    QWidget* video = QmTest::Find(frmTimeline::instance(), QStringLiteral("picVideo_0"));
    const int at = moduleScaleRenderer::MsToPixels(4000) - TimelineView::ScrollValue() * TickSpacing;
    QTest::mousePress(video, Qt::LeftButton, {}, QPoint(at, 10));
    QTest::mouseRelease(video, Qt::LeftButton, {}, QPoint(at, 10));
    QVERIFY(std::abs(SliderPosition - 2000) <= 40);
    QVERIFY(std::abs(Player().GetPosition() - SliderPosition) <= 20);
    QTRY_VERIFY(Near(Shown(), 0, 0, 255));
}

void TestPreview::volumeRulesAndItsPopup()
{
    frmVolume* volume = frmVolume::instance();
    const QString section = QStringLiteral("Save Options"), key = QStringLiteral("Volume");
    // A blank setting is full volume, and is written so.
    QmSettings::SaveSetting(section, key, QString());
    QCOMPARE(volume->RetrieveVolume(), int16_t{100});
    QCOMPARE(QmSettings::GetSetting(section, key), QStringLiteral("100"));
    volume->SaveVolume(101);
    volume->SaveVolume(-1);
    QCOMPARE(QmSettings::GetSetting(section, key), QStringLiteral("100"));
    volume->SaveVolume(35);
    volume->LoadVolume();
    QCOMPARE(volume->GetVolume(), int16_t{35});

    // Both players get the level less 100.
    volume->SetVolume(0);
    QCOMPARE(EngineVolume(), -100);
    QCOMPARE(FilePreviewVolume(), -100);
    volume->SetVolume(100);
    QCOMPARE(EngineVolume(), 0);
    QCOMPARE(volume->GetVolume(), int16_t{100});

    // The popup opens below the button with the volume, and its slider sets it.
    volume->SetVolume(60);
    Form()->cmdMute->click();
    QVERIFY(volume->isVisible());
    QCOMPARE(volume->sldVolume->value(), 60);
    QVERIFY(volume->y() >= Form()->cmdMute->mapToGlobal(QPoint(0, Form()->cmdMute->height())).y());
    volume->sldVolume->setValue(20);
    QCOMPARE(volume->GetVolume(), int16_t{20});
    QCOMPARE(EngineVolume(), -80);
    QCOMPARE(FilePreviewVolume(), -80);
    // Any key closes it, an arrow key too, and leaves the volume as it was.
    QTest::keyClick(volume->sldVolume, Qt::Key_Up);
    QVERIFY(!volume->isVisible());
    QCOMPARE(volume->GetVolume(), int16_t{20});
    Form()->cmdMute->click();
    QTest::keyClick(volume->sldVolume, Qt::Key_A);
    QVERIFY(!volume->isVisible());
    // So does another window taking over.
    Form()->cmdMute->click();
    QVERIFY(volume->isVisible());
    QEvent deactivate(QEvent::WindowDeactivate);
    QApplication::sendEvent(volume, &deactivate);
    QVERIFY(!volume->isVisible());

    // Closing the preview stores the volume.
    Form()->Unload();
    QCOMPARE(QmSettings::GetSetting(section, key), QStringLiteral("20"));
    QVERIFY(!PreviewBuilt);
    volume->SetVolume(100);
}

QM_TEST_MAIN(TestPreview)
#include "test_preview.moc"
