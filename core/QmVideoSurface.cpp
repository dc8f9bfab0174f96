#include "core/QmVideoSurface.h"

#include <QMetaObject>
#include <QPainter>

QmVideoSurface::QmVideoSurface(QWidget* parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void QmVideoSurface::PresentFrame(const QImage& frame, const QRect& area)
{
    std::lock_guard lock(m_mutex);
    m_frame = frame;
    m_area = area;
    ++m_presented;
    // One repaint waiting is enough, however many frames arrive meanwhile.
    if (!m_repaintQueued) {
        m_repaintQueued = true;
        QMetaObject::invokeMethod(this, qOverload<>(&QWidget::update), Qt::QueuedConnection);
    }
}

void QmVideoSurface::ClearFrame()
{
    {
        std::lock_guard lock(m_mutex);
        m_frame = QImage();
    }
    update();
}

QImage QmVideoSurface::Frame() const
{
    std::lock_guard lock(m_mutex);
    return m_frame;
}

int QmVideoSurface::FramesPresented() const
{
    std::lock_guard lock(m_mutex);
    return m_presented;
}

void QmVideoSurface::paintEvent(QPaintEvent*)
{
    QImage frame;
    QRect area;
    {
        std::lock_guard lock(m_mutex);
        frame = m_frame;
        area = m_area.isNull() ? rect() : m_area;
        m_repaintQueued = false;
    }
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (frame.isNull() || area.isEmpty())
        return;
    const QSize fitted = frame.size().scaled(area.size(), Qt::KeepAspectRatio);
    const QRect target(area.x() + (area.width() - fitted.width()) / 2, area.y() + (area.height() - fitted.height()) / 2,
                       fitted.width(), fitted.height());
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, frame);
}
