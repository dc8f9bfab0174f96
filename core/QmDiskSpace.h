#pragma once

#include <QString>

#include <cstdint>
#include <functional>

// The free space of the volume that holds a path, as long work that writes to it checks
// it. Tests put a source of their own in place of the system's.
namespace QmDiskSpace {

// Free bytes for path; 0 when the volume cannot be asked.
using Source = std::function<int64_t(const QString& path)>;

int64_t FreeBytes(const QString& path);
// Replaces the source; an empty one puts the system's back.
void SetSource(Source source);

} // namespace QmDiskSpace
