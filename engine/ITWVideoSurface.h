#pragma once

#include <QImage>
#include <QRect>

// Where a player of the engine shows its pictures: the program gives the player a
// surface, and the player hands it each frame as it is due, from any thread.
class ITWVideoSurface
{
public:
    virtual ~ITWVideoSurface() = default;

    // A frame to show in area (the video window; the whole surface when null). The
    // surface keeps its own copy and repaints on its own thread.
    virtual void PresentFrame(const QImage& frame, const QRect& area) = 0;
    // Nothing to show.
    virtual void ClearFrame() = 0;
    // The size, in pixels of the screen, that frames are shown at; empty when it is not
    // known. A player playing renders its frames no larger, so that a large project is
    // not made at full size only to be shrunk on the screen.
    virtual QSize DisplaySize() const { return {}; }
};
