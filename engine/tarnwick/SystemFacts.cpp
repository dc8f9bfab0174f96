#include "engine/tarnwick/SystemFacts.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStringList>

#include <link.h>

#include <algorithm>
#include <limits>

namespace Tarnwick::SystemFacts {

namespace {

QString LibraryStem(const QString& fileName)
{
    const QString name = QFileInfo(fileName).fileName().toLower();
    if (name == QLatin1String("mscomctl.ocx"))
        return QStringLiteral("libQt6Widgets");
    if (name == QLatin1String("comdlg32.ocx"))
        return QStringLiteral("libmlt-7");
    if (name == QLatin1String("msxml.dll"))
        return QStringLiteral("libavformat");
    return QFileInfo(fileName).fileName();
}

int Visit(dl_phdr_info* info, size_t, void* data)
{
    auto* paths = static_cast<QStringList*>(data);
    if (info->dlpi_name && *info->dlpi_name)
        paths->append(QString::fromLocal8Bit(info->dlpi_name));
    return 0;
}

} // namespace

ComponentVersion VersionOf(const QString& fileName)
{
    ComponentVersion version;
    const QString stem = LibraryStem(fileName);
    if (stem.isEmpty())
        return version;

    QStringList loaded;
    dl_iterate_phdr(Visit, &loaded);
    for (const QString& path : loaded) {
        if (!QFileInfo(path).fileName().startsWith(stem + QLatin1Char('.')))
            continue;
        // The real file carries the full version: libfoo.so.6.4.2.
        const QString real = QFileInfo(path).canonicalFilePath();
        static const QRegularExpression numbers(QStringLiteral("\\.so((?:\\.\\d+)+)$"));
        const QRegularExpressionMatch match = numbers.match(real.isEmpty() ? path : real);
        if (!match.hasMatch())
            continue;
        const QStringList parts = match.captured(1).mid(1).split(QLatin1Char('.'));
        int32_t* fields[] = {&version.major, &version.minor, &version.build, &version.revision};
        for (qsizetype i = 0; i < std::min<qsizetype>(parts.size(), 4); ++i)
            *fields[i] = parts[i].toInt();
        break;
    }
    return version;
}

MemoryStatus Memory()
{
    MemoryStatus status;
    QFile file(QStringLiteral("/proc/meminfo"));
    if (!file.open(QIODevice::ReadOnly))
        return status;
    qint64 totalKb = 0, availableKb = 0, swapFreeKb = 0;
    for (const QByteArray& line : file.readAll().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() < 2)
            continue;
        const qint64 value = fields[1].toLongLong();
        if (fields[0] == "MemTotal:")
            totalKb = value;
        else if (fields[0] == "MemAvailable:")
            availableKb = value;
        else if (fields[0] == "SwapFree:")
            swapFreeKb = value;
    }
    auto toMb = [](qint64 kb) {
        return static_cast<int32_t>(std::min<qint64>(kb / 1024, std::numeric_limits<int32_t>::max()));
    };
    status.totalPhysicalMb = toMb(totalKb);
    status.freePhysicalMb = toMb(availableKb);
    status.freeSwapMb = toMb(swapFreeKb);
    status.load = totalKb > 0 ? static_cast<int32_t>((totalKb - availableKb) * 100 / totalKb) : 0;
    return status;
}

} // namespace Tarnwick::SystemFacts
