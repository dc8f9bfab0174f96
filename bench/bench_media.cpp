// How fast the media list opens files and shows them. Two figures, each against a
// reference in the same run:
// - opening 200 files through the open dialogue (answered by the script), the render
//   check, the streams and the rows: files per second, against the engine's bare probe
//   of the same files;
// - a click on a row of a 640x480 AVI until its first frame stands in the instant
//   preview, median of 20, against the bare probe of that file.
#include "bench/QmBench.h"
#include "core/QmDialogs.h"
#include "core/QmListView.h"
#include "core/QmScript.h"
#include "core/QmShared.h"
#include "core/QmVideoSurface.h"
#include "engine/CreateObject.h"
#include "engine/tarnwick/MediaProbe.h"
#include "media/frmMediaList.h"
#include "media/moduleTarnwick.h"
#include "shell/mdiTarnwick.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace QmShared;

namespace {

const QString kFolder = QStringLiteral(QM_FIXTURE_DIR);

} // namespace

int main(int argc, char* argv[])
{
    QTemporaryDir config;
    QmBench::QuietEnvironment(config);
    QApplication app(argc, argv);
    mdiTarnwick* main = QmBench::StartProgram();
    QApplication::processEvents();
    QmScript::Enable([](const QString& what) { std::fprintf(stderr, "unexpected: %s\n", qPrintable(what)); });

    const QStringList kinds = {"video.avi", "audio.wav", "image.jpg", "audio.mp3", "video.wmv", "audio.aiff", "image.bmp", "video.mpg"};
    constexpr int kFiles = 200;
    QString answer = kFolder;
    QStringList names;
    for (int i = 0; i < kFiles; ++i) {
        names << kinds[i % kinds.size()];
        answer += QChar(u'\0') + names.last();
    }

    QElapsedTimer timer;
    timer.start();
    for (const QString& name : names)
        Tarnwick::ProbeMedia(kFolder + u'/' + name);
    const double probeMs = QmBench::Ms(timer);

    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{answer, 4}));
    timer.restart();
    main->RunCommand(QStringLiteral("mnuFileOpen"));
    const double openMs = QmBench::Ms(timer);
    QmListView* list = frmMediaList::instance()->lvwMediaList;
    if (list->Count() != kFiles) {
        std::fprintf(stderr, "only %d rows of %d\n", list->Count(), kFiles);
        return 1;
    }
    std::printf("open %d files:      %8.1f files/s (%.2f ms each; bare probe %.2f ms each, %.1fx)\n", kFiles,
                kFiles * 1000.0 / openMs, openMs / kFiles, probeMs / kFiles, openMs / probeMs);

    // Two rows of the large file, clicked in turn so that each click loads anew.
    QmScript::AnswerDialog(QVariant::fromValue(
        QmDialogs::FileResult{kFolder + QChar(u'\0') + QStringLiteral("video640.avi") + QChar(u'\0') + QStringLiteral("video640.avi"), 4}));
    main->RunCommand(QStringLiteral("mnuFileOpen"));
    QmVideoSurface* surface = frmMediaList::instance()->picPreviewSmall;
    std::vector<double> clicks;
    for (int i = 0; i < 21; ++i) {
        const int row = list->Count() - 1 - (i % 2);
        frmMediaList::instance()->ClearMediaListSelections();
        list->SetSelected(row, true);
        list->SetCurrentRow(row);
        const int before = surface->FramesPresented();
        timer.restart();
        frmMediaList::instance()->OnLvwMediaListClick();
        while (surface->FramesPresented() == before && timer.elapsed() < 5000)
            QApplication::processEvents();
        if (i > 0) // the first click also starts MLT
            clicks.push_back(QmBench::Ms(timer));
    }
    timer.restart();
    for (int i = 0; i < 20; ++i)
        Tarnwick::ProbeMedia(kFolder + QStringLiteral("/video640.avi"));
    const double probeLarge = QmBench::Ms(timer) / 20;
    const double click = QmBench::Median(clicks);
    std::printf("click to first frame (640x480 AVI): median %.1f ms of 20 (bare probe %.2f ms, %.1fx); aim under 100 ms\n",
                click, probeLarge, click / probeLarge);
    QmBench::Figure(QStringLiteral("media: open %1 files, per file").arg(kFiles), openMs / kFiles, "ms",
                    probeMs / kFiles, "-", true);
    QmBench::Figure(QStringLiteral("media: click to first frame (640x480), median"), click, "ms", probeLarge,
                    "< 100 ms", click < 100);
    QmScript::TakeMessages();
    QmShared::Engine.reset();
    return click < 100 ? 0 : 2;
}
