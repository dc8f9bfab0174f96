#include "timeline/moduleBookmarks.h"

#include "core/QmImageBox.h"
#include "core/QmPicture.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmXml.h"
#include "core/moduleUtilities.h"
#include "timeline/TimelineView.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QLabel>

using namespace QmShared;
using namespace moduleScaleRenderer;

namespace moduleBookmarks {

namespace {

const QString kModule = QStringLiteral("moduleBookmarks");

int LeftOf(int32_t time)
{
    return moduleTimeline::PixelAt(time) - MarkerOffset;
}

// Every marker but the pattern unloaded, and the list emptied.
void UnloadMarkers()
{
    QList<QmImageBox*>& markers = frmTimeline::instance()->Controls()->imgBookmark;
    while (markers.size() >= 2)
        delete markers.takeLast();
    BookmarkTimes.clear();
    BookmarkCount = 0;
    SelectedBookmark = 0;
}

} // namespace

void AddBookmark()
{
    QmTrap::Run(kModule, QStringLiteral("AddBookmark"), [] {
        const int index = static_cast<int>(frmTimeline::instance()->Controls()->imgBookmark.size());
        frmTimeline::instance()->LoadBookmark();
        const int32_t time = TimelineView::SliderTime();
        SetBookmarkPosition(time, index);
    });
}

void RemoveSelectedBookmark()
{
    QmTrap::Run(kModule, QStringLiteral("RemoveSelectedBookmark"), [] {
        if (SelectedBookmark == 0)
            return;
        QList<QmImageBox*>& markers = frmTimeline::instance()->Controls()->imgBookmark;
        markers[SelectedBookmark]->hide();
        --SelectedBookmark;
        markers[SelectedBookmark]->SetPicture(QStringLiteral("BOOKMARKSEL"));
    });
}

void SetBookmarkPosition(int32_t time, int index)
{
    QmTrap::Run(kModule, QStringLiteral("SetBookmarkPosition"), [&] {
        QmImageBox* marker = frmTimeline::instance()->Controls()->imgBookmark[index];
        marker->move(LeftOf(time), 0);
        marker->show();
        marker->raise();
        marker->setToolTip(QStringLiteral("Marker at ") + moduleUtilities::MilliSecondsToTimetypeAsString(time));
        marker->SetPicture(QStringLiteral("BOOKMARK"));
        while (BookmarkTimes.size() <= BookmarkCount)
            BookmarkTimes.append(0);
        if (index >= BookmarkTimes.size())
            throw QmError(QmErr::SubscriptOutOfRange, QStringLiteral("Subscript out of range"));
        BookmarkTimes[index] = time;
        ++BookmarkCount;
    });
}

void UpdateBookmarks(int excluded, bool show)
{
    QmTrap::Run(kModule, QStringLiteral("UpdateBookmarks"), [&] {
        const QList<QmImageBox*>& markers = frmTimeline::instance()->Controls()->imgBookmark;
        for (int i = 0; i < markers.size() && i < BookmarkTimes.size(); ++i) {
            if (i == excluded)
                continue;
            markers[i]->move(LeftOf(BookmarkTimes[i]), markers[i]->y());
            if (show)
                markers[i]->show();
        }
    });
}

void RemoveBookmarks()
{
    QmTrap::Run(kModule, QStringLiteral("RemoveBookmarks"), [] {
        UnloadMarkers();
        SetBookmarkPosition(0, 0);
    });
}

QList<int32_t> VisibleBookmarkTimes()
{
    QList<int32_t> times;
    const QList<QmImageBox*>& markers = frmTimeline::instance()->Controls()->imgBookmark;
    for (int i = 0; i < BookmarkCount && i < BookmarkTimes.size(); ++i) {
        // A removed marker is hidden, its time kept: it is left out.
        if (i < markers.size() && !markers[i]->isHidden())
            times << BookmarkTimes[i];
    }
    return times;
}

void AppendBookmarks(pugi::xml_node root, const QList<int32_t>& times)
{
    pugi::xml_node bookmarks = root.append_child("Bookmarks");
    int counter = 0;
    for (int32_t time : times) {
        pugi::xml_node bookmark = bookmarks.append_child(("Bookmark_" + std::to_string(counter++)).c_str());
        bookmark.append_attribute("Position") = time;
    }
}

void SetBookMarksToProject(const QString& path)
{
    pugi::xml_document document;
    QmXml::Load(document, path);
    AppendBookmarks(QmXml::Root(document), VisibleBookmarkTimes());
    QmXml::Save(document, path);
}

void GetBookMarkFromProject(const QString& path)
{
    pugi::xml_document document;
    QmXml::Load(document, path);
    const pugi::xml_node bookmarks = QmXml::FirstByTagName(document, "Bookmarks");
    QList<int32_t> times;
    for (pugi::xml_node child : bookmarks.children()) {
        if (child.type() != pugi::node_element)
            continue;
        // Attribute 0 is the position, whatever its name.
        try {
            times << static_cast<int32_t>(QmXml::Number(QmXml::AttributeAt(child, 0), 0, INT32_MAX));
        } catch (const QmError&) {
            throw QmError(QmErr::SubscriptOutOfRange, QStringLiteral("A marker's position is no time."));
        }
    }
    if (times.isEmpty())
        return;
    if (times.size() > INT16_MAX) // the count is 16 bits
        throw QmError(QmErr::SubscriptOutOfRange, QStringLiteral("Too many markers."));
    UnloadMarkers();
    for (int i = 0; i < times.size(); ++i) {
        if (i > 0)
            frmTimeline::instance()->LoadBookmark();
        SetBookmarkPosition(times[i], i);
    }
    UpdateBookmarks(-1, true);
}

} // namespace moduleBookmarks
