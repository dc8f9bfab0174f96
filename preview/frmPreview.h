#pragma once

#include "core/QmSingleForm.h"
#include "shell/QmPanel.h"

class QLabel;
class QSlider;

// The preview panel: the video surface, the seek bar that follows the timeline's
// position slider, the position and length labels.
class frmPreview : public QmPanel, public QmSingleForm<frmPreview>
{
    Q_OBJECT
    friend QmSingleForm<frmPreview>;

public:
    QWidget* picDisplay = nullptr;
    QSlider* sldSeekBar = nullptr;
    QLabel* lblCurrentTime = nullptr;
    QLabel* lblDuration = nullptr;

private:
    frmPreview();
};
