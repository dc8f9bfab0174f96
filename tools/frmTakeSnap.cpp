#include "tools/frmTakeSnap.h"

#include "ui_frmTakeSnap.h"

#include "core/QmDialogs.h"
#include "core/QmDimensionBoxes.h"
#include "core/QmModal.h"
#include "core/QmPicture.h"
#include "core/QmPointer.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/moduleUtilities.h"
#include "editing/moduleTWState.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWPreview.h"
#include "engine/ITWSave.h"
#include "engine/ITWTimeline.h"
#include "preview/ModuleTWPreview.h"
#include "shell/QmCommands.h"
#include "shell/mdiTarnwick.h"
#include "timeline/TimelineView.h"

#include <QCheckBox>
#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QFrame>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPushButton>
#include <QScrollBar>

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("frmTakeSnap");

// The section of the timeline rendered for the snap, from the slider.
constexpr int32_t kSectionMs = 100;

} // namespace

frmTakeSnap::frmTakeSnap()
{
    Ui::frmTakeSnap ui;
    ui.setupUi(this);
    fmeWorkspace = ui.fmeWorkspace;
    picWorkspace = ui.picWorkspace;
    imgWorkspace = ui.imgWorkspace;
    hsbr = ui.hsbr;
    vsbr = ui.vsbr;
    fmeOptions = ui.fmeOptions;
    txtWidth = ui.txtWidth;
    txtHeight = ui.txtHeight;
    chkLockAspectRatio = ui.chkLockAspectRatio;
    txtSaveTo = ui.txtSaveTo;
    cmdBrowse = ui.cmdBrowse;
    cmdOK = ui.cmdOK;
    cmdCancel = ui.cmdCancel;
    cmdHelp = ui.cmdHelp;

    // The boxes take or refuse what is typed first; an accepted size then redraws.
    m_boxes = new QmDimensionBoxes(txtWidth, txtHeight, chkLockAspectRatio, this);
    connect(txtWidth, &QLineEdit::textChanged, this, [this] { DimensionChanged(); });
    connect(txtHeight, &QLineEdit::textChanged, this, [this] { DimensionChanged(); });
    connect(txtSaveTo, &QLineEdit::textChanged, this,
            [this] { cmdOK->setEnabled(!txtSaveTo->text().isEmpty()); });
    connect(hsbr, &QScrollBar::valueChanged, this, [this] { LayOutWorkspace(); });
    connect(vsbr, &QScrollBar::valueChanged, this, [this] { LayOutWorkspace(); });
    connect(cmdBrowse, &QPushButton::clicked, this, [this] { cmdBrowse_Click(); });
    connect(cmdOK, &QPushButton::clicked, this, [this] { cmdOK_Click(); });
    connect(cmdCancel, &QPushButton::clicked, this, [this] { cmdCancel_Click(); });
    connect(cmdHelp, &QPushButton::clicked, this, [this] { cmdHelp_Click(); });
    fmeWorkspace->installEventFilter(this);
}

void frmTakeSnap::RegisterCommands()
{
    QmCommands::Register(QStringLiteral("mnuToolsTakeSnap"), [] { instance()->ShowModal(); });
}

void frmTakeSnap::ShowModal()
{
    Form_Load();
    QmModal::Exec(*this);
}

void frmTakeSnap::Form_Load()
{
    QmPointer::Hourglass();
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        SnapTempFile = moduleUtilities::GetTempFolder() + QStringLiteral("/QMT_Snap.avi");
        SaveTimelineSection();
        SnapAspect = SnapHeight > 0 ? static_cast<double>(SnapWidth) / SnapHeight : 4.0 / 3.0;
        SnapGuard = false;
        m_boxes->Reset(SnapWidth, SnapHeight, SnapAspect);
        m_boxes->SetValues(QString::number(SnapWidth), QString::number(SnapHeight));
        hsbr->setValue(0);
        vsbr->setValue(0);
        picWorkspace->resize(SnapWidth, SnapHeight);
        Eng<ITWPreview>().DrawSnapFrame(SnapTempFile, 0.0, picWorkspace->hDC(), SnapWidth, SnapHeight);
        ShowWorkspace();
        SnapGuard = true;

        // The default name: the source's under the slider, numbered on while taken.
        auto& core = Eng<ITWCoreRoot>();
        const QString folder = WorkingFolder;
        QString name = folder + u'/' + SnapBaseName + QStringLiteral(".bmp");
        for (int n = 1; core.FileExists(name); ++n)
            name = folder + u'/' + SnapBaseName + QString::number(n) + QStringLiteral(".bmp");
        txtSaveTo->setText(QDir::toNativeSeparators(name));
        cmdOK->setEnabled(!txtSaveTo->text().isEmpty());
    });
    QmPointer::Normal();
    // The section's save has disturbed the player.
    ModuleTWPreview::UpdatePreview();
}

void frmTakeSnap::SaveTimelineSection()
{
    QmTrap::Run(kModule, QStringLiteral("SaveTimelineSection"), [this] {
        auto& save = Eng<ITWSave>();
        auto& tl = Eng<ITWTimeline>();
        save.ResetSave();
        const int32_t video = TrackCollection.Item(1);
        if (!moduleTWState::IsTrackDisabled(video) && tl.GetSourceCount(video) > 0)
            save.AddSaveTrack(video);
        if (!moduleTWState::IsTrackDisabled(OverlayTrack) && tl.GetSourceCount(OverlayTrack) > 0)
            save.AddSaveTrack(OverlayTrack);
        save.SetSaveEffects(!moduleTWState::IsEffectDisabled(video));
        const int32_t at = TimelineView::SliderTime();
        save.SetSaveWholeTimeline(false);
        save.SetSaveRange(at, at + kSectionMs);

        // The base name: the file of the video source under the slider, without its
        // last extension ("my.clip.avi" gives "clip", the piece before the last).
        SnapBaseName.clear();
        const int16_t count = tl.GetSourceCount(video);
        for (int16_t seq = 0; seq < count; ++seq) {
            int32_t start = 0, stop = 0;
            if (!tl.GetSourceTimes(video, seq, start, stop) || at < start || at >= stop)
                continue;
            QString path;
            const int32_t file = Eng<ITWMediaFiles>().GetStreamFile(tl.GetSourceStream(video, seq));
            if (file && Eng<ITWCoreRoot>().GetFileName(file, 260, path)) {
                const QStringList pieces = moduleUtilities::ExtractFileName(path).split(u'.');
                SnapBaseName = pieces.size() >= 2 ? pieces[pieces.size() - 2] : pieces.first();
            }
            break;
        }

        SnapWidth = ProjectWidth;
        SnapHeight = ProjectHeight;
        save.SetVideoSize(SnapWidth, SnapHeight);
        Eng<ITWCoreRoot>().DeleteFile(SnapTempFile);
        // A section that cannot be saved leaves no file, and the picture stays empty.
        save.PrepareAviFile(SnapTempFile);
        save.RunSaveToEnd();
        save.StopSave();
        save.CloseSave();
    });
}

void frmTakeSnap::DimensionChanged()
{
    const int32_t width = m_boxes->CustomWidth(), height = m_boxes->CustomHeight();
    if (width == SnapWidth && height == SnapHeight)
        return;
    SnapWidth = width;
    SnapHeight = height;
    if (SnapGuard)
        ResizeSnap();
}

void frmTakeSnap::ResizeSnap()
{
    QmTrap::Run(kModule, QStringLiteral("ResizeSnap"), [this] {
        // The engine scales the frame: the section is not rendered again.
        picWorkspace->resize(std::max(1, SnapWidth), std::max(1, SnapHeight));
        if (SnapWidth > 0 && SnapHeight > 0)
            Eng<ITWPreview>().DrawSnapFrame(SnapTempFile, 0.0, picWorkspace->hDC(), SnapWidth, SnapHeight);
        ShowWorkspace();
    });
}

void frmTakeSnap::ShowWorkspace()
{
    picWorkspace->Refresh();
    imgWorkspace->setPixmap(QPixmap::fromImage(picWorkspace->Image()));
    imgWorkspace->resize(picWorkspace->size());
    LayOutWorkspace();
}

void frmTakeSnap::LayOutWorkspace()
{
    // A workspace larger than its frame scrolls in it.
    const QRect inside = fmeWorkspace->contentsRect();
    hsbr->setRange(0, std::max(0, imgWorkspace->width() - inside.width()));
    vsbr->setRange(0, std::max(0, imgWorkspace->height() - inside.height()));
    hsbr->setPageStep(std::max(1, inside.width()));
    vsbr->setPageStep(std::max(1, inside.height()));
    imgWorkspace->move(inside.left() - hsbr->value(), inside.top() - vsbr->value());
    // Bars only where there is something to scroll.
    hsbr->setVisible(hsbr->maximum() > 0);
    vsbr->setVisible(vsbr->maximum() > 0);
}

void frmTakeSnap::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    ShowWorkspace();
}

bool frmTakeSnap::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == fmeWorkspace && event->type() == QEvent::Resize)
        LayOutWorkspace();
    return QDialog::eventFilter(watched, event);
}

void frmTakeSnap::cmdBrowse_Click()
{
    QmTrap::Run(
        kModule, QStringLiteral("cmdBrowse_Click"),
        [this] {
            QmDialogs::FileRequest request;
            request.fileName = moduleUtilities::ExtractFileName(txtSaveTo->text());
            request.initDir = QFileInfo(txtSaveTo->text()).absolutePath();
            request.filter = QStringLiteral("Bitmap File|*.bmp");
            request.defaultExt = QStringLiteral("bmp");
            request.flags = QmDialogs::Flag::OverwritePrompt;
            const QString file = QmDialogs::ShowSave(request).fileName;
            if (!file.isEmpty())
                txtSaveTo->setText(file);
        },
        [](const QmError& e) { return e.Number() == QmErr::DialogCancelled; });
}

void frmTakeSnap::cmdOK_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdOK_Click"), [this] {
        Eng<ITWPreview>().SaveSnapFrame(picWorkspace->Image(), txtSaveTo->text(), SnapWidth, SnapHeight);
        cmdCancel_Click();
    });
}

void frmTakeSnap::cmdCancel_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdCancel_Click"), [this] {
        Eng<ITWCoreRoot>().DeleteFile(SnapTempFile);
        accept();
    });
}

void frmTakeSnap::cmdHelp_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdHelp_Click"),
                [] { mdiTarnwick::ShowHelpTopic(QStringLiteral("3_7_11_Taking_Snap.htm")); });
}
