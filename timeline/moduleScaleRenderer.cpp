#include "timeline/moduleScaleRenderer.h"

#include "core/QmError.h"
#include "core/QmNumbers.h"
#include "core/QmPicture.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/moduleUtilities.h"
#include "core/QmImageBox.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleBookmarks.h"
#include "timeline/moduleTimeline.h"

#include <QScrollBar>

#include <limits>

using namespace QmShared;

namespace moduleScaleRenderer {

namespace {

const QString kModule = QStringLiteral("moduleScaleRenderer");

// Kept as the scale's start values do; nothing reads it.
[[maybe_unused]] int32_t s_scaleUnit = 0;

// The zoom factor the view works with: a closed project leaves none (0), and the view
// then keeps to the start zoom.
int16_t Zoom()
{
    return ZoomFactor >= 1 ? ZoomFactor : 10;
}

int32_t Checked32(int64_t value)
{
    if (value < std::numeric_limits<int32_t>::min() || value > std::numeric_limits<int32_t>::max())
        throw QmError(QmErr::Overflow, QStringLiteral("Overflow"));
    return static_cast<int32_t>(value);
}

TimelineControls* Form()
{
    return frmTimeline::instance()->Controls();
}

// Steps 4 to 7 of a zoom: the sliders keep their times, everything else follows.
void AfterZoom(int32_t pos)
{
    moduleTimeline::SetSliderPosition(pos, true);
    moduleTimeline::SetSelSliderPosition(SelStartPosition, true);
    moduleTimeline::SetSelSliderPosition(SelEndPosition, false);
    RenderScale();
    moduleTimeline::RenderAllBars();
    AdjustScroll();
    moduleTimeline::RenderAllSelections();
    moduleBookmarks::UpdateBookmarks();
    ProjectModified = true;
}

} // namespace

void InitScale()
{
    ZoomFactor = 10;
    TickSpacing = 10;
    ScaleBandColor = 0xFFBBBB;
    s_scaleUnit = 60000;
}

int32_t PixelsToMs(int32_t px)
{
    return Checked32(static_cast<int64_t>(px) * Zoom());
}

int32_t MsToPixels(int32_t ms)
{
    return QmNumbers::CLng(static_cast<double>(ms) / Zoom());
}

int32_t TicksToPixels(int32_t ticks)
{
    return Checked32(static_cast<int64_t>(ticks) * TickSpacing);
}

double MsToTicks(int32_t ms)
{
    return static_cast<double>(MsToPixels(ms)) / TickSpacing;
}

int16_t GetZoomFactor()
{
    return ZoomFactor;
}

void SetZoomFactor(int16_t zoom)
{
    ZoomFactor = zoom;
}

int16_t GetTickSpacing()
{
    return TickSpacing;
}

void RenderScale()
{
    QmTrap::Run(kModule, QStringLiteral("RenderScale"), [] {
        TimelineControls* form = Form();
        QmPicture* scale = form->picScale;
        scale->Cls();
        if (!form->imgStartSelHandle->isHidden() && !form->imgEndSelHandle->isHidden()) {
            const int32_t saved = scale->ForeColor;
            scale->ForeColor = ScaleBandColor;
            scale->BoxFill(form->imgStartSelHandle->x() + 5, 0, form->imgEndSelHandle->x() + 5, scale->ScaleHeight());
            scale->ForeColor = saved;
        }
        const int32_t left = TicksToPixels(form->hsb->value());
        const int32_t right = left + scale->ScaleWidth();
        const int32_t major = TickSpacing * 10;
        scale->ForeColor = 0;
        for (int32_t x = left; x <= right; x += TickSpacing) {
            if (x % major == 0) {
                scale->Line(x - left, 0, x - left, 8);
                const QString label = moduleUtilities::MilliSecondsToTimetypeAsString(PixelsToMs(x));
                scale->CurrentX = (x - scale->TextWidth(label) / 2) - left;
                scale->CurrentY = 10;
                scale->Print(label);
            } else {
                scale->Line(x - left, 0, x - left, 4);
            }
        }
    });
}

void ZoomOut()
{
    QmTrap::Run(kModule, QStringLiteral("ZoomOut"), [] {
        ZoomFactor = Zoom();
        if (ZoomFactor * 2 >= 32765) {
            ProjectModified = true;
            return;
        }
        const int32_t pos = moduleTimeline::GetSliderPosition();
        ZoomFactor = static_cast<int16_t>(ZoomFactor * 2);
        AfterZoom(pos);
    });
}

void ZoomIn()
{
    QmTrap::Run(kModule, QStringLiteral("ZoomIn"), [] {
        ZoomFactor = Zoom();
        if (QmNumbers::IntPart(ZoomFactor / 2.0) <= 0) {
            ProjectModified = true;
            return;
        }
        const int32_t pos = moduleTimeline::GetSliderPosition();
        // 10, 5, 2, 1: half of 5 rounds to even.
        ZoomFactor = QmNumbers::CInt(ZoomFactor / 2.0);
        AfterZoom(pos);
    });
}

void AdjustScroll()
{
    QmTrap::Run(kModule, QStringLiteral("AdjustScroll"), [] {
        TimelineControls* form = Form();
        const double visible = QmNumbers::RoundHalfEven(static_cast<double>(form->picScale->ScaleWidth()) / TickSpacing);
        const double total = static_cast<double>(MsToPixels(moduleTimeline::GetTimelineDuration())) / TickSpacing;
        // A pixel count added to a tick count: the view keeps a margin of ten ticks.
        // Held in 32 bits: a timeline of more than an hour still scrolls to its end.
        const int32_t max = QmNumbers::CLng(total - visible + TickSpacing);
        if (max < 0) {
            form->hsb->setMaximum(100);
            form->hsb->setEnabled(false);
        } else {
            form->hsb->setMaximum(max);
            form->hsb->setEnabled(true);
        }
    });
}

void DrawScaleLine(int x)
{
    QWidget* marker = Form()->imgScaleMarker;
    marker->move(x, 0);
    marker->show();
    marker->raise();
}

void ClearScaleLine()
{
    Form()->imgScaleMarker->hide();
}

} // namespace moduleScaleRenderer
