#include "core/QmImageBox.h"

#include "core/QmIcons.h"

#include <QMouseEvent>
#include <QPainter>

QmImageBox::QmImageBox(QWidget* parent)
    : QWidget(parent)
{
    setMouseTracking(true);
    setAttribute(Qt::WA_TranslucentBackground);
}

void QmImageBox::SetPicture(const QString& key)
{
    if (key == m_key)
        return;
    m_key = key;
    update();
}

void QmImageBox::SetBlankShows(const QString& key)
{
    m_blankShows = key;
    update();
}

void QmImageBox::SetPainter(std::function<void(QPainter&, const QRect&)> painter)
{
    m_painter = std::move(painter);
    update();
}

void QmImageBox::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (m_painter) {
        m_painter(painter, rect());
        return;
    }
    if (m_key == u"BLANK" && !m_blankShows.isEmpty()) {
        painter.setOpacity(0.28);
        QmIcon(m_blankShows).paint(&painter, rect());
    } else if (!m_key.isEmpty()) {
        QmIcon(m_key).paint(&painter, rect());
    }
}

void QmImageBox::mousePressEvent(QMouseEvent* event)
{
    const QPoint p = event->position().toPoint();
    emit MouseDown(event->button(), event->modifiers(), p.x(), p.y());
}

void QmImageBox::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint p = event->position().toPoint();
    emit MouseMove(event->buttons(), event->modifiers(), p.x(), p.y());
}

void QmImageBox::mouseReleaseEvent(QMouseEvent* event)
{
    const QPoint p = event->position().toPoint();
    emit MouseUp(event->button(), event->modifiers(), p.x(), p.y());
    if (event->button() == Qt::LeftButton && rect().contains(p))
        emit Click();
}
