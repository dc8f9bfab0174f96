#pragma once

#include <QString>

#include <cstdint>

// Facts about the machine that go into Quillmont's error reports.
namespace Tarnwick {

struct ComponentVersion
{
    int32_t major = 0;
    int32_t minor = 0;
    int32_t build = 0;
    int32_t revision = 0;
};

struct MemoryStatus
{
    int32_t load = 0; // per cent of physical memory in use
    int32_t totalPhysicalMb = 0;
    int32_t freePhysicalMb = 0;
    int32_t freeSwapMb = 0;
};

namespace SystemFacts {

// The version of a shared library loaded in this process, from the numbers of its
// file name (libQt6Widgets.so.6.4.2 gives 6, 4, 2, 0). The error report asks by the
// names of three components of another system: "mscomctl.ocx" answers with Qt's
// version, "comdlg32.ocx" with MLT's and "msxml.dll" with FFmpeg's (libavformat),
// the libraries Quillmont stands on. Zeros when unknown.
ComponentVersion VersionOf(const QString& fileName);

MemoryStatus Memory();

} // namespace SystemFacts
} // namespace Tarnwick
