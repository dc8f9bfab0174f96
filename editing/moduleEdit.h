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

// Edit modes of EditSelection (2 is reserved and does nothing).
constexpr int16_t ModeCut = 0;
constexpr int16_t ModeCopy = 1;
constexpr int16_t ModeDelete = 3;
constexpr int16_t ModeCrop = 4;

// The commands, as the menus run them: history entry, routine, image, list, menus. Each
// is left alone while another edit runs (InSelectionUpdate).
void OnEditCutClick();
void OnEditCopyClick();
void OnEditClearClick();
void OnEditCropClick();
void OnEditCropSourcesClick();
void OnEditPasteClick();
// Gives the commands above to the command table, under their menu entries' names.
void RegisterCommands();

// Cut, copy, delete and crop: over the range between the selection sliders when both
// show, else over the selected items. Cut and copy fill the clipboard.
void EditCut();
void EditCopy();
void EditDelete();
void EditCrop(bool cropSourcesOnly);
// The range form, across every linked, unlocked track; the selection sliders are
// hidden after it. False when the last engine call it made said no.
bool EditSelection(int16_t mode);
// The whole-item forms.
bool EditCutSource();
bool EditCutEffect();
bool EditCutOverlay();
bool EditCopySource();
bool EditCopyEffect();
bool EditCopyOverlay();
bool EditDeleteSource();
bool EditDeleteEffect();
bool EditDeleteOverlay();
bool EditCropSource();
bool EditCropEffect();
bool EditCropOverlay();
// Before a plain crop over the selection: what lies wholly outside it goes.
void DropOutsideSelection();

// Paste: the clipboard's records back on the tracks they came from, at the position
// slider, or in place of the selection (deleted first) when a selection slider shows.
void EditPaste();
bool EditPasteSource(int32_t position, bool shift);
bool EditPasteEffect(int32_t position, bool shift);
bool EditPasteOverlay(int32_t position, bool shift);
// A track's run of records inserted before seq at position; later items move right.
bool PasteBefore(int32_t track, int16_t seq, int32_t position);
bool PasteEffectBefore(int32_t track, int16_t seq, int32_t position);
bool PasteTransitionBefore(int32_t track, int16_t seq, int32_t position);
// Closes the gap after the item that ends exactly at position.
bool ShiftSourcesFromPos(int32_t position, int32_t track);
bool ShiftEffectsFromPos(int32_t position, int32_t track);
bool ShiftTransitionsFromPos(int32_t position, int32_t track);

// Splits a source in two at position, keeping its stream and stretch mode: the left
// piece ends at seq, the right one at seq + 1. The media times are divided by the rate
// as a whole (for a source at its own speed, the plain media times).
void SplitSourceAt(int32_t track, int16_t seq, int32_t position);
// The same on the overlay, with the key transition split over the source's times and
// both halves keyed as it was.
void SplitOverlayAt(int32_t track, int16_t seq, int32_t position);

// An effect in two at position, its name read through a buffer of that many characters.
void SplitEffectAt(int32_t track, int16_t seq, int32_t position, int32_t nameBuffer);

// The key of an overlay's transition: its parameters cleared, "KeyType" 0, the colour.
void ApplyTransitionKey(int32_t track, int16_t seq, int16_t red, int16_t green, int16_t blue);

// Every item of one of a track's lists removed, the last first, so that none moves up at
// each removal: a long list empties in one pass.
enum class ItemList { Sources, Effects, Transitions };
void RemoveAllItems(int32_t track, ItemList list);

// Removes every effect of the video tracks, and redraws.
void EmptyEffectTrack();
// For each video track left without a source, its effects go too.
void EmptyEffectsOfBareTracks();

} // namespace moduleEdit
