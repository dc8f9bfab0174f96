#include "core/QmPaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace QmPaths {

namespace {

QString Made(const QString& folder)
{
    QDir().mkpath(folder);
    return folder;
}

} // namespace

QString AppFolder()
{
    return QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QDir::currentPath();
}

QString HelpFolder()
{
    const QString beside = AppFolder() + QStringLiteral("/help");
    const QString installed = QDir::cleanPath(AppFolder() + QStringLiteral("/../share/quillmont/help"));
    return !QFileInfo(beside).isDir() && QFileInfo(installed).isDir() ? installed : beside;
}

QString WritableAppFolder()
{
    const QString overridden = qEnvironmentVariable("QUILLMONT_DATA_DIR");
    if (!overridden.isEmpty())
        return Made(overridden);
    const QFileInfo app(AppFolder());
    if (app.isDir() && app.isWritable())
        return app.absoluteFilePath();
    return Made(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Quillmont"));
}

QString UserDataFolder()
{
    const QString overridden = qEnvironmentVariable("QUILLMONT_DATA_DIR");
    if (!overridden.isEmpty())
        return Made(overridden);
    return Made(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Quillmont"));
}

QString ConfigFolder()
{
    const QString overridden = qEnvironmentVariable("QUILLMONT_CONFIG_DIR");
    if (!overridden.isEmpty())
        return Made(overridden);
    return Made(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/Quillmont"));
}

QString RuntimeFolder()
{
    const QString overridden = qEnvironmentVariable("QUILLMONT_RUNTIME_DIR");
    if (!overridden.isEmpty())
        return Made(overridden);
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty())
        folder = QDir::tempPath();
    return Made(folder);
}

} // namespace QmPaths
