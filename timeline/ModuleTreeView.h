#pragma once

#include <QString>

#include <cstdint>

class QTreeWidgetItem;

// The timeline list: one node per track, one child per item, rebuilt from the engine
// after each command. A node's tag is a track handle (999999 for the effect lane) or,
// for items, a running number unique in the tree.
namespace ModuleTreeView {

// The cursors of the searches, and the next item tag.
inline QTreeWidgetItem* TreeRoot = nullptr;
inline QTreeWidgetItem* TreeTrackNode = nullptr;
inline QTreeWidgetItem* TreeItemNode = nullptr;
inline int32_t NextNodeTag = 1;

int32_t TagOf(const QTreeWidgetItem* node);
QString ImageKeyOf(const QTreeWidgetItem* node);

void AddTrack(const QString& text, int32_t track);
void AddSource(const QString& text, const QString& imageKey, int32_t track);
void InsertSource(const QString& text, QTreeWidgetItem* trackNode, int position);
// Leaves the node in TreeTrackNode; false when no track node has that tag.
bool SearchTrack(int32_t track);
// The position-th (from 1) child of TreeTrackNode, into TreeItemNode.
bool SearchSource(int position);
void SetSourceSelected(int32_t track, int position);
void UpdateTreeView();
void EmptyTreeView();

// Shuffling: a child node dragged within its track, or from one sound track to the
// other. Both are the history's "Shuffle".
// The place (from 1) of a child node among its siblings, found by its tag; 0 for none.
int PlaceOf(const QTreeWidgetItem* node);
// A child node dropped on a node: within one unlocked track the items are reordered,
// between the two unlocked sound tracks the source moves across; anything else
// changes nothing. The timeline's image, the project's flag, the preview and the menus
// follow in every case.
void OnNodeDragDrop(QTreeWidgetItem* drag, QTreeWidgetItem* drop);
// The dragged item taken out of its track through the list's one-item buffer and put
// back ahead of the drop item, at the start of the item now at the drop's place: a
// source at its media length, an overlay with its key colour, an effect with its name.
// Only an item put at the first place moves the items from the third place on.
void ShuffleSources(QTreeWidgetItem* drag, QTreeWidgetItem* drop);
// The selected sources of sourceTrack (when it is unlocked) move to targetTrack at
// place targetPosition (from 1): each starts where the source before that place ends
// (at 0 in the first place) and keeps its timeline length, and the sources after it
// move on by its media length. position is the source's place on its own track.
void ChangeTrack(int32_t sourceTrack, int32_t targetTrack, int position, int targetPosition);
// Each overlay's key transition takes its source's times where both ends differ.
void AlignTransitionsToSources();
// Edit > Move to Audio 1 (audioTrack 1) and Move to Audio 2 (2): the selected sound of
// the other track goes after the last sound of this one.
void OnEditAddtoAudioClick(int audioTrack);
// Gives the two move commands to the command table.
void RegisterCommands();

} // namespace ModuleTreeView
