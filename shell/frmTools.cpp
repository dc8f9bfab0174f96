#include "shell/frmTools.h"

frmTools::frmTools()
{
    setObjectName(QStringLiteral("frmTools"));
    setWindowTitle(QStringLiteral("Tools"));
}
