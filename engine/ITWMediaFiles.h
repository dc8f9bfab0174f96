#pragma once

#include "engine/ITWObject.h"

// The streams of open files. A file's video and audio streams are numbered from 0
// in the order the file holds them; other streams (subtitles, data, cover pictures)
// are not counted.
class ITWMediaFiles : public ITWObject
{
public:
    // Stream number index of the file; 0 past the last. Opening an open stream
    // again gives the same handle.
    virtual int32_t OpenStream(int32_t file, int16_t index) = 0;
    virtual bool CloseStream(int32_t stream) = 0;
    // Makes the stream the subject of ITWStreamInfo.
    virtual bool SelectStream(int32_t stream) = 0;
    virtual int32_t GetStreamFile(int32_t stream) = 0;
    virtual bool IsVideoStream(int32_t stream) = 0;
};
