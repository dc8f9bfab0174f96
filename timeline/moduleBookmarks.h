#pragma once

#include <QList>

#include <cstdint>

// Markers on the scale: set at the position slider, selected, dragged and removed.
// Element 0 of imgBookmark is the pattern the others are loaded from; it stays, and
// BookmarkTimes(0) belongs to it.
namespace moduleBookmarks {

inline QList<int32_t> BookmarkTimes;
inline int16_t BookmarkCount = 0;
inline int16_t SelectedBookmark = 0; // 0 for none

// A marker stands this many pixels left of its time.
constexpr int MarkerOffset = 4;

void AddBookmark();
// Removes the selected marker: it is hidden, its time kept, and its neighbour below
// becomes the selected one.
void RemoveSelectedBookmark();
void SetBookmarkPosition(int32_t time, int index);
// Places every marker but excluded for the present view; show makes them visible.
void UpdateBookmarks(int excluded = -1, bool show = false);
void RemoveBookmarks();

} // namespace moduleBookmarks
