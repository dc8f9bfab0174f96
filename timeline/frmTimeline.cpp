#include "timeline/frmTimeline.h"

#include "timeline/moduleTimeline.h"

frmTimeline::frmTimeline()
{
    setObjectName(QStringLiteral("frmTimeline"));
    setWindowTitle(QStringLiteral("Timeline"));
}

void frmTimeline::Load()
{
    if (m_loaded)
        return;
    m_loaded = true;
    moduleTimeline::InitTimeline();
}
