#pragma once

#include "engine/ITWObject.h"

// Saving the timeline as a movie: which tracks, which range, the compression, and the
// run, which goes on by itself after StartSave while the program polls it. The settings
// stay in the engine until ResetSave. Times are milliseconds; -1 for a rate, quality or
// dimension means the engine's default.
//
// AVI files take one of the listed compressors for the pictures and one for the sound;
// Windows Media files (ASF: WMV pictures, WMA sound) follow a profile of ITWProfiles:
// the video profile when a video track is saved, the audio profile otherwise.
class ITWSave : public ITWObject
{
public:
    // The save states GetSaveState answers; only Complete is 1 by contract.
    enum SaveState : int32_t { Idle = 0, Complete = 1, Running = 2, Failed = 3, Stopped = 4 };

    virtual bool AddSaveTrack(int32_t track) = 0;
    // Builds the AVI output for the present settings and creates the file. False when a
    // compressor refuses them (or there is nothing to save); no file is left then.
    virtual bool PrepareAviFile(const QString& path) = 0;
    // The same for a Windows Media file with the present profiles.
    virtual bool PrepareWindowsMediaFile(const QString& path) = 0;
    // Releases the save, stopping it first. A prepared save that never started leaves
    // no file behind.
    virtual void CloseSave() = 0;
    // Starts the prepared save on a thread of its own and returns at once.
    virtual bool StartSave() = 0;
    // Runs the prepared save on the calling thread and returns when it is done.
    virtual void RunSaveToEnd() = 0;
    // Stops a running save; the movie is finished where it stopped, and stays. A second
    // call does nothing.
    virtual bool StopSave() = 0;
    virtual int32_t GetSaveDuration() = 0;
    virtual int32_t GetSavePosition() = 0;
    virtual int32_t GetSaveState() = 0;

    virtual bool OpenVideoCompressorList() = 0;
    virtual bool OpenAudioCompressorList() = 0;
    // The readable name at index from 0; empty after the last.
    virtual QString GetVideoCompressorName(int16_t index, int32_t size) = 0;
    virtual QString GetAudioCompressorName(int16_t index, int32_t size) = 0;
    virtual void CloseVideoCompressorList() = 0;
    virtual void CloseAudioCompressorList() = 0;
    // A name of the lists, or "Uncompressed".
    virtual void SetVideoCompressor(const QString& name) = 0;
    virtual void SetAudioCompressor(const QString& name) = 0;
    // The list index of the video compressor set last: "Uncompressed" stands after the
    // listed ones; -1 for a name the engine does not know.
    virtual int32_t GetVideoCompressorIndex() = 0;
    virtual bool CanSetKeyFrameRate(int32_t index) = 0;
    virtual bool CanSetPFrameFrequency(int32_t index) = 0;
    virtual bool CanSetQuality(int32_t index) = 0;
    // Frames a second.
    virtual void SetFrameRate(int32_t value) = 0;
    // A key frame every so many frames.
    virtual void SetKeyFrameRate(int32_t value) = 0;
    // Predicted frames between two key frames; the rest are bidirectional ones.
    virtual void SetPFrameFrequency(int32_t value) = 0;
    // 0 (smallest file) to 100 (best picture).
    virtual void SetQuality(int32_t value) = 0;
    virtual int16_t GetFrameRate() = 0;
    virtual int16_t GetKeyFrameRate() = 0;
    virtual int16_t GetPFrameFrequency() = 0;
    virtual int16_t GetQuality() = 0;
    virtual void ResetSave() = 0;
    virtual void SetSaveRange(int32_t start, int32_t stop) = 0;
    virtual void SetSaveWholeTimeline(bool whole) = 0;
    virtual void SetSaveEffects(bool include) = 0;
    // The size of an AVI save: the one set, else the timeline's frame size.
    virtual int16_t GetVideoWidth() = 0;
    virtual int16_t GetVideoHeight() = 0;
    virtual void SetVideoSize(int32_t width, int32_t height) = 0;
    // The size of a Windows Media save; without it, the profile's.
    virtual void SetWindowsMediaVideoSize(int16_t width, int16_t height) = 0;
    virtual void SetVideoProfile(const QString& name) = 0;
    virtual QString GetVideoProfile(int32_t size) = 0;
    virtual void SetAudioProfile(const QString& name) = 0;
    virtual QString GetAudioProfile(int32_t size) = 0;

    // A finished movie's descriptive fields: false when its container carries none.
    virtual bool OpenMetadata(const QString& path) = 0;
    virtual void SetTitle(const QString& text) = 0;
    virtual void SetAuthor(const QString& text) = 0;
    virtual void SetRating(const QString& text) = 0;
    virtual void SetCopyright(const QString& text) = 0;
    virtual void SetDescription(const QString& text) = 0;
    // Writes the fields set into the file and closes it.
    virtual bool SaveMetadata() = 0;

    // Why the last save failed, or where its finished movie, read back, differs from
    // what was asked (streams, compressors, size, length, frames); empty when it is as
    // asked. Kept until the next prepare or ResetSave.
    virtual QString GetSaveProblem(int32_t size) = 0;
};
