// The resident memory of a big project, step by step: 200 media files in the list, 1,000
// items a track (the video track with an effect on each source, the overlay's sources
// each with its key transition, both sound tracks), 26 history entries made by cuts and
// pastes through the menu's commands, then the preview played for 5 s. After the last
// step everything is closed (history, timeline, player, media), and the whole is done
// five times over in one process, to see whether what closing leaves grows.
// Aim: under 300 MiB with everything open; no growth from round to round once closed.
// --without history,play leaves those steps out, to find which one holds on to memory.
#include "bench/QmBench.h"
#include "core/QmScript.h"
#include "core/QmShared.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "history/ModuleHistory.h"
#include "media/moduleTarnwick.h"
#include "preview/ModuleTWPreview.h"
#include "shell/mdiTarnwick.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/moduleTimeline.h"

#include <QApplication>
#include <QElapsedTimer>

#include <cstdio>
#include <malloc.h>
#include <vector>

using namespace QmShared;

namespace {

const QString kFolder = QStringLiteral(QM_FIXTURE_DIR);
constexpr int kFiles = 200;
constexpr int kItems = 1000;
constexpr int kEntries = 26;
constexpr int kRounds = 5;

void OpenMedia()
{
    const QStringList kinds = {"video.avi", "audio.wav", "video.mpg", "audio.mp3", "red.avi", "sine440.wav"};
    for (int i = 0; i < kFiles; ++i) {
        const QString path = kFolder + u'/' + kinds[i % kinds.size()];
        moduleTarnwick::LastOpenedExtension = path.split(u'.').last();
        if (!moduleTarnwick::CheckMediaFile(path))
            continue;
        const int32_t file = Eng<ITWCoreRoot>().OpenFile(path);
        moduleTarnwick::OpenStreams(file);
        moduleTarnwick::AppendToTWListView(file);
    }
}

void FillTimeline()
{
    auto& tl = Eng<ITWTimeline>();
    auto& media = Eng<ITWMediaFiles>();
    QList<int32_t> videos, sounds;
    for (int32_t stream : StreamCollection)
        (media.IsVideoStream(stream) ? videos : sounds) << stream;
    const int32_t video = TrackCollection.Item(1), audio1 = TrackCollection.Item(2), audio2 = TrackCollection.Item(3);
    for (int i = 0; i < kItems; ++i) {
        const int32_t at = i * 1000;
        const auto seq = static_cast<int16_t>(i);
        tl.AppendSource(video, videos[i % videos.size()], at);
        tl.SetSourceTimes(video, seq, at, at + 800);
        tl.AddEffectAt(video, QStringLiteral("Blur"), at + 100, at + 700);
        tl.AppendSource(audio1, sounds[i % sounds.size()], at);
        tl.SetSourceTimes(audio1, seq, at, at + 900);
        tl.AppendSource(audio2, sounds[(i + 1) % sounds.size()], at + 50);
        tl.SetSourceTimes(audio2, seq, at + 50, at + 950);
        tl.AppendSource(OverlayTrack, videos[(i + 1) % videos.size()], at + 200);
        tl.SetSourceTimes(OverlayTrack, seq, at + 200, at + 600);
        tl.AddTransitionAt(OverlayTrack, QStringLiteral("DxtKey"), at + 200, at + 600);
        Eng<ITWKeyTransition>().SetKeyParameter(OverlayTrack, seq, QStringLiteral("KeyType"), 0);
        Eng<ITWKeyTransition>().SetKeyColor(OverlayTrack, seq, 0, 255, 0);
    }
    ModuleTreeView::UpdateTreeView();
    ModuleHistory::StoreCurrentTLImage();
    ModuleTWPreview::UpdatePreview();
}

// Cuts of ten items' stretch and their pastes at the start, in turn, through the menu.
void MakeHistory(mdiTarnwick* main)
{
    for (int i = 0; i < kEntries; ++i) {
        if (i % 2 == 0) {
            const int32_t from = (100 + i * 20) * 1000 + 500;
            moduleTimeline::SetSelSliderPosition(from, true);
            moduleTimeline::SetSelSliderPosition(from + 10 * 1000, false);
            moduleTimeline::ShowSelSliders(true);
            main->RunCommand(QStringLiteral("mnuEditCut"));
        } else {
            moduleTimeline::ShowSelSliders(false);
            moduleTimeline::SetSliderPosition(0, false);
            main->RunCommand(QStringLiteral("mnuEditPaste"));
        }
        QApplication::processEvents();
    }
}

void Play(int ms)
{
    ModuleTWPreview::OnCmdPlayClick();
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    ModuleTWPreview::OnCmdStopClick();
    QApplication::processEvents();
}

void CloseAll()
{
    ModuleHistory::EmptyHistory();
    ModuleHistory::EmptyTimeline();
    ModuleTreeView::UpdateTreeView();
    ModuleTWPreview::UpdatePreview(); // an empty timeline closes the player
    moduleTarnwick::CloseAllMediaFiles();
    ProjectModified = MediaListDirty = false;
    QApplication::processEvents();
}

} // namespace

int main(int argc, char* argv[])
{
    QTemporaryDir config;
    QmBench::QuietEnvironment(config);
    QApplication app(argc, argv);
    mdiTarnwick* main = QmBench::StartProgram(QSize(1400, 900));
    QApplication::processEvents();
    QmScript::Enable([](const QString& what) { std::fprintf(stderr, "unexpected: %s\n", qPrintable(what)); });
    const QStringList args = QApplication::arguments();
    const QStringList without = args.indexOf(QStringLiteral("--without")) > 0
                                    ? args.value(args.indexOf(QStringLiteral("--without")) + 1).split(u',')
                                    : QStringList();
    const double started = QmBench::ResidentMiB();
    std::printf("resident memory in MiB (the program started, its window shown: %.1f)\n", started);
    std::printf("round   media   timeline   history   played   closed   closed, heap trimmed   of it the heap in use\n");
    std::vector<double> closed, trimmed, heapInUse;
    double fullest = 0;
    int entries = 0;
    for (int round = 1; round <= kRounds; ++round) {
        OpenMedia();
        const double media = QmBench::ResidentMiB();
        FillTimeline();
        const double timeline = QmBench::ResidentMiB();
        if (!without.contains(QStringLiteral("history")))
            MakeHistory(main);
        entries = ModuleHistory::HistoryCollection.Count();
        const double history = QmBench::ResidentMiB();
        if (!without.contains(QStringLiteral("play")))
            Play(5000);
        const double played = QmBench::ResidentMiB();
        fullest = std::max(fullest, played);
        CloseAll();
        closed.push_back(QmBench::ResidentMiB());
        // What the allocator keeps for later is set apart from what is still held.
        malloc_trim(0);
        trimmed.push_back(QmBench::ResidentMiB());
        const struct mallinfo2 heap = mallinfo2();
        const double inUse = static_cast<double>(heap.uordblks + heap.hblkhd) / 1048576.0;
        heapInUse.push_back(inUse);
        std::printf("%5d  %6.1f   %8.1f   %7.1f   %6.1f   %6.1f   %6.1f                 %6.1f\n", round, media, timeline,
                    history, played, closed.back(), trimmed.back(), inUse);
        if (round == 1)
            QmBench::Figure(QStringLiteral("memory: big project open, history made, preview played"), played, "MiB",
                            started, "< 300 MiB", played < 300);
    }
    const double growth = trimmed.back() - trimmed.front();
    std::printf("history entries made: %d; %d media files, %d items a track\n", entries, kFiles, kItems);
    std::printf("aim: under 300 MiB with everything open (most %.1f MiB); no growth once closed (round 1 to %d, "
                "heap trimmed: %+.1f MiB)\n",
                fullest, kRounds, growth);
    QmBench::Figure(QStringLiteral("memory: most with everything open, 5 rounds"), fullest, "MiB", started,
                    "< 300 MiB", fullest < 300);
    // Growth within a MiB is what the allocator's own bookkeeping sways by.
    QmBench::Figure(QStringLiteral("memory: resident growth once closed, round 1 to 5"), growth, "MiB",
                    trimmed.front(), "none (< 1 MiB)", growth < 1);
    const double heapGrowth = heapInUse.back() - heapInUse.front();
    QmBench::Figure(QStringLiteral("memory: heap in use growth once closed, round 1 to 5"), heapGrowth, "MiB",
                    heapInUse.front(), "none (< 1 MiB)", heapGrowth < 1);
    QmShared::Engine.reset();
    return 0;
}
