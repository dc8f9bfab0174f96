#include "media/frmMediaList.h"

#include "ui_frmMediaList.h"

#include "core/QmFiles.h"
#include "core/QmIcons.h"
#include "core/QmListView.h"
#include "core/QmModal.h"
#include "core/QmMsgBox.h"
#include "core/QmPicture.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmVideoSurface.h"
#include "core/moduleUtilities.h"
#include "core/QmStatus.h"
#include "engine/ITWFilePreview.h"
#include "engine/ITWStreamInfo.h"
#include "media/moduleTarnwick.h"
#include "shell/QmMenuArray.h"
#include "shell/QmCommands.h"
#include "shell/mdiTarnwick.h"
#include "timeline/TimelineView.h"
#include "tools/frmVolume.h"

#include <QApplication>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QMouseEvent>
#include <QSlider>
#include <QTimer>
#include <QToolButton>

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("frmMediaList");

// The list's view modes, in QmListView::View's order: the menu entry and the tool button
// of each.
struct ViewEntry
{
    const char* item;
    const char* button;
};
const ViewEntry kViewEntries[] = {{"mnuViewML_LargeIcon", "LARGE_ICONS"},
                                  {"mnuViewML_SmallIcon", "SMALL_ICONS"},
                                  {"mnuViewML_List", "LIST"},
                                  {"mnuViewML_Detail", "DETAIL"}};

ITWFilePreview& FilePreview()
{
    return Eng<ITWFilePreview>();
}

} // namespace

frmMediaList::frmMediaList()
{
    Ui::frmMediaList ui;
    ui.setupUi(this);
    lvwMediaList = ui.lvwMediaList;
    fmeMediaInfo = ui.fmeMediaInfo;
    lblFile = ui.lblFile;
    lblFileDisplay = ui.lblFileDisplay;
    lblInfo = {ui.lblInfo_0, ui.lblInfo_1, ui.lblInfo_2, ui.lblInfo_3, ui.lblInfo_4};
    lblInfoDisplay = {ui.lblInfoDisplay_0, ui.lblInfoDisplay_1, ui.lblInfoDisplay_2, ui.lblInfoDisplay_3, ui.lblInfoDisplay_4};
    picPreviewSmall = ui.picPreviewSmall;
    cmdPlay = ui.cmdPlay;
    sldFilePreview = ui.sldFilePreview;

    lvwMediaList->SetColumns({QStringLiteral("Name"), QStringLiteral("Media Type"), QStringLiteral("Duration"),
                              QStringLiteral("Video Info"), QStringLiteral("Audio Info")});
    for (auto [column, width] : {std::pair{0, 170}, std::pair{1, 80}, std::pair{2, 95}, std::pair{3, 135}, std::pair{4, 85}})
        lvwMediaList->SetColumnWidth(column, width);
    lvwMediaList->SetDragPixmap(QmIcon(QStringLiteral("DRAG_MEDIA")).pixmap(32, 32));
    connect(lvwMediaList, &QmListView::MouseDown, this, [this](Qt::MouseButton b) { RightClickPending = b == Qt::RightButton; });
    connect(lvwMediaList, &QmListView::Click, this, [this] { lvwMediaList_Click(); });
    connect(lvwMediaList, &QmListView::DblClick, this, [this] { OnLvwMediaListDblClick(); });
    connect(lvwMediaList, &QmListView::KeyDown, this, [this](int key) {
        if (key == Qt::Key_Up || key == Qt::Key_Down)
            lvwMediaList_Click();
    });
    // While a row is dragged, the track pictures take drops.
    connect(lvwMediaList, &QmListView::DragStarted, this, [] { TimelineView::AcceptMediaDrops(true); });
    connect(lvwMediaList, &QmListView::DragEnded, this, [] { TimelineView::AcceptMediaDrops(false); });
    connect(lvwMediaList, &QmListView::MouseMoved, this,
            [] { QmStatus::Show(QStringLiteral("Lists all the media files with their information")); });

    // The facts' captions and the small preview say what they are in the status bar.
    fmeMediaInfo->installEventFilter(this);
    for (QLabel* label : lblInfo)
        label->installEventFilter(this);
    lblFile->installEventFilter(this);
    SetFileInformationCaptions();
    picPreviewSmall->installEventFilter(this);

    SetPlayPicture(QStringLiteral("STOP"));
    connect(cmdPlay, &QToolButton::clicked, this, [this] { cmdPlay_Click(); });
    connect(sldFilePreview, &QSlider::valueChanged, this, [this] {
        if (!m_settingSlider)
            sldFilePreview_Scroll();
    });

    tmFilePreview = new QTimer(this);
    tmFilePreview->setObjectName(QStringLiteral("tmFilePreview"));
    tmFilePreview->setInterval(100);
    connect(tmFilePreview, &QTimer::timeout, this, [this] { tmFilePreview_Timer(); });
}

frmMediaList::~frmMediaList()
{
    // The preview hands frames to picPreviewSmall from its own thread: stop it first.
    if (Engine) {
        tmFilePreview->stop();
        FilePreview().SetOwnerWindow(nullptr);
        FilePreview().Close();
    }
}

void frmMediaList::Load()
{
    if (m_loaded || !mdiTarnwick::exists())
        return;
    m_loaded = true;
    mdiTarnwick* main = mdiTarnwick::instance();
    main->mnuFileRF().SetHandler([main](int index) {
        QmTrap::Run(kModule, QStringLiteral("mnuFileRF_Click"),
                    [&] { moduleTarnwick::OpenResentFile(main->mnuFileRF().Caption(index)); });
        QmCommands::RefreshStates();
    });
}

void frmMediaList::RegisterCommands()
{
    QmCommands::Register(QStringLiteral("mnuFileOpen"), [] {
        BusyOpening = true;
        moduleTarnwick::OnFileOpenClick();
        BusyOpening = false;
        ProjectModified = true;
        MediaListDirty = true;
    });
    QmCommands::Register(QStringLiteral("mnuFileClose"), [] { moduleTarnwick::OnFileCloseClick(); });
    QmCommands::Register(QStringLiteral("mnuFilePreview"), [] { instance()->OnLvwMediaListDblClick(); });
    for (int view = QmListView::LargeIcons; view <= QmListView::Report; ++view)
        QmCommands::Register(QString::fromLatin1(kViewEntries[view].item), [view] { instance()->SetListView(view); });
}

void frmMediaList::SetListView(int view)
{
    lvwMediaList->SetView(static_cast<QmListView::View>(view));
    if (!mdiTarnwick::exists())
        return;
    for (int i = QmListView::LargeIcons; i <= QmListView::Report; ++i) {
        mdiTarnwick::instance()->Item(QString::fromLatin1(kViewEntries[i].item))->setChecked(i == view);
        mdiTarnwick::instance()->ToolButton(QString::fromLatin1(kViewEntries[i].button))->setChecked(i == view);
    }
}

void frmMediaList::SetFileInformationCaptions()
{
    lblFile->setText(QStringLiteral("File name"));
    const QStringList captions = {QStringLiteral("Path"), QStringLiteral("Size"), QStringLiteral("Created On"),
                                  QStringLiteral("File type"), QStringLiteral("Streams")};
    for (int i = 0; i < 5; ++i)
        lblInfo[i]->setText(captions[i]);
}

void frmMediaList::ClearFileInformation()
{
    lblFile->clear();
    for (QLabel* label : lblInfo)
        label->clear();
    lblFileDisplay->clear();
    for (QLabel* label : lblInfoDisplay)
        label->clear();
}

void frmMediaList::SetPlayPicture(const QString& key)
{
    m_playPicture = key;
    cmdPlay->setIcon(QmIcon(key));
    cmdPlay->setToolTip(key == u"PLAY" ? QStringLiteral("Play") : QStringLiteral("Stop"));
}

void frmMediaList::ClearMediaListSelections()
{
    for (int row = 0; row < lvwMediaList->Count(); ++row)
        lvwMediaList->SetSelected(row, false);
}

void frmMediaList::SetSliderQuietly(int value)
{
    m_settingSlider = true;
    sldFilePreview->setValue(value);
    m_settingSlider = false;
}

void frmMediaList::OnLvwMediaListClick()
{
    QmTrap::Run(
        kModule, QStringLiteral("OnLvwMediaListClick"),
        [this] {
            const int row = lvwMediaList->SelectedRow();
            const QString rowText = row >= 0 ? lvwMediaList->Text(row) : QString();
            QmStatus::Show(QStringLiteral("Selected file: \"") + rowText +
                                    QStringLiteral("\". Total Files in Media List: ") +
                                    QString::number(lvwMediaList->Count()) + u'.');
            if (lvwMediaList->Count() > 0 && row >= 0) {
                picPreviewSmall->ClearFrame();
                SetFileInformationCaptions();
                lblFileDisplay->setText(rowText);
                const QString path = moduleTarnwick::FileNameOf(FileCollection.Item(row + 1), 250);
                Eng<ITWStreamInfo>().OpenFileInfo(path, 0);
                lblInfoDisplay[0]->setText(path);
                lblInfoDisplay[1]->setText(moduleUtilities::FileSizeUnitConversion(QmFiles::FileLen(path)));
                lblInfoDisplay[2]->setText(QLocale::system().toString(QmFiles::FileDateTime(path), QLocale::ShortFormat));
                lblInfoDisplay[3]->setText(path.split(u'.').last().toUpper());
                lblInfoDisplay[4]->setText(QString::number(Eng<ITWStreamInfo>().GetStreamCount()));

                const QString mediaClass = lvwMediaList->SubItem(row, 1);
                auto& player = FilePreview();
                // The video window, one pixel in from the picture's frame.
                const QRect window(1, 1, picPreviewSmall->width() - 3, picPreviewSmall->height() - 2);
                sldFilePreview->setVisible(mediaClass != u"Image");
                player.SetOwnerWindow(picPreviewSmall);
                player.ResetPlayer();
                player.OpenFile(path);
                // A player built anew takes the volume.
                frmVolume::instance()->SetVolume(frmVolume::instance()->GetVolume());
                if (mediaClass != u"Audio")
                    player.SetVideoWindow(window.x(), window.y(), window.width(), window.height());
                SetPlayPicture(QStringLiteral("PLAY"));
                FilePlaying = false;
                const int32_t duration = player.GetDuration();
                m_settingSlider = true;
                if (duration > sldFilePreview->minimum())
                    sldFilePreview->setMaximum(duration);
                sldFilePreview->setValue(0);
                m_settingSlider = false;
                if (mediaClass != u"Audio")
                    player.ShowFirstFrame();
            }
            cmdPlay->setVisible(!sldFilePreview->isHidden());
        },
        [](const QmError& e) {
            switch (e.Number()) {
            case QmErr::FileNotFound:
                MsgBox(QStringLiteral("The selected file is missing."), QmMsgBox::Icon::Information);
                return true;
            case QmErr::BadFileName:
                MsgBox(QStringLiteral("Invalid file name."), QmMsgBox::Icon::Information);
                return true;
            case QmErr::PathNotFound:
                MsgBox(QStringLiteral("Path not found."), QmMsgBox::Icon::Information);
                return true;
            default:
                return false;
            }
        });
}

void frmMediaList::OnLvwMediaListDblClick()
{
    QmTrap::Run(kModule, QStringLiteral("OnLvwMediaListDblClick"), [this] {
        const int row = lvwMediaList->SelectedRow();
        if (lvwMediaList->Count() == 0 || row < 0)
            return;
        QmDesktop::Open(moduleTarnwick::FileNameOf(FileCollection.Item(row + 1)));
    });
}

void frmMediaList::lvwMediaList_Click()
{
    if (InSelectionUpdate)
        return;
    InSelectionUpdate = true;
    tmFilePreview->stop();
    OnLvwMediaListClick();
    QmCommands::RefreshStates();
    if (RightClickPending && mdiTarnwick::exists()) {
        RightClickPending = false;
        mdiTarnwick::instance()->mnuMediaListContext()->popup(QCursor::pos());
    }
    InSelectionUpdate = false;
}

void frmMediaList::cmdPlay_Click()
{
    QmTrap::Run(kModule, QStringLiteral("cmdPlay_Click"), [this] {
        auto& player = FilePreview();
        // Nothing playable: the click acts as a stop.
        if (player.GetDuration() == 0)
            FilePlaying = true;
        if (!FilePlaying) {
            FilePlaying = true;
            SetPlayPicture(QStringLiteral("STOP"));
            tmFilePreview->start();
            player.Play();
        } else {
            FilePlaying = false;
            SetPlayPicture(QStringLiteral("PLAY"));
            tmFilePreview->stop();
            player.Stop();
        }
    });
}

void frmMediaList::tmFilePreview_Timer()
{
    QmTrap::Run(kModule, QStringLiteral("tmFilePreview_Timer*"), [this] {
        auto& player = FilePreview();
        if (sldFilePreview->value() == sldFilePreview->maximum()) {
            tmFilePreview->stop();
            FilePlaying = false;
            SetPlayPicture(QStringLiteral("PLAY"));
            player.Stop();
            player.Rewind();
        }
        SetSliderQuietly(player.GetPosition());
    });
}

void frmMediaList::sldFilePreview_Scroll()
{
    QmTrap::Run(kModule, QStringLiteral("sldFilePreview_Scroll"), [this] { FilePreview().Seek(sldFilePreview->value()); });
}

bool frmMediaList::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::MouseMove) {
        if (watched == picPreviewSmall)
            QmStatus::Show(QStringLiteral("Instant preview of the currently selected media file"));
        else
            QmStatus::Show(QStringLiteral("File information of the currently selected media file"));
    }
    return QmPanel::eventFilter(watched, event);
}
