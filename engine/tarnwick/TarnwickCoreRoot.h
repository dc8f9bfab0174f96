#pragma once

#include "engine/ITWCoreRoot.h"

struct TarnwickState;

// The engine's root: media files by handle, and what the program asks of the machine.
class TarnwickCoreRoot final : public ITWCoreRoot
{
public:
    explicit TarnwickCoreRoot(TarnwickState& state);

    int32_t OpenFile(const QString& path) override;
    bool CloseFile(int32_t file) override;
    bool GetFileName(int32_t file, int32_t size, QString& name) override;
    int32_t GetFirstStream(int32_t file) override;
    bool FileExists(const QString& path) override;
    bool DeleteFile(const QString& path) override;
    bool ReleaseStillSource(int32_t handle) override;
    QString GetWorkingFolder(int32_t size) override;
    void GetFileVersionInfo(const QString& fileName, int32_t& major, int32_t& minor, int32_t& build,
                            int32_t& revision) override;
    void GetMemoryStatus(int32_t& load, int32_t& totalPhysical, int32_t& freePhysical, int32_t& freeSwap) override;
    QString GetSystemVersion(int32_t size) override;
    bool CheckDirectShowVersion() override;
    int32_t GetFileError(const QString& path) override;

private:
    TarnwickState& m_state;
};
