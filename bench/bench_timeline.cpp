// How fast the engine answers the walks that every redraw makes, on a track of
// 10,000 sources. Prints operations per second, and each figure against a plain
// walk over a vector of the same size in the same run, so that machines compare; and
// what one interface lookup costs.
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWPreview.h"
#include "engine/ITWTimeline.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

constexpr int kSources = 10000;

double Seconds(const QElapsedTimer& timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / 1e9;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QString media = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral(QM_FIXTURE_DIR "/video.avi");

    auto object = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    auto& root = TWCast<ITWCoreRoot>(object.get());
    auto& files = TWCast<ITWMediaFiles>(object.get());
    auto& tl = TWCast<ITWTimeline>(object.get());
    const int32_t file = root.OpenFile(media);
    const int32_t stream = file ? files.OpenStream(file, 0) : 0;
    if (!stream || !files.IsVideoStream(stream)) {
        std::fprintf(stderr, "bench_timeline: %s has no video stream\n", qPrintable(media));
        return 1;
    }
    const int32_t track = tl.CreateTrack(true);

    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < kSources; ++i)
        tl.AppendSource(track, stream, -1);
    std::printf("build %d sources:             %10.3f ms\n", kSources, Seconds(timer) * 1e3);

    // Reference: the same walk over a plain vector, read through a function pointer
    // so that it is not folded away.
    std::vector<std::pair<int32_t, int32_t>> plain(kSources, {0, 1});
    bool (*readPlain)(const std::vector<std::pair<int32_t, int32_t>>&, int, int32_t&, int32_t&) =
        [](const std::vector<std::pair<int32_t, int32_t>>& v, int i, int32_t& s, int32_t& e) {
            if (i < 0 || i >= static_cast<int>(v.size()))
                return false;
            s = v[i].first;
            e = v[i].second;
            return true;
        };
    constexpr int kWalks = 200;
    int64_t sum = 0;
    timer.restart();
    for (int w = 0; w < kWalks; ++w) {
        int32_t s = 0, e = 0;
        for (int i = 0; readPlain(plain, i, s, e); ++i)
            sum += e;
    }
    const double plainWalk = Seconds(timer) / kWalks;

    timer.restart();
    for (int w = 0; w < kWalks; ++w) {
        int32_t s = 0, e = 0;
        for (int16_t seq = 0; tl.GetSourceTimes(track, seq, s, e); ++seq)
            sum += e;
    }
    const double walk = Seconds(timer) / kWalks;
    std::printf("GetSourceTimes walk of %d:   %10.3f ms per walk, %12.0f calls/s, %5.1fx a plain vector walk\n",
                kSources, walk * 1e3, kSources / walk, walk / plainWalk);

    constexpr int kShifts = 2000;
    timer.restart();
    for (int i = 0; i < kShifts; ++i)
        tl.ShiftSources(track, 0, (i % 2) ? -10 : 10);
    const double shift = Seconds(timer) / kShifts;
    std::printf("ShiftSources from seq 0:      %10.3f ms each,     %12.0f ops/s\n", shift * 1e3, 1.0 / shift);
    // A line for bench/run-all.sh's table, as QmBench::Figure writes them.
    std::printf("@figure\tengine: walk of %d sources (ref. a plain vector)\t%.3f ms\t%.3f\t%.1f\t-\t-\n", kSources,
                walk * 1e3, plainWalk * 1e3, walk / plainWalk);

    constexpr int kPairs = 1000;
    const auto middle = static_cast<int16_t>(kSources / 2);
    timer.restart();
    for (int i = 0; i < kPairs; ++i) {
        tl.InsertSource(track, stream, middle, 1000, 0);
        tl.RemoveSource(track, middle);
    }
    const double pair = Seconds(timer) / kPairs;
    std::printf("InsertSource/RemoveSource:    %10.3f ms per pair, %12.0f pairs/s\n", pair * 1e3, 1.0 / pair);

    // The lookup that QmShared::Eng<I>() makes at every call of the editing loops: the
    // timeline, and the preview, which the engine hands out from a part of its own.
    constexpr int kLookups = 1000000;
    ITWObject* volatile engine = object.get(); // read anew each time, so nothing is hoisted
    timer.restart();
    for (int i = 0; i < kLookups; ++i)
        sum += reinterpret_cast<intptr_t>(&TWCast<ITWTimeline>(engine)) & 1;
    const double timelineLookup = Seconds(timer) / kLookups;
    timer.restart();
    for (int i = 0; i < kLookups; ++i)
        sum += reinterpret_cast<intptr_t>(&TWCast<ITWPreview>(engine)) & 1;
    const double previewLookup = Seconds(timer) / kLookups;
    std::printf("TWCast<ITWTimeline>:          %10.1f ns each\n", timelineLookup * 1e9);
    std::printf("TWCast<ITWPreview>:           %10.1f ns each\n", previewLookup * 1e9);

    std::printf("(checksum %lld)\n", static_cast<long long>(sum));
    return walk < 1e-3 ? 0 : 2; // a redraw walk must stay well under a millisecond
}
