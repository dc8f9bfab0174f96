#include "core/QmVideoSurface.h"

#include <QMetaObject>
#include <QPainter>

#include <algorithm>
#include <cstdio>

namespace {

// A frame later than this after it came is late: one frame's time at 25 fps.
constexpr auto kFrameTime = std::chrono::milliseconds(40);

} // namespace

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
    if (PaintProbeOn()) {
        ++m_probe.presented;
        if (m_waiting)
            ++m_probe.skipped;
        m_waiting = true;
        m_waitingSince = Clock::now();
    }
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

QSize QmVideoSurface::DisplaySize() const
{
    std::lock_guard lock(m_mutex);
    return (m_area.isNull() ? size() : m_area.size()) * devicePixelRatio();
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

bool QmVideoSurface::PaintProbeOn()
{
    static const bool on = qEnvironmentVariableIsSet("QUILLMONT_PAINT_PROBE");
    return on;
}

QmVideoSurface::~QmVideoSurface()
{
    if (PaintProbeOn()) {
        std::printf("%s\n", qPrintable(PaintProbeLine()));
        std::fflush(stdout);
    }
}

QmVideoSurface::PaintCounts QmVideoSurface::PaintProbe() const
{
    std::lock_guard lock(m_mutex);
    return m_probe;
}

QString QmVideoSurface::PaintProbeLine() const
{
    const PaintCounts c = PaintProbe();
    return QStringLiteral("paint-probe %1 size %7x%8 presented %2 painted %3 late %4 skipped %5 slowest-paint-ms %6")
        .arg(objectName())
        .arg(c.presented)
        .arg(c.painted)
        .arg(c.late)
        .arg(c.skipped)
        .arg(c.slowestPaintMs, 0, 'f', 1)
        .arg(width())
        .arg(height());
}

void QmVideoSurface::paintEvent(QPaintEvent*)
{
    const auto began = Clock::now();
    QImage frame;
    QRect area;
    bool probed = false;
    Clock::time_point came;
    {
        std::lock_guard lock(m_mutex);
        frame = m_frame;
        area = m_area.isNull() ? rect() : m_area;
        m_repaintQueued = false;
        probed = m_waiting;
        came = m_waitingSince;
        m_waiting = false;
    }
    // The frame counts as painted once it is drawn, however this paint ends.
    struct Count
    {
        QmVideoSurface* surface;
        bool probed;
        Clock::time_point came, began;
        ~Count()
        {
            if (!probed)
                return;
            const auto now = Clock::now();
            std::lock_guard lock(surface->m_mutex);
            ++surface->m_probe.painted;
            if (now - came > kFrameTime)
                ++surface->m_probe.late;
            surface->m_probe.slowestPaintMs = std::max(
                surface->m_probe.slowestPaintMs, std::chrono::duration<double, std::milli>(now - began).count());
        }
    } count{this, probed, came, began};
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
