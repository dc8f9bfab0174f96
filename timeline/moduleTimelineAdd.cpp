// Adding to the timeline: files from the media list to the tracks and the overlay,
// effects from the tools panel, each as an operation of the history.
#include "timeline/moduleTimeline.h"

#include "core/QmImageBox.h"
#include "core/QmListView.h"
#include "core/QmMsgBox.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "editing/moduleEdit.h"
#include "editing/moduleTWState.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "history/ModuleHistory.h"
#include "media/frmMediaList.h"
#include "preview/ModuleTWPreview.h"
#include "preview/frmPreview.h"
#include "shell/QmCommands.h"
#include "shell/frmTools.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleScaleRenderer.h"
#include "tools/frmKeyColor.h"
#include "tools/frmVolume.h"

#include <QSlider>

#include <iterator>

using namespace QmShared;

namespace moduleTimeline {

namespace {

const QString kModule = QStringLiteral("moduleTimeline");

ITWTimeline& Tl()
{
    return Eng<ITWTimeline>();
}

} // namespace

void OpenHistoryEntry(const QString& word)
{
    ModuleHistory::AddOperationToHistory(word);
    ++ModuleHistory::HistoryIndex;
    ModuleHistory::RearrangeHistoryCollection();
}

void OnEditAddToTimelineClick()
{
    QmTrap::Run(
        kModule, QStringLiteral("OnEditAddToTimelineClick"),
        [] {
            auto& tl = Tl();
            auto& media = Eng<ITWMediaFiles>();
            // The first track of each kind: Video and Audio 1. Audio 2 never receives here.
            int32_t videoTarget = 0, audioTarget = 0;
            for (int32_t track : TrackCollection) {
                int32_t& target = tl.IsVideoTrack(track) ? videoTarget : audioTarget;
                if (target == 0)
                    target = track;
            }
            ModuleHistory::RemoveDisabledEntries();

            QmListView* list = frmMediaList::instance()->lvwMediaList;
            bool anySelected = false;
            for (int i = 1; i <= list->Count(); ++i) {
                if (!list->Selected(i - 1))
                    continue;
                anySelected = true;
                const int32_t file = FileCollection.Item(i);
                // Behind the longest track, so that the file's video and sound stay level.
                const int32_t start = GetTimelineDuration();
                OpenHistoryEntry(QStringLiteral("AddToTimeline"));
                for (int32_t stream : StreamCollection) {
                    if (media.GetStreamFile(stream) != file)
                        continue;
                    const int32_t target = media.IsVideoStream(stream) ? videoTarget : audioTarget;
                    tl.AppendSource(target, stream, start);
                    ModuleTreeView::AddSource(GetMediaFileName(file), QStringLiteral("SOURCE"), target);
                }
            }
            RenderAllBars();
            moduleScaleRenderer::AdjustScroll();
            ShowOrHideTrackSelections();
            RenderAllSelections();

            QSlider* seek = frmPreview::instance()->sldSeekBar;
            if (IsTimelineEmpty()) {
                seek->setMaximum(10);
                ModuleTWPreview::OnCmdStopClick();
            } else if (const int32_t duration = GetTimelineDuration(); duration > seek->minimum())
                seek->setMaximum(duration);
            UpdateTrackOptions();
            ModuleTWPreview::UpdatePreview();
            SyncOverlayTransitions();
            // A player built anew takes the volume.
            frmVolume::instance()->SetVolume(frmVolume::instance()->GetVolume());

            if (!anySelected)
                MsgBox(QStringLiteral("Unable to add to the timeline because no file is selected. Please select a "
                                      "file from the media list."),
                       QmMsgBox::Icon::Information);
        },
        [](const QmError& e) {
            if (e.Number() == QmErr::ObjectNotSet) {
                MsgBox(QStringLiteral("Unable to add to timeline. The media list is empty."), QmMsgBox::Icon::Information);
                return true;
            }
            if (e.Number() == QmErr::Overflow) {
                MsgBox(QStringLiteral("Unable to add to timeline. Unexpected error."), QmMsgBox::Icon::Information);
                return true;
            }
            return false;
        });
}

void SyncOverlayTransitions()
{
    QmTrap::Run(kModule, QStringLiteral("SyncOverlayTransitions"), [] {
        auto& tl = Tl();
        const int16_t n = tl.GetSourceCount(OverlayTrack);
        for (int16_t seq = 0; seq < n; ++seq) {
            int32_t start = 0, stop = 0, keyStart = 0, keyStop = 0;
            tl.GetSourceTimes(OverlayTrack, seq, start, stop);
            tl.GetTransitionTimes(OverlayTrack, seq, keyStart, keyStop);
            // Only where both ends differ: one end off alone is left as it is.
            if (start != keyStart && stop != keyStop)
                tl.SetTransitionTimes(OverlayTrack, seq, start, stop);
        }
    });
}

void AddNewKeyTransition(int32_t track, int16_t red, int16_t green, int16_t blue)
{
    QmTrap::Run(kModule, QStringLiteral("AddNewKeyTransition"), [&] {
        auto& tl = Tl();
        int32_t start = 0, stop = 0;
        tl.GetSourceTimes(track, static_cast<int16_t>(tl.GetSourceCount(track) - 1), start, stop);
        tl.AddTransitionAt(track, QStringLiteral("DxtKey"), start, stop);
        // A new transition has no parameters yet, so clearing them first changes nothing.
        moduleEdit::ApplyTransitionKey(track, static_cast<int16_t>(tl.GetTransitionCount(track) - 1), red, green, blue);
    });
}

void OnEditAddToOverlayClick()
{
    QmTrap::Run(kModule, QStringLiteral("OnEditAddToOverlayClick"), [] {
        if (moduleTWState::IsVideoTrackEmpty()) {
            MsgBox(QStringLiteral("Unable to add to overlay as the video track is empty."), QmMsgBox::Icon::Information);
            return;
        }
        ModuleHistory::RemoveDisabledEntries();
        auto& tl = Tl();
        auto& media = Eng<ITWMediaFiles>();
        QmListView* list = frmMediaList::instance()->lvwMediaList;
        for (int i = 1; i <= list->Count(); ++i) {
            if (!list->Selected(i - 1))
                continue;
            const int32_t file = FileCollection.Item(i);
            // Video streams only: an overlay has no sound.
            for (int32_t stream : StreamCollection) {
                if (media.GetStreamFile(stream) != file || !media.IsVideoStream(stream))
                    continue;
                OpenHistoryEntry(QStringLiteral("Overlay"));
                tl.AppendSource(OverlayTrack, stream, -1); // right after the last overlay
                AddNewKeyTransition(OverlayTrack, 0, 0, 0);
            }
        }
        ModuleHistory::StoreCurrentTLImage();
        RenderAllBars();
        ShowOrHideTrackSelections();
        RenderAllSelections();
        moduleScaleRenderer::AdjustScroll();
        ModuleTreeView::UpdateTreeView();
        ModuleTWPreview::UpdatePreview();
        UpdateTrackOptions();
    });
}

bool OnEditAddEffectToTimelineClick()
{
    const QString unable = QStringLiteral("Unable to add effect to timeline. The timeline may be empty.");
    return QmTrap::Value<bool>(
        kModule, QStringLiteral("OnEditAddEffectToTimelineClick"), false,
        [&] {
            if (moduleTWState::IsVideoTrackEmpty()) {
                MsgBox(QStringLiteral("Unable to add effect to the timeline as the video track is empty."),
                       QmMsgBox::Icon::Information);
                return false;
            }
            auto& tl = Tl();
            const int32_t track = TrackCollection.Item(1);
            int32_t start = 0, effectStop = 0, sourceStop = 0;
            tl.GetEffectTimes(track, static_cast<int16_t>(tl.GetEffectCount(track) - 1), start, effectStop);
            tl.GetSourceTimes(track, static_cast<int16_t>(tl.GetSourceCount(track) - 1), start, sourceStop);
            // Full only when the last effect ends where the video ends, whatever room
            // lies before it.
            if (effectStop == sourceStop) {
                MsgBox(QStringLiteral("Unable to add effect.\r\n\r\nThe duration of the effect track cannot be more "
                                      "than the duration of the video track. You may have to shift one or more "
                                      "effects or clear the effect track to make room for a new effect."),
                       QmMsgBox::Icon::Information);
                return false;
            }

            QmListView* effects = frmTools::instance()->lvwEffects;
            const int row = effects->SelectedRow();
            if (row < 0)
                throw QmError(QmErr::ObjectNotSet, QStringLiteral("No effect is chosen in the list."));
            const QString name = effects->Text(row);
            TimelineControls* form = frmTimeline::instance()->Controls();
            const bool startShown = !form->imgStartSelHandle->isHidden();
            const bool endShown = !form->imgEndSelHandle->isHidden();
            bool ok = true;
            if (!startShown && !endShown)
                ok = tl.AddEffectAt(track, name, GetSliderPosition(), -1); // the engine's default length
            else if (startShown && endShown)
                ok = tl.AddEffectAt(track, name, GetSelSliderPosition(true), GetSelSliderPosition(false));
            // With one handle alone no effect is added, and the steps below still run.
            if (!ok) {
                MsgBox(unable, QmMsgBox::Icon::Information);
                return false;
            }

            ModuleTreeView::AddSource(name, QStringLiteral("SOURCE"), EffectLaneTag);
            RenderEffectBars();
            ShowOrHideTrackSelections();
            RenderAllSelections();
            moduleScaleRenderer::AdjustScroll();
            ModuleTWPreview::UpdatePreview();
            UpdateTrackOptions();
            return true;
        },
        [&](const QmError& e) {
            if (e.Number() != QmErr::ObjectNotSet)
                return false;
            MsgBox(unable, QmMsgBox::Icon::Information);
            return true;
        });
}

void OnEditSetOverlayTransparencyClick()
{
    QmTrap::Run(kModule, QStringLiteral("OnEditSetOverlayTransparencyClick"), [] {
        auto& tl = Tl();
        int16_t seq = 0;
        int32_t start = 0, stop = 0;
        while (tl.GetSourceTimes(OverlayTrack, seq, start, stop) && !tl.IsSourceSelected(OverlayTrack, seq))
            ++seq;
        if (seq >= tl.GetSourceCount(OverlayTrack))
            return; // nothing selected on the overlay
        auto& key = Eng<ITWKeyTransition>();
        frmKeyColor* form = frmKeyColor::instance();
        form->SetRGB(key.GetKeyRed(OverlayTrack, seq), key.GetKeyGreen(OverlayTrack, seq),
                     key.GetKeyBlue(OverlayTrack, seq));
        form->SetStreamHandle(tl.GetSourceStream(OverlayTrack, seq));
        form->SetSequenceNumber(seq);
        form->ShowModal();
    });
}

void AddToTimelineCommand()
{
    OnEditAddToTimelineClick();
    ModuleHistory::StoreCurrentTLImage();
    ProjectModified = true;
}

void AddToOverlayCommand()
{
    OnEditAddToOverlayClick();
    ProjectModified = true;
}

void AddEffectCommand()
{
    QmTrap::Run(kModule, QStringLiteral("AddEffectCommand"), [] {
        ModuleHistory::RemoveDisabledEntries();
        OpenHistoryEntry(QStringLiteral("Effect"));
        if (!OnEditAddEffectToTimelineClick()) {
            ModuleHistory::DeleteLastEntry();
            return;
        }
        ModuleHistory::StoreCurrentTLImage();
        ProjectModified = true;
        // The new effect's node was added last; in the list it stands by its time.
        ModuleTreeView::UpdateTreeView();
    });
}

void RegisterAddCommands()
{
    QmCommands::Register(QStringLiteral("mnuEditAddToTimeline"), [] { AddToTimelineCommand(); });
    QmCommands::Register(QStringLiteral("mnuEditAddToOverlay"), [] { AddToOverlayCommand(); });
    QmCommands::Register(QStringLiteral("cmdAdd"), [] { AddEffectCommand(); });
    QmCommands::Register(QStringLiteral("mnuEditSetOverlayTransparency"), [] { OnEditSetOverlayTransparencyClick(); });
    // The Edit menu's effects are the tools panel's list, row by row.
    const char* const effectEntries[] = {"mnuAddEffectFade", "mnuAddEffectPixelate", "mnuAddEffectBlur",
                                         "mnuAddEffectWave", "mnuAddEffectEmboss",   "mnuAddEffectEngrave"};
    for (int row = 0; row < static_cast<int>(std::size(effectEntries)); ++row) {
        QmCommands::Register(QString::fromLatin1(effectEntries[row]), [row] {
            QmListView* effects = frmTools::instance()->lvwEffects;
            for (int r = 0; r < effects->Count(); ++r)
                effects->SetSelected(r, r == row);
            effects->SetCurrentRow(row);
            AddEffectCommand();
        });
    }
}

} // namespace moduleTimeline
