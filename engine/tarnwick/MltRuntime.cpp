#include "engine/tarnwick/MltRuntime.h"

#include <Mlt.h>

#include <dlfcn.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>

namespace Tarnwick::MltRuntime {

namespace {

bool Has(Mlt::Properties* services, const char* name)
{
    std::unique_ptr<Mlt::Properties> owned(services);
    return owned && owned->property_exists(name);
}

std::string ModuleFolder()
{
    // MLT itself looks in MLT_REPOSITORY first.
    const char* overridden = std::getenv("MLT_REPOSITORY");
    return overridden && *overridden ? overridden : QM_MLT_MODULEDIR;
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

bool ModulesLoad()
{
    for (const char* module : {"libmltcore.so", "libmltavformat.so"}) {
        const std::string path = ModuleFolder() + "/" + module;
        // Kept loaded: MLT opens the same files when it starts.
        void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
        if (!handle || !dlsym(handle, "mlt_register"))
            return false;
    }
    return true;
}

bool Start()
{
    static std::once_flag once;
    static bool started = false;
    std::call_once(once, [] { started = StartOnce(); });
    return started;
}

} // namespace Tarnwick::MltRuntime
