// The timeline panel: the fixed tracks and their option boxes, the press that selects,
// the scale and zoom, the bars painted to the pixel, the three sliders with their drags
// and edge scrolling, the timeline list and the markers. The real forms are driven with
// real media on the real engine.
#include "QmTestSupport.h"

#include "core/QmColors.h"
#include "core/QmImageBox.h"
#include "core/QmPicture.h"
#include "core/QmShared.h"
#include "editing/moduleTWState.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "engine/tarnwick/TarnwickTimeline.h"
#include "media/moduleTarnwick.h"
#include "preview/frmPreview.h"
#include "shell/mdiTarnwick.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleBookmarks.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QCheckBox>
#include <QLabel>
#include <QScrollBar>
#include <QSet>
#include <QSlider>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>

#include <cmath>
#include <utility>

using namespace QmShared;
using namespace moduleTimeline;
using namespace moduleScaleRenderer;
using QmTest::Audio1;
using QmTest::Audio2;
using QmTest::Stream;
using QmTest::Tl;
using QmTest::Video;

namespace {

// The timeline's own controls: these tests work the panel as its modules do.
TimelineControls* Form()
{
    return frmTimeline::instance()->Controls();
}

// What the engine keeps and no interface reads back: disable flags, the effects switch
// and the selection of transitions.
const Tarnwick::TimelineModel& Model()
{
    return dynamic_cast<TarnwickTimeline&>(*Engine).Model();
}

bool TransitionSelected(int16_t seq)
{
    return Model().At(OverlayTrack).transitions.at(seq).selected;
}

QSlider* SeekBar()
{
    return frmPreview::instance()->sldSeekBar;
}

QLabel* Panel(const char* key)
{
    return mdiTarnwick::instance()->StatusPanel(QString::fromLatin1(key));
}

// The fixture's first stream as the track's last source, from start to stop.
bool Put(int32_t track, const char* fixture, int32_t start, int32_t stop)
{
    auto& tl = Tl();
    if (!tl.AppendSource(track, Stream(fixture), -1))
        return false;
    return tl.SetSourceTimes(track, static_cast<int16_t>(tl.GetSourceCount(track) - 1), start, stop);
}

void Redraw()
{
    AdjustScroll();
    RenderScale();
    RenderAllBars();
    ShowOrHideTrackSelections();
    RenderAllSelections();
}

QString Colour(int32_t bgr)
{
    return QmColors::ToQColor(bgr).name();
}

QString Px(const QmPicture* pic, int x, int y)
{
    return QColor(pic->Image().pixel(x, y)).name();
}

struct Dot
{
    int x, y;
    int32_t colour;
};

// The first of the dots that the picture does not show, or nothing.
QString Wrong(const QmPicture* pic, std::initializer_list<Dot> dots)
{
    for (const Dot& d : dots)
        if (Px(pic, d.x, d.y) != Colour(d.colour))
            return QStringLiteral("%1,%2 is %3, not %4").arg(d.x).arg(d.y).arg(Px(pic, d.x, d.y), Colour(d.colour));
    return QString();
}

// Anything but the ground colour inside r: the ink of a caption or a label.
bool HasInk(const QmPicture* pic, const QRect& r, int32_t ground)
{
    const QRgb rgb = QmColors::ToQColor(ground).rgb();
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x)
            if (pic->Image().pixel(x, y) != rgb)
                return true;
    return false;
}

// A press on a row at view x, as the user does it. The release is made with Ctrl held,
// which leaves the selection as the press made it: these tests see the press's rule.
void Press(QWidget* row, int x, Qt::KeyboardModifiers keys = {})
{
    QTest::mousePress(row, Qt::LeftButton, keys, QPoint(x, row->height() / 2));
    QTest::mouseRelease(row, Qt::LeftButton, keys | Qt::ControlModifier, QPoint(x, row->height() / 2));
}

// Handles are grabbed 5 pixels into them; a move asks for the handle's left at newLeft.
void Grab(QWidget* handle)
{
    QTest::mousePress(handle, Qt::LeftButton, {}, QPoint(5, 6));
}

void DragTo(QWidget* handle, int newLeft)
{
    QTest::mouseMove(handle, QPoint(5 + newLeft - handle->x(), 6));
}

void Drop(QWidget* handle)
{
    QTest::mouseRelease(handle, Qt::LeftButton, {}, QPoint(5, 6));
}

QCheckBox* CheckBox(const QByteArray& name)
{
    return frmTimeline::instance()->findChild<QCheckBox*>(QString::fromLatin1(name));
}

QmImageBox* ImageBox(const QByteArray& name)
{
    return frmTimeline::instance()->findChild<QmImageBox*>(QString::fromLatin1(name));
}

void Click(const QByteArray& name)
{
    QTest::mouseClick(ImageBox(name), Qt::LeftButton, {}, QPoint(4, 4));
}

// A row's disable, lock and link boxes as value:picture, as "0:DISABLE 0:BLANK 1:LINK".
QString Options(const char* row)
{
    QStringList parts;
    for (const char* option : {"Disable", "Lock", "Link"})
        parts << QString::number(CheckBox(QByteArray("chk") + option + row)->isChecked()) + u':'
                     + ImageBox(QByteArray("img") + option + row)->Picture();
    return parts.join(u' ');
}

QStringList Children(const QTreeWidgetItem* node)
{
    QStringList texts;
    for (int i = 0; i < node->childCount(); ++i)
        texts << node->child(i)->text(0);
    return texts;
}

void ClickNode(QTreeWidgetItem* node)
{
    QTreeWidget* tree = Form()->tvwTimeline;
    tree->scrollToItem(node);
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(node).center());
}

} // namespace

class TestTimeline : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void startsWithFixedTracksListAndSliders();
    void conversionsZoomAndScroll();
    void scaleTicksAndSelectionBand();
    void barsPaintedToThePixel();
    void barLimitsLocksAndClipping();
    void pressOnRowsSelects();
    void optionBoxesAsTheUserClicksThem();
    void slidersPlacedShownAndToggled();
    void slidersDraggedAndKeyed();
    void timelineListMirrorsAndSelects();
    void markers();

private:
    bool m_started = false;
};

void TestTimeline::initTestCase()
{
    if (!QmTest::StartMainWindow(1200, 800))
        return;
    QVERIFY(Form()->picScale->ScaleWidth() > 400);
}

void TestTimeline::init()
{
    // The first test sees the panel as it started.
    if (!std::exchange(m_started, true))
        return;
    TimelineControls* f = Form();
    f->tmTimeline->stop();
    f->Dragging = f->DraggingSlider = f->DraggingStart = f->DraggingEnd = false;
    auto& tl = Tl();
    for (int32_t track : {Video(), Audio1(), Audio2(), OverlayTrack}) {
        while (tl.RemoveSource(track, 0)) {}
        while (tl.RemoveTransition(track, 0)) {}
        while (tl.IsVideoTrack(track) && tl.RemoveEffect(track, 0)) {}
    }
    ReInitLinkLockDisable();
    if (!f->imgStartSelHandle->isHidden() || !f->imgEndSelHandle->isHidden())
        ShowSelSliders(false);
    ZoomFactor = 10;
    VideoBarFill = 0xFFFF80;
    f->hsb->setValue(0);
    SetSliderPosition(0, false);
    SelStartPosition = 1000;
    SelEndPosition = 2000;
    SetSelSliderPosition(SelStartPosition, true);
    SetSelSliderPosition(SelEndPosition, false);
    moduleBookmarks::RemoveBookmarks();
    ModuleTreeView::UpdateTreeView();
    SeekBar()->setRange(0, 1000000);
    Redraw();
    Panel("SELECTION")->clear();
    ProjectModified = false;
}

void TestTimeline::cleanup()
{
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
    QTest::mouseRelease(frmTimeline::instance(), Qt::LeftButton); // no button stays down for the next test
}

void TestTimeline::startsWithFixedTracksListAndSliders()
{
    auto& tl = Tl();
    QCOMPARE(TrackCollection.Count(), 3);
    QVERIFY(tl.IsVideoTrack(Video()) && tl.IsVideoTrack(OverlayTrack));
    QVERIFY(!tl.IsVideoTrack(Audio1()) && !tl.IsVideoTrack(Audio2()));
    const QList<int32_t> tracks = {Video(), OverlayTrack, Audio1(), Audio2()};
    QCOMPARE(QSet<int32_t>(tracks.begin(), tracks.end()).size(), 4);
    for (int32_t track : tracks)
        QVERIFY(tl.GetTrackLink(track));
    QCOMPARE((QList<int32_t>{VideoTrackNode, OverlayTrackNode, Audio1TrackNode, Audio2TrackNode}), tracks);
    QVERIFY(IsTimelineEmpty());
    QCOMPARE(GetSequenceNumberFromPos(Video(), 0), int16_t(-1));

    // The list: the root, then one node per row with its picture and handle.
    QCOMPARE(Form()->tvwTimeline->topLevelItemCount(), 1);
    QTreeWidgetItem* root = Form()->tvwTimeline->topLevelItem(0);
    QCOMPARE(root->text(0), QStringLiteral("Timeline"));
    QCOMPARE(ModuleTreeView::ImageKeyOf(root), QStringLiteral("TIMELINE"));
    QVERIFY(root->isExpanded());
    QCOMPARE(Children(root), (QStringList{"Video", "Effects", "Overlays", "Audio 1", "Audio 2"}));
    const QStringList images = {"VIDEO", "EFFECT", "OVERLAY", "AUDIO", "AUDIO"};
    const QList<int32_t> tags = {Video(), 999999, OverlayTrack, Audio1(), Audio2()};
    for (int i = 0; i < root->childCount(); ++i) {
        QCOMPARE(ModuleTreeView::ImageKeyOf(root->child(i)), images[i]);
        QCOMPARE(ModuleTreeView::TagOf(root->child(i)), tags[i]);
    }

    // The main slider at 0; the selection from 1 s to 2 s, hidden with its link boxes.
    TimelineControls* f = Form();
    QCOMPARE(ZoomFactor, int16_t(10));
    QCOMPARE(TickSpacing, int16_t(10));
    QCOMPARE(ScaleBandColor, 0xFFBBBB);
    QCOMPARE(SliderPosition, 0);
    QCOMPARE(f->imgSliderHandle->x(), -5);
    QCOMPARE(f->picSlider->x(), f->lblHighlight->x());
    QVERIFY(!f->imgSliderHandle->isHidden());
    QCOMPARE(SelStartPosition, 1000);
    QCOMPARE(SelEndPosition, 2000);
    QCOMPARE(f->imgStartSelHandle->x(), 95);
    QCOMPARE(f->imgEndSelHandle->x(), 195);
    QVERIFY(f->imgStartSelHandle->isHidden() && f->imgEndSelHandle->isHidden());
    QVERIFY(f->imgLinkVideo[0]->isHidden());
    QCOMPARE(f->hsb->maximum(), 100);
    QVERIFY(!f->hsb->isEnabled());
}

void TestTimeline::conversionsZoomAndScroll()
{
    // Halves round to even.
    QCOMPARE(MsToPixels(15), 2);
    QCOMPARE(MsToPixels(25), 2);
    QCOMPARE(MsToPixels(35), 4);
    QCOMPARE(MsToPixels(14), 1);
    QCOMPARE(PixelsToMs(7), 70);
    QCOMPARE(TicksToPixels(3), 30);
    QCOMPARE(MsToTicks(1234), 12.3);

    // In: 10, 5, 2, 1 and no further; out from 1 doubles up to 16384, from 10 up to
    // 20480. Every step, refused or not, marks the project modified.
    QList<int> seen;
    for (int i = 0; i < 4; ++i) {
        ProjectModified = false;
        QTest::mouseClick(Form()->cmdZoomIn, Qt::LeftButton);
        QVERIFY(ProjectModified);
        seen << ZoomFactor;
    }
    QCOMPARE(seen, (QList<int>{5, 2, 1, 1}));
    for (int i = 0; i < 14; ++i)
        ZoomOut();
    QCOMPARE(ZoomFactor, int16_t(16384));
    ProjectModified = false;
    QTest::mouseClick(Form()->cmdZoomOut, Qt::LeftButton);
    QCOMPARE(ZoomFactor, int16_t(16384));
    QVERIFY(ProjectModified);
    SetZoomFactor(10);
    for (int i = 0; i < 12; ++i)
        ZoomOut();
    QCOMPARE(ZoomFactor, int16_t(20480));

    // A slider keeps its time through a zoom step; only its pixel moves.
    SetZoomFactor(10);
    TimelineControls* f = Form();
    SetSliderPosition(1230, false);
    ZoomOut();
    QCOMPARE(SliderPosition, 1230);
    QCOMPARE(f->imgScaleSlider->x(), 62); // 61.5 rounds to even
    QCOMPARE(f->imgStartSelHandle->x(), 50 - 5);
    QCOMPARE(f->imgEndSelHandle->x(), 100 - 5);
    SetSliderPosition(1240, false);
    ZoomIn();
    QCOMPARE(GetSliderPosition(), 1240);
    QCOMPARE(f->imgScaleSlider->x(), 124);

    // The scroll bar: the timeline's ticks less the view's, plus a margin of
    // TickSpacing; below 0 the bar is at 100 and disabled.
    const int visible = static_cast<int>(std::nearbyint(f->picScale->ScaleWidth() / 10.0));
    const int32_t even = (visible - 10) * 100; // the length whose maximum is 0
    QVERIFY(Put(Video(), "video.avi", 0, even - 100));
    AdjustScroll();
    QCOMPARE(f->hsb->maximum(), 100);
    QVERIFY(!f->hsb->isEnabled());
    QVERIFY(Put(Audio1(), "audio.wav", 0, even));
    AdjustScroll();
    QCOMPARE(f->hsb->maximum(), 0);
    QVERIFY(f->hsb->isEnabled());
    QVERIFY(Put(OverlayTrack, "image.gif", 0, 60000));                         // the overlay counts
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 0, 90000)); // effects do not
    AdjustScroll();
    QCOMPARE(GetTimelineDuration(), 60000);
    QCOMPARE(f->hsb->maximum(), 600 - visible + 10);

    // A zoom that puts the slider out of view scrolls to it and sizes the bar again.
    SetSliderPosition(5000, false);
    ZoomIn();
    QCOMPARE(ZoomFactor, int16_t(5));
    QCOMPARE(f->hsb->value(), 100);
    QCOMPARE(f->imgScaleSlider->x(), 0);
    QCOMPARE(f->hsb->maximum(), 1200 - visible + 10);
}

void TestTimeline::scaleTicksAndSelectionBand()
{
    TimelineControls* f = Form();
    QmPicture* scale = f->picScale;
    const int32_t paper = 0xFFFFFF;
    // A major tick every second, 8 pixels long, with its label; minor ticks 4 long.
    QCOMPARE(Wrong(scale, {{0, 0, 0}, {0, 7, 0}, {0, 8, paper}, {100, 7, 0}, {100, 8, paper}, {200, 7, 0}, {10, 3, 0},
                           {10, 4, paper}, {90, 3, 0}, {110, 3, 0}, {110, 4, paper}, {5, 0, paper}}),
             QString());
    QVERIFY(HasInk(scale, QRect(90, 10, 20, 14), paper));
    const int label = scale->TextWidth(QStringLiteral("0:00:00.000"));
    QVERIFY(!HasInk(scale, QRect(label / 2 + 2, 8, 96 - label, 25), paper));

    // Scrolled by 5 ticks the ruler jumps by whole ticks: the second is at view x 50.
    f->hsb->setValue(5);
    QCOMPARE(Wrong(scale, {{50, 7, 0}, {0, 3, 0}, {0, 7, paper}}), QString());
    f->hsb->setValue(0);

    // The pale band lies between the selection handles' times, both ends included,
    // and only while they are shown.
    const int y = scale->ScaleHeight() - 2;
    QCOMPARE(Px(scale, 150, y), Colour(paper));
    ShowSelSliders(true);
    QCOMPARE(Wrong(scale, {{99, y, paper}, {100, y, ScaleBandColor}, {200, y, ScaleBandColor}, {201, y, paper}}),
             QString());
}

void TestTimeline::barsPaintedToThePixel()
{
    TimelineControls* f = Form();
    QmPicture* pic = f->picVideo[0];
    const int h = pic->ScaleHeight(), m = h / 2, s = 100, e = 300;
    const int32_t ground = pic->BackColor(), fill = VideoBarFill, shadow = 0xC0C000, white = 0xFFFFFF;
    QVERIFY(Put(Video(), "video.avi", 1000, 3000));
    RenderAllBars();
    // Fill; black outline on both corners; white left and top inner edge; shadow on the
    // right and bottom inner edge; the diagonal at the top right.
    QCOMPARE(Wrong(pic, {{s - 1, m, ground}, {e + 1, m, ground}, {s, m, 0}, {e, m, 0}, {200, 0, 0}, {200, h - 1, 0},
                         {s + 1, m, fill}, {s + 1, 1, fill}, {s + 1, 2, fill}, {e - 5, 6, fill}, {e - 7, 6, fill},
                         {s + 2, 2, white}, {s + 2, h - 3, white}, {s + 2, 1, fill}, {e - 2, 2, white},
                         {e - 1, 2, shadow}, {e - 1, m, shadow}, {e - 1, 1, fill}, {s + 1, h - 2, shadow},
                         {s + 2, h - 2, shadow}, {e - 1, h - 2, shadow}, {e - 12, 1, fill}, {e - 11, 1, 0},
                         {e - 6, 6, 0}, {e - 1, 11, 0}}),
             QString());
    // The file name, from 10 pixels into the bar.
    const int tw = pic->TextWidth(QStringLiteral("video.avi")), th = pic->TextHeight();
    QVERIFY(HasInk(pic, QRect(s + 10, m - th / 2, tw, th), fill));
    QVERIFY(!HasInk(pic, QRect(s + 3, 3, 7, h - 6), fill));

    // Selected, with the handles hidden: a dotted box one pixel inside, and its times
    // in the status bar.
    Tl().SetSourceSelected(Video(), 0, true);
    RenderAllBars();
    QCOMPARE(Wrong(pic, {{s + 1, 1, 0}, {s + 2, 1, fill}, {s + 3, 1, 0}, {s + 2, h - 2, 0}, {s + 3, h - 2, shadow},
                         {e - 1, 1, 0}}),
             QString());
    QCOMPARE(Panel("SELECTION")->text(), QStringLiteral("0:00:01.000 - 0:00:03.000"));

    // Each row in its own colours; the panel tells the last selected item drawn, the
    // overlay's.
    QVERIFY(Put(Audio2(), "audio.wav", 0, 1000));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 3000, 4000));
    QVERIFY(Put(OverlayTrack, "image.gif", 500, 1500));
    Tl().SetSourceSelected(OverlayTrack, 0, true);
    RenderAllBars();
    QCOMPARE(Wrong(f->picAudio[1], {{5, m, AudioBarFill}}), QString());
    QCOMPARE(Wrong(f->picAudio[0], {{5, m, ground}}), QString());
    QCOMPARE(Wrong(f->picEffect[0], {{305, m, EffectBarFill}, {399, m, 0xC000}}), QString());
    QCOMPARE(Wrong(f->picOverlay[0], {{55, m, OverlayBarFill}, {149, m, 0x87B8D3}}), QString());
    QCOMPARE(Panel("SELECTION")->text(), QStringLiteral("0:00:00.500 - 0:00:01.500"));
    QVERIFY(HasInk(f->picEffect[0], QRect(310, m - th / 2, pic->TextWidth(QStringLiteral("Blur")), th), EffectBarFill));

    // While the selection handles are shown no item is marked and the panel stays.
    Panel("SELECTION")->setText(QStringLiteral("kept"));
    ShowSelSliders(true);
    QCOMPARE(Px(pic, s + 1, 1), Colour(fill));
    QCOMPARE(Panel("SELECTION")->text(), QStringLiteral("kept"));
}

void TestTimeline::barLimitsLocksAndClipping()
{
    TimelineControls* f = Form();
    QmPicture* video = f->picVideo[0];
    QmPicture* effects = f->picEffect[0];
    const int h = video->ScaleHeight();

    // The corner needs 12 pixels on a source, more than 12 on an effect.
    QVERIFY(Put(Video(), "video.avi", 5000, 5120));
    QVERIFY(Put(Video(), "video.avi", 6000, 6110));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 0, 120));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Wave"), 200, 330));
    RenderAllBars();
    QCOMPARE(Wrong(video, {{512 - 6, 6, 0}, {611 - 6, 6, VideoBarFill}}), QString());
    QCOMPARE(Wrong(effects, {{12 - 6, 6, EffectBarFill}, {33 - 6, 6, 0}}), QString());

    // A caption must be narrower than the bar less 22 pixels, or it is left out whole.
    const int tw = video->TextWidth(QStringLiteral("video.avi"));
    QVERIFY(tw > 0);
    QVERIFY(Tl().SetSourceTimes(Video(), 0, 0, (tw + 22) * 10));
    QVERIFY(Tl().SetSourceTimes(Video(), 1, 2000, 2000 + (tw + 23) * 10));
    RenderAllBars();
    QVERIFY(!HasInk(video, QRect(3, 3, tw + 7, h - 6), VideoBarFill));
    QVERIFY(HasInk(video, QRect(203, 3, tw + 7, h - 6), VideoBarFill));

    // An item that starts before the view: filled from the edge, no left outline.
    QVERIFY(Tl().SetSourceTimes(Video(), 0, 500, 3000));
    QVERIFY(Tl().SetSourceTimes(Video(), 1, 4000, 5000));
    f->hsb->setValue(10);
    QCOMPARE(Wrong(video, {{0, h - 5, VideoBarFill}, {1, h - 5, VideoBarFill}, {0, 0, 0}, {0, 2, 0xFFFFFF},
                           {200, h / 2, 0}, {300, h / 2, 0}}),
             QString());
    f->hsb->setValue(0);

    // A locked row: the system's colours whatever the settings hold, and no marks.
    Tl().SetSourceSelected(Video(), 0, true);
    VideoBarFill = 0x123456;
    RenderAllBars();
    QCOMPARE(Wrong(video, {{250, h - 5, 0x123456}, {51, 1, 0}}), QString());
    Panel("SELECTION")->setText(QStringLiteral("kept"));
    f->chkLockVideo[0]->setChecked(true);
    QCOMPARE(Wrong(video, {{250, h - 5, QmColors::ButtonFace}, {299, h / 2, QmColors::ButtonShadow},
                           {51, 1, QmColors::ButtonFace}}),
             QString());
    QCOMPARE(Panel("SELECTION")->text(), QStringLiteral("kept"));
    f->chkLockEffect[0]->setChecked(true);
    QCOMPARE(Px(effects, 6, 6), Colour(QmColors::ButtonFace));
}

void TestTimeline::pressOnRowsSelects()
{
    TimelineControls* f = Form();
    auto& tl = Tl();
    const int32_t v = Video();
    QVERIFY(Put(v, "video.avi", 0, 2000));
    QVERIFY(Put(v, "image.jpg", 2000, 4000));
    QVERIFY(Put(Audio2(), "audio.mp3", 1000, 3000));
    QVERIFY(Put(OverlayTrack, "image.gif", 500, 2500));
    QVERIFY(tl.AddTransitionAt(OverlayTrack, QStringLiteral("DxtKey"), 500, 2500));
    QVERIFY(tl.AddEffectAt(v, QStringLiteral("Blur"), 0, 1000));
    QVERIFY(tl.AddEffectAt(v, QStringLiteral("Wave"), 1000, 3000));
    ModuleTreeView::UpdateTreeView();
    Redraw();
    QTreeWidgetItem* root = f->tvwTimeline->topLevelItem(0);
    auto selected = [&](int32_t track) {
        QList<bool> flags;
        for (int16_t seq = 0; seq < tl.GetSourceCount(track); ++seq)
            flags << tl.IsSourceSelected(track, seq);
        return flags;
    };
    using Flags = QList<bool>;

    // The joint of two touching sources belongs to the earlier; the slider, inside it,
    // stays; the item's node is selected in the list.
    QmPicture* row = f->picVideo[0];
    Press(row, 200);
    QCOMPARE(selected(v), (Flags{true, false}));
    QCOMPARE(SliderPosition, 0);
    QCOMPARE(f->tvwTimeline->currentItem(), root->child(0)->child(0));

    // Another item alone; the slider, outside it, goes to its start.
    Press(row, 300);
    QCOMPARE(selected(v), (Flags{false, true}));
    QCOMPARE(SliderPosition, 2000);
    QCOMPARE(f->imgScaleSlider->x(), 200);
    QCOMPARE(Panel("SLIDER_POS")->text(), QStringLiteral("0:00:02.000"));
    QCOMPARE(f->tvwTimeline->currentItem(), root->child(0)->child(1));

    // Ctrl and Shift both flip the one item and keep the rest. A plain press on a
    // selected item keeps the others; one past the last source changes nothing.
    Press(row, 100, Qt::ControlModifier);
    QCOMPARE(selected(v), (Flags{true, true}));
    Press(row, 100, Qt::ShiftModifier);
    QCOMPARE(selected(v), (Flags{false, true}));
    Press(row, 100, Qt::ShiftModifier);
    Press(row, 300);
    QCOMPARE(selected(v), (Flags{true, true}));
    Press(row, 450);
    QCOMPARE(selected(v), (Flags{true, true}));
    QCOMPARE(SliderPosition, 2000);

    // Audio 2 is the third track; a plain press there clears the video row.
    Press(f->picAudio[1], 150);
    QCOMPARE(selected(Audio2()), Flags{true});
    QCOMPARE(selected(v), (Flags{false, false}));
    QCOMPARE(f->tvwTimeline->currentItem(), root->child(4)->child(0));

    // With the selection handles shown the slider stays where it is.
    SetSliderPosition(3500, false);
    ShowSelSliders(true);
    Press(row, 50);
    QCOMPARE(selected(v), (Flags{true, false}));
    QCOMPARE(SliderPosition, 3500);
    ShowSelSliders(false);

    // The overlay's key transition follows its source.
    Press(f->picOverlay[0], 100);
    QCOMPARE(selected(OverlayTrack), Flags{true});
    QVERIFY(TransitionSelected(0));
    QCOMPARE(f->tvwTimeline->currentItem(), root->child(2)->child(0));
    Press(f->picOverlay[0], 100, Qt::ControlModifier);
    QCOMPARE(selected(OverlayTrack), Flags{false});
    QVERIFY(!TransitionSelected(0));

    // The effect row walks the effects of the video track.
    Press(f->picEffect[0], 150);
    QVERIFY(tl.IsEffectItemSelected(v, 1) && !tl.IsEffectItemSelected(v, 0));
    QCOMPARE(f->tvwTimeline->currentItem(), root->child(1)->child(1));
    Press(f->picEffect[0], 100);
    QVERIFY(tl.IsEffectItemSelected(v, 0) && !tl.IsEffectItemSelected(v, 1));

    // Zoomed out and scrolled: the press counts from the view's left edge.
    SetZoomFactor(20);
    f->hsb->setValue(5);
    Press(row, 50); // (50 + 50) x 20 = 2000 ms
    QCOMPARE(selected(v), (Flags{true, false}));
    Press(row, 60);
    QCOMPARE(selected(v), (Flags{false, true}));
    QVERIFY(!tl.IsEffectItemSelected(v, 0));
}

void TestTimeline::optionBoxesAsTheUserClicksThem()
{
    TimelineControls* f = Form();
    auto& tl = Tl();
    QVERIFY(Put(Video(), "video.avi", 0, 2000));
    QVERIFY(Put(Audio1(), "audio.wav", 0, 3000));
    QVERIFY(Put(Audio1(), "audio.wav", 3000, 6000));
    QVERIFY(Put(OverlayTrack, "image.gif", 0, 5000));
    QVERIFY(tl.AddEffectAt(Video(), QStringLiteral("Blur"), 0, 1000));
    Redraw();

    // Disable: BLANK when on, the row's DISABLE picture when off, and the engine told;
    // the effect row's box disables where the engine's switch enables.
    Click("imgDisableVideo_0");
    QCOMPARE(Options("Video_0"), QStringLiteral("1:BLANK 0:BLANK 1:BLANK"));
    QVERIFY(Model().At(Video()).disabled);
    Click("imgDisableVideo_0");
    QCOMPARE(Options("Video_0"), QStringLiteral("0:DISABLE 0:BLANK 1:BLANK"));
    QVERIFY(!Model().At(Video()).disabled);
    Click("imgDisableAudio_1");
    QVERIFY(Model().At(Audio2()).disabled && !Model().At(Audio1()).disabled);
    Click("imgDisableAudio_1");
    QCOMPARE(Options("Audio_1"), QStringLiteral("0:DISABLE_AUDIO 0:BLANK 1:BLANK"));
    QVERIFY(!Model().At(Audio2()).disabled);
    Click("imgDisableOverlay_0");
    QVERIFY(Model().At(OverlayTrack).disabled);
    QVERIFY(moduleTWState::IsTrackDisabled(OverlayTrack) && !moduleTWState::IsTrackDisabled(Video()));
    Click("imgDisableEffect_0");
    QVERIFY(!Model().EffectsEnabled());
    Click("imgDisableEffect_0");
    QVERIFY(Model().EffectsEnabled());

    // Lock: LOCK when on, and the row's link box cannot be changed meanwhile.
    ShowSelSliders(true);
    QCOMPARE(Options("Video_0"), QStringLiteral("0:DISABLE 0:BLANK 1:LINK"));
    QVERIFY(!f->shpVideoSel[0]->isHidden());
    Click("imgLockVideo_0");
    QCOMPARE(Options("Video_0"), QStringLiteral("0:DISABLE 1:LOCK 1:LINK"));
    QVERIFY(!CheckBox("chkLinkVideo_0")->isEnabled());
    QVERIFY(f->shpVideoSel[0]->isHidden());
    Click("imgLinkVideo_0");
    QVERIFY(CheckBox("chkLinkVideo_0")->isChecked() && tl.GetTrackLink(Video()));
    Click("imgLockVideo_0");
    QCOMPARE(Options("Video_0"), QStringLiteral("0:DISABLE 0:BLANK 1:LINK"));
    QVERIFY(CheckBox("chkLinkVideo_0")->isEnabled());
    // Every box shows its state: one that is off is drawn faintly, never left empty.
    for (const char* name : {"imgLockVideo_0", "imgLinkVideo_0", "imgDisableAudio_0"}) {
        QmImageBox* box = ImageBox(name);
        const QString was = box->Picture();
        box->SetPicture(QStringLiteral("BLANK"));
        const QImage off = box->grab().toImage();
        box->SetPicture(was == u"BLANK" ? QString::fromLatin1(name).contains(u"Lock") ? QStringLiteral("LOCK")
                                                                                     : QStringLiteral("LINK")
                                        : was);
        const QImage on = box->grab().toImage();
        box->SetPicture(was);
        QSet<QRgb> colours;
        for (int y = 0; y < off.height(); ++y)
            for (int x = 0; x < off.width(); ++x)
                colours.insert(off.pixel(x, y));
        QVERIFY2(colours.size() > 1, name);
        QVERIFY2(off != on, name);
    }
    QVERIFY(!f->shpVideoSel[0]->isHidden());
    Click("imgLockEffect_0");
    QVERIFY(CheckBox("chkLinkEffect_0")->isEnabled()); // the effect row keeps its link box
    QVERIFY(f->shpEffectSel[0]->isHidden());
    Click("imgLockEffect_0");

    // Link: LINK when on, BLANK when off; the engine keeps a copy, but not for effects.
    Click("imgLinkVideo_0");
    QCOMPARE(Options("Video_0"), QStringLiteral("0:DISABLE 0:BLANK 0:BLANK"));
    QVERIFY(!tl.GetTrackLink(Video()));
    QVERIFY(f->shpVideoSel[0]->isHidden());
    Click("imgLinkVideo_0");
    QVERIFY(tl.GetTrackLink(Video()));
    Click("imgLinkOverlay_0");
    QVERIFY(!tl.GetTrackLink(OverlayTrack));
    QVERIFY(f->shpOverlaySel[0]->isHidden());
    Click("imgLinkEffect_0");
    QVERIFY(!CheckBox("chkLinkEffect_0")->isChecked());
    QVERIFY(f->shpEffectSel[0]->isHidden());
    QVERIFY(tl.GetTrackLink(Video()));

    // A track at exactly one item gets its disable box cleared and its link set, over
    // the user's choice; a track of two keeps both.
    Click("imgDisableVideo_0");
    Click("imgDisableAudio_0");
    Click("imgDisableEffect_0");
    Click("imgLinkAudio_0");
    UpdateTrackOptions();
    QCOMPARE(Options("Video_0"), QStringLiteral("0:DISABLE 0:BLANK 1:LINK"));
    QVERIFY(!Model().At(Video()).disabled);
    QVERIFY(!CheckBox("chkDisableEffect_0")->isChecked() && CheckBox("chkLinkEffect_0")->isChecked());
    QCOMPARE(ImageBox("imgDisableEffect_0")->Picture(), QStringLiteral("DISABLE"));
    QVERIFY(Model().EffectsEnabled());
    QVERIFY(!CheckBox("chkDisableOverlay_0")->isChecked()); // disabled further up
    QVERIFY(!Model().At(OverlayTrack).disabled && tl.GetTrackLink(OverlayTrack));
    QCOMPARE(Options("Audio_0"), QStringLiteral("1:BLANK 0:BLANK 0:BLANK"));
    QVERIFY(Model().At(Audio1()).disabled);
    QVERIFY(Put(Video(), "image.jpg", 2000, 7000));
    Click("imgDisableVideo_0");
    UpdateTrackOptions();
    QVERIFY(CheckBox("chkDisableVideo_0")->isChecked());

    // The lock questions of the editing commands read the same boxes, row by track.
    Click("imgLockAudio_1");
    Click("imgLockEffect_0");
    QVERIFY(moduleTWState::IsTrackLocked(Audio2()));
    for (int32_t track : {Audio1(), Video(), OverlayTrack, moduleTimeline::EffectLaneTag})
        QVERIFY(!moduleTWState::IsTrackLocked(track));
    QVERIFY(moduleTWState::IsEffectLocked(Video()) && !moduleTWState::IsEffectLocked(Audio1()));

    // Everything back to the start: not disabled, unlocked, linked, plain pictures.
    Click("imgLinkVideo_0");
    ReInitLinkLockDisable();
    for (const char* row : {"Video_0", "Effect_0", "Overlay_0", "Audio_0", "Audio_1"}) {
        const bool audio = QByteArray(row).startsWith("Audio");
        QCOMPARE(Options(row), audio ? QStringLiteral("0:DISABLE_AUDIO 0:BLANK 1:BLANK")
                                     : QStringLiteral("0:DISABLE 0:BLANK 1:BLANK"));
        QVERIFY(CheckBox(QByteArray("chkLink") + row)->isEnabled());
    }
    for (int32_t track : {Video(), Audio1(), Audio2(), OverlayTrack})
        QVERIFY(tl.GetTrackLink(track) && !Model().At(track).disabled);
    QVERIFY(Model().EffectsEnabled());
}

void TestTimeline::slidersPlacedShownAndToggled()
{
    TimelineControls* f = Form();
    const int left = f->lblHighlight->x();
    QVERIFY(Put(Video(), "video.avi", 0, 60000));
    QVERIFY(Put(Audio1(), "audio.wav", 0, 3000));
    QVERIFY(Put(Audio2(), "audio.wav", 0, 3000));
    QVERIFY(Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 0, 1000));
    Redraw();
    const int max = f->hsb->maximum();
    QVERIFY(max > 300 && max < 590);

    // Out of view without scrolling: hidden, the view stays, the time is told.
    SetSliderPosition(30000, false);
    QVERIFY(f->imgSliderHandle->isHidden() && f->imgScaleSlider->isHidden() && f->picSlider->isHidden());
    QCOMPARE(f->hsb->value(), 0);
    QCOMPARE(SliderPosition, 30000);
    QCOMPARE(Panel("SLIDER_POS")->text(), QStringLiteral("0:00:30.000"));
    QCOMPARE(frmPreview::instance()->lblCurrentTime->text(), QStringLiteral("0:00:30.000"));
    // With scrolling: at the view's left edge, unless the bar's end holds it back.
    SetSliderPosition(30000, true);
    QCOMPARE(f->hsb->value(), 300);
    QVERIFY(!f->imgSliderHandle->isHidden() && !f->picSlider->isHidden());
    QCOMPARE(f->imgSliderHandle->x(), -5);
    QCOMPARE(f->picSlider->x(), left);
    SetSliderPosition(59000, true);
    QCOMPARE(f->hsb->value(), max);
    QCOMPARE(f->imgScaleSlider->x(), 5900 - max * 10);
    SetSliderPosition(1000, true);
    QCOMPARE(f->hsb->value(), 10);
    QCOMPARE(f->imgScaleSlider->x(), 0);
    f->hsb->setValue(0);
    const int width = f->picScale->ScaleWidth();
    SetSliderPosition(width * 10, false); // the scale's last pixel is still in view
    QVERIFY(!f->imgSliderHandle->isHidden());
    SetSliderPosition((width + 1) * 10, false);
    QVERIFY(f->imgSliderHandle->isHidden());

    // Read back through the pixel grid: 123.5 and 124.5 both round to 124.
    SetSliderPosition(1234, false);
    QCOMPARE(GetSliderPosition(), 1230);
    SetSelSliderPosition(1235, true);
    QCOMPARE(GetSelSliderPosition(true), 1240);
    SetSelSliderPosition(1245, false);
    QCOMPARE(GetSelSliderPosition(false), 1240);

    // A hidden handle is still placed, so that it shows in the right place later.
    SelStartPosition = 3000;
    SelEndPosition = 4000;
    SetSelSliderPosition(SelStartPosition, true);
    SetSelSliderPosition(SelEndPosition, false);
    QVERIFY(f->imgStartSelHandle->isHidden());
    QCOMPARE(f->imgStartSelHandle->x(), 295);
    QCOMPARE(f->imgStartSelSlider->x(), 300);
    QCOMPARE(f->picStartSelSlider->x(), left + 300);

    // Shown: shapes on linked, unlocked rows with items, from 6 pixels right of the
    // start handle; a locked row's shape is left where it was.
    f->chkLockAudio[0]->setChecked(true);
    f->chkLinkAudio[1]->setChecked(false);
    const QRect lockedShape = f->shpAudioSel[0]->geometry();
    ShowSelSliders(true);
    QVERIFY(!f->imgStartSelHandle->isHidden() && !f->imgEndSelHandle->isHidden());
    QCOMPARE(f->imgStartSelHandle->x(), 295);
    QCOMPARE(SeekBar()->minimum(), 3000);
    QCOMPARE(SeekBar()->maximum(), 4000);
    QVERIFY(!f->shpVideoSel[0]->isHidden() && !f->shpEffectSel[0]->isHidden());
    QVERIFY(f->shpAudioSel[0]->isHidden() && f->shpAudioSel[1]->isHidden() && f->shpOverlaySel[0]->isHidden());
    QCOMPARE(f->shpVideoSel[0]->x(), 295 + 6);
    QCOMPARE(f->shpVideoSel[0]->width(), 395 - 295 - 1);
    QCOMPARE(f->shpAudioSel[0]->geometry(), lockedShape);
    QVERIFY(Put(OverlayTrack, "image.gif", 0, 5000));
    ShowOrHideTrackSelections();
    QVERIFY(!f->shpOverlaySel[0]->isHidden());

    // Out of view a shown handle keeps showing; only its line over the rows goes.
    SetSelSliderPosition(90000, false);
    QVERIFY(!f->imgEndSelHandle->isHidden() && f->picEndSelSlider->isHidden());
    SetSelSliderPosition(4000, false);
    QVERIFY(!f->picEndSelSlider->isHidden());

    // Toggling off, then on at a slider out of view, which first comes to the view's
    // left edge; the new selection is 100 pixels long.
    QAction* viewMenu = mdiTarnwick::instance()->Item(QStringLiteral("mnuViewSelectionSliders"));
    QAction* contextMenu = mdiTarnwick::instance()->Item(QStringLiteral("mnuEC_SelSliders"));
    QVERIFY(viewMenu->isChecked() && contextMenu->isChecked());
    ToggleSelSliders();
    QVERIFY(f->imgStartSelHandle->isHidden() && f->imgEndSelHandle->isHidden());
    QVERIFY(!viewMenu->isChecked() && !contextMenu->isChecked());
    QCOMPARE(SeekBar()->minimum(), 0);
    QCOMPARE(SeekBar()->maximum(), 60000);
    QVERIFY(f->shpVideoSel[0]->isHidden());
    f->hsb->setValue(100);
    SetSliderPosition(30000, false);
    ToggleSelSliders();
    QCOMPARE(GetSliderPosition(), 10000);
    QCOMPARE(SelStartPosition, 10000);
    QCOMPARE(SelEndPosition, 11000);
    QVERIFY(viewMenu->isChecked() && contextMenu->isChecked());
    QCOMPARE(SeekBar()->minimum(), 10000);
    QCOMPARE(SeekBar()->maximum(), 11000);
    QCOMPARE(f->shpVideoSel[0]->geometry().left(), 1);
    QCOMPARE(f->shpVideoSel[0]->width(), 99);

    // The button marks the project modified; the menu entry does not.
    ProjectModified = false;
    viewMenu->trigger();
    QVERIFY(f->imgStartSelHandle->isHidden());
    QVERIFY(!ProjectModified);
    SetSliderPosition(12340, false);
    QTest::mouseClick(f->cmdSelSliders, Qt::LeftButton);
    QVERIFY(ProjectModified);
    QCOMPARE(SelStartPosition, 12340);
    QCOMPARE(SelEndPosition, 13340);
}

void TestTimeline::slidersDraggedAndKeyed()
{
    TimelineControls* f = Form();
    const int width = f->picScale->ScaleWidth();
    QLabel* hint = Panel("sbr_1");
    QVERIFY(Put(Video(), "video.avi", 0, 60000));
    Redraw();

    // The main slider follows the pointer; its lines and time come along.
    SetSliderPosition(1000, false);
    QmImageBox* slider = f->imgSliderHandle;
    Grab(slider);
    DragTo(slider, 145);
    QCOMPARE(slider->x(), 145);
    QCOMPARE(f->imgScaleSlider->x(), 150);
    QCOMPARE(f->picSlider->x(), f->lblHighlight->x() + 150);
    QCOMPARE(SliderPosition, 1500);
    QCOMPARE(Panel("SLIDER_POS")->text(), QStringLiteral("0:00:01.500"));
    QCOMPARE(hint->text(), QStringLiteral("Reposition the slider"));

    // At the right edge it stays and the view scrolls under it, tick by tick, until
    // the button comes up; the scroll handler leaves the dragged slider alone.
    DragTo(slider, width - 5);
    QVERIFY(f->tmTimeline->isActive() && f->ScrollingRight);
    QTRY_VERIFY(f->hsb->value() >= 3);
    QCOMPARE(slider->x(), 145);
    QVERIFY(GetSliderPosition() >= 1500 + 300);
    Drop(slider);
    QVERIFY(!f->tmTimeline->isActive());
    QVERIFY(!f->Dragging && !f->DraggingSlider);
    // And at the left edge, past 6 pixels beyond it.
    Grab(slider);
    DragTo(slider, -6);
    QCOMPARE(slider->x(), -6);
    DragTo(slider, -7);
    QVERIFY(f->tmTimeline->isActive() && !f->ScrollingRight);
    QTRY_VERIFY(f->hsb->value() <= 1);
    Drop(slider);
    f->hsb->setValue(0);

    // The selection handles keep 6 pixels apart; the shapes and the band follow.
    ShowSelSliders(true);
    QmImageBox* start = f->imgStartSelHandle;
    QmImageBox* end = f->imgEndSelHandle;
    QCOMPARE(start->x(), 95);
    QCOMPARE(end->x(), 195);
    Grab(start);
    DragTo(start, 189);
    QCOMPARE(start->x(), 95);
    DragTo(start, 188);
    QCOMPARE(start->x(), 188);
    QCOMPARE(f->imgStartSelSlider->x(), 193);
    QCOMPARE(f->picStartSelSlider->x(), f->lblHighlight->x() + 193);
    QCOMPARE(SelStartPosition, 1930);
    QCOMPARE(SeekBar()->minimum(), 1930);
    QCOMPARE(f->shpVideoSel[0]->x(), 194);
    QCOMPARE(f->shpVideoSel[0]->width(), 6);
    const int y = f->picScale->ScaleHeight() - 2;
    QCOMPARE(Wrong(f->picScale, {{192, y, 0xFFFFFF}, {193, y, ScaleBandColor}}), QString());
    QCOMPARE(hint->text(), QStringLiteral("Reposition the start selection slider"));
    Drop(start);
    Grab(end);
    DragTo(end, 194);
    QCOMPARE(end->x(), 195);
    DragTo(end, 295);
    QCOMPARE(end->x(), 295);
    QCOMPARE(SelEndPosition, 3000);
    QCOMPARE(SeekBar()->maximum(), 3000);
    QCOMPARE(hint->text(), QStringLiteral("Reposition the end selection slider"));
    Drop(end);
    QCOMPARE(SeekBar()->minimum(), 1930);

    // Edge scrolling of the start handle gives up within 20 pixels of the end handle.
    SetSelSliderPosition((width + 15) * 10, false);
    QCOMPARE(end->x(), width + 10);
    Grab(start);
    DragTo(start, width - 5);
    QVERIFY(!f->tmTimeline->isActive());
    QCOMPARE(start->x(), 188);
    Drop(start);
    SetSelSliderPosition((width + 105) * 10, false);
    Grab(start);
    DragTo(start, width - 5);
    QVERIFY(f->tmTimeline->isActive() && f->ScrollingRight);
    QTRY_VERIFY(f->hsb->value() >= 2);
    QCOMPARE(start->x(), 188);
    Drop(start);

    // And the end handle's, going left, within 20 pixels of the start handle.
    f->hsb->setValue(100);
    SetSelSliderPosition(9850, true);
    SetSelSliderPosition(10500, false);
    QCOMPARE(start->x(), -20);
    Grab(end);
    DragTo(end, -7);
    QVERIFY(!f->tmTimeline->isActive());
    QCOMPARE(end->x(), 45);
    Drop(end);
    SetSelSliderPosition(9000, true);
    Grab(end);
    DragTo(end, -7);
    QVERIFY(f->tmTimeline->isActive() && !f->ScrollingRight);
    QTRY_VERIFY(f->hsb->value() <= 98);
    Drop(end);
    ShowSelSliders(false);

    // Arrow keys on the scale and the ground under the rows: 5 pixels, 1 with Shift,
    // within the preview's seek bar. A row's keys are its own.
    f->hsb->setValue(0);
    QCOMPARE(SeekBar()->maximum(), 60000);
    SetSliderPosition(1000, false);
    QTest::keyClick(f->picScale, Qt::Key_Right);
    QCOMPARE(SliderPosition, 1050);
    QCOMPARE(SeekBar()->value(), 1050);
    QTest::keyClick(f->picScale, Qt::Key_Right, Qt::ShiftModifier);
    QCOMPARE(SliderPosition, 1060);
    QTest::keyClick(f->picTimelineBase, Qt::Key_Left);
    QCOMPARE(SliderPosition, 1010);
    QTest::keyClick(f->picVideo[0], Qt::Key_Left);
    QCOMPARE(SliderPosition, 1010);
    SetSliderPosition(59980, false);
    SeekBar()->setValue(59980);
    QTest::keyClick(f->picScale, Qt::Key_Right);
    QCOMPARE(SliderPosition, 59980);
    QTest::keyClick(f->picScale, Qt::Key_Right, Qt::ShiftModifier);
    QCOMPARE(SliderPosition, 59990);
    SetSliderPosition(30, false);
    SeekBar()->setValue(30);
    QTest::keyClick(f->picScale, Qt::Key_Left);
    QCOMPARE(SliderPosition, 30);

    // A press on the scale puts the slider there, within the seek bar's range.
    QTest::mouseClick(f->picScale, Qt::LeftButton, {}, QPoint(250, 5));
    QCOMPARE(SliderPosition, 2500);
    SeekBar()->setMaximum(2000);
    QTest::mouseClick(f->picScale, Qt::LeftButton, {}, QPoint(250, 5));
    QCOMPARE(SliderPosition, 2000);
}

void TestTimeline::timelineListMirrorsAndSelects()
{
    TimelineControls* f = Form();
    auto& tl = Tl();
    const int32_t v = Video();
    QVERIFY(Put(v, "video.avi", 0, 2000));
    QVERIFY(Put(v, "image.jpg", 2000, 7000));
    QVERIFY(tl.AddEffectAt(v, QStringLiteral("Blur"), 0, 1000));
    QVERIFY(tl.AddEffectAt(v, QStringLiteral("Wave"), 1000, 3000));
    QVERIFY(Put(OverlayTrack, "image.gif", 0, 5000));
    QVERIFY(tl.AddTransitionAt(OverlayTrack, QStringLiteral("DxtKey"), 0, 5000));
    QVERIFY(Put(Audio1(), "audio.wav", 0, 3000));
    QVERIFY(Put(Audio2(), "audio.mp3", 500, 2500));
    QVERIFY(Put(Audio2(), "audio.wav", 3000, 6000));
    ModuleTreeView::UpdateTreeView();
    Redraw();

    QTreeWidgetItem* root = f->tvwTimeline->topLevelItem(0);
    QCOMPARE(Children(root), (QStringList{"Video", "Effects", "Overlays", "Audio 1", "Audio 2"}));
    QCOMPARE(Children(root->child(0)), (QStringList{"video.avi", "image.jpg"}));
    QCOMPARE(Children(root->child(1)), (QStringList{"Blur", "Wave"}));
    QCOMPARE(Children(root->child(2)), QStringList{"image.gif"});
    QCOMPARE(Children(root->child(3)), QStringList{"audio.wav"});
    QCOMPARE(Children(root->child(4)), (QStringList{"audio.mp3", "audio.wav"}));
    QCOMPARE(ModuleTreeView::ImageKeyOf(root->child(4)->child(1)), QStringLiteral("SOURCE"));

    // A click on an item selects it alone and redraws; on a track node or the root it
    // only clears.
    auto none = [&] {
        for (int32_t track : {v, Audio1(), Audio2(), OverlayTrack})
            for (int16_t seq = 0; seq < tl.GetSourceCount(track); ++seq)
                if (tl.IsSourceSelected(track, seq))
                    return false;
        return !tl.IsEffectItemSelected(v, 0) && !tl.IsEffectItemSelected(v, 1) && !TransitionSelected(0);
    };
    ClickNode(root->child(0)->child(1));
    QVERIFY(tl.IsSourceSelected(v, 1) && !tl.IsSourceSelected(v, 0));
    QCOMPARE(Px(f->picVideo[0], 201, 1), Colour(0));
    ClickNode(root->child(1)->child(1));
    QVERIFY(tl.IsEffectItemSelected(v, 1) && !tl.IsSourceSelected(v, 1));
    QCOMPARE(Wrong(f->picEffect[0], {{101, 1, 0}}), QString());
    QCOMPARE(Wrong(f->picVideo[0], {{201, 1, VideoBarFill}}), QString());
    ClickNode(root->child(2)->child(0));
    QVERIFY(tl.IsSourceSelected(OverlayTrack, 0) && TransitionSelected(0));
    QVERIFY(!tl.IsEffectItemSelected(v, 1));
    ClickNode(root->child(4)->child(1));
    QVERIFY(tl.IsSourceSelected(Audio2(), 1) && !tl.IsSourceSelected(Audio2(), 0));
    QVERIFY(!tl.IsSourceSelected(OverlayTrack, 0));
    ClickNode(root->child(3));
    QVERIFY(none());
    tl.SetSourceSelected(v, 0, true);
    ClickNode(root);
    QVERIFY(none());

    // Emptied, the list keeps its fixed part: the root and the five track nodes.
    ModuleTreeView::EmptyTreeView();
    QCOMPARE(f->tvwTimeline->topLevelItemCount(), 1);
    root = f->tvwTimeline->topLevelItem(0);
    QCOMPARE(Children(root), (QStringList{"Video", "Effects", "Overlays", "Audio 1", "Audio 2"}));
    QCOMPARE(ModuleTreeView::TagOf(root->child(1)), 999999);
    QCOMPARE(ModuleTreeView::ImageKeyOf(root->child(2)), QStringLiteral("OVERLAY"));
    for (int t = 0; t < root->childCount(); ++t)
        QCOMPARE(root->child(t)->childCount(), 0);
}

void TestTimeline::markers()
{
    using namespace moduleBookmarks;
    TimelineControls* f = Form();
    QList<QmImageBox*>& marker = f->imgBookmark;
    QCOMPARE(marker.size(), 1);
    QCOMPARE(SelectedBookmark, int16_t(0));
    RemoveSelectedBookmark(); // none selected: nothing happens
    QVERIFY(!marker[0]->isHidden());

    // Added at the slider's time, standing 4 pixels left of it, also in a scrolled view.
    const QList<int32_t> times = {1230, 3000, 4560};
    for (int32_t time : times) {
        SetSliderPosition(time, false);
        ProjectModified = false;
        QTest::mouseClick(f->cmdAddBookmark, Qt::LeftButton);
        QVERIFY(ProjectModified);
    }
    QCOMPARE(marker.size(), 4);
    for (int i = 1; i <= 3; ++i) {
        QCOMPARE(BookmarkTimes[i], times[i - 1]);
        QCOMPARE(marker[i]->x(), MsToPixels(times[i - 1]) - 4);
        QVERIFY(!marker[i]->isHidden());
        QCOMPARE(marker[i]->Picture(), QStringLiteral("BOOKMARK"));
    }
    f->hsb->setValue(50);
    SetSliderPosition(7000, false);
    AddBookmark();
    QCOMPARE(BookmarkTimes[4], 7000);
    QCOMPARE(marker[4]->x(), 700 - 500 - 4);
    QCOMPARE(marker[1]->x(), 123 - 500 - 4);
    f->hsb->setValue(0);
    QCOMPARE(marker[1]->x(), 123 - 4);

    // A press selects one; a drag stores its new time.
    QTest::mouseClick(marker[2], Qt::LeftButton, {}, QPoint(4, 6));
    QCOMPARE(SelectedBookmark, int16_t(2));
    QCOMPARE(marker[2]->Picture(), QStringLiteral("BOOKMARKSEL"));
    QTest::mousePress(marker[3], Qt::LeftButton, {}, QPoint(4, 6));
    QCOMPARE(marker[2]->Picture(), QStringLiteral("BOOKMARK"));
    QCOMPARE(marker[3]->Picture(), QStringLiteral("BOOKMARKSEL"));
    QTest::mouseMove(marker[3], QPoint(4 + 30, 6));
    QTest::mouseRelease(marker[3], Qt::LeftButton, {}, QPoint(4, 6));
    QCOMPARE(marker[3]->x(), 456 - 4 + 30);
    QCOMPARE(BookmarkTimes[3], 4860);
    QCOMPARE(Panel("sbr_1")->text(), QStringLiteral("Reposition the marker slider"));

    // After a zoom every marker stands at its time's pixel, less 4.
    ZoomOut();
    for (int i = 1; i <= 4; ++i)
        QCOMPARE(marker[i]->x(), MsToPixels(BookmarkTimes[i]) - 4);

    // Removing hides the selected one, keeps its time and selects the one below it,
    // down to none.
    QTest::mouseClick(f->cmdRemoveBookmark, Qt::LeftButton);
    QVERIFY(marker[3]->isHidden());
    QCOMPARE(SelectedBookmark, int16_t(2));
    QCOMPARE(marker[2]->Picture(), QStringLiteral("BOOKMARKSEL"));
    QCOMPARE(BookmarkTimes.size(), 5);
    RemoveSelectedBookmark();
    RemoveSelectedBookmark();
    QCOMPARE(SelectedBookmark, int16_t(0));
    QVERIFY(marker[1]->isHidden() && !marker[4]->isHidden());
    RemoveSelectedBookmark();
    QVERIFY(!marker[0]->isHidden() && !marker[4]->isHidden());

    // Removing all leaves the pattern alone.
    ProjectModified = false;
    mdiTarnwick::instance()->Item(QStringLiteral("mnueditclearmarkers"))->trigger();
    QVERIFY(ProjectModified);
    QCOMPARE(marker.size(), 1);
    QCOMPARE(BookmarkCount, int16_t(1));
    QCOMPARE(BookmarkTimes, QList<int32_t>{0});
}

QM_TEST_MAIN(TestTimeline)
#include "test_timeline.moc"
