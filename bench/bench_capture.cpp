// Capture from the test devices, as a camera and a microphone would send: for each
// format, the frames captured and dropped, the length against the time recorded, and
// the processor time the capture took for each second recorded (with the live picture
// drawn into a surface that only counts).
#include "bench/QmBench.h"

#include "engine/CreateObject.h"
#include "engine/ITWCapture.h"
#include "engine/ITWProfiles.h"
#include "engine/ITWVideoSurface.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThread>

#include <sys/resource.h>

#include <atomic>
#include <cstdio>

namespace {

class Counting : public ITWVideoSurface
{
public:
    void PresentFrame(const QImage&, const QRect&) override { ++frames; }
    void ClearFrame() override {}
    std::atomic<int> frames{0};
};

double CpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    qputenv("QUILLMONT_TEST_DEVICES", "only");
    int seconds = 10;
    for (int i = 1; i + 1 < argc; ++i)
        if (QByteArray(argv[i]) == "--seconds")
            seconds = std::max(1, QByteArray(argv[i + 1]).toInt());
    QTemporaryDir folder;
    auto engine = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    auto& capture = TWCast<ITWCapture>(engine.get());
    auto& profiles = TWCast<ITWProfiles>(engine.get());
    profiles.InitProfileManager();
    profiles.OpenSystemProfile(0);
    Counting surface;

    struct Run
    {
        const char* name;
        int16_t format;
        const char* compressor;
    };
    const Run runs[] = {{"AVI uncompressed", 0, "Uncompressed"}, {"AVI MPEG-4", 0, "MPEG-4 Part 2 (mpeg4)"}, {"ASF (profile 0)", 1, ""}};
    std::printf("%d s from the test devices (320x240, 30 fps, 48 kHz stereo)\n", seconds);
    std::printf("%-18s %9s %8s %10s %10s %12s\n", "format", "captured", "dropped", "length s", "file MB", "cpu s / s");
    for (const Run& run : runs) {
        capture.InitCapture();
        if (run.format == 0)
            capture.SetCaptureVideoCompressor(QString::fromLatin1(run.compressor));
        const QString path = folder.filePath(run.format == 1 ? QStringLiteral("bench.asf") : QStringLiteral("bench.avi"));
        if (!capture.BuildGraph() || !capture.SetVideoWindow(&surface) || !capture.StartCaptureToFile(path, run.format, 1)) {
            std::printf("%-18s could not start\n", run.name);
            continue;
        }
        const double cpu = CpuSeconds();
        QElapsedTimer clock;
        clock.start();
        capture.RunGraph();
        QThread::msleep(static_cast<unsigned long>(seconds) * 1000);
        capture.StopCapture();
        const double elapsed = clock.nsecsElapsed() / 1e9;
        const double used = CpuSeconds() - cpu;
        std::printf("%-18s %9d %8d %10.3f %10.1f %12.3f\n", run.name, capture.GetFramesCaptured(), capture.GetFramesDropped(), elapsed,
                    QFileInfo(path).size() / 1e6, used / elapsed);
        QmBench::Figure(QStringLiteral("capture %1: frames dropped in %2 s").arg(QLatin1String(run.name)).arg(seconds),
                        capture.GetFramesDropped(), "frames", QmBench::kNoReference, "none", capture.GetFramesDropped() == 0);
        QmBench::Figure(QStringLiteral("capture %1: processor time a second recorded").arg(QLatin1String(run.name)),
                        used / elapsed, "s", QmBench::kNoReference, "-", true);
        capture.ReleaseCapture();
    }
    return 0;
}
