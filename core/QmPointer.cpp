#include "core/QmPointer.h"

#include <QApplication>

namespace QmPointer {

namespace {
bool shown = false;
}

void Hourglass()
{
    if (shown)
        return;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    shown = true;
}

void Normal()
{
    if (!shown)
        return;
    QApplication::restoreOverrideCursor();
    shown = false;
}

bool IsHourglass()
{
    return shown;
}

} // namespace QmPointer
