#pragma once

#include <QWidget>

// What the four panels of the main window share: the hint "Ready" in the status bar
// when the pointer is over the panel itself. Their window frames belong to mdiTarnwick.
class QmPanel : public QWidget
{
    Q_OBJECT

public:
    explicit QmPanel(QWidget* parent = nullptr);

protected:
    void mouseMoveEvent(QMouseEvent* event) override;
};
