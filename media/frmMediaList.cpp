#include "media/frmMediaList.h"

frmMediaList::frmMediaList()
{
    setObjectName(QStringLiteral("frmMediaList"));
    setWindowTitle(QStringLiteral("Media List - Project: Untitled"));
}
