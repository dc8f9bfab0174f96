// How the timeline's player and its graph keep up, on a 640x480 project of a minute: a
// video, a keyed overlay over all of it, a blur over a stretch, two sound tracks.
// - playing 10 seconds: frames shown against frames due, and the drift of the player's
//   clock against the wall clock;
// - seeking while stopped: the time from Seek to the frame on the surface, median of 50;
// - an edit taken in while stopped: the time from RefreshPreview to the new frame;
// - the graph's throughput: the whole minute rendered as fast as it goes to an MPEG-4
//   AVI with PCM sound (the engine's encoder), against ffmpeg composing the same timeline
//   with a filtergraph: the same codecs and quantiser, the same key-frame interval (250),
//   one box blur of the engine's radius, the same key over the whole minute.
// The media are made with ffmpeg in a temporary folder first.
#include "bench/QmBench.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWPreview.h"
#include "engine/ITWTimeline.h"
#include "engine/ITWVideoSurface.h"
#include "engine/tarnwick/GraphEncoder.h"
#include "engine/tarnwick/TarnwickTimeline.h"
#include "engine/tarnwick/TimelineGraph.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <random>
#include <vector>

namespace {

constexpr int kSeconds = 60;

class CountingSurface : public ITWVideoSurface
{
public:
    void PresentFrame(const QImage&, const QRect&) override { ++presented; }
    void ClearFrame() override {}
    std::atomic<int> presented{0};
};

} // namespace

int main(int argc, char* argv[])
{
    qputenv("SDL_AUDIODRIVER", "dummy");
    QCoreApplication app(argc, argv);
    QTemporaryDir folder;
    // "--keep" leaves the media and both renders in place, to look at.
    if (app.arguments().contains(QStringLiteral("--keep"))) {
        folder.setAutoRemove(false);
        std::printf("media and renders stay in %s\n", qPrintable(folder.path()));
    }
    std::printf("making a %d s 640x480 project's media with ffmpeg...\n", kSeconds);
    if (!QmBench::MakeMedia(folder.path(), kSeconds))
        return 1;

    std::shared_ptr<ITWObject> object = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    auto* engine = dynamic_cast<TarnwickTimeline*>(object.get());
    auto& tl = TWCast<ITWTimeline>(object.get());
    const QmBench::ReferenceTracks tracks =
        QmBench::BuildReferenceTimeline(object.get(), folder.path(), kSeconds, QStringLiteral("Blur"), 2000, 8000);
    const int32_t overlay = tracks.overlay;

    // "--render" measures the throughput alone.
    const bool renderOnly = app.arguments().contains(QStringLiteral("--render"));
    auto& preview = TWCast<ITWPreview>(object.get());
    QElapsedTimer timer;
    if (!renderOnly) {
    // Playing 10 seconds.
    CountingSurface surface;
    preview.SetOwnerWindow(&surface);
    if (!preview.BuildPreview()) {
        std::fprintf(stderr, "no player\n");
        return 1;
    }
    surface.presented = 0;
    preview.Play();
    timer.start();
    QThread::msleep(10000);
    const double played = QmBench::Ms(timer);
    const int shown = surface.presented;
    const int32_t position = preview.GetPosition();
    preview.Pause();
    const int due = static_cast<int>(played / 1000.0 * Tarnwick::GraphFps);
    std::printf("play 10 s:          %d frames shown of %d due (%.1f%%); player clock %d ms after %.0f ms of wall "
                "clock, drift %+.0f ms\n",
                shown, due, 100.0 * shown / due, position, played, position - played);
    QmBench::Figure(QStringLiteral("player 640x480: frames handed over in 10 s, of due"), shown, "frames", due,
                    "all due", shown >= due);

    // The time from an action to the next frame on the surface, 2 s at most.
    auto untilFrame = [&](auto&& action) {
        const int before = surface.presented;
        timer.restart();
        action();
        while (surface.presented == before && timer.elapsed() < 2000)
            QThread::usleep(100);
        return QmBench::Ms(timer);
    };

    // Seeks while stopped.
    preview.Stop();
    std::mt19937 random(7);
    std::uniform_int_distribution<int32_t> anywhere(0, kSeconds * 1000 - 1);
    std::vector<double> seeks;
    for (int i = 0; i < 50; ++i)
        seeks.push_back(untilFrame([&] { preview.Seek(anywhere(random)); }));
    std::sort(seeks.begin(), seeks.end());
    std::printf("seek to frame:      median %.1f ms of 50 (slowest %.1f ms); aim under 50 ms\n", seeks[seeks.size() / 2],
                seeks.back());
    QmBench::Figure(QStringLiteral("player 640x480: seek to frame, median"), seeks[seeks.size() / 2], "ms",
                    QmBench::kNoReference, "< 50 ms", seeks[seeks.size() / 2] < 50);

    // An edit taken in while stopped: the graph made again and the frame shown anew.
    std::vector<double> refreshes;
    for (int i = 0; i < 20; ++i) {
        tl.SetSourceTimes(overlay, 0, 0, kSeconds * 1000 - 1000 * (i % 2));
        refreshes.push_back(untilFrame([&] { preview.RefreshPreview(); }));
    }
    std::sort(refreshes.begin(), refreshes.end());
    std::printf("edit to new frame:  median %.1f ms of 20 (slowest %.1f ms)\n", refreshes[refreshes.size() / 2],
                refreshes.back());
    // The edits leave the overlay as it was: over the whole minute at its own speed, as
    // the render's reference has it.
    tl.SetSourceTimes(overlay, 0, 0, kSeconds * 1000);
    tl.SetSourceMediaTimes(overlay, 0, 0, kSeconds * 1000);
    preview.ClosePreview();
    }
    {
        int32_t start = 0, stop = 0, mediaStart = 0, mediaStop = 0;
        tl.GetSourceTimes(overlay, 0, start, stop);
        tl.GetSourceMediaTimes(overlay, 0, mediaStart, mediaStop);
        if (start != 0 || stop != kSeconds * 1000 || mediaStart != 0 || mediaStop != kSeconds * 1000) {
            std::fprintf(stderr, "the overlay is not the reference's: %d-%d of media %d-%d\n", start, stop, mediaStart,
                         mediaStop);
            return 1;
        }
    }

    // Throughput: the whole graph to an MPEG-4 AVI.
    const QString ours = folder.path() + QStringLiteral("/ours.avi");
    const QString theirs = folder.path() + QStringLiteral("/reference.avi");
    Tarnwick::EncodeSettings settings;
    settings.path = ours;
    timer.restart();
    QString error;
    if (!engine->RenderMovie(settings, {}, &error)) {
        std::fprintf(stderr, "render failed: %s\n", qPrintable(error));
        return 1;
    }
    const double oursMs = QmBench::Ms(timer);

    timer.restart();
    const QString seconds = QString::number(kSeconds);
    const bool reference = QmBench::Ffmpeg({"-i", folder.path() + "/main.avi", "-i", folder.path() + "/key.avi", "-i",
                                   folder.path() + "/a1.wav", "-i", folder.path() + "/a2.wav", "-filter_complex",
                                   // The engine's blur is one pass over every colour, its radius 6 %
                                   // of a tenth of the width: 4 pixels at 640, 2 on the half-size
                                   // chroma planes.
                                   "[0:v]boxblur=luma_radius=4:luma_power=1:chroma_radius=2:chroma_power=1:"
                                   "enable='between(t,2,8)'[b];[1:v]colorkey=0x00ff00:0.15:0[k];"
                                   "[b][k]overlay[v];[2:a][3:a]amix=inputs=2:normalize=0[a]",
                                   "-map", "[v]", "-map", "[a]", "-c:v", "mpeg4", "-q:v", "3", "-g",
                                   QString::number(settings.keyFrameInterval), "-c:a", "pcm_s16le", theirs});
    const double theirsMs = QmBench::Ms(timer);
    if (!reference)
        return 1;
    std::printf("render %d s:        %.1f s (%.1fx real time); ffmpeg filtergraph %.1f s; ratio %.2f (aim 1.2 or "
                "below)\n",
                kSeconds, oursMs / 1000, kSeconds * 1000.0 / oursMs, theirsMs / 1000, oursMs / theirsMs);
    QmBench::Figure(QStringLiteral("render the reference minute (ref. ffmpeg)"), oursMs / 1000, "s", theirsMs / 1000,
                    "ratio <= 1.2", oursMs / theirsMs <= 1.2);
    std::printf("sizes:              ours %lld bytes, reference %lld bytes\n",
                static_cast<long long>(QFile(ours).size()), static_cast<long long>(QFile(theirs).size()));
    object.reset();
    return 0;
}
