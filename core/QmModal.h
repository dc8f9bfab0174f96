#pragma once

#include <QString>

class QDialog;

// Every modal form of Quillmont is shown through Exec, so that a scripted run answers
// it from the script instead of waiting for a user.
namespace QmModal {

// Shows the dialogue modally and returns its result (QDialog::Accepted or Rejected).
int Exec(QDialog& dialog);

} // namespace QmModal

// Hands a file or an address to the desktop's own program for it ("open"); the
// desktop's browser for web pages. When scripted, it is only recorded.
namespace QmDesktop {

bool Open(const QString& pathOrUrl);

} // namespace QmDesktop
