#include "timeline/moduleBookmarks.h"

#include "core/QmImageBox.h"
#include "core/QmPicture.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
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
        QList<QmImageBox*>& markers = frmTimeline::instance()->Controls()->imgBookmark;
        while (markers.size() >= 2)
            delete markers.takeLast();
        BookmarkTimes.clear();
        BookmarkCount = 0;
        SelectedBookmark = 0;
        SetBookmarkPosition(0, 0);
    });
}

} // namespace moduleBookmarks
