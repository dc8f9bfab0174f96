#pragma once

#include <QString>

#include <functional>

// One Quillmont at a time: a second start that names a project (a file manager's
// "open") hands its path to the one running, through a local socket beside the
// single-instance lock in the runtime folder, and ends.
namespace QmHandOver {

// The socket's path.
QString ServerName();

// The running Quillmont listens; each path that arrives is given to open, from the event
// loop, after the sender has its answer. False when it cannot listen.
bool Listen(std::function<void(const QString& path)> open);
void Stop();

// Hands a path to the running Quillmont; true once it has taken it.
bool Send(const QString& path, int timeoutMs = 5000);

// The project named by a command line as the second start got it ("" and "%1" name none),
// as an absolute path from the folder it was started in.
QString PathOfCommandLine(const QString& commandLine);

} // namespace QmHandOver
