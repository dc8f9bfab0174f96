#include "timeline/TimelineView.h"

#include "core/QmImageBox.h"
#include "core/QmPicture.h"
#include "core/QmShared.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleBookmarks.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QCheckBox>
#include <QLabel>
#include <QScrollBar>

using namespace QmShared;

namespace TimelineView {

namespace {

TimelineControls* Form()
{
    return frmTimeline::instance()->Controls();
}

const QList<QmPicture*>& Pictures(RowKind kind)
{
    TimelineControls* f = Form();
    switch (kind) {
    case RowKind::Video:
        return f->picVideo;
    case RowKind::Effect:
        return f->picEffect;
    case RowKind::Overlay:
        return f->picOverlay;
    case RowKind::Audio:
        break;
    }
    return f->picAudio;
}

// The check boxes and image boxes of one option over the rows of a kind.
struct OptionBoxes
{
    QList<QCheckBox*>& boxes;
    QList<QmImageBox*>& images;
};

OptionBoxes BoxesOf(RowKind kind, Option option)
{
    TimelineControls* f = Form();
    switch (kind) {
    case RowKind::Video:
        return option == Option::Link   ? OptionBoxes{f->chkLinkVideo, f->imgLinkVideo}
               : option == Option::Lock ? OptionBoxes{f->chkLockVideo, f->imgLockVideo}
                                        : OptionBoxes{f->chkDisableVideo, f->imgDisableVideo};
    case RowKind::Effect:
        return option == Option::Link   ? OptionBoxes{f->chkLinkEffect, f->imgLinkEffect}
               : option == Option::Lock ? OptionBoxes{f->chkLockEffect, f->imgLockEffect}
                                        : OptionBoxes{f->chkDisableEffect, f->imgDisableEffect};
    case RowKind::Overlay:
        return option == Option::Link   ? OptionBoxes{f->chkLinkOverlay, f->imgLinkOverlay}
               : option == Option::Lock ? OptionBoxes{f->chkLockOverlay, f->imgLockOverlay}
                                        : OptionBoxes{f->chkDisableOverlay, f->imgDisableOverlay};
    case RowKind::Audio:
        break;
    }
    return option == Option::Link   ? OptionBoxes{f->chkLinkAudio, f->imgLinkAudio}
           : option == Option::Lock ? OptionBoxes{f->chkLockAudio, f->imgLockAudio}
                                    : OptionBoxes{f->chkDisableAudio, f->imgDisableAudio};
}

// The picture an option's image box shows for its value.
QString PictureOf(RowKind kind, Option option, bool on)
{
    switch (option) {
    case Option::Link:
        return on ? QStringLiteral("LINK") : QStringLiteral("BLANK");
    case Option::Lock:
        return on ? QStringLiteral("LOCK") : QStringLiteral("BLANK");
    case Option::Disable:
        break;
    }
    if (on)
        return QStringLiteral("BLANK");
    return kind == RowKind::Audio ? QStringLiteral("DISABLE_AUDIO") : QStringLiteral("DISABLE");
}

} // namespace

QList<Row> Rows()
{
    QList<Row> rows;
    for (RowKind kind : {RowKind::Video, RowKind::Effect, RowKind::Overlay, RowKind::Audio})
        for (int i = 0; i < RowCount(kind); ++i)
            rows.append({kind, i, TrackOf(kind, i)});
    return rows;
}

int RowCount(RowKind kind)
{
    return static_cast<int>(Pictures(kind).size());
}

QString RowCaption(RowKind kind, int index)
{
    TimelineControls* f = Form();
    const QLabel* label = kind == RowKind::Video     ? (index == 0 ? f->lblVideo : nullptr)
                          : kind == RowKind::Effect  ? (index == 0 ? f->lblEffect : nullptr)
                          : kind == RowKind::Overlay ? (index == 0 ? f->lblOverlay : nullptr)
                                                     : f->lblAudio.value(index);
    return label ? label->text() : QString();
}

int32_t TrackOf(RowKind kind, int index)
{
    switch (kind) {
    case RowKind::Video:
    case RowKind::Effect:
        return moduleTimeline::VideoTrackOf(index);
    case RowKind::Overlay:
        return OverlayTrack;
    case RowKind::Audio:
        break;
    }
    return moduleTimeline::AudioTrackOf(index);
}

bool RowOption(RowKind kind, int index, Option option)
{
    const QList<QCheckBox*>& boxes = BoxesOf(kind, option).boxes;
    return index >= 0 && index < boxes.size() && boxes[index]->isChecked();
}

void SetRowOption(RowKind kind, int index, Option option, bool on)
{
    OptionBoxes boxes = BoxesOf(kind, option);
    if (index < 0 || index >= boxes.boxes.size())
        return;
    boxes.boxes[index]->setChecked(on);
    boxes.images[index]->SetPicture(PictureOf(kind, option, on));
}

bool TrackOption(int32_t track, Option option)
{
    if (track == 0)
        return false;
    for (const Row& row : Rows())
        if (row.kind != RowKind::Effect && row.track == track)
            return RowOption(row.kind, row.index, option);
    return false;
}

bool EffectOption(int32_t videoTrack, Option option)
{
    for (int i = 0; i < RowCount(RowKind::Effect) && i < TrackCollection.Count(); ++i)
        if (TrackOf(RowKind::Effect, i) == videoTrack)
            return RowOption(RowKind::Effect, i, option);
    return false;
}

bool SelectionShown()
{
    return SelHandleShown(true) && SelHandleShown(false);
}

bool SelHandleShown(bool start)
{
    return !(start ? Form()->imgStartSelHandle : Form()->imgEndSelHandle)->isHidden();
}

bool AnySelHandleShown()
{
    return SelHandleShown(true) || SelHandleShown(false);
}

bool SelLineShown(bool start)
{
    return !(start ? Form()->picStartSelSlider : Form()->picEndSelSlider)->isHidden();
}

int32_t SelectionStart()
{
    return moduleScaleRenderer::PixelsToMs(moduleTimeline::LinePixel(Form()->picStartSelSlider) + 5);
}

int32_t SelectionEnd()
{
    return moduleScaleRenderer::PixelsToMs(moduleTimeline::LinePixel(Form()->picEndSelSlider) + 5);
}

int32_t SelSliderTime(bool start)
{
    return moduleTimeline::GetSelSliderPosition(start);
}

void SetSelection(int32_t start, int32_t end, bool shown)
{
    moduleTimeline::SetSelSliderPosition(start, true);
    moduleTimeline::SetSelSliderPosition(end, false);
    moduleTimeline::ShowSelSliders(shown);
    SelStartPosition = moduleTimeline::GetSelSliderPosition(true);
    SelEndPosition = moduleTimeline::GetSelSliderPosition(false);
}

int16_t Zoom()
{
    return ZoomFactor;
}

void SetZoom(int16_t zoom)
{
    const int32_t position = moduleTimeline::GetSliderPosition();
    moduleScaleRenderer::SetZoomFactor(zoom);
    moduleTimeline::SetSliderPosition(position, true);
    moduleTimeline::SetSelSliderPosition(SelStartPosition, true);
    moduleTimeline::SetSelSliderPosition(SelEndPosition, false);
    moduleScaleRenderer::RenderScale();
    moduleTimeline::RenderAllBars();
    moduleScaleRenderer::AdjustScroll();
    moduleTimeline::RenderAllSelections();
    moduleBookmarks::UpdateBookmarks();
}

int32_t SliderTime()
{
    return moduleScaleRenderer::PixelsToMs(moduleTimeline::LinePixel(Form()->picSlider));
}

int32_t ScrollValue()
{
    return Form()->hsb->value();
}

int32_t ScrollMaximum()
{
    return Form()->hsb->maximum();
}

void SetScrollValue(int32_t value)
{
    Form()->hsb->setValue(value);
}

void AcceptMediaDrops(bool on)
{
    for (RowKind kind : {RowKind::Video, RowKind::Effect, RowKind::Overlay, RowKind::Audio})
        for (QmPicture* pic : Pictures(kind))
            pic->setAcceptDrops(on);
}

} // namespace TimelineView
