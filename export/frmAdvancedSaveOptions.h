#pragma once

#include "core/QmSingleForm.h"

#include <QDialog>

#include <cstdint>
#include <memory>

class QComboBox;
class QmDimensionBoxes;

namespace Ui {
class frmAdvancedSaveOptions;
}

// The Advanced Save Options dialogue: compressors, rates, quality and size of an AVI
// save, the profile of a Windows Media save, and the movie's descriptive fields. It
// reads the engine's settings when it opens and writes them back at OK (the compressor
// choices at once). Its fields outlive the dialogue: reopening shows the last values,
// and the save run reads the descriptive fields from here.
class frmAdvancedSaveOptions : public QDialog, public QmSingleForm<frmAdvancedSaveOptions>
{
    Q_OBJECT
    friend QmSingleForm<frmAdvancedSaveOptions>;

public:
    ~frmAdvancedSaveOptions() override;

    void Form_Load();

    // The fill routines take their target, so that the preferences and the capture
    // options fill their own boxes the same way.
    static void FillVideoCompressors(QComboBox* box);
    static void FillAudioCompressors(QComboBox* box);
    static void FillVideoDimensions(QComboBox* box);
    static void FillWMFSetting(QComboBox* box);
    static void FillWMFProfiles(QComboBox* profileBox, QComboBox* settingBox, bool bVideo);

    QString GetTitle() const { return m_title; }
    QString GetAuthor() const { return m_author; }
    QString GetRating() const { return m_rating; }
    QString GetCopyright() const { return m_copyright; }
    QString GetDescription() const { return m_description; }
    void SetVideoCompressor(const QString& name) { m_videoCompressorName = name; }
    void SetAudioCompressor(const QString& name) { m_audioCompressorName = name; }
    QString VideoCompressorName() const { return m_videoCompressorName; }
    QString AudioCompressorName() const { return m_audioCompressorName; }
    const QmDimensionBoxes& Dimensions() const { return *m_dimensions; }

private slots:
    void cboVideoCompressor_Click();
    void cboAudioCompressor_Click();
    void chkFrameRate_Click();
    void chkKeyFrameRate_Click();
    void chkPFrameFrequency_Click();
    void chkQuality_Click();
    void cboVideoDimension_Click();
    void cboSetting_Click();
    void cboProfile_Click();
    void FillProfileProperties();
    void cmdProperties_Click();
    void cmdOK_Click();
    void cmdHelp_Click();

private:
    explicit frmAdvancedSaveOptions(QWidget* parent = nullptr);

    // The key of the tab chosen: "AVI_OPTIONS" or "WMF_OPTIONS"; each tab shows its frame.
    QString SelectedTab() const;
    void SelectTab(const QString& key);

    std::unique_ptr<Ui::frmAdvancedSaveOptions> ui;
    QmDimensionBoxes* m_dimensions = nullptr;
    QString m_videoCompressorName;
    QString m_audioCompressorName;
    QString m_title, m_author, m_rating, m_copyright, m_description;
    // Whether the custom dimension's controls are on, so that they change only on a change.
    bool m_customEnabled = true;
};
