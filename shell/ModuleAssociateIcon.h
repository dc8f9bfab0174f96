#pragma once

#include <QString>
#include <QStringList>

// Makes project files (".qpj") open in Quillmont: at every start the program's desktop
// entry, the MIME type "application/x-quillmont-project" and the program's icon are put
// into the user's own data folder ($XDG_DATA_HOME, else ~/.local/share) where they are
// missing or differ, and the desktop's databases are brought up to date with its own
// tools where they are installed. Folders of the system are never written.
namespace ModuleAssociateIcon {

inline const QString AppId = QStringLiteral("org.quillmont.Quillmont");
inline const QString ProjectMimeType = QStringLiteral("application/x-quillmont-project");

// $XDG_DATA_HOME when it is an absolute path, else ~/.local/share.
QString DataHome();
QString DesktopEntryFile();
QString MimeTypeFile();
QString IconFile();

// The desktop entry for the program at path: it is started with the project's path.
QString DesktopEntryText(const QString& program);
QString MimeTypeText();
// A path as one argument of a desktop entry's Exec line, quoted and escaped where needed.
QString ExecArgument(const QString& path);

struct Outcome
{
    QStringList written;   // files written, in the order written
    QStringList refreshed; // the tools run, each with its folder
};

// Writes what is missing or stale and refreshes the databases that need it.
Outcome ApplyFileAssociation();

} // namespace ModuleAssociateIcon
