#include "media/moduleTarnwick.h"

#include "core/QmShared.h"
#include "core/QmTrap.h"

using namespace QmShared;

namespace moduleTarnwick {

bool Init()
{
    return QmTrap::Value<bool>(QStringLiteral("moduleTarnwick"), QStringLiteral("Init"), false, [] {
        FileCollection.Clear();
        StreamCollection.Clear();
        TrackCollection.Clear();
        return true;
    });
}

} // namespace moduleTarnwick
