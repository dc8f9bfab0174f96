#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace Mlt {
class Producer;
class Profile;
} // namespace Mlt

struct mlt_profile_s;
struct mlt_properties_s;
struct mlt_repository_s;

// Quillmont's own MLT services. They keep the timeline's pictures in the decoders'
// planar YUV 4:2:0 from file to encoder, where the stock keying and blending would turn
// every frame into RGBA and back. The engine registers them in its own process when MLT
// starts; the same source, built as the MLT module libmltquillmont, lets MLT's own tools
// (melt) render a saved project wherever that module is installed. Nothing here uses Qt.
//
// - producer "quillmont_track": a track of pieces at given frames, gaps between them,
//   found by position in logarithmic time. Each piece is a stretch of a file's producer,
//   fitted to the frame by a stretch mode (the picture decoded at its own size, scaled
//   with FFmpeg in YUV 4:2:0) and, on the overlay, keyed: its alpha made from the
//   distance to a key colour, transparent within a tolerance (0 to 1 of the greatest
//   distance in RGB). MLT's own playlist works out its whole length again at every piece
//   appended, and a filter object per piece costs as much again, which a timeline of a
//   few thousand pieces cannot afford. The track is described by plain properties (see
//   TrackProperties), so that MLT's XML can carry it; made in the engine's process it is
//   handed the producers its pieces are cut from, elsewhere it opens them itself.
// - producer "quillmont_black": black pictures, made in whichever of YUV 4:2:0, 4:2:2 or
//   RGBA is asked for.
// - transition "quillmont_over": lays the B frame over the A frame by the B frame's
//   alpha; a B frame without alpha covers A, and a gap in B leaves A as it is.
namespace Tarnwick::MltServices {

constexpr const char* TrackProducer = "quillmont_track";
constexpr const char* BlackProducer = "quillmont_black";
constexpr const char* OverTransition = "quillmont_over";

// Enters the three services, with their metadata, in a repository: the engine's when MLT
// starts in its process, MLT's own when MLT loads the module.
void Register(mlt_repository_s* repository);

// What a track's pieces are cut from: one stream of a file, for its pictures (on the
// video track or the overlay) or its sound, at a speed.
struct SourceSpec
{
    enum class Role { Video, Overlay, Sound };

    std::string path;
    int containerIndex = -1; // the stream's index inside the file
    Role role = Role::Video;
    double speed = 1.0;
    bool still = false;

    bool Pictures() const { return role != Role::Sound; }
    auto Key() const { return std::tie(containerIndex, role, speed, still, path); }
    bool operator<(const SourceSpec& other) const { return Key() < other.Key(); }
    bool operator==(const SourceSpec& other) const { return Key() == other.Key(); }
};

// The producer a source opens as: pictures skip MLT's normalising filters (the fit step
// sizes them, and they stay in the decoder's YUV 4:2:0 unless a step asks otherwise,
// which the converter attached then answers); a still lasts as long as the timeline asks
// of it. Null when MLT cannot open it.
std::unique_ptr<Mlt::Producer> OpenSource(mlt_profile_s* profile, const SourceSpec& source);

// A piece of a track: frames in.. of source number source shown from frame first for
// length frames (fewer where the source ends sooner), fitted by a stretch mode (0 to 3;
// -1 as it comes), keyed when keyed.
struct TrackPiece
{
    int32_t first = 0;
    int32_t length = 0;
    int source = 0;
    int32_t in = 0;
    int fitMode = -1;
    bool keyed = false;
    int keyRed = 0, keyGreen = 0, keyBlue = 0;
    double keyTolerance = 0.0;

    bool operator==(const TrackPiece&) const = default;
};

// A track of pieces in order of first frame, not overlapping, lasting frames frames;
// gaps give blank frames as a playlist's do.
struct TrackSpec
{
    std::vector<SourceSpec> sources;
    std::vector<TrackPiece> pieces;
    int32_t frames = 1;
};

// The track's properties as MLT's XML carries them, besides mlt_service, length, in and
// out: "sources" (the count), "source.N" (the path), "source.N.form" (role, stream index,
// speed and still), and "pieces" (one group of numbers per piece).
std::vector<std::pair<std::string, std::string>> TrackProperties(const TrackSpec& track);
// The other way, from a producer's properties; false when they do not describe a track.
bool TrackFromProperties(mlt_properties_s* properties, TrackSpec& track);

// The track in this process, cut from producers (one per source, null for one that did
// not open).
std::unique_ptr<Mlt::Producer> MakeTrack(Mlt::Profile& profile, const TrackSpec& track,
                                         const std::vector<Mlt::Producer*>& producers);

// The keying decision for one pixel, as the filter makes it (for tests).
bool IsKeyed(int y, int u, int v, int red, int green, int blue, double tolerance);

} // namespace Tarnwick::MltServices
