#pragma once

#include <QDate>
#include <QString>

#include <cstdint>

class QComboBox;

// Time and size as the texts the user reads, and file name work. Every text of a time
// or a file size in Quillmont comes from here.
namespace moduleUtilities {

struct TimeType
{
    int16_t Hour = 0;
    int16_t Minute = 0;
    int16_t Second = 0;
    int16_t Millisecond = 0;
    bool operator==(const TimeType&) const = default;
};

// Flags of CopyFileWithShell; ResetFileOpFlags sets them before every copy.
inline bool FileOpNoConfirmation = false;
inline bool FileOpNoConfirmMkDir = false;
inline bool FileOpRenameOnCollision = true;
inline bool FileOpSilent = false;
inline bool FileOpSimpleProgress = false;

// Broken down in 16 bits: 32,768,000 ms and more overflow and give four zeros.
TimeType MilliSecondsToTimetype(int32_t ms);
// "0:01:01.250"
QString MilliSecondsToTimetypeAsString(int32_t ms);
// "0:01:01", the milliseconds dropped.
QString MilliSecondsToTimetypeAsString2(int32_t ms);
// "1023.00 Bytes", "1.50 KB", "12.00 MB"; empty from a gigabyte on.
QString FileSizeUnitConversion(int64_t bytes);
// The part after the last "/", NUL fill dropped. A path without "/" is a fault the
// routine's trap reports.
QString ExtractFileName(const QString& path);
// The name with what follows its last "." replaced; a name without "." is kept.
QString ChangeExtension(const QString& name, const QString& ext);
bool IsInCombo(const QComboBox* combo, const QString& text);
// Chooses the entry of exactly that text, if the box has it; true when it did.
bool ChooseInCombo(QComboBox* combo, const QString& text);
// The temporary folder, without a trailing "/".
QString GetTempFolder();
// A date written month/day/year.
QDate GetDateLocalFormat(const QString& date);
// Copies a file; onto an existing name it copies under a free one ("name (2).ext").
// A folder as the target copies into it. Large files show their progress.
void CopyFileWithShell(const QString& from, const QString& to);
void ResetFileOpFlags();

// The free name CopyFileWithShell would use for target.
QString FreeCopyName(const QString& target);

} // namespace moduleUtilities
