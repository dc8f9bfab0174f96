#pragma once

#include <QList>

#include <cstdint>

class QCheckBox;
class QLabel;
class QScrollBar;
class QTimer;
class QToolButton;
class QTreeWidget;
class QWidget;
class QmImageBox;
class QmPicture;

// The controls of the timeline panel and the state of its drags, by their design names.
// Only the timeline's own modules (timeline/) work on them, through
// frmTimeline::Controls(); everything else reads and sets the view through TimelineView.
struct TimelineControls
{
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

    // Pointer work on the rows: a left press on an unlocked row starts a drag of the
    // selected items (or a resize from an item's corner) that its release ends.
    bool DragActive = false;
    float DragLastX = 0;
    int16_t DragSeq = -1;
    bool DragResize = false;
    int32_t DragOrigStart = 0;
    int32_t DragOrigStop = 0;

};
