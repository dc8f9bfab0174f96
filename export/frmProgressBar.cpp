#include "export/frmProgressBar.h"

#include "ui_frmProgressBar.h"

#include "core/QmDiskSpace.h"
#include "core/QmModal.h"
#include "core/QmMsgBox.h"
#include "core/QmNumbers.h"
#include "core/QmPointer.h"
#include "core/QmShared.h"
#include "core/QmStatus.h"
#include "core/QmTrap.h"
#include "core/moduleUtilities.h"
#include "engine/ITWSave.h"
#include "export/frmAdvancedSaveOptions.h"
#include "export/frmExportTimeline.h"
#include "timeline/TimelineView.h"

#include <QFileInfo>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QTimer>

using namespace QmShared;
using moduleUtilities::MilliSecondsToTimetypeAsString2;

namespace {

const QString kModule = QStringLiteral("frmProgressBar");
const QString kDone = QStringLiteral("&Done");

} // namespace

frmProgressBar::frmProgressBar(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::frmProgressBar>())
{
    ui->setupUi(this);
    m_tmSave = new QTimer(this);
    m_tmSave->setObjectName(QStringLiteral("tmSave"));
    m_tmSave->setInterval(100);
    connect(m_tmSave, &QTimer::timeout, this, &frmProgressBar::tmSave_Timer);
    connect(ui->cmdCancel, &QPushButton::clicked, this, &frmProgressBar::cmdCancel_Click);
    connect(ui->chkPreviewWhenDone, &QCheckBox::clicked, this, &frmProgressBar::chkPreviewWhenDone_Click);
}

frmProgressBar::~frmProgressBar() = default;

void frmProgressBar::ShowSaveRun()
{
    if (Form_Load())
        QmModal::Exec(*this);
}

bool frmProgressBar::Form_Load()
{
    bool started = false;
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this, &started] {
        QmPointer::Hourglass();
        // A window made once shows each run from the start.
        m_tmSave->stop();
        m_failed = false;
        m_saveLength = m_savedSoFar = 0;
        ui->cmdCancel->setText(QStringLiteral("&Cancel"));
        ui->chkPreviewWhenDone->setChecked(true);
        ui->pbr->setValue(0);
        ui->lblFramesSaved->clear();
        ui->lblComplete->clear();

        frmExportTimeline& dialogue = *frmExportTimeline::instance();
        auto& save = Eng<ITWSave>();
        // The rows: an effect row switches the effects, the others add their tracks.
        QListWidget* rows = dialogue.lstSaveStreams();
        int n = 1;
        for (int i = 0; i < rows->count(); ++i) {
            if (rows->item(i)->text() == u"Effect") {
                save.SetSaveEffects(rows->item(i)->isSelected());
                continue;
            }
            if (rows->item(i)->isSelected())
                save.AddSaveTrack(dialogue.SaveStreams().Item(n));
            ++n;
        }
        // One selection slider alone counts as no range.
        if (TimelineView::SelHandleShown(true) && TimelineView::SelHandleShown(false)) {
            save.SetSaveWholeTimeline(false);
            save.SetSaveRange(SelStartPosition, SelEndPosition);
        } else {
            save.SetSaveWholeTimeline(true);
        }
        m_savePath = dialogue.txtSaveFileName()->text().trimmed();
        bool prepared = false;
        if (dialogue.optAVI()->isChecked()) {
            prepared = save.PrepareAviFile(m_savePath);
            if (!prepared)
                MsgBox(QStringLiteral("Error Saving Timeline. Please select a different compressor and try again."),
                       QmMsgBox::Icon::Information);
        } else {
            save.SetWindowsMediaVideoSize(ProjectWidth, ProjectHeight);
            prepared = save.PrepareWindowsMediaFile(m_savePath);
            if (!prepared)
                MsgBox(QStringLiteral("Error Saving Timeline. Please select a different profile and try again."),
                       QmMsgBox::Icon::Information);
        }
        if (prepared) {
            QmStatus::Show(QStringLiteral("Saving the timeline to ") + m_savePath + QStringLiteral("..."));
            save.StartSave();
            m_saveLength = save.GetSaveDuration();
            m_tmSave->start();
            started = true;
        } else {
            save.CloseSave();
            dialogue.SetSaveCancelled(true);
            QDialog::reject();
        }
        QmPointer::Normal();
    });
    QmPointer::Normal();
    return started;
}

void frmProgressBar::tmSave_Timer()
{
    QmTrap::Run(kModule, QStringLiteral("tmSave_Timer*"), [this] {
        auto& save = Eng<ITWSave>();
        m_savedSoFar = save.GetSavePosition();
        const int32_t state = save.GetSaveState();
        if (state == ITWSave::Complete) {
            Completion();
            return;
        }
        if (state == ITWSave::Failed) {
            Failure();
            return;
        }
        // A volume that cannot be asked gives 0, and stops the save as well.
        if (QmDiskSpace::FreeBytes(m_savePath) <= kDiskReserve) {
            DiskAbort();
            return;
        }
        ui->lblFramesSaved->setText(QStringLiteral("Saved: ") + MilliSecondsToTimetypeAsString2(m_savedSoFar)
                                    + QStringLiteral(" of ") + MilliSecondsToTimetypeAsString2(m_saveLength));
        // The bar as it stood before this tick: the percentage trails it by one tick.
        ui->lblComplete->setText(
            QString::number(QmNumbers::CLng(static_cast<double>(ui->pbr->value()) / ui->pbr->maximum() * 100))
            + QStringLiteral("% complete"));
        if (m_saveLength == 0)
            throw QmError(QmErr::DivisionByZero, QStringLiteral("Division by zero"));
        ui->pbr->setValue(QmNumbers::CLng(static_cast<double>(m_savedSoFar) / m_saveLength * 100));
    });
}

void frmProgressBar::Ended(const QString& what)
{
    m_tmSave->stop();
    auto& save = Eng<ITWSave>();
    save.StopSave();
    m_savedSoFar = save.GetSavePosition();
    save.CloseSave();
    ui->cmdCancel->setText(kDone);
    ui->lblFramesSaved->setText(what);
    ui->lblComplete->clear();
}

void frmProgressBar::Completion()
{
    Ended(QStringLiteral("Save Complete"));
    ui->pbr->setValue(100);
    QmStatus::Show(QStringLiteral("The timeline is saved in ") + m_savePath + QStringLiteral("."));
    auto& save = Eng<ITWSave>();
    if (save.OpenMetadata(m_savePath)) {
        const frmAdvancedSaveOptions& options = *frmAdvancedSaveOptions::instance();
        const std::pair<QString, void (ITWSave::*)(const QString&)> fields[] = {
            {options.GetTitle(), &ITWSave::SetTitle},
            {options.GetAuthor(), &ITWSave::SetAuthor},
            {options.GetRating(), &ITWSave::SetRating},
            {options.GetDescription(), &ITWSave::SetDescription},
            {options.GetCopyright(), &ITWSave::SetCopyright},
        };
        for (const auto& [text, setter] : fields)
            if (!text.trimmed().isEmpty())
                (save.*setter)(text);
        save.SaveMetadata();
    }
    // The movie read back: said plainly when it is not what was asked.
    const QString problem = save.GetSaveProblem(5000).trimmed();
    if (!problem.isEmpty())
        MsgBox(QStringLiteral("The movie was saved, but it is not what was asked:\r\n") + problem,
               QmMsgBox::Icon::Exclamation);
}

void frmProgressBar::DiskAbort()
{
    Ended(QStringLiteral("Save Aborted"));
    QmStatus::Show(QStringLiteral("Save aborted. ") + PartialFileText(m_savedSoFar));
    MsgBox(QStringLiteral("Insufficient disk space."), QmMsgBox::Icon::Critical);
}

void frmProgressBar::Failure()
{
    const QString problem = Eng<ITWSave>().GetSaveProblem(5000).trimmed();
    Ended(QStringLiteral("Save Failed"));
    m_failed = true;
    const QString partial = PartialFileText(m_savedSoFar);
    QmStatus::Show(QStringLiteral("Save failed. ") + partial);
    MsgBox(QStringLiteral("The timeline could not be saved: ") + problem + QStringLiteral("\r\n") + partial,
           QmMsgBox::Icon::Critical);
}

QString frmProgressBar::PartialFileText(int32_t savedMs) const
{
    const QFileInfo file(m_savePath);
    if (!file.exists())
        return QStringLiteral("Nothing of the movie was kept.");
    return QStringLiteral("The first ") + MilliSecondsToTimetypeAsString2(savedMs) + QStringLiteral(" of the movie stay in ")
           + m_savePath + QStringLiteral(".");
}

void frmProgressBar::cmdCancel_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdCancel_Click"), [this] {
        frmExportTimeline& dialogue = *frmExportTimeline::instance();
        auto& save = Eng<ITWSave>();
        if (ui->cmdCancel->text() == kDone) {
            // The engine takes a second stop as nothing.
            save.StopSave();
            save.CloseSave();
            // After a failure the Save dialogue stays, to try again.
            dialogue.SetSaveCancelled(m_failed);
        } else {
            m_tmSave->stop();
            save.StopSave();
            const int32_t saved = save.GetSavePosition();
            save.CloseSave();
            dialogue.SetSaveCancelled(true);
            QmStatus::Show(QStringLiteral("Save cancelled. ") + PartialFileText(saved));
        }
        QDialog::reject();
    });
}

void frmProgressBar::reject()
{
    // Escape and the window's close do what Cancel (or Done) does.
    cmdCancel_Click();
}

void frmProgressBar::chkPreviewWhenDone_Click()
{
    frmExportTimeline::instance()->SetPreviewWhenDone(ui->chkPreviewWhenDone->isChecked());
}
