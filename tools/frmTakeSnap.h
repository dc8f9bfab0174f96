#pragma once

#include "core/QmSingleForm.h"

#include <QDialog>

#include <cstdint>

class QCheckBox;
class QFrame;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QScrollBar;
class QmDimensionBoxes;
class QmPicture;

// Tools > Take Snap: one picture of the timeline at the slider, saved as a bitmap at a
// size the user may change. The picture is that of the movie, not of the preview: the
// engine saves 100 ms of the timeline from the slider, with the overlay and effects,
// into a temporary AVI, and the form draws and saves the first frame of that file. A
// new size draws the same frame again at that size; nothing is rendered twice.
class frmTakeSnap : public QDialog, public QmSingleForm<frmTakeSnap>
{
    Q_OBJECT
    friend QmSingleForm<frmTakeSnap>;

public:
    QFrame* fmeWorkspace = nullptr;
    QmPicture* picWorkspace = nullptr;
    QLabel* imgWorkspace = nullptr;
    QScrollBar* hsbr = nullptr;
    QScrollBar* vsbr = nullptr;
    QGroupBox* fmeOptions = nullptr;
    QLineEdit* txtWidth = nullptr;
    QLineEdit* txtHeight = nullptr;
    QCheckBox* chkLockAspectRatio = nullptr;
    QLineEdit* txtSaveTo = nullptr;
    QPushButton* cmdBrowse = nullptr;
    QPushButton* cmdOK = nullptr;
    QPushButton* cmdCancel = nullptr;
    QPushButton* cmdHelp = nullptr;

    int32_t SnapWidth = 320;
    int32_t SnapHeight = 240;
    double SnapAspect = 320.0 / 240.0;
    bool SnapGuard = true;
    QString SnapBaseName;
    QString SnapTempFile;

    // Tools > Take Snap, and its tool button.
    static void RegisterCommands();

    // Loads the form (the section rendered, the frame drawn) and shows it modally.
    void ShowModal();
    void Form_Load();

    void SaveTimelineSection();
    void ResizeSnap();
    void cmdBrowse_Click();
    void cmdOK_Click();
    void cmdCancel_Click();
    void cmdHelp_Click();

protected:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    frmTakeSnap();
    // The boxes accepted a new size.
    void DimensionChanged();
    // The drawn frame shown in the workspace, which scrolls in its frame when larger.
    void ShowWorkspace();
    void LayOutWorkspace();

    QmDimensionBoxes* m_boxes = nullptr;
};
