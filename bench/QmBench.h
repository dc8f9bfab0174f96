#pragma once

// What the benchmarks share: time in milliseconds, the median of a run, and the program
// started as a user meets it, with its settings in a folder of their own.

#include "core/QmShared.h"
#include "engine/CreateObject.h"
#include "media/moduleTarnwick.h"
#include "shell/mdiTarnwick.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
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

} // namespace QmBench
