#pragma once

#include "core/QmSingleForm.h"
#include "shell/QmPanel.h"

class QFrame;
class QLabel;
class QSlider;
class QTimer;
class QToolButton;
class QmVideoSurface;

// The preview panel: the timeline played on picDisplay, the seek bar that follows the
// timeline's position slider, the position and length labels and the transport.
class frmPreview : public QmPanel, public QmSingleForm<frmPreview>
{
    Q_OBJECT
    friend QmSingleForm<frmPreview>;

public:
    QTimer* tm = nullptr;
    QFrame* fmeDisplay = nullptr;
    QmVideoSurface* picDisplay = nullptr;
    QFrame* shpOutlineRect = nullptr;
    QFrame* fmePlayer = nullptr;
    QSlider* sldSeekBar = nullptr;
    QLabel* lblCurrentTime = nullptr;
    QLabel* lblDuration = nullptr;
    QFrame* fmeControls = nullptr;
    QToolButton* cmdPlay = nullptr;
    QToolButton* cmdPause = nullptr;
    QToolButton* cmdStop = nullptr;
    QToolButton* cmdRewind = nullptr;
    QToolButton* cmdForward = nullptr;
    QToolButton* cmdRepeat = nullptr;
    QToolButton* cmdMute = nullptr;

    // The form's load: the stored volume, and the transport's commands for the tools
    // panel's actions.
    void Load();
    // Gives the tools panel's preview actions their commands (once, by the main window).
    static void RegisterCommands();
    // The form's unload: the player closed and the volume stored.
    void Unload();
    // Pictures and tool tips of the transport.
    void SetInitialIcons();
    // Lays the video area out in the project's proportions (ProjectWidth, ProjectHeight).
    void Resize();

    // Events of the controls.
    void tm_Timer();
    void sldSeekBar_Scroll(int value);
    void sldSeekBar_Click();
    void cmdMute_Click();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    frmPreview();
};
