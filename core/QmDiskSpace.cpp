#include "core/QmDiskSpace.h"

#include <QFileInfo>
#include <QStorageInfo>

#include <algorithm>

namespace QmDiskSpace {

namespace {

int64_t SystemFreeBytes(const QString& path)
{
    // A file not written yet is asked about by its folder.
    const QFileInfo file(path);
    const QStorageInfo volume(file.exists() ? file.absoluteFilePath() : file.absolutePath());
    return volume.isValid() && volume.isReady() ? std::max<int64_t>(0, volume.bytesAvailable()) : 0;
}

Source& Current()
{
    static Source source = SystemFreeBytes;
    return source;
}

} // namespace

int64_t FreeBytes(const QString& path)
{
    return Current()(path);
}

void SetSource(Source source)
{
    Current() = source ? std::move(source) : Source(SystemFreeBytes);
}

} // namespace QmDiskSpace
