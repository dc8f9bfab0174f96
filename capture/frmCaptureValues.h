#pragma once

#include "core/QmSingleForm.h"

#include <QDialog>

#include <memory>

namespace Ui {
class frmCaptureValues;
}

// The capture file and the stop rule, asked before each capture ("Start Capture", its
// OK button reading "Start") or set alone ("Set Capture File", "OK"). Its choices go
// straight into the capture window.
class frmCaptureValues : public QDialog, public QmSingleForm<frmCaptureValues>
{
    Q_OBJECT
    friend QmSingleForm<frmCaptureValues>;

public:
    ~frmCaptureValues() override;

    // Loads the dialogue for one of its two uses and shows it modally.
    static void ShowFor(const QString& title, const QString& okCaption);
    void Form_Load();

    Ui::frmCaptureValues* Controls() const { return ui.get(); }

public slots:
    void reject() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private slots:
    void chkShowWindow_Click();
    void optManualStop_Click();
    void optDurationStop_Click();
    void cmdBrowse_Click();
    void cmdOK_Click();
    void cmdCancel_Click();

private:
    explicit frmCaptureValues(QWidget* parent = nullptr);

    std::unique_ptr<Ui::frmCaptureValues> ui;
};
