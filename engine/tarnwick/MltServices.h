#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace Mlt {
class Filter;
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
// - filter "quillmont_effects": a lane of effects on a layer in one filter object. Each
//   frame goes through the effects whose range holds it, in the lane's order, as
//   though each were attached with its range; an effect's own filter is made when a
//   frame first needs it. Thousands of attached filters would cost their making,
//   attaching and closing at every rebuild, and a look through all of them per frame.
namespace Tarnwick::MltServices {

constexpr const char* TrackProducer = "quillmont_track";
constexpr const char* BlackProducer = "quillmont_black";
constexpr const char* OverTransition = "quillmont_over";
constexpr const char* EffectsFilter = "quillmont_effects";

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

// An effect's range of frames on its layer, as a filter's in and out.
struct EffectRange
{
    int32_t in = 0;
    int32_t out = 0;
};

// Makes effect index's filter (the index in the ranges given), its in and out set to its
// range; null when there is none to make.
using EffectMaker = std::function<std::unique_ptr<Mlt::Filter>(size_t index)>;

// The lane's filter, to attach to the layer; null when MLT will not make it.
std::unique_ptr<Mlt::Filter> MakeEffects(Mlt::Profile& profile, std::vector<EffectRange> ranges, EffectMaker make);

// The keying decision for one pixel, as the filter makes it (for tests).
bool IsKeyed(int y, int u, int v, int red, int green, int blue, double tolerance);

} // namespace Tarnwick::MltServices
