#include "shell/QmPanel.h"

#include "core/QmStatus.h"

QmPanel::QmPanel(QWidget* parent)
    : QWidget(parent)
{
    setMouseTracking(true);
}

void QmPanel::mouseMoveEvent(QMouseEvent* event)
{
    QmStatus::Show(QStringLiteral("Ready"));
    QWidget::mouseMoveEvent(event);
}
