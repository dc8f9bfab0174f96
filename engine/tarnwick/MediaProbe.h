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
    double duration = 0.0;  // seconds, never negative, within LongestMs
    double frameRate = 0.0; // 0 for a still image, or when the stream tells none
    bool still = false;
    // A still that only FFmpeg's image-sequence reader opens, by its name (JPEG, TGA);
    // others (BMP, GIF, PNG) are read by the reader their content names.
    bool imageSequence = false;
};

struct MediaFacts
{
    bool opened = false;
    QString formatName;
    std::vector<StreamFacts> streams; // video and audio only, in file order
    // A stream lasts longer than the engine counts in milliseconds: the file is refused.
    bool tooLong = false;
};

// A still image plays for this long on the timeline.
constexpr double StillImageSeconds = 5.0;
// The longest stream the engine takes: times are i32 milliseconds (24 days and a bit).
constexpr int64_t LongestMs = INT32_MAX;

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
//
// Lengths: a stream's length comes from the file's headers, but a header may say
// nothing or lie, and is checked against the file. Plain samples (WAV, AU, AIFF) last
// no longer than the bytes after the header. Otherwise, when the header says nothing or
// claims more time than the file has bytes for (under 1 KB a second), the packets are
// read from the start of the file, for at most a second and a half, and where their
// times end is the length (reckoned on from the share of the file read when the time
// runs out). A length past LongestMs marks the file tooLong.
//
// Frame rates: the stream's average rate; else the mean spacing of the time stamps of
// its first frames; else the rate FFmpeg took from the codec, unless that is only the
// container's clock tick (ASF counts in milliseconds, which is no frame rate); else 0.
// None of them counts at 1000 a second or more: that is a clock's rate, not frames'.
MediaFacts ProbeMedia(const QString& path);

// Tries whether the file can be rendered: it must be readable, of a media type FFmpeg
// recognises, and every one of its video and audio streams must decode a first frame.
//
// The rule for the result codes (ITWCoreRoot::GetFileError), by the fault and never by
// the file's extension, as FFmpeg's answers meet it:
// - empty path: InvalidArgument; no such file: NotFound (the program lets both pass);
// - the system refuses to read it: not a plain file (a folder, a device, a pipe), or
//   this user cannot open it or read its first bytes: CannotLoadSourceFilter;
// - no media type is recognised in its content (zero bytes, text, noise): UnknownFileType.
//   Types without a signature of their own (TGA) are known by their name only, and only
//   when the whole file then renders; anything less is not recognised either;
// - a recognised type whose header or data is broken (truncated, cut short, FFmpeg
//   failing with whatever error, no video or audio stream in it, nothing decoding
//   though decoders exist, a length past LongestMs): InvalidFileFormat;
// - no decoder for any of its streams, and a standard MIDI file, since Quillmont has no
//   synthesizer: UnsupportedStream;
// - some streams decode and others do not: VideoNotRendered when the failing streams
//   are all the video ones, AudioNotRendered when they are all the audio ones,
//   PartialSuccess otherwise.
int32_t CheckRenderable(const QString& path);

} // namespace Tarnwick
