#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

struct mlt_frame_s;
struct mlt_producer_s;
struct mlt_profile_s;

namespace Mlt {
class Filter;
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
// - filter "quillmont_effects": a lane of effects on a layer in one filter object. Each
//   frame goes through the effects whose range holds it, in the lane's order, as
//   though each were attached with its range; an effect's own filter is made when a
//   frame first needs it. Thousands of attached filters would cost their making,
//   attaching and closing at every rebuild, and a look through all of them per frame.
//   Only the engine hands a lane its effects (MakeEffects): a saved project holds the
//   same effects as filters attached by their ranges, which MLT applies alike.
// - filter "quillmont_pixelate": each block of the picture its mean colour, the blocks
//   a share of the picture's size ("block_width", "block_height", 0 to 1), in YUV 4:2:0
//   where frei0r's would take the picture to RGBA and back.
//
// And in the engine's process only:
// - producer "quillmont_video" (VideoProducer.cpp): the pictures of one video stream of
//   a file ("video_index", the container's index), decoded in order with "threads"
//   decoder threads and handed on in YUV 4:2:0 as decoded, without MLT's scaler and
//   cache; for graphs that are rendered once from start to end.
namespace Tarnwick::MltServices {

constexpr const char* TrackProducer = "quillmont_track";
constexpr const char* VideoProducer = "quillmont_video";
constexpr const char* PixelateFilter = "quillmont_pixelate";
constexpr const char* BlackProducer = "quillmont_black";
constexpr const char* OverTransition = "quillmont_over";
constexpr const char* EffectsFilter = "quillmont_effects";

// Enters the five services, with their metadata, in a repository: the engine's when MLT
// starts in its process, MLT's own when MLT loads the module.
void Register(mlt_repository_s* repository);
// Enters "quillmont_video" in the engine's repository.
void RegisterVideoProducer(mlt_repository_s* repository);

// For the services' own sources: a producer of MLT's, with its get_frame, that
// Quillmont frees once MLT has closed it.
mlt_producer_s* NewProducer(mlt_profile_s* profile, int (*getFrame)(mlt_producer_s*, mlt_frame_s**, int));

// What a track's pieces are cut from: one stream of a file, for its pictures (on the
// video track or the overlay) or its sound, at a speed, lasting as long as the engine
// found it to last.
struct SourceSpec
{
    enum class Role { Video, Overlay, Sound };

    std::string path;
    int containerIndex = -1; // the stream's index inside the file
    Role role = Role::Video;
    double speed = 1.0;
    // A still: every frame of a piece of it is its one picture.
    bool still = false;
    // A still that FFmpeg reads as an image sequence (see StillResource).
    bool sequence = false;
    // The producer's length at its speed: the engine's facts, which may be less than a
    // lying header claims, or more than a header without a length lets MLT see; a
    // still's is as long as any timeline. 0 leaves MLT's own.
    int32_t frames = 0;

    bool Pictures() const { return role != Role::Sound; }
    auto Key() const { return std::tie(containerIndex, role, speed, still, sequence, frames, path); }
    bool operator<(const SourceSpec& other) const { return Key() < other.Key(); }
    bool operator==(const SourceSpec& other) const { return Key() == other.Key(); }
};

// The resource of a still of path for MLT's avformat producer: read by the reader
// FFmpeg names for it (the image-sequence reader has no GIF decoder, for one), and able
// to give its picture at every frame asked for. An image sequence hands its one picture
// out once, and MLT seeks before it decodes: looped, the picture stays.
std::string StillResource(const std::string& path, bool sequence);

// The producer a source opens as: pictures skip MLT's normalising filters (the fit step
// sizes them, and they stay in the decoder's YUV 4:2:0 unless a step asks otherwise,
// which the converter attached then answers); it lasts its frames. Null when MLT cannot
// open it.
std::unique_ptr<Mlt::Producer> OpenSource(mlt_profile_s* profile, const SourceSpec& source);
// The same pictures by "quillmont_video", for a graph rendered once from start to end; a
// source of pictures at its own speed only. Null when it cannot open it.
std::unique_ptr<Mlt::Producer> OpenSequential(mlt_profile_s* profile, const SourceSpec& source);

// A piece of a track: frames in.. of source number source shown from frame first for
// length frames (fewer where the source ends sooner; every one the picture at in when
// the source is a still), fitted by a stretch mode (0 to 3; -1 as it comes), keyed when
// keyed.
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
// speed, still, image sequence and length in frames), and "pieces" (one group of numbers
// per piece).
std::vector<std::pair<std::string, std::string>> TrackProperties(const TrackSpec& track);
// The other way, from a producer's properties; false when they do not describe a track.
bool TrackFromProperties(mlt_properties_s* properties, TrackSpec& track);

// The track in this process, cut from producers (one per source, null for one that did
// not open).
std::unique_ptr<Mlt::Producer> MakeTrack(Mlt::Profile& profile, const TrackSpec& track,
                                         const std::vector<Mlt::Producer*>& producers);

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
// The alpha the filter makes of a YUV 4:2:0 picture (for tests): 0 keyed, 255 not.
void KeyPicture(const uint8_t* image, int width, int height, int red, int green, int blue, double tolerance,
                uint8_t* alpha);

} // namespace Tarnwick::MltServices
