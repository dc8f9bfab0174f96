#pragma once

#include "engine/ITWObject.h"

class ITWVideoSurface;

// The media list's instant preview: one file at a time, shown on a surface with its
// sound. Positions and lengths are milliseconds.
class ITWFilePreview : public ITWObject
{
public:
    // The surface to show pictures on; null for none.
    virtual void SetOwnerWindow(ITWVideoSurface* surface) = 0;
    // Drops what was loaded. Always called before OpenFile.
    virtual bool ResetPlayer() = 0;
    virtual bool OpenFile(const QString& path) = 0;
    // Releases the player.
    virtual void Close() = 0;
    virtual bool Play() = 0;
    // Stops playing and keeps the position.
    virtual bool Stop() = 0;
    // The area of the surface in which video is shown, in pixels.
    virtual void SetVideoWindow(int32_t left, int32_t top, int32_t width, int32_t height) = 0;
    // Moves to a position; while stopped, the frame there is shown.
    virtual bool Seek(int32_t position) = 0;
    virtual bool Rewind() = 0;
    // 0 when nothing playable is loaded.
    virtual int32_t GetDuration() = 0;
    virtual int32_t GetPosition() = 0;
    // Shows the frame at the position without playing.
    virtual bool ShowFirstFrame() = 0;
    // The volume, -100 (silent) to 0 (full); it holds for files loaded later too.
    virtual void SetVolume(int32_t level) = 0;
};
