#pragma once

#include <QString>

#include <functional>

// The status bar as every module sees it: texts by panel key and the progress bar of
// long work. The main window installs the panel that shows them, as report/ installs
// the error trap's reporter; until it stands, texts go nowhere.
namespace QmStatus {

// The first panel, for hints and the progress text.
inline const QString HintPanel = QStringLiteral("sbr_1");

struct Sink
{
    std::function<void(const QString& key, const QString& text)> text;
    // value of maximum; a maximum below 0 hides the bar.
    std::function<void(int value, int maximum)> progress;
};

void Install(Sink sink);
// Forgets the sink (its panel is going).
void Uninstall();

// A panel's text: the first panel unless a key (SLIDER_POS, DURATION, SELECTION) is given.
void Show(const QString& text, const QString& key = HintPanel);
// The progress bar at value of maximum, shown.
void Progress(int value, int maximum);
void HideProgress();

} // namespace QmStatus
