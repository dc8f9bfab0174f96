#include "export/frmProfileProperties.h"

#include "ui_frmProfileProperties.h"

#include "core/QmDimensionBoxes.h"
#include "core/QmModal.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "engine/ITWProfiles.h"
#include "export/moduleProfiles.h"

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("frmProfileProperties");

} // namespace

frmProfileProperties::frmProfileProperties(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::frmProfileProperties>())
{
    ui->setupUi(this);
    connect(ui->cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
}

frmProfileProperties::~frmProfileProperties() = default;

void frmProfileProperties::SetProfileDetails(int16_t iSystemIndex, const QString& sName, bool bSystemProfileSet)
{
    m_systemIndex = iSystemIndex;
    m_name = sName;
    m_system = bSystemProfileSet;
}

void frmProfileProperties::Form_Load()
{
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        // The window is made once: the video tab that the last profile dropped comes back.
        if (ui->tbs->indexOf(ui->fmeVideoProperties) < 0)
            ui->tbs->insertTab(1, ui->fmeVideoProperties, QStringLiteral("Video"));
        ui->tbs->setCurrentIndex(0);
        auto& profiles = Eng<ITWProfiles>();
        const bool opened = m_system ? profiles.OpenSystemProfile(m_systemIndex) : profiles.OpenProfile(m_name);
        if (!opened)
            return;
        SetGeneralProperties();
        SetVideoAudioProperties();
        profiles.CloseProfile();
    });
}

void frmProfileProperties::SetGeneralProperties()
{
    auto& profiles = Eng<ITWProfiles>();
    ui->txtProfileName->setText(profiles.GetProfileName(500).trimmed());
    ui->txtDescription->setPlainText(profiles.GetProfileDescription(5000).trimmed());
    const int16_t count = profiles.GetStreamCount();
    QString streams = QString::number(count);
    if (count > 1)
        streams += QStringLiteral(" (") + QString::number(count - 1) + QStringLiteral(" Video and 1 Audio Stream)");
    ui->txtTotalStreams->setText(streams);
}

void frmProfileProperties::SetVideoAudioProperties()
{
    auto& profiles = Eng<ITWProfiles>();
    ui->lvwStreamDetails->clear();
    int16_t width = 0, height = 0, channels = 0;
    int32_t sampleRate = 0;
    bool video = false;
    const int16_t count = profiles.GetStreamCount();
    for (int16_t i = 0; i < count; ++i) {
        if (!profiles.SelectStream(i))
            continue;
        if (profiles.GetStreamType() != ITWProfiles::VideoStream) {
            channels = profiles.GetAudioChannels();
            sampleRate = profiles.GetAudioSampleRate();
        } else {
            video = true;
            width = profiles.GetVideoWidth();
            height = profiles.GetVideoHeight();
            auto* row = new QTreeWidgetItem(ui->lvwStreamDetails);
            row->setText(0, QString::number(ui->lvwStreamDetails->topLevelItemCount()));
            row->setText(1, profiles.GetStreamName(128).trimmed());
            row->setText(2, QString::number(profiles.GetStreamBitRate() / 1000) + QStringLiteral(" Kbps"));
            row->setText(3, QString::number(profiles.GetVideoFps()) + QStringLiteral(" fps"));
            row->setText(4, QString::number(profiles.GetKeyFrameInterval()) + QStringLiteral(" seconds"));
            row->setText(5, QString::number(profiles.GetVideoQuality()));
        }
        profiles.CloseStream();
    }
    ui->txtVideoDimension->setText(video ? QString::number(width) + QStringLiteral(" x ") + QString::number(height)
                                               + QStringLiteral(" pixels")
                                         : QStringLiteral("-"));
    ui->txtAudioFormat->setText(QmDimensionBoxes::Decimal(sampleRate / 1000.0) + QStringLiteral(" KHz")
                                + (channels == 1 ? QStringLiteral(", Mono") : QStringLiteral(", Stereo")));
    if (ui->lvwStreamDetails->topLevelItemCount() == 0)
        ui->tbs->removeTab(ui->tbs->indexOf(ui->fmeVideoProperties));
}

void frmProfileProperties::ShowFor(const QString& name)
{
    frmProfileProperties& properties = *instance();
    if (moduleProfiles::IsSystemProfile(name))
        properties.SetProfileDetails(moduleProfiles::GetSysProfileIndex(name), QString(), true);
    else
        properties.SetProfileDetails(0, name, false);
    properties.Form_Load();
    QmModal::Exec(properties);
}
