#pragma once

#include "core/QmSingleForm.h"

#include <QDialog>

#include <cstdint>

class QCheckBox;
class QPushButton;
class QRadioButton;
class QmImageBox;

// How the selected video and overlay sources, or their whole tracks, fit the movie's
// frame when their own size differs: 0 stretch, 1 crop to the original size, 2 preserve
// the aspect ratio with borders, 3 fill preserving the aspect ratio. A stretch change is
// no operation of the history. OK applies modes 0 to 2 only: the fourth option is
// offered, and shown for a source that has it, but OK with it changes nothing.
class frmStretchMode : public QDialog, public QmSingleForm<frmStretchMode>
{
    Q_OBJECT
    friend QmSingleForm<frmStretchMode>;

public:
    QRadioButton* optStretch = nullptr;
    QRadioButton* optCrop = nullptr;
    QRadioButton* optPreserve = nullptr;
    QRadioButton* optStretchPreserve = nullptr;
    QCheckBox* chkApplyToEntireTrack = nullptr;
    QmImageBox* imgPreview = nullptr;
    QPushButton* cmdOK = nullptr;
    QPushButton* cmdCancel = nullptr;
    QPushButton* cmdHelp = nullptr;

    // The mode of the first selected source, video tracks first, then the overlay; 0
    // with none selected.
    static int16_t GetFirstSelSourceStretchMode();
    // Every selected source of the video and audio tracks, then of the overlay.
    static void SetSelSourcesStretchMode(int16_t mode);
    // Every source of every track of TrackCollection when a video source is selected,
    // and every overlay source when an overlay source is.
    static void SetTrackStretchMode(int16_t mode);
    // Edit > Set Stretch Mode, the pop-up's twin and the tool button.
    static void RegisterCommands();

    // Loads the form from the selection and shows it modally.
    void ShowModal();

    void opt_Click(int16_t mode);
    void cmdOK_Click();
    void cmdCancel_Click();
    void cmdHelp_Click();

private:
    frmStretchMode();
    void Form_Load();
};
