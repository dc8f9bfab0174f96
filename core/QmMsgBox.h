#pragma once

#include <QString>

// Every message box of Quillmont goes through MsgBox: the title is "Quillmont" unless
// another is given; texts join their lines with CR LF as Quillmont writes them.
namespace QmMsgBox {

enum Result : int { OK = 1, Cancel = 2, Abort = 3, Retry = 4, Ignore = 5, Yes = 6, No = 7 };

enum class Buttons { OkOnly, OkCancel, AbortRetryIgnore, YesNoCancel, YesNo, RetryCancel };

enum class Icon { None, Critical, Question, Exclamation, Information };

} // namespace QmMsgBox

// Shows a message box and returns the button pressed. When scripted (QmScript), it
// records the box and answers from the script's queue instead.
QmMsgBox::Result MsgBox(const QString& text, QmMsgBox::Icon icon = QmMsgBox::Icon::None,
                        QmMsgBox::Buttons buttons = QmMsgBox::Buttons::OkOnly,
                        const QString& title = QStringLiteral("Quillmont"));
