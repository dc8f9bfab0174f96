#pragma once

#include <QList>
#include <QString>

#include <pugixml.hpp>

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

// The project file's markers. Those that show are kept, in the order of their index, as
// "Bookmark_0", "Bookmark_1", ... under "Bookmarks", each with its "Position".
QList<int32_t> VisibleBookmarkTimes();
void AppendBookmarks(pugi::xml_node root, const QList<int32_t>& times);
// Loads the project at path, adds the element for the markers that show, and saves it.
void SetBookMarksToProject(const QString& path);
// Puts the markers of the project at path in place of those there; a project without
// the element, or with none in it, leaves them. Error 9 for a position that is no time.
void GetBookMarkFromProject(const QString& path);

} // namespace moduleBookmarks
