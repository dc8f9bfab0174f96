#pragma once

#include "engine/ITWVideoSurface.h"

#include <QWidget>

#include <mutex>

// A surface for the engine's players: it keeps the latest frame handed to it, from
// whatever thread, and paints it fitted into the video window, black around it.
// Whoever gave it to a player takes it back before it is destroyed.
class QmVideoSurface : public QWidget, public ITWVideoSurface
{
    Q_OBJECT

public:
    explicit QmVideoSurface(QWidget* parent = nullptr);

    void PresentFrame(const QImage& frame, const QRect& area) override;
    void ClearFrame() override;

    // The latest frame, as handed over (null when cleared).
    QImage Frame() const;
    // How many frames were handed over so far.
    int FramesPresented() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    mutable std::mutex m_mutex;
    QImage m_frame;
    QRect m_area;
    int m_presented = 0;
    bool m_repaintQueued = false;
};
