#include "capture/frmCaptureOptions.h"

#include "ui_frmCaptureOptions.h"

#include "capture/frmCapture.h"
#include "capture/moduleCaptureSnap.h"
#include "core/QmDialogs.h"
#include "core/QmDimensionBoxes.h"
#include "core/QmError.h"
#include "core/QmModal.h"
#include "core/QmMsgBox.h"
#include "core/QmPointer.h"
#include "core/QmShared.h"
#include "core/moduleUtilities.h"
#include "core/QmTrap.h"
#include "engine/ITWCapture.h"
#include "export/frmAdvancedSaveOptions.h"
#include "export/frmProfileProperties.h"
#include "export/moduleProfiles.h"

using namespace QmShared;
using moduleUtilities::ChooseInCombo;

namespace {

const QString kModule = QStringLiteral("frmCaptureOptions");
const QString kUncompressed = QStringLiteral("Uncompressed");
const QString kCustom = QStringLiteral("Custom");


} // namespace

frmCaptureOptions::frmCaptureOptions(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::frmCaptureOptions>())
{
    ui->setupUi(this);
    m_dimensions = new QmDimensionBoxes(ui->txtWidth, ui->txtHeight, ui->chkLockAspectRatio, this);
    for (const char* size : {"160 x 120", "320 x 240", "640 x 480", "720 x 480", "800 x 600", "1024 x 768", "Custom"})
        ui->cboSnapDimension->addItem(QString::fromLatin1(size));
    ui->txtProfile->hide();
    connect(ui->cboSetting, &QComboBox::currentIndexChanged, this, &frmCaptureOptions::cboSetting_Click);
    connect(ui->cboProfile, &QComboBox::currentIndexChanged, this, &frmCaptureOptions::cboProfile_Click);
    connect(ui->cmdCustomProfile, &QPushButton::clicked, this, &frmCaptureOptions::cmdCustomProfile_Click);
    connect(ui->cmdDefaultSO, &QPushButton::clicked, this, &frmCaptureOptions::cmdDefaultSO_Click);
    connect(ui->optAVI, &QRadioButton::clicked, this, &frmCaptureOptions::optAVI_Click);
    connect(ui->optASF, &QRadioButton::clicked, this, &frmCaptureOptions::optASF_Click);
    connect(ui->cboSnapDimension, &QComboBox::currentIndexChanged, this, &frmCaptureOptions::cboSnapDimension_Click);
    connect(ui->cmdSnapFolderBrowse, &QPushButton::clicked, this, &frmCaptureOptions::cmdSnapFolderBrowse_Click);
    connect(ui->optSaveSnapCapDim, &QRadioButton::clicked, this, [this] {
        EnableSaveSnapCapDim(false);
        Changed();
    });
    connect(ui->optSaveSnapOthDim, &QRadioButton::clicked, this, [this] {
        EnableSaveSnapCapDim(true);
        Changed();
    });
    for (QComboBox* box : {ui->cmbVideoDevices, ui->cmbAudioDevices, ui->cmbVideoCompressors, ui->cmbAudioCompressors, ui->cboSetting})
        connect(box, &QComboBox::activated, this, &frmCaptureOptions::Changed);
    for (QLineEdit* box : {ui->txtSnapFolder, ui->txtWidth, ui->txtHeight})
        connect(box, &QLineEdit::textEdited, this, &frmCaptureOptions::Changed);
    connect(ui->chkLockAspectRatio, &QCheckBox::clicked, this, &frmCaptureOptions::Changed);
    connect(ui->tabOptions, &QTabWidget::currentChanged, this, &frmCaptureOptions::Changed);
    connect(ui->cmdOK, &QPushButton::clicked, this, &frmCaptureOptions::cmdOK_Click);
    connect(ui->cmdApply, &QPushButton::clicked, this, &frmCaptureOptions::cmdApply_Click);
    connect(ui->cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
}

frmCaptureOptions::~frmCaptureOptions() = default;

void frmCaptureOptions::ShowOptions()
{
    frmCaptureOptions& form = *instance();
    form.Form_Load();
    QmModal::Exec(form);
}

void frmCaptureOptions::Changed()
{
    if (m_loading)
        return;
    ui->cmdOK->setEnabled(true);
    ui->cmdApply->setEnabled(true);
}

void frmCaptureOptions::Form_Load()
{
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        m_loading = true;
        QmPointer::Hourglass();
        frmCapture& capture = *frmCapture::instance();
        if (capture.ProfilesPending()) {
            moduleProfiles::EnumProfiles();
            capture.SetProfilesPending(false);
        }
        frmAdvancedSaveOptions::FillWMFSetting(ui->cboSetting);
        frmAdvancedSaveOptions::FillWMFProfiles(ui->cboProfile, ui->cboSetting, true);
        cboSetting_Click();

        m_dimensions->Reset(320, 240, 320.0 / 240.0);
        const int snapTab = ui->tabOptions->indexOf(ui->TAKE_SNAP);
        if (!frmCapture::SnapsOffered() && snapTab >= 0)
            ui->tabOptions->removeTab(snapTab);

        auto& engine = Eng<ITWCapture>();
        ui->cmbVideoDevices->clear();
        ui->cmbAudioDevices->clear();
        for (int16_t i = 0;; ++i) {
            const QString name = engine.GetVideoDeviceName(i, 128).trimmed();
            if (name.isEmpty())
                break;
            ui->cmbVideoDevices->addItem(name);
        }
        for (int16_t i = 0;; ++i) {
            const QString name = engine.GetAudioDeviceName(i, 128).trimmed();
            if (name.isEmpty())
                break;
            ui->cmbAudioDevices->addItem(name);
        }
        frmAdvancedSaveOptions::FillVideoCompressors(ui->cmbVideoCompressors);
        frmAdvancedSaveOptions::FillAudioCompressors(ui->cmbAudioCompressors);

        ChooseInCombo(ui->cmbVideoCompressors, CaptureVideoCompressor.trimmed().isEmpty() ? kUncompressed : CaptureVideoCompressor.trimmed());
        ChooseInCombo(ui->cmbAudioCompressors, CaptureAudioCompressor.trimmed().isEmpty() ? kUncompressed : CaptureAudioCompressor.trimmed());
        if (VideoDeviceName.trimmed().isEmpty() || !ChooseInCombo(ui->cmbVideoDevices, VideoDeviceName.trimmed()))
            ui->cmbVideoDevices->setCurrentIndex(ui->cmbVideoDevices->count() > 0 ? 0 : -1);
        if (AudioDeviceName.trimmed().isEmpty() || !ChooseInCombo(ui->cmbAudioDevices, AudioDeviceName.trimmed()))
            ui->cmbAudioDevices->setCurrentIndex(ui->cmbAudioDevices->count() > 0 ? 0 : -1);

        if (capture.CaptureFormat() == 1) {
            ui->optASF->setChecked(true);
            SelectedOption(1);
        } else {
            ui->optAVI->setChecked(true);
            SelectedOption(0);
        }
        LoadTakeSnapOptions();
        cboSnapDimension_Click();
        ui->cmdOK->setEnabled(false);
        ui->cmdApply->setEnabled(false);
        QmPointer::Normal();
    });
    m_loading = false;
    QmPointer::Normal();
}

void frmCaptureOptions::SelectedOption(int16_t asf)
{
    m_format = asf;
    const bool wmf = asf == 1;
    for (QWidget* control : {static_cast<QWidget*>(ui->cmbVideoCompressors), static_cast<QWidget*>(ui->cmbAudioCompressors),
                             static_cast<QWidget*>(ui->lblVideoCompressor), static_cast<QWidget*>(ui->lblAudioCompressor)})
        control->setEnabled(!wmf);
    for (QWidget* control : {static_cast<QWidget*>(ui->cboSetting), static_cast<QWidget*>(ui->cboProfile),
                             static_cast<QWidget*>(ui->cmdCustomProfile), static_cast<QWidget*>(ui->lblSetting),
                             static_cast<QWidget*>(ui->lblProfile), static_cast<QWidget*>(ui->txtProfile)})
        control->setEnabled(wmf);
}

void frmCaptureOptions::optAVI_Click()
{
    SelectedOption(0);
    Changed();
}

void frmCaptureOptions::optASF_Click()
{
    SelectedOption(1);
    Changed();
}

void frmCaptureOptions::cboSetting_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cboSetting_Click"), [this] {
        if (ui->cboProfile->count() == 0)
            return;
        const int index = ui->cboSetting->currentIndex();
        if (index >= 0 && index <= 2) {
            ui->cboProfile->hide();
            ui->txtProfile->show();
            if (!ChooseInCombo(ui->cboProfile, moduleProfiles::SettingProfiles(true).at(index)))
                ui->cboProfile->setCurrentIndex(0);
        } else if (index == 3) {
            ui->cboProfile->show();
            ui->txtProfile->hide();
        }
    });
}

void frmCaptureOptions::cboProfile_Click()
{
    ui->txtProfile->setText(ui->cboProfile->currentText());
    Changed();
}

void frmCaptureOptions::cmdCustomProfile_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdCustomProfile_Click"), [this] {
        const QString name = ui->cboProfile->currentText();
        frmProfileProperties::ShowFor(name);
    });
}

void frmCaptureOptions::cmdDefaultSO_Click()
{
    ui->optAVI->setChecked(true);
    SelectedOption(0);
    ChooseInCombo(ui->cmbVideoCompressors, kUncompressed);
    ChooseInCombo(ui->cmbAudioCompressors, kUncompressed);
    if (ui->cmbVideoDevices->count() > 0)
        ui->cmbVideoDevices->setCurrentIndex(0);
    if (ui->cmbAudioDevices->count() > 0)
        ui->cmbAudioDevices->setCurrentIndex(0);
    Changed();
}

void frmCaptureOptions::EnableSaveSnapCapDim(bool other)
{
    for (QWidget* control : {static_cast<QWidget*>(ui->fmeCustomPreview), static_cast<QWidget*>(ui->lblSnapDimension),
                             static_cast<QWidget*>(ui->cboSnapDimension), static_cast<QWidget*>(ui->lblMessage)})
        control->setEnabled(other);
    if (other)
        EnableCustomDimension(ui->cboSnapDimension->currentText() == kCustom);
}

void frmCaptureOptions::EnableCustomDimension(bool custom)
{
    for (QWidget* control : {static_cast<QWidget*>(ui->txtWidth), static_cast<QWidget*>(ui->txtHeight),
                             static_cast<QWidget*>(ui->chkLockAspectRatio), static_cast<QWidget*>(ui->lblInto)})
        control->setEnabled(custom);
}

void frmCaptureOptions::cboSnapDimension_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cboSnapDimension_Click"), [this] {
        const QString text = ui->cboSnapDimension->currentText();
        if (text.isEmpty())
            return;
        const bool custom = text == kCustom;
        if (!custom) {
            const QStringList pieces = text.split(u' ', Qt::SkipEmptyParts);
            ui->txtWidth->setText(pieces.first());
            ui->txtHeight->setText(pieces.last());
        }
        EnableCustomDimension(custom && ui->optSaveSnapOthDim->isChecked());
        Changed();
    });
}

void frmCaptureOptions::cmdSnapFolderBrowse_Click()
{
    QmTrap::Run(
        kModule, QStringLiteral("cmdSnapFolderBrowse_Click"),
        [this] {
            QString folder = QmDialogs::BrowseForFolder(QStringLiteral("Select a Folder"), WorkingFolder);
            if (folder.endsWith(u'/') && folder.size() > 1)
                folder.chop(1);
            ui->txtSnapFolder->setText(folder);
            Changed();
        },
        [](const QmError& error) { return error.Number() == QmErr::DialogCancelled; });
}

void frmCaptureOptions::LoadTakeSnapOptions()
{
    ui->txtSnapFolder->setText(moduleCaptureSnap::SnapFolder());
    const QString dimension = QString::number(moduleCaptureSnap::SnapWidth()) + QStringLiteral(" x ")
                              + QString::number(moduleCaptureSnap::SnapHeight());
    if (!ChooseInCombo(ui->cboSnapDimension, dimension)) {
        ChooseInCombo(ui->cboSnapDimension, kCustom);
        m_dimensions->SetValues(QString::number(moduleCaptureSnap::SnapWidth()), QString::number(moduleCaptureSnap::SnapHeight()));
    }
    const bool capture = moduleCaptureSnap::SnapUseCaptureDimension();
    ui->optSaveSnapCapDim->setChecked(capture);
    ui->optSaveSnapOthDim->setChecked(!capture);
    EnableSaveSnapCapDim(!capture);
}

void frmCaptureOptions::SaveTakeSnapOptions()
{
    const QString folder = ui->txtSnapFolder->text().trimmed();
    if (!folder.isEmpty())
        moduleCaptureSnap::SetSnapFolder(folder);
    bool wide = false, high = false;
    const int width = ui->txtWidth->text().trimmed().toInt(&wide);
    const int height = ui->txtHeight->text().trimmed().toInt(&high);
    if (wide && high && width > 0 && height > 0)
        moduleCaptureSnap::SetSnapDimension(static_cast<int16_t>(width), static_cast<int16_t>(height));
    moduleCaptureSnap::SetSnapUseCaptureDimension(ui->optSaveSnapCapDim->isChecked());
    moduleCaptureSnap::StoreSnapSettings();
}

void frmCaptureOptions::ApplyDevicesAndCompressors()
{
    auto& engine = Eng<ITWCapture>();
    const QString video = ui->cmbVideoDevices->currentText().trimmed();
    if (!video.isEmpty()) {
        engine.SetVideoDevice(video);
        VideoDeviceName = video;
    } else {
        engine.SetVideoDevice(VideoDeviceName);
    }
    const QString audio = ui->cmbAudioDevices->currentText().trimmed();
    if (!audio.isEmpty()) {
        engine.SetAudioDevice(audio);
        AudioDeviceName = audio;
    } else {
        engine.SetAudioDevice(AudioDeviceName);
    }
    const QString videoCompressor = ui->cmbVideoCompressors->currentText().trimmed();
    if (!videoCompressor.isEmpty()) {
        if (videoCompressor != kUncompressed)
            engine.SetCaptureVideoCompressor(videoCompressor);
        CaptureVideoCompressor = videoCompressor;
    }
    const QString audioCompressor = ui->cmbAudioCompressors->currentText().trimmed();
    if (!audioCompressor.isEmpty()) {
        if (audioCompressor != kUncompressed)
            engine.SetCaptureAudioCompressor(audioCompressor);
        CaptureAudioCompressor = audioCompressor;
    }
}

void frmCaptureOptions::RestoreCapture()
{
    auto& engine = Eng<ITWCapture>();
    engine.StopCapture();
    engine.ReleaseCapture();
    engine.InitCapture();
    engine.SetVideoDevice(VideoDeviceName);
    engine.SetAudioDevice(AudioDeviceName);
    frmCapture& capture = *frmCapture::instance();
    engine.BuildGraph();
    capture.ShowLivePicture();
    engine.RunGraph();
    capture.ApplyPreviewRule();
    capture.ResizeToCaptureDimension();
}

void frmCaptureOptions::cmdOK_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdOK_Click"), [this] {
        auto& engine = Eng<ITWCapture>();
        frmCapture& capture = *frmCapture::instance();
        engine.StopCapture();
        engine.ReleaseCapture();
        engine.InitCapture();
        ApplyDevicesAndCompressors();

        const int16_t format = ui->optASF->isChecked() ? 1 : 0;
        capture.SetCaptureFormat(format);
        capture.SetCaptureProfileName(ui->cboProfile->currentText());
        // The place in this box, which holds video profiles only, is what the capture
        // opens as a system profile's index.
        capture.SetCaptureProfileIndex(static_cast<int16_t>(ui->cboProfile->currentIndex()));

        const QString extension = format == 1 ? QStringLiteral(".asf") : QStringLiteral(".avi");
        const QString file = capture.CaptureFile().trimmed();
        if (file.isEmpty()) {
            capture.SetCaptureFile(WorkingFolder + (format == 1 ? QStringLiteral("/Capture1.asf") : QStringLiteral("/Capture1.avi")));
        } else {
            // Every piece but the last, joined with nothing between: inner dots go.
            QStringList pieces = file.split(u'.');
            if (pieces.size() > 1)
                pieces.removeLast();
            capture.SetCaptureFile(pieces.join(QString()) + extension);
        }

        const bool built = engine.BuildGraph();
        capture.ShowLivePicture();
        if (built && engine.RunGraph()) {
            capture.ApplyPreviewRule();
            SaveTakeSnapOptions();
            capture.TickStreamsOn();
            capture.ResizeToCaptureDimension();
            accept();
            return;
        }
        MsgBox(QStringLiteral("Compressor Failure: Please select another compressor and try again."), QmMsgBox::Icon::Critical);
        RestoreCapture();
    });
}

void frmCaptureOptions::cmdApply_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdApply_Click"), [this] {
        auto& engine = Eng<ITWCapture>();
        frmCapture& capture = *frmCapture::instance();
        engine.ReleaseCapture();
        engine.InitCapture();
        ApplyDevicesAndCompressors();
        engine.BuildGraph();
        capture.ShowLivePicture();
        engine.RunGraph();
        SaveTakeSnapOptions();
        capture.ResizeToCaptureDimension();
        ui->cmdOK->setEnabled(false);
        ui->cmdApply->setEnabled(false);
    });
}
