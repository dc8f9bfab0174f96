// Saving the reference project: a minute at 640x480 and 25 frames a second, a keyed
// overlay over all of it, pixelate from 10 to 20 s, two sound tracks mixed, saved through
// ITWSave to an MPEG-4 AVI (fixed quantiser 5, a key frame a second) with PCM sound;
// against ffmpeg composing the same with a filtergraph and the same codecs, and, where
// melt is installed, MLT's own graph with its affine composite. The three run in turn,
// several rounds, so that a busy machine weighs on each alike; medians and ratios are
// printed, with the load of the machine and how many cores each kept busy.
//
//   build/bench/bench_save [--runs N] [--keep] [--no-melt] [--ours]   (--ours: Quillmont alone, to profile)
#include "bench/QmBench.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWSave.h"
#include "engine/ITWTimeline.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <sys/resource.h>

#include <cstdio>
#include <functional>
#include <vector>

namespace {

constexpr int kSeconds = 60;
// Quillmont's quality for a fixed quantiser of 5.
constexpr int kQuality = 87;
constexpr int kKeyFrames = 25;

QString LoadAverage()
{
    QFile file(QStringLiteral("/proc/loadavg"));
    return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll()).section(u' ', 0, 2) : QStringLiteral("?");
}

// Processor time in seconds, of this process or of its finished children.
double CpuSeconds(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

struct Timing
{
    std::vector<double> wall; // ms
    std::vector<double> cores;
};

// Runs work, timed by the wall clock and by the processor time of who.
bool Measure(Timing& timing, int who, const std::function<bool()>& work)
{
    const double cpu = CpuSeconds(who);
    QElapsedTimer timer;
    timer.start();
    if (!work())
        return false;
    const double ms = QmBench::Ms(timer);
    timing.wall.push_back(ms);
    timing.cores.push_back((CpuSeconds(who) - cpu) * 1000.0 / ms);
    return true;
}

bool Melt(const QString& folder, const QString& output)
{
    // A profile of the project's size and rate, square pixels.
    const QString profile = folder + QStringLiteral("/profile");
    QFile file(profile);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write("description=reference\nframe_rate_num=25\nframe_rate_den=1\nwidth=640\nheight=480\nprogressive=1\n"
               "sample_aspect_num=1\nsample_aspect_den=1\ndisplay_aspect_num=4\ndisplay_aspect_den=3\ncolorspace=601\n");
    file.close();
    const QString last = QString::number(kSeconds * 25 - 1);
    QProcess melt;
    melt.setProcessChannelMode(QProcess::MergedChannels);
    melt.start(QStringLiteral("melt"),
               {"-quiet", "-profile", profile, folder + "/main.avi", "out=" + last, "-attach-track", "frei0r.pixeliz0r",
                "0=0.04", "1=0.05", "in=250", "out=499", "-track", folder + "/key.avi", "out=" + last, "-attach-track",
                "chroma", "key=0x00ff0000", "variance=0.15", "-track", folder + "/a1.wav", "-track", folder + "/a2.wav",
                "-transition", "affine", "a_track=0", "b_track=1", "always_active=1", "-transition", "mix", "a_track=0",
                "b_track=2", "always_active=1", "sum=1", "-transition", "mix", "a_track=0", "b_track=3", "always_active=1",
                "sum=1", "-consumer", "avformat:" + output, "vcodec=mpeg4", "qscale=5", "g=25", "acodec=pcm_s16le",
                "ar=48000", "ac=2", "real_time=-2"});
    if (!melt.waitForFinished(-1) || melt.exitCode() != 0) {
        std::fprintf(stderr, "melt failed: %s\n", melt.readAll().constData());
        return false;
    }
    return true;
}

void Report(const char* name, const Timing& timing)
{
    std::printf("%-22s median %6.2f s of %zu (runs:", name, QmBench::Median(timing.wall) / 1000, timing.wall.size());
    for (double ms : timing.wall)
        std::printf(" %.2f", ms / 1000);
    std::printf("), %.2f cores busy\n", QmBench::Median(timing.cores));
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("SDL_AUDIODRIVER", "dummy");
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int runs = std::max(1, args.contains(QStringLiteral("--runs")) ? args.value(args.indexOf(QStringLiteral("--runs")) + 1).toInt() : 3);
    const bool oursOnly = args.contains(QStringLiteral("--ours"));
    const bool melt = !oursOnly && !args.contains(QStringLiteral("--no-melt"))
                      && !QStandardPaths::findExecutable(QStringLiteral("melt")).isEmpty();
    QTemporaryDir folder;
    if (args.contains(QStringLiteral("--keep"))) {
        folder.setAutoRemove(false);
        std::printf("media and movies stay in %s\n", qPrintable(folder.path()));
    }
    std::printf("%d cores; load average %s before\n", QThread::idealThreadCount(), qPrintable(LoadAverage()));
    std::printf("making a %d s 640x480 project's media with ffmpeg...\n", kSeconds);
    if (!QmBench::MakeMedia(folder.path(), kSeconds))
        return 1;

    // The reference timeline.
    std::shared_ptr<ITWObject> object = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    const QmBench::ReferenceTracks tracks =
        QmBench::BuildReferenceTimeline(object.get(), folder.path(), kSeconds, QStringLiteral("Pixelate"), 10000, 20000);
    const int32_t video = tracks.video, overlay = tracks.overlay, audio1 = tracks.audio1, audio2 = tracks.audio2;

    auto& save = TWCast<ITWSave>(object.get());
    const QString ours = folder.path() + QStringLiteral("/ours.avi");
    auto saveOurs = [&] {
        save.ResetSave();
        for (int32_t track : {video, overlay, audio1, audio2})
            save.AddSaveTrack(track);
        save.SetVideoCompressor(QStringLiteral("MPEG-4 Part 2 (mpeg4)"));
        save.SetAudioCompressor(QStringLiteral("Uncompressed"));
        save.SetFrameRate(25);
        save.SetKeyFrameRate(kKeyFrames);
        save.SetQuality(kQuality);
        save.SetVideoSize(640, 480);
        if (!save.PrepareAviFile(ours))
            return false;
        save.RunSaveToEnd();
        const bool complete = save.GetSaveState() == ITWSave::Complete;
        const QString problem = save.GetSaveProblem(5000);
        save.CloseSave();
        if (!complete || !problem.isEmpty())
            std::fprintf(stderr, "save: %s\n", complete ? qPrintable(problem) : "not complete");
        return complete && problem.isEmpty();
    };
    const QString theirs = folder.path() + QStringLiteral("/reference.avi");
    auto saveTheirs = [&] {
        return QmBench::Ffmpeg({"-i", folder.path() + "/main.avi", "-i", folder.path() + "/key.avi", "-i",
                                folder.path() + "/a1.wav", "-i", folder.path() + "/a2.wav", "-filter_complex",
                                "[0:v]pixelize=w=26:h=24:enable='between(t,10,20)'[p];[1:v]colorkey=0x00ff00:0.15:0[k];"
                                "[p][k]overlay[v];[2:a][3:a]amix=inputs=2:normalize=0[a]",
                                "-map", "[v]", "-map", "[a]", "-c:v", "mpeg4", "-q:v", "5", "-g", QString::number(kKeyFrames),
                                "-c:a", "pcm_s16le", theirs});
    };
    const QString mlts = folder.path() + QStringLiteral("/melt.avi");

    Timing quillmont, ffmpeg, mlt;
    for (int round = 1; round <= runs; ++round) {
        std::printf("round %d of %d...\n", round, runs);
        std::fflush(stdout);
        if (!Measure(quillmont, RUSAGE_SELF, saveOurs))
            return 1;
        if (oursOnly)
            continue;
        if (!Measure(ffmpeg, RUSAGE_CHILDREN, saveTheirs))
            return 1;
        if (melt && !Measure(mlt, RUSAGE_CHILDREN, [&] { return Melt(folder.path(), mlts); }))
            return 1;
    }
    std::printf("\nsaving a %d s 640x480 timeline (keyed overlay, pixelate 10-20 s, two sound tracks) to MPEG-4 q 5 with PCM:\n",
                kSeconds);
    Report("Quillmont", quillmont);
    if (oursOnly)
        return 0;
    Report("ffmpeg filtergraph", ffmpeg);
    if (melt)
        Report("melt (affine)", mlt);
    const double ourMedian = QmBench::Median(quillmont.wall);
    std::printf("ratio Quillmont / ffmpeg: %.2f (aim 0.6 or below)\n", ourMedian / QmBench::Median(ffmpeg.wall));
    QmBench::Figure(QStringLiteral("save the reference minute, median (ref. ffmpeg)"), ourMedian / 1000, "s",
                    QmBench::Median(ffmpeg.wall) / 1000, "ratio <= 0.6",
                    ourMedian / QmBench::Median(ffmpeg.wall) <= 0.6);
    if (melt)
        std::printf("ratio melt / Quillmont:   %.2f\n", QmBench::Median(mlt.wall) / ourMedian);
    std::printf("sizes: Quillmont %lld, ffmpeg %lld%s bytes\n", static_cast<long long>(QFile(ours).size()),
                static_cast<long long>(QFile(theirs).size()),
                melt ? qPrintable(QStringLiteral(", melt %1").arg(QFile(mlts).size())) : "");
    std::printf("load average %s after\n", qPrintable(LoadAverage()));
    object.reset();
    return 0;
}
