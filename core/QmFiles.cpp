#include "core/QmFiles.h"

#include "core/QmError.h"

#include <QDir>
#include <QFileInfo>

namespace QmFiles {

namespace {

QFileInfo Existing(const QString& path)
{
    if (path.trimmed().isEmpty() || path.contains(QChar(u'\0')))
        throw QmError(QmErr::BadFileName, QStringLiteral("Bad file name or number"));
    const QFileInfo info(path);
    if (!info.absoluteDir().exists())
        throw QmError(QmErr::PathNotFound, QStringLiteral("Path not found"));
    if (!info.isFile())
        throw QmError(QmErr::FileNotFound, QStringLiteral("File not found"));
    return info;
}

} // namespace

int64_t FileLen(const QString& path)
{
    return Existing(path).size();
}

QDateTime FileDateTime(const QString& path)
{
    return Existing(path).lastModified();
}

} // namespace QmFiles
