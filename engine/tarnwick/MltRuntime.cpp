#include "engine/tarnwick/MltRuntime.h"

#include "engine/tarnwick/MltServices.h"

#include <Mlt.h>

#include <SDL.h>
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

// Whether SDL can open a sound device here. Without one, SDL's dummy driver still keeps
// time, so pictures play at their pace in silence.
bool SoundDeviceOpens()
{
    if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0)
        return false;
    SDL_AudioSpec want{};
    SDL_AudioSpec have{};
    want.freq = 48000;
    want.format = AUDIO_S16SYS;
    want.channels = 2;
    want.samples = 1024;
    const SDL_AudioDeviceID device = SDL_OpenAudioDevice(nullptr, 0, &want, &have, 0);
    if (device != 0)
        SDL_CloseAudioDevice(device);
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
    return device != 0;
}

bool StartOnce()
{
    // Debian's MLT carries modules built on Qt 5, which must never load into
    // Quillmont's Qt 6 process, and others Quillmont does not use.
    setenv("MLT_REPOSITORY_DENY",
           "libmltqt:libmltglaxnimate:libmltjackrack:libmltmovit:libmltopencv:libmltvidstab:libmltrubberband:"
           "libmltsox:libmltxine:libmltdecklink:libmltgdk:libmltkdenlive:libmltrtaudio:libmltsdl:libmltoldfilm:"
           "libmltvorbis:libmltnormalize",
           1);
    if (!SoundDeviceOpens())
        setenv("SDL_AUDIODRIVER", "dummy", 1);
    mlt_log_set_level(MLT_LOG_QUIET);
    Mlt::Repository* repository = Mlt::Factory::init();
    if (!repository)
        return false;
    MltServices::Register(mlt_factory_repository());
    MltServices::RegisterVideoProducer(mlt_factory_repository());
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
