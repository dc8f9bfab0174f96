// Undo and redo by timeline images: the menu entries, the history list's clicks, the
// limit of entries, the images themselves, and random runs of operations undone and
// redone in full.
#include "QmTestSupport.h"

#include "core/QmListView.h"
#include "core/QmShared.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "editing/moduleEdit.h"
#include "history/ModuleHistory.h"
#include "timeline/moduleScaleRenderer.h"
#include "media/moduleTarnwick.h"
#include "shell/frmTools.h"
#include "shell/mdiTarnwick.h"
#include "timeline/frmTimeline.h"

#include <QAbstractItemView>
#include <QCheckBox>
#include <QScrollBar>

#include <functional>
#include <random>

using namespace QmShared;
using namespace ModuleHistory;
using QmTest::Tl;

namespace {

// The timeline through the history's own reader, names at full width: two states
// compare item for item.
TimelineImage Take()
{
    return ReadTimelineImage(260);
}

QString Describe(const TimelineImage& image)
{
    QStringList parts;
    for (const SourceImage& i : image.sources + image.overlays)
        parts << QStringLiteral("%1:%2-%3(%4-%5)#%6m%7")
                     .arg(i.Track)
                     .arg(i.Start)
                     .arg(i.Stop)
                     .arg(i.MediaStart)
                     .arg(i.MediaStop)
                     .arg(i.Stream)
                     .arg(i.StretchMode);
    for (const EffectImage& e : image.effects)
        parts << QStringLiteral("fx %1 %2-%3").arg(e.Name).arg(e.Start).arg(e.Stop);
    for (const TransitionImage& k : image.transitions)
        parts << QStringLiteral("key %1-%2 %3,%4,%5").arg(k.Start).arg(k.Stop).arg(k.KeyRed).arg(k.KeyGreen).arg(k.KeyBlue);
    return parts.join(u' ');
}

QmListView* Rows()
{
    return frmTools::instance()->lvwHistory;
}

QStringList RowTexts()
{
    QStringList texts;
    for (int r = 0; r < Rows()->Count(); ++r)
        texts << Rows()->Text(r) + (Rows()->ForeColor(r) == DisabledColor ? QStringLiteral(" (undone)") : QString());
    return texts;
}

// One command in the history's calling order: its entry before, the operation, the
// index raised and the image after.
void Command(const QString& word, const std::function<void()>& operation)
{
    RemoveDisabledEntries();
    AddOperationToHistory(word);
    operation();
    ++HistoryIndex;
    RearrangeHistoryCollection();
    StoreCurrentTLImage();
    ProjectModified = true;
    mdiTarnwick::instance()->EnableOrDisableMenuItems();
}

} // namespace

class TestHistory : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void menuUndoRemovesRowsAndRedoBringsThemBack();
    void newOperationDropsWhatWasUndone();
    void listClicksJumpAcrossSeveralEntries();
    void keepsAtMost26EntriesInForce();
    void keptOddities();
    void imagesKeepWhatTheyShould();
    void randomRunsUndoAndRedoExactly();

private:
    int32_t m_video = 0;   // a 2 s video stream
    int32_t m_sound = 0;   // a 3 s sound stream
    int32_t m_picture = 0; // a 5 s still
    void AddClip(int32_t track, int32_t stream, int32_t start = -1);
};

void TestHistory::initTestCase()
{
    Engine = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    QVERIFY(moduleTarnwick::Init());
    mdiTarnwick::instance()->Load();
    mdiTarnwick::instance()->show();
    auto& root = Eng<ITWCoreRoot>();
    auto& media = Eng<ITWMediaFiles>();
    m_video = media.OpenStream(root.OpenFile(QmTest::Fixture(QStringLiteral("video.avi"))), 0);
    m_sound = media.OpenStream(root.OpenFile(QmTest::Fixture(QStringLiteral("audio.wav"))), 0);
    m_picture = media.OpenStream(root.OpenFile(QmTest::Fixture(QStringLiteral("image.jpg"))), 0);
    QVERIFY(m_video && m_sound && m_picture);
}

void TestHistory::init()
{
    EmptyHistory();
    EmptyTimeline();
    StoreCurrentTLImage();
    QmTest::TakeMessageTexts();
}

void TestHistory::AddClip(int32_t track, int32_t stream, int32_t start)
{
    QVERIFY(Tl().AppendSource(track, stream, start));
}

void TestHistory::menuUndoRemovesRowsAndRedoBringsThemBack()
{
    mdiTarnwick* main = mdiTarnwick::instance();
    const int32_t video = TrackCollection.Item(1);
    QVERIFY(!main->Item(QStringLiteral("mnuEditUndo"))->isEnabled());
    QList<TimelineImage> before;
    for (const char* word : {"AddToTimeline", "Effect", "Cut"}) {
        before << Take();
        Command(QString::fromLatin1(word), [&] {
            if (QByteArray(word) == "Effect")
                QVERIFY(Tl().AddEffectAt(video, QStringLiteral("Fade"), 100, 900));
            else
                AddClip(video, m_video);
        });
    }
    const TimelineImage newest = Take();
    main->EnableOrDisableMenuItems();
    QVERIFY(main->Item(QStringLiteral("mnuEditUndo"))->isEnabled());
    QVERIFY(main->ToolButton(QStringLiteral("UNDO"))->isEnabled());
    QVERIFY(!main->Item(QStringLiteral("mnuEditRedo"))->isEnabled());
    QCOMPARE(RowTexts(), (QStringList{"Add to Timeline", "Add Effect to Timeline", "Cut"}));

    // Undo from the menu: the row goes, the entry stays for redo.
    main->Item(QStringLiteral("mnuEditUndo"))->trigger();
    QCOMPARE(HistoryIndex, int16_t(2));
    QCOMPARE(HistoryCollection.Count(), 3);
    QCOMPARE(RowTexts(), (QStringList{"Add to Timeline", "Add Effect to Timeline"}));
    QCOMPARE(Describe(Take()), Describe(before[2]));
    QVERIFY(main->Item(QStringLiteral("mnuEditRedo"))->isEnabled());
    main->Item(QStringLiteral("mnuEditUndo"))->trigger();
    QCOMPARE(Describe(Take()), Describe(before[1]));

    // Redo rebuilds the rows from their entries; the newest state comes from the image
    // stored after the last operation.
    main->Item(QStringLiteral("mnuEditRedo"))->trigger();
    QCOMPARE(Describe(Take()), Describe(before[2]));
    QCOMPARE(RowTexts(), (QStringList{"Add to Timeline", "Add Effect to Timeline"}));
    main->Item(QStringLiteral("mnuEditRedo"))->trigger();
    QCOMPARE(Describe(Take()), Describe(newest));
    QCOMPARE(RowTexts(), (QStringList{"Add to Timeline", "Add Effect to Timeline", "Cut"}));
    QCOMPARE(HistoryIndex, int16_t(3));
    QVERIFY(!main->Item(QStringLiteral("mnuEditRedo"))->isEnabled());

    // At the ends nothing moves.
    Redo();
    QCOMPARE(HistoryIndex, int16_t(3));
    QCOMPARE(Describe(Take()), Describe(newest));
    for (int i = 0; i < 3; ++i)
        Undo();
    QCOMPARE(Describe(Take()), Describe(before[0]));
    Undo();
    QCOMPARE(HistoryIndex, int16_t(0));
}

void TestHistory::newOperationDropsWhatWasUndone()
{
    const int32_t video = TrackCollection.Item(1);
    Command(QStringLiteral("AddToTimeline"), [&] { AddClip(video, m_video); });
    Command(QStringLiteral("AddToTimeline"), [&] { AddClip(video, m_picture); });
    mdiTarnwick::instance()->Item(QStringLiteral("mnuEditUndo"))->trigger();
    QVERIFY(CanRedo());
    Command(QStringLiteral("Delete"), [&] { Tl().RemoveSource(video, 0); });
    QVERIFY(!CanRedo());
    QCOMPARE(HistoryCollection.Count(), 2);
    QCOMPARE(RowTexts(), (QStringList{"Add to Timeline", "Delete"}));
    // An operation that came to nothing takes its entry back.
    Command(QStringLiteral("Move"), [] {});
    DeleteLastEntry();
    QCOMPARE(HistoryIndex, int16_t(2));
    QCOMPARE(RowTexts(), (QStringList{"Add to Timeline", "Delete"}));
}

void TestHistory::listClicksJumpAcrossSeveralEntries()
{
    const int32_t audio = TrackCollection.Item(2);
    const TimelineImage empty = Take();
    for (int i = 0; i < 3; ++i)
        Command(QStringLiteral("AddToTimeline"), [&] { AddClip(audio, m_sound); });
    const TimelineImage full = Take();

    // A click on the first row undoes everything, and leaves the rows coloured.
    QTest::mouseClick(Rows()->ActiveView()->viewport(), Qt::LeftButton, {},
                      Rows()->ActiveView()->visualRect(Rows()->ActiveView()->model()->index(0, 0)).center());
    QTRY_COMPARE(HistoryIndex, int16_t(0));
    QCOMPARE(Describe(Take()), Describe(empty));
    QCOMPARE(RowTexts(), (QStringList{"Add to Timeline (undone)", "Add to Timeline (undone)", "Add to Timeline (undone)"}));
    QVERIFY(ProjectModified);

    // A click on the third, undone row redoes everything.
    lvwHistory_Click(2);
    QCOMPARE(HistoryIndex, int16_t(3));
    QCOMPARE(Describe(Take()), Describe(full));
    QCOMPARE(RowTexts(), QStringList(3, QStringLiteral("Add to Timeline")));

    // After a click, a menu undo colours rather than removes; and a new operation
    // removes the undone rows first.
    lvwHistory_Click(1);
    QCOMPARE(HistoryIndex, int16_t(1));
    mdiTarnwick::instance()->Item(QStringLiteral("mnuEditUndo"))->trigger();
    QCOMPARE(RowTexts(), QStringList(3, QStringLiteral("Add to Timeline (undone)")));
    QCOMPARE(Describe(Take()), Describe(empty));
}

void TestHistory::keepsAtMost26EntriesInForce()
{
    const int32_t audio = TrackCollection.Item(2);
    for (int i = 0; i < 26; ++i)
        Command(QStringLiteral("Repeat"), [&] { AddClip(audio, m_sound); });
    QCOMPARE(HistoryIndex, int16_t(26));
    QCOMPARE(HistoryCollection.Count(), 26);
    Command(QStringLiteral("Pack"), [&] { AddClip(audio, m_sound); });
    QCOMPARE(HistoryIndex, int16_t(26));
    QCOMPARE(HistoryCollection.Count(), 26);
    QCOMPARE(Rows()->Count(), 26);
    QCOMPARE(Rows()->Text(25), QStringLiteral("Pack Timeline Tracks"));
    // The oldest entry went: undoing all that stands leaves the first clip.
    while (CanUndo())
        Undo();
    QCOMPARE(Tl().GetSourceCount(audio), int16_t(1));
}

void TestHistory::keptOddities()
{
    const int32_t video = TrackCollection.Item(1);
    AddClip(video, m_video);
    StoreCurrentTLImage();
    // A redo of "Clear Effects" after a menu undo brings no row back: the list is then
    // one row short of the collection.
    Command(QStringLiteral("Effect"), [&] { Tl().AddEffectAt(video, QStringLiteral("Blur"), 0, 500); });
    Command(QStringLiteral("Clear Effects"), [&] { Tl().RemoveEffect(video, 0); });
    mdiTarnwick::instance()->Item(QStringLiteral("mnuEditUndo"))->trigger();
    mdiTarnwick::instance()->Item(QStringLiteral("mnuEditRedo"))->trigger();
    QCOMPARE(RowTexts(), QStringList{QStringLiteral("Add Effect to Timeline")});
    QCOMPARE(HistoryCollection.Count(), 2);
    QCOMPARE(Tl().GetEffectCount(video), int16_t(0));

    // A redo through an undone row sends the view back to its start.
    EmptyHistory();
    for (int i = 0; i < 20; ++i)
        AddClip(video, m_video);
    moduleScaleRenderer::AdjustScroll();
    TimelineView::SetScrollValue(30);
    Command(QStringLiteral("Delete"), [&] { Tl().RemoveSource(video, 19); });
    Command(QStringLiteral("Delete"), [&] { Tl().RemoveSource(video, 18); });
    lvwHistory_Click(0);
    QCOMPARE(TimelineView::ScrollValue(), 30); // the entry's own view
    lvwHistory_Click(0);
    QCOMPARE(TimelineView::ScrollValue(), 0);

    // An unknown word makes an entry with no row; the removal of undone rows takes the
    // entry below the row it removes.
    EmptyHistory();
    Command(QStringLiteral("NoSuchWord"), [] {});
    QCOMPARE(Rows()->Count(), 0);
    QCOMPARE(HistoryCollection.Item(1)->GetOperationType(), QString());
    EmptyHistory();
    for (const char* word : {"Cut", "Copy", "Paste"})
        Command(QString::fromLatin1(word), [] {});
    const auto cutEntry = HistoryCollection.Item(1);
    const auto pasteEntry = HistoryCollection.Item(3);
    lvwHistory_Click(2); // Paste undone
    RemoveDisabledEntries();
    QCOMPARE(RowTexts(), (QStringList{"Cut", "Copy"}));
    QCOMPARE(HistoryCollection.Count(), 2);
    QCOMPARE(HistoryCollection.Item(1), cutEntry);
    QCOMPARE(HistoryCollection.Item(2), pasteEntry); // Copy's entry went, Paste's stayed
    // With every row undone, the walk runs out of rows: its trap ends it quietly.
    lvwHistory_Click(0);
    RemoveDisabledEntries();
    QCOMPARE(Rows()->Count(), 0);
}

void TestHistory::imagesKeepWhatTheyShould()
{
    const int32_t video = TrackCollection.Item(1);
    // An empty timeline: all counts 0, and a rebuild leaves it empty.
    Command(QStringLiteral("AddToTimeline"), [&] { AddClip(video, m_video); });
    QCOMPARE(HistoryCollection.Item(1)->GetSrcCount(), int16_t(0));
    QCOMPARE(HistoryCollection.Item(1)->GetEffectCount(), int16_t(0));
    QCOMPARE(HistoryCollection.Item(1)->GetTransitionCount(), int16_t(0));

    // A long effect name comes back cut at 10; the overlay's key comes back; selected
    // flags are clear after the rebuild; lock and link boxes are untouched.
    Command(QStringLiteral("Effect"), [&] { Tl().InsertEffect(video, QStringLiteral("Pixelated blur"), 0, 100, 800, 0); });
    Command(QStringLiteral("Overlay"), [&] {
        AddClip(OverlayTrack, m_picture, 0);
        Tl().AddTransitionAt(OverlayTrack, QStringLiteral("DxtKey"), 0, 5000);
        moduleEdit::ApplyTransitionKey(OverlayTrack, 0, 12, 200, 34);
    });
    Command(QStringLiteral("Resize"), [&] {
        Tl().SetSourceMediaTimes(video, 0, 250, 1750);
        Tl().SetSourceStretchMode(video, 0, 2);
    });
    Command(QStringLiteral("Move"), [&] { Tl().SetSourceTimes(video, 0, 500, 2500); });
    Tl().SetSourceSelected(video, 0, true);
    TimelineView::SetRowOption(TimelineView::RowKind::Audio, 0, TimelineView::Option::Lock, true);
    TimelineView::SetRowOption(TimelineView::RowKind::Video, 0, TimelineView::Option::Link, false);
    Undo();
    // Read here through the engine itself, not through the reader the images share.
    int32_t mediaStart = 0, mediaStop = 0;
    QVERIFY(Tl().GetSourceMediaTimes(video, 0, mediaStart, mediaStop));
    QCOMPARE(mediaStart, 250);
    QCOMPARE(mediaStop, 1750);
    QCOMPARE(Tl().GetSourceStretchMode(video, 0), int16_t(2));
    QCOMPARE(Tl().GetEffectName(video, 0, 260), QStringLiteral("Pixelated")); // cut at 10, then trimmed
    QCOMPARE(Eng<ITWKeyTransition>().GetKeyGreen(OverlayTrack, 0), int16_t(200));
    QCOMPARE(Eng<ITWKeyTransition>().GetKeyBlue(OverlayTrack, 0), int16_t(34));
    QVERIFY(!Tl().IsSourceSelected(video, 0));
    QVERIFY(TimelineView::RowOption(TimelineView::RowKind::Audio, 0, TimelineView::Option::Lock));
    QVERIFY(!TimelineView::RowOption(TimelineView::RowKind::Video, 0, TimelineView::Option::Link));
    TimelineView::SetRowOption(TimelineView::RowKind::Audio, 0, TimelineView::Option::Lock, false);
    TimelineView::SetRowOption(TimelineView::RowKind::Video, 0, TimelineView::Option::Link, true);
    // The newest image holds transition names through a wider buffer.
    Redo();
    QCOMPARE(LastTransitionImages.size(), 1);
    QCOMPARE(LastTransitionImages[0].Name, QStringLiteral("DxtKey"));
}

void TestHistory::randomRunsUndoAndRedoExactly()
{
    // Random runs of up to 40 operations in the history's calling order; then undoing all
    // that stands in force must give back the state before the oldest of them exactly,
    // and redoing all must give back the final state.
    std::mt19937 rng(4061);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    const int32_t video = TrackCollection.Item(1);
    const int32_t audio1 = TrackCollection.Item(2);
    const int32_t audio2 = TrackCollection.Item(3);
    const char* const words[] = {"AddToTimeline", "Cut", "Copy", "Paste", "Effect", "Overlay", "Delete", "Move",
                                 "Resize", "Shuffle", "Split", "Pack", "Repeat", "Clear", "Restore", "Crop"};
    for (int run = 0; run < 12; ++run) {
        init();
        const int operations = pick(1, 40);
        QList<TimelineImage> before;
        for (int op = 0; op < operations; ++op) {
            before << Take();
            Command(QString::fromLatin1(words[pick(0, 15)]), [&] {
                auto& tl = Tl();
                const int32_t tracks[] = {video, audio1, audio2};
                const int32_t track = tracks[pick(0, 2)];
                const int16_t count = tl.GetSourceCount(track);
                switch (pick(0, 8)) {
                case 0:
                case 1:
                    tl.AppendSource(track, track == video ? (pick(0, 1) ? m_video : m_picture) : m_sound, -1);
                    break;
                case 2:
                    tl.RemoveSource(track, static_cast<int16_t>(pick(0, std::max(0, count - 1))));
                    break;
                case 3: { // move the last source on, keeping order
                    int32_t s = 0, e = 0;
                    if (tl.GetSourceTimes(track, count - 1, s, e))
                        tl.SetSourceTimes(track, count - 1, s + pick(0, 900), e + pick(0, 2000));
                    break;
                }
                case 4:
                    tl.SetSourceMediaTimes(track, static_cast<int16_t>(pick(0, std::max(0, count - 1))), pick(0, 500), pick(600, 2000));
                    tl.SetSourceStretchMode(track, static_cast<int16_t>(pick(0, std::max(0, count - 1))), static_cast<int16_t>(pick(0, 3)));
                    break;
                case 5: { // an effect where the lane is free
                    const int32_t start = tl.GetTrackDuration(video) + pick(0, 3000);
                    tl.AddEffectAt(video, pick(0, 1) ? QStringLiteral("Fade") : QStringLiteral("Emboss"), start, start + pick(100, 900));
                    break;
                }
                case 6: { // an overlay with its key after the last one
                    const int32_t start = tl.GetTrackDuration(OverlayTrack) + pick(0, 1000);
                    if (tl.AppendSource(OverlayTrack, m_picture, start)) {
                        const int16_t n = tl.GetSourceCount(OverlayTrack);
                        int32_t s = 0, e = 0;
                        tl.GetSourceTimes(OverlayTrack, n - 1, s, e);
                        tl.AddTransitionAt(OverlayTrack, QStringLiteral("DxtKey"), s, e);
                        moduleEdit::ApplyTransitionKey(OverlayTrack, n - 1, static_cast<int16_t>(pick(0, 255)),
                                                       static_cast<int16_t>(pick(0, 255)), static_cast<int16_t>(pick(0, 255)));
                    }
                    break;
                }
                case 7:
                    tl.ShiftSources(track, static_cast<int16_t>(pick(0, count)), pick(0, 1500));
                    break;
                default: // a copy: no change
                    break;
                }
            });
        }
        const TimelineImage final = Take();
        const int inForce = HistoryIndex;
        QVERIFY(inForce <= 26);
        QCOMPARE(inForce, std::min(operations, 26));
        while (CanUndo())
            mnuEditUndo_Click();
        QVERIFY2(Take() == before[operations - inForce],
                 qPrintable(QStringLiteral("run %1 of %2 operations:\n%3\n%4").arg(run).arg(operations)
                                .arg(Describe(Take()), Describe(before[operations - inForce]))));
        while (CanRedo())
            mnuEditRedo_Click();
        QVERIFY2(Take() == final, qPrintable(QStringLiteral("run %1:\n%2\n%3").arg(run).arg(Describe(Take()), Describe(final))));
        QCOMPARE(Rows()->Count(), inForce);
    }
}

QM_TEST_MAIN(TestHistory)
#include "test_history.moc"
