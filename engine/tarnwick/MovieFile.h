#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <cstdint>
#include <map>

// A finished movie read back: whether it holds what the save asked for, and its
// descriptive fields written in.
namespace Tarnwick::MovieFile {

// What a save asked of its file. An empty codec: no such stream.
struct Expected
{
    QString videoCodec; // FFmpeg encoder names
    QString audioCodec;
    int width = 0;
    int height = 0;
    int32_t frames = 0;
    double frameRate = 0.0;
    int32_t lengthMs = 0;
    int sampleRate = 0;
    int channels = 0;
    // The sound compressor's frame, in ms: the last one is filled up with silence.
    double soundFrameMs = 0.0;
};

// Where the file differs from what was asked, one sentence each; empty when it does not.
// Its length is its pictures', or without pictures its sound's; either may exceed the
// stretch by a picture, or by a frame of the sound compressor.
// A stop set from another thread ends the reading early, with what was found so far.
QStringList Differences(const QString& path, const Expected& expected, const std::atomic<bool>* stop = nullptr);

// The container's short name ("avi", "asf"), empty when the file cannot be read.
QString Container(const QString& path);

// The fields a container carries: title, author, rating, copyright, description.
struct Fields
{
    QString title, author, rating, copyright, description;
    bool Empty() const;
};

// Writes the fields (those not empty) into an AVI file's INFO list or an ASF file's
// content description. The file is copied with the fields into a new file beside it,
// which then takes its name, so that a failure leaves the movie as it was.
bool WriteFields(const QString& path, const Fields& fields, QString* error);

} // namespace Tarnwick::MovieFile
