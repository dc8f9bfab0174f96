#include "core/QmDialogs.h"

#include "core/QmColors.h"
#include "core/QmError.h"
#include "core/QmModal.h"
#include "core/QmScript.h"

#include <QApplication>
#include <QColorDialog>
#include <QDesktopServices>
#include <QDialog>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontDialog>
#include <QUrl>

namespace QmDialogs {

namespace {

[[noreturn]] void Cancelled()
{
    throw QmError(QmErr::DialogCancelled, QStringLiteral("Cancel was selected."));
}

// What Quillmont's file dialogue hands back for the files chosen.
QString JoinChosen(const QStringList& paths)
{
    if (paths.size() == 1)
        return QDir::toNativeSeparators(paths.first());
    QString joined = QDir::toNativeSeparators(QFileInfo(paths.first()).absolutePath());
    for (const QString& path : paths)
        joined += QChar(u'\0') + QFileInfo(path).fileName();
    return joined;
}

FileResult CheckBuffer(const FileResult& result, const FileRequest& request)
{
    if (result.fileName.size() > request.maxFileSize)
        throw QmError(QmErr::BufferTooSmall, QStringLiteral("The file name buffer is too small."));
    return result;
}

FileResult RunFileDialog(const FileRequest& request, bool save)
{
    const QString kind = save ? QStringLiteral("save") : QStringLiteral("open");
    if (QmScript::Enabled()) {
        QVariant answer;
        if (!QmScript::Detail::NextDialogAnswer({kind, request.dialogTitle, request.filter, request.filterIndex,
                                                 request.flags},
                                                answer))
            Cancelled();
        return CheckBuffer(answer.value<FileResult>(), request);
    }

    QFileDialog dialog(QApplication::activeWindow(), request.dialogTitle);
    dialog.setOption(QFileDialog::HideNameFilterDetails);
    dialog.setAcceptMode(save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
    if (save)
        dialog.setFileMode(QFileDialog::AnyFile);
    else
        dialog.setFileMode((request.flags & Flag::AllowMultiSelect) ? QFileDialog::ExistingFiles
                                                                     : QFileDialog::ExistingFile);
    if (save && !(request.flags & Flag::OverwritePrompt))
        dialog.setOption(QFileDialog::DontConfirmOverwrite);
    const QStringList filters = QtFilters(request.filter);
    dialog.setNameFilters(filters);
    if (request.filterIndex >= 1 && request.filterIndex <= filters.size())
        dialog.selectNameFilter(filters[request.filterIndex - 1]);
    if (!request.initDir.isEmpty())
        dialog.setDirectory(request.initDir);
    if (!request.fileName.isEmpty())
        dialog.selectFile(request.fileName);
    if (!request.defaultExt.isEmpty())
        dialog.setDefaultSuffix(request.defaultExt);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        Cancelled();
    FileResult result;
    result.fileName = JoinChosen(dialog.selectedFiles());
    result.filterIndex = static_cast<int>(filters.indexOf(dialog.selectedNameFilter())) + 1;
    return CheckBuffer(result, request);
}

} // namespace

QStringList QtFilters(const QString& filter)
{
    QStringList result;
    const QStringList parts = filter.split(QLatin1Char('|'));
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QStringList patterns;
        for (const QString& pattern : parts[i + 1].split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
            const QString p = pattern.trimmed();
            patterns << p;
            if (p.toUpper() != p)
                patterns << p.toUpper();
        }
        // Qt reads the patterns from the last parentheses and, with
        // HideNameFilterDetails, shows the description without them.
        result << QStringLiteral("%1 (%2)").arg(parts[i], patterns.join(QLatin1Char(' ')));
    }
    return result;
}

FileResult ShowOpen(const FileRequest& request)
{
    return RunFileDialog(request, false);
}

FileResult ShowSave(const FileRequest& request)
{
    return RunFileDialog(request, true);
}

int32_t ShowColor(int32_t initial)
{
    if (QmScript::Enabled()) {
        QVariant answer;
        if (!QmScript::Detail::NextDialogAnswer({QStringLiteral("color"), {}, {}, 0, 0}, answer))
            Cancelled();
        return answer.toInt();
    }
    const QColor color = QColorDialog::getColor(QmColors::ToQColor(initial), QApplication::activeWindow());
    if (!color.isValid())
        Cancelled();
    return QmColors::FromQColor(color);
}

FontChoice ShowFont(const FontChoice& initial)
{
    if (QmScript::Enabled()) {
        QVariant answer;
        if (!QmScript::Detail::NextDialogAnswer({QStringLiteral("font"), {}, {}, 0, 0}, answer))
            Cancelled();
        return answer.value<FontChoice>();
    }
    QFont font(initial.name);
    font.setPointSizeF(initial.size > 0 ? initial.size : 10.0);
    font.setBold(initial.bold);
    font.setItalic(initial.italic);
    font.setUnderline(initial.underline);
    font.setStrikeOut(initial.strikethru);
    bool ok = false;
    const QFont chosen = QFontDialog::getFont(&ok, font, QApplication::activeWindow());
    if (!ok)
        Cancelled();
    FontChoice result = initial;
    result.name = chosen.family();
    result.size = chosen.pointSizeF();
    result.bold = chosen.bold();
    result.italic = chosen.italic();
    result.underline = chosen.underline();
    result.strikethru = chosen.strikeOut();
    return result;
}

QString BrowseForFolder(const QString& title, const QString& startFolder)
{
    QString folder;
    if (QmScript::Enabled()) {
        QVariant answer;
        if (!QmScript::Detail::NextDialogAnswer({QStringLiteral("folder"), title, {}, 0, 0}, answer))
            Cancelled();
        folder = answer.toString();
    } else {
        folder = QFileDialog::getExistingDirectory(QApplication::activeWindow(), title, startFolder);
        if (folder.isEmpty())
            Cancelled();
    }
    while (folder.size() > 1 && folder.endsWith(QLatin1Char('/')))
        folder.chop(1);
    return folder;
}

} // namespace QmDialogs

int QmModal::Exec(QDialog& dialog)
{
    if (QmScript::Enabled()) {
        std::function<void(QDialog&)> handler;
        dialog.setResult(QDialog::Rejected);
        if (QmScript::Detail::NextModalHandler(dialog.objectName(), handler))
            handler(dialog);
        return dialog.result();
    }
    return dialog.exec();
}

bool QmDesktop::Open(const QString& pathOrUrl)
{
    const QUrl url = QFileInfo::exists(pathOrUrl) ? QUrl::fromLocalFile(pathOrUrl) : QUrl(pathOrUrl);
    const bool opened = QmScript::Enabled() ? QmScript::Detail::RecordOpened(pathOrUrl) : QDesktopServices::openUrl(url);
    if (!opened) {
        // A desktop without a browser or player set up: say so, naming what was asked,
        // rather than doing nothing at all.
        const QString shown = url.isLocalFile() ? url.toLocalFile() : pathOrUrl;
        MsgBox(QStringLiteral("Quillmont cannot open \"%1\": no program on this desktop is set up to open it."
                              "\r\nPlease open it with a program of your choice.")
                   .arg(shown),
               QmMsgBox::Icon::Information);
    }
    return opened;
}
