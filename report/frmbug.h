#pragma once

#include "core/QmSingleForm.h"

#include <QDialog>
#include <QString>

#include <memory>

namespace Ui {
class frmbug;
}

// The error report form. Every error that a routine's trap does not handle ends here:
// the form keeps the last error's description, number, module and function, appends
// a record of it to ErrLog.asr in the program's folder, and, for errors a user should
// hear of, offers to send the log as a report page through the desktop's browser.
//
// Nothing here has a trap of its own, and nothing here throws: a failure while
// reporting an error is dropped, so that reporting can never loop into itself.
class frmbug : public QDialog, public QmSingleForm<frmbug>
{
    Q_OBJECT
    friend QmSingleForm<frmbug>;

public:
    // Makes the form what QmTrap does with an unhandled error. Called once at start.
    static void InstallReporter();

    void SetErrDescription(const QString& text);
    void SetErrNumber(const QString& text);
    void SetErrModule(const QString& text);
    void SetErrFunction(const QString& text);
    // Appends one record of the last error to the log.
    void WriteError();

    // ErrLog.asr in the program's folder.
    static QString ErrLogPath();
    // ErrLog.htm in the temporary folder.
    static QString ReportPagePath();

    ~frmbug() override;

private slots:
    void lblReportContents_Click();
    void cmdsendreport_Click();
    void frmdontsend_Click();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    explicit frmbug(QWidget* parent = nullptr);

    // Prepares the form each time it is shown; the record is written here.
    void Form_Load();
    bool WriteReportPage();

    std::unique_ptr<Ui::frmbug> ui;
    QString m_description;
    QString m_number;
    QString m_module;
    QString m_function;
};
