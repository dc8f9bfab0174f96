#pragma once

#include "core/QmSingleForm.h"

#include <QDialog>

#include <cstdint>
#include <memory>

class QComboBox;
class QLabel;
class QmDimensionBoxes;

namespace Ui {
class frmPreferences;
}

// Tools > Options: the user's standing settings in three tabs. General holds the
// tutorial and preview boxes, the working folder and the four bar colours; AVI Save
// Options the compressors, rates, quality and frame size that every save starts with;
// Windows Media Format Save Options the standard video and audio profiles. It reads and
// writes them through ModuleSettings, under the keys the Save Timeline dialogue reads.
class frmPreferences : public QDialog, public QmSingleForm<frmPreferences>
{
    Q_OBJECT
    friend QmSingleForm<frmPreferences>;

public:
    ~frmPreferences() override;

    // mnuToolsOptions; once, by the main window.
    static void RegisterCommands();
    static void ShowOptions();

    // Fills the lists from the engine, then the values from the settings; Apply is off.
    void Form_Load();

    // The controls, for ModuleSettings, which copies values in and out of them.
    Ui::frmPreferences& Controls() { return *ui; }
    QmDimensionBoxes& Dimensions() { return *m_dimensions; }

    // A colour sample's colour, 0x00BBGGRR, shown as the label's background.
    static int32_t BackColor(const QLabel* label);
    static void SetBackColor(QLabel* label, int32_t color);

    // The key of the tab shown: "GENERAL", "AVI_SAVE_OPTIONS" or "WMF_SAVE_OPTIONS".
    QString SelectedTab() const;
    void SelectTab(const QString& key);

    // The description of a profile of the list, as its text box shows it.
    static QString ProfileDescription(const QString& name);

    void done(int result) override;

public slots:
    void cmdOk_Click();
    void cmdApply_Click();
    void cmdCancel_Click();
    void Command1_Click();
    void cmdBrowse_Click();
    void cmdVideo_Click();
    void cmdAudio_Click();
    void cmdEffects_Click();
    void cmdOverlays_Click();
    void cmdDefault_Click();
    void cmdDefaultSO_Click();
    void cboVideoCompressorST_Click();
    void cboVideoDimension_Click();
    void OnCboVideoSettingClick();
    void OnCboAudioSettingClick();
    void cmdVideoProperties_Click();
    void cmdAudioProperties_Click();
    void cmdVideoDefault_Click();
    void cmdAudioDefault_Click();

private:
    explicit frmPreferences(QWidget* parent = nullptr);

    // Any change of a value turns Apply on, except while the form fills itself.
    void AnyChange();
    void ChangeColor(QLabel* label, const QString& routine);
    void OnSettingClick(QComboBox* setting, QComboBox* profile, bool video);
    void Store();

    std::unique_ptr<Ui::frmPreferences> ui;
    QmDimensionBoxes* m_dimensions = nullptr;
    bool m_loading = false;
};
