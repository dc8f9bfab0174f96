#pragma once

#include "engine/ITWObject.h"

// Windows Media profiles: named descriptions of a movie's streams (bit rate, frame rate,
// size, sound format). The engine knows a catalogue of system profiles and the custom
// ones the user keeps as files in Quillmont's data folder ("Profiles"). One profile is
// open at a time, and in it one selected stream, which the stream operations read. An
// operation that needs an open profile or a selected stream raises a failure status
// without one.
class ITWProfiles : public ITWObject
{
public:
    // Stream types.
    static constexpr int16_t VideoStream = 0;
    static constexpr int16_t AudioStream = 1;

    virtual bool InitProfileManager() = 0;
    virtual void ReleaseProfileManager() = 0;
    virtual int16_t GetSystemProfileCount() = 0;
    // A custom profile by name, else a system one by name.
    virtual bool OpenProfile(const QString& name) = 0;
    virtual bool OpenSystemProfile(int16_t index) = 0;
    virtual void CloseProfile() = 0;
    // The custom profiles in order of name: false when there is none.
    virtual bool GetFirstCustomProfile(int32_t size, QString& name) = 0;
    // Empty after the last.
    virtual QString GetNextCustomProfile(int32_t size) = 0;
    virtual void CloseCustomProfileList() = 0;
    virtual bool SelectStream(int16_t index) = 0;
    virtual void CloseStream() = 0;
    virtual int16_t GetVideoWidth() = 0;
    virtual int16_t GetVideoHeight() = 0;
    virtual int32_t GetAudioSampleRate() = 0;
    // 1 is mono.
    virtual int16_t GetAudioChannels() = 0;
    virtual int16_t GetVideoFps() = 0;
    // Seconds between key frames.
    virtual int32_t GetKeyFrameInterval() = 0;
    // 0 to 100.
    virtual int32_t GetVideoQuality() = 0;
    virtual int16_t GetStreamCount() = 0;
    virtual QString GetProfileName(int32_t size) = 0;
    virtual QString GetProfileDescription(int32_t size) = 0;
    // Bits a second.
    virtual int32_t GetStreamBitRate() = 0;
    virtual QString GetStreamName(int32_t size) = 0;
    virtual int16_t GetStreamType() = 0;
};
