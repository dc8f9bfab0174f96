// Cut, copy, delete, crop and paste on the real timeline: worked examples with their
// numbers, the clipboard's records, the locks and links, the overlay's transitions and
// keys, the effects, and the commands as the menus run them.
#include "QmTestSupport.h"

#include "core/QmCollection.h"
#include "core/QmListView.h"
#include "core/QmShared.h"
#include "editing/moduleEdit.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "history/ModuleHistory.h"
#include "media/moduleTarnwick.h"
#include "shell/frmTools.h"
#include "shell/mdiTarnwick.h"
#include "timeline/TimelineView.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QCheckBox>
#include <QScrollBar>

using namespace QmShared;
using namespace moduleEdit;
using QmTest::Audio1;
using QmTest::Audio2;
using QmTest::Effects;
using QmTest::Sources;
using QmTest::Tl;
using QmTest::Transitions;
using QmTest::Video;

namespace {

// The source records as "stream:mediaStart-mediaStop/length#seq" ("gap:length#seq").
QString SourceRecords(int32_t track)
{
    QStringList out;
    for (const SourceClip& c : SourceClips) {
        if (c.Track != track)
            continue;
        out << (c.Stream == 0 ? QStringLiteral("gap:%1#%2").arg(c.MediaStop).arg(c.Seq)
                              : QStringLiteral("%1-%2/%3#%4").arg(c.MediaStart).arg(c.MediaStop).arg(c.Length).arg(c.Seq));
    }
    return out.join(u' ');
}

} // namespace

class TestEditing : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cutInsideOneSourceLeavesAGap();
    void stretchedSourceCutAndSplitByPaste();
    void selectionFromGapToGapAcrossTwoTracks();
    void cutThenPasteRestoresTheGaps();
    void pasteOverASelectionStartingAtAStop();
    void locksAndLinksKeepTracks();
    void wholeItemFormsAndTheirLocks();
    void overlayKeepsItsTransitionsAndKeys();
    void effectsAreCutAndPasted();
    void cropKeepsTheInside();
    void deleteMovesSourcesAfterASelectionEndingInAGap();
    void pastePlacesAndSplits();
    void commandsMakeHistoryAndFollowTheMenus();

private:
    int32_t m_stream = 0, m_sound = 0, m_picture = 0;
    void Put(int32_t track, int32_t start, int32_t stop, int32_t mediaStart, int32_t mediaStop, int32_t stream = 0);
    void Select(int32_t a, int32_t b);
    void SliderAt(int32_t ms);
};

void TestEditing::initTestCase()
{
    Engine = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    QVERIFY(moduleTarnwick::Init());
    mdiTarnwick::instance()->Load();
    mdiTarnwick::instance()->resize(1600, 900);
    mdiTarnwick::instance()->show();
    auto& root = Eng<ITWCoreRoot>();
    auto& media = Eng<ITWMediaFiles>();
    m_stream = media.OpenStream(root.OpenFile(QmTest::Fixture(QStringLiteral("video.avi"))), 0);
    m_sound = media.OpenStream(root.OpenFile(QmTest::Fixture(QStringLiteral("audio.wav"))), 0);
    m_picture = media.OpenStream(root.OpenFile(QmTest::Fixture(QStringLiteral("image.jpg"))), 0);
    QVERIFY(m_stream && m_sound && m_picture);
}

void TestEditing::init()
{
    QmTest::FreshTimeline();
    ClearSourceClips();
    ClearEffectClips();
    ClearTransitionClips();
    QmTest::TakeMessageTexts();
}

void TestEditing::Put(int32_t track, int32_t start, int32_t stop, int32_t mediaStart, int32_t mediaStop, int32_t stream)
{
    if (stream == 0)
        stream = Tl().IsVideoTrack(track) ? m_stream : m_sound;
    QVERIFY(Tl().AppendSource(track, stream, start));
    const int16_t seq = static_cast<int16_t>(Tl().GetSourceCount(track) - 1);
    QVERIFY(Tl().SetSourceTimes(track, seq, start, stop));
    QVERIFY(Tl().SetSourceMediaTimes(track, seq, mediaStart, mediaStop));
}

void TestEditing::Select(int32_t a, int32_t b)
{
    // The edits take each edge half a slider (5 pixels) past its line.
    const int32_t half = moduleScaleRenderer::PixelsToMs(5);
    moduleTimeline::SetSelSliderPosition(a - half, true);
    moduleTimeline::SetSelSliderPosition(b - half, false);
    moduleTimeline::ShowSelSliders(true);
    QCOMPARE(TimelineView::SelectionStart(), a);
    QCOMPARE(TimelineView::SelectionEnd(), b);
}

void TestEditing::SliderAt(int32_t ms)
{
    moduleTimeline::SetSliderPosition(ms, false);
}

void TestEditing::cutInsideOneSourceLeavesAGap()
{
    // 0..10,000 over media 0..10,000, cut over 2,000..5,000; the next source stays put.
    Put(Video(), 0, 10000, 0, 10000);
    Put(Video(), 12000, 13000, 0, 1000);
    Tl().SetSourceStretchMode(Video(), 0, 3);
    Select(2000, 5000);
    EditCut();
    QCOMPARE(Sources(Video()), QStringLiteral("0-2000[0-2000] 5000-10000[5000-10000] 12000-13000[0-1000]"));
    QCOMPARE(Tl().GetSourceStream(Video(), 0), Tl().GetSourceStream(Video(), 1));
    QCOMPARE(Tl().GetSourceStretchMode(Video(), 0), int16_t{3});
    QCOMPARE(Tl().GetSourceStretchMode(Video(), 1), int16_t{3});
    QCOMPARE(SourceRecords(Video()), QStringLiteral("2000-5000/3000#0"));
    QCOMPARE(SourceClips[0].StretchMode, int16_t{3});
    // The sliders are hidden after every selection edit.
    QVERIFY(!TimelineView::SelectionShown());
}

void TestEditing::stretchedSourceCutAndSplitByPaste()
{
    // Timeline 0..5,000 over media 0..10,000: rate 0.5. Cut over 1,000..2,000: the
    // edges' media are (1000 - 0) / 0.5 + 0 = 2000 and 10000 - (5000 - 2000) / 0.5 = 4000.
    Put(Video(), 0, 5000, 0, 10000);
    Select(1000, 2000);
    EditCut();
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-2000] 2000-5000[4000-10000]"));
    QCOMPARE(SourceRecords(Video()), QStringLiteral("2000-4000/1000#0"));

    // A paste at 3,000 splits the right piece (2,000..5,000 over 4,000..10,000, rate 0.5)
    // with the split's own formulas, which divide the whole expression:
    // right media start (10000 - (5000 - 3000)) / 0.5 = 16000,
    // left media stop ((3000 - 2000) + 4000) / 0.5 = 10000.
    SliderAt(3000);
    EditPaste();
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-2000] 2000-3000[4000-10000] 3000-4000[2000-4000] "
                                              "4000-6000[16000-10000]"));
    // The clipboard stays for another paste.
    QCOMPARE(SourceRecords(Video()), QStringLiteral("2000-4000/1000#0"));
}

void TestEditing::selectionFromGapToGapAcrossTwoTracks()
{
    // Video: 1000..2000, 3000..4000, 6000..7000. Audio 1: 2500..3500.
    // The selection 500..5000 starts and ends in gaps.
    Put(Video(), 1000, 2000, 0, 1000);
    Put(Video(), 3000, 4000, 0, 1000);
    Put(Video(), 6000, 7000, 0, 1000);
    Put(Audio1(), 2500, 3500, 0, 1000);
    Select(500, 5000);
    EditCut();
    // The stretch ahead of a track's first source is not kept. A source whose
    // predecessor was taken whole is then the first, so the stretch between the two goes
    // too; the stretch after the last piece up to the next source is kept.
    QCOMPARE(SourceRecords(Video()), QStringLiteral("0-1000/1000#0 0-1000/1000#1 gap:1000#2"));
    QCOMPARE(SourceRecords(Audio1()), QStringLiteral("0-1000/1000#0 gap:1500#1"));
    QCOMPARE(Sources(Video()), QStringLiteral("6000-7000[0-1000]"));
    QCOMPARE(Sources(Audio1()), QString());
    QCOMPARE(SourceClips.size(), 5);

    // Cut from inside a source, the stretch before the next one is kept in order.
    init();
    Put(Video(), 0, 2000, 0, 2000);
    Put(Video(), 3000, 4000, 0, 1000);
    Select(1000, 3500);
    EditCut();
    QCOMPARE(SourceRecords(Video()), QStringLiteral("1000-2000/1000#0 gap:1000#1 0-500/500#2"));
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-1000] 3500-4000[500-1000]"));
}

void TestEditing::cutThenPasteRestoresTheGaps()
{
    // 0..2000 cut from 1,500, a gap of 1,000, 3000..4000 cut to 3,500: the pieces with
    // the gap between them.
    Put(Video(), 0, 2000, 0, 2000);
    Put(Video(), 3000, 4000, 0, 1000);
    Put(Video(), 8000, 9000, 0, 1000);
    Select(1500, 3500);
    EditCut();
    QCOMPARE(Sources(Video()), QStringLiteral("0-1500[0-1500] 3500-4000[500-1000] 8000-9000[0-1000]"));
    QCOMPARE(SourceRecords(Video()), QStringLiteral("1500-2000/500#0 gap:1000#1 0-500/500#2"));
    // Pasted at 1,500 the pieces come back 1,000 apart, and what follows moves on by the
    // pieces and the gap.
    SliderAt(1500);
    EditPaste();
    QCOMPARE(Sources(Video()), QStringLiteral("0-1500[0-1500] 1500-2000[1500-2000] 3000-3500[0-500] "
                                              "5500-6000[500-1000] 10000-11000[0-1000]"));

    // Taken whole, two sources leave their spacing behind: the second is then the first
    // of its track. The stretch after the last piece is kept, and pasted back after it.
    init();
    Put(Video(), 1000, 2000, 0, 1000);
    Put(Video(), 3000, 4000, 0, 1000);
    Put(Video(), 8000, 9000, 0, 1000);
    Select(1000, 4500);
    EditCut();
    QCOMPARE(SourceRecords(Video()), QStringLiteral("0-1000/1000#0 0-1000/1000#1 gap:500#2"));
    SliderAt(1000);
    EditPaste();
    QCOMPARE(Sources(Video()), QStringLiteral("1000-2000[0-1000] 2000-3000[0-1000] 10500-11500[0-1000]"));
}

void TestEditing::pasteOverASelectionStartingAtAStop()
{
    // A clip of 700 ms, pasted over 2,000..3,000 where a source stops at 2,000 and the
    // next runs on past 3,000: the selection goes, that source closes up to 2,000, then
    // moves right by the clip.
    ClearSourceClips();
    SourceClips << SourceClip{Video(), m_stream, 300, 1000, 0, 700, 0};
    Put(Video(), 0, 2000, 0, 2000);
    Put(Video(), 2500, 4000, 0, 1500);
    Select(2000, 3000);
    EditPaste();
    QCOMPARE(Sources(Video()), QStringLiteral("0-2000[0-2000] 2000-2700[300-1000] 2700-3700[500-1500]"));
    QVERIFY(!TimelineView::SelectionShown());

    // The delete before the paste also reaches a source wholly after the selection: it
    // starts at the selection's end from then on, its media start moved with it.
    init();
    SourceClips << SourceClip{Video(), m_stream, 300, 1000, 0, 700, 0};
    Put(Video(), 0, 2000, 0, 2000);
    Put(Video(), 2500, 4000, 0, 1500);
    Put(Video(), 5000, 6000, 0, 1000);
    Select(2000, 3000);
    EditPaste();
    QCOMPARE(Sources(Video()), QStringLiteral("0-2000[0-2000] 2000-3000[500-1500] 2000-2700[300-1000] "
                                              "2700-5700[-2000-1000]"));
}

void TestEditing::locksAndLinksKeepTracks()
{
    Put(Video(), 0, 4000, 0, 4000);
    Put(Audio1(), 0, 4000, 0, 4000);
    Put(Audio2(), 0, 4000, 0, 4000);
    TimelineView::SetRowOption(TimelineView::RowKind::Audio, 0, TimelineView::Option::Lock, true);
    Tl().SetTrackLink(Audio2(), false);
    Tl().SetSourceSelected(Audio2(), 0, true);
    Select(1000, 2000);
    EditCut();
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-1000] 2000-4000[2000-4000]"));
    // Locked: nothing changes and nothing is recorded. Unlinked: walked, left alone,
    // its selected flag too.
    QCOMPARE(Sources(Audio1()), QStringLiteral("0-4000[0-4000]"));
    QCOMPARE(Sources(Audio2()), QStringLiteral("0-4000[0-4000]"));
    QCOMPARE(SourceRecords(Audio1()), QString());
    QVERIFY(Tl().IsSourceSelected(Audio2(), 0));

    // Paste: a locked track that has sources is passed over; a locked empty one takes
    // its records. Cut empties the clipboard even with nothing to cut.
    ClearSourceClips();
    SourceClips << SourceClip{Audio1(), m_sound, 0, 500, 0, 500, 0};
    SliderAt(1000);
    EditPaste();
    QCOMPARE(Sources(Audio1()), QStringLiteral("0-4000[0-4000]"));
    Tl().RemoveSource(Audio1(), 0);
    EditPaste();
    QCOMPARE(Sources(Audio1()), QStringLiteral("1000-1500[0-500]"));
    EditCut();
    QVERIFY(!IsClipboardFilled());
}

void TestEditing::wholeItemFormsAndTheirLocks()
{
    Put(Video(), 0, 1000, 0, 1000);
    Put(Video(), 1000, 2000, 0, 1000);
    Put(Video(), 2000, 3000, 100, 1100);
    Put(Audio1(), 0, 1000, 0, 1000);
    Put(Audio1(), 1000, 2000, 0, 1000);
    Tl().SetSourceSelected(Video(), 0, true);
    Tl().SetSourceSelected(Video(), 2, true);
    Tl().SetSourceSelected(Audio1(), 1, true);
    TimelineView::SetRowOption(TimelineView::RowKind::Audio, 0, TimelineView::Option::Lock, true);
    EditCut();
    // Video loses its two, which make a run of their own; the locked audio keeps its.
    QCOMPARE(Sources(Video()), QStringLiteral("1000-2000[0-1000]"));
    QCOMPARE(SourceRecords(Video()), QStringLiteral("0-1000/1000#0 100-1100/1000#1"));
    QCOMPARE(Sources(Audio1()), QStringLiteral("0-1000[0-1000] 1000-2000[0-1000]"));
    // Pasted back at the slider, before the remaining source, which moves on.
    SliderAt(1000);
    EditPaste();
    QCOMPARE(Sources(Video()), QStringLiteral("1000-2000[0-1000] 2000-3000[100-1100] 3000-4000[0-1000]"));

    // Copy leaves the track, and the clipboard holds the copy alone.
    Tl().SetSourceSelected(Video(), 2, true);
    EditCopy();
    QCOMPARE(Sources(Video()), QStringLiteral("1000-2000[0-1000] 2000-3000[100-1100] 3000-4000[0-1000]"));
    QCOMPARE(SourceRecords(Video()), QStringLiteral("0-1000/1000#0"));
    // Delete takes without keeping; crop keeps the selected and drops the others.
    Tl().SetSourceSelected(Video(), 0, true);
    EditDelete();
    QCOMPARE(Sources(Video()), QStringLiteral("2000-3000[100-1100]"));
    QCOMPARE(SourceRecords(Video()), QStringLiteral("0-1000/1000#0"));
    Put(Video(), 5000, 6000, 0, 1000);
    Tl().SetSourceSelected(Video(), 1, true);
    EditCrop(false);
    QCOMPARE(Sources(Video()), QStringLiteral("5000-6000[0-1000]"));
}

void TestEditing::overlayKeepsItsTransitionsAndKeys()
{
    Put(Video(), 0, 6000, 0, 6000);
    Put(OverlayTrack, 1000, 5000, 0, 4000);
    QVERIFY(Tl().AddTransitionAt(OverlayTrack, QStringLiteral("DxtKey"), 1000, 5000));
    ApplyTransitionKey(OverlayTrack, 0, 10, 200, 30);
    Select(2000, 3000);
    EditCut();
    QCOMPARE(Sources(OverlayTrack), QStringLiteral("1000-2000[0-1000] 3000-5000[2000-4000]"));
    QCOMPARE(Transitions(OverlayTrack), QStringLiteral("1000-2000(10,200,30) 3000-5000(10,200,30)"));
    QCOMPARE(TransitionClips.size(), 1);
    QCOMPARE(TransitionClips[0].Name, QStringLiteral("DxtKey"));
    QCOMPARE(TransitionClips[0].Length, 1000);
    QCOMPARE(TransitionClips[0].KeyGreen, int16_t{200});
    // Pasted into the gap's start, the piece and its keyed transition come back.
    SliderAt(2000);
    EditPaste();
    QCOMPARE(Sources(OverlayTrack), QStringLiteral("1000-2000[0-1000] 2000-3000[1000-2000] 4000-6000[2000-4000]"));
    QCOMPARE(Transitions(OverlayTrack), QStringLiteral("1000-2000(10,200,30) 2000-3000(10,200,30) 4000-6000(10,200,30)"));
    // Pasting inside an overlay splits it and its transition.
    SliderAt(5000);
    EditPaste();
    QCOMPARE(Transitions(OverlayTrack),
             QStringLiteral("1000-2000(10,200,30) 2000-3000(10,200,30) 4000-5000(10,200,30) 5000-6000(10,200,30) "
                            "6000-7000(10,200,30)"));
    // A delete over a selection before an overlay leaves it, where a source after the
    // selection would be reached.
    const QString overlays = Sources(OverlayTrack);
    Select(200, 500);
    EditDelete();
    QCOMPARE(Sources(OverlayTrack), overlays);
    // Deleting the whole selected overlays takes the transitions with them.
    for (int16_t seq = 0; seq < Tl().GetSourceCount(OverlayTrack); ++seq)
        Tl().SetSourceSelected(OverlayTrack, seq, true);
    EditDelete();
    QCOMPARE(Sources(OverlayTrack), QString());
    QCOMPARE(Transitions(OverlayTrack), QString());
}

void TestEditing::effectsAreCutAndPasted()
{
    Put(Video(), 0, 8000, 0, 8000);
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Pixelate"), 1000, 4000));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Fade"), 5000, 6000));
    TimelineView::SetRowOption(TimelineView::RowKind::Effect, 0, TimelineView::Option::Link, true);
    Select(2000, 5500);
    EditCut();
    QCOMPARE(Effects(Video()), QStringLiteral("Pixelate 1000-2000,Fade 5500-6000"));
    // The pieces; a stretch between two effects in the selection is not kept.
    QCOMPARE(EffectClips.size(), 2);
    QCOMPARE(EffectClips[0].Name, QStringLiteral("Pixelate"));
    QCOMPARE(EffectClips[0].Length, 2000);
    QCOMPARE(EffectClips[1].Name, QStringLiteral("Fade"));
    QCOMPARE(EffectClips[1].Length, 500);
    SliderAt(2000);
    EditPaste();
    QCOMPARE(Effects(Video()), QStringLiteral("Pixelate 1000-2000,Pixelate 2000-4000,Fade 4000-4500,Fade 8000-8500"));

    // An unlinked effect lane is not touched by a selection edit.
    TimelineView::SetRowOption(TimelineView::RowKind::Effect, 0, TimelineView::Option::Link, false);
    const QString before = Effects(Video());
    Select(1000, 3000);
    EditDelete();
    QCOMPARE(Effects(Video()), before);
    // A cut that leaves the video track bare empties the effects.
    Tl().SetSourceSelected(Video(), 0, true);
    for (int16_t seq = 0; seq < Tl().GetSourceCount(Video()); ++seq)
        Tl().SetSourceSelected(Video(), seq, true);
    EditCut();
    QCOMPARE(Sources(Video()), QString());
    QCOMPARE(Effects(Video()), QString());
}

void TestEditing::cropKeepsTheInside()
{
    Put(Video(), 0, 1000, 0, 1000);
    Put(Video(), 1500, 4000, 0, 2500);
    Put(Video(), 4500, 5000, 0, 500);
    Put(Video(), 6000, 7000, 0, 1000);
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 0, 2000));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Wave"), 2000, 3000));
    TimelineView::SetRowOption(TimelineView::RowKind::Effect, 0, TimelineView::Option::Link, true);
    Select(2000, 5000);
    EditCrop(false);
    // What lies wholly outside goes; what crosses an edge is cut to it; a source ending
    // at the edge stays whole, an effect sharing an edge goes.
    QCOMPARE(Sources(Video()), QStringLiteral("2000-4000[500-2500] 4500-5000[0-500]"));
    QCOMPARE(Effects(Video()), QString());

    // Crop sources only: nothing is dropped first, and a source after the selection is
    // cut at its end (the guard lets it through).
    ModuleHistory::EmptyTimeline();
    Put(Video(), 0, 1000, 0, 1000);
    Put(Video(), 1500, 4000, 0, 2500);
    Put(Video(), 6000, 7000, 0, 1000);
    Select(2000, 5000);
    EditCrop(true);
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-1000] 2000-4000[500-2500] 6000-5000[0--1000]"));
}

void TestEditing::deleteMovesSourcesAfterASelectionEndingInAGap()
{
    // The delete's guard lets every source after the selection through, and each gets
    // its start set to the selection's end.
    Put(Video(), 0, 1000, 0, 1000);
    Put(Video(), 3000, 4000, 0, 1000);
    Put(Video(), 5000, 6000, 0, 1000);
    Select(500, 2000);
    EditDelete();
    QCOMPARE(Sources(Video()), QStringLiteral("0-500[0-500] 2000-4000[-1000-1000] 2000-6000[-3000-1000]"));
}

void TestEditing::pastePlacesAndSplits()
{
    ClearSourceClips();
    SourceClips << SourceClip{Video(), m_picture, 0, 5000, 0, 500, 0};
    Put(Video(), 1000, 2000, 0, 1000);
    Put(Video(), 3000, 4000, 0, 1000);
    Put(Audio1(), 1000, 2000, 0, 1000);
    // At a source's start: before it, which moves on.
    SliderAt(1000);
    EditPaste();
    QCOMPARE(Sources(Video()), QStringLiteral("1000-1500[0-5000] 1500-2500[0-1000] 3500-4500[0-1000]"));
    // At a stop: after it.
    SliderAt(2500);
    EditPaste();
    QCOMPARE(Sources(Video()),
             QStringLiteral("1000-1500[0-5000] 1500-2500[0-1000] 2500-3000[0-5000] 4000-5000[0-1000]"));
    // In a gap: there, the rest moves on by the whole clip.
    SliderAt(3500);
    EditPaste();
    QCOMPARE(Sources(Video()), QStringLiteral("1000-1500[0-5000] 1500-2500[0-1000] 2500-3000[0-5000] "
                                              "3500-4000[0-5000] 4500-5500[0-1000]"));
    // Inside a source: it splits, its right part moves on. Past the end: at the position.
    SliderAt(5000);
    EditPaste();
    QCOMPARE(Sources(Video()).section(u' ', 4), QStringLiteral("4500-5000[0-500] 5000-5500[0-5000] 5500-6000[500-1000]"));
    SliderAt(9000);
    EditPaste();
    QVERIFY(Sources(Video()).endsWith(QStringLiteral("9000-9500[0-5000]")));
    // The audio track has no records: not split, not moved.
    QCOMPARE(Sources(Audio1()), QStringLiteral("1000-2000[0-1000]"));
}

void TestEditing::commandsMakeHistoryAndFollowTheMenus()
{
    mdiTarnwick* main = mdiTarnwick::instance();
    QmListView* history = frmTools::instance()->lvwHistory;
    // An empty timeline: cut only brings the menus up to date.
    main->RunCommand(QStringLiteral("mnuEditCut"));
    QCOMPARE(history->Count(), 0);

    Put(Video(), 0, 4000, 0, 4000);
    ModuleHistory::StoreCurrentTLImage();
    Tl().SetSourceSelected(Video(), 0, true);
    main->EnableOrDisableMenuItems();
    QVERIFY(main->Item(QStringLiteral("mnuEditCut"))->isEnabled());
    QVERIFY(!main->Item(QStringLiteral("mnuEditPaste"))->isEnabled());
    main->RunCommand(QStringLiteral("mnuEditCopy"));
    QVERIFY(main->Item(QStringLiteral("mnuEditPaste"))->isEnabled());
    // A copy is an operation of the history like the others.
    QCOMPARE(history->Count(), 1);
    SliderAt(4000);
    main->RunCommand(QStringLiteral("mnuEditPaste"));
    QCOMPARE(Sources(Video()), QStringLiteral("0-4000[0-4000] 4000-8000[0-4000]"));
    Select(1000, 2000);
    main->RunCommand(QStringLiteral("mnuEditCut"));
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-1000] 2000-4000[2000-4000] 4000-8000[0-4000]"));
    QCOMPARE(history->Count(), 3);
    QVERIFY(ProjectModified);
    // Undo takes the cut back, then the paste.
    main->RunCommand(QStringLiteral("mnuEditUndo"));
    QCOMPARE(Sources(Video()), QStringLiteral("0-4000[0-4000] 4000-8000[0-4000]"));
    main->RunCommand(QStringLiteral("mnuEditUndo"));
    QCOMPARE(Sources(Video()), QStringLiteral("0-4000[0-4000]"));
    main->RunCommand(QStringLiteral("mnuEditRedo"));
    main->RunCommand(QStringLiteral("mnuEditRedo"));
    QCOMPARE(Sources(Video()), QStringLiteral("0-1000[0-1000] 2000-4000[2000-4000] 4000-8000[0-4000]"));
    // While an edit runs, another is not started.
    InSelectionUpdate = true;
    Tl().SetSourceSelected(Video(), 0, true);
    EditDelete();
    QCOMPARE(Tl().GetSourceCount(Video()), int16_t{3});
    InSelectionUpdate = false;
}

QM_TEST_MAIN(TestEditing)
#include "test_editing.moc"
