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

} // namespace ModuleTreeView
