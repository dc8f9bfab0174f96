// How long the timeline takes to redraw: RenderAllBars and one zoom step with 5,000
// sources on every track, against a plain fill of the same pictures in the same run.
// A redraw follows every pointer move of a drag, so it must stay within a frame.
//
//   bench_render                 the figures
//   bench_render --shot out.png  a few sources on each track, the main window saved
//                                as a picture, to look at
#include "bench/QmBench.h"
#include "core/QmPicture.h"
#include "core/QmShared.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "media/moduleTarnwick.h"
#include "shell/mdiTarnwick.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/TimelineView.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

using namespace QmShared;

namespace {

int32_t Stream(const char* name)
{
    const int32_t file = Eng<ITWCoreRoot>().OpenFile(QStringLiteral(QM_FIXTURE_DIR "/") + QLatin1String(name));
    FileCollection.Add(file);
    return Eng<ITWMediaFiles>().OpenStream(file, 0);
}

template <class F>
double MsPerCall(int calls, F&& f)
{
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < calls; ++i)
        f();
    return static_cast<double>(timer.nsecsElapsed()) / 1e6 / calls;
}

} // namespace

int main(int argc, char* argv[])
{
    QTemporaryDir config;
    QmBench::QuietEnvironment(config);
    QApplication app(argc, argv);
    const bool shot = argc > 2 && QByteArray(argv[1]) == "--shot";

    mdiTarnwick* main = QmBench::StartProgram(QSize(1400, 800));
    QApplication::processEvents();

    auto& tl = Eng<ITWTimeline>();
    const int32_t video = Stream("video.avi");
    const int32_t picture = Stream("image.jpg");
    const int32_t sound = Stream("audio.wav");
    const int32_t tone = Stream("audio.mp3");
    const int32_t overlay = Stream("image.gif");
    const int32_t videoTrack = TrackCollection.Item(1);
    const int count = shot ? 6 : 5000;
    for (int i = 0; i < count; ++i) {
        tl.AppendSource(videoTrack, i % 2 ? picture : video, -1);
        tl.AppendSource(TrackCollection.Item(2), i % 2 ? tone : sound, -1);
        tl.AppendSource(TrackCollection.Item(3), sound, i * 4000 + 1500);
        tl.AppendSource(OverlayTrack, overlay, i * 9000 + 800);
        int32_t s = 0, e = 0;
        tl.GetSourceTimes(OverlayTrack, static_cast<int16_t>(i), s, e);
        tl.AddTransitionAt(OverlayTrack, QStringLiteral("DxtKey"), s, e);
        tl.AddEffectAt(videoTrack, i % 3 ? QStringLiteral("Blur") : QStringLiteral("Fade"), i * 4000 + 500, i * 4000 + 2500);
    }
    tl.SetSourceSelected(videoTrack, 1, true);
    ModuleTreeView::UpdateTreeView();
    moduleScaleRenderer::AdjustScroll();
    moduleScaleRenderer::RenderScale();
    moduleTimeline::RenderAllBars();

    if (shot) {
        moduleTimeline::SetSliderPosition(2600, false);
        QApplication::processEvents();
        QTimer::singleShot(200, [&] {
            main->grab().save(QString::fromLocal8Bit(argv[2]));
            app.quit();
        });
        return app.exec();
    }

    // The view at the end of the timeline: the walk must pass every item before it.
    TimelineView::SetScrollValue(TimelineView::ScrollMaximum());
    QList<QmPicture*> rows;
    for (const char* name : {"picVideo_0", "picEffect_0", "picOverlay_0", "picAudio_0", "picAudio_1"})
        rows << frmTimeline::instance()->findChild<QmPicture*>(QString::fromLatin1(name));
    const double reference = MsPerCall(200, [&] {
        for (QmPicture* pic : rows)
            pic->Cls();
    });
    const double bars = MsPerCall(100, [] { moduleTimeline::RenderAllBars(); });
    const double zoom = MsPerCall(20, [] {
        moduleScaleRenderer::ZoomOut();
        moduleScaleRenderer::ZoomIn();
    }) / 2;
    std::printf("%d sources on each track, view at the end of the timeline\n", count);
    std::printf("RenderAllBars:   %7.3f ms per call (%.1fx clearing the five pictures)\n", bars, bars / reference);
    std::printf("one zoom step:   %7.3f ms per call (%.1fx clearing the five pictures)\n", zoom, zoom / reference);
    QmBench::Figure(QStringLiteral("timeline view: RenderAllBars, %1 a track").arg(count), bars, "ms", reference,
                    "< 16 ms", bars < 16);
    QmBench::Figure(QStringLiteral("timeline view: one zoom step"), zoom, "ms", reference, "< 16 ms", zoom < 16);
    std::printf("within one frame of 16 ms: %s\n", bars < 16 && zoom < 16 ? "yes" : "NO");
    return bars < 16 && zoom < 16 ? 0 : 2;
}
