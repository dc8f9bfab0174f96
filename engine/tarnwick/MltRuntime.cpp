#include "engine/tarnwick/MltRuntime.h"

#include <Mlt.h>

#include <cstdlib>
#include <memory>
#include <mutex>

namespace Tarnwick::MltRuntime {

namespace {

bool Has(Mlt::Properties* services, const char* name)
{
    std::unique_ptr<Mlt::Properties> owned(services);
    return owned && owned->property_exists(name);
}

bool StartOnce()
{
    // Debian's MLT carries modules built on Qt 5; they must never load into
    // Quillmont's Qt 6 process.
    setenv("MLT_REPOSITORY_DENY", "libmltqt:libmltglaxnimate", 1);
    mlt_log_set_level(MLT_LOG_QUIET);
    Mlt::Repository* repository = Mlt::Factory::init();
    if (!repository)
        return false;
    return Has(repository->producers(), "avformat") && Has(repository->consumers(), "avformat");
}

} // namespace

bool Start()
{
    static std::once_flag once;
    static bool started = false;
    std::call_once(once, [] { started = StartOnce(); });
    return started;
}

} // namespace Tarnwick::MltRuntime
