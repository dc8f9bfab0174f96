#pragma once

#include "core/QmCollection.h"
#include "core/QmSingleForm.h"

#include <QDialog>

#include <cstdint>
#include <memory>

class QListWidget;
class QRadioButton;
class QLineEdit;

namespace Ui {
class frmExportTimeline;
}

// The Save Timeline dialogue: which tracks go into the movie, AVI or Windows Media, the
// file, and the way to the advanced options. The compression settings live in the
// engine; every opening reads the saved options into it afresh. "&Save" runs the save
// in frmProgressBar; the dialogue stays open when that was cancelled or failed.
class frmExportTimeline : public QDialog, public QmSingleForm<frmExportTimeline>
{
    Q_OBJECT
    friend QmSingleForm<frmExportTimeline>;

public:
    ~frmExportTimeline() override;

    // File > Save Timeline... and the tools panel's entries.
    static void RegisterCommands();
    // Opens the dialogue modally, filled for the timeline as it stands.
    static void ShowSaveTimeline();

    void Form_Load();
    // Whether a selected row reads "Effect", "Overlay" or "Video".
    bool IsVideoApplicable() const;
    void EnableOK();
    // One track handle for each row that is not an effect row, in row order.
    const QmCollection<int32_t>& SaveStreams() const { return m_saveStreams; }
    void SetSaveCancelled(bool cancelled) { m_saveCancelled = cancelled; }
    void SetPreviewWhenDone(bool preview) { m_previewWhenDone = preview; }
    bool SaveCancelled() const { return m_saveCancelled; }
    bool PreviewWhenDone() const { return m_previewWhenDone; }
    int32_t SaveStart() const { return m_saveStart; }
    int32_t SaveStop() const { return m_saveStop; }

    QListWidget* lstSaveStreams() const;
    QRadioButton* optAVI() const;
    QLineEdit* txtSaveFileName() const;

    // The "Save Options" as the dialogue reads them at each opening, straight into the
    // engine (and the compressor names into the advanced options).
    void LoadSettingsFromRegistry();
    void FillSaveStreamList();

protected:
    void done(int result) override;

private slots:
    void lstSaveStreams_Click();
    void optAVI_Click();
    void optWMF_Click();
    void cmdBrowse_Click();
    void cmdOK_Click();
    void cmdAdvanced_Click();

private:
    explicit frmExportTimeline(QWidget* parent = nullptr);

    // The handler of the format chosen.
    void FormatChosen();
    void SetExtension(const QString& extension);

    std::unique_ptr<Ui::frmExportTimeline> ui;
    QmCollection<int32_t> m_saveStreams;
    int32_t m_saveStart = 0;
    int32_t m_saveStop = 0;
    bool m_saveCancelled = false;
    bool m_previewWhenDone = true;
};
