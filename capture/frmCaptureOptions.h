#pragma once

#include "core/QmSingleForm.h"

#include <QDialog>

#include <cstdint>
#include <memory>

class QmDimensionBoxes;

namespace Ui {
class frmCaptureOptions;
}

// The capture options: devices, AVI compressors or a Windows Media profile, and the snap
// settings. OK and Apply rebuild the capture on the choices; the capture window stays
// live while the dialogue is open.
class frmCaptureOptions : public QDialog, public QmSingleForm<frmCaptureOptions>
{
    Q_OBJECT
    friend QmSingleForm<frmCaptureOptions>;

public:
    ~frmCaptureOptions() override;

    static void ShowOptions();
    void Form_Load();
    void LoadTakeSnapOptions();
    void SaveTakeSnapOptions();
    void EnableSaveSnapCapDim(bool other);
    void EnableCustomDimension(bool custom);
    // 0 AVI, 1 ASF.
    void SelectedOption(int16_t asf);

    Ui::frmCaptureOptions* Controls() const { return ui.get(); }

private slots:
    void cboSetting_Click();
    void cboProfile_Click();
    void cmdCustomProfile_Click();
    void cmdDefaultSO_Click();
    void optAVI_Click();
    void optASF_Click();
    void cboSnapDimension_Click();
    void cmdSnapFolderBrowse_Click();
    void cmdOK_Click();
    void cmdApply_Click();

private:
    explicit frmCaptureOptions(QWidget* parent = nullptr);

    // Any choice of the user makes OK and Apply available.
    void Changed();
    // The devices and compressors shown, into the engine and the shared names.
    void ApplyDevicesAndCompressors();
    // Stop, release, init, the devices stored, a new graph.
    void RestoreCapture();

    std::unique_ptr<Ui::frmCaptureOptions> ui;
    QmDimensionBoxes* m_dimensions = nullptr;
    bool m_loading = false;
    int16_t m_format = 0;
};
