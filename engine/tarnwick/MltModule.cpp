// The entry point MLT looks for in each module of its module folder: the module
// libmltquillmont enters Quillmont's services, so that MLT's own tools render a saved
// project as Quillmont does.
#include "engine/tarnwick/MltServices.h"

#include <framework/mlt.h>

extern "C" __attribute__((visibility("default"))) void mlt_register(mlt_repository repository)
{
    Tarnwick::MltServices::Register(repository);
}
