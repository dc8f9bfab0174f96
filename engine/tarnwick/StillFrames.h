#pragma once

#include "engine/tarnwick/TimelineGraph.h"

#include <QImage>
#include <QString>

// Single pictures for the dialogues that show, pick from and write still frames: a
// stream's frame as the timeline's graph renders it, drawn into a dialogue's picture,
// read back pixel by pixel, and written as a Windows bitmap.
namespace Tarnwick {

// The frame of a stream at a time within it, at the stream's own size, rendered by the
// graph of a timeline that holds the stream alone, so that a still shows here as it
// shows on the timeline. Null when the stream has no picture there: not a video stream,
// or the time lies before 0 or past its end (a still has a picture at any time).
QImage StreamFrame(const StreamSource& source, double seconds);

// The first video stream of a file at a time, the same way.
QImage FileFrame(const QString& path, double seconds);

// picture drawn into dc at its top left, scaled to width x height; a null dc becomes a
// black picture of that size first. A null picture draws nothing.
void DrawInto(QImage& dc, const QImage& picture, int width, int height);

// The pixel at x, y of a picture, or of its nearest edge for a point outside it; black
// for a null picture.
QRgb PixelNear(const QImage& picture, int x, int y);

// The top left width x height of a picture as a 24-bit Windows bitmap at path, written to
// a new file that is then renamed over the old one. False when nothing was written.
bool WriteBitmap(const QImage& picture, const QString& path, int width, int height);

} // namespace Tarnwick
