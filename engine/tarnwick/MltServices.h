#pragma once

namespace Mlt {
class Repository;
}

// Quillmont's own MLT services, registered in-process when MLT starts. They keep the
// timeline's pictures in the decoders' planar YUV 4:2:0 from file to encoder, where the
// stock keying and blending would turn every frame into RGBA and back.
//
// - producer "quillmont_black": black pictures, made in whichever of YUV 4:2:0, 4:2:2 or
//   RGBA is asked for.
// - filter "quillmont_fit": fits the picture, decoded at its own size, to the frame by
//   a stretch mode (property "mode", 0 to 3), scaling with FFmpeg in YUV 4:2:0.
// - filter "quillmont_key": makes the frame's alpha from its distance to a key colour
//   (properties "red", "green", "blue", 0 to 255, and "tolerance", 0 to 1 of the
//   greatest distance in RGB): transparent within it, opaque beyond.
// - transition "quillmont_over": lays the B frame over the A frame by the B frame's
//   alpha; a B frame without alpha covers A, and a gap in B leaves A as it is.
namespace Tarnwick::MltServices {

constexpr const char* BlackProducer = "quillmont_black";
constexpr const char* FitFilter = "quillmont_fit";
constexpr const char* KeyFilter = "quillmont_key";
constexpr const char* OverTransition = "quillmont_over";

void Register(Mlt::Repository& repository);

// The keying decision for one pixel, as the filter makes it (for tests).
bool IsKeyed(int y, int u, int v, int red, int green, int blue, double tolerance);

} // namespace Tarnwick::MltServices
