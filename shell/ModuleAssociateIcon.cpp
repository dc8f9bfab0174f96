#include "shell/ModuleAssociateIcon.h"

#include "core/QmTrap.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSaveFile>
#include <QStandardPaths>

namespace ModuleAssociateIcon {

namespace {

const QString kModule = QStringLiteral("ModuleAssociateIcon");

QByteArray Resource(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw QmError(QmErr::FileNotFound, QStringLiteral("Missing resource ") + path);
    return file.readAll();
}

QByteArray Contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Writes a file whose contents differ from what it should hold; true when it wrote.
bool WriteIfStale(const QString& path, const QByteArray& contents)
{
    const QFileInfo info(path);
    if (info.isFile() && Contents(path) == contents)
        return false;
    QDir().mkpath(info.absolutePath());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size() || !file.commit())
        throw QmError(QmErr::PathFileAccess, QStringLiteral("Unable to write ") + path + QStringLiteral(": ")
                                                      + file.errorString());
    return true;
}

// Runs a database tool of the desktop on a folder, when the tool is installed.
bool Refresh(const QString& tool, const QString& folder)
{
    const QString program = QStandardPaths::findExecutable(tool);
    if (program.isEmpty())
        return false;
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(program, {folder});
    if (!process.waitForFinished(15000)) {
        process.kill();
        process.waitForFinished(1000);
        return false;
    }
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// Whether a database file of the desktop names text; a database the tools never made
// names nothing.
bool Names(const QString& database, const QString& text)
{
    return Contents(database).contains(text.toUtf8());
}

} // namespace

QString DataHome()
{
    const QString xdg = qEnvironmentVariable("XDG_DATA_HOME");
    if (!xdg.isEmpty() && QDir::isAbsolutePath(xdg))
        return QDir::cleanPath(xdg);
    return QDir::homePath() + QStringLiteral("/.local/share");
}

QString DesktopEntryFile()
{
    return DataHome() + QStringLiteral("/applications/") + AppId + QStringLiteral(".desktop");
}

QString MimeTypeFile()
{
    return DataHome() + QStringLiteral("/mime/packages/") + AppId + QStringLiteral(".xml");
}

QString IconFile()
{
    return DataHome() + QStringLiteral("/icons/hicolor/scalable/apps/") + AppId + QStringLiteral(".svg");
}

QString ExecArgument(const QString& path)
{
    // Inside double quotes, the characters ", `, $ and \ take a backslash; the file's own
    // escaping then doubles every backslash, and "%" is written "%%" as a field code would.
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    bool quote = false;
    for (const QChar c : path)
        quote = quote || reserved.contains(c);
    QString argument;
    for (const QChar c : path) {
        if (quote && (c == u'"' || c == u'`' || c == u'$' || c == u'\\'))
            argument += u'\\';
        argument += c;
    }
    if (quote)
        argument = u'"' + argument + u'"';
    argument.replace(u'\\', QStringLiteral("\\\\"));
    argument.replace(u'%', QStringLiteral("%%"));
    return argument;
}

QString DesktopEntryText(const QString& program)
{
    // The installed entry starts "quillmont" from the PATH; this one names the program
    // that runs, wherever it is.
    QStringList lines = QString::fromUtf8(Resource(QStringLiteral(":/desktop/") + AppId + QStringLiteral(".desktop")))
                            .split(u'\n');
    for (QString& line : lines) {
        if (line.startsWith(QStringLiteral("Exec=")))
            line = QStringLiteral("Exec=") + ExecArgument(program) + QStringLiteral(" %f");
        else if (line.startsWith(QStringLiteral("TryExec=")))
            line = QStringLiteral("TryExec=") + program;
    }
    return lines.join(u'\n');
}

QString MimeTypeText()
{
    return QString::fromUtf8(Resource(QStringLiteral(":/desktop/") + AppId + QStringLiteral(".xml")));
}

Outcome ApplyFileAssociation()
{
    Outcome outcome;
    QmTrap::Run(kModule, QStringLiteral("ApplyFileAssociation*"), [&outcome] {
        const QString program = QFileInfo(QCoreApplication::applicationFilePath()).absoluteFilePath();
        if (WriteIfStale(MimeTypeFile(), MimeTypeText().toUtf8()))
            outcome.written << MimeTypeFile();
        if (WriteIfStale(IconFile(), Resource(QStringLiteral(":/icons/quillmont.svg"))))
            outcome.written << IconFile();
        if (WriteIfStale(DesktopEntryFile(), DesktopEntryText(program).toUtf8()))
            outcome.written << DesktopEntryFile();

        // A database is made again when its file changed or it does not know the type
        // yet (as when its tool came after the file).
        const QString mime = DataHome() + QStringLiteral("/mime");
        if ((outcome.written.contains(MimeTypeFile()) || !Names(mime + QStringLiteral("/globs2"), ProjectMimeType))
            && Refresh(QStringLiteral("update-mime-database"), mime))
            outcome.refreshed << QStringLiteral("update-mime-database ") + mime;
        const QString applications = DataHome() + QStringLiteral("/applications");
        if ((outcome.written.contains(DesktopEntryFile())
             || !Names(applications + QStringLiteral("/mimeinfo.cache"), AppId + QStringLiteral(".desktop")))
            && Refresh(QStringLiteral("update-desktop-database"), applications))
            outcome.refreshed << QStringLiteral("update-desktop-database ") + applications;
    });
    return outcome;
}

} // namespace ModuleAssociateIcon
