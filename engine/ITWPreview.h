#pragma once

#include "engine/ITWObject.h"

class ITWVideoSurface;

// The player of the timeline as it stands: the engine's graph of it, its pictures on a
// surface and its sound to the desktop. Positions and lengths are milliseconds.
class ITWPreview : public ITWObject
{
public:
    virtual void SetOwnerWindow(ITWVideoSurface* surface) = 0;
    // Makes the player over the present timeline.
    virtual bool BuildPreview() = 0;
    virtual void ClosePreview() = 0;
    // False when the player must be made again (the frame size changed since).
    virtual bool IsPreviewValid() = 0;
    virtual bool Play() = 0;
    virtual bool Pause() = 0;
    // Puts the player in the stopped state, at the position last sought.
    virtual bool Stop() = 0;
    // A timeline position; below 0 counts as 0. While not playing, the frame there is shown.
    virtual bool Seek(int32_t position) = 0;
    // Takes in the changed timeline, keeping the position and whether it plays.
    virtual bool RefreshPreview() = 0;
    // Ends playback at the position last sought.
    virtual bool Halt() = 0;
    virtual int32_t GetDuration() = 0;
    virtual int32_t GetPosition() = 0;
    // The volume, -100 (silent) to 0 (full).
    virtual void SetVolume(int32_t level) = 0;
};
