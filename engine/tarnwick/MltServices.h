#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace Mlt {
class Producer;
class Profile;
class Repository;
} // namespace Mlt

// Quillmont's own MLT services, registered in-process when MLT starts. They keep the
// timeline's pictures in the decoders' planar YUV 4:2:0 from file to encoder, where the
// stock keying and blending would turn every frame into RGBA and back.
//
// - producer "quillmont_track": a track of pieces at given frames, gaps between them,
//   found by position in logarithmic time; made by MakeTrack. Each piece is a stretch of
//   a file's producer, fitted to the frame by a stretch mode (the picture decoded at its
//   own size, scaled with FFmpeg in YUV 4:2:0) and, on the overlay, keyed: its alpha
//   made from the distance to a key colour, transparent within a tolerance (0 to 1 of
//   the greatest distance in RGB). MLT's own playlist works out its whole length again
//   at every piece appended, and a filter object per piece costs as much again, which a
//   timeline of a few thousand pieces cannot afford.
// - producer "quillmont_black": black pictures, made in whichever of YUV 4:2:0, 4:2:2 or
//   RGBA is asked for.
// - transition "quillmont_over": lays the B frame over the A frame by the B frame's
//   alpha; a B frame without alpha covers A, and a gap in B leaves A as it is.
namespace Tarnwick::MltServices {

constexpr const char* TrackProducer = "quillmont_track";
constexpr const char* BlackProducer = "quillmont_black";
constexpr const char* OverTransition = "quillmont_over";

void Register(Mlt::Repository& repository);

// A piece of a track: frames in.. of a producer shown from frame first for length
// frames, fitted by a stretch mode (0 to 3; -1 as it comes), keyed when keyed.
struct TrackPiece
{
    int32_t first = 0;
    int32_t length = 0;
    Mlt::Producer* producer = nullptr; // the track keeps a reference of its own
    int32_t in = 0;
    // A still: each of its frames is the picture at in, whatever the frame.
    bool still = false;
    int fitMode = -1;
    bool keyed = false;
    int keyRed = 0, keyGreen = 0, keyBlue = 0;
    double keyTolerance = 0.0;
};

// A track of pieces in order of first frame, not overlapping, lasting frames frames;
// gaps give blank frames as a playlist's do.
std::unique_ptr<Mlt::Producer> MakeTrack(Mlt::Profile& profile, std::vector<TrackPiece> pieces, int32_t frames);

// The keying decision for one pixel, as the filter makes it (for tests).
bool IsKeyed(int y, int u, int v, int red, int green, int blue, double tolerance);

} // namespace Tarnwick::MltServices
