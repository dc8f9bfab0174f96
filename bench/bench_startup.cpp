// How long Quillmont takes from its start to its main window shown, and how much
// memory it holds once idle. Run under an X display (bench/startup.sh starts Xvfb).
// Each run is a fresh process; the median of several is printed, against a reference
// run in the same script: this program itself showing a bare Qt main window, which is
// the floor any Qt program pays on this machine.
#include <QApplication>
#include <QElapsedTimer>
#include <QMainWindow>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

struct Sample
{
    double shownMs = -1;
    long rssKb = 0;
};

// The reference: a bare main window, reporting like Quillmont does.
int Reference(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QMainWindow window;
    window.resize(1000, 700);
    window.show();
    QApplication::processEvents();
    std::printf("QUILLMONT-SHOWN\n");
    std::fflush(stdout);
    QTimer::singleShot(1500, &app, [] {
        QFile status(QStringLiteral("/proc/self/status"));
        long rss = 0;
        if (status.open(QIODevice::ReadOnly))
            for (const QByteArray& line : status.readAll().split('\n'))
                if (line.startsWith("VmRSS:"))
                    rss = line.mid(6).trimmed().split(' ').first().toLong();
        std::printf("QUILLMONT-RSS %ld\n", rss);
        std::fflush(stdout);
        QApplication::exit(0);
    });
    return app.exec();
}

Sample Measure(const QString& program, const QStringList& arguments, const QString& root)
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QUILLMONT_STARTUP_PROBE"), QStringLiteral("exit"));
    env.insert(QStringLiteral("QUILLMONT_CONFIG_DIR"), root + QStringLiteral("/config"));
    env.insert(QStringLiteral("QUILLMONT_DATA_DIR"), root + QStringLiteral("/data"));
    env.insert(QStringLiteral("QUILLMONT_RUNTIME_DIR"), root + QStringLiteral("/runtime"));
    process.setProcessEnvironment(env);
    Sample sample;
    QElapsedTimer timer;
    timer.start();
    process.start(program, arguments);
    QByteArray output;
    while (process.state() != QProcess::NotRunning || process.bytesAvailable()) {
        process.waitForReadyRead(100);
        output += process.readAllStandardOutput();
        if (sample.shownMs < 0 && output.contains("QUILLMONT-SHOWN"))
            sample.shownMs = static_cast<double>(timer.nsecsElapsed()) / 1e6;
        const int rss = output.indexOf("QUILLMONT-RSS ");
        if (rss >= 0 && output.indexOf('\n', rss) > 0) {
            sample.rssKb = output.mid(rss + 14, output.indexOf('\n', rss) - rss - 14).toLong();
            break;
        }
        if (timer.elapsed() > 60000)
            break;
    }
    process.waitForFinished(10000);
    return sample;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc > 1 && QByteArray(argv[1]) == "--reference")
        return Reference(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_startup path/to/quillmont [runs]\n");
        return 1;
    }
    QCoreApplication app(argc, argv);
    const QString quillmont = QString::fromLocal8Bit(argv[1]);
    const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 7;
    QTemporaryDir root;
    // No tutorial in the browser at each start.
    QSettings(root.path() + QStringLiteral("/config/quillmont.ini"), QSettings::IniFormat)
        .setValue(QStringLiteral("Quillmont 1.1/Save Options/Tutorial"), QStringLiteral("1"));

    auto series = [&](const QString& program, const QStringList& arguments, const char* name) {
        Measure(program, arguments, root.path()); // warms the file cache
        std::vector<double> shown, rss;
        for (int i = 0; i < runs; ++i) {
            const Sample s = Measure(program, arguments, root.path());
            if (s.shownMs < 0) {
                std::fprintf(stderr, "%s did not show its window\n", name);
                std::exit(1);
            }
            shown.push_back(s.shownMs);
            rss.push_back(s.rssKb / 1024.0);
        }
        std::printf("%-24s start to window shown: median %7.1f ms (min %.1f, max %.1f); idle resident %6.1f MiB\n",
                    name, Median(shown), *std::min_element(shown.begin(), shown.end()),
                    *std::max_element(shown.begin(), shown.end()), Median(rss));
        return std::pair{Median(shown), Median(rss)};
    };

    const auto reference = series(QCoreApplication::applicationFilePath(), {QStringLiteral("--reference")},
                                  "bare Qt main window");
    const auto measured = series(quillmont, {}, "Quillmont");
    std::printf("Quillmont / bare Qt window: %.2fx the time, %.2fx the memory (aim: 0.3 s or less, under 80 MiB)\n",
                measured.first / reference.first, measured.second / reference.second);
    // Lines for bench/run-all.sh's table, as QmBench::Figure writes them.
    std::printf("@figure\tstart-up: start to window shown, median\t%.1f ms\t%.1f\t%.2f\t<= 300 ms\t%s\n",
                measured.first, reference.first, measured.first / reference.first,
                measured.first <= 300 ? "yes" : "no");
    std::printf("@figure\tstart-up: idle resident memory\t%.1f MiB\t%.1f\t%.2f\t< 80 MiB\t%s\n", measured.second,
                reference.second, measured.second / reference.second, measured.second < 80 ? "yes" : "no");
    return 0;
}
