#pragma once

#include "engine/ITWObject.h"

// Particulars of the stream chosen by ITWMediaFiles::SelectStream, and the stream
// count of the file named by OpenFileInfo. A still image is one video stream of
// 5 seconds with a frame rate of 0.
class ITWStreamInfo : public ITWObject
{
public:
    virtual bool IsVideo() = 0;
    virtual bool IsAudio() = 0;
    virtual void GetVideoSize(int32_t& height, int32_t& width) = 0;
    virtual int32_t GetAudioSampleRate() = 0;
    virtual double GetDuration() = 0;
    virtual double GetFrameRate() = 0;
    // Points the reader at a file by path; a file that cannot be read has no streams.
    virtual void OpenFileInfo(const QString& path, int32_t flags) = 0;
    virtual int32_t GetStreamCount() = 0;
};
