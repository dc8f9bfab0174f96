#pragma once

#include "engine/ITWObject.h"

class ITWVideoSurface;
class QImage;

// The player of the timeline as it stands: the engine's graph of it, its pictures on a
// surface and its sound to the desktop. Positions and lengths are milliseconds.
class ITWPreview : public ITWObject
{
public:
    virtual void SetOwnerWindow(ITWVideoSurface* surface) = 0;
    // Makes the player over the present timeline.
    virtual bool BuildPreview() = 0;
    virtual void ClosePreview() = 0;
    // False when the player must be made again (the frame size changed since).
    virtual bool IsPreviewValid() = 0;
    virtual bool Play() = 0;
    virtual bool Pause() = 0;
    // Puts the player in the stopped state, at the position last sought.
    virtual bool Stop() = 0;
    // A timeline position; below 0 counts as 0. While not playing, the frame there is shown.
    virtual bool Seek(int32_t position) = 0;
    // Takes in the changed timeline, keeping the position and whether it plays.
    virtual bool RefreshPreview() = 0;
    // Ends playback at the position last sought.
    virtual bool Halt() = 0;
    virtual int32_t GetDuration() = 0;
    virtual int32_t GetPosition() = 0;

    // Still frames, for the key colour, text and snap dialogues. A "device context" is
    // the picture a dialogue draws on: what the engine draws goes into it at its top
    // left, scaled to width x height, and a null picture becomes one of that size.
    //
    // The colour of the pixel at x, y of a picture; a point outside it reads the nearest
    // edge pixel, so that a dropper dragged past the picture keeps picking.
    virtual void GetFramePixel(const QImage& dc, int32_t x, int32_t y, int32_t& red, int32_t& green,
                               int32_t& blue) = 0;
    // The frame of a movie file's first video stream at a time. Where the file has no
    // frame there (none at all, or the time lies past its end) the picture is left as
    // it is.
    virtual void DrawSnapFrame(const QString& path, double seconds, QImage& dc, int32_t width, int32_t height) = 0;
    // The frame of an open stream at a time within the stream, the same way.
    virtual void DrawKeyFrame(int32_t stream, double seconds, QImage& dc, int32_t width, int32_t height) = 0;
    // The top left width x height of a picture written to path as a 24-bit Windows
    // bitmap, through a new file renamed over the old one; false when it could not be
    // written.
    virtual bool SaveSnapFrame(const QImage& dc, const QString& path, int32_t width, int32_t height) = 0;

    // The volume, -100 (silent) to 0 (full).
    virtual void SetVolume(int32_t level) = 0;
};
