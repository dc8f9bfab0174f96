#pragma once

#include "core/QmSingleForm.h"
#include "shell/QmPanel.h"
#include "timeline/TimelineControls.h"

#include <QList>

class QCheckBox;
class QLabel;
class QScrollBar;
class QTimer;
class QToolButton;
class QTreeWidget;
class QTreeWidgetItem;
class QmImageBox;
class QmPicture;

// The timeline panel: the timeline list at the left, then the rows (Video, Effects,
// Overlays, Audio 1, Audio 2) under the scale, each with its label and its link, lock
// and disable boxes; the three sliders; the scroll bar and the zoom, selection and
// marker buttons. The controls keep their design names; the modules of the timeline
// (moduleTimeline, moduleScaleRenderer, ModuleTreeView, moduleBookmarks) work on them
// through Controls().
class frmTimeline : public QmPanel, public QmSingleForm<frmTimeline>, private TimelineControls
{
    Q_OBJECT
    friend QmSingleForm<frmTimeline>;

public:
    // The panel's own height; the main window places the other panels above it.
    static constexpr int DesignHeight = 290;

    // The form's load: makes the tracks once (InitTimeline) and places the rows.
    void Load();
    // Gives the timeline's menu entries, and the adding commands, their commands (once,
    // by the main window).
    static void RegisterCommands();

    // The controls, for the timeline's own modules only; the rest of Quillmont reads and
    // sets the view through TimelineView.
    TimelineControls* Controls() { return this; }

    // Chooses the entries of the main window's pop-up mnuEditContext before it opens:
    // context 0 for the scale, 1 the video row, 2 an audio row (index 0 or 1) or the
    // effect row (index -1), 3 the overlay row. Entries a context does not name keep
    // their last state.
    void ShowMenuItems(int16_t context, int16_t index);

    // Places the rows, scale and sliders for the present size (after a resize or a
    // move of the divider).
    void ArrangeRows();
    // A new marker element on the scale, index imgBookmark.Count.
    QmImageBox* LoadBookmark();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    frmTimeline();
    void BuildRows();
    void BuildSliders();
    void BuildButtons();
    void ConnectOptionBoxes();

    void picScale_MouseDown(Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y);
    void picScale_MouseMove(Qt::MouseButtons buttons, int x);
    void Scale_KeyDown(int key, Qt::KeyboardModifiers shift);
    enum class RowKind { Video, Effect, Overlay, Audio };
    struct Row
    {
        RowKind kind;
        int16_t index;
        const char* name; // the control array's name
    };
    Row RowOf(const QmPicture* pic) const;
    // The engine track of a row; the effect row's is its video track.
    int32_t TrackOf(const Row& row) const;
    // The row's OnPic...MouseMove: tool tip and pointer; true in the resize zone.
    bool HoverRow(const Row& row, int x, int y);
    void Row_MouseDown(QmPicture* pic, Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y);
    void Row_MouseMove(QmPicture* pic, Qt::MouseButtons buttons, int x, int y);
    void Row_MouseUp(QmPicture* pic, Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y);
    void Row_KeyDown(QmPicture* pic, int key, Qt::KeyboardModifiers shift);
    void Row_OLEDragDrop(QmPicture* pic, int x, int y);
    void hsb_Scroll();
    void Handle_MouseDown(QmImageBox* handle, Qt::MouseButton button, int x);
    void Handle_MouseMove(QmImageBox* handle, Qt::MouseButtons buttons, int x);
    void Handle_MouseUp(QmImageBox* handle, Qt::MouseButton button);
    void tmTimeline_Timer();
    void tvwTimeline_NodeClick(QTreeWidgetItem* node);
    // The list's own drags: the node under a press is remembered, and a drop on a node
    // hands both to the shuffle. True when the event is taken.
    bool tvwTimeline_DragEvent(QEvent* event);
    void tvwTimeline_OLEDragDrop(QTreeWidgetItem* dropNode);
    void picVerticalResize_MouseDown(Qt::MouseButton button, int x);
    void picVerticalResize_MouseMove(Qt::MouseButtons buttons, int x);
    void picVerticalResize_MouseUp();
    void Bookmark_MouseDown(int index, Qt::MouseButton button, int x, int y);
    void Bookmark_MouseMove(int index, Qt::MouseButtons buttons, int x, int y);

    bool m_loaded = false;
    int m_listWidth = 170;
    int m_dividerPressX = 0;
    bool m_dividerDragging = false;
    int m_bookmarkPressX = 0;
    bool m_bookmarkDragging = false;
    QTreeWidgetItem* m_dragNode = nullptr;
};
