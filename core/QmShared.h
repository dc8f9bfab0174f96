#pragma once

#include "core/QmCollection.h"
#include "engine/ITWObject.h"

#include <QString>

#include <cstdint>
#include <memory>

// The state that every module and form of Quillmont shares, declared once. Times are
// milliseconds; colours are 0x00BBGGRR.
namespace QmShared {

// The timeline engine, created by the entry routine and kept until the process ends.
// Interfaces are taken from it with TWCast at the point of use.
inline std::shared_ptr<ITWObject> Engine;

// Media and tracks.
inline QmCollection<int32_t> FileCollection;   // one file handle per media list row, in row order
inline QmCollection<int32_t> StreamCollection; // every open stream of every open file
inline QmCollection<int32_t> TrackCollection;  // Video, Audio 1, Audio 2
inline int32_t OverlayTrack = 0;

// The timeline view.
inline int32_t SliderPosition = 0;
inline int32_t SelStartPosition = 1000;
inline int32_t SelEndPosition = 2000;
inline int16_t ZoomFactor = 10;  // ms per pixel
inline int16_t TickSpacing = 10; // pixels
inline int32_t ScaleBandColor = 0xFFBBBB;
inline int32_t VideoBarFill = 0xFFFF80;
inline int32_t AudioBarFill = 0x80FFFF;
inline int32_t EffectBarFill = 0x80FF80;
inline int32_t OverlayBarFill = 0xC0E0FF;
inline int32_t ClickX = 0;
inline bool ClickShift = false;
inline bool ClickCtrl = false;

// The project.
inline QString WorkingFolder;
inline int16_t ProjectWidth = 320;
inline int16_t ProjectHeight = 240;
inline bool ProjectModified = false;
inline bool MediaListDirty = false;
inline bool ProjectSaved = false;
inline bool ProjectOpenFailed = false;
inline QString ProjectFilePath;
inline QString AppSection = QStringLiteral("Quillmont 1.1");
inline QString HelpFile;

// Re-entry guards: a handler that lets events run can be entered again meanwhile.
inline bool InSelectionUpdate = false;
inline bool BusyOpening = false;
inline bool ProjectLoadLock = false;

// Set once "File not found." was shown for a recent file, so it is not shown twice.
inline bool FileNotFoundShown = false;

// Capture: the devices' state, the options the capture window and its options dialogue
// share, and the last results, for the whole run.
inline bool VideoDeviceOk = true;
inline bool AudioDeviceOk = true;
inline bool CaptureAllowed = true;
inline int16_t SyncMaster = 1; // 1 video to audio, 0 audio to video, -1 none
inline QString VideoDeviceName;
inline QString AudioDeviceName;
inline QString CaptureVideoCompressor;
inline QString CaptureAudioCompressor;
inline QString LastCapturedFile;
inline QString LastSnapFile;

// The engine as the interface I.
template <class I>
I& Eng()
{
    if (!Engine)
        throw QmError(QmErr::ObjectNotSet, QStringLiteral("Object variable or With block variable not set"));
    return TWCast<I>(Engine.get());
}

} // namespace QmShared
