#pragma once

#include <QByteArray>
#include <QString>

// Work is never lost to a crash. While the project holds unsaved work, a recovery copy of
// the whole of it (the same document as a project file, media list and view included)
// follows every change within a second: a cheap snapshot taken on the interface thread,
// written by a worker to a new file that then takes the old one's place. A save that
// leaves nothing unsaved, and a clean exit, remove it. A copy found at start is what a
// run that did not end cleanly left: Quillmont offers once to restore it.
//
// The copy lives in the user's data folder (recovery/work.qpj), held by a lock of its
// own while Quillmont runs, so a second Quillmont never touches the first one's copy.
namespace ModuleRecovery {

// How often the project is looked at for changes, in ms.
constexpr int WatchInterval = 250;

// At start, once the main window shows: offers the work a run that did not end cleanly
// left (and, when it is restored, leaves the command line's project aside), opens the
// project the command line names, and starts watching for changes.
void StartUp(const QString& commandLine);
// A clean exit: the copy is removed, and the worker ends.
void Finish();

// Looks at the project now, and writes or removes the copy as it needs (the watch does
// this every WatchInterval ms).
void Check();
// The project is as its file holds it (saved with nothing left unsaved, opened, closed):
// the copy goes at once, and only a change from here is work to recover.
void Discard();
// Waits until the worker has written or removed what it was given.
void Flush();

// The folder and the file of the copy.
QString Folder();
QString CopyPath();

// Whether the project holds work its file does not (what a copy is kept for).
bool HoldsWork();

// The whole project as a recovery copy holds it, without the copy's own particulars: what
// a scripted run records after each step, to tell what a restore brought back.
QByteArray StateDocument();
QByteArray StateDigest();

} // namespace ModuleRecovery
