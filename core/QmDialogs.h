#pragma once

#include <QFont>
#include <QMetaType>
#include <QString>

#include <cstdint>

// Every open, save, colour, font and folder dialogue of Quillmont goes through these.
// Cancel raises error 32755; when scripted (QmScript) they answer from the script.
namespace QmDialogs {

// Flags of the file dialogues, added up as Quillmont's callers pass them.
namespace Flag {
constexpr int32_t OverwritePrompt = 0x2;
constexpr int32_t HideReadOnly = 0x4;
constexpr int32_t AllowMultiSelect = 0x200;
constexpr int32_t PathMustExist = 0x800;
constexpr int32_t FileMustExist = 0x1000;
constexpr int32_t Explorer = 0x80000;
} // namespace Flag

struct FileRequest
{
    QString dialogTitle;
    // "Description|*.a;*.b|Description|*.c", as Quillmont writes filters.
    QString filter;
    int filterIndex = 1; // 1-based
    QString initDir;
    QString fileName;
    QString defaultExt;
    int32_t flags = 0;
    // The name buffer: a result longer than this raises error 20476.
    int maxFileSize = 260;
};

struct FileResult
{
    // One chosen file: its path. Several: the folder, then each name, NUL separated.
    QString fileName;
    int filterIndex = 1;
};

struct FontChoice
{
    QString name;
    double size = 10.0;
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool strikethru = false;
    int32_t color = 0; // 0x00BBGGRR
};

FileResult ShowOpen(const FileRequest& request);
FileResult ShowSave(const FileRequest& request);
// A colour 0x00BBGGRR.
int32_t ShowColor(int32_t initial);
FontChoice ShowFont(const FontChoice& initial);
// A folder, without a trailing separator.
QString BrowseForFolder(const QString& title, const QString& startFolder);

// Qt's filter list for a filter written Quillmont's way; each description keeps its
// text, and its patterns match in either case.
QStringList QtFilters(const QString& filter);

} // namespace QmDialogs

Q_DECLARE_METATYPE(QmDialogs::FileResult)
Q_DECLARE_METATYPE(QmDialogs::FontChoice)
