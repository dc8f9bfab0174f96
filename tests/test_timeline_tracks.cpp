// The whole-track commands and the timeline list's shuffles on the real timeline, run as
// the menus and the list run them: worked examples with their numbers on locked and
// unlocked tracks, the history entry each makes (and the one Repeat Audio leaves out of
// force), undo giving back the timeline item for item, and the menus' states after.
#include "QmTestSupport.h"

#include "core/QmListView.h"
#include "core/QmShared.h"
#include "editing/moduleEdit.h"
#include "engine/ITWTimeline.h"
#include "history/ModuleHistory.h"
#include "shell/frmTools.h"
#include "shell/mdiTarnwick.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/TimelineView.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleTimeline.h"

#include <QAbstractItemModel>
#include <QDropEvent>
#include <QMimeData>
#include <QTreeWidget>

#include <functional>

using namespace QmShared;
using QmTest::Audio1;
using QmTest::Audio2;
using QmTest::Effects;
using QmTest::Main;
using QmTest::Sources;
using QmTest::Tl;
using QmTest::Transitions;
using QmTest::Video;
using TimelineView::Option;
using TimelineView::RowKind;

namespace {

QmListView* HistoryRows()
{
    return frmTools::instance()->lvwHistory;
}

QString LastRow()
{
    return HistoryRows()->Count() ? HistoryRows()->Text(HistoryRows()->Count() - 1) : QString();
}

bool Enabled(const char* name)
{
    return Main()->Item(QString::fromLatin1(name))->isEnabled();
}

void Lock(RowKind kind, int index, bool on = true)
{
    TimelineView::SetRowOption(kind, index, Option::Lock, on);
}

QTreeWidget* Tree()
{
    return frmTimeline::instance()->Controls()->tvwTimeline;
}

// A node of the timeline list: track node t (0 Video, 1 Effects, 2 Overlays, 3 Audio 1,
// 4 Audio 2), or its child c (from 0).
QTreeWidgetItem* Node(int t, int c = -1)
{
    QTreeWidgetItem* track = Tree()->topLevelItem(0)->child(t);
    return c < 0 ? track : track->child(c);
}

QStringList Children(int t)
{
    QStringList texts;
    for (int i = 0; i < Node(t)->childCount(); ++i)
        texts << Node(t, i)->text(0);
    return texts;
}

} // namespace

class TestTimelineTracks : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void packClosesGapsAndPassesLocks();
    void restoreSizeGivesTheMediaLength();
    void repeatAudioFillsToTheVideosEnd();
    void splitCutsEveryTrackAtTheSlider();
    void clearCommandsAskAndRefuseLocks();
    void shuffleReordersATrack();
    void shuffleKeepsOverlayKeysAndEffectNames();
    void soundsMoveBetweenTheSoundTracks();
    void theListsOwnDropsShuffle();

private:
    int32_t m_video = 0, m_sound = 0, m_picture = 0;
    void Put(int32_t track, int32_t start, int32_t stop, int32_t mediaStart, int32_t mediaStop, int32_t stream = 0);
    void PutOverlay(int32_t start, int32_t stop, int16_t red, int16_t green, int16_t blue);
    // Runs a command through the menus, then undoes it: the timeline comes back item for
    // item. Returns the timeline as the command left it.
    void RunAndUndo(const QString& command, const std::function<void()>& check);
};

void TestTimelineTracks::initTestCase()
{
    QVERIFY(QmTest::StartMainWindow(1600, 900));
    m_video = QmTest::Stream("video.avi");
    m_sound = QmTest::Stream("audio.wav");
    m_picture = QmTest::Stream("image.jpg");
    QVERIFY(m_video && m_sound && m_picture);
}

void TestTimelineTracks::init()
{
    QmTest::FreshTimeline();
    ModuleTreeView::UpdateTreeView();
    QmTest::TakeMessageTexts();
    ProjectModified = false;
}

void TestTimelineTracks::Put(int32_t track, int32_t start, int32_t stop, int32_t mediaStart, int32_t mediaStop,
                             int32_t stream)
{
    if (stream == 0)
        stream = Tl().IsVideoTrack(track) ? m_video : m_sound;
    QVERIFY(Tl().AppendSource(track, stream, start));
    const int16_t seq = static_cast<int16_t>(Tl().GetSourceCount(track) - 1);
    QVERIFY(Tl().SetSourceTimes(track, seq, start, stop));
    QVERIFY(Tl().SetSourceMediaTimes(track, seq, mediaStart, mediaStop));
}

void TestTimelineTracks::PutOverlay(int32_t start, int32_t stop, int16_t red, int16_t green, int16_t blue)
{
    Put(OverlayTrack, start, stop, 0, stop - start, m_picture);
    moduleTimeline::AddNewKeyTransition(OverlayTrack, red, green, blue);
}

void TestTimelineTracks::RunAndUndo(const QString& command, const std::function<void()>& check)
{
    ModuleTreeView::UpdateTreeView();
    ModuleHistory::StoreCurrentTLImage();
    const TimelineImage before = ModuleHistory::ReadTimelineImage(260);
    const int16_t inForce = ModuleHistory::HistoryIndex;
    Main()->RunCommand(command);
    QVERIFY(ProjectModified);
    QCOMPARE(ModuleHistory::HistoryIndex, static_cast<int16_t>(inForce + 1));
    check();
    if (QTest::currentTestFailed())
        return;
    const TimelineImage after = ModuleHistory::ReadTimelineImage(260);
    Main()->RunCommand(QStringLiteral("mnuEditUndo"));
    QVERIFY2(ModuleHistory::ReadTimelineImage(260) == before, qPrintable(command + QStringLiteral(" undone")));
    Main()->RunCommand(QStringLiteral("mnuEditRedo"));
    QVERIFY2(ModuleHistory::ReadTimelineImage(260) == after, qPrintable(command + QStringLiteral(" redone")));
}

void TestTimelineTracks::packClosesGapsAndPassesLocks()
{
    // Video with gaps; Audio 1 with gaps; Audio 2 already packed (each shifted by 0);
    // two effects and two keyed overlays.
    Put(Video(), 1000, 2000, 0, 1000);
    Put(Video(), 3000, 4500, 100, 1600);
    Put(Video(), 5000, 6000, 0, 1000);
    Put(Audio1(), 500, 1500, 0, 1000);
    Put(Audio1(), 2000, 3000, 0, 1000);
    Put(Audio2(), 0, 1000, 0, 1000);
    Put(Audio2(), 1000, 2000, 0, 1000);
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 1500, 2000));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Wave"), 2500, 3000));
    PutOverlay(2000, 3000, 10, 200, 30);
    PutOverlay(4000, 4500, 1, 2, 3);
    Main()->EnableOrDisableMenuItems();
    QVERIFY(Enabled("mnuToolsPackTimelineBars"));
    RunAndUndo(QStringLiteral("mnuToolsPackTimelineBars"), [&] {
        QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-1000] 1000-2500[100-1600] 2500-3500[0-1000]"));
        QCOMPARE(Sources(Audio1()), QStringLiteral("0-1000[0-1000] 1000-2000[0-1000]"));
        QCOMPARE(Sources(Audio2()), QStringLiteral("0-1000[0-1000] 1000-2000[0-1000]"));
        QCOMPARE(Effects(Video()), QStringLiteral("Blur 0-500,Wave 500-1000"));
        QCOMPARE(Sources(OverlayTrack), QStringLiteral("0-1000[0-1000] 1000-1500[0-500]"));
        QCOMPARE(Transitions(OverlayTrack), QStringLiteral("0-1000(10,200,30) 1000-1500(1,2,3)"));
        QCOMPARE(LastRow(), QStringLiteral("Pack Timeline Tracks"));
    });

    // Locked rows stay as they are; their neighbours close up.
    Main()->RunCommand(QStringLiteral("mnuEditUndo"));
    Lock(RowKind::Audio, 0);
    Lock(RowKind::Effect, 0);
    Lock(RowKind::Overlay, 0);
    RunAndUndo(QStringLiteral("mnuToolsPackTimelineBars"), [&] {
        QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-1000] 1000-2500[100-1600] 2500-3500[0-1000]"));
        QCOMPARE(Sources(Audio1()), QStringLiteral("500-1500[0-1000] 2000-3000[0-1000]"));
        QCOMPARE(Effects(Video()), QStringLiteral("Blur 1500-2000,Wave 2500-3000"));
        QCOMPARE(Sources(OverlayTrack), QStringLiteral("2000-3000[0-1000] 4000-4500[0-500]"));
        QCOMPARE(Transitions(OverlayTrack), QStringLiteral("2000-3000(10,200,30) 4000-4500(1,2,3)"));
    });
}

void TestTimelineTracks::restoreSizeGivesTheMediaLength()
{
    // A plays 3 s of media in 1 s; C plays half a second in a second; B is not selected.
    Put(Video(), 0, 1000, 0, 3000);
    Put(Video(), 2000, 3000, 0, 2000);
    Put(Video(), 4000, 5000, 200, 700);
    Put(Audio1(), 0, 2000, 0, 1000);
    PutOverlay(1000, 1500, 0, 0, 0);
    Tl().SetSourceMediaTimes(OverlayTrack, 0, 0, 2000);
    Main()->EnableOrDisableMenuItems();
    QVERIFY(!Enabled("mnuEditRestoreSize")); // nothing selected
    Tl().SetSourceSelected(Video(), 0, true);
    Tl().SetSourceSelected(Video(), 2, true);
    Tl().SetSourceSelected(Audio1(), 0, true);
    Tl().SetSourceSelected(OverlayTrack, 0, true);
    // The lock box does not stop it: no lock is asked.
    Lock(RowKind::Audio, 0);
    Main()->EnableOrDisableMenuItems();
    QVERIFY(Enabled("mnuEditRestoreSize"));
    RunAndUndo(QStringLiteral("mnuEditRestoreSize"), [&] {
        // A now reaches over B, which stays where it was.
        QCOMPARE(Sources(Video()), QStringLiteral("0-3000[0-3000] 2000-3000[0-2000] 4000-4500[200-700]"));
        QCOMPARE(Sources(Audio1()), QStringLiteral("0-1000[0-1000]"));
        QCOMPARE(Sources(OverlayTrack), QStringLiteral("1000-3000[0-2000]"));
        QCOMPARE(Transitions(OverlayTrack), QStringLiteral("1000-3000(0,0,0)"));
        QCOMPARE(LastRow(), QStringLiteral("Restore Size"));
        // Everything selected is natural now: the entry goes off.
        QVERIFY(!Enabled("mnuEditRestoreSize"));
    });
}

void TestTimelineTracks::repeatAudioFillsToTheVideosEnd()
{
    Put(Video(), 0, 10000, 0, 10000);
    Put(Audio1(), 0, 1000, 0, 1000);
    Put(Audio1(), 1000, 3000, 500, 2500);
    Main()->EnableOrDisableMenuItems();
    QVERIFY(!Enabled("mnuToolsRepeatAudio")); // no sound selected
    Tl().SetSourceSelected(Audio1(), 0, true);
    Main()->EnableOrDisableMenuItems();
    QVERIFY(Enabled("mnuToolsRepeatAudio"));
    // The track's last sound repeats, though the first is the one selected. The last
    // repeat ends with the video; its media stop is the remaining 1,000 ms itself, so it
    // plays media 500..1000.
    RunAndUndo(QStringLiteral("mnuToolsRepeatAudio"), [&] {
        QCOMPARE(Sources(Audio1()), QStringLiteral("0-1000[0-1000] 1000-3000[500-2500] 3000-5000[500-2500] "
                                                   "5000-7000[500-2500] 7000-9000[500-2500] 9000-10000[500-1000]"));
        QCOMPARE(LastRow(), QStringLiteral("Repeat Audio"));
        QCOMPARE(Children(3).size(), 6);
    });

    // Already as long as the video: nothing changes, and the entry made for it is not
    // counted; the next operation drops it.
    Main()->RunCommand(QStringLiteral("mnuEditRedo"));
    Tl().SetSourceSelected(Audio1(), 0, true);
    const int16_t inForce = ModuleHistory::HistoryIndex;
    const QString sounds = Sources(Audio1());
    Main()->RunCommand(QStringLiteral("mnuToolsRepeatAudio"));
    QCOMPARE(Sources(Audio1()), sounds);
    QCOMPARE(ModuleHistory::HistoryIndex, inForce);
    QCOMPARE(ModuleHistory::HistoryCollection.Count(), inForce + 1);
    Main()->RunCommand(QStringLiteral("mnuToolsPackTimelineBars"));
    QCOMPARE(ModuleHistory::HistoryCollection.Count(), static_cast<int>(ModuleHistory::HistoryIndex));

    // Audio 2 repeats when Audio 1 has nothing selected; with nothing selected on either,
    // nothing happens.
    init();
    Put(Video(), 0, 2500, 0, 2500);
    Put(Audio1(), 0, 1000, 0, 1000);
    Put(Audio2(), 200, 1000, 0, 800);
    Main()->RunCommand(QStringLiteral("mnuToolsRepeatAudio"));
    QCOMPARE(Sources(Audio2()), QStringLiteral("200-1000[0-800]"));
    Tl().SetSourceSelected(Audio2(), 0, true);
    Main()->RunCommand(QStringLiteral("mnuToolsRepeatAudio"));
    QCOMPARE(Sources(Audio1()), QStringLiteral("0-1000[0-1000]"));
    QCOMPARE(Sources(Audio2()), QStringLiteral("200-1000[0-800] 1000-1800[0-800] 1800-2500[0-700]"));
}

void TestTimelineTracks::splitCutsEveryTrackAtTheSlider()
{
    // At 5,000: the video is split; Audio 1's sound ends 10 ms after the slider and Audio
    // 2's begins 9 ms before it, so neither is; the effect and the keyed overlay are.
    Put(Video(), 0, 10000, 0, 10000);
    Put(Audio1(), 4000, 5010, 0, 1010);
    Put(Audio2(), 4991, 6000, 0, 1009);
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 4000, 6000));
    PutOverlay(2000, 8000, 10, 200, 30);
    moduleTimeline::SetSliderPosition(5000, false);
    RunAndUndo(QStringLiteral("mnuToolsSplitTimeline"), [&] {
        QCOMPARE(Sources(Video()), QStringLiteral("0-5000[0-5000] 5000-10000[5000-10000]"));
        QCOMPARE(Sources(Audio1()), QStringLiteral("4000-5010[0-1010]"));
        QCOMPARE(Sources(Audio2()), QStringLiteral("4991-6000[0-1009]"));
        QCOMPARE(Effects(Video()), QStringLiteral("Blur 4000-5000,Blur 5000-6000"));
        QCOMPARE(Sources(OverlayTrack), QStringLiteral("2000-5000[0-3000] 5000-8000[3000-6000]"));
        QCOMPARE(Transitions(OverlayTrack), QStringLiteral("2000-5000(10,200,30) 5000-8000(10,200,30)"));
        QCOMPARE(Children(0), (QStringList{"video.avi", "video.avi"}));
        QCOMPARE(LastRow(), QStringLiteral("Split Timeline Tracks"));
    });

    // 11 ms on either side is enough. Locked rows are not split. An effect has no
    // shortest piece: on its edge it leaves an empty one.
    init();
    Put(Video(), 0, 10000, 0, 10000);
    Put(Audio1(), 4989, 5011, 0, 22);
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Wave"), 5000, 7000));
    Lock(RowKind::Video, 0);
    moduleTimeline::SetSliderPosition(5000, false);
    ModuleHistory::StoreCurrentTLImage();
    const TimelineImage before = ModuleHistory::ReadTimelineImage(260);
    Main()->RunCommand(QStringLiteral("mnuToolsSplitTimeline"));
    QCOMPARE(Sources(Video()), QStringLiteral("0-10000[0-10000]"));
    QCOMPARE(Sources(Audio1()), QStringLiteral("4989-5000[0-11] 5000-5011[11-22]"));
    QCOMPARE(Effects(Video()), QStringLiteral("Wave 5000-5000,Wave 5000-7000"));
    // Undo gives the one effect back; the empty piece is one the history cannot lay
    // out again, so a redo brings back the other alone.
    Main()->RunCommand(QStringLiteral("mnuEditUndo"));
    QVERIFY(ModuleHistory::ReadTimelineImage(260) == before);
    Main()->RunCommand(QStringLiteral("mnuEditRedo"));
    QCOMPARE(Effects(Video()), QStringLiteral("Wave 5000-7000"));
    Lock(RowKind::Effect, 0);
    Main()->RunCommand(QStringLiteral("mnuToolsSplitTimeline"));
    QCOMPARE(Effects(Video()), QStringLiteral("Wave 5000-7000"));
}

void TestTimelineTracks::clearCommandsAskAndRefuseLocks()
{
    Put(Video(), 0, 4000, 0, 4000);
    Put(Audio2(), 0, 2000, 0, 2000);
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Fade"), 0, 1000));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Emboss"), 2000, 3000));
    PutOverlay(1000, 2000, 5, 6, 7);
    ModuleTreeView::UpdateTreeView();
    const QString unlockEffects = QStringLiteral("Please unlock the Effect Track before attempting to clear it.");
    const QString unlockOverlays = QStringLiteral("Please unlock the Overlays Track before attempting to clear it.");
    const QString unlockAll = QStringLiteral("One or more tracks in the timeline are locked. Please unlock these "
                                             "tracks before attempting to clear the timeline.");

    // A lock refuses with its message, and makes no entry.
    Lock(RowKind::Effect, 0);
    Lock(RowKind::Overlay, 0);
    for (const char* command : {"mnuEditClearEffect", "mnuEditClearOverlay", "mnuEditClearTimeline"})
        Main()->RunCommand(QString::fromLatin1(command));
    QCOMPARE(QmTest::TakeMessageTexts(), (QStringList{unlockEffects, unlockOverlays, unlockAll}));
    QCOMPARE(ModuleHistory::HistoryCollection.Count(), 0);
    QCOMPARE(Effects(Video()), QStringLiteral("Fade 0-1000,Emboss 2000-3000"));
    Lock(RowKind::Effect, 0, false);
    Lock(RowKind::Overlay, 0, false);
    Lock(RowKind::Audio, 1);
    Main()->RunCommand(QStringLiteral("mnuEditClearTimeline"));
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{unlockAll});
    Lock(RowKind::Audio, 1, false);

    Main()->EnableOrDisableMenuItems();
    QVERIFY(Enabled("mnuEditClearEffect") && Enabled("mnuEditClearOverlay") && Enabled("mnuEditClearTimeline"));
    RunAndUndo(QStringLiteral("mnuEditClearEffect"), [&] {
        QCOMPARE(Effects(Video()), QString());
        QCOMPARE(Sources(Video()), QStringLiteral("0-4000[0-4000]"));
        QCOMPARE(Children(1), QStringList());
        QCOMPARE(LastRow(), QStringLiteral("Clear Effect Track"));
        QVERIFY(!Enabled("mnuEditClearEffect"));
    });
    RunAndUndo(QStringLiteral("mnuEditClearOverlay"), [&] {
        QCOMPARE(Sources(OverlayTrack), QString());
        QCOMPARE(Transitions(OverlayTrack), QString());
        QCOMPARE(Children(2), QStringList());
        QCOMPARE(LastRow(), QStringLiteral("Clear Overlay Track"));
        QVERIFY(!Enabled("mnuEditClearOverlay"));
    });

    // Clearing everything asks; No leaves all as it was, without an entry.
    const int entries = ModuleHistory::HistoryCollection.Count();
    QmScript::AnswerMessage(QmMsgBox::No);
    Main()->RunCommand(QStringLiteral("mnuEditClearTimeline"));
    QCOMPARE(Sources(Audio2()), QStringLiteral("0-2000[0-2000]"));
    QCOMPARE(ModuleHistory::HistoryCollection.Count(), entries);
    const QList<QmScript::ShownMessage> asked = QmScript::TakeMessages();
    QCOMPARE(asked.size(), 1);
    QCOMPARE(asked[0].text, QStringLiteral("Are you sure you want to clear the timeline?"));
    QCOMPARE(asked[0].buttons, QmMsgBox::Buttons::YesNo);
    QCOMPARE(asked[0].icon, QmMsgBox::Icon::Question);
    QmScript::AnswerMessage(QmMsgBox::Yes);
    RunAndUndo(QStringLiteral("mnuEditClearTimeline"), [&] {
        for (int32_t track : {Video(), Audio1(), Audio2(), OverlayTrack})
            QCOMPARE(Tl().GetSourceCount(track), int16_t(0));
        QCOMPARE(Effects(Video()), QString());
        QCOMPARE(Children(0), QStringList());
        QCOMPARE(LastRow(), QStringLiteral("Clear Timeline"));
        QVERIFY(!Enabled("mnuEditClearTimeline") && !Enabled("mnuToolsPackTimelineBars"));
    });
    QmTest::TakeMessageTexts();
}

void TestTimelineTracks::shuffleReordersATrack()
{
    // A, B, C, D on the video track, told apart by their media starts. B plays 1 s of
    // media over 2 s.
    auto build = [this] {
        init();
        Put(Video(), 0, 1000, 0, 1000);
        Put(Video(), 1000, 3000, 100, 1100);
        Put(Video(), 3000, 4000, 200, 1200);
        Put(Video(), 5000, 6000, 300, 1300);
        Put(Audio1(), 0, 1000, 0, 1000);
        ModuleTreeView::UpdateTreeView();
        ModuleHistory::StoreCurrentTLImage();
    };
    auto shuffle = [](int t, int dragged, int dropped) {
        const TimelineImage before = ModuleHistory::ReadTimelineImage(260);
        ModuleTreeView::OnNodeDragDrop(Node(t, dragged), Node(t, dropped));
        QVERIFY(ProjectModified);
        QCOMPARE(LastRow(), QStringLiteral("Shuffle Sources"));
        QCOMPARE(ModuleHistory::HistoryIndex, int16_t(1));
        const TimelineImage after = ModuleHistory::ReadTimelineImage(260);
        Main()->RunCommand(QStringLiteral("mnuEditUndo"));
        QVERIFY(ModuleHistory::ReadTimelineImage(260) == before);
        Main()->RunCommand(QStringLiteral("mnuEditRedo"));
        QVERIFY(ModuleHistory::ReadTimelineImage(260) == after);
    };

    // B dropped on D, the last: dragged down, it goes after D, at its media length.
    build();
    shuffle(0, 1, 3);
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-1000] 3000-4000[200-1200] 5000-6000[300-1300] "
                                              "6000-7000[100-1100]"));
    // A dropped on C: it goes in at the start of the item now at C's place, D, without
    // moving it.
    build();
    shuffle(0, 0, 2);
    QCOMPARE(Sources(Video()), QStringLiteral("1000-3000[100-1100] 3000-4000[200-1200] 5000-6000[0-1000] "
                                              "5000-6000[300-1300]"));
    // D dropped on B: dragged up, it goes in ahead of B, at B's start.
    build();
    shuffle(0, 3, 1);
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-1000] 1000-2000[300-1300] 1000-3000[100-1100] "
                                              "3000-4000[200-1200]"));
    // C dropped on A, the first place: the items from the third place on move on by C's
    // length, A (now second) stays.
    build();
    shuffle(0, 2, 0);
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[200-1200] 0-1000[0-1000] 2000-4000[100-1100] "
                                              "6000-7000[300-1300]"));
    // D dropped on itself goes back where it was; the list follows the engine.
    build();
    shuffle(0, 3, 3);
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-1000] 1000-3000[100-1100] 3000-4000[200-1200] "
                                              "5000-6000[300-1300]"));
    QCOMPARE(Children(0).size(), 4);

    // A locked track is left alone, and no entry is made. So is a drag from the video
    // track to a sound track, either way, or onto the effects.
    build();
    Lock(RowKind::Video, 0);
    ModuleTreeView::OnNodeDragDrop(Node(0, 0), Node(0, 2));
    Lock(RowKind::Video, 0, false);
    const QString video = Sources(Video());
    ModuleTreeView::OnNodeDragDrop(Node(0, 0), Node(3, 0));
    ModuleTreeView::OnNodeDragDrop(Node(0, 1), Node(3));
    ModuleTreeView::OnNodeDragDrop(Node(3, 0), Node(0, 1));
    ModuleTreeView::OnNodeDragDrop(Node(0, 0), Node(1));
    ModuleTreeView::OnNodeDragDrop(Node(0), Node(0, 1));
    QCOMPARE(Sources(Video()), video);
    QCOMPARE(Sources(Audio1()), QStringLiteral("0-1000[0-1000]"));
    QCOMPARE(ModuleHistory::HistoryCollection.Count(), 0);
    QCOMPARE(HistoryRows()->Count(), 0);
}

void TestTimelineTracks::shuffleKeepsOverlayKeysAndEffectNames()
{
    Put(Video(), 0, 8000, 0, 8000);
    PutOverlay(0, 1000, 10, 200, 30);
    PutOverlay(2000, 3000, 1, 2, 3);
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 0, 1000));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Wave"), 2000, 2500));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Fade"), 3000, 4000));
    ModuleTreeView::UpdateTreeView();
    // The first overlay dropped on the last goes after it with its key colour, through
    // the list's buffer; its key transition lies with it.
    ModuleTreeView::OnNodeDragDrop(Node(2, 0), Node(2, 1));
    QCOMPARE(Sources(OverlayTrack), QStringLiteral("2000-3000[0-1000] 3000-4000[0-1000]"));
    QCOMPARE(Transitions(OverlayTrack), QStringLiteral("2000-3000(1,2,3) 3000-4000(10,200,30)"));
    QCOMPARE(Tl().GetTransitionName(OverlayTrack, 1, 20), QStringLiteral("DxtKey"));
    QCOMPARE(Children(2).size(), 2);

    // Fade dropped on Blur, the first place: Wave, now third, moves on by Fade's length.
    ModuleTreeView::OnNodeDragDrop(Node(1, 2), Node(1, 0));
    QCOMPARE(Effects(Video()), QStringLiteral("Fade 0-1000,Blur 0-1000,Wave 3000-3500"));
    QCOMPARE(Children(1), (QStringList{"Fade", "Blur", "Wave"}));
    QCOMPARE(ModuleHistory::HistoryIndex, int16_t(2));
}

void TestTimelineTracks::soundsMoveBetweenTheSoundTracks()
{
    auto build = [this] {
        init();
        Put(Video(), 0, 4000, 0, 4000);
        Put(Audio1(), 0, 1000, 0, 1000);
        Put(Audio1(), 2000, 3000, 0, 1000);
        Put(Audio2(), 0, 1500, 0, 1500);
        Put(Audio2(), 1500, 2500, 500, 1500);
        ModuleTreeView::UpdateTreeView();
        ModuleHistory::StoreCurrentTLImage();
    };
    // Audio 1's second sound dropped on Audio 2's second: it starts where Audio 2's first
    // ends, and what follows makes room.
    build();
    Tl().SetSourceSelected(Audio1(), 1, true);
    Main()->EnableOrDisableMenuItems();
    QVERIFY(!Enabled("mnuEditUndo") && Enabled("mnuEditAddtoAudio2"));
    ModuleTreeView::OnNodeDragDrop(Node(3, 1), Node(4, 1));
    // The menus follow: the move can be undone, and nothing selected is left to move.
    QVERIFY(Enabled("mnuEditUndo") && !Enabled("mnuEditAddtoAudio2"));
    QCOMPARE(Sources(Audio1()), QStringLiteral("0-1000[0-1000]"));
    QCOMPARE(Sources(Audio2()), QStringLiteral("0-1500[0-1500] 1500-2500[0-1000] 2500-3500[500-1500]"));
    QCOMPARE(Children(3), QStringList{"audio.wav"});
    QCOMPARE(Children(4).size(), 3);
    QCOMPARE(LastRow(), QStringLiteral("Shuffle Sources"));
    QCOMPARE(ModuleHistory::HistoryIndex, int16_t(1));

    // Dropped on the track node it goes first, at 0. A sound that plays 1 s over 2 s
    // keeps its 2 s, and what follows moves on by its media length alone.
    build();
    Tl().SetSourceTimes(Audio1(), 0, 0, 2000);
    Tl().SetSourceSelected(Audio1(), 0, true);
    ModuleTreeView::OnNodeDragDrop(Node(3, 0), Node(4));
    QCOMPARE(Sources(Audio2()), QStringLiteral("0-2000[0-1000] 1000-2500[0-1500] 2500-3500[500-1500]"));

    // A locked sound track stops it; and so does a drag onto the video.
    build();
    Tl().SetSourceSelected(Audio1(), 0, true);
    Lock(RowKind::Audio, 1);
    ModuleTreeView::OnNodeDragDrop(Node(3, 0), Node(4, 0));
    Lock(RowKind::Audio, 1, false);
    ModuleTreeView::OnNodeDragDrop(Node(3, 0), Node(0, 0));
    ModuleTreeView::OnNodeDragDrop(Node(3, 0), Node(0));
    QCOMPARE(Sources(Audio1()), QStringLiteral("0-1000[0-1000] 2000-3000[0-1000]"));
    QCOMPARE(Sources(Video()), QStringLiteral("0-4000[0-4000]"));
    QCOMPARE(ModuleHistory::HistoryCollection.Count(), 0);

    // From the menus: Move to Audio 2 needs a sound selected on Audio 1, and puts it
    // after Audio 2's last; Move to Audio 1 the other way. Each is one Shuffle.
    build();
    Main()->EnableOrDisableMenuItems();
    QVERIFY(!Enabled("mnuEditAddtoAudio1") && !Enabled("mnuEditAddtoAudio2"));
    Tl().SetSourceSelected(Audio1(), 0, true);
    Main()->EnableOrDisableMenuItems();
    QVERIFY(Enabled("mnuEditAddtoAudio2") && Enabled("mnuEditContextAddtoAudio2"));
    QVERIFY(!Enabled("mnuEditAddtoAudio1"));
    RunAndUndo(QStringLiteral("mnuEditContextAddtoAudio2"), [&] {
        QCOMPARE(Sources(Audio1()), QStringLiteral("2000-3000[0-1000]"));
        QCOMPARE(Sources(Audio2()), QStringLiteral("0-1500[0-1500] 1500-2500[500-1500] 2500-3500[0-1000]"));
        QCOMPARE(Children(4).size(), 3);
        QCOMPARE(LastRow(), QStringLiteral("Shuffle Sources"));
        QVERIFY(!Enabled("mnuEditAddtoAudio2"));
    });
    Tl().SetSourceSelected(Audio2(), 0, true);
    RunAndUndo(QStringLiteral("mnuEditAddtoAudio1"), [&] {
        QCOMPARE(Sources(Audio1()), QStringLiteral("2000-3000[0-1000] 3000-4500[0-1500]"));
        QCOMPARE(Sources(Audio2()), QStringLiteral("1500-2500[500-1500] 2500-3500[0-1000]"));
    });
}

void TestTimelineTracks::theListsOwnDropsShuffle()
{
    Put(Video(), 0, 1000, 0, 1000);
    Put(Video(), 1000, 2000, 100, 1100);
    Put(Video(), 2000, 3000, 200, 1200);
    ModuleTreeView::UpdateTreeView();
    QTreeWidget* tree = Tree();
    auto centre = [tree](QTreeWidgetItem* node) {
        tree->scrollToItem(node);
        return tree->visualItemRect(node).center();
    };
    // A press on the third node selects it and is where its drag begins.
    QTest::mousePress(tree->viewport(), Qt::LeftButton, {}, centre(Node(0, 2)));
    QVERIFY(Tl().IsSourceSelected(Video(), 2));
    QTest::mouseRelease(tree->viewport(), Qt::LeftButton, {}, centre(Node(0, 2)));
    auto drop = [&](const QString& format, QTreeWidgetItem* onto) {
        // As a drag brings them: the list is entered, which takes only what it can
        // drop, then the drop goes to it.
        QMimeData data;
        data.setData(format, QByteArray());
        const QPoint at = centre(onto);
        QDragEnterEvent enter(at, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(tree->viewport(), &enter);
        QDropEvent event(QPointF(at), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(tree->viewport(), &event);
        return event.dropAction();
    };
    // Rows of the media list dropped on the list change nothing.
    drop(QString::fromLatin1(QmListView::RowsMimeType), Node(0, 0));
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-1000] 1000-2000[100-1100] 2000-3000[200-1200]"));
    // The list's own node dropped on the first: a shuffle, taken as a copy, so that the
    // list itself removes nothing when the drag ends.
    QCOMPARE(drop(tree->model()->mimeTypes().first(), Node(0, 0)), Qt::CopyAction);
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[200-1200] 0-1000[0-1000] 2000-3000[100-1100]"));
    QCOMPARE(Children(0).size(), 3);
    QCOMPARE(LastRow(), QStringLiteral("Shuffle Sources"));
    // The node pressed is forgotten after its drop: a second drop moves nothing.
    const QString after = Sources(Video());
    drop(tree->model()->mimeTypes().first(), Node(0, 1));
    QCOMPARE(Sources(Video()), after);
}

QM_TEST_MAIN(TestTimelineTracks)
#include "test_timeline_tracks.moc"
