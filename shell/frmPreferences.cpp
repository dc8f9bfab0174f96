#include "shell/frmPreferences.h"

#include "ui_frmPreferences.h"

#include "core/QmColors.h"
#include "core/QmDialogs.h"
#include "core/QmDimensionBoxes.h"
#include "core/QmModal.h"
#include "core/QmMsgBox.h"
#include "core/QmPointer.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "engine/ITWProfiles.h"
#include "engine/ITWSave.h"
#include "export/frmAdvancedSaveOptions.h"
#include "export/frmProfileProperties.h"
#include "export/moduleProfiles.h"
#include "shell/ModuleSettings.h"
#include "shell/QmCommands.h"
#include "shell/mdiTarnwick.h"
#include "timeline/moduleTimeline.h"

#include <QDir>
#include <QFileInfo>

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("frmPreferences");
const QString kCustom = QStringLiteral("Custom");
const char* const kBackColor = "BackColor";

// The three settings each profile list offers, as positions of moduleProfiles::SettingProfiles.
const QStringList& SettingNames()
{
    static const QStringList names = {QStringLiteral("Low Quality"), QStringLiteral("Medium Quality (Recommended)"),
                                      QStringLiteral("High Quality")};
    return names;
}

} // namespace

frmPreferences::frmPreferences(QWidget* parent)
    : QDialog(parent ? parent : (mdiTarnwick::exists() ? mdiTarnwick::instance() : nullptr))
    , ui(std::make_unique<Ui::frmPreferences>())
{
    ui->setupUi(this);
    m_dimensions = new QmDimensionBoxes(ui->txtWidth, ui->txtHeight, ui->chkLockAspectRatio, this);

    // Each slider shows its value beside it; every value the user can change turns Apply on.
    for (auto [slider, label] : {std::pair{ui->sldFPS, ui->lblFPS}, std::pair{ui->sldKeyFrameRate, ui->lblKeyFrameRate},
                                 std::pair{ui->sldQuality, ui->lblQuality},
                                 std::pair{ui->sldPFrameFrequency, ui->lblPFrameFrequency}}) {
        QLabel* shown = label;
        connect(slider, &QSlider::valueChanged, this, [this, shown](int value) {
            shown->setText(QString::number(value));
            AnyChange();
        });
    }
    for (QComboBox* box : {ui->cboVideoCompressorST, ui->cboAudioCompressorST, ui->cboVideoDimension, ui->cboVideoSetting,
                           ui->cboVideoProfile, ui->cboAudioSetting, ui->cboAudioProfile})
        connect(box, &QComboBox::currentIndexChanged, this, &frmPreferences::AnyChange);
    for (QLineEdit* box : {ui->txtPath, ui->txtWidth, ui->txtHeight})
        connect(box, &QLineEdit::textChanged, this, &frmPreferences::AnyChange);
    for (QCheckBox* box : {ui->chkDoNotShowTutorial, ui->chkPreview, ui->chkLockAspectRatio})
        connect(box, &QCheckBox::toggled, this, &frmPreferences::AnyChange);

    connect(ui->cboVideoCompressorST, &QComboBox::currentIndexChanged, this, &frmPreferences::cboVideoCompressorST_Click);
    connect(ui->cboVideoDimension, &QComboBox::currentIndexChanged, this, &frmPreferences::cboVideoDimension_Click);
    connect(ui->cboVideoSetting, &QComboBox::activated, this, &frmPreferences::OnCboVideoSettingClick);
    connect(ui->cboAudioSetting, &QComboBox::activated, this, &frmPreferences::OnCboAudioSettingClick);
    connect(ui->cboVideoProfile, &QComboBox::currentTextChanged, this,
            [this](const QString& name) { ui->txtVideoProfile->setPlainText(ProfileDescription(name)); });
    connect(ui->cboAudioProfile, &QComboBox::currentTextChanged, this,
            [this](const QString& name) { ui->txtAudioProfile->setPlainText(ProfileDescription(name)); });

    connect(ui->cmdOk, &QPushButton::clicked, this, &frmPreferences::cmdOk_Click);
    connect(ui->cmdApply, &QPushButton::clicked, this, &frmPreferences::cmdApply_Click);
    connect(ui->cmdCancel, &QPushButton::clicked, this, &frmPreferences::cmdCancel_Click);
    connect(ui->Command1, &QPushButton::clicked, this, &frmPreferences::Command1_Click);
    connect(ui->cmdBrowse, &QPushButton::clicked, this, &frmPreferences::cmdBrowse_Click);
    connect(ui->cmdVideo, &QPushButton::clicked, this, &frmPreferences::cmdVideo_Click);
    connect(ui->cmdAudio, &QPushButton::clicked, this, &frmPreferences::cmdAudio_Click);
    connect(ui->cmdEffects, &QPushButton::clicked, this, &frmPreferences::cmdEffects_Click);
    connect(ui->cmdOverlays, &QPushButton::clicked, this, &frmPreferences::cmdOverlays_Click);
    connect(ui->cmdDefault, &QPushButton::clicked, this, &frmPreferences::cmdDefault_Click);
    connect(ui->cmdDefaultSO, &QPushButton::clicked, this, &frmPreferences::cmdDefaultSO_Click);
    connect(ui->cmdVideoProperties, &QPushButton::clicked, this, &frmPreferences::cmdVideoProperties_Click);
    connect(ui->cmdAudioProperties, &QPushButton::clicked, this, &frmPreferences::cmdAudioProperties_Click);
    connect(ui->cmdVideoDefault, &QPushButton::clicked, this, &frmPreferences::cmdVideoDefault_Click);
    connect(ui->cmdAudioDefault, &QPushButton::clicked, this, &frmPreferences::cmdAudioDefault_Click);
}

frmPreferences::~frmPreferences() = default;

void frmPreferences::RegisterCommands()
{
    QmCommands::Register(QStringLiteral("mnuToolsOptions"), &frmPreferences::ShowOptions);
}

void frmPreferences::ShowOptions()
{
    frmPreferences& form = *instance();
    form.Form_Load();
    QmModal::Exec(form);
}

void frmPreferences::Form_Load()
{
    m_loading = true;
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        QmPointer::Hourglass();
        frmAdvancedSaveOptions::FillVideoCompressors(ui->cboVideoCompressorST);
        frmAdvancedSaveOptions::FillAudioCompressors(ui->cboAudioCompressorST);
        frmAdvancedSaveOptions::FillVideoDimensions(ui->cboVideoDimension);

        moduleProfiles::InitProfiles();
        moduleProfiles::EnumProfiles();
        for (auto [setting, profile, video] :
             {std::tuple{ui->cboVideoSetting, ui->cboVideoProfile, true}, std::tuple{ui->cboAudioSetting, ui->cboAudioProfile, false}}) {
            setting->clear();
            setting->addItems(SettingNames());
            profile->clear();
            for (int i = 0; i < moduleProfiles::ProfileCount(); ++i)
                if (moduleProfiles::VideoPresent(i) == video)
                    profile->addItem(moduleProfiles::ProfileName(i));
        }

        ModuleSettings::LoadPreferences();
        SelectTab(QStringLiteral("GENERAL"));
    });
    ui->cmdApply->setEnabled(false);
    m_loading = false;
    QmPointer::Normal();
}

void frmPreferences::done(int result)
{
    moduleProfiles::UnInitProfiles();
    QDialog::done(result);
}

int32_t frmPreferences::BackColor(const QLabel* label)
{
    return label->property(kBackColor).toInt();
}

void frmPreferences::SetBackColor(QLabel* label, int32_t color)
{
    label->setProperty(kBackColor, color);
    QPalette palette = label->palette();
    palette.setColor(QPalette::Window, QmColors::ToQColor(color));
    label->setPalette(palette);
    label->setAutoFillBackground(true);
}

QString frmPreferences::SelectedTab() const
{
    return ui->tbSettings->currentWidget()->objectName();
}

void frmPreferences::SelectTab(const QString& key)
{
    if (QWidget* tab = ui->tbSettings->findChild<QWidget*>(key))
        ui->tbSettings->setCurrentWidget(tab);
}

QString frmPreferences::ProfileDescription(const QString& name)
{
    return QmTrap::Value<QString>(kModule, QStringLiteral("ProfileDescription*"), QString(), [&name] {
        if (name.isEmpty() || !moduleProfiles::OpenListedProfile(name))
            return QString();
        ITWProfiles& profiles = Eng<ITWProfiles>();
        const QString description = profiles.GetProfileDescription(500).trimmed();
        profiles.CloseProfile();
        return description;
    });
}

void frmPreferences::AnyChange()
{
    if (!m_loading)
        ui->cmdApply->setEnabled(true);
}

void frmPreferences::Store()
{
    ModuleSettings::StorePreferences();
    moduleTimeline::AddColorToBars();
}

namespace {

// A working folder that is no folder would leave every save without a place: said, and
// nothing is stored.
bool FolderAccepted(QLineEdit* txtPath)
{
    const QString path = txtPath->text().trimmed();
    if (!path.isEmpty() && QFileInfo(path).isDir())
        return true;
    MsgBox(QStringLiteral("The working folder \"") + path + QStringLiteral("\" does not exist.\r\nPlease choose another folder."),
           QmMsgBox::Icon::Exclamation);
    return false;
}

} // namespace

void frmPreferences::cmdOk_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdOk_Click"), [this] {
        if (!FolderAccepted(ui->txtPath)) {
            SelectTab(QStringLiteral("GENERAL"));
            return;
        }
        Store();
        accept();
    });
}

void frmPreferences::cmdApply_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdApply_Click"), [this] {
        if (!FolderAccepted(ui->txtPath)) {
            SelectTab(QStringLiteral("GENERAL"));
            return;
        }
        Store();
        ui->cmdApply->setEnabled(false);
    });
}

void frmPreferences::cmdCancel_Click()
{
    reject();
}

void frmPreferences::Command1_Click()
{
    mdiTarnwick::ShowHelpTopic(QStringLiteral("2_2_Understanding_Preferences.htm"));
}

void frmPreferences::cmdBrowse_Click()
{
    QmTrap::Run(
        kModule, QStringLiteral("cmdBrowse_Click"),
        [this] {
            QString folder = QmDialogs::BrowseForFolder(QStringLiteral("Select a Folder"), ui->txtPath->text());
            while (folder.size() > 1 && folder.endsWith(u'/'))
                folder.chop(1);
            if (!folder.isEmpty())
                ui->txtPath->setText(folder);
        },
        [](const QmError& e) { return e.Number() == QmErr::DialogCancelled; });
}

void frmPreferences::ChangeColor(QLabel* label, const QString& routine)
{
    QmTrap::Run(
        kModule, routine,
        [this, label] {
            SetBackColor(label, QmDialogs::ShowColor(BackColor(label)));
            AnyChange();
        },
        [](const QmError& e) { return e.Number() == QmErr::DialogCancelled; });
}

void frmPreferences::cmdVideo_Click()
{
    ChangeColor(ui->lblVideoColor, QStringLiteral("cmdVideo_Click"));
}

void frmPreferences::cmdAudio_Click()
{
    ChangeColor(ui->lblAudioColor, QStringLiteral("cmdAudio_Click"));
}

void frmPreferences::cmdEffects_Click()
{
    ChangeColor(ui->lblEffectColor, QStringLiteral("cmdEffects_Click"));
}

void frmPreferences::cmdOverlays_Click()
{
    ChangeColor(ui->lblOverlayColor, QStringLiteral("cmdOverlays_Click"));
}

void frmPreferences::cmdDefault_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdDefault_Click"), [this] {
        SetBackColor(ui->lblVideoColor, 0xFFFF80);
        SetBackColor(ui->lblAudioColor, 0x80FFFF);
        SetBackColor(ui->lblEffectColor, 0x80FF80);
        SetBackColor(ui->lblOverlayColor, 0xC0E0FF);
        ui->txtPath->setText(ModuleSettings::DefaultWorkingFolder());
        ui->chkPreview->setChecked(true);
        ui->chkDoNotShowTutorial->setChecked(false);
        AnyChange();
    });
}

void frmPreferences::cmdDefaultSO_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdDefaultSO_Click"), [this] {
        for (QComboBox* box : {ui->cboVideoCompressorST, ui->cboAudioCompressorST}) {
            const int uncompressed = box->findText(QStringLiteral("Uncompressed"));
            if (uncompressed >= 0)
                box->setCurrentIndex(uncompressed);
        }
        ui->sldFPS->setValue(15);
        ui->sldKeyFrameRate->setValue(15);
        ui->sldPFrameFrequency->setValue(15);
        ui->sldQuality->setValue(75);
        ui->chkLockAspectRatio->setChecked(true);
        const int standard = ui->cboVideoDimension->findText(QStringLiteral("320 x 240"));
        if (standard >= 0)
            ui->cboVideoDimension->setCurrentIndex(standard);
        AnyChange();
    });
}

void frmPreferences::cboVideoCompressorST_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cboVideoCompressorST_Click"), [this] {
        const QString name = ui->cboVideoCompressorST->currentText();
        if (name.isEmpty())
            return;
        auto& save = Eng<ITWSave>();
        save.SetVideoCompressor(name);
        const int32_t index = save.GetVideoCompressorIndex();
        const std::tuple<bool, QSlider*, QLabel*, QLabel*> rows[] = {
            {save.CanSetKeyFrameRate(index), ui->sldKeyFrameRate, ui->lblKeyFrameRate, ui->lblKeyFrameRateCaption},
            {save.CanSetPFrameFrequency(index), ui->sldPFrameFrequency, ui->lblPFrameFrequency, ui->lblPFrameFrequencyCaption},
            {save.CanSetQuality(index), ui->sldQuality, ui->lblQuality, ui->lblQualityCaption},
        };
        for (const auto& [can, slider, label, caption] : rows) {
            slider->setEnabled(can);
            label->setEnabled(can);
            caption->setEnabled(can);
        }
    });
}

void frmPreferences::cboVideoDimension_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cboVideoDimension_Click"), [this] {
        const QString text = ui->cboVideoDimension->currentText();
        if (text.isEmpty())
            return;
        const bool custom = text == kCustom;
        // The boxes take the entry's numbers while they are still on, so that the lock's
        // guard lets each in as it is.
        if (!custom) {
            const QStringList pieces = text.split(u' ', Qt::SkipEmptyParts);
            m_dimensions->SetValues(pieces.first(), pieces.last());
        }
        ui->fmeCustomPreview->setEnabled(custom);
    });
}

void frmPreferences::OnSettingClick(QComboBox* setting, QComboBox* profile, bool video)
{
    const int index = setting->currentIndex();
    if (index < 0 || index > 2)
        return;
    const QString name = moduleProfiles::SettingProfiles(video).at(index);
    int position = profile->findText(name, Qt::MatchExactly);
    if (position < 0) {
        // The engine lists no such profile: the name is kept all the same, as the store holds it.
        profile->addItem(name);
        position = profile->count() - 1;
    }
    profile->setCurrentIndex(position);
    (video ? ui->txtVideoProfile : ui->txtAudioProfile)->setPlainText(ProfileDescription(name));
}

void frmPreferences::OnCboVideoSettingClick()
{
    QmTrap::Run(kModule, QStringLiteral("OnCboVideoSettingClick"),
                [this] { OnSettingClick(ui->cboVideoSetting, ui->cboVideoProfile, true); });
}

void frmPreferences::OnCboAudioSettingClick()
{
    QmTrap::Run(kModule, QStringLiteral("OnCboAudioSettingClick"),
                [this] { OnSettingClick(ui->cboAudioSetting, ui->cboAudioProfile, false); });
}

void frmPreferences::cmdVideoProperties_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdVideoProperties_Click"),
                [this] { frmProfileProperties::ShowFor(ui->cboVideoProfile->currentText()); });
}

void frmPreferences::cmdAudioProperties_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdAudioProperties_Click"),
                [this] { frmProfileProperties::ShowFor(ui->cboAudioProfile->currentText()); });
}

void frmPreferences::cmdVideoDefault_Click()
{
    ui->cboVideoSetting->setCurrentIndex(1);
    OnCboVideoSettingClick();
}

void frmPreferences::cmdAudioDefault_Click()
{
    ui->cboAudioSetting->setCurrentIndex(1);
    OnCboAudioSettingClick();
}
