#pragma once

#include <QString>

// The program's entry: main() calls QuillmontMain, which makes the application,
// runs the entry routine and then the event loop while the main window stands.
int QuillmontMain(int argc, char* argv[]);

namespace EntryRoutine {

// The entry routine: names the settings section, creates the engine by class name
// and loads the splash, whose load runs the rest of the start-up. A failure shows the
// two-line message and leaves no form behind.
void Main(const QString& engineClass = QStringLiteral("TWCore.TarnwickTimeline"));

// "Unable to initialize. Please install DirectX 8.0 or higher." and its second line.
QString UnableToInitializeText();

} // namespace EntryRoutine
