#include "export/frmAdvancedSaveOptions.h"

#include "ui_frmAdvancedSaveOptions.h"

#include "core/QmDimensionBoxes.h"
#include "core/QmModal.h"
#include "core/QmNumbers.h"
#include "core/QmPointer.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/moduleUtilities.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWSave.h"
#include "engine/ITWStreamInfo.h"
#include "engine/ITWTimeline.h"
#include "export/frmExportTimeline.h"
#include "export/frmProfileProperties.h"
#include "export/moduleProfiles.h"
#include "shell/mdiTarnwick.h"

#include <QRadioButton>

using namespace QmShared;
using moduleUtilities::ChooseInCombo;
using moduleUtilities::IsInCombo;

namespace {

const QString kModule = QStringLiteral("frmAdvancedSaveOptions");
const QString kUncompressed = QStringLiteral("Uncompressed");
const QString kCustom = QStringLiteral("Custom");

// A compressor list of the engine into a box, "Uncompressed" last and chosen.
void FillCompressors(QComboBox* box, bool video)
{
    auto& save = Eng<ITWSave>();
    box->clear();
    video ? save.OpenVideoCompressorList() : save.OpenAudioCompressorList();
    for (int16_t index = 0;; ++index) {
        const QString name = (video ? save.GetVideoCompressorName(index, 128) : save.GetAudioCompressorName(index, 128)).trimmed();
        if (name.isEmpty())
            break;
        box->addItem(name);
    }
    video ? save.CloseVideoCompressorList() : save.CloseAudioCompressorList();
    box->addItem(kUncompressed);
    box->setCurrentIndex(box->count() - 1);
}


} // namespace

frmAdvancedSaveOptions::frmAdvancedSaveOptions(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::frmAdvancedSaveOptions>())
{
    ui->setupUi(this);
    m_dimensions = new QmDimensionBoxes(ui->txtWidth, ui->txtHeight, ui->chkLockAspectRatio, this);
    // Each slider shows its value beside it.
    for (auto [slider, label] : {std::pair{ui->sldFPS, ui->lblFPS}, std::pair{ui->sldKeyFrameRate, ui->lblKeyFrameRate},
                                 std::pair{ui->sldPFrameFrequency, ui->lblPFrameFrequency},
                                 std::pair{ui->sldQuality, ui->lblQuality}}) {
        QLabel* shown = label;
        connect(slider, &QSlider::valueChanged, this, [shown](int value) { shown->setText(QString::number(value)); });
    }
    connect(ui->chkFrameRate, &QCheckBox::toggled, this, &frmAdvancedSaveOptions::chkFrameRate_Click);
    connect(ui->chkKeyFrameRate, &QCheckBox::toggled, this, &frmAdvancedSaveOptions::chkKeyFrameRate_Click);
    connect(ui->chkPFrameFrequency, &QCheckBox::toggled, this, &frmAdvancedSaveOptions::chkPFrameFrequency_Click);
    connect(ui->chkQuality, &QCheckBox::toggled, this, &frmAdvancedSaveOptions::chkQuality_Click);
    connect(ui->cboVideoCompressor, &QComboBox::activated, this, &frmAdvancedSaveOptions::cboVideoCompressor_Click);
    connect(ui->cboAudioCompressor, &QComboBox::activated, this, &frmAdvancedSaveOptions::cboAudioCompressor_Click);
    connect(ui->cboVideoDimension, &QComboBox::currentIndexChanged, this, &frmAdvancedSaveOptions::cboVideoDimension_Click);
    connect(ui->cboSetting, &QComboBox::currentIndexChanged, this, &frmAdvancedSaveOptions::cboSetting_Click);
    connect(ui->cboProfile, &QComboBox::currentIndexChanged, this, &frmAdvancedSaveOptions::cboProfile_Click);
    connect(ui->cmdProperties, &QPushButton::clicked, this, &frmAdvancedSaveOptions::cmdProperties_Click);
    connect(ui->cmdOK, &QPushButton::clicked, this, &frmAdvancedSaveOptions::cmdOK_Click);
    connect(ui->cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(ui->cmdHelp, &QPushButton::clicked, this, &frmAdvancedSaveOptions::cmdHelp_Click);
    ui->txtProfile->hide();
}

frmAdvancedSaveOptions::~frmAdvancedSaveOptions() = default;

void frmAdvancedSaveOptions::Form_Load()
{
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        QmPointer::Hourglass();
        m_dimensions->Reset(320, 240, 320.0 / 240.0);

        FillVideoCompressors(ui->cboVideoCompressor);
        FillAudioCompressors(ui->cboAudioCompressor);
        FillVideoDimensions(ui->cboVideoDimension);

        if (!ChooseInCombo(ui->cboVideoCompressor, m_videoCompressorName))
            ChooseInCombo(ui->cboVideoCompressor, kUncompressed);
        cboVideoCompressor_Click();
        if (!ChooseInCombo(ui->cboAudioCompressor, m_audioCompressorName))
            ChooseInCombo(ui->cboAudioCompressor, kUncompressed);
        cboAudioCompressor_Click();

        FillWMFSetting(ui->cboSetting);
        FillWMFProfiles(ui->cboProfile, ui->cboSetting, frmExportTimeline::instance()->IsVideoApplicable());
        cboSetting_Click();

        auto& save = Eng<ITWSave>();
        const std::pair<int16_t, std::pair<QCheckBox*, QSlider*>> values[] = {
            {save.GetFrameRate(), {ui->chkFrameRate, ui->sldFPS}},
            {save.GetKeyFrameRate(), {ui->chkKeyFrameRate, ui->sldKeyFrameRate}},
            {save.GetQuality(), {ui->chkQuality, ui->sldQuality}},
            {save.GetPFrameFrequency(), {ui->chkPFrameFrequency, ui->sldPFrameFrequency}},
        };
        for (const auto& [value, controls] : values) {
            controls.first->setChecked(value != -1);
            if (value != -1)
                controls.second->setValue(value);
        }

        SelectTab(frmExportTimeline::instance()->optAVI()->isChecked() ? QStringLiteral("AVI_OPTIONS")
                                                                       : QStringLiteral("WMF_OPTIONS"));
        ui->txtTitle->setText(m_title);
        ui->txtAuthor->setText(m_author);
        ui->txtRating->setText(m_rating);
        ui->txtCopyright->setText(m_copyright);
        ui->txtDescription->setText(m_description);

        // The engine's size: an entry of the list, else the custom size.
        const QString width = QString::number(save.GetVideoWidth()), height = QString::number(save.GetVideoHeight());
        if (!ChooseInCombo(ui->cboVideoDimension, width + QStringLiteral(" x ") + height)) {
            ChooseInCombo(ui->cboVideoDimension, kCustom);
            m_dimensions->SetValues(width, height);
        }
    });
    QmPointer::Normal();
}

void frmAdvancedSaveOptions::FillVideoCompressors(QComboBox* box)
{
    QmTrap::Run(kModule, QStringLiteral("FillVideoCompressors"), [box] { FillCompressors(box, true); });
}

void frmAdvancedSaveOptions::FillAudioCompressors(QComboBox* box)
{
    QmTrap::Run(kModule, QStringLiteral("FillAudioCompressors"), [box] { FillCompressors(box, false); });
}

void frmAdvancedSaveOptions::FillVideoDimensions(QComboBox* box)
{
    QmTrap::Run(kModule, QStringLiteral("FillVideoDimensions"), [box] {
        auto& tl = Eng<ITWTimeline>();
        const int32_t track = TrackCollection.Item(1);
        const QSignalBlocker quiet(box);
        box->clear();
        auto add = [box](const QString& text) {
            if (!IsInCombo(box, text))
                box->addItem(text);
        };
        for (int16_t seq = 0; seq < tl.GetSourceCount(track); ++seq) {
            Eng<ITWMediaFiles>().SelectStream(tl.GetSourceStream(track, seq));
            int32_t height = 0, width = 0;
            Eng<ITWStreamInfo>().GetVideoSize(height, width);
            add(QString::number(width) + QStringLiteral(" x ") + QString::number(height));
        }
        for (const char* size : {"320 x 240", "160 x 120", "640 x 480", "720 x 480", "800 x 600", "1024 x 768"})
            add(QString::fromLatin1(size));
        add(kCustom);
        box->setCurrentIndex(-1);
    });
    ChooseInCombo(box, QStringLiteral("320 x 240"));
}

void frmAdvancedSaveOptions::FillWMFSetting(QComboBox* box)
{
    QmTrap::Run(kModule, QStringLiteral("FillWMFSetting"), [box] {
        box->clear();
        for (const char* setting : {"Low Quality", "Medium Quality (Recommended)", "High Quality", "Other..."})
            box->addItem(QString::fromLatin1(setting));
    });
}

void frmAdvancedSaveOptions::FillWMFProfiles(QComboBox* profileBox, QComboBox* settingBox, bool bVideo)
{
    QmTrap::Run(kModule, QStringLiteral("FillWMFProfiles"), [=] {
        profileBox->clear();
        for (int i = 0; i < moduleProfiles::ProfileCount(); ++i)
            if (moduleProfiles::VideoPresent(i) == bVideo)
                profileBox->addItem(moduleProfiles::ProfileName(i));
        if (profileBox->count() > 0)
            profileBox->setCurrentIndex(0);
        auto& save = Eng<ITWSave>();
        const QString current = (bVideo ? save.GetVideoProfile(260) : save.GetAudioProfile(260)).trimmed();
        ChooseInCombo(profileBox, current);
        const int setting = moduleProfiles::SettingProfiles(bVideo).indexOf(current);
        settingBox->setCurrentIndex(setting >= 0 ? setting : 3);
    });
}

void frmAdvancedSaveOptions::cboVideoCompressor_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cboVideoCompressor_Click"), [this] {
        auto& save = Eng<ITWSave>();
        save.SetVideoCompressor(ui->cboVideoCompressor->currentText());
        const int32_t index = save.GetVideoCompressorIndex();
        const std::tuple<bool, QCheckBox*, QSlider*, QLabel*> rows[] = {
            {save.CanSetKeyFrameRate(index), ui->chkKeyFrameRate, ui->sldKeyFrameRate, ui->lblKeyFrameRate},
            {save.CanSetPFrameFrequency(index), ui->chkPFrameFrequency, ui->sldPFrameFrequency, ui->lblPFrameFrequency},
            {save.CanSetQuality(index), ui->chkQuality, ui->sldQuality, ui->lblQuality},
        };
        for (const auto& [can, check, slider, label] : rows) {
            check->setEnabled(can);
            slider->setEnabled(can);
            label->setEnabled(can);
        }
        chkFrameRate_Click();
        chkKeyFrameRate_Click();
        chkPFrameFrequency_Click();
        chkQuality_Click();
    });
}

void frmAdvancedSaveOptions::cboAudioCompressor_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cboAudioCompressor_Click"),
                [this] { Eng<ITWSave>().SetAudioCompressor(ui->cboAudioCompressor->currentText()); });
}

namespace {

// A check box turns its slider and label on while it is itself on and ticked.
void FollowCheck(QCheckBox* check, QSlider* slider, QLabel* label)
{
    const bool on = check->isEnabled() && check->isChecked();
    slider->setEnabled(on);
    label->setEnabled(on);
}

} // namespace

void frmAdvancedSaveOptions::chkFrameRate_Click()
{
    FollowCheck(ui->chkFrameRate, ui->sldFPS, ui->lblFPS);
}

void frmAdvancedSaveOptions::chkKeyFrameRate_Click()
{
    FollowCheck(ui->chkKeyFrameRate, ui->sldKeyFrameRate, ui->lblKeyFrameRate);
}

void frmAdvancedSaveOptions::chkPFrameFrequency_Click()
{
    FollowCheck(ui->chkPFrameFrequency, ui->sldPFrameFrequency, ui->lblPFrameFrequency);
}

void frmAdvancedSaveOptions::chkQuality_Click()
{
    FollowCheck(ui->chkQuality, ui->sldQuality, ui->lblQuality);
}

void frmAdvancedSaveOptions::cboVideoDimension_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cboVideoDimension_Click"), [this] {
        const QString text = ui->cboVideoDimension->currentText();
        if (text.isEmpty())
            return;
        const bool custom = text == kCustom;
        if (!custom) {
            const QStringList pieces = text.split(u' ', Qt::SkipEmptyParts);
            ui->txtWidth->setText(pieces.first());
            ui->txtHeight->setText(pieces.last());
        }
        if (custom == m_customEnabled)
            return;
        m_customEnabled = custom;
        for (QWidget* control : {static_cast<QWidget*>(ui->fmeCustomPreview), static_cast<QWidget*>(ui->txtWidth),
                                 static_cast<QWidget*>(ui->txtHeight), static_cast<QWidget*>(ui->chkLockAspectRatio),
                                 static_cast<QWidget*>(ui->lblInto)})
            control->setEnabled(custom);
    });
}

void frmAdvancedSaveOptions::cboSetting_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cboSetting_Click"), [this] {
        if (ui->cboProfile->count() == 0)
            return;
        const int index = ui->cboSetting->currentIndex();
        if (index >= 0 && index <= 2) {
            const bool video = moduleProfiles::VideoPresent(moduleProfiles::GetIndex(ui->cboProfile->currentText()));
            ui->cboProfile->hide();
            ui->txtProfile->show();
            if (!ChooseInCombo(ui->cboProfile, moduleProfiles::SettingProfiles(video).at(index)))
                ui->cboProfile->setCurrentIndex(0);
        } else if (index == 3) {
            ui->cboProfile->show();
            ui->txtProfile->hide();
        }
    });
}

void frmAdvancedSaveOptions::cboProfile_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cboProfile_Click"), [this] {
        FillProfileProperties();
        ui->txtProfile->setText(ui->cboProfile->currentText());
    });
}

void frmAdvancedSaveOptions::FillProfileProperties()
{
    QmTrap::Run(kModule, QStringLiteral("FillProfileProperties"), [this] {
        const auto [fps, width, height, frequency] = moduleProfiles::ReadProfileFacts(ui->cboProfile->currentText());
        ui->txtDimension->setText(width > 0 ? QString::number(width) + QStringLiteral(" x ") + QString::number(height)
                                                  + QStringLiteral(" pixels")
                                            : QStringLiteral("- "));
        ui->txtFrameRate->setText(fps > 0 ? QString::number(fps) + QStringLiteral(" frames per second") : QStringLiteral("- "));
        ui->txtFrequency->setText(QmDimensionBoxes::Decimal(frequency / 1000.0) + QStringLiteral(" KHz"));
    });
}

void frmAdvancedSaveOptions::cmdProperties_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdProperties_Click"), [this] {
        const QString name = ui->cboProfile->currentText();
        frmProfileProperties::ShowFor(name);
    });
}

void frmAdvancedSaveOptions::cmdOK_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdOK_Click"), [this] {
        auto& save = Eng<ITWSave>();
        auto value = [](QCheckBox* check, QLabel* label) { return check->isChecked() ? label->text().toInt() : -1; };
        save.SetFrameRate(value(ui->chkFrameRate, ui->lblFPS));
        save.SetKeyFrameRate(value(ui->chkKeyFrameRate, ui->lblKeyFrameRate));
        save.SetQuality(value(ui->chkQuality, ui->lblQuality));
        save.SetPFrameFrequency(value(ui->chkPFrameFrequency, ui->lblPFrameFrequency));
        save.SetVideoSize(QmNumbers::CLng(ui->txtWidth->text().trimmed().toDouble()),
                          QmNumbers::CLng(ui->txtHeight->text().trimmed().toDouble()));
        const QString profile = ui->cboProfile->currentText();
        if (!profile.trimmed().isEmpty()) {
            if (moduleProfiles::VideoPresent(moduleProfiles::GetIndex(profile)))
                save.SetVideoProfile(profile);
            else
                save.SetAudioProfile(profile);
        }
        m_videoCompressorName = ui->cboVideoCompressor->currentText();
        m_audioCompressorName = ui->cboAudioCompressor->currentText();
        m_title = ui->txtTitle->text().trimmed();
        m_author = ui->txtAuthor->text().trimmed();
        m_rating = ui->txtRating->text().trimmed();
        m_copyright = ui->txtCopyright->text().trimmed();
        m_description = ui->txtDescription->text().trimmed();
        accept();
    });
}

void frmAdvancedSaveOptions::cmdHelp_Click()
{
    mdiTarnwick::ShowHelpTopic(SelectedTab() == u"AVI_OPTIONS" ? QStringLiteral("3_5_2_Advanced_Save_Options.htm")
                                                               : QStringLiteral("3_5_2a_Advanced_Save_Options_WMF.htm"));
}

QString frmAdvancedSaveOptions::SelectedTab() const
{
    return ui->tbsOptions->currentWidget() == ui->fmeAVIOptions ? QStringLiteral("AVI_OPTIONS") : QStringLiteral("WMF_OPTIONS");
}

void frmAdvancedSaveOptions::SelectTab(const QString& key)
{
    ui->tbsOptions->setCurrentWidget(key == u"AVI_OPTIONS" ? ui->fmeAVIOptions : ui->fmeWMFOptions);
}
