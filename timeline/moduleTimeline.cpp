#include "timeline/moduleTimeline.h"

#include "core/QmColors.h"
#include "core/QmImageBox.h"
#include "core/QmNumbers.h"
#include "core/QmMsgBox.h"
#include "core/QmPicture.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/moduleUtilities.h"
#include "core/QmStatus.h"
#include "editing/moduleTWState.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "preview/frmPreview.h"
#include "preview/ModuleTWPreview.h"
#include "shell/ModuleSettings.h"
#include "shell/QmCommands.h"
#include "shell/mdiTarnwick.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleBookmarks.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/TimelineView.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QScrollBar>
#include <QSlider>

#include <algorithm>
#include <optional>

using namespace QmShared;
using namespace moduleScaleRenderer;

namespace moduleTimeline {

namespace {

const QString kModule = QStringLiteral("moduleTimeline");

// Colours of the bars when a row is locked, and their shadows when not.
constexpr int32_t kVideoShadow = 0xC0C000;
constexpr int32_t kAudioShadow = 0xC0C0;
constexpr int32_t kEffectShadow = 0xC000;
constexpr int32_t kOverlayShadow = 0x87B8D3;
constexpr int32_t kHighlight = 0xFFFFFF;

TimelineControls* Form()
{
    return frmTimeline::instance()->Controls();
}

ITWTimeline& Tl()
{
    return Eng<ITWTimeline>();
}

bool Created(int32_t handle)
{
    if (handle != 0)
        return true;
    MsgBox(QStringLiteral("Unable to initialize timeline."), QmMsgBox::Icon::Critical);
    return false;
}

// The enabled states of the menus follow what the user just did.
void MenuUpdate()
{
    QmCommands::RefreshStates();
}

QSlider* PreviewSlider()
{
    return frmPreview::instance()->sldSeekBar;
}

// What the press on a row, the bars and the drags need to know of a kind of item.
struct ItemKind
{
    bool (ITWTimeline::*times)(int32_t, int16_t, int32_t&, int32_t&);
    bool (ITWTimeline::*isSelected)(int32_t, int16_t);
    void (ITWTimeline::*setSelected)(int32_t, int16_t, bool);
    int16_t (ITWTimeline::*count)(int32_t);
    bool (ITWTimeline::*setTimes)(int32_t, int16_t, int32_t, int32_t);
    bool (ITWTimeline::*shift)(int32_t, int16_t, int32_t);
};

const ItemKind kSources{&ITWTimeline::GetSourceTimes,  &ITWTimeline::IsSourceSelected,
                        &ITWTimeline::SetSourceSelected, &ITWTimeline::GetSourceCount,
                        &ITWTimeline::SetSourceTimes,  &ITWTimeline::ShiftSources};
const ItemKind kEffects{&ITWTimeline::GetEffectTimes,  &ITWTimeline::IsEffectItemSelected,
                        &ITWTimeline::SetEffectSelected, &ITWTimeline::GetEffectCount,
                        &ITWTimeline::SetEffectTimes,  &ITWTimeline::ShiftEffects};

// The press on a row: which item holds the time of the press, and how the modifier
// keys select it. treeTag is the track node's tag in the timeline list.
void PressOnRow(int32_t track, const ItemKind& kind, int32_t treeTag, bool overlay)
{
    auto& tl = Tl();
    const int32_t ms = TimeAt(ClickX);
    int16_t seq = 0;
    int32_t start = 0, stop = 0;
    for (;; ++seq) {
        if (!(tl.*kind.times)(track, seq, start, stop)) {
            RenderAllBars();
            MenuUpdate();
            return;
        }
        if (start <= ms && ms <= stop)
            break;
    }
    if (ClickCtrl || ClickShift) {
        (tl.*kind.setSelected)(track, seq, !(tl.*kind.isSelected)(track, seq));
    } else if (!(tl.*kind.isSelected)(track, seq)) {
        ClearMFSTSubSelections();
        (tl.*kind.setSelected)(track, seq, true);
    }
    if (overlay)
        tl.SetTransitionSelected(track, seq, tl.IsSourceSelected(track, seq));
    TimelineControls* form = Form();
    if (form->imgStartSelHandle->isHidden() && form->imgEndSelHandle->isHidden()
        && (SliderPosition < start || SliderPosition > stop)) {
        SetSliderPosition(start, false);
        ModuleTWPreview::OnSliderMove();
    }
    ModuleTreeView::SetSourceSelected(treeTag, seq + 1);
    RenderAllBars();
    MenuUpdate();
}

void ClearFlags(int32_t track, int16_t (ITWTimeline::*count)(int32_t), void (ITWTimeline::*set)(int32_t, int16_t, bool))
{
    auto& tl = Tl();
    const int16_t n = (tl.*count)(track);
    for (int16_t seq = 0; seq < n; ++seq)
        (tl.*set)(track, seq, false);
}

// The first item of the kind with the selected flag, -1 for none.
int16_t FirstSelected(int32_t track, const ItemKind& kind)
{
    auto& tl = Tl();
    const int16_t n = (tl.*kind.count)(track);
    for (int16_t seq = 0; seq < n; ++seq)
        if ((tl.*kind.isSelected)(track, seq))
            return seq;
    return -1;
}

int32_t LeftMoveLength(int32_t track, int16_t seq, const ItemKind& kind)
{
    auto& tl = Tl();
    int32_t start = 0, stop = 0;
    (tl.*kind.times)(track, seq, start, stop);
    if (seq == 0)
        return start;
    int32_t previousStart = 0, previousStop = 0;
    (tl.*kind.times)(track, static_cast<int16_t>(seq - 1), previousStart, previousStop);
    return start - previousStop;
}

// Moves the stop of one item by delta and what follows it along; false, and nothing
// changed, when the item would be 10 ms or shorter.
bool Lengthen(int32_t track, int16_t seq, int32_t delta, const ItemKind& kind)
{
    auto& tl = Tl();
    int32_t start = 0, stop = 0;
    (tl.*kind.times)(track, seq, start, stop);
    const int32_t newStop = stop + delta;
    if (newStop - start <= 10)
        return false;
    (tl.*kind.setTimes)(track, seq, start, newStop);
    (tl.*kind.shift)(track, static_cast<int16_t>(seq + 1), delta);
    return true;
}

// The tool tip and pointer of a row for the item under x, y; true in its resize zone.
bool Hover(QmPicture* pic, int32_t track, bool effects, const QString& defaultTip, int x, int y)
{
    auto& tl = Tl();
    const int32_t pos = TimeAt(x);
    const int16_t seq = effects ? GetSequenceNumberAtPosEffect(track, pos) : GetSequenceNumberFromPos(track, pos);
    if (seq < 0) {
        pic->setToolTip(defaultTip);
        pic->unsetCursor();
        return false;
    }
    pic->setToolTip(effects ? tl.GetEffectName(track, seq, 10).trimmed() : GetSourceFileName(track, seq));
    int32_t start = 0, stop = 0;
    (tl.*(effects ? kEffects : kSources).times)(track, seq, start, stop);
    // The last 12 pixels of the item, in its top 12: the corner the bar marks.
    const bool zone = pos >= stop - PixelsToMs(12) && pos <= stop && y < 12;
    if (zone)
        pic->setCursor(Qt::SizeHorCursor);
    else
        pic->unsetCursor();
    return zone;
}

// Steps 1 to 14 of a bar: fill, outline, highlight, shadow, caption, corner, selection.
// effects: the effect list, whose corner mark wants strictly more room.
void PaintBars(QmPicture* pic, int32_t track, int32_t fill, int32_t shadow, bool locked, bool effects)
{
    auto& tl = Tl();
    pic->Cls();
    // Zoomed out, a row holds hundreds of bars: they are drawn with one painter.
    QmPicture::Batch batch(*pic);
    const int32_t leftPx = TicksToPixels(Form()->hsb->value());
    const int32_t viewStart = PixelsToMs(leftPx);
    const int32_t viewEnd = PixelsToMs(leftPx + Form()->picScale->ScaleWidth());
    const int h = pic->ScaleHeight();
    const bool handlesHidden = Form()->imgStartSelHandle->isHidden() && Form()->imgEndSelHandle->isHidden();
    auto x = [leftPx](int32_t t) { return MsToPixels(t) - leftPx; };
    const ItemKind& kind = effects ? kEffects : kSources;

    int32_t start = 0, stop = 0;
    for (int16_t seq = 0; (tl.*kind.times)(track, seq, start, stop); ++seq) {
        if (start > viewEnd)
            break; // items are in time order: nothing further reaches the view
        if (stop < viewStart)
            continue;
        // A difference, not a clipped time: it lands at or left of the view's edge, so
        // the fill of an item that starts before the view begins beyond the edge.
        const int32_t drawStart = start < viewStart ? viewStart - start : start;
        const int32_t drawStop = stop > viewEnd ? viewEnd : stop;
        const int32_t saved = pic->ForeColor;

        pic->ForeColor = fill;
        pic->BoxFill(x(drawStart), 0, x(drawStop), h - 1);
        pic->ForeColor = 0;
        pic->Box(x(start), 0, x(stop), h - 1);
        pic->ForeColor = kHighlight;
        pic->Box(x(start) + 2, 2, x(start) + 2, h - 3);
        pic->Box(x(start) + 2, 2, x(stop) - 2, 2);
        pic->ForeColor = shadow;
        pic->Box(x(stop) - 1, 2, x(stop) - 1, h - 2);
        pic->Box(x(start) + 1, h - 2, x(stop) - 1, h - 2);

        // A caption is looked up and measured only where a bar has room for one.
        const int32_t room = MsToPixels(stop) - MsToPixels(start) - 22;
        const QString caption = room <= 0 ? QString()
                                : effects ? tl.GetEffectName(track, seq, 10).trimmed()
                                          : GetSourceFileName(track, seq);
        if (room > 0 && pic->TextWidth(caption) < room) {
            pic->CurrentX = x(start) + 10;
            pic->CurrentY = pic->height() / 2 - pic->TextHeight(caption) / 2;
            pic->ForeColor = QmColors::WindowText;
            pic->Print(caption);
        }

        const bool cornerFits = effects ? MsToPixels(stop) - 12 > MsToPixels(start)
                                        : MsToPixels(stop) - 12 >= MsToPixels(start);
        if (cornerFits) {
            pic->ForeColor = 0;
            pic->Line(x(stop) - 12, 0, x(stop), 12);
        }

        if (handlesHidden && (tl.*kind.isSelected)(track, seq) && !locked) {
            pic->ForeColor = 0;
            pic->DrawStyle = QmPicture::Dot;
            pic->Box(x(start) + 1, 1, x(stop) - 1, h - 2);
            pic->DrawStyle = QmPicture::Solid;
            QmStatus::Show(moduleUtilities::MilliSecondsToTimetypeAsString(start) + QStringLiteral(" - ")
                                        + moduleUtilities::MilliSecondsToTimetypeAsString(stop),
                                    QStringLiteral("SELECTION"));
        }
        pic->ForeColor = saved;
    }
}

// A row's bars in its own colours, or in the button colours while its lock box is set.
void RenderRow(void (*render)(QmPicture*, int32_t, int32_t, int32_t, bool), QmPicture* pic, int32_t track,
               const QCheckBox* lock, int32_t fill, int32_t shadow)
{
    const bool locked = lock->isChecked();
    render(pic, track, locked ? QmColors::ButtonFace : fill, locked ? QmColors::ButtonShadow : shadow, locked);
}

// The option boxes of one row as ReInitLinkLockDisable and UpdateTrackOptions set them.
void ResetRowOptions(QCheckBox* disable, QmImageBox* disableImage, QCheckBox* lock, QmImageBox* lockImage,
                     QCheckBox* link, QmImageBox* linkImage, bool audio, bool withLock)
{
    disable->setChecked(false);
    disableImage->SetPicture(audio ? QStringLiteral("DISABLE_AUDIO") : QStringLiteral("DISABLE"));
    if (withLock) {
        lock->setChecked(false);
        lockImage->SetPicture(QStringLiteral("BLANK"));
    }
    link->setChecked(true);
    if (withLock)
        linkImage->SetPicture(QStringLiteral("BLANK"));
}

} // namespace

void InitTimeline()
{
    QmTrap::Run(kModule, QStringLiteral("InitTimeline"), [] {
        TimelineControls* form = Form();
        ModuleSettings::SetApplicationName(AppSection);
        ModuleSettings::GetResentFilesFromReg();
        ModuleSettings::GetResentProjectFilesFromReg();
        ModuleTreeView::EmptyTreeView();

        auto& tl = Tl();
        for (int i = 0; i < form->picVideo.size(); ++i) {
            const int32_t track = tl.CreateTrack(true);
            if (!Created(track))
                break;
            TrackCollection.Add(track);
            tl.SetTrackLink(track, true);
            ModuleTreeView::AddTrack(QStringLiteral("Video"), track);
            VideoTrackNode = track;
            ModuleTreeView::AddTrack(QStringLiteral("Effects"), EffectLaneTag);
        }
        OverlayTrack = tl.CreateTrack(true);
        if (Created(OverlayTrack)) {
            tl.SetTrackLink(OverlayTrack, true);
            ModuleTreeView::AddTrack(QStringLiteral("Overlays"), OverlayTrack);
            OverlayTrackNode = OverlayTrack;
        }
        for (int i = 0; i < form->picAudio.size(); ++i) {
            const int32_t track = tl.CreateTrack(false);
            if (!Created(track))
                break;
            tl.SetTrackLink(track, true);
            TrackCollection.Add(track);
            const int number = TrackCollection.Count() - 1;
            ModuleTreeView::AddTrack(QStringLiteral("Audio ") + QString::number(number), track);
            if (number == 1)
                Audio1TrackNode = track;
            else if (number == 2)
                Audio2TrackNode = track;
        }

        ModuleSettings::LoadRegistrySettings();
        InitScale();
        SetSliderPosition(0, false);
        SetSelSliderPosition(1000, true);
        SetSelSliderPosition(2000, false);
        SelStartPosition = GetSelSliderPosition(true);
        SelEndPosition = GetSelSliderPosition(false);
        moduleBookmarks::RemoveBookmarks();
    });
}

int32_t VideoTrackOf(int index)
{
    return TrackCollection.Item(index + 1);
}

int32_t AudioTrackOf(int index)
{
    return TrackCollection.Item(static_cast<int>(Form()->picVideo.size()) + index + 1);
}

int32_t TimeAt(int32_t x)
{
    return PixelsToMs(x + Form()->hsb->value() * TickSpacing);
}

int32_t PixelAt(int32_t ms)
{
    return MsToPixels(ms) - Form()->hsb->value() * TickSpacing;
}

QString GetMediaFileName(int32_t file)
{
    QString path;
    if (file == 0 || !Eng<ITWCoreRoot>().GetFileName(file, 260, path))
        return QString();
    return moduleUtilities::ExtractFileName(path.trimmed());
}

QString GetSourceFileName(int32_t track, int16_t seq)
{
    return GetMediaFileName(Eng<ITWMediaFiles>().GetStreamFile(Tl().GetSourceStream(track, seq)));
}

int32_t GetTimelineDuration()
{
    auto& tl = Tl();
    int32_t duration = 0;
    for (int32_t track : TrackCollection)
        duration = std::max(duration, tl.GetTrackDuration(track));
    if (OverlayTrack != 0)
        duration = std::max(duration, tl.GetTrackDuration(OverlayTrack));
    return duration;
}

bool IsTimelineEmpty()
{
    auto& tl = Tl();
    for (int32_t track : TrackCollection) {
        if (tl.GetSourceCount(track) > 0)
            return false;
    }
    return OverlayTrack == 0 || tl.GetSourceCount(OverlayTrack) == 0;
}

// The item of a list that holds pos, both ends inside: the earlier of two that touch.
static int16_t SequenceAt(const QString& function, int32_t track, int32_t pos,
                          bool (ITWTimeline::*times)(int32_t, int16_t, int32_t&, int32_t&))
{
    return QmTrap::Value<int16_t>(kModule, function, -1, [&]() -> int16_t {
        int32_t start = 0, stop = 0;
        for (int16_t seq = 0; (Tl().*times)(track, seq, start, stop); ++seq)
            if (start <= pos && pos <= stop)
                return seq;
        return -1;
    });
}

int16_t GetSequenceNumberFromPos(int32_t track, int32_t pos)
{
    return SequenceAt(QStringLiteral("GetSequenceNumberFromPos"), track, pos, &ITWTimeline::GetSourceTimes);
}

int16_t GetSequenceNumberAtPosEffect(int32_t track, int32_t pos)
{
    return SequenceAt(QStringLiteral("GetSequenceNumberAtPosEffect"), track, pos, &ITWTimeline::GetEffectTimes);
}

void ClearMFSTSubSelections()
{
    QmTrap::Run(kModule, QStringLiteral("ClearMFSTSubSelections"), [] {
        auto& tl = Tl();
        for (int32_t track : TrackCollection) {
            ClearFlags(track, &ITWTimeline::GetSourceCount, &ITWTimeline::SetSourceSelected);
            if (tl.IsVideoTrack(track))
                ClearFlags(track, &ITWTimeline::GetEffectCount, &ITWTimeline::SetEffectSelected);
        }
        if (OverlayTrack != 0) {
            ClearFlags(OverlayTrack, &ITWTimeline::GetSourceCount, &ITWTimeline::SetSourceSelected);
            ClearFlags(OverlayTrack, &ITWTimeline::GetTransitionCount, &ITWTimeline::SetTransitionSelected);
        }
    });
}

void OnPicMediaClick(int16_t index, bool isVideo)
{
    QmTrap::Run(kModule, QStringLiteral("OnPicMediaClick"), [&] {
        const int32_t track = isVideo ? VideoTrackOf(index) : AudioTrackOf(index);
        PressOnRow(track, kSources, track, false);
    });
}

void OnPicOverlayClick(int16_t)
{
    QmTrap::Run(kModule, QStringLiteral("OnPicOverlayClick"),
                [] { PressOnRow(OverlayTrack, kSources, OverlayTrack, true); });
}

void OnPicEffectClick(int16_t index)
{
    QmTrap::Run(kModule, QStringLiteral("OnPicEffectClick"),
                [&] { PressOnRow(VideoTrackOf(index), kEffects, EffectLaneTag, false); });
}

void EnableLinkOption(bool visible)
{
    TimelineControls* f = Form();
    const QList<QList<QCheckBox*>*> boxes = {&f->chkLinkVideo, &f->chkLinkEffect, &f->chkLinkOverlay, &f->chkLinkAudio};
    const QList<QList<QmImageBox*>*> images = {&f->imgLinkVideo, &f->imgLinkEffect, &f->imgLinkOverlay,
                                               &f->imgLinkAudio};
    for (int kind = 0; kind < images.size(); ++kind) {
        for (int i = 0; i < images[kind]->size(); ++i) {
            QmImageBox* image = (*images[kind])[i];
            image->setVisible(visible);
            if (visible)
                image->SetPicture((*boxes[kind])[i]->isChecked() ? QStringLiteral("LINK") : QStringLiteral("BLANK"));
        }
    }
}

void ReInitLinkLockDisable()
{
    QmTrap::Run(kModule, QStringLiteral("ReInitLinkLockDisable"), [] {
        TimelineControls* f = Form();
        for (int i = 0; i < f->picVideo.size(); ++i)
            ResetRowOptions(f->chkDisableVideo[i], f->imgDisableVideo[i], f->chkLockVideo[i], f->imgLockVideo[i],
                            f->chkLinkVideo[i], f->imgLinkVideo[i], false, true);
        for (int i = 0; i < f->picEffect.size(); ++i)
            ResetRowOptions(f->chkDisableEffect[i], f->imgDisableEffect[i], f->chkLockEffect[i], f->imgLockEffect[i],
                            f->chkLinkEffect[i], f->imgLinkEffect[i], false, true);
        for (int i = 0; i < f->picOverlay.size(); ++i)
            ResetRowOptions(f->chkDisableOverlay[i], f->imgDisableOverlay[i], f->chkLockOverlay[i],
                            f->imgLockOverlay[i], f->chkLinkOverlay[i], f->imgLinkOverlay[i], false, true);
        for (int i = 0; i < f->picAudio.size(); ++i)
            ResetRowOptions(f->chkDisableAudio[i], f->imgDisableAudio[i], f->chkLockAudio[i], f->imgLockAudio[i],
                            f->chkLinkAudio[i], f->imgLinkAudio[i], true, true);
    });
}

void UpdateTrackOptions()
{
    QmTrap::Run(kModule, QStringLiteral("UpdateTrackOptions"), [] {
        // Only the count is looked at: a track back at exactly one item has its disable
        // box cleared again, whatever the user had set.
        TimelineControls* f = Form();
        auto& tl = Tl();
        const int videoRows = static_cast<int>(f->picVideo.size());
        for (int i = 1; i <= TrackCollection.Count(); ++i) {
            const int32_t track = TrackCollection.Item(i);
            if (i <= videoRows) {
                const int row = i - 1;
                if (tl.GetSourceCount(track) == 1)
                    ResetRowOptions(f->chkDisableVideo[row], f->imgDisableVideo[row], nullptr, nullptr,
                                    f->chkLinkVideo[row], nullptr, false, false);
                if (row < f->picEffect.size() && tl.GetEffectCount(track) == 1)
                    ResetRowOptions(f->chkDisableEffect[row], f->imgDisableEffect[row], nullptr, nullptr,
                                    f->chkLinkEffect[row], nullptr, false, false);
            } else if (tl.GetSourceCount(track) == 1) {
                const int row = i - videoRows - 1;
                ResetRowOptions(f->chkDisableAudio[row], f->imgDisableAudio[row], nullptr, nullptr,
                                f->chkLinkAudio[row], nullptr, true, false);
            }
        }
        if (OverlayTrack != 0 && tl.GetSourceCount(OverlayTrack) == 1)
            ResetRowOptions(f->chkDisableOverlay[0], f->imgDisableOverlay[0], nullptr, nullptr, f->chkLinkOverlay[0],
                            nullptr, false, false);
    });
}

void RenderBar(QmPicture* pic, int32_t track, int32_t fill, int32_t shadow, bool locked)
{
    QmTrap::Run(kModule, QStringLiteral("RenderBar"), [&] { PaintBars(pic, track, fill, shadow, locked, false); });
}

void RenderEffectBar(QmPicture* pic, int32_t track, int32_t fill, int32_t shadow, bool locked)
{
    QmTrap::Run(kModule, QStringLiteral("RenderEffectBar"), [&] { PaintBars(pic, track, fill, shadow, locked, true); });
}

void RenderEffectBars()
{
    TimelineControls* f = Form();
    for (int i = 0; i < f->picEffect.size() && i < TrackCollection.Count(); ++i)
        RenderRow(RenderEffectBar, f->picEffect[i], VideoTrackOf(i), f->chkLockEffect[i], EffectBarFill, kEffectShadow);
}

void RenderAllBars()
{
    QmTrap::Run(kModule, QStringLiteral("RenderAllBars"), [] {
        TimelineControls* f = Form();
        if (TrackCollection.Count() == 0)
            return; // no tracks yet: nothing to draw
        for (int i = 0; i < f->picVideo.size(); ++i)
            RenderRow(RenderBar, f->picVideo[i], VideoTrackOf(i), f->chkLockVideo[i], VideoBarFill, kVideoShadow);
        for (int i = 0; i < f->picAudio.size(); ++i)
            RenderRow(RenderBar, f->picAudio[i], AudioTrackOf(i), f->chkLockAudio[i], AudioBarFill, kAudioShadow);
        RenderEffectBars();
        RenderRow(RenderBar, f->picOverlay[0], OverlayTrack, f->chkLockOverlay[0], OverlayBarFill, kOverlayShadow);
    });
}

void AddColorToBars()
{
    RenderAllBars();
}

void PlaceSliderLine(QWidget* line, QWidget* handle)
{
    line->move(Form()->lblHighlight->x() + handle->x() + 5, line->y());
}

void PlaceHandleLines(QWidget* handle, QWidget* lineOverRows, QWidget* lineOnScale)
{
    PlaceSliderLine(lineOverRows, handle);
    lineOnScale->move(handle->x() + 5, lineOnScale->y());
}

int32_t LinePixel(const QWidget* line)
{
    return line->x() - Form()->lblHighlight->x() + TicksToPixels(Form()->hsb->value());
}

void SetSliderPosition(int32_t pos, bool scroll)
{
    QmTrap::Run(kModule, QStringLiteral("SetSliderPosition"), [&] {
        TimelineControls* f = Form();
        const int32_t x = PixelAt(pos);
        f->imgScaleSlider->move(x, f->imgScaleSlider->y());
        f->imgSliderHandle->move(x - 5, f->imgSliderHandle->y());
        PlaceSliderLine(f->picSlider, f->imgSliderHandle);
        const bool inView = !(f->imgScaleSlider->x() < 0 || f->imgScaleSlider->x() > f->picScale->ScaleWidth());
        f->imgScaleSlider->setVisible(inView);
        f->imgSliderHandle->setVisible(inView);
        f->picSlider->setVisible(inView);
        if (inView) {
            f->imgSliderHandle->raise();
            f->picSlider->raise();
        }
        const QString text = moduleUtilities::MilliSecondsToTimetypeAsString(pos);
        QmStatus::Show(text, QStringLiteral("SLIDER_POS"));
        frmPreview::instance()->lblCurrentTime->setText(text);
        SliderPosition = pos;
        if (!scroll || inView)
            return;
        const auto target = static_cast<int>(QmNumbers::RoundHalfEven(MsToTicks(GetSliderPosition())));
        f->hsb->setValue(std::clamp(target, f->hsb->minimum(), f->hsb->maximum()));
    });
}

int32_t GetSliderPosition()
{
    return PixelsToMs(Form()->imgScaleSlider->x() + TicksToPixels(Form()->hsb->value()));
}

void SetSelSliderPosition(int32_t pos, bool isStart)
{
    QmTrap::Run(kModule, QStringLiteral("SetSelSliderPosition"), [&] {
        TimelineControls* f = Form();
        QWidget* handle = isStart ? f->imgStartSelHandle : f->imgEndSelHandle;
        QWidget* overRows = isStart ? f->picStartSelSlider : f->picEndSelSlider;
        QWidget* onScale = isStart ? f->imgStartSelSlider : f->imgEndSelSlider;
        const int32_t x = PixelAt(pos);
        handle->move(x - 5, handle->y());
        PlaceHandleLines(handle, overRows, onScale);
        if (handle->isHidden())
            return;
        overRows->setVisible(!(handle->x() < 0 || handle->x() > f->picScale->ScaleWidth()));
    });
}

int32_t GetSelSliderPosition(bool isStart)
{
    QWidget* handle = isStart ? Form()->imgStartSelHandle : Form()->imgEndSelHandle;
    return PixelsToMs(handle->x() + TicksToPixels(Form()->hsb->value()) + 5);
}

static void SetSelMenuChecks()
{
    if (!mdiTarnwick::exists())
        return;
    const bool both = TimelineView::SelectionShown();
    for (const char* name : {"mnuViewSelectionSliders", "mnuEC_SelSliders"})
        if (QAction* item = mdiTarnwick::instance()->Item(QString::fromLatin1(name)))
            item->setChecked(both);
}

void ShowStartSelSlider(bool visible)
{
    QmTrap::Run(kModule, QStringLiteral("ShowStartSelSlider"), [&] {
        TimelineControls* f = Form();
        f->imgStartSelHandle->setVisible(visible);
        f->imgStartSelSlider->setVisible(visible);
        f->picStartSelSlider->setVisible(visible);
        EnableLinkOption(visible);
        PreviewSlider()->setMinimum(visible ? GetSelSliderPosition(true) : 0);
        SetSelMenuChecks();
    });
}

void ShowEndSelSlider(bool visible)
{
    QmTrap::Run(kModule, QStringLiteral("ShowEndSelSlider"), [&] {
        TimelineControls* f = Form();
        f->imgEndSelHandle->setVisible(visible);
        f->imgEndSelSlider->setVisible(visible);
        f->picEndSelSlider->setVisible(visible);
        EnableLinkOption(visible);
        PreviewSlider()->setMaximum(visible ? GetSelSliderPosition(false) : GetTimelineDuration());
        SetSelMenuChecks();
    });
}

void ShowSelSliders(bool visible)
{
    ShowStartSelSlider(visible);
    ShowEndSelSlider(visible);
    ShowOrHideTrackSelections();
    RenderScale();
    RenderAllBars();
    RenderAllSelections();
    MenuUpdate();
}

void ToggleSelSliders()
{
    QmTrap::Run(kModule, QStringLiteral("ToggleSelSliders"), [] {
        TimelineControls* f = Form();
        if (TimelineView::SelectionShown()) {
            ShowSelSliders(false);
        } else {
            if (f->picSlider->isHidden())
                SetSliderPosition(TimeAt(0), false); // at the view's left edge
            const int32_t pos = GetSliderPosition();
            SetSelSliderPosition(pos, true);
            SetSelSliderPosition(pos + PixelsToMs(100), false);
            ShowSelSliders(true);
        }
        SelStartPosition = GetSelSliderPosition(true);
        SelEndPosition = GetSelSliderPosition(false);
    });
}

void OnEditStartSelClick()
{
    if (!TimelineView::SelectionShown()) {
        ToggleSelSliders();
        return;
    }
    const int32_t pos = GetSliderPosition();
    if (MsToPixels(SelEndPosition) - MsToPixels(pos) < 6)
        return;
    SetSelSliderPosition(pos, true);
    SelStartPosition = GetSelSliderPosition(true);
    PreviewSlider()->setMinimum(SelStartPosition);
    RenderScale();
    RenderAllSelections();
}

void OnEditEndSelClick()
{
    const int32_t pos = GetSliderPosition();
    if (!TimelineView::SelectionShown())
        ToggleSelSliders();
    if (MsToPixels(pos) - MsToPixels(SelStartPosition) < 6)
        return;
    SetSelSliderPosition(pos, false);
    SelEndPosition = GetSelSliderPosition(false);
    PreviewSlider()->setMaximum(SelEndPosition);
    RenderScale();
    RenderAllSelections();
}

void ShowOrHideTrackSelections()
{
    QmTrap::Run(kModule, QStringLiteral("ShowOrHideTrackSelections"), [] {
        TimelineControls* f = Form();
        auto& tl = Tl();
        const bool both = TimelineView::SelectionShown();
        auto show = [&](QWidget* shape, int32_t track) {
            shape->setVisible(both && tl.GetTrackLink(track) && !moduleTWState::IsTrackLocked(track)
                              && tl.GetSourceCount(track) != 0);
        };
        for (int i = 0; i < f->shpVideoSel.size(); ++i) {
            if (both)
                show(f->shpVideoSel[i], VideoTrackOf(i));
            else
                f->shpVideoSel[i]->hide();
        }
        for (int i = 0; i < f->shpEffectSel.size(); ++i) {
            f->shpEffectSel[i]->setVisible(both && !f->chkLockEffect[i]->isChecked() && f->chkLinkEffect[i]->isChecked()
                                           && tl.GetEffectCount(VideoTrackOf(i)) != 0);
        }
        for (int i = 0; i < f->shpAudioSel.size(); ++i) {
            if (both)
                show(f->shpAudioSel[i], AudioTrackOf(i));
            else
                f->shpAudioSel[i]->hide();
        }
        if (both && OverlayTrack != 0)
            show(f->shpOverlaySel[0], OverlayTrack);
        else
            f->shpOverlaySel[0]->hide();
    });
}

void RenderAllSelections()
{
    QmTrap::Run(kModule, QStringLiteral("RenderAllSelections"), [] {
        if (!TimelineView::SelectionShown())
            return;
        TimelineControls* f = Form();
        const int left = f->imgStartSelHandle->x() + 6;
        const int width = f->imgEndSelHandle->x() - f->imgStartSelHandle->x() - 1;
        auto place = [&](const QList<QWidget*>& shapes, const QList<QCheckBox*>& locks) {
            for (int i = 0; i < shapes.size(); ++i) {
                if (locks[i]->isChecked())
                    continue; // locked rows are not touched
                shapes[i]->setGeometry(left, 0, std::max(0, width), shapes[i]->parentWidget()->height());
            }
        };
        place(f->shpVideoSel, f->chkLockVideo);
        place(f->shpEffectSel, f->chkLockEffect);
        place(f->shpOverlaySel, f->chkLockOverlay);
        place(f->shpAudioSel, f->chkLockAudio);
    });
}

bool OnPicVideoMouseMove(int x, int y, int16_t index)
{
    return QmTrap::Value<bool>(kModule, QStringLiteral("OnPicVideoMouseMove"), false, [&] {
        return Hover(Form()->picVideo[index], VideoTrackOf(index), false, QStringLiteral("Video Track"), x, y);
    });
}

bool OnPicAudioMouseMove(int x, int y, int16_t index)
{
    // The audio rows' own tip says "Video Track" too: so it was written.
    return QmTrap::Value<bool>(kModule, QStringLiteral("OnPicAudioMouseMove"), false, [&] {
        return Hover(Form()->picAudio[index], AudioTrackOf(index), false, QStringLiteral("Video Track"), x, y);
    });
}

bool OnPicEffectMouseMove(int x, int y, int16_t index)
{
    return QmTrap::Value<bool>(kModule, QStringLiteral("OnPicEffectMouseMove"), false, [&] {
        return Hover(Form()->picEffect[index], VideoTrackOf(index), true, QStringLiteral("Effect Track"), x, y);
    });
}

bool OnPicOverlayMouseMove(int x, int y, int16_t index)
{
    return QmTrap::Value<bool>(kModule, QStringLiteral("OnPicOverlayMouseMove"), false, [&] {
        return Hover(Form()->picOverlay[index], OverlayTrack, false, QStringLiteral("Overlay Track"), x, y);
    });
}

int32_t GetSourceLeftMoveLength(int32_t track, int16_t seq)
{
    return QmTrap::Value<int32_t>(kModule, QStringLiteral("GetSourceLeftMoveLength"), 0,
                                  [&] { return LeftMoveLength(track, seq, kSources); });
}

int32_t GetEffectLeftMoveLength(int32_t track, int16_t seq)
{
    return QmTrap::Value<int32_t>(kModule, QStringLiteral("GetEffectLeftMoveLength"), 0,
                                  [&] { return LeftMoveLength(track, seq, kEffects); });
}

int32_t GetSelMinLeftMoveLength()
{
    return QmTrap::Value<int32_t>(kModule, QStringLiteral("GetSelMinLeftMoveLength"), 0, [] {
        // Locks are not asked: a selected item that will not move still bounds the move.
        std::optional<int32_t> least;
        auto consider = [&least](int32_t room) { least = least ? std::min(*least, room) : room; };
        const int videoRows = static_cast<int>(Form()->picVideo.size());
        for (int i = 1; i <= TrackCollection.Count(); ++i) {
            const int32_t track = TrackCollection.Item(i);
            if (const int16_t seq = FirstSelected(track, kSources); seq >= 0)
                consider(GetSourceLeftMoveLength(track, seq));
            if (i > videoRows)
                continue;
            if (const int16_t seq = FirstSelected(track, kEffects); seq >= 0)
                consider(GetEffectLeftMoveLength(track, seq));
        }
        if (const int16_t seq = FirstSelected(OverlayTrack, kSources); seq >= 0)
            consider(GetSourceLeftMoveLength(OverlayTrack, seq));
        return least.value_or(0);
    });
}

void ShiftSelSources(int32_t delta)
{
    QmTrap::Run(kModule, QStringLiteral("ShiftSelSources"), [&] {
        using namespace moduleTWState;
        auto& tl = Tl();
        const int videoRows = static_cast<int>(Form()->picVideo.size());
        for (int i = 1; i <= TrackCollection.Count(); ++i) {
            const int32_t track = TrackCollection.Item(i);
            if (!IsTrackLocked(track))
                if (const int16_t seq = FirstSelected(track, kSources); seq >= 0)
                    tl.ShiftSources(track, seq, delta);
            if (!IsEffectLocked(track) && i <= videoRows)
                if (const int16_t seq = FirstSelected(track, kEffects); seq >= 0)
                    tl.ShiftEffects(track, seq, delta);
        }
        if (!IsTrackLocked(OverlayTrack)) {
            if (const int16_t seq = FirstSelected(OverlayTrack, kSources); seq >= 0) {
                tl.ShiftSources(OverlayTrack, seq, delta);
                tl.ShiftTransitions(OverlayTrack, seq, delta);
            }
        }
    });
}

void ResizeSelSources(int32_t delta)
{
    QmTrap::Run(kModule, QStringLiteral("ResizeSelSources"), [&] {
        // No lock test: a selected item on a locked track is resized all the same. The
        // media times stay, so a resized source plays faster or slower.
        auto& tl = Tl();
        auto resizeAll = [&](int32_t track, const ItemKind& kind) {
            const int16_t n = (tl.*kind.count)(track);
            for (int16_t seq = 0; seq < n; ++seq)
                if ((tl.*kind.isSelected)(track, seq))
                    Lengthen(track, seq, delta, kind);
        };
        const int videoRows = static_cast<int>(Form()->picVideo.size());
        for (int i = 1; i <= TrackCollection.Count(); ++i) {
            resizeAll(TrackCollection.Item(i), kSources);
            if (i <= videoRows)
                resizeAll(TrackCollection.Item(i), kEffects);
        }
        // An overlay's key transition takes its source's new times, so a key that had
        // drifted from its source is brought back over it.
        const int16_t n = tl.GetSourceCount(OverlayTrack);
        for (int16_t seq = 0; seq < n; ++seq) {
            if (!tl.IsSourceSelected(OverlayTrack, seq) || !Lengthen(OverlayTrack, seq, delta, kSources))
                continue;
            int32_t start = 0, stop = 0;
            tl.GetSourceTimes(OverlayTrack, seq, start, stop);
            tl.SetTransitionTimes(OverlayTrack, seq, start, stop);
            tl.ShiftTransitions(OverlayTrack, static_cast<int16_t>(seq + 1), delta);
        }
    });
}

} // namespace moduleTimeline
