// Whether the preview panel of the real program keeps up, at four project sizes:
// 320x240, 640x480, 1280x720 and 1920x1080. For each, ffmpeg makes sources of that size
// in a temporary folder (a moving test picture, a green overlay with a red box to key,
// two tones), and this bench saves a project of them (the picture with a blur over all
// of it, the overlay keyed on its green over all of it, the tones on the sound tracks).
// Quillmont itself then opens the project through its scripted run, plays 10 s in the
// preview panel and counts, with its paint probe (QUILLMONT_PAINT_PROBE), the frames
// the preview's surface painted and how late; the script logs the player's position
// beside the wall clock, whence the drift of the sound's clock.
//
// Run under an X display: bench/run-all.sh runs it under Xvfb.
// Arguments: the quillmont executable (build/quillmont by default), --sizes 320x240,...
// Aim: every frame painted on time at 25 fps, at every size.
#include "bench/QmBench.h"
#include "core/QmDialogs.h"
#include "core/QmScript.h"
#include "core/QmShared.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "history/ModuleHistory.h"
#include "media/moduleTarnwick.h"
#include "shell/mdiTarnwick.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QSettings>
#include <QTextStream>

#include <cstdio>

using namespace QmShared;

namespace {

constexpr int kSeconds = 14; // media: a start, 10 s played, and room after
constexpr int kPlayMs = 10000;

// The project of one size's media, saved at path.
bool SaveProject(mdiTarnwick* main, const QString& folder, const QString& size, const QString& path)
{
    ModuleHistory::EmptyTimeline();
    moduleTarnwick::CloseAllMediaFiles();
    ProjectModified = MediaListDirty = false;
    const QString suffix = u'_' + size;
    auto open = [&](const QString& name) {
        const QString file = folder + u'/' + name;
        moduleTarnwick::LastOpenedExtension = QFileInfo(file).suffix();
        if (!moduleTarnwick::CheckMediaFile(file))
            return -1;
        const int32_t opened = Eng<ITWCoreRoot>().OpenFile(file);
        moduleTarnwick::OpenStreams(opened);
        moduleTarnwick::AppendToTWListView(opened);
        return StreamCollection.Item(StreamCollection.Count());
    };
    const int32_t main_ = open("main" + suffix + ".avi"), key = open("key" + suffix + ".avi");
    const int32_t a1 = open("a1" + suffix + ".wav"), a2 = open("a2" + suffix + ".wav");
    if (main_ < 0 || key < 0 || a1 < 0 || a2 < 0)
        return false;
    const int width = size.section(u'x', 0, 0).toInt(), height = size.section(u'x', 1, 1).toInt();
    auto& tl = Eng<ITWTimeline>();
    tl.SetFrameSize(width, height);
    ProjectWidth = static_cast<int16_t>(width);
    ProjectHeight = static_cast<int16_t>(height);
    const int32_t length = kSeconds * 1000;
    const int32_t video = TrackCollection.Item(1), audio1 = TrackCollection.Item(2), audio2 = TrackCollection.Item(3);
    tl.AppendSource(video, main_, 0);
    tl.AddEffectAt(video, QStringLiteral("Blur"), 0, length);
    tl.AppendSource(OverlayTrack, key, 0);
    tl.AddTransitionAt(OverlayTrack, QStringLiteral("DxtKey"), 0, length);
    Eng<ITWKeyTransition>().SetKeyParameter(OverlayTrack, 0, QStringLiteral("KeyType"), 0);
    Eng<ITWKeyTransition>().SetKeyColor(OverlayTrack, 0, 0, 255, 0);
    tl.AppendSource(audio1, a1, 0);
    tl.AppendSource(audio2, a2, 0);
    ProjectModified = true;
    QmScript::AnswerDialog(QVariant::fromValue(QmDialogs::FileResult{path, 1}));
    main->RunCommand(QStringLiteral("mnuFileSaveProjectAs"));
    return !ProjectModified && QFileInfo::exists(path);
}

struct Probe
{
    qint64 at = 0;
    qint64 cpuMs = 0;
    int position = 0, presented = 0, painted = 0, late = 0, skipped = 0;
    double slowestPaint = 0;
    QString size;
};

// A "PROBE" line of the script log.
Probe ReadProbe(const QString& line)
{
    const QStringList f = line.split(u'\t');
    Probe p;
    p.at = f.value(1).toLongLong();
    p.position = f.value(2).toInt();
    p.cpuMs = f.value(3).toLongLong();
    const QStringList w = f.value(4).split(u' ');
    auto after = [&w](const char* word) { return w.value(w.indexOf(QLatin1String(word)) + 1); };
    p.presented = after("presented").toInt();
    p.painted = after("painted").toInt();
    p.late = after("late").toInt();
    p.skipped = after("skipped").toInt();
    p.slowestPaint = after("slowest-paint-ms").toDouble();
    p.size = after("size");
    return p;
}

// Quillmont opening project and playing it; false when it did not get as far.
bool PlayInProgram(const QString& program, const QString& folder, const QString& project, const QString& size)
{
    const QString script = folder + "/play.txt", log = folder + "/play.log";
    QFile::remove(log);
    {
        QFile file(script);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return false;
        // Opened, given time to settle, then played: a second to get going, then 10 s
        // between the probes, then paused and closed without a question.
        QTextStream(&file) << "file " << project << "\nrun mnuFileOpenProject\nwait 3000\n"
                           << "run DoPreviewAction:Play\nwait 1000\nprobe\nwait " << kPlayMs << "\nprobe\n"
                           << "run DoPreviewAction:Pause\nanswer No\nquit\n";
    }
    QTemporaryDir config;
    // No tutorial in the browser at the start.
    QSettings(config.path() + QStringLiteral("/quillmont.ini"), QSettings::IniFormat)
        .setValue(QStringLiteral("Quillmont 1.1/Save Options/Tutorial"), QStringLiteral("1"));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    env.insert(QStringLiteral("QUILLMONT_CONFIG_DIR"), config.path());
    env.insert(QStringLiteral("QUILLMONT_SCRIPT_RUN"), script);
    env.insert(QStringLiteral("QUILLMONT_SCRIPT_LOG"), log);
    env.insert(QStringLiteral("QUILLMONT_PAINT_PROBE"), QStringLiteral("1"));
    if (!env.contains(QStringLiteral("SDL_AUDIODRIVER")))
        env.insert(QStringLiteral("SDL_AUDIODRIVER"), QStringLiteral("dummy"));
    QProcess quillmont;
    quillmont.setProcessEnvironment(env);
    quillmont.setProcessChannelMode(QProcess::MergedChannels);
    quillmont.start(program, {});
    if (!quillmont.waitForFinished(60000)) {
        quillmont.kill();
        quillmont.waitForFinished();
        std::fprintf(stderr, "%s: Quillmont did not finish\n", qPrintable(size));
        return false;
    }
    QFile logFile(log);
    QList<Probe> probes;
    if (logFile.open(QIODevice::ReadOnly))
        for (const QString& line : QString::fromUtf8(logFile.readAll()).split(u'\n'))
            if (line.startsWith(QLatin1String("PROBE\t")))
                probes << ReadProbe(line);
    if (probes.size() != 2) {
        std::fprintf(stderr, "%s: no figures from Quillmont; it said:\n%s\n", qPrintable(size),
                     quillmont.readAll().constData());
        return false;
    }
    const Probe& a = probes[0];
    const Probe& b = probes[1];
    const double wall = static_cast<double>(b.at - a.at);
    const int due = static_cast<int>(wall / 40.0 + 0.5);
    const int painted = b.painted - a.painted, late = b.late - a.late;
    const int onTime = painted - late;
    const double drift = (b.position - a.position) - wall;
    std::printf("%-9s  surface %-9s  %3d frames painted on time of %3d due (%5.1f%%); presented %d, painted %d, "
                "late %d, replaced unpainted %d; slowest paint %.1f ms; sound clock drift %+.0f ms over %.0f ms; "
                "%.2f cores busy\n",
                qPrintable(size), qPrintable(b.size), onTime, due, 100.0 * onTime / std::max(1, due),
                b.presented - a.presented, painted, late, b.skipped - a.skipped, b.slowestPaint, drift, wall,
                static_cast<double>(b.cpuMs - a.cpuMs) / wall);
    // The probes fall between frames: the window they bound may hold one frame more or
    // less than its length says.
    QmBench::Figure(QStringLiteral("preview window %1: frames on time, of due").arg(size), onTime, "frames", due,
                    "all (+-1 at the ends)", onTime >= due - 1);
    QmBench::Figure(QStringLiteral("preview window %1: sound clock drift over 10 s").arg(size), std::abs(drift), "ms",
                    QmBench::kNoReference, "< 40 ms", std::abs(drift) < 40);
    return true;
}

} // namespace

int main(int argc, char* argv[])
{
    // This process only makes the projects; the program plays them on the display.
    const QByteArray display = qgetenv("DISPLAY");
    QTemporaryDir config, folder;
    QmBench::QuietEnvironment(config);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const QStringList args = QApplication::arguments();
    QString program = QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("../quillmont"));
    QStringList sizes = {"320x240", "640x480", "1280x720", "1920x1080"};
    for (int i = 1; i < args.size(); ++i) {
        if (args[i] == u"--sizes" && i + 1 < args.size())
            sizes = args[++i].split(u',');
        else if (args[i] == u"--keep")
            folder.setAutoRemove(false);
        else
            program = args[i];
    }
    if (display.isEmpty()) {
        std::fprintf(stderr, "no X display: run it under xvfb-run (bench/run-all.sh does)\n");
        return 1;
    }
    mdiTarnwick* main = QmBench::StartProgram();
    QApplication::processEvents();
    QmScript::Enable([](const QString& what) { std::fprintf(stderr, "unexpected: %s\n", qPrintable(what)); });
    std::printf("the preview panel of %s playing 10 s, a keyed overlay and a blur over all of it:\n",
                qPrintable(QFileInfo(program).canonicalFilePath()));
    int failures = 0;
    for (const QString& size : sizes) {
        const QString project = folder.filePath("play_" + size + ".qpj");
        if (!QmBench::MakeMedia(folder.path(), kSeconds, size, u'_' + size)
            || !SaveProject(main, folder.path(), size, project)) {
            std::fprintf(stderr, "%s: the project could not be made\n", qPrintable(size));
            ++failures;
            continue;
        }
        if (!PlayInProgram(program, folder.path(), project, size))
            ++failures;
    }
    ModuleHistory::EmptyTimeline();
    moduleTarnwick::CloseAllMediaFiles();
    ProjectModified = MediaListDirty = false;
    QmShared::Engine.reset();
    return failures == 0 ? 0 : 1;
}
