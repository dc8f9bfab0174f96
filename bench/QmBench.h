#pragma once

// What the benchmarks share: time in milliseconds, the median of a run, and the program
// started as a user meets it, with its settings in a folder of their own.

#include "core/QmShared.h"
#include "engine/CreateObject.h"
#include "media/moduleTarnwick.h"
#include "shell/mdiTarnwick.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
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
inline bool MakeMedia(const QString& folder, int seconds)
{
    const QString length = QString::number(seconds);
    return Ffmpeg({"-f", "lavfi", "-i", "testsrc2=size=640x480:rate=25:duration=" + length, "-c:v", "mpeg4", "-q:v",
                   "3", folder + "/main.avi"})
           && Ffmpeg({"-f", "lavfi", "-i",
                      "color=c=0x00ff00:size=640x480:rate=25:duration=" + length
                          + ",drawbox=x=40:y=300:w=240:h=120:color=red:t=fill,drawtext=text='%{pts}':x=60:y=330:fontsize=40",
                      "-c:v", "mpeg4", "-q:v", "3", folder + "/key.avi"})
           && Ffmpeg({"-f", "lavfi", "-i", "sine=frequency=440:sample_rate=48000:duration=" + length, "-ac", "2",
                      folder + "/a1.wav"})
           && Ffmpeg({"-f", "lavfi", "-i", "sine=frequency=660:sample_rate=48000:duration=" + length, "-ac", "2",
                      folder + "/a2.wav"});
}

} // namespace QmBench
