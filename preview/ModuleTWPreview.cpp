#include "preview/ModuleTWPreview.h"

#include "core/QmNumbers.h"
#include "core/QmPointer.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmVideoSurface.h"
#include "core/moduleUtilities.h"
#include "core/QmStatus.h"
#include "editing/moduleTWState.h"
#include "engine/ITWPreview.h"
#include "preview/frmPreview.h"
#include "timeline/moduleTimeline.h"
#include "timeline/TimelineView.h"

#include <QLabel>
#include <QSlider>
#include <QTimer>
#include <QToolButton>

#include <algorithm>

using namespace QmShared;

namespace ModuleTWPreview {

namespace {

const QString kModule = QStringLiteral("moduleTWPreview");

ITWPreview& Player()
{
    return Eng<ITWPreview>();
}

frmPreview* Form()
{
    return frmPreview::instance();
}

QSlider* SeekBar()
{
    return Form()->sldSeekBar;
}

// The seek bar at a position, the timeline's slider after it, the player there, and
// playing on where it played (rewind and forward).
void MoveTo(int32_t position)
{
    SeekBar()->setValue(position);
    moduleTimeline::SetSliderPosition(SeekBar()->value(), true);
    Player().Seek(position);
    if (PreviewState == 1)
        Player().Play();
}

} // namespace

void InitPreview()
{
    QmTrap::Run(kModule, QStringLiteral("InitPreview"), [] {
        Player().SetOwnerWindow(Form()->picDisplay);
        PreviewBuilt = Player().BuildPreview();
        Form()->Resize();
    });
}

void UpdatePreview()
{
    QmTrap::Run(kModule, QStringLiteral("UpdatePreview"), [] {
        QmPointer::Hourglass();
        const bool empty = moduleTWState::IsTimelineEmpty();
        if (!empty && !PreviewBuilt) {
            InitPreview();
        } else if (!empty) {
            if (!Player().IsPreviewValid()) {
                Player().ClosePreview();
                InitPreview();
                QmStatus::Show(QStringLiteral("Preview update failed. Rebuilt Preview."));
            }
            Player().RefreshPreview();
            switch (PreviewState) {
            case 0:
                Player().Stop();
                break;
            case 1:
                Player().Play();
                break;
            case 2:
                Player().Pause();
                break;
            default:
                break;
            }
        } else if (PreviewBuilt) {
            Player().ClosePreview();
            PreviewBuilt = false;
            Form()->picDisplay->ClearFrame();
        }
        const int32_t duration = Player().GetDuration();
        if (duration > 0) {
            SeekBar()->setMaximum(duration);
        } else if (duration == 0) {
            SeekBar()->setMaximum(10);
            OnCmdStopClick();
        }
        const QString text = moduleUtilities::MilliSecondsToTimetypeAsString(duration);
        Form()->lblDuration->setText(text);
        QmStatus::Show(text, QStringLiteral("DURATION"));
    });
    QmPointer::Normal();
}

void OnCmdPlayClick()
{
    QmTrap::Run(kModule, QStringLiteral("OnCmdPlayClick"), [] {
        if (moduleTimeline::GetTimelineDuration() < 1 || PreviewState == 1)
            return;
        QSlider* bar = SeekBar();
        if (TimelineView::SelectionShown()) {
            // Play covers the selection: the bar's ends stop it.
            const int32_t start = moduleTimeline::GetSelSliderPosition(true);
            const int32_t end = moduleTimeline::GetSelSliderPosition(false);
            bar->setMinimum(start);
            bar->setMaximum(end);
            // From outside the selection, play starts at its beginning rather than run
            // on where the bar cannot follow.
            const int32_t at = Player().GetPosition();
            if (at < start || at >= end) {
                Player().Seek(start);
                bar->setValue(start);
                moduleTimeline::SetSliderPosition(start, true);
            }
        } else {
            const int32_t duration = Player().GetDuration();
            if (duration >= 1)
                bar->setMaximum(duration);
            else if (duration == 0)
                UpdatePreview();
        }
        PreviewState = 1;
        Player().Play();
        Form()->tm->start();
    });
}

void OnCmdPauseClick()
{
    // The pause logs under the name of the routine it was made from.
    QmTrap::Run(kModule, QStringLiteral("InitPreview"), [] {
        if (PreviewState == 2)
            return;
        Form()->tm->stop();
        PreviewState = 2;
        Player().Pause();
    });
}

void OnCmdStopClick()
{
    QmTrap::Run(kModule, QStringLiteral("OnCmdStopClick"), [] {
        if (PreviewState == 0)
            return;
        PreviewState = 0;
        Form()->tm->stop();
        SeekBar()->setValue(0);
        moduleTimeline::SetSliderPosition(SeekBar()->value(), false);
        if (TimelineView::SelectionShown())
            moduleTimeline::SetSliderPosition(moduleTimeline::GetSelSliderPosition(true), false);
        Player().Seek(SliderPosition);
        Player().Halt();
    });
}

void OnCmdRewindClick()
{
    QmTrap::Run(kModule, QStringLiteral("OnCmdRewindClick"), [] {
        const double step = Player().GetDuration() * 0.05;
        // No lower bound: the player takes a position before the start as the start.
        MoveTo(QmNumbers::CLng(GetCurrentPosition() - step));
    });
}

void OnCmdForwardClick()
{
    QmTrap::Run(kModule, QStringLiteral("OnCmdForwardClick"), [] {
        const double step = Player().GetDuration() * 0.05;
        MoveTo(std::min(QmNumbers::CLng(step + Player().GetPosition()), Player().GetDuration()));
    });
}

void OnSliderMove()
{
    QmTrap::Run(kModule, QStringLiteral("OnSliderMove"), [] {
        PreviewState = 2;
        Form()->tm->stop();
        Player().Pause();
        const int32_t position = SliderPosition;
        Player().Seek(position);
        QSlider* bar = SeekBar();
        if (position >= bar->minimum() && position <= bar->maximum())
            bar->setValue(position);
    });
}

void SeekPreview(int32_t position)
{
    QmTrap::Run(kModule, QStringLiteral("SeekPreview"), [position] {
        if (PreviewState == 1)
            OnCmdPauseClick();
        Player().Seek(position);
    });
}

int32_t GetCurrentPosition()
{
    return QmTrap::Value<int32_t>(kModule, QStringLiteral("GetCurrentPosition"), 0, [] { return Player().GetPosition(); });
}

void DoPreviewAction(const QString& action)
{
    QmTrap::Run(kModule, QStringLiteral("DoPreviewAction"), [&] {
        frmPreview* f = Form();
        if (action == u"Play")
            f->cmdPlay->click();
        else if (action == u"Pause")
            f->cmdPause->click();
        else if (action == u"Stop")
            f->cmdStop->click();
        else if (action == u"Rewind")
            f->cmdRewind->click();
        else if (action == u"Forward")
            f->cmdForward->click();
        else if (action == u"Loop playback")
            f->cmdRepeat->setChecked(!f->cmdRepeat->isChecked());
    });
}

} // namespace ModuleTWPreview
