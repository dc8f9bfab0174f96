#pragma once

#include "engine/ITWVideoSurface.h"

#include <QWidget>

#include <chrono>
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
    QSize DisplaySize() const override;

    // The latest frame, as handed over (null when cleared).
    QImage Frame() const;
    // How many frames were handed over so far.
    int FramesPresented() const;

    // What the paint probe counts when QUILLMONT_PAINT_PROBE is set (all zero otherwise):
    // frames handed over, frames painted, those of them painted more than a frame's time
    // (40 ms at 25 fps) after they came, and those replaced before they were painted.
    struct PaintCounts
    {
        int presented = 0;
        int painted = 0;
        int late = 0;
        int skipped = 0;
        double slowestPaintMs = 0;
    };
    PaintCounts PaintProbe() const;
    // The counts as a line: "paint-probe <name> size <w>x<h> presented .. painted .. late ..
    // skipped .. slowest-paint-ms ..".
    QString PaintProbeLine() const;
    static bool PaintProbeOn();
    ~QmVideoSurface() override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    mutable std::mutex m_mutex;
    QImage m_frame;
    QRect m_area;
    int m_presented = 0;
    bool m_repaintQueued = false;
    // The probe: when the frame waiting to be painted came, if one waits.
    using Clock = std::chrono::steady_clock;
    Clock::time_point m_waitingSince;
    bool m_waiting = false;
    PaintCounts m_probe;
};
