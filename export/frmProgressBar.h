#pragma once

#include "core/QmSingleForm.h"

#include <QDialog>

#include <cstdint>
#include <memory>

class QTimer;

namespace Ui {
class frmProgressBar;
}

// The Saving Timeline window: it hands the engine the tracks, range, format and file
// of the Save Timeline dialogue, starts the save, and polls it every 100 ms, watching
// the free space of the volume it writes to. It ends complete (the descriptive fields
// then go into the file), aborted by the disk rule, failed, or cancelled; a cancelled,
// aborted or failed save says what became of the partial movie, which stays on disk.
class frmProgressBar : public QDialog, public QmSingleForm<frmProgressBar>
{
    Q_OBJECT
    friend QmSingleForm<frmProgressBar>;

public:
    // A save stops when the volume has this much free space or less.
    static constexpr int64_t kDiskReserve = 5242880;

    ~frmProgressBar() override;

    // The whole run: the opening, then the window modally while the save runs. The
    // window does not show when the save could not be prepared.
    void ShowSaveRun();
    // Prepares and starts the save; false when it could not be prepared (the window is
    // then closed).
    bool Form_Load();

    QTimer* tmSave() const { return m_tmSave; }
    int32_t SaveLength() const { return m_saveLength; }
    int32_t SavedSoFar() const { return m_savedSoFar; }

protected:
    void reject() override;

private slots:
    void tmSave_Timer();
    void cmdCancel_Click();
    void chkPreviewWhenDone_Click();

private:
    explicit frmProgressBar(QWidget* parent = nullptr);

    void Completion();
    void DiskAbort();
    void Failure();
    // The save's end, with the window's state after it.
    void Ended(const QString& what);
    // What became of the partial movie.
    QString PartialFileText(int32_t savedMs) const;

    std::unique_ptr<Ui::frmProgressBar> ui;
    QTimer* m_tmSave = nullptr;
    int32_t m_saveLength = 0;
    int32_t m_savedSoFar = 0;
    QString m_savePath;
    bool m_failed = false;
};
