#pragma once

#include "core/QmSingleForm.h"
#include "shell/QmPanel.h"

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
// (moduleTimeline, moduleScaleRenderer, ModuleTreeView, moduleBookmarks) work on them.
class frmTimeline : public QmPanel, public QmSingleForm<frmTimeline>
{
    Q_OBJECT
    friend QmSingleForm<frmTimeline>;

public:
    // The panel's height as designed; the main window places the other panels above it.
    static constexpr int DesignHeight = 290;

    // The form's load: makes the tracks once (InitTimeline) and gives the menu entries
    // of the timeline their commands.
    void Load();

    // The timeline list and its divider.
    QTreeWidget* tvwTimeline = nullptr;
    QWidget* picVerticalResize = nullptr;
    // The ground under the scale and the rows; lblHighlight marks where the rows'
    // pictures start.
    QWidget* picTimelineBase = nullptr;
    QLabel* lblHighlight = nullptr;
    QmPicture* picScale = nullptr;
    QScrollBar* hsb = nullptr;

    // The rows: control arrays, index 0 upward.
    QList<QmPicture*> picVideo, picEffect, picOverlay, picAudio;
    QList<QWidget*> shpVideoSel, shpEffectSel, shpOverlaySel, shpAudioSel;
    QLabel* lblVideo = nullptr;
    QLabel* lblEffect = nullptr;
    QLabel* lblOverlay = nullptr;
    QList<QLabel*> lblAudio;
    QList<QCheckBox*> chkLinkVideo, chkLockVideo, chkDisableVideo;
    QList<QCheckBox*> chkLinkEffect, chkLockEffect, chkDisableEffect;
    QList<QCheckBox*> chkLinkOverlay, chkLockOverlay, chkDisableOverlay;
    QList<QCheckBox*> chkLinkAudio, chkLockAudio, chkDisableAudio;
    QList<QmImageBox*> imgLinkVideo, imgLockVideo, imgDisableVideo;
    QList<QmImageBox*> imgLinkEffect, imgLockEffect, imgDisableEffect;
    QList<QmImageBox*> imgLinkOverlay, imgLockOverlay, imgDisableOverlay;
    QList<QmImageBox*> imgLinkAudio, imgLockAudio, imgDisableAudio;

    // The sliders: handle and line on the scale, line over the rows.
    QmImageBox* imgSliderHandle = nullptr;
    QWidget* imgScaleSlider = nullptr;
    QWidget* picSlider = nullptr;
    QmImageBox* imgStartSelHandle = nullptr;
    QWidget* imgStartSelSlider = nullptr;
    QWidget* picStartSelSlider = nullptr;
    QmImageBox* imgEndSelHandle = nullptr;
    QWidget* imgEndSelSlider = nullptr;
    QWidget* picEndSelSlider = nullptr;
    QWidget* imgScaleMarker = nullptr;
    QList<QmImageBox*> imgBookmark;

    QToolButton* cmdZoomIn = nullptr;
    QToolButton* cmdZoomOut = nullptr;
    QToolButton* cmdSelSliders = nullptr;
    QToolButton* cmdAddBookmark = nullptr;
    QToolButton* cmdRemoveBookmark = nullptr;
    QTimer* tmTimeline = nullptr;

    // Drag state of the slider handles.
    bool Dragging = false;
    float DragOffset = 0;
    bool DraggingSlider = false;
    bool DraggingStart = false;
    bool DraggingEnd = false;
    bool ScrollingRight = false;

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
    void Row_MouseDown(QmPicture* pic, Qt::MouseButton button, Qt::KeyboardModifiers shift, int x);
    void hsb_Scroll();
    void Handle_MouseDown(QmImageBox* handle, Qt::MouseButton button, int x);
    void Handle_MouseMove(QmImageBox* handle, Qt::MouseButtons buttons, int x);
    void Handle_MouseUp(QmImageBox* handle, Qt::MouseButton button);
    void tmTimeline_Timer();
    void tvwTimeline_NodeClick(QTreeWidgetItem* node);
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
};
