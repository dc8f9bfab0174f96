// How long a cut and a paste take on a long timeline: 1,000 sources on each track (the
// overlay with its keyed transitions), a selection over all but the ends, the commands
// run as the menus run them (history image before and after, the timeline list, the
// menus, the preview's refresh). Each is reported against the engine's own walk of the
// same timeline in the same run, and should stay under 100 ms.
#include "bench/QmBench.h"
#include "core/QmShared.h"
#include "editing/moduleEdit.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "history/ModuleHistory.h"
#include "media/moduleTarnwick.h"
#include "shell/mdiTarnwick.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace QmShared;

namespace {

constexpr int kSources = 1000;
constexpr int32_t kLength = 1000; // each source, with 200 ms between

int32_t Stream(const char* name)
{
    const int32_t file = Eng<ITWCoreRoot>().OpenFile(QStringLiteral(QM_FIXTURE_DIR "/") + QLatin1String(name));
    FileCollection.Add(file);
    const int32_t stream = Eng<ITWMediaFiles>().OpenStream(file, 0);
    StreamCollection.Add(stream);
    return stream;
}

void Fill()
{
    auto& tl = Eng<ITWTimeline>();
    const int32_t video = Stream("video.avi"), sound = Stream("audio.wav");
    for (int32_t track : TrackCollection) {
        for (int i = 0; i < kSources; ++i) {
            const int32_t start = i * (kLength + 200);
            tl.AppendSource(track, tl.IsVideoTrack(track) ? video : sound, start);
            tl.SetSourceTimes(track, static_cast<int16_t>(i), start, start + kLength);
            tl.SetSourceMediaTimes(track, static_cast<int16_t>(i), 0, kLength);
        }
    }
    for (int i = 0; i < kSources; ++i) {
        const int32_t start = i * (kLength + 200);
        tl.AppendSource(OverlayTrack, video, start);
        tl.SetSourceTimes(OverlayTrack, static_cast<int16_t>(i), start, start + kLength);
        tl.SetSourceMediaTimes(OverlayTrack, static_cast<int16_t>(i), 0, kLength);
        tl.AddTransitionAt(OverlayTrack, QStringLiteral("DxtKey"), start, start + kLength);
        moduleEdit::ApplyTransitionKey(OverlayTrack, static_cast<int16_t>(i), 0, 0, 0);
    }
}

} // namespace

int main(int argc, char* argv[])
{
    QTemporaryDir config;
    QmBench::QuietEnvironment(config);
    QApplication app(argc, argv);
    mdiTarnwick* main = QmBench::StartProgram(QSize(1400, 900));
    QApplication::processEvents();

    std::vector<double> cuts, pastes, walks;
    for (int round = 0; round < 5; ++round) {
        ModuleHistory::EmptyHistory();
        ModuleHistory::EmptyTimeline();
        Fill();
        ModuleHistory::StoreCurrentTLImage();
        // Zoomed out so that the selection fits the view: from inside the first source
        // to inside the last.
        moduleScaleRenderer::SetZoomFactor(1000);
        moduleScaleRenderer::RenderScale();
        moduleTimeline::SetSelSliderPosition(500, true);
        moduleTimeline::SetSelSliderPosition((kSources - 1) * (kLength + 200) + 500, false);
        moduleTimeline::ShowSelSliders(true);

        // The reference: one read of every item of the timeline, as the redraw does.
        QElapsedTimer timer;
        timer.start();
        auto& tl = Eng<ITWTimeline>();
        int64_t sum = 0;
        for (int32_t track : TrackCollection) {
            int32_t s = 0, e = 0;
            for (int16_t seq = 0; tl.GetSourceTimes(track, seq, s, e); ++seq)
                sum += e - s;
        }
        walks.push_back(QmBench::Ms(timer));

        timer.restart();
        main->RunCommand(QStringLiteral("mnuEditCut"));
        cuts.push_back(QmBench::Ms(timer));
        const int16_t left = tl.GetSourceCount(TrackCollection.Item(1));
        moduleTimeline::SetSliderPosition(500, false);
        timer.restart();
        main->RunCommand(QStringLiteral("mnuEditPaste"));
        pastes.push_back(QmBench::Ms(timer));
        if (round == 0)
            std::printf("timeline: %d sources a track, %d left after the cut, %d after the paste (%lld ms of media)\n",
                        kSources, left, tl.GetSourceCount(TrackCollection.Item(1)), static_cast<long long>(sum));
    }
    const auto median = QmBench::Median;
    const double walk = median(walks);
    std::printf("cut over the selection:   median %7.1f ms of 5 (%.0fx a walk of the timeline, %.2f ms); aim under 100 ms\n",
                median(cuts), median(cuts) / walk, walk);
    std::printf("paste of the clip:        median %7.1f ms of 5 (%.0fx the walk); aim under 100 ms\n", median(pastes),
                median(pastes) / walk);
    QmShared::Engine.reset();
    return median(cuts) < 100 && median(pastes) < 100 ? 0 : 2;
}
