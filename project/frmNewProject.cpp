#include "project/frmNewProject.h"

#include "ui_frmNewProject.h"

#include "core/QmDialogs.h"
#include "core/QmNumbers.h"
#include "core/QmPointer.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "engine/ITWTimeline.h"
#include "media/frmMediaList.h"
#include "shell/mdiTarnwick.h"

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("frmNewProject");
const QString kCustom = QStringLiteral("Custom");
const QString kStartSize = QStringLiteral("320 x 240");

} // namespace

frmNewProject::frmNewProject()
    : QDialog(mdiTarnwick::exists() ? mdiTarnwick::instance() : nullptr)
    , ui(std::make_unique<Ui::frmNewProject>())
{
    ui->setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose);
    for (const char* size : {"160 x 120", "320 x 240", "640 x 480", "720 x 480", "800 x 600", "1024 x 768", "Custom"})
        ui->cboPreviewDimension->addItem(QString::fromLatin1(size));
    connect(ui->cboPreviewDimension, &QComboBox::activated, this, [this] { cboPreviewDimension_Click(); });
    connect(ui->txtWidth, &QLineEdit::textChanged, this, [this] { txtWidth_Change(); });
    connect(ui->txtHeight, &QLineEdit::textChanged, this, [this] { txtHeight_Change(); });
    connect(ui->cmdBrowse, &QPushButton::clicked, this, [this] { cmdBrowse_Click(); });
    connect(ui->cmdDefault, &QPushButton::clicked, this, [this] { cmdDefault_Click(); });
    connect(ui->cmdOK, &QPushButton::clicked, this, [this] { cmdOK_Click(); });
    connect(ui->cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(ui->cmdHelp, &QPushButton::clicked, this, [this] { cmdHelp_Click(); });
    Load();
}

frmNewProject::~frmNewProject() = default;

QComboBox* frmNewProject::cboPreviewDimension() const { return ui->cboPreviewDimension; }
QLineEdit* frmNewProject::txtWidth() const { return ui->txtWidth; }
QLineEdit* frmNewProject::txtHeight() const { return ui->txtHeight; }
QCheckBox* frmNewProject::chkLockAspectRatio() const { return ui->chkLockAspectRatio; }
QLineEdit* frmNewProject::txtPath() const { return ui->txtPath; }

void frmNewProject::Load()
{
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        ui->cboPreviewDimension->setCurrentText(kStartSize);
        cboPreviewDimension_Click();
        ui->txtPath->setText(WorkingFolder);
        m_aspectRatio = 320.0 / 240.0;
    });
}

void frmNewProject::EnableCustomDimension(bool enabled)
{
    for (QWidget* control : std::initializer_list<QWidget*>{ui->fmeCustomPreview, ui->txtWidth, ui->txtHeight,
                                                            ui->chkLockAspectRatio, ui->lblInto})
        control->setEnabled(enabled);
}

void frmNewProject::cboPreviewDimension_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cboPreviewDimension_Click"), [this] {
        const QString text = ui->cboPreviewDimension->currentText();
        if (text != kCustom) {
            const QStringList parts = text.split(u' ');
            m_dimensionGuard = false; // the list sets both: neither follows the other
            ui->txtWidth->setText(parts.value(0));
            ui->txtHeight->setText(parts.value(2));
            m_dimensionGuard = true;
        }
        EnableCustomDimension(text == kCustom);
    });
}

bool frmNewProject::Accept(QLineEdit* box, QString& last)
{
    bool ok = false;
    const double value = box->text().toDouble(&ok);
    if (!ok || value < 0 || value >= 2000) {
        const QSignalBlocker quiet(box);
        box->setText(last);
        box->setCursorPosition(static_cast<int>(last.size()));
        return false;
    }
    last = box->text();
    return true;
}

void frmNewProject::txtWidth_Change()
{
    QmTrap::Run(kModule, QStringLiteral("txtWidth_Change"), [this] {
        if (!Accept(ui->txtWidth, m_lastWidth) || !m_dimensionGuard || !ui->chkLockAspectRatio->isChecked())
            return;
        m_dimensionGuard = false;
        ui->txtHeight->setText(QString::number(ui->txtWidth->text().toDouble() / m_aspectRatio));
        m_dimensionGuard = true;
    });
}

void frmNewProject::txtHeight_Change()
{
    QmTrap::Run(kModule, QStringLiteral("txtHeight_Change"), [this] {
        if (!Accept(ui->txtHeight, m_lastHeight) || !m_dimensionGuard || !ui->chkLockAspectRatio->isChecked())
            return;
        m_dimensionGuard = false;
        ui->txtWidth->setText(QString::number(ui->txtHeight->text().toDouble() * m_aspectRatio));
        m_dimensionGuard = true;
    });
}

void frmNewProject::cmdBrowse_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdBrowse_Click"),
                [this] { ui->txtPath->setText(QmDialogs::BrowseForFolder(QStringLiteral("Select a Folder"), WorkingFolder)); },
                [](const QmError& e) { return e.Number() == QmErr::DialogCancelled; });
}

void frmNewProject::cmdDefault_Click()
{
    ui->txtPath->setText(WorkingFolder);
    ui->chkLockAspectRatio->setChecked(true);
    ui->cboPreviewDimension->setCurrentText(kStartSize);
    cboPreviewDimension_Click();
}

void frmNewProject::cmdOK_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdOK_Click"), [this] {
        // The boxes may hold a fraction where one followed the other: whole pixels now.
        ProjectWidth = std::max<int16_t>(1, QmNumbers::CInt(ui->txtWidth->text().toDouble()));
        ProjectHeight = std::max<int16_t>(1, QmNumbers::CInt(ui->txtHeight->text().toDouble()));
        WorkingFolder = ui->txtPath->text();
        Eng<ITWTimeline>().SetFrameSize(ProjectWidth, ProjectHeight);
        frmMediaList::instance()->setWindowTitle(QStringLiteral("Media List - Project: Untitled"));
        QmPointer::Normal();
        accept();
    });
}

void frmNewProject::cmdHelp_Click()
{
    mdiTarnwick::ShowHelpTopic(QStringLiteral("3_4_1_Creating_New_Project.htm"));
}
