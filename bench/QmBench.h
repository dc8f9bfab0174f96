#pragma once

// What the benchmarks share: time in milliseconds, the median of a run, and the program
// started as a user meets it, with its settings in a folder of their own.

#include "core/QmShared.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "media/moduleTarnwick.h"
#include "shell/mdiTarnwick.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string_view>
#include <vector>

namespace QmBench {

inline double Ms(const QElapsedTimer& timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

inline double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0.0 : values[values.size() / 2];
}

// A figure for bench/run-all.sh's table, on a line of its own beside the benchmark's
// own words: name, value and unit, the reference measured in the same run (none when
// kNoReference), the aim as words and whether the value meets it.
constexpr double kNoReference = std::numeric_limits<double>::quiet_NaN();

inline void Figure(const QString& name, double value, const char* unit, double reference, const char* aim, bool holds)
{
    const QString ratio = std::isnan(reference) || reference == 0 ? QStringLiteral("-")
                                                                   : QString::number(value / reference, 'f', 2);
    const QString ref = std::isnan(reference) ? QStringLiteral("-") : QString::number(reference, 'f', 1);
    std::printf("@figure\t%s\t%.1f %s\t%s\t%s\t%s\t%s\n", qPrintable(name), value, unit, qPrintable(ref),
                qPrintable(ratio), aim, std::string_view(aim) == "-" ? "-" : holds ? "yes" : "no");
    std::fflush(stdout);
}

// This process's resident memory in MiB (VmRSS), 0 where it cannot be read.
inline double ResidentMiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
    return 0;
}

// Before the application object: settings in config, sound to no device.
inline void QuietEnvironment(const QTemporaryDir& config)
{
    qputenv("QUILLMONT_CONFIG_DIR", QFile::encodeName(config.path()));
    qputenv("SDL_AUDIODRIVER", "dummy");
}

// The engine and the main window, shown at the given size (its own when empty).
inline mdiTarnwick* StartProgram(QSize size = {})
{
    QmShared::Engine = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
    moduleTarnwick::Init();
    mdiTarnwick* main = mdiTarnwick::instance();
    main->Load();
    if (size.isValid())
        main->resize(size);
    main->show();
    return main;
}

// Runs ffmpeg quietly, overwriting its output; false (with what it said) when it fails.
inline bool Ffmpeg(const QStringList& arguments)
{
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"), QStringList{"-hide_banner", "-loglevel", "error", "-y"} + arguments);
    if (!ffmpeg.waitForFinished(-1) || ffmpeg.exitCode() != 0) {
        std::fprintf(stderr, "ffmpeg failed: %s\n", ffmpeg.readAllStandardError().constData());
        return false;
    }
    return true;
}

// The media of the reference project, seconds long, in folder: main.avi (a moving test
// picture, 640x480 at 25 frames a second), key.avi (green with a red box and a counter,
// to be keyed), a1.wav and a2.wav (tones of 440 and 660 Hz, 48 kHz stereo).
// size gives other pictures ("1920x1080"); suffix goes before each name's extension.
inline bool MakeMedia(const QString& folder, int seconds, const QString& size = QStringLiteral("640x480"),
                      const QString& suffix = {})
{
    const QString length = QString::number(seconds);
    return Ffmpeg({"-f", "lavfi", "-i", "testsrc2=size=" + size + ":rate=25:duration=" + length, "-c:v", "mpeg4",
                   "-q:v", "3", folder + "/main" + suffix + ".avi"})
           && Ffmpeg({"-f", "lavfi", "-i",
                      "color=c=0x00ff00:size=" + size + ":rate=25:duration=" + length
                          + ",drawbox=x=40:y=300:w=240:h=120:color=red:t=fill,drawtext=text='%{pts}':x=60:y=330:fontsize=40",
                      "-c:v", "mpeg4", "-q:v", "3", folder + "/key" + suffix + ".avi"})
           && Ffmpeg({"-f", "lavfi", "-i", "sine=frequency=440:sample_rate=48000:duration=" + length, "-ac", "2",
                      folder + "/a1" + suffix + ".wav"})
           && Ffmpeg({"-f", "lavfi", "-i", "sine=frequency=660:sample_rate=48000:duration=" + length, "-ac", "2",
                      folder + "/a2" + suffix + ".wav"});
}

// The tracks of the reference project.
struct ReferenceTracks
{
    int32_t video = 0, overlay = 0, audio1 = 0, audio2 = 0;
};

// The reference project on an engine object, from MakeMedia's files in folder: main.avi
// on the video track with an effect from start to stop, key.avi over the whole of it on
// the overlay keyed on its green, a1.wav and a2.wav on the sound tracks; 640x480.
inline ReferenceTracks BuildReferenceTimeline(ITWObject* object, const QString& folder, int seconds,
                                              const QString& effect, int32_t start, int32_t stop)
{
    auto& tl = TWCast<ITWTimeline>(object);
    auto open = [&](const char* name) {
        const int32_t file = TWCast<ITWCoreRoot>(object).OpenFile(folder + u'/' + QLatin1String(name));
        return TWCast<ITWMediaFiles>(object).OpenStream(file, 0);
    };
    ReferenceTracks tracks;
    tracks.video = tl.CreateTrack(true);
    tracks.overlay = tl.CreateTrack(true);
    tracks.audio1 = tl.CreateTrack(false);
    tracks.audio2 = tl.CreateTrack(false);
    tl.SetFrameSize(640, 480);
    tl.AppendSource(tracks.video, open("main.avi"), 0);
    tl.AppendSource(tracks.overlay, open("key.avi"), 0);
    tl.AddTransitionAt(tracks.overlay, QStringLiteral("DxtKey"), 0, seconds * 1000);
    auto& key = TWCast<ITWKeyTransition>(object);
    key.SetKeyParameter(tracks.overlay, 0, QStringLiteral("KeyType"), 0);
    key.SetKeyColor(tracks.overlay, 0, 0, 255, 0);
    tl.AddEffectAt(tracks.video, effect, start, stop);
    tl.AppendSource(tracks.audio1, open("a1.wav"), 0);
    tl.AppendSource(tracks.audio2, open("a2.wav"), 0);
    return tracks;
}

} // namespace QmBench
