#include "engine/CreateObject.h"

#include <vector>

namespace {

struct ClassEntry
{
    const char* name;
    EngineClassFactory make;
};

// Made on first use: implementations register from static initialisers, which may run
// before this file's own.
std::vector<ClassEntry>& Classes()
{
    static std::vector<ClassEntry> classes;
    return classes;
}

} // namespace

bool RegisterEngineClass(const char* name, EngineClassFactory make)
{
    Classes().push_back({name, make});
    return true;
}

std::shared_ptr<ITWObject> CreateObject(const QString& className)
{
    for (const ClassEntry& entry : Classes()) {
        if (className.compare(QLatin1String(entry.name), Qt::CaseInsensitive) == 0)
            return entry.make();
    }
    throw QmError(QmErr::CannotCreateObject, QStringLiteral("Can't create object %1").arg(className));
}
