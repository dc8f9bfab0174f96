#include "core/QmPicture.h"

#include "core/QmColors.h"
#include "core/QmListView.h"

#include <QDropEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>

namespace {

QPen PenFor(int32_t color, int style)
{
    QPen pen(QmColors::ToQColor(color));
    pen.setWidth(0); // cosmetic: one pixel, whatever the transform
    if (style == QmPicture::Dot)
        pen.setDashPattern({1.0, 1.0});
    else if (style == QmPicture::Dash)
        pen.setDashPattern({4.0, 2.0});
    return pen;
}

} // namespace

QmPicture::QmPicture(QWidget* parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
}

QmPicture::~QmPicture() = default;

void QmPicture::SetBackColor(int32_t color)
{
    m_backColor = color;
    Cls();
}

void QmPicture::Cls()
{
    const QSize size = this->size().expandedTo(QSize(1, 1));
    if (m_image.size() != size)
        m_image = QImage(size, QImage::Format_RGB32);
    m_image.fill(QmColors::ToQColor(m_backColor));
    if (!m_picture.isNull()) {
        if (m_batch)
            m_batch->drawImage(0, 0, m_picture);
        else
            QPainter(&m_image).drawImage(0, 0, m_picture);
    }
    CurrentX = CurrentY = 0;
    update();
}

QImage& QmPicture::hDC()
{
    // A hidden box is not told of its new size until it shows: its drawing follows here.
    if (m_image.size() != size().expandedTo(QSize(1, 1)))
        FollowSize();
    return m_image;
}

void QmPicture::SetPicture(const QImage& picture)
{
    m_picture = picture;
    Cls();
}

QmPicture::Batch::Batch(QmPicture& picture)
    : m_picture(picture)
{
    if (!m_picture.m_batch)
        m_picture.m_batch = std::make_unique<QPainter>(&m_picture.m_image);
}

QmPicture::Batch::~Batch()
{
    m_picture.m_batch.reset();
    m_picture.update();
}

template <class Paint>
void QmPicture::Drawing(Paint&& paint)
{
    if (m_batch) {
        // Each call sets what it draws with, as on a painter of its own.
        m_batch->setBrush(Qt::NoBrush);
        paint(*m_batch);
        return;
    }
    QPainter painter(&m_image);
    paint(painter);
    update();
}

void QmPicture::Line(int x1, int y1, int x2, int y2)
{
    if (x1 == x2 && y1 == y2)
        return;
    // The last point is left out: shorten the line by one pixel along its longer axis.
    const int dx = x2 - x1, dy = y2 - y1;
    if (std::abs(dx) >= std::abs(dy))
        x2 -= dx > 0 ? 1 : -1, y2 = y1 + (dx ? dy * (x2 - x1) / dx : 0);
    else
        y2 -= dy > 0 ? 1 : -1, x2 = x1 + (dy ? dx * (y2 - y1) / dy : 0);
    Drawing([&](QPainter& painter) {
        painter.setPen(PenFor(ForeColor, DrawStyle));
        painter.drawLine(x1, y1, x2, y2);
    });
    CurrentX = x2;
    CurrentY = y2;
}

void QmPicture::DotPixels(const QRect& r)
{
    // Dots fall on a checkerboard that starts at the first corner, so that every edge
    // begins and each corner sits on a dot when the sides allow.
    const QRgb color = QmColors::ToQColor(ForeColor).rgb();
    const int parity = (r.left() + r.top()) & 1;
    const QRect inside = m_image.rect();
    auto dot = [&](int x, int y) {
        if (((x + y) & 1) == parity && inside.contains(x, y))
            m_image.setPixel(x, y, color);
    };
    for (int x = r.left(); x <= r.right(); ++x) {
        dot(x, r.top());
        dot(x, r.bottom());
    }
    for (int y = r.top(); y <= r.bottom(); ++y) {
        dot(r.left(), y);
        dot(r.right(), y);
    }
}

void QmPicture::Box(int x1, int y1, int x2, int y2)
{
    if (DrawStyle == Dot) {
        DotPixels(QRect(QPoint(x1, y1), QPoint(x2, y2)).normalized());
        if (!m_batch)
            update();
        return;
    }
    const QRect r = QRect(QPoint(x1, y1), QPoint(x2, y2)).normalized();
    Drawing([&](QPainter& painter) {
        painter.setPen(PenFor(ForeColor, DrawStyle));
        if (r.width() == 1 || r.height() == 1)
            painter.drawLine(r.topLeft(), r.bottomRight());
        else
            painter.drawRect(r.adjusted(0, 0, -1, -1)); // a stroked rectangle is one pixel larger
    });
}

void QmPicture::BoxFill(int x1, int y1, int x2, int y2)
{
    Drawing([&](QPainter& painter) {
        painter.fillRect(QRect(QPoint(x1, y1), QPoint(x2, y2)).normalized(), QmColors::ToQColor(ForeColor));
    });
}

void QmPicture::Print(const QString& text)
{
    const QFontMetrics metrics(font());
    Drawing([&](QPainter& painter) {
        painter.setFont(font());
        painter.setPen(QmColors::ToQColor(ForeColor));
        painter.drawText(CurrentX, CurrentY + metrics.ascent(), text);
    });
    CurrentX += metrics.horizontalAdvance(text);
}

int QmPicture::TextWidth(const QString& text) const
{
    return fontMetrics().horizontalAdvance(text);
}

int QmPicture::TextHeight(const QString& text) const
{
    Q_UNUSED(text);
    return fontMetrics().height();
}

void QmPicture::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.drawImage(0, 0, m_image);
    if (m_image.width() < width() || m_image.height() < height()) {
        painter.fillRect(QRect(m_image.width(), 0, width() - m_image.width(), height()),
                         QmColors::ToQColor(m_backColor));
        painter.fillRect(QRect(0, m_image.height(), width(), height() - m_image.height()),
                         QmColors::ToQColor(m_backColor));
    }
    // Where dragged rows would land: a frame over the drawing, which stays as it is.
    if (m_dropHighlight) {
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
        painter.drawRect(rect().adjusted(1, 1, -1, -1));
    }
}

void QmPicture::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    FollowSize();
    emit Resized();
}

void QmPicture::FollowSize()
{
    // What was drawn stays where it was; new room is back colour until the next redraw.
    QImage grown(size().expandedTo(QSize(1, 1)), QImage::Format_RGB32);
    grown.fill(QmColors::ToQColor(m_backColor));
    if (!m_image.isNull()) {
        QPainter painter(&grown);
        painter.drawImage(0, 0, m_image);
    }
    m_image = grown;
}

void QmPicture::mousePressEvent(QMouseEvent* event)
{
    const QPoint p = event->position().toPoint();
    emit MouseDown(event->button(), event->modifiers(), p.x(), p.y());
}

void QmPicture::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint p = event->position().toPoint();
    emit MouseMove(event->buttons(), event->modifiers(), p.x(), p.y());
}

void QmPicture::mouseReleaseEvent(QMouseEvent* event)
{
    const QPoint p = event->position().toPoint();
    emit MouseUp(event->button(), event->modifiers(), p.x(), p.y());
}

void QmPicture::keyPressEvent(QKeyEvent* event)
{
    // The picture's own keys stay with it: passed on, they would reach the container's
    // key handling as well, and one press would count twice.
    emit KeyDown(event->key(), event->modifiers());
    event->accept();
}

void QmPicture::SetDropHighlight(bool on)
{
    m_dropHighlight = on;
    update();
}

void QmPicture::dragEnterEvent(QDragEnterEvent* event)
{
    if (!event->mimeData()->hasFormat(QString::fromLatin1(QmListView::RowsMimeType)))
        return;
    event->acceptProposedAction();
    SetDropHighlight(true);
}

void QmPicture::dragLeaveEvent(QDragLeaveEvent*)
{
    SetDropHighlight(false);
}

void QmPicture::dropEvent(QDropEvent* event)
{
    SetDropHighlight(false);
    if (!event->mimeData()->hasFormat(QString::fromLatin1(QmListView::RowsMimeType)))
        return;
    event->acceptProposedAction();
    const QPoint p = event->position().toPoint();
    emit DragDrop(p.x(), p.y());
}
