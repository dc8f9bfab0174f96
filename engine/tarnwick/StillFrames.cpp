#include "engine/tarnwick/StillFrames.h"

#include "engine/tarnwick/MltPlayer.h"

#include <Mlt.h>

#include <QPainter>
#include <QSaveFile>

#include <algorithm>
#include <cmath>

namespace Tarnwick {

QImage StreamFrame(const StreamSource& source, double seconds)
{
    if (!source.facts || !source.facts->isVideo || !(seconds >= 0.0))
        return {};
    const StreamFacts& facts = *source.facts;
    const int32_t at = static_cast<int32_t>(std::lround(std::min(seconds, 1e6) * 1000.0));
    // A still lasts as long as it is asked to; a stream its own length.
    const int32_t length = facts.still ? at + 1000 : static_cast<int32_t>(std::lround(facts.duration * 1000.0));
    if (at >= length)
        return {};

    // The stream alone on a video track, stretched over a frame of its own size.
    TimelineModel model;
    Track& track = model.CreateTrack(1, true);
    SourceItem piece;
    piece.stream = 1;
    piece.stop = piece.mediaStop = length;
    track.sources.push_back(piece);
    Mlt::Profile profile;
    SetGraphProfile(profile, facts.width > 0 ? facts.width : 320, facts.height > 0 ? facts.height : 240);
    std::unique_ptr<Mlt::Tractor> graph =
        BuildTimelineGraph(profile, model, [&source](int32_t) { return source; });
    if (!graph)
        return {};
    graph->seek(MsToFrame(at));
    std::unique_ptr<Mlt::Frame> frame(graph->get_frame());
    return frame ? FrameImage(*frame, profile) : QImage();
}

QImage FileFrame(const QString& path, double seconds)
{
    const MediaFacts facts = ProbeMedia(path);
    const auto video = std::find_if(facts.streams.begin(), facts.streams.end(),
                                    [](const StreamFacts& s) { return s.isVideo; });
    if (!facts.opened || video == facts.streams.end())
        return {};
    return StreamFrame({path, &*video}, seconds);
}

void DrawInto(QImage& dc, const QImage& picture, int width, int height)
{
    if (picture.isNull() || width <= 0 || height <= 0)
        return;
    if (dc.isNull()) {
        dc = QImage(width, height, QImage::Format_RGB32);
        dc.fill(Qt::black);
    }
    QPainter painter(&dc);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRect(0, 0, width, height), picture);
}

QRgb PixelNear(const QImage& picture, int x, int y)
{
    if (picture.isNull())
        return qRgb(0, 0, 0);
    return picture.pixel(std::clamp(x, 0, picture.width() - 1), std::clamp(y, 0, picture.height() - 1));
}

bool WriteBitmap(const QImage& picture, const QString& path, int width, int height)
{
    if (picture.isNull() || width <= 0 || height <= 0 || path.isEmpty())
        return false;
    // Qt writes 24 bits a pixel for a picture without a palette; what lies outside the
    // picture is black.
    const QImage bitmap = picture.copy(0, 0, width, height).convertToFormat(QImage::Format_RGB32);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    if (!bitmap.save(&file, "BMP")) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

} // namespace Tarnwick
