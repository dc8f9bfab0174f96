#include "export/frmExportTimeline.h"

#include "ui_frmExportTimeline.h"

#include "core/QmDialogs.h"
#include "core/QmModal.h"
#include "core/QmMsgBox.h"
#include "core/QmNumbers.h"
#include "core/QmPointer.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/moduleUtilities.h"
#include "editing/moduleTWState.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWSave.h"
#include "engine/ITWTimeline.h"
#include "export/SavedOptions.h"
#include "export/frmAdvancedSaveOptions.h"
#include "export/frmProgressBar.h"
#include "export/moduleProfiles.h"
#include "media/moduleTarnwick.h"
#include "shell/ModuleSettings.h"
#include "shell/QmCommands.h"
#include "timeline/TimelineView.h"
#include "timeline/moduleTimeline.h"

#include <QFileInfo>

using namespace QmShared;
using moduleUtilities::MilliSecondsToTimetypeAsString;

namespace {

const QString kModule = QStringLiteral("frmExportTimeline");
// Whether the media list has the file at path open.
bool IsFileInMediaList(const QString& path)
{
    const QFileInfo target(path);
    for (int32_t file : FileCollection)
        if (QFileInfo(moduleTarnwick::FileNameOf(file)) == target)
            return true;
    return false;
}

} // namespace

frmExportTimeline::frmExportTimeline(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::frmExportTimeline>())
{
    ui->setupUi(this);
    connect(ui->lstSaveStreams, &QListWidget::itemSelectionChanged, this, &frmExportTimeline::lstSaveStreams_Click);
    connect(ui->optAVI, &QRadioButton::clicked, this, &frmExportTimeline::optAVI_Click);
    connect(ui->optWMF, &QRadioButton::clicked, this, &frmExportTimeline::optWMF_Click);
    connect(ui->txtSaveFileName, &QLineEdit::textChanged, this, &frmExportTimeline::EnableOK);
    connect(ui->cmdBrowse, &QPushButton::clicked, this, &frmExportTimeline::cmdBrowse_Click);
    connect(ui->cmdOK, &QPushButton::clicked, this, &frmExportTimeline::cmdOK_Click);
    connect(ui->cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(ui->cmdAdvanced, &QPushButton::clicked, this, &frmExportTimeline::cmdAdvanced_Click);
}

frmExportTimeline::~frmExportTimeline() = default;

QListWidget* frmExportTimeline::lstSaveStreams() const
{
    return ui->lstSaveStreams;
}

QRadioButton* frmExportTimeline::optAVI() const
{
    return ui->optAVI;
}

QLineEdit* frmExportTimeline::txtSaveFileName() const
{
    return ui->txtSaveFileName;
}

void frmExportTimeline::RegisterCommands()
{
    QmCommands::Register(QStringLiteral("mnuFileExportTimeline"), &frmExportTimeline::ShowSaveTimeline);
}

void frmExportTimeline::ShowSaveTimeline()
{
    frmExportTimeline& form = *instance();
    form.Form_Load();
    QmModal::Exec(form);
}

void frmExportTimeline::Form_Load()
{
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        QmPointer::Hourglass();
        LoadSettingsFromRegistry();

        m_saveStreams.Clear();
        FillSaveStreamList();

        m_saveStart = TimelineView::SelHandleShown(true) ? SelStartPosition : 0;
        m_saveStop = TimelineView::SelHandleShown(false) ? SelEndPosition : moduleTimeline::GetTimelineDuration();
        ui->lblSaveRange->setText(MilliSecondsToTimetypeAsString(m_saveStart) + QStringLiteral(" - ")
                                  + MilliSecondsToTimetypeAsString(m_saveStop));

        // MyMovie.avi in the working folder, else the first of MyMovie1.avi, MyMovie2.avi...
        auto& root = Eng<ITWCoreRoot>();
        QString name = WorkingFolder + QStringLiteral("/MyMovie.avi");
        for (int n = 1; root.FileExists(name); ++n)
            name = WorkingFolder + QStringLiteral("/MyMovie") + QString::number(n) + QStringLiteral(".avi");
        ui->txtSaveFileName->setText(name);

        moduleProfiles::InitProfiles();
        moduleProfiles::EnumProfiles();

        QmPointer::Normal();
        ui->optAVI->setChecked(true);
        optAVI_Click();
    });
    QmPointer::Normal();
}

void frmExportTimeline::LoadSettingsFromRegistry()
{
    const SavedOptions options = SavedOptions::Read();
    options.ApplyTo(Eng<ITWSave>());
    frmAdvancedSaveOptions::instance()->SetVideoCompressor(options.videoCompressor);
    frmAdvancedSaveOptions::instance()->SetAudioCompressor(options.audioCompressor);
    ui->lblFPS->setText(options.fps);
    ui->lblVideoDim->setText(options.width + QStringLiteral(" x ") + options.height);
}

void frmExportTimeline::FillSaveStreamList()
{
    using namespace TimelineView;
    auto& tl = Eng<ITWTimeline>();
    QListWidget* list = ui->lstSaveStreams;
    const QSignalBlocker quiet(list);
    list->clear();
    auto addRow = [&](RowKind kind, int index, int32_t track, bool selected, bool stream) {
        auto* row = new QListWidgetItem(RowCaption(kind, index), list);
        row->setSelected(selected);
        if (stream)
            m_saveStreams.Add(track);
    };
    for (int i = 0; i < RowCount(RowKind::Video); ++i) {
        const int32_t track = TrackCollection.Item(i + 1);
        if (tl.GetSourceCount(track) != 0)
            addRow(RowKind::Video, i, track, !moduleTWState::IsTrackDisabled(track), true);
        if (tl.GetEffectCount(track) != 0)
            addRow(RowKind::Effect, i, track, !moduleTWState::IsEffectDisabled(track), false);
    }
    if (tl.GetSourceCount(OverlayTrack) != 0)
        addRow(RowKind::Overlay, 0, OverlayTrack, !moduleTWState::IsTrackDisabled(OverlayTrack), true);
    const int videoCount = RowCount(RowKind::Video);
    for (int j = 0; j < RowCount(RowKind::Audio); ++j) {
        const int32_t track = TrackCollection.Item(videoCount + j + 1);
        if (tl.GetSourceCount(track) != 0)
            addRow(RowKind::Audio, j, track, !moduleTWState::IsTrackDisabled(track), true);
    }
    if (list->count() > 0) {
        lstSaveStreams_Click();
    } else {
        ui->cmdOK->setEnabled(false);
        ui->cmdAdvanced->setEnabled(false);
    }
}

bool frmExportTimeline::IsVideoApplicable() const
{
    for (const QListWidgetItem* row : ui->lstSaveStreams->selectedItems()) {
        const QString text = row->text();
        if (text == u"Effect" || text == u"Overlay" || text == u"Video")
            return true;
    }
    return false;
}

void frmExportTimeline::EnableOK()
{
    const bool rowSelected = !ui->lstSaveStreams->selectedItems().isEmpty();
    ui->cmdOK->setEnabled(rowSelected && !ui->txtSaveFileName->text().trimmed().isEmpty());
    ui->cmdAdvanced->setEnabled(rowSelected);
}

void frmExportTimeline::lstSaveStreams_Click()
{
    QmTrap::Run(kModule, QStringLiteral("lstSaveStreams_Click"), [this] {
        EnableOK();
        // The video rows decide the extension.
        FormatChosen();
    });
}

void frmExportTimeline::FormatChosen()
{
    if (ui->optAVI->isChecked())
        optAVI_Click();
    else
        optWMF_Click();
}

void frmExportTimeline::SetExtension(const QString& extension)
{
    ui->txtSaveFileName->setText(moduleUtilities::ChangeExtension(ui->txtSaveFileName->text(), extension));
}

void frmExportTimeline::optAVI_Click()
{
    QmTrap::Run(kModule, QStringLiteral("optAVI_Click"), [this] {
        auto& save = Eng<ITWSave>();
        ui->lblFPS->setText(QString::number(save.GetFrameRate()));
        ui->lblVideoDim->setText(QString::number(save.GetVideoWidth()) + QStringLiteral(" x ")
                                 + QString::number(save.GetVideoHeight()) + QStringLiteral(" pixels"));
        SetExtension(QStringLiteral("avi"));
    });
}

void frmExportTimeline::optWMF_Click()
{
    QmTrap::Run(kModule, QStringLiteral("optWMF_Click"), [this] {
        const auto [fps, width, height, sampleRate] =
            moduleProfiles::ReadProfileFacts(Eng<ITWSave>().GetVideoProfile(260).trimmed());
        ui->lblFPS->setText(fps < 1 ? QStringLiteral("-") : QString::number(fps));
        ui->lblVideoDim->setText(width < 1 ? QStringLiteral("-")
                                           : QString::number(width) + QStringLiteral(" x ") + QString::number(height)
                                                 + QStringLiteral(" pixels"));
        SetExtension(IsVideoApplicable() ? QStringLiteral("wmv") : QStringLiteral("wma"));
    });
}

void frmExportTimeline::cmdBrowse_Click()
{
    QmTrap::Run(
        kModule, QStringLiteral("cmdBrowse_Click"),
        [this] {
            const QString current = ui->txtSaveFileName->text();
            QmDialogs::FileRequest request;
            request.fileName = current.isEmpty() ? QString() : current.split(u'/').last();
            request.initDir = QFileInfo(current.trimmed()).absolutePath();
            if (ui->optAVI->isChecked()) {
                request.filter = QStringLiteral("AVI File|*.avi");
                request.defaultExt = QStringLiteral("avi");
            } else if (IsVideoApplicable()) {
                request.filter = QStringLiteral("WMV File|*.wmv");
                request.defaultExt = QStringLiteral("wmv");
            } else {
                request.filter = QStringLiteral("WMA File|*.wma");
                request.defaultExt = QStringLiteral("wma");
            }
            request.flags = QmDialogs::Flag::OverwritePrompt | QmDialogs::Flag::HideReadOnly | QmDialogs::Flag::PathMustExist;
            ui->txtSaveFileName->setText(QmDialogs::ShowSave(request).fileName);
        },
        [](const QmError& e) { return e.Number() == QmErr::DialogCancelled; });
}

void frmExportTimeline::cmdOK_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdOK_Click"), [this] {
        const QString name = ui->txtSaveFileName->text().trimmed();
        if (IsFileInMediaList(name)) {
            MsgBox(QStringLiteral("Unable to save to file \"") + name
                       + QStringLiteral("\" as it is being used by Quillmont. Please specify another filename."),
                   QmMsgBox::Icon::Information);
            return;
        }
        m_saveCancelled = false;
        m_previewWhenDone = true;
        frmProgressBar::instance()->ShowSaveRun();
        if (m_saveCancelled)
            return; // the dialogue stays, for another compressor or another try
        if (m_previewWhenDone)
            QmDesktop::Open(name);
        accept();
    });
}

void frmExportTimeline::cmdAdvanced_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdAdvanced_Click"), [this] {
        frmAdvancedSaveOptions& options = *frmAdvancedSaveOptions::instance();
        options.Form_Load();
        QmModal::Exec(options);
        FormatChosen();
    });
}

void frmExportTimeline::done(int result)
{
    moduleProfiles::UnInitProfiles();
    QDialog::done(result);
}
