#pragma once

#include "core/QmColors.h"

#include <QImage>
#include <QWidget>

#include <cstdint>
#include <memory>

class QPainter;

// A picture box: a surface that keeps what is drawn on it until it is cleared, with
// Quillmont's drawing in pixels. Boxes and fills include both corners; a line
// leaves out its last point. Colours are 0x00BBGGRR (system colours allowed).
// Pointer and key events come out as signals with the arguments Quillmont's forms take.
class QmPicture : public QWidget
{
    Q_OBJECT

public:
    enum DrawStyle { Solid = 0, Dash = 1, Dot = 2 };

    explicit QmPicture(QWidget* parent = nullptr);
    ~QmPicture() override;

    int ScaleWidth() const { return width(); }
    int ScaleHeight() const { return height(); }

    int32_t BackColor() const { return m_backColor; }
    void SetBackColor(int32_t color);
    int32_t ForeColor = 0;
    int DrawStyle = Solid;
    int CurrentX = 0;
    int CurrentY = 0;

    // Fills the whole surface with the back colour.
    void Cls();
    void Line(int x1, int y1, int x2, int y2);
    void Box(int x1, int y1, int x2, int y2);
    void BoxFill(int x1, int y1, int x2, int y2);
    // While a batch is open, the drawing calls share one painter and the box is shown
    // again once, as the batch closes: a row of hundreds of items draws many times
    // faster. The box is not cleared while one is open.
    class Batch
    {
    public:
        explicit Batch(QmPicture& picture);
        ~Batch();
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;

    private:
        QmPicture& m_picture;
    };
    // Prints text with its top left at CurrentX, CurrentY, in the fore colour.
    void Print(const QString& text);
    int TextWidth(const QString& text) const;
    int TextHeight(const QString& text = QStringLiteral("Ag")) const;

    const QImage& Image() const { return m_image; }
    // The drawing itself at the box's size, for the engine to draw into (a
    // device context); Refresh shows what was drawn.
    QImage& hDC();
    void Refresh() { update(); }
    // A picture beneath the drawing, at the top left: clearing fills the back colour and
    // puts it back. A null picture for none.
    void SetPicture(const QImage& picture);
    const QImage& Picture() const { return m_picture; }
    // True while rows of a list are dragged over the picture.
    bool DropHighlighted() const { return m_dropHighlight; }

signals:
    void MouseDown(Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y);
    void MouseMove(Qt::MouseButtons buttons, Qt::KeyboardModifiers shift, int x, int y);
    void MouseUp(Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y);
    void KeyDown(int key, Qt::KeyboardModifiers shift);
    // Rows of a list (QmListView::RowsMimeType) were dropped at x, y; taken only while
    // the picture accepts drops.
    void DragDrop(int x, int y);
    void Resized();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void DotPixels(const QRect& r);
    void FollowSize();
    void SetDropHighlight(bool on);

    QImage m_image;
    QImage m_picture;
    int32_t m_backColor = QmColors::ButtonFace;
    bool m_dropHighlight = false;
    // The painter of an open batch; null when none is open.
    std::unique_ptr<QPainter> m_batch;
    // Draws through the batch's painter, or through one of its own and shows the box.
    template <class Paint>
    void Drawing(Paint&& paint);
};
