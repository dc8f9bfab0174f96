#pragma once

#include <QString>

#include <cstdint>
#include <vector>

// What the engine learns of a media file with FFmpeg: its video and audio streams
// and their particulars, and whether it can be rendered.
namespace Tarnwick {

struct StreamFacts
{
    bool isVideo = false;
    bool isAudio = false;
    int containerIndex = -1; // the stream's index inside the file
    int32_t width = 0;
    int32_t height = 0;
    int32_t sampleRate = 0;
    int32_t channels = 0;
    double duration = 0.0;  // seconds
    double frameRate = 0.0; // 0 for a still image
    bool still = false;
};

struct MediaFacts
{
    bool opened = false;
    QString formatName;
    std::vector<StreamFacts> streams; // video and audio only, in file order
};

// A still image plays for this long on the timeline.
constexpr double StillImageSeconds = 5.0;

// Result codes of the media list's table, as the engine answers GetFileError.
namespace ResultCode {
constexpr int32_t Ok = 0;
constexpr int32_t NotFound = static_cast<int32_t>(0x80040216u);
constexpr int32_t InvalidArgument = static_cast<int32_t>(0x80070057u);
constexpr int32_t InvalidFileFormat = static_cast<int32_t>(0x8004022Fu);
constexpr int32_t UnknownFileType = static_cast<int32_t>(0x80040240u);
constexpr int32_t CannotLoadSourceFilter = static_cast<int32_t>(0x80040241u);
constexpr int32_t UnsupportedStream = static_cast<int32_t>(0x80040265u);
constexpr int32_t PartialSuccess = 0x00040242;
constexpr int32_t VideoNotRendered = 0x00040257;
constexpr int32_t AudioNotRendered = 0x00040258;
} // namespace ResultCode

// Opens the file and reads its streams; opened is false when FFmpeg cannot read it.
MediaFacts ProbeMedia(const QString& path);

// Tries whether the file can be rendered: it must be found, recognised, read, and
// every one of its video and audio streams must decode a first frame.
//
// How FFmpeg's answers map to the codes:
// - empty path: InvalidArgument; no such file: NotFound (the program lets both pass);
// - neither the content nor the name's extension is of a known type (noise under a
//   name like .wmv, whose type FFmpeg knows by content only): UnknownFileType;
// - a standard MIDI file: UnsupportedStream, since Quillmont has no synthesizer;
// - a file of a known type, by content or by extension, whose header cannot be read
//   (truncated, zero bytes, text named .avi): InvalidFileFormat;
// - a file that cannot be read at all (permissions, I/O errors): CannotLoadSourceFilter;
// - no video or audio stream, or none of them decodes: UnsupportedStream;
// - some streams decode and others do not: VideoNotRendered when the failing
//   streams are all the video ones, AudioNotRendered when they are all the audio
//   ones, PartialSuccess otherwise.
int32_t CheckRenderable(const QString& path);

} // namespace Tarnwick
