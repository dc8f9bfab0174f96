#pragma once

#include <QList>
#include <QString>

#include <cstdint>

// The timeline's cut, copy, delete, crop and paste, and the clipboard they share.
// The clipboard is three growing lists held for the program's life; cut and copy
// empty them before filling, and nothing else empties them but the media list when
// its last file goes.
namespace moduleEdit {

// A piece cut or copied from a video, audio or overlay track, or a remembered gap
// (Stream 0, MediaStop the gap's length, Length -1).
struct SourceClip
{
    int32_t Track = 0;
    int32_t Stream = 0;
    int32_t MediaStart = 0;
    int32_t MediaStop = 0;
    int16_t Seq = 0;
    int32_t Length = 0;
    int16_t StretchMode = 0;
};

// An effect piece, or a gap (Name "0").
struct EffectClip
{
    int32_t Track = 0;
    QString Name;
    int32_t Length = 0;
    int16_t Seq = 0;
};

// The key transition of an overlay piece.
struct TransitionClip
{
    int32_t Track = 0;
    QString Name;
    int32_t Length = 0;
    int16_t KeyRed = 0;
    int16_t KeyGreen = 0;
    int16_t KeyBlue = 0;
    int16_t Seq = 0;
};

inline QList<SourceClip> SourceClips;
inline QList<EffectClip> EffectClips;
inline QList<TransitionClip> TransitionClips;

void ClearSourceClips();
void ClearEffectClips();
void ClearTransitionClips();
// Any of the three lists holds a record.
bool IsClipboardFilled();

// The key of an overlay's transition: its parameters cleared, "KeyType" 0, the colour.
void ApplyTransitionKey(int32_t track, int16_t seq, int16_t red, int16_t green, int16_t blue);

// Removes every effect of the video tracks, and redraws.
void EmptyEffectTrack();
// For each video track left without a source, its effects go too.
void EmptyEffectsOfBareTracks();

} // namespace moduleEdit
