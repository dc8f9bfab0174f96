#include "capture/frmCaptureValues.h"

#include "ui_frmCaptureValues.h"

#include "capture/frmCapture.h"
#include "core/QmDialogs.h"
#include "core/QmError.h"
#include "core/QmModal.h"
#include "core/QmMsgBox.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"

#include <QKeyEvent>

#include <cmath>

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("frmCaptureValues");

// The working folder without a trailing separator.
QString Folder()
{
    QString folder = WorkingFolder;
    if (folder.endsWith(u'/') && folder.size() > 1)
        folder.chop(1);
    return folder;
}

} // namespace

frmCaptureValues::frmCaptureValues(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::frmCaptureValues>())
{
    ui->setupUi(this);
    ui->txtDuration->installEventFilter(this);
    connect(ui->chkShowWindow, &QCheckBox::clicked, this, &frmCaptureValues::chkShowWindow_Click);
    connect(ui->optManualStop, &QRadioButton::clicked, this, &frmCaptureValues::optManualStop_Click);
    connect(ui->optDurationStop, &QRadioButton::clicked, this, &frmCaptureValues::optDurationStop_Click);
    connect(ui->cmdBrowse, &QPushButton::clicked, this, &frmCaptureValues::cmdBrowse_Click);
    connect(ui->cmdOK, &QPushButton::clicked, this, &frmCaptureValues::cmdOK_Click);
    connect(ui->cmdCancel, &QPushButton::clicked, this, &frmCaptureValues::cmdCancel_Click);
}

frmCaptureValues::~frmCaptureValues() = default;

void frmCaptureValues::ShowFor(const QString& title, const QString& okCaption)
{
    frmCaptureValues& form = *instance();
    form.setWindowTitle(title);
    form.ui->cmdOK->setText(okCaption);
    form.Form_Load();
    QmModal::Exec(form);
}

void frmCaptureValues::Form_Load()
{
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        frmCapture& capture = *frmCapture::instance();
        const bool asf = capture.CaptureFormat() == 1;
        if (capture.CaptureFile().trimmed().isEmpty())
            ui->txtCaptureFile->setText(Folder() + (asf ? QStringLiteral("/Capture.asf") : QStringLiteral("/Capture.avi")));
        else
            ui->txtCaptureFile->setText(capture.CaptureFile());
        ui->chkShowWindow->setChecked(capture.ShowStartDialog() == 0);
        const bool duration = capture.StopMode() == 1;
        ui->optDurationStop->setChecked(duration);
        ui->optManualStop->setChecked(!duration);
        ui->txtDuration->setEnabled(duration);
        ui->txtDuration->setText(duration ? QString::number(capture.CaptureDuration()) : QString());
    });
}

bool frmCaptureValues::eventFilter(QObject* watched, QEvent* event)
{
    // The duration box takes digits, the point, backspace and the two arrow keys' codes
    // (39 and 37, which are also the apostrophe and the percent sign).
    if (watched == ui->txtDuration && event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        const QString text = key->text();
        if (key->key() == Qt::Key_Backspace || key->key() == Qt::Key_Left || key->key() == Qt::Key_Right)
            return false;
        if (text.size() == 1) {
            const char16_t code = text.at(0).unicode();
            const bool allowed = (code >= 48 && code <= 57) || code == 46 || code == 8 || code == 39 || code == 37;
            return !allowed;
        }
        return !(key->modifiers() & Qt::ControlModifier) && !text.isEmpty();
    }
    return QDialog::eventFilter(watched, event);
}

void frmCaptureValues::chkShowWindow_Click()
{
    frmCapture::instance()->SetShowStartDialog(ui->chkShowWindow->isChecked() ? 0 : 1);
}

void frmCaptureValues::optManualStop_Click()
{
    frmCapture::instance()->SetStopMode(0);
    ui->txtDuration->setEnabled(false);
}

void frmCaptureValues::optDurationStop_Click()
{
    frmCapture& capture = *frmCapture::instance();
    capture.SetStopMode(1);
    ui->txtDuration->setEnabled(true);
    ui->txtDuration->setText(QString::number(capture.CaptureDuration()));
}

void frmCaptureValues::cmdBrowse_Click()
{
    QmTrap::Run(
        kModule, QStringLiteral("cmdBrowse_Click"),
        [this] {
            QmDialogs::FileRequest request;
            request.filter = frmCapture::instance()->CaptureFormat() == 1 ? QStringLiteral("Asf File|*.asf") : QStringLiteral("Avi File|*.avi");
            request.fileName = ui->txtCaptureFile->text();
            ui->txtCaptureFile->setText(QmDialogs::ShowSave(request).fileName);
        },
        [](const QmError& error) { return error.Number() == QmErr::DialogCancelled; });
}

void frmCaptureValues::cmdOK_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdOK_Click"), [this] {
        frmCapture& capture = *frmCapture::instance();
        if (capture.StopMode() == 1 && ui->txtDuration->text().trimmed().isEmpty()) {
            MsgBox(QStringLiteral("Please specify a valid capture duration."));
            ui->txtDuration->setFocus();
            return;
        }
        if (capture.StopMode() == 1) {
            // What the key filter lets through and is still no number fails here.
            bool ok = false;
            const double seconds = ui->txtDuration->text().trimmed().toDouble(&ok);
            if (!ok)
                throw QmError(QmErr::TypeMismatch, QStringLiteral("Type mismatch"));
            capture.SetCaptureDuration(static_cast<int32_t>(std::nearbyint(seconds)));
        }
        capture.SetCaptureFile(ui->txtCaptureFile->text().trimmed());
        accept();
    });
}

void frmCaptureValues::cmdCancel_Click()
{
    reject();
}

void frmCaptureValues::reject()
{
    // Closed without OK, as with Cancel: before a capture, no capture.
    if (ui->cmdOK->text() == u"Start")
        CaptureAllowed = false;
    QDialog::reject();
}
