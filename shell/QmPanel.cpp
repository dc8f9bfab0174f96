#include "shell/QmPanel.h"

#include "shell/mdiTarnwick.h"

QmPanel::QmPanel(QWidget* parent)
    : QWidget(parent)
{
    setMouseTracking(true);
}

void QmPanel::mouseMoveEvent(QMouseEvent* event)
{
    if (mdiTarnwick::exists())
        mdiTarnwick::instance()->SetStatusText(QStringLiteral("Ready"));
    QWidget::mouseMoveEvent(event);
}
