#include "preview/frmPreview.h"

frmPreview::frmPreview()
{
    setObjectName(QStringLiteral("frmPreview"));
    setWindowTitle(QStringLiteral("Preview"));
}
