#include "engine/CreateObject.h"

#include "engine/tarnwick/TarnwickTimeline.h"

#include <functional>
#include <utility>

namespace {

struct ClassEntry
{
    const char* name;
    std::shared_ptr<ITWObject> (*make)();
};

const ClassEntry kClasses[] = {
    {"TWCore.TarnwickTimeline", [] { return std::shared_ptr<ITWObject>(std::make_shared<TarnwickTimeline>()); }},
};

} // namespace

std::shared_ptr<ITWObject> CreateObject(const QString& className)
{
    for (const ClassEntry& entry : kClasses) {
        if (className.compare(QLatin1String(entry.name), Qt::CaseInsensitive) == 0)
            return entry.make();
    }
    throw QmError(QmErr::CannotCreateObject, QStringLiteral("Can't create object %1").arg(className));
}
