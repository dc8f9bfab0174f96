#pragma once

#include <QString>
#include <QWidget>

#include <functional>

// An image box: a picture from an image list, by key, that the user can press.
// Pointer events come out as signals with the arguments Quillmont's forms take.
class QmImageBox : public QWidget
{
    Q_OBJECT

public:
    explicit QmImageBox(QWidget* parent = nullptr);

    // The picture by image list key ("LINK", "BOOKMARKSEL", ...); empty for none.
    void SetPicture(const QString& key);
    const QString& Picture() const { return m_key; }
    // What the box shows for the picture "BLANK": by default nothing; an option box shows
    // its own picture faintly, so that a box that is off still shows where it is and
    // what it does.
    void SetBlankShows(const QString& key);
    // Drawn by the owner instead of a picture (slider handles and lines).
    void SetPainter(std::function<void(QPainter&, const QRect&)> painter);

signals:
    void Click();
    void MouseDown(Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y);
    void MouseMove(Qt::MouseButtons buttons, Qt::KeyboardModifiers shift, int x, int y);
    void MouseUp(Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    QString m_key;
    QString m_blankShows;
    std::function<void(QPainter&, const QRect&)> m_painter;
};
