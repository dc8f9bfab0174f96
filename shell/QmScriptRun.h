#pragma once

#include <QString>

// A run script: the real program driven step by step through the command table, as the
// kill test of the recovery copy drives it. QUILLMONT_SCRIPT_RUN names a file of lines,
// read once the main window shows, in a scripted run (QUILLMONT_SCRIPT_LOG):
//
//   run <command>     the command of a menu entry ("mnuEditAddToTimeline"), as the entry runs it
//   file <path>       the next file dialogue chooses path
//   answer <button>   the next message box is answered so (Yes, No, OK, Cancel)
//   select <name>     the media list's rows of that file name are selected, and only they
//                     ("last" the last row, "*" every row)
//   slider <ms>       the timeline's position slider goes to ms
//   wait <ms>         a pause before the next line
//   probe             logs "PROBE <ms since the epoch> <player's position in ms> <processor ms
//                     used so far> <the preview surface's paint probe line>" (see
//                     QmVideoSurface; QUILLMONT_PAINT_PROBE)
//   quit              the main window is closed
//
// The log gets "START <ms since the epoch> <digest>" when the script begins (after the
// start-up's own questions, whose unused answers are dropped) and "DONE <n> <ms> <digest>
// work|clean" after each command, the digest being the project's
// (ModuleRecovery::StateDigest), and work when it holds work a recovery copy keeps.
// Answers queued for a command and not used by it are dropped after it.
namespace QmScriptRun {

void StartFromEnvironment();

} // namespace QmScriptRun
