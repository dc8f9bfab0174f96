#pragma once

#include <QDateTime>
#include <QString>

#include <cstdint>

// A file's length and time, raising the numbers the program's traps branch on:
// 52 for a name that cannot be a file's, 76 when its folder is missing, 53 when the
// file is.
namespace QmFiles {

int64_t FileLen(const QString& path);
QDateTime FileDateTime(const QString& path);

} // namespace QmFiles
