// Adding to the timeline and the pointer on the tracks: files from the media list to the
// tracks and the overlay, effects from the tools panel and the Edit menu, the press,
// drag, resize, release and nudge on the rows, the rows' pop-up menu and the drops from
// the media list, with their history rows, undone and redone. Real forms, real engine,
// real media opened through the media list.
#include "QmTestSupport.h"

#include "core/QmDialogs.h"
#include "core/QmImageBox.h"
#include "core/QmListView.h"
#include "core/QmPicture.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "engine/CreateObject.h"
#include "engine/ITWTimeline.h"
#include "engine/tarnwick/TarnwickTimeline.h"
#include "history/ModuleHistory.h"
#include "media/frmMediaList.h"
#include "media/moduleTarnwick.h"
#include "preview/frmPreview.h"
#include "shell/frmTools.h"
#include "shell/mdiTarnwick.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/TimelineView.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QDropEvent>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QScrollBar>
#include <QSlider>
#include <QToolButton>
#include <QTreeWidget>

using namespace QmShared;
using namespace moduleTimeline;
using QmTest::Main;
using QmTest::Tl;

namespace {

// The timeline's own controls: these tests work the panel as its modules do.
TimelineControls* Form()
{
    return frmTimeline::instance()->Controls();
}

int32_t Track(int item)
{
    return TrackCollection.Item(item);
}

void Run(const char* command)
{
    Main()->RunCommand(QString::fromLatin1(command));
}

// The media list's rows by file name, only those selected.
void SelectFiles(const QStringList& names)
{
    QmListView* list = frmMediaList::instance()->lvwMediaList;
    for (int row = 0; row < list->Count(); ++row)
        list->SetSelected(row, names.contains(list->Text(row)));
}

// A track's sources as "start-stop", or its effects as "name start-stop".
QString Times(int32_t track, bool effects = false)
{
    auto& tl = Tl();
    QStringList parts;
    int32_t start = 0, stop = 0;
    for (int16_t seq = 0; effects ? tl.GetEffectTimes(track, seq, start, stop) : tl.GetSourceTimes(track, seq, start, stop);
         ++seq) {
        const QString name = effects ? tl.GetEffectName(track, seq, 260) + u' ' : QString();
        parts << name + QStringLiteral("%1-%2").arg(start).arg(stop);
    }
    return parts.join(u' ');
}

// The whole timeline in one line, so that a check also sees what should not change.
QString State()
{
    return QStringLiteral("V %1 | A1 %2 | A2 %3 | O %4 | E %5")
        .arg(Times(Track(1)), Times(Track(2)), Times(Track(3)), Times(OverlayTrack), Times(Track(1), true));
}

// The overlay's transitions with what the engine keeps of their keys.
QString Keys()
{
    QStringList parts;
    for (const auto& t : dynamic_cast<TarnwickTimeline&>(*Engine).Model().At(OverlayTrack).transitions) {
        QString part = QStringLiteral("%1 %2-%3 %4,%5,%6").arg(t.name).arg(t.start).arg(t.stop);
        part = part.arg(t.keyRed).arg(t.keyGreen).arg(t.keyBlue);
        for (const auto& [name, value] : t.parameters)
            part += u' ' + name + u'=' + QString::number(value);
        parts << part;
    }
    return parts.join(QStringLiteral("; "));
}

QList<bool> Selected(int32_t track)
{
    QList<bool> flags;
    for (int16_t seq = 0; seq < Tl().GetSourceCount(track); ++seq)
        flags << Tl().IsSourceSelected(track, seq);
    return flags;
}

// The history list as the user reads it. Every check of it also asks that nothing is
// left to redo behind the newest entry, which a wrongly counted entry would leave.
QString History()
{
    QmListView* rows = frmTools::instance()->lvwHistory;
    QStringList texts;
    for (int r = 0; r < rows->Count(); ++r)
        texts << rows->Text(r);
    if (ModuleHistory::HistoryIndex != ModuleHistory::HistoryCollection.Count())
        texts << QStringLiteral("(redo left)");
    return texts.join(QStringLiteral(", "));
}

QStringList TreeChildren(const char* track)
{
    QTreeWidgetItem* root = Form()->tvwTimeline->topLevelItem(0);
    QStringList texts;
    for (int i = 0; i < root->childCount(); ++i)
        for (int c = 0; root->child(i)->text(0) == QLatin1String(track) && c < root->child(i)->childCount(); ++c)
            texts << root->child(i)->child(c)->text(0);
    return texts;
}

// Pointer steps on a row at timeline pixel x (10 ms a pixel), at the row's middle unless
// y is given; the top 12 pixels hold the resize corner.
void Press(QWidget* row, int x, Qt::KeyboardModifiers keys = {}, int y = -1)
{
    QTest::mousePress(row, Qt::LeftButton, keys, QPoint(x, y < 0 ? row->height() / 2 : y));
}

void MoveTo(QWidget* row, int x, int y = -1)
{
    QTest::mouseMove(row, QPoint(x, y < 0 ? row->height() / 2 : y));
}

void Release(QWidget* row, int x, Qt::KeyboardModifiers keys = {}, int y = -1)
{
    QTest::mouseRelease(row, Qt::LeftButton, keys, QPoint(x, y < 0 ? row->height() / 2 : y));
}

void Click(QWidget* row, int x, Qt::KeyboardModifiers keys = {})
{
    Press(row, x, keys);
    Release(row, x, keys);
}

void Drag(QWidget* row, int from, int to, int y = -1)
{
    Press(row, from, {}, y);
    MoveTo(row, (from + to) / 2, y);
    MoveTo(row, to, y);
    Release(row, to, {}, y);
}

void ClickBox(QmImageBox* box)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(4, 4));
}

// Rows of the media list dragged in and dropped; false when the row would not take them
// or keeps its highlight.
bool DropOn(QmPicture* row)
{
    QMimeData data;
    data.setData(QString::fromLatin1(QmListView::RowsMimeType), "0");
    QDragEnterEvent enter(QPoint(20, 5), Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(row, &enter);
    if (!enter.isAccepted() || !row->DropHighlighted())
        return false;
    QDropEvent drop(QPointF(20, 5), Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(row, &drop);
    return drop.isAccepted() && !row->DropHighlighted();
}

} // namespace

class TestAdding : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void filesGoBehindTheLongestTrack();
    void nothingSelectedSaysSoAfterRedrawing();
    void overlaysFollowEachOtherWithTheirKeys();
    void effectsAtTheSliderOrOverTheSelection();
    void dragMovesSelectedItemsAndWhatFollows();
    void releaseRulesAndPressInAGap();
    void resizeByTheCorner();
    void hoverAndNudge();
    void popUpMenuPerRow();
    void dropsFromTheMediaList();

private:
    QStringList m_reported;
};

void TestAdding::initTestCase()
{
    qputenv("SDL_AUDIODRIVER", "dummy");
    QmTrap::SetReporter([this](const QString& module, const QString& function, const QmError& error) {
        m_reported << module + u'.' + function + QStringLiteral(": ") + error.Description();
    });
    if (!QmTest::StartMainWindow(1600, 900))
        return;
    QVERIFY2(Form()->picScale->ScaleWidth() > 800, "the tests press up to 8 s in");
    QVERIFY(Form()->picVideo[0]->height() > 24); // room above and below the resize corner

    // Through the open dialogue: 2 s of video with sound, 3 s of sound, a 5 s still, and
    // a little over 2 s of sound in a video container.
    QString answer = QStringLiteral(QM_FIXTURE_DIR);
    for (const char* name : {"video.avi", "audio.wav", "image.jpg", "audioonly.avi"})
        answer += QChar(u'\0') + QString::fromLatin1(name);
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{answer, 4}));
    Run("mnuFileOpen");
    QCOMPARE(frmMediaList::instance()->lvwMediaList->Count(), 4);
}

void TestAdding::init()
{
    TimelineControls* f = Form();
    ModuleHistory::EmptyHistory();
    ModuleHistory::EmptyTimeline();
    ModuleHistory::StoreCurrentTLImage();
    ReInitLinkLockDisable();
    if (TimelineView::SelectionShown())
        ShowSelSliders(false);
    f->hsb->setValue(0);
    SetSliderPosition(0, false);
    frmPreview::instance()->sldSeekBar->setRange(0, 10);
    SelectFiles({});
    QmListView* effects = frmTools::instance()->lvwEffects;
    for (int r = 0; r < effects->Count(); ++r)
        effects->SetSelected(r, r == 0);
    f->DragOrigStart = f->DragOrigStop = 0;
    ModuleTreeView::UpdateTreeView();
    Main()->EnableOrDisableMenuItems();
    ProjectModified = false;
}

void TestAdding::cleanup()
{
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
    QCOMPARE(m_reported, QStringList());
    Main()->mnuEditContext()->hide();
    QTest::mouseRelease(frmTimeline::instance(), Qt::LeftButton); // no button stays down for the next test
}

void TestAdding::filesGoBehindTheLongestTrack()
{
    // Picture and sound side by side on Video and Audio 1; Audio 2 never receives.
    SelectFiles({"video.avi"});
    Run("mnuEditAddToTimeline");
    QCOMPARE(State(), QStringLiteral("V 0-2000 | A1 0-2000 | A2  | O  | E "));
    QCOMPARE(frmPreview::instance()->sldSeekBar->maximum(), 2000);
    QVERIFY(ProjectModified);

    // Sound alone, from the media list's pop-up: behind the longest track.
    SelectFiles({"audio.wav"});
    Main()->Item(QStringLiteral("mnuMLC_AddToTimeline"))->trigger();
    QCOMPARE(State(), QStringLiteral("V 0-2000 | A1 0-2000 2000-5000 | A2  | O  | E "));

    // Two files from the toolbar: each behind the one before, all behind Audio 1's 5 s.
    SelectFiles({"video.avi", "image.jpg"});
    Main()->ToolButton(QStringLiteral("ADD_TO_TIMELINE"))->trigger();
    const QString four = QStringLiteral("V 0-2000 5000-7000 7000-12000 | A1 0-2000 2000-5000 5000-7000 | A2  | O  | E ");
    QCOMPARE(State(), four);

    // Sound in a video container puts nothing on Video.
    SelectFiles({"audioonly.avi"});
    Run("mnuEditAddToTimeline");
    const QString five = State();
    QVERIFY2(five.startsWith(QStringLiteral("V 0-2000 5000-7000 7000-12000 | A1 0-2000 2000-5000 5000-7000 12000-")),
             qPrintable(five));
    QVERIFY(five.endsWith(QStringLiteral("| A2  | O  | E ")));
    QCOMPARE(frmPreview::instance()->sldSeekBar->maximum(), Tl().GetTrackDuration(Track(2)));
    QCOMPARE(TreeChildren("Video"), (QStringList{"video.avi", "video.avi", "image.jpg"}));
    QCOMPARE(TreeChildren("Audio 1"), (QStringList{"video.avi", "audio.wav", "video.avi", "audioonly.avi"}));

    // One entry per file, undone file by file and redone.
    QCOMPARE(History(), QStringList(5, QStringLiteral("Add to Timeline")).join(QStringLiteral(", ")));
    Run("mnuEditUndo");
    QCOMPARE(State(), four);
    Run("mnuEditUndo");
    Run("mnuEditUndo");
    QCOMPARE(State(), QStringLiteral("V 0-2000 | A1 0-2000 2000-5000 | A2  | O  | E "));
    for (int i = 0; i < 3; ++i)
        Run("mnuEditRedo");
    QCOMPARE(State(), five);
}

void TestAdding::nothingSelectedSaysSoAfterRedrawing()
{
    SelectFiles({"image.jpg"});
    Run("mnuEditAddToTimeline");
    ModuleHistory::EmptyHistory();

    // The still lengthened behind the panel's back: its bar still ends at 5 s. With no
    // file selected the bars and the preview's range are redone first, then the message.
    QmPicture* video = Form()->picVideo[0];
    Tl().SetSourceTimes(Track(1), 0, 0, 8000);
    const QRgb blank = video->Image().pixel(650, 20);
    QCOMPARE(blank, video->Image().pixel(video->width() - 5, 20));
    SelectFiles({});
    Run("mnuEditAddToTimeline");
    QCOMPARE(QmTest::TakeMessageTexts(),
             QStringList{"Unable to add to the timeline because no file is selected. Please select a file from the "
                         "media list."});
    QVERIFY(video->Image().pixel(650, 20) != blank);
    QCOMPARE(frmPreview::instance()->sldSeekBar->maximum(), 8000);
    QCOMPARE(History(), QString());

    // An empty timeline leaves the preview a range of 10.
    ModuleHistory::EmptyTimeline();
    Run("mnuEditAddToTimeline");
    QCOMPARE(QmTest::TakeMessageTexts().size(), 1);
    QCOMPARE(frmPreview::instance()->sldSeekBar->maximum(), 10);
}

void TestAdding::overlaysFollowEachOtherWithTheirKeys()
{
    SelectFiles({"image.jpg"});
    Run("mnuEditAddToOverlay");
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{"Unable to add to overlay as the video track is empty."});
    QCOMPARE(History(), QString());

    Run("mnuEditAddToTimeline");
    Run("mnuEditAddToOverlay");
    QCOMPARE(Keys(), QStringLiteral("DxtKey 0-5000 0,0,0 KeyType=0"));

    // The next follows the last overlay wherever the slider is; its sound goes nowhere,
    // and a file without pictures adds nothing.
    SetSliderPosition(1500, false);
    SelectFiles({"video.avi", "audio.wav"});
    Main()->Item(QStringLiteral("mnuMLC_AddToOverlay"))->trigger();
    QCOMPARE(State(), QStringLiteral("V 0-5000 | A1  | A2  | O 0-5000 5000-7000 | E "));
    const QString keys = QStringLiteral("DxtKey 0-5000 0,0,0 KeyType=0; DxtKey 5000-7000 0,0,0 KeyType=0");
    QCOMPARE(Keys(), keys);
    QCOMPARE(TreeChildren("Overlays"), (QStringList{"image.jpg", "video.avi"}));
    QCOMPARE(History(), QStringLiteral("Add to Timeline, Add to Overlay, Add to Overlay"));

    Run("mnuEditUndo");
    QCOMPARE(Keys(), QStringLiteral("DxtKey 0-5000 0,0,0 KeyType=0"));
    Run("mnuEditRedo");
    QCOMPARE(Keys(), keys);

    // Adding to the timeline brings a key back to its overlay where both ends were off;
    // one end off alone is left.
    Tl().SetTransitionTimes(OverlayTrack, 0, 100, 4000);
    Tl().SetTransitionTimes(OverlayTrack, 1, 5000, 6000);
    SelectFiles({"audio.wav"});
    Run("mnuEditAddToTimeline");
    QCOMPARE(Keys(), QStringLiteral("DxtKey 0-5000 0,0,0 KeyType=0; DxtKey 5000-6000 0,0,0 KeyType=0"));
}

void TestAdding::effectsAtTheSliderOrOverTheSelection()
{
    frmTools* tools = frmTools::instance();
    auto choose = [tools](int chosen) {
        for (int r = 0; r < tools->lvwEffects->Count(); ++r)
            tools->lvwEffects->SetSelected(r, r == chosen);
    };
    auto entry = [](const char* name) { Main()->Item(QString::fromLatin1(name))->trigger(); };
    const QString cannot = QStringLiteral("Unable to add effect to timeline. The timeline may be empty.");

    Run("cmdAdd");
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{"Unable to add effect to the timeline as the video track is empty."});
    QCOMPARE(History(), QString());

    SelectFiles({"video.avi", "image.jpg"});
    Run("mnuEditAddToTimeline");
    ModuleHistory::EmptyHistory();

    // At the slider with the engine's length, as chosen in the tools panel.
    QTest::mouseClick(tools->cmdAdd, Qt::LeftButton);
    QCOMPARE(Times(Track(1), true), QStringLiteral("Fade 0-5000"));

    // Over the selection, from the Edit menu's entry, which chooses its row.
    SetSelSliderPosition(5500, true);
    SetSelSliderPosition(6000, false);
    ShowSelSliders(true);
    entry("mnuAddEffectBlur");
    ShowSelSliders(false);
    QCOMPARE(tools->lvwEffects->SelectedRow(), 2);
    QCOMPARE(Times(Track(1), true), QStringLiteral("Fade 0-5000 Blur 5500-6000"));

    // Where another effect lies, and with nothing chosen: the same words.
    SetSliderPosition(1000, false);
    entry("mnuAddEffectWave");
    choose(-1);
    Run("cmdAdd");
    QCOMPARE(QmTest::TakeMessageTexts(), (QStringList{cannot, cannot}));

    // One handle alone, which the menus cannot make: nothing added, the entry stays.
    ShowStartSelSlider(true);
    entry("mnuAddEffectEmboss");
    ShowStartSelSlider(false);
    QCOMPARE(Times(Track(1), true), QStringLiteral("Fade 0-5000 Blur 5500-6000"));

    // Ending 10 ms short of the video leaves room; ending with it fills the lane, though
    // there is room before.
    SetSelSliderPosition(6500, true);
    SetSelSliderPosition(6990, false);
    ShowSelSliders(true);
    entry("mnuAddEffectPixelate");
    ShowSelSliders(false);
    SetSliderPosition(6990, false);
    entry("mnuAddEffectWave");
    SetSliderPosition(6200, false);
    entry("mnuAddEffectEngrave");
    QCOMPARE(QmTest::TakeMessageTexts(),
             QStringList{"Unable to add effect.\r\n\r\nThe duration of the effect track cannot be more than the duration "
                         "of the video track. You may have to shift one or more effects or clear the effect track to "
                         "make room for a new effect."});
    const QString all = QStringLiteral("Fade 0-5000 Blur 5500-6000 Pixelate 6500-6990 Wave 6990-7000");
    QCOMPARE(Times(Track(1), true), all);
    QCOMPARE(TreeChildren("Effects"), (QStringList{"Fade", "Blur", "Pixelate", "Wave"}));
    QCOMPARE(History(), QStringList(5, QStringLiteral("Add Effect to Timeline")).join(QStringLiteral(", ")));
    QVERIFY(ProjectModified);

    for (int i = 0; i < 3; ++i)
        Run("mnuEditUndo");
    QCOMPARE(Times(Track(1), true), QStringLiteral("Fade 0-5000 Blur 5500-6000"));
    for (int i = 0; i < 3; ++i)
        Run("mnuEditRedo");
    QCOMPARE(Times(Track(1), true), all);
}

void TestAdding::dragMovesSelectedItemsAndWhatFollows()
{
    SelectFiles({"video.avi", "image.jpg"});
    Run("mnuEditAddToTimeline");
    ModuleHistory::EmptyHistory();
    QmPicture* video = Form()->picVideo[0];
    QmPicture* audio = Form()->picAudio[0];

    // The still dragged right alone, as one entry made at the press.
    Press(video, 300);
    MoveTo(video, 350);
    QCOMPARE(History(), QStringLiteral("Move"));
    Release(video, 350);
    QCOMPARE(State(), QStringLiteral("V 0-2000 2500-7500 | A1 0-2000 | A2  | O  | E "));

    // Left, it stops where it touches the source before, however far the pointer goes.
    Press(video, 300);
    MoveTo(video, 280);
    QCOMPARE(Times(Track(1)), QStringLiteral("0-2000 2300-7300"));
    MoveTo(video, 100);
    MoveTo(video, 50);
    Release(video, 50);
    QCOMPARE(Times(Track(1)), QStringLiteral("0-2000 2000-7000"));

    // The first video source with its sound: each track's first selected item moves,
    // with everything after it, selected or not.
    Click(video, 100);
    Click(audio, 100, Qt::ControlModifier);
    Drag(video, 100, 200);
    QCOMPARE(State(), QStringLiteral("V 1000-3000 3000-8000 | A1 1000-3000 | A2  | O  | E "));

    // On a locked row the selected item stays, yet the room before it still bounds a
    // step to the left: here 1 s before the sound against 2 s before the picture.
    ClickBox(Form()->imgLockAudio[0]);
    Drag(video, 100, 250);
    QCOMPARE(State(), QStringLiteral("V 2500-4500 4500-9500 | A1 1000-3000 | A2  | O  | E "));
    Press(video, 300);
    MoveTo(video, 0);
    Release(video, 0);
    QCOMPARE(Times(Track(1)), QStringLiteral("1500-3500 3500-8500"));
    ClickBox(Form()->imgLockAudio[0]);

    QCOMPARE(History(), QStringLiteral("Move, Move, Move, Move, Move"));
    Run("mnuEditUndo");
    QCOMPARE(Times(Track(1)), QStringLiteral("2500-4500 4500-9500"));
    Run("mnuEditUndo");
    QCOMPARE(State(), QStringLiteral("V 1000-3000 3000-8000 | A1 1000-3000 | A2  | O  | E "));
    Run("mnuEditRedo");
    Run("mnuEditRedo");
    QCOMPARE(Times(Track(1)), QStringLiteral("1500-3500 3500-8500"));

    // The overlay with its key; the effect lane on its own row.
    SelectFiles({"video.avi"});
    Run("mnuEditAddToOverlay");
    Drag(Form()->picOverlay[0], 50, 150);
    QCOMPARE(Keys(), QStringLiteral("DxtKey 1000-3000 0,0,0 KeyType=0"));
    QCOMPARE(Times(OverlayTrack), QStringLiteral("1000-3000"));
    SetSliderPosition(0, false);
    Run("cmdAdd");
    Drag(Form()->picEffect[0], 100, 130);
    QCOMPARE(State(), QStringLiteral("V 1500-3500 3500-8500 | A1 1000-3000 | A2  | O 1000-3000 | E Fade 300-5300"));
    Run("mnuEditUndo");
    QCOMPARE(Times(Track(1), true), QStringLiteral("Fade 0-5000"));
}

void TestAdding::releaseRulesAndPressInAGap()
{
    SelectFiles({"video.avi", "image.jpg"});
    Run("mnuEditAddToTimeline");
    ModuleHistory::EmptyHistory();
    QmPicture* video = Form()->picVideo[0];

    // A press that moves nothing takes its entry back. A plain click on one of several
    // selected items leaves it alone selected; with Ctrl it is deselected; Shift flips
    // at the press like Ctrl, but its release selects the item alone.
    Click(video, 100);
    Click(video, 300, Qt::ControlModifier);
    QCOMPARE(Selected(Track(1)), (QList<bool>{true, true}));
    Click(video, 300);
    QCOMPARE(Selected(Track(1)), (QList<bool>{false, true}));
    Click(video, 100, Qt::ControlModifier);
    Click(video, 100, Qt::ControlModifier);
    QCOMPARE(Selected(Track(1)), (QList<bool>{false, true}));
    Click(video, 100);
    Click(video, 300, Qt::ShiftModifier);
    QCOMPARE(Selected(Track(1)), (QList<bool>{false, true}));
    QCOMPARE(History(), QString());

    // In a gap no times are read: the release compares 0 and 0 with what the press left.
    // After a press on the still that differs, and the entry stays as a change.
    QCOMPARE(Form()->DragOrigStop, 7000);
    Click(video, 900);
    QCOMPARE(Form()->DragSeq, int16_t(-1));
    QCOMPARE(History(), QStringLiteral("Move"));
    QCOMPARE(Selected(Track(1)), (QList<bool>{false, true}));
    // With 0 and 0 left nothing moved: the entry goes, and the plain release clears the
    // selection, having no item to select.
    Form()->DragOrigStart = Form()->DragOrigStop = 0;
    Click(video, 900);
    QCOMPARE(History(), QStringLiteral("Move"));
    QCOMPARE(Selected(Track(1)), (QList<bool>{false, false}));

    // A row without items makes no entry; a locked row selects and starts nothing.
    Click(Form()->picAudio[1], 100);
    QVERIFY(!Form()->DragActive);
    ClickBox(Form()->imgLockVideo[0]);
    Drag(video, 300, 350);
    QCOMPARE(Selected(Track(1)), (QList<bool>{false, true}));
    QCOMPARE(Times(Track(1)), QStringLiteral("0-2000 2000-7000"));
    QCOMPARE(History(), QStringLiteral("Move"));
}

void TestAdding::resizeByTheCorner()
{
    SelectFiles({"video.avi", "image.jpg"});
    Run("mnuEditAddToTimeline");
    ModuleHistory::EmptyHistory();
    QmPicture* video = Form()->picVideo[0];

    // From the first source's corner, 50 pixels on: 2.5 s, playing its 2 s slower; the
    // still moves along. Below the corner the same pointer moves.
    Drag(video, 195, 245, 4);
    QCOMPARE(Times(Track(1)), QStringLiteral("0-2500 2500-7500"));
    int32_t mediaStart = -1, mediaStop = -1;
    Tl().GetSourceMediaTimes(Track(1), 0, mediaStart, mediaStop);
    QCOMPARE(mediaStop - mediaStart, 2000);
    Drag(video, 245, 250, 20);
    QCOMPARE(Times(Track(1)), QStringLiteral("50-2550 2550-7550"));
    QCOMPARE(History(), QStringLiteral("Resize, Move"));
    Run("mnuEditUndo");

    // Shrinking stops above 10 ms: a step to 10 ms is passed over, to 20 ms taken; 11 ms
    // is still more than 10.
    Press(video, 248, {}, 4);
    MoveTo(video, 0, 4);
    QCOMPARE(Times(Track(1)), QStringLiteral("0-20 20-5020"));
    MoveTo(video, -1, 4);
    QCOMPARE(Times(Track(1)), QStringLiteral("0-20 20-5020"));
    Release(video, -1, {}, 4);
    ResizeSelSources(-9);
    QCOMPARE(Times(Track(1)), QStringLiteral("0-11 11-5011"));
    ResizeSelSources(-1);
    QCOMPARE(Times(Track(1)), QStringLiteral("0-11 11-5011"));
    Run("mnuEditUndo");
    QCOMPARE(Times(Track(1)), QStringLiteral("0-2500 2500-7500"));

    // A selected item on a locked row is resized, though it does not move.
    Click(Form()->picAudio[0], 100);
    Click(video, 100, Qt::ControlModifier);
    ClickBox(Form()->imgLockAudio[0]);
    Drag(video, 245, 265, 4);
    QCOMPARE(State(), QStringLiteral("V 0-2700 2700-7700 | A1 0-2200 | A2  | O  | E "));
    Drag(video, 100, 120);
    QCOMPARE(State(), QStringLiteral("V 200-2900 2900-7900 | A1 0-2200 | A2  | O  | E "));
    ClickBox(Form()->imgLockAudio[0]);

    // The overlay's key takes its source's times, even a key that had drifted off them;
    // effects resize on their own row.
    SelectFiles({"image.jpg"});
    Run("mnuEditAddToOverlay");
    QVERIFY(Eng<ITWTimeline>().SetTransitionTimes(OverlayTrack, 0, 100, 4000));
    Drag(Form()->picOverlay[0], 495, 445, 4);
    QCOMPARE(Keys(), QStringLiteral("DxtKey 0-4500 0,0,0 KeyType=0"));
    QCOMPARE(Times(OverlayTrack), QStringLiteral("0-4500"));
    SetSliderPosition(0, false);
    Run("cmdAdd");
    Drag(Form()->picEffect[0], 495, 395, 4);
    QCOMPARE(Times(Track(1), true), QStringLiteral("Fade 0-4000"));
    QVERIFY(History().endsWith(QStringLiteral("Add to Overlay, Resize, Add Effect to Timeline, Resize")));
}

void TestAdding::hoverAndNudge()
{
    SelectFiles({"video.avi"});
    Run("mnuEditAddToTimeline");
    Run("mnuEditAddToOverlay");
    Run("cmdAdd");
    TimelineControls* f = Form();
    QLabel* status = Main()->StatusPanel(QStringLiteral("sbr_1"));
    struct Case
    {
        QmPicture* row;
        const char* status;
        const char* itemTip;
        const char* gapTip;
    };
    // The audio rows' tip says "Video Track" as well.
    const Case cases[] = {
        {f->picVideo[0], "Represents video sources over time", "video.avi", "Video Track"},
        {f->picAudio[0], "Represents audio sources over time", "video.avi", "Video Track"},
        {f->picEffect[0], "Represents various effects over time", "Fade", "Effect Track"},
        {f->picOverlay[0], "Represents overlay sources over time", "video.avi", "Overlay Track"},
    };
    for (const Case& c : cases) {
        MoveTo(c.row, 100);
        QCOMPARE(status->text(), QString::fromLatin1(c.status));
        QCOMPARE(c.row->toolTip(), QString::fromLatin1(c.itemTip));
        QCOMPARE(f->imgScaleMarker->x(), 100);
        // The corner: the last 12 pixels' worth of the item, in the top 12.
        const std::tuple<int, int, Qt::CursorShape> points[] = {{195, 11, Qt::SizeHorCursor}, {187, 4, Qt::ArrowCursor},
                                                                {200, 0, Qt::SizeHorCursor},  {195, 12, Qt::ArrowCursor},
                                                                {195, 11, Qt::SizeHorCursor}, {600, 5, Qt::ArrowCursor}};
        for (const auto& [x, y, shape] : points) {
            MoveTo(c.row, x, y);
            const QString where = QStringLiteral("%1 at %2,%3").arg(c.row->objectName()).arg(x).arg(y);
            QVERIFY2(c.row->cursor().shape() == shape, qPrintable(where));
        }
        QCOMPARE(c.row->toolTip(), QString::fromLatin1(c.gapTip));
    }

    // The nudge: 5 pixels, 1 with Shift, no left limit and no history entry.
    SelectFiles({"image.jpg"});
    Run("mnuEditAddToTimeline");
    ModuleHistory::EmptyHistory();
    QmPicture* video = f->picVideo[0];
    Click(video, 300);
    QTest::keyClick(video, Qt::Key_Right);
    QCOMPARE(status->text(), QStringLiteral("Use the 'Shift' key to nudge source(s) with the direction keys"));
    QTest::keyClick(video, Qt::Key_Left, Qt::ShiftModifier);
    QCOMPARE(status->text(), QStringLiteral("Ready"));
    QTest::keyClick(video, Qt::Key_Up);
    QCOMPARE(Times(Track(1)), QStringLiteral("0-2000 2040-7040"));
    QTest::keyClick(video, Qt::Key_Left);
    QTest::keyClick(video, Qt::Key_Left);
    QCOMPARE(Times(Track(1)), QStringLiteral("0-2000 1940-6940"));
    Click(video, 100);
    QTest::keyClick(video, Qt::Key_Left);
    QCOMPARE(Times(Track(1)), QStringLiteral("-50-1950 1890-6890"));
    QCOMPARE(History(), QString());
}

void TestAdding::popUpMenuPerRow()
{
    SelectFiles({"video.avi"});
    Run("mnuEditAddToTimeline");
    QMenu* menu = Main()->mnuEditContext();
    // The entries and separators set visible, in order (on the screen Qt folds separators
    // that meet).
    auto shown = [menu] {
        QStringList names;
        for (QAction* action : menu->actions())
            if (action->isVisible())
                names << action->objectName().remove(QStringLiteral("mnuEC_")).remove(QStringLiteral("mnuEditContext"));
        return names.join(u' ');
    };
    auto rightPress = [menu](QWidget* row) {
        menu->hide();
        QTest::mousePress(row, Qt::RightButton, {}, QPoint(100, 20));
        QTest::mouseRelease(row, Qt::RightButton, {}, QPoint(100, 20));
        return menu->isVisible();
    };
    TimelineControls* f = Form();
    const QString edits = QStringLiteral("Cut Copy Paste Delete Crop ");

    QVERIFY(rightPress(f->picVideo[0]));
    QCOMPARE(shown(), edits + QStringLiteral("s34 s23 StretchMode sr2 SelSliders"));
    QCOMPARE(Selected(Track(1)), QList<bool>{true}); // the right press selects too
    QCOMPARE(History(), QStringLiteral("Add to Timeline"));

    // An audio row offers the move to the other one; the effect row hides their separator
    // and leaves them as they were.
    QVERIFY(rightPress(f->picAudio[0]));
    QCOMPARE(shown(), edits + QStringLiteral("s34 AddtoAudio2 sr2 SelSliders"));
    QVERIFY(rightPress(f->picAudio[1]));
    QCOMPARE(shown(), edits + QStringLiteral("s34 AddtoAudio1 sr2 SelSliders"));
    QVERIFY(rightPress(f->picEffect[0]));
    QCOMPARE(shown(), edits + QStringLiteral("AddtoAudio1 sr2 SelSliders"));

    QVERIFY(rightPress(f->picOverlay[0]));
    QCOMPARE(shown(), edits + QStringLiteral("s23 StretchMode SetOverlayTransparency sr2 SelSliders"));
    // So the table has it: the Edit menu's own moves go too.
    QVERIFY(!Main()->Item(QStringLiteral("mnuEditAddtoAudio1"))->isVisible());
    QVERIFY(!Main()->Item(QStringLiteral("mnuEditAddtoAudio2"))->isVisible());

    QVERIFY(rightPress(f->picScale));
    QCOMPARE(shown(), QStringLiteral("ZoomIn ZoomOut s22 AddMarker RemoveMarker SetOverlayTransparency sr2 SelSliders"));
    QVERIFY(rightPress(f->picVideo[0]));
    QCOMPARE(shown(), edits + QStringLiteral("s23 StretchMode sr2 SelSliders"));

    // A locked row gives no pop-up.
    ClickBox(f->imgLockAudio[0]);
    QVERIFY(!rightPress(f->picAudio[0]));
    ClickBox(f->imgLockEffect[0]);
    QVERIFY(!rightPress(f->picEffect[0]));
}

void TestAdding::dropsFromTheMediaList()
{
    TimelineControls* f = Form();
    QmListView* list = frmMediaList::instance()->lvwMediaList;
    // While rows are dragged the track rows take them, and no other kind of drag.
    emit list->DragStarted();
    for (QmPicture* row : {f->picVideo[0], f->picEffect[0], f->picOverlay[0], f->picAudio[0], f->picAudio[1]})
        QVERIFY2(row->acceptDrops(), qPrintable(row->objectName()));
    QMimeData text;
    text.setText(QStringLiteral("video.avi"));
    QDragEnterEvent other(QPoint(20, 5), Qt::CopyAction, &text, Qt::LeftButton, {});
    QApplication::sendEvent(f->picVideo[0], &other);
    QVERIFY(!other.isAccepted());

    // With no video the overlay row does nothing; the second audio row never adds.
    SelectFiles({"video.avi"});
    QVERIFY(DropOn(f->picOverlay[0]));
    QVERIFY(DropOn(f->picAudio[1]));
    QCOMPARE(State(), QStringLiteral("V  | A1  | A2  | O  | E "));
    QVERIFY(DropOn(f->picAudio[0]));
    SelectFiles({"image.jpg"});
    QVERIFY(DropOn(f->picVideo[0]));
    QVERIFY(DropOn(f->picOverlay[0]));
    QVERIFY(DropOn(f->picEffect[0]));
    const QString dropped = QStringLiteral("V 0-2000 2000-7000 | A1 0-2000 | A2  | O 0-5000 | E Fade 0-5000");
    QCOMPARE(State(), dropped);
    QCOMPARE(History(), QStringLiteral("Add to Timeline, Add to Timeline, Add to Overlay, Add Effect to Timeline"));
    QVERIFY(Main()->Item(QStringLiteral("mnuEditUndo"))->isEnabled());

    // Any locked track refuses the video and audio rows, each with its words.
    ClickBox(f->imgLockAudio[1]);
    for (QmPicture* row : {f->picVideo[0], f->picAudio[0], f->picAudio[1]})
        QVERIFY(DropOn(row));
    ClickBox(f->imgLockAudio[1]);
    ClickBox(f->imgLockOverlay[0]);
    QVERIFY(DropOn(f->picOverlay[0]));
    ClickBox(f->imgLockEffect[0]);
    QVERIFY(DropOn(f->picEffect[0]));
    QCOMPARE(QmTest::TakeMessageTexts(),
             (QStringList{"Please unlock the audio and / or video track(s) before attempting to add this file to the "
                          "timeline.",
                          "Track is locked", "Track is locked", "Track is locked",
                          "Please unlock the Effect Track before adding an effect to it."}));
    QCOMPARE(State(), dropped);
    emit list->DragEnded();
    QVERIFY(!f->picVideo[0]->acceptDrops());

    for (int i = 0; i < 3; ++i)
        Run("mnuEditUndo");
    QCOMPARE(State(), QStringLiteral("V 0-2000 | A1 0-2000 | A2  | O  | E "));
    Run("mnuEditRedo");
    QCOMPARE(State(), QStringLiteral("V 0-2000 2000-7000 | A1 0-2000 | A2  | O  | E "));
}

QM_TEST_MAIN(TestAdding)
#include "test_adding.moc"
