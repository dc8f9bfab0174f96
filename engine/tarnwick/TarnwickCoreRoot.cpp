#include "engine/tarnwick/TarnwickCoreRoot.h"

#include "engine/tarnwick/MltRuntime.h"
#include "engine/tarnwick/SystemFacts.h"
#include "engine/tarnwick/TarnwickState.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QStandardPaths>

using namespace Tarnwick;

TarnwickCoreRoot::TarnwickCoreRoot(TarnwickState& state)
    : m_state(state)
{
}

int32_t TarnwickCoreRoot::OpenFile(const QString& path)
{
    MediaFacts facts = ProbeMedia(path);
    // A file without a video or audio stream has nothing to put in the media list, and
    // one longer than the engine counts would have its times wrap.
    if (!facts.opened || facts.streams.empty() || facts.tooLong)
        return 0;
    const int32_t handle = m_state.NewHandle();
    m_state.files.emplace(handle, TarnwickState::FileRecord{path, std::move(facts), true});
    return handle;
}

bool TarnwickCoreRoot::CloseFile(int32_t file)
{
    auto it = m_state.files.find(file);
    if (it == m_state.files.end() || !it->second.open)
        return false;
    it->second.open = false;
    m_state.DropFileIfDone(file);
    return true;
}

bool TarnwickCoreRoot::GetFileName(int32_t file, int32_t size, QString& name)
{
    auto it = m_state.files.find(file);
    if (it == m_state.files.end())
        return false;
    name = CutToBuffer(it->second.path, size);
    return true;
}

int32_t TarnwickCoreRoot::GetFirstStream(int32_t file)
{
    return m_state.FirstStream(file);
}

bool TarnwickCoreRoot::FileExists(const QString& path)
{
    return !path.isEmpty() && QFileInfo::exists(path);
}

bool TarnwickCoreRoot::DeleteFile(const QString& path)
{
    return path.isEmpty() || !QFileInfo::exists(path) || QFile::remove(path);
}

bool TarnwickCoreRoot::ReleaseStillSource(int32_t handle)
{
    return m_state.stillSources.erase(handle) > 0;
}

QString TarnwickCoreRoot::GetWorkingFolder(int32_t size)
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        folder = QDir::homePath();
    return CutToBuffer(QDir::toNativeSeparators(folder), size);
}

void TarnwickCoreRoot::GetFileVersionInfo(const QString& fileName, int32_t& major, int32_t& minor, int32_t& build,
                                          int32_t& revision)
{
    const ComponentVersion version = SystemFacts::VersionOf(fileName);
    major = version.major;
    minor = version.minor;
    build = version.build;
    revision = version.revision;
}

void TarnwickCoreRoot::GetMemoryStatus(int32_t& load, int32_t& totalPhysical, int32_t& freePhysical,
                                       int32_t& freeSwap)
{
    const MemoryStatus status = SystemFacts::Memory();
    load = status.load;
    totalPhysical = status.totalPhysicalMb;
    freePhysical = status.freePhysicalMb;
    freeSwap = status.freeSwapMb;
}

QString TarnwickCoreRoot::GetSystemVersion(int32_t size)
{
    return CutToBuffer(QLocale::system().name(), size);
}

bool TarnwickCoreRoot::CheckDirectShowVersion()
{
    return MltRuntime::ModulesLoad();
}

int32_t TarnwickCoreRoot::GetFileError(const QString& path)
{
    return CheckRenderable(path);
}
