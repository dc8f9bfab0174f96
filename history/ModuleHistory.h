#pragma once

#include "core/QmCollection.h"
#include "history/cHistoryData.h"

#include <QList>
#include <QString>

#include <cstdint>
#include <memory>

// Undo and redo by whole images of the timeline. Each entry holds the timeline as it
// stood just before its operation; one further image, after the latest operation, lets
// redo reach the newest state. The rows of the tools panel's history list stand in step
// with the entries, and a row's colour is the only record of whether it is undone.
namespace ModuleHistory {

// At most this many operations are kept in force.
constexpr int HistoryLimit = 25;
// Row colours: window text for an entry in force, button face for one undone.
constexpr int32_t InForceColor = static_cast<int32_t>(0x80000008u);
constexpr int32_t DisabledColor = static_cast<int32_t>(0x8000000Fu);

inline QmCollection<std::shared_ptr<cHistoryData>> HistoryCollection;
// The number of operations in force: entry HistoryIndex is the latest applied.
inline int16_t HistoryIndex = 0;
inline std::shared_ptr<cHistoryData> HistoryEntry;
inline bool UndoInProgress = false;
inline bool RedoInProgress = false;
inline bool RowRestored = false;

// The working set of a timeline image, filled by StoreTimelineImage and by an entry's
// Get...OperationData; the transition and overlay source arrays share one count.
inline QList<SourceImage> SourceImages;
inline int16_t SourceImageCount = 0;
inline QList<EffectImage> EffectImages;
inline int16_t EffectImageCount = 0;
inline QList<TransitionImage> TransitionImages;
inline QList<SourceImage> OverlaySourceImages;
inline int16_t TransitionImageCount = 0;
inline FileOperationData FileImage;

// The image of the newest state, after the latest operation.
inline QList<SourceImage> LastSourceImages;
inline QList<EffectImage> LastEffectImages;
inline QList<TransitionImage> LastTransitionImages;
inline QList<SourceImage> LastOverlaySourceImages;

// Gives Undo and Redo their menu commands (once, by the main window).
void RegisterCommands();
// Gives the tools panel's history list its clicks.
void Install();

void AddOperationToHistory(const QString& word);
void Undo();
void Redo();
void DeleteLastEntry();
void RearrangeHistoryCollection();
void RemoveDisabledEntries();
void EmptyHistory();
bool CanUndo();
bool CanRedo();

// The menu entries, and the two branches of a click on a row (0-based) of the list.
void mnuEditUndo_Click();
void mnuEditRedo_Click();
void lvwHistory_Click(int row);
void OnUndoHistoryListClick(int row);
void OnRedoHistoryClick(int row);

// Timeline images.
// The timeline read from the engine as an image holds it, transition names through a
// buffer of that many characters (an entry's image reads them through 10, the newest
// image through 20). The one reader of the engine's items for every image.
TimelineImage ReadTimelineImage(int32_t transitionNameBuffer);
void StoreTimelineImage();
void StoreCurrentTLImage();
void EmptyTimeline();
void RestoreTimeline();
void RestoreLastTLImage();

} // namespace ModuleHistory
