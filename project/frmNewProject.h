#pragma once

#include "core/QmSingleForm.h"

#include <QDialog>

#include <memory>

namespace Ui {
class frmNewProject;
}

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;

// The new project's frame size and working folder. OK sets them (the engine's frame
// size with them) and names the project "Untitled"; Cancel leaves everything as it was.
class frmNewProject : public QDialog, public QmSingleForm<frmNewProject>
{
    Q_OBJECT
    friend QmSingleForm<frmNewProject>;

public:
    ~frmNewProject() override;

    // The form's load: the sizes offered, "320 x 240" chosen, the working folder.
    void Load();

    QComboBox* cboPreviewDimension() const;
    QLineEdit* txtWidth() const;
    QLineEdit* txtHeight() const;
    QCheckBox* chkLockAspectRatio() const;
    QLineEdit* txtPath() const;

    void cboPreviewDimension_Click();
    void txtWidth_Change();
    void txtHeight_Change();
    void cmdBrowse_Click();
    void cmdDefault_Click();
    void cmdOK_Click();
    void cmdHelp_Click();

private:
    frmNewProject();
    void EnableCustomDimension(bool enabled);
    // A box's text as a size: a number from 0 up to 1999; otherwise the box gets back
    // the last one it held. True when it was one.
    bool Accept(QLineEdit* box, QString& last);

    std::unique_ptr<Ui::frmNewProject> ui;
    double m_aspectRatio = 320.0 / 240.0;
    bool m_dimensionGuard = true; // off while one box writes the other
    QString m_lastWidth = QStringLiteral("320");
    QString m_lastHeight = QStringLiteral("240");
};
