#pragma once

#include "core/QmSingleForm.h"
#include "shell/QmPanel.h"

// The timeline panel: the tracks with their options, the scale and the sliders.
class frmTimeline : public QmPanel, public QmSingleForm<frmTimeline>
{
    Q_OBJECT
    friend QmSingleForm<frmTimeline>;

public:
    // The panel's height as designed; the main window places the other panels above it.
    static constexpr int DesignHeight = 290;

    // The form's load: makes the tracks once (InitTimeline).
    void Load();

private:
    frmTimeline();
    bool m_loaded = false;
};
