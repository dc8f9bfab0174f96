#include "shell/QmPanel.h"

#include "shell/mdiTarnwick.h"

QmPanel::QmPanel(QWidget* parent)
    : QWidget(parent)
{
    setMouseTracking(true);
}

void QmPanel::mouseMoveEvent(QMouseEvent* event)
{
    mdiTarnwick::ShowStatus(QStringLiteral("Ready"));
    QWidget::mouseMoveEvent(event);
}
