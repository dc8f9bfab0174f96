#include "core/moduleUtilities.h"

#include "core/QmError.h"
#include "core/QmNumbers.h"
#include "core/QmScript.h"
#include "core/QmTrap.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProgressDialog>

namespace moduleUtilities {

namespace {

const QString kModule = QStringLiteral("moduleUtilities");

// Writes value with at least width digits, as the formats "0", "00" and "000" do:
// no allocation beyond the text itself.
void AppendPadded(QString& text, int value, int width)
{
    if (value < 0) {
        text += u'-';
        value = -value;
    }
    char digits[12];
    int n = 0;
    do {
        digits[n++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value > 0);
    for (int i = n; i < width; ++i)
        text += u'0';
    while (n > 0)
        text += QLatin1Char(digits[--n]);
}

// "H:MM:SS", and ".mmm" behind it when asked.
QString TimeText(int32_t ms, bool withMilliseconds)
{
    const TimeType t = MilliSecondsToTimetype(ms);
    QString text;
    text.reserve(16);
    AppendPadded(text, t.Hour, 1);
    text += u':';
    AppendPadded(text, t.Minute, 2);
    text += u':';
    AppendPadded(text, t.Second, 2);
    if (withMilliseconds) {
        text += u'.';
        AppendPadded(text, t.Millisecond, 3);
    }
    return text;
}

// A trap that turns the overflow into the routine's own text.
QString TimeTextTrapped(const QString& function, int32_t ms, bool withMilliseconds, const QString& onOverflow)
{
    QString text;
    QmTrap::Run(kModule, function, [&] { text = TimeText(ms, withMilliseconds); },
                [&](const QmError& e) {
                    if (e.Number() != QmErr::Overflow)
                        return false;
                    text = onOverflow;
                    return true;
                });
    return text;
}

int16_t Int16Part(double value)
{
    return QmNumbers::ToInt16(static_cast<int64_t>(QmNumbers::IntPart(value)));
}

} // namespace

TimeType MilliSecondsToTimetype(int32_t ms)
{
    TimeType time;
    try {
        const int16_t seconds = Int16Part(ms / 1000.0);
        time.Millisecond = static_cast<int16_t>(ms % 1000);
        const int16_t minutes = Int16Part(seconds / 60.0);
        time.Second = static_cast<int16_t>(seconds % 60);
        time.Hour = Int16Part(minutes / 60.0);
        time.Minute = static_cast<int16_t>(minutes % 60);
    } catch (const QmError& e) {
        if (e.Number() != QmErr::Overflow)
            throw;
        return TimeType(); // the overflow is silent: four zeros
    }
    return time;
}

QString MilliSecondsToTimetypeAsString(int32_t ms)
{
    // The colon before the milliseconds of the overflow text is Quillmont's own, kept.
    return TimeTextTrapped(QStringLiteral("MilliSecondsToTimetypeAsString"), ms, true,
                           QStringLiteral("0:00:00:000"));
}

QString MilliSecondsToTimetypeAsString2(int32_t ms)
{
    return TimeTextTrapped(QStringLiteral("MilliSecondsToTimetypeAsString2"), ms, false, QStringLiteral("0:00:00"));
}

QString FileSizeUnitConversion(int64_t bytes)
{
    // There is no gigabyte branch: from 1,073,741,824 on the text is empty.
    if (bytes < 1024)
        return QmNumbers::Format(static_cast<double>(bytes), u"#.00") + QStringLiteral(" Bytes");
    if (bytes < 1048576)
        return QmNumbers::Format(bytes / 1024.0, u"#.00") + QStringLiteral(" KB");
    if (bytes < 1073741824)
        return QmNumbers::Format(bytes / 1048576.0, u"#.00") + QStringLiteral(" MB");
    return QString();
}

QString ExtractFileName(const QString& path)
{
    QString name;
    QmTrap::Run(kModule, QStringLiteral("ExtractFileName"), [&] {
        if (path.isEmpty())
            return;
        for (qsizetype i = path.size() - 1;; --i) {
            if (i < 0) // ran off the start: the path had no folder
                throw QmError(QmErr::IllegalCall, QStringLiteral("Invalid procedure call or argument"));
            const QChar c = path[i];
            if (c == u'/')
                break;
            if (c != QChar(u'\0'))
                name.prepend(c);
        }
    });
    return name;
}

QString ChangeExtension(const QString& name, const QString& ext)
{
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot < 0 ? name : name.left(dot + 1) + ext;
}

bool IsInCombo(const QComboBox* combo, const QString& text)
{
    for (int i = 0; i < combo->count(); ++i) {
        if (combo->itemText(i) == text)
            return true;
    }
    return false;
}

bool ChooseInCombo(QComboBox* combo, const QString& text)
{
    const int index = combo->findText(text, Qt::MatchExactly);
    if (index >= 0)
        combo->setCurrentIndex(index);
    return index >= 0;
}

QString GetTempFolder()
{
    QString folder = QDir::tempPath();
    while (folder.size() > 1 && folder.endsWith(u'/'))
        folder.chop(1);
    return folder;
}

QDate GetDateLocalFormat(const QString& date)
{
    QDate result;
    QmTrap::Run(kModule, QStringLiteral("GetDateLocalFormat"), [&] {
        const QStringList parts = date.trimmed().split(u'/');
        bool okMonth = false, okDay = false, okYear = false;
        if (parts.size() == 3)
            result = QDate(parts[2].toInt(&okYear), parts[0].toInt(&okMonth), parts[1].toInt(&okDay));
        if (!okMonth || !okDay || !okYear || !result.isValid())
            throw QmError(QmErr::TypeMismatch, QStringLiteral("Type mismatch"));
    });
    return result;
}

void ResetFileOpFlags()
{
    FileOpNoConfirmation = false;
    FileOpNoConfirmMkDir = false;
    FileOpRenameOnCollision = true;
    FileOpSilent = false;
    FileOpSimpleProgress = false;
}

QString FreeCopyName(const QString& target)
{
    if (!QFileInfo::exists(target))
        return target;
    const QFileInfo info(target);
    const QString base = info.completeBaseName();
    const QString suffix = info.suffix().isEmpty() ? QString() : QStringLiteral(".") + info.suffix();
    for (int n = 2;; ++n) {
        const QString candidate = info.dir().filePath(QStringLiteral("%1 (%2)%3").arg(base).arg(n).arg(suffix));
        if (!QFileInfo::exists(candidate))
            return candidate;
    }
}

void CopyFileWithShell(const QString& from, const QString& to)
{
    QmTrap::Run(kModule, QStringLiteral("CopyFileWithShell"), [&] {
        ResetFileOpFlags();
        QString target = QFileInfo(to).isDir() ? QDir(to).filePath(QFileInfo(from).fileName()) : to;
        if (FileOpRenameOnCollision)
            target = FreeCopyName(target);

        QFile source(from);
        if (!source.open(QIODevice::ReadOnly))
            throw QmError(QmErr::FileNotFound, QStringLiteral("File not found: %1").arg(from));
        QFile destination(target);
        if (!destination.open(QIODevice::WriteOnly))
            throw QmError(QmErr::PathFileAccess, QStringLiteral("Path/File access error: %1").arg(target));

        // Captured movies run to gigabytes: those show their progress, as the shell would.
        constexpr qint64 kChunk = 4 << 20;
        const qint64 total = source.size();
        std::unique_ptr<QProgressDialog> progress;
        if (!FileOpSilent && total > 8 * kChunk && !QmScript::Enabled() && qobject_cast<QApplication*>(qApp)) {
            progress = std::make_unique<QProgressDialog>(QStringLiteral("Copying %1...").arg(QFileInfo(from).fileName()),
                                                         QStringLiteral("Cancel"), 0, 1000,
                                                         QApplication::activeWindow());
            progress->setWindowTitle(QStringLiteral("Quillmont"));
            progress->setWindowModality(Qt::WindowModal);
            progress->setMinimumDuration(300);
        }
        qint64 copied = 0;
        while (!source.atEnd()) {
            const QByteArray chunk = source.read(kChunk);
            if (chunk.isEmpty() && source.error() != QFile::NoError)
                break;
            if (destination.write(chunk) != chunk.size())
                break;
            copied += chunk.size();
            if (progress) {
                progress->setValue(static_cast<int>(copied * 1000 / total));
                if (progress->wasCanceled())
                    break;
            }
        }
        if (copied != total || !destination.flush()) {
            destination.remove();
            throw QmError(QmErr::PathFileAccess, QStringLiteral("Path/File access error: %1").arg(target));
        }
    });
}

} // namespace moduleUtilities
