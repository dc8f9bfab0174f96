#pragma once

#include "core/QmMsgBox.h"

#include <QList>
#include <QString>
#include <QVariant>

#include <functional>

class QDialog;

// Scripted runs: tests (and the real program under QUILLMONT_SCRIPT_LOG) answer
// message boxes, common dialogues and modal forms from queues, and see a record of
// everything shown and opened. A box, dialogue or form that finds no answer waiting
// is unexpected: the script's handler hears of it (a test fails), and it never waits
// for a user.
//
// Message boxes with only an OK button need no queued answer; they are recorded,
// and a test takes them from the record to show it expected them.
namespace QmScript {

struct ShownMessage
{
    QString text;
    QString title;
    QmMsgBox::Icon icon = QmMsgBox::Icon::None;
    QmMsgBox::Buttons buttons = QmMsgBox::Buttons::OkOnly;
    QmMsgBox::Result answer = QmMsgBox::OK;
};

// What a dialogue was asked (kind "open", "save", "color", "font", "folder").
struct DialogRequest
{
    QString kind;
    QString title;
    QString filter;
    int filterIndex = 0;
    int32_t flags = 0;
};

using UnexpectedHandler = std::function<void(const QString& what)>;

void Enable(UnexpectedHandler onUnexpected);
void Disable();
bool Enabled();
// Reads QUILLMONT_SCRIPT_LOG and QUILLMONT_SCRIPT_ANSWERS: with a log file named, the
// program runs scripted, appends a line to the file for every box, dialogue, form and
// desktop opening, and takes message box answers from the comma-separated list
// ("Yes,No,OK"). Called once by the entry routine.
void EnableFromEnvironment();

// A line of its own in the log of a scripted run (QUILLMONT_SCRIPT_LOG), such as what
// a run script did and when.
void Note(const QString& line);

// Message boxes.
void AnswerMessage(QmMsgBox::Result answer);
// Forgets the answers still queued.
void DropMessageAnswers();
QList<ShownMessage> TakeMessages();
int PendingMessageAnswers();

// Common dialogues: an answer is what the dialogue would give (a QmFileResult, a
// colour as int, a QmFontChoice, a folder as QString); CancelDialog makes the next
// one cancel.
void AnswerDialog(const QVariant& answer);
void CancelDialog();
QList<DialogRequest> TakeDialogs();

// Modal forms: the handler plays the user on the form (fills it in, presses a button).
void HandleModal(std::function<void(QDialog&)> handler);

// Paths and addresses handed to the desktop to open.
QList<QString> TakeOpened();
// Whether the scripted desktop has a program to open them (it has, unless a test plays
// a desktop without one).
void SetDesktopCanOpen(bool canOpen);

// For the services themselves.
namespace Detail {
QmMsgBox::Result NextMessageAnswer(const ShownMessage& shown, bool& found);
bool NextDialogAnswer(const DialogRequest& request, QVariant& answer);
bool NextModalHandler(const QString& formName, std::function<void(QDialog&)>& handler);
// Records the opening; false when the scripted desktop has nothing to open it with.
bool RecordOpened(const QString& target);
void Unexpected(const QString& what);
} // namespace Detail

} // namespace QmScript
