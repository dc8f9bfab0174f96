#include "capture/frmCapture.h"

#include "capture/frmCaptureOptions.h"
#include "capture/frmCaptureValues.h"
#include "capture/frmDeviceSettings.h"
#include "capture/moduleCaptureSnap.h"
#include "core/QmDialogs.h"
#include "core/QmDiskSpace.h"
#include "core/QmError.h"
#include "core/QmIcons.h"
#include "core/QmModal.h"
#include "core/QmMsgBox.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmVideoSurface.h"
#include "core/moduleUtilities.h"
#include "engine/ITWCapture.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWProfiles.h"
#include "export/moduleProfiles.h"
#include "media/moduleTarnwick.h"
#include "shell/ModuleSettings.h"
#include "shell/QmCommands.h"
#include "shell/mdiTarnwick.h"

#include <QActionGroup>
#include <QCloseEvent>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>

#include <cmath>

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("frmCapture");
const QString kMessagePanel = QStringLiteral("sbr_1");

// The entries a running capture turns off, besides the settings entries.
const char* const kSettingsEntries[] = {"mnuCaptureCameraSettings", "mnuToolsVideoSettings", "mnuToolsAudioFromats",
                                        "mnuToolsAudioSettings"};
const char* const kSyncEntries[] = {"mnuaudiomaster", "mnuvideomaster", "mnuNone"};

} // namespace

frmCapture::frmCapture(QWidget* parent)
    : QMainWindow(parent)
{
    setObjectName(QStringLiteral("frmCapture"));
    setWindowTitle(QStringLiteral("Capture"));
    setAttribute(Qt::WA_DeleteOnClose, false);
    m_picMainWorkspace = new QmVideoSurface(this);
    m_picMainWorkspace->setObjectName(QStringLiteral("picMainWorkspace"));
    m_picMainWorkspace->setMinimumSize(16, 16);
    setCentralWidget(m_picMainWorkspace);
    BuildMenus();
    BuildToolbar();
    BuildStatusBar();
    m_tm = new QTimer(this);
    m_tm->setObjectName(QStringLiteral("tm"));
    m_tm->setInterval(33);
    connect(m_tm, &QTimer::timeout, this, &frmCapture::tm_Timer);
}

frmCapture::~frmCapture() = default;

void frmCapture::RegisterCommands()
{
    QmCommands::Register(QStringLiteral("mnuToolsCapture"), &frmCapture::ShowCapture);
}

void frmCapture::ShowCapture()
{
    frmCapture& form = *instance();
    if (!form.m_loaded) {
        form.m_loaded = true;
        form.show();
        form.Form_Load();
    } else {
        form.show();
    }
    form.raise();
    form.activateWindow();
}

bool frmCapture::SnapsOffered()
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    return screen && screen->depth() >= 24;
}

QAction* frmCapture::AddItem(QMenu* menu, const char* name, const char* caption, void (frmCapture::*handler)(), const char* shortcut)
{
    QAction* action = menu->addAction(QString::fromUtf8(caption));
    action->setObjectName(QString::fromLatin1(name));
    if (shortcut)
        action->setShortcut(QKeySequence(QString::fromLatin1(shortcut)));
    m_items.insert(action->objectName(), action);
    if (handler)
        connect(action, &QAction::triggered, this, handler);
    return action;
}

void frmCapture::BuildMenus()
{
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    AddItem(file, "mnuFileSetCapFile", "Set &Capture File...", &frmCapture::mnuFileSetCapFile_Click);
    file->addSeparator();
    AddItem(file, "mnuFilePLCFile", "&Play Last Captured File", &frmCapture::mnuFilePLCFile_Click);
    AddItem(file, "mnuFilePLCFrame", "&View Last Snap", &frmCapture::mnuFilePLCFrame_Click);
    AddItem(file, "mnuFileSaveas", "Save Captured File &As...", &frmCapture::mnuFileSaveas_Click);
    file->addSeparator();
    AddItem(file, "mnuFileExit", "E&xit", &frmCapture::mnuFileExit_Click);

    QMenu* capture = menuBar()->addMenu(QStringLiteral("&Capture"));
    capture->setObjectName(QStringLiteral("mnuCapture"));
    AddItem(capture, "mnuCaptureStart", "&Start Capture", &frmCapture::mnuCaptureStart_Click, "F5");
    AddItem(capture, "mnuCaptureStop", "S&top Capture", &frmCapture::mnuCaptureStop_Click, "F6");
    capture->addSeparator();
    QAction* preview = AddItem(capture, "mnuCapturePreview", "&Preview", &frmCapture::mnuCapturePreview_Click);
    preview->setCheckable(true);
    preview->setChecked(true);
    QMenu* streams = capture->addMenu(QStringLiteral("S&treams"));
    streams->setObjectName(QStringLiteral("mnuCaptureStreams"));
    for (QAction* stream : {AddItem(streams, "mnuCaptureStreamAudio", "&Audio", &frmCapture::mnuCaptureStreamAudio_Click),
                            AddItem(streams, "mnuCaptureStreamVideo", "&Video", &frmCapture::mnuCaptureStreamVideo_Click)}) {
        // The handlers set the tick themselves, after their checks.
        stream->setCheckable(true);
        stream->setChecked(true);
        disconnect(stream, &QAction::triggered, this, nullptr);
    }
    connect(Item(QStringLiteral("mnuCaptureStreamAudio")), &QAction::triggered, this, [this] {
        QAction* entry = Item(QStringLiteral("mnuCaptureStreamAudio"));
        entry->setChecked(!entry->isChecked()); // back to the state before the click
        mnuCaptureStreamAudio_Click();
    });
    connect(Item(QStringLiteral("mnuCaptureStreamVideo")), &QAction::triggered, this, [this] {
        QAction* entry = Item(QStringLiteral("mnuCaptureStreamVideo"));
        entry->setChecked(!entry->isChecked());
        mnuCaptureStreamVideo_Click();
    });
    QMenu* sync = capture->addMenu(QStringLiteral("S&ynchronize"));
    sync->setObjectName(QStringLiteral("mnuCaptureSync"));
    auto* group = new QActionGroup(this);
    const std::pair<const char*, const char*> modes[] = {
        {"mnuaudiomaster", "&Video to Audio"}, {"mnuvideomaster", "&Audio to Video"}, {"mnuNone", "&None"}};
    for (auto [name, caption] : modes) {
        QAction* mode = AddItem(sync, name, caption, nullptr);
        mode->setCheckable(true);
        group->addAction(mode);
        const QString key = QString::fromLatin1(name);
        connect(mode, &QAction::triggered, this, [key] {
            SyncMaster = key == u"mnuaudiomaster" ? 1 : key == u"mnuvideomaster" ? 0 : -1;
        });
    }
    Item(QStringLiteral("mnuaudiomaster"))->setChecked(true);
    capture->addSeparator();
    AddItem(capture, "mnuCaptureCameraSettings", "&Camera Settings...", &frmCapture::mnuCaptureCameraSettings_Click);
    capture->addSeparator();
    AddItem(capture, "mnuCaptureLCFtoML", "Add Last Captured File to &Media List", &frmCapture::mnuCaptureLCFtoML_Click);
    AddItem(capture, "mnuCaptureLStoML", "Add Last S&nap to Media List", &frmCapture::mnuCaptureLStoML_Click);
    capture->addSeparator();
    AddItem(capture, "mnuCaptureOptions", "&Options...", &frmCapture::mnuCaptureOptions_Click);

    QMenu* tools = menuBar()->addMenu(QStringLiteral("&Tools"));
    tools->setObjectName(QStringLiteral("mnuTools"));
    AddItem(tools, "mnuToolsVideoSettings", "&Video Settings...", &frmCapture::mnuToolsVideoSettings_Click);
    AddItem(tools, "mnuToolsAudioFromats", "Audio &Format...", &frmCapture::mnuToolsAudioFromats_Click);
    AddItem(tools, "mnuToolsAudioSettings", "&Audio Settings...", &frmCapture::mnuToolsAudioSettings_Click);
    QAction* separator = tools->addSeparator();
    separator->setObjectName(QStringLiteral("mnuToolsSnapSeparator"));
    m_items.insert(separator->objectName(), separator);
    AddItem(tools, "mnuToolsTakeSnap", "&Take Snap", &frmCapture::mnuToolsTakeSnap_Click, "Ctrl+F2");
    tools->addSeparator();
    AddItem(tools, "mnutoolsOrignalSize", "&Restore Size", &frmCapture::mnutoolsOrignalSize_Click);

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    help->setObjectName(QStringLiteral("mnuHelp"));
    AddItem(help, "mnuHelpContents", "&Contents", &frmCapture::mnuHelpContents_Click, "F1");
}

void frmCapture::BuildToolbar()
{
    m_tbr = addToolBar(QStringLiteral("Toolbar"));
    m_tbr->setObjectName(QStringLiteral("tbr"));
    m_tbr->setMovable(false);
    m_tbr->setIconSize(QSize(22, 22));
    auto add = [this](const char* key, const char* tip, void (frmCapture::*handler)()) {
        QAction* button = m_tbr->addAction(QString::fromUtf8(tip));
        button->setObjectName(QString::fromLatin1(key));
        button->setToolTip(QString::fromUtf8(tip));
        m_buttons.insert(button->objectName(), button);
        connect(button, &QAction::triggered, this, handler);
        return button;
    };
    add("SET_CAPTURE_FILE", "Set Capture File", &frmCapture::mnuFileSetCapFile_Click);
    add("START_CAPTURE", "Start Capture", &frmCapture::mnuCaptureStart_Click);
    add("STOP_CAPTURE", "Stop Capture", &frmCapture::mnuCaptureStop_Click);
    QAction* separator = m_tbr->addSeparator();
    separator->setObjectName(QStringLiteral("TAKE_SNAP_SEPARATOR"));
    m_buttons.insert(separator->objectName(), separator);
    add("TAKE_SNAP", "Take Snap", &frmCapture::mnuToolsTakeSnap_Click);
    add("OPTIONS", "Options", &frmCapture::mnuCaptureOptions_Click);
    QAction* settings = add("CAPTURE_SETTINGS", "Capture Settings", &frmCapture::CaptureSettings_Click);
    auto* dropDown = new QMenu(this);
    const std::pair<const char*, const char*> items[] = {{"CAMERA_SETTINGS", "Camera Settings..."},
                                                         {"VIDEO_SETTINGS", "Video Settings..."},
                                                         {"AUDIO_FORMAT", "Audio Format..."},
                                                         {"AUDIO_SETTINGS", "Audio Settings..."}};
    const char* const entries[] = {"mnuCaptureCameraSettings", "mnuToolsVideoSettings", "mnuToolsAudioFromats", "mnuToolsAudioSettings"};
    for (int i = 0; i < 4; ++i) {
        QAction* item = dropDown->addAction(QString::fromUtf8(items[i].second));
        item->setObjectName(QString::fromLatin1(items[i].first));
        m_buttons.insert(item->objectName(), item);
        const QString entry = QString::fromLatin1(entries[i]);
        connect(item, &QAction::triggered, this, [this, entry] { Item(entry)->trigger(); });
    }
    settings->setMenu(dropDown);
    if (auto* tool = qobject_cast<QToolButton*>(m_tbr->widgetForAction(settings)))
        tool->setPopupMode(QToolButton::MenuButtonPopup);
    add("HELP", "Help", &frmCapture::mnuHelpContents_Click);
}

void frmCapture::BuildStatusBar()
{
    QStatusBar* sbr = statusBar();
    sbr->setObjectName(QStringLiteral("sbr"));
    auto panel = [this, sbr](const QString& key, bool stretch) {
        auto* label = new QLabel(sbr);
        label->setObjectName(key);
        if (stretch) {
            label->setMinimumWidth(120);
            sbr->addWidget(label, 1);
        } else {
            label->setFixedSize(20, 18);
            sbr->addPermanentWidget(label);
        }
        m_panels.insert(key, label);
    };
    panel(kMessagePanel, true);
    panel(QStringLiteral("CAPTURE_STATUS"), false);
    panel(QStringLiteral("SNAP_STATUS"), false);
}

QAction* frmCapture::Item(const QString& name) const
{
    return m_items.value(name);
}

QAction* frmCapture::Button(const QString& key) const
{
    return m_buttons.value(key);
}

QLabel* frmCapture::Panel(const QString& key) const
{
    return m_panels.value(key);
}

void frmCapture::SetItemEnabled(const QString& name, bool enabled)
{
    if (QAction* item = Item(name))
        item->setEnabled(enabled);
    else if (QAction* button = Button(name))
        button->setEnabled(enabled);
}

void frmCapture::SetStatusImage(const QString& panel, const QString& key)
{
    QLabel* label = Panel(panel);
    label->setPixmap(QmIcon(key).pixmap(16, 16));
    label->setProperty("image", key);
    label->setToolTip(key == u"CAPTURE_ON" ? QStringLiteral("Capturing") : key == u"SNAP_ON" ? QStringLiteral("Taking a snap") : QString());
}

void frmCapture::SetCaptureIcons()
{
    for (auto it = m_buttons.cbegin(); it != m_buttons.cend(); ++it)
        if (!it.value()->isSeparator())
            it.value()->setIcon(QmIcon(it.key()));
    SetStatusImage(QStringLiteral("CAPTURE_STATUS"), QStringLiteral("CAPTURE_OFF"));
    SetStatusImage(QStringLiteral("SNAP_STATUS"), QStringLiteral("SNAP_OFF"));
}

int32_t frmCapture::Tick() const
{
    static QElapsedTimer clock = [] {
        QElapsedTimer started;
        started.start();
        return started;
    }();
    return static_cast<int32_t>(clock.elapsed());
}

void frmCapture::DisableAllMenuItems()
{
    for (QAction* item : std::as_const(m_items))
        item->setEnabled(false);
    for (QAction* button : std::as_const(m_buttons))
        button->setEnabled(false);
}

void frmCapture::EnableAllMenuItems()
{
    for (QAction* item : std::as_const(m_items))
        item->setEnabled(true);
    for (QAction* button : std::as_const(m_buttons))
        button->setEnabled(true);
}

void frmCapture::SetSyncEntriesEnabled(bool enabled)
{
    for (const char* name : kSyncEntries)
        SetItemEnabled(QString::fromLatin1(name), enabled);
}

void frmCapture::Form_Load()
{
    QmTrap::Run(kModule, QStringLiteral("Form_Load"), [this] {
        // Each opening starts as a new window would: every entry on, both streams and
        // the picture ticked, nothing captured yet in it.
        EnableAllMenuItems();
        for (const char* name : {"mnuCapturePreview", "mnuCaptureStreamAudio", "mnuCaptureStreamVideo"})
            Item(QString::fromLatin1(name))->setChecked(true);
        m_audioStreamOn = m_videoStreamOn = true;
        Panel(kMessagePanel)->clear();
        moduleProfiles::InitProfiles();
        m_profilesPending = true;
        SyncMaster = 1;
        Item(QStringLiteral("mnuaudiomaster"))->setChecked(true);
        SetCaptureVideoDimension(320, 240);
        moduleCaptureSnap::LoadSnapSettings();

        if (!SnapsOffered()) {
            for (const char* name : {"mnuToolsTakeSnap", "mnuToolsSnapSeparator", "mnuFilePLCFrame", "mnuCaptureLStoML"})
                Item(QString::fromLatin1(name))->setVisible(false);
            for (const char* key : {"TAKE_SNAP", "TAKE_SNAP_SEPARATOR"})
                Button(QString::fromLatin1(key))->setVisible(false);
        }

        SetCaptureIcons();
        auto& engine = Eng<ITWCapture>();
        if (!engine.InitCapture()) {
            MsgBox(QStringLiteral("Unable to initialize capture device. The capture device may be busy or not installed."),
                   QmMsgBox::Icon::Critical);
            return;
        }
        VideoDeviceOk = AudioDeviceOk = CaptureAllowed = true;
        const int16_t video = engine.GetVideoDeviceStatus();
        if (video == ITWCapture::DeviceNotFound) {
            VideoDeviceOk = false;
            MsgBox(QStringLiteral("Video Device Not Found."), QmMsgBox::Icon::Information);
            Panel(kMessagePanel)->setText(QStringLiteral("Capture device not found"));
            engine.ReleaseCapture();
            DisableAllMenuItems();
            return;
        }
        if (video == ITWCapture::DeviceNotOpened) {
            VideoDeviceOk = false;
            MsgBox(QStringLiteral("Video device could not be initialized."), QmMsgBox::Icon::Information);
        }
        const int16_t audio = engine.GetAudioDeviceStatus();
        if (audio == ITWCapture::DeviceNotFound) {
            AudioDeviceOk = false;
            MsgBox(QStringLiteral("Audio device not found."), QmMsgBox::Icon::Information);
        } else if (audio == ITWCapture::DeviceNotOpened) {
            AudioDeviceOk = false;
            MsgBox(QStringLiteral("Audio device could not be initialized."), QmMsgBox::Icon::Information);
        }

        if (VideoDeviceOk) {
            VideoDeviceName = engine.GetVideoDeviceName(0, 128).trimmed();
            if (AudioDeviceOk)
                AudioDeviceName = engine.GetAudioDeviceName(0, 128).trimmed();
            const bool ok = engine.BuildGraph() && engine.SetVideoWindow(m_picMainWorkspace) && engine.RunGraph();
            if (!ok) {
                MsgBox(QStringLiteral("Unable to initialize capture device. It may be busy or not installed."), QmMsgBox::Icon::Critical);
                DisableAllMenuItems();
                return;
            }
            ResizeToCaptureDimension();
            if (AudioDeviceOk)
                EnableAllMenuItems();
        }

        m_captureFormat = 0;
        m_captureFile = QString(128, u' ');
        m_stopMode = 0;
        m_showStartDialog = 1;
        SetItemEnabled(QStringLiteral("mnuCaptureStop"), false);
        SetItemEnabled(QStringLiteral("STOP_CAPTURE"), false);
        if (LastCapturedFile.isEmpty())
            for (const char* name : {"mnuFilePLCFile", "mnuCaptureLCFtoML", "mnuFileSaveas"})
                SetItemEnabled(QString::fromLatin1(name), false);
        if (LastSnapFile.isEmpty())
            for (const char* name : {"mnuFilePLCFrame", "mnuCaptureLStoML"})
                SetItemEnabled(QString::fromLatin1(name), false);
    });
}

void frmCapture::SetCaptureVideoDimension(int16_t width, int16_t height)
{
    m_captureWidth = width;
    m_captureHeight = height;
}

void frmCapture::ResizeToCaptureDimension()
{
    QmTrap::Run(kModule, QStringLiteral("ResizeToCaptureDimension"), [this] {
        int32_t w = 0, h = 0;
        Eng<ITWCapture>().GetCaptureSize(w, h);
        // The window's frame is the window manager's: the inside is sized to the picture.
        const int height = m_tbr->height() + statusBar()->height() + menuBar()->height() + h;
        resize(std::max(w, minimumSizeHint().width()), height);
    });
}

void frmCapture::resizeEvent(QResizeEvent* event)
{
    QMainWindow::resizeEvent(event);
    if (VideoDeviceOk && m_loaded)
        QmTrap::Run(kModule, QStringLiteral("Form_Resize*"), [this] {
            Eng<ITWCapture>().SetVideoPosition(0, 0, m_picMainWorkspace->width(), m_picMainWorkspace->height());
        });
}

void frmCapture::ShowLivePicture()
{
    if (VideoDeviceOk && Item(QStringLiteral("mnuCaptureStreamVideo"))->isChecked())
        Eng<ITWCapture>().SetVideoWindow(m_picMainWorkspace);
}

void frmCapture::ApplyPreviewRule()
{
    if (!Item(QStringLiteral("mnuCapturePreview"))->isChecked())
        Eng<ITWCapture>().SetPreviewing(false);
}

void frmCapture::TickStreamsOn()
{
    for (const char* name : {"mnuCaptureStreamAudio", "mnuCaptureStreamVideo"}) {
        Item(QString::fromLatin1(name))->setChecked(true);
        Item(QString::fromLatin1(name))->setEnabled(true);
    }
    m_audioStreamOn = m_videoStreamOn = true;
    for (const char* name : kSettingsEntries)
        SetItemEnabled(QString::fromLatin1(name), true);
    for (const char* key : {"CAMERA_SETTINGS", "VIDEO_SETTINGS", "AUDIO_FORMAT", "AUDIO_SETTINGS"})
        SetItemEnabled(QString::fromLatin1(key), true);
    SetSyncEntriesEnabled(true);
}

void frmCapture::mnuCaptureStart_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuCaptureStart_Click"), [this] {
        if (m_showStartDialog == 1)
            frmCaptureValues::ShowFor(QStringLiteral("Start Capture"), QStringLiteral("Start"));
        SetStatusImage(QStringLiteral("CAPTURE_STATUS"), QStringLiteral("CAPTURE_ON"));
        StartCapture();
    });
}

void frmCapture::EnableDeviceEntries()
{
    if (AudioDeviceOk)
        for (const char* name : {"mnuToolsAudioFromats", "mnuToolsAudioSettings"})
            SetItemEnabled(QString::fromLatin1(name), true);
    if (VideoDeviceOk)
        for (const char* name : {"mnuToolsVideoSettings", "mnuCaptureCameraSettings"})
            SetItemEnabled(QString::fromLatin1(name), true);
}

void frmCapture::StartCapture()
{
    QmTrap::Run(kModule, QStringLiteral("StartCapture"), [this] {
        auto& engine = Eng<ITWCapture>();
        if (!CaptureAllowed) {
            SetStatusImage(QStringLiteral("CAPTURE_STATUS"), QStringLiteral("CAPTURE_OFF"));
            CaptureAllowed = true;
            return;
        }
        if (m_captureFile.trimmed().isEmpty())
            m_captureFile = WorkingFolder + (m_captureFormat == 1 ? QStringLiteral("/Capture1.asf") : QStringLiteral("/Capture1.avi"));
        const QString file = m_captureFile.trimmed();
        const QFileInfo target(file);
        for (int32_t handle : FileCollection) {
            if (QFileInfo(moduleTarnwick::FileNameOf(handle)) == target) {
                MsgBox(QStringLiteral("The specified file is being used by Quillmont. Please specify a different capture file name."),
                       QmMsgBox::Icon::Information);
                SetStatusImage(QStringLiteral("CAPTURE_STATUS"), QStringLiteral("CAPTURE_OFF"));
                return;
            }
        }
        if (Eng<ITWCoreRoot>().FileExists(file)) {
            if (MsgBox(QStringLiteral("Overwrite Exisiting File ") + file + QStringLiteral("?"), QmMsgBox::Icon::Question,
                       QmMsgBox::Buttons::YesNo)
                == QmMsgBox::No) {
                SetStatusImage(QStringLiteral("CAPTURE_STATUS"), QStringLiteral("CAPTURE_OFF"));
                return;
            }
            QFile::remove(file);
        }
        if (m_captureFormat == 1) {
            auto& profiles = Eng<ITWProfiles>();
            if (moduleProfiles::IsSystemProfile(m_captureProfileName))
                profiles.OpenSystemProfile(m_captureProfileIndex);
            else
                profiles.OpenProfile(m_captureProfileName);
        }

        bool started = engine.StartCaptureToFile(file, m_captureFormat, SyncMaster);
        if (started) {
            m_captureStartTick = Tick();
            if (VideoDeviceOk)
                engine.SetVideoWindow(m_picMainWorkspace);
            if (!engine.RunGraph()) {
                m_tm->stop();
                if (m_captureFormat == 1
                    && (!Item(QStringLiteral("mnuCaptureStreamVideo"))->isChecked() || !Item(QStringLiteral("mnuCaptureStreamAudio"))->isChecked()))
                    MsgBox(QStringLiteral("You must enable both the streams (Video and Audio) to capture in ASF."), QmMsgBox::Icon::Information);
                Panel(kMessagePanel)->clear();
                SetStatusImage(QStringLiteral("CAPTURE_STATUS"), QStringLiteral("CAPTURE_OFF"));
                engine.BuildGraph();
                if (Item(QStringLiteral("mnuCaptureStreamVideo"))->isChecked())
                    engine.SetVideoWindow(m_picMainWorkspace);
                engine.RunGraph();
                SetItemEnabled(QStringLiteral("mnuFileSetCapFile"), true);
                EnableDeviceEntries();
                for (const char* name : {"mnuCaptureOptions", "mnuCaptureStreamAudio", "mnuCaptureStreamVideo"})
                    SetItemEnabled(QString::fromLatin1(name), true);
                return;
            }
            m_tm->start();
            ApplyPreviewRule();
            for (const char* name : {"mnuCaptureStart", "mnuCaptureOptions", "mnuFileSetCapFile", "mnuCaptureStreamAudio",
                                     "mnuCaptureStreamVideo", "mnuToolsTakeSnap", "mnuFilePLCFile", "mnuFilePLCFrame",
                                     "mnuCaptureLCFtoML", "mnuCaptureLStoML", "mnuFileSaveas"})
                SetItemEnabled(QString::fromLatin1(name), false);
            for (const char* name : kSettingsEntries)
                SetItemEnabled(QString::fromLatin1(name), false);
            SetSyncEntriesEnabled(false);
            SetItemEnabled(QStringLiteral("mnuCaptureStop"), true);
            for (const char* key : {"START_CAPTURE", "OPTIONS", "TAKE_SNAP", "SET_CAPTURE_FILE", "CAPTURE_SETTINGS"})
                SetItemEnabled(QString::fromLatin1(key), false);
            SetItemEnabled(QStringLiteral("STOP_CAPTURE"), true);
            return;
        }

        MsgBox(QStringLiteral("Compressor Failure: Please select another compressor and try again."), QmMsgBox::Icon::Information);
        m_tm->stop();
        Panel(kMessagePanel)->clear();
        SetStatusImage(QStringLiteral("CAPTURE_STATUS"), QStringLiteral("CAPTURE_OFF"));
        engine.BuildGraph();
        if (VideoDeviceOk)
            engine.SetVideoWindow(m_picMainWorkspace);
        engine.RunGraph();
        SetItemEnabled(QStringLiteral("mnuFileSetCapFile"), true);
        EnableDeviceEntries();
        SetItemEnabled(QStringLiteral("mnuCaptureStart"), true);
        SetItemEnabled(QStringLiteral("START_CAPTURE"), true);
    });
}

void frmCapture::tm_Timer()
{
    QmTrap::Run(kModule, QStringLiteral("tm_Timer"), [this] {
        auto& engine = Eng<ITWCapture>();
        // A failed query (0) does not stop the capture.
        const int64_t free = QmDiskSpace::FreeBytes(m_captureFile.trimmed());
        if (free > 0 && free <= 10485760) {
            m_tm->stop();
            MsgBox(QStringLiteral("Insufficient Disk Space."), QmMsgBox::Icon::Critical);
            mnuCaptureStop_Click();
            return;
        }
        // A device that went away, or a file that could not be written, ends the capture.
        const QString problem = engine.GetCaptureProblem(500).trimmed();
        if (!problem.isEmpty()) {
            m_tm->stop();
            MsgBox(problem, QmMsgBox::Icon::Critical);
            mnuCaptureStop_Click();
            return;
        }
        const double elapsed = (Tick() - m_captureStartTick) / 1000.0;
        const QString seconds = QString::number(static_cast<int64_t>(std::nearbyint(elapsed)));
        if (Item(QStringLiteral("mnuCaptureStreamVideo"))->isChecked())
            Panel(kMessagePanel)->setText(QString::number(engine.GetFramesCaptured()) + QStringLiteral(" Frames Captured") + QStringLiteral(", ")
                                          + QString::number(engine.GetFramesDropped()) + QStringLiteral(" Frames Dropped")
                                          + QStringLiteral(", ") + seconds + QStringLiteral(" Seconds Captured"));
        else
            Panel(kMessagePanel)->setText(QStringLiteral("Captured Audio ") + seconds + QStringLiteral(" Seconds"));
        if (m_stopMode == 1 && elapsed >= m_captureDuration) {
            m_tm->stop();
            mnuCaptureStop_Click();
        }
    });
}

void frmCapture::FullRebuild()
{
    auto& engine = Eng<ITWCapture>();
    engine.ReleaseCapture();
    engine.InitCapture();
    engine.SetAudioDevice(AudioDeviceName);
    engine.SetVideoDevice(VideoDeviceName);
    engine.BuildGraph();
    engine.SetVideoWindow(m_picMainWorkspace);
    engine.RunGraph();
    TickStreamsOn();
}

void frmCapture::mnuCaptureStop_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuCaptureStop_Click"), [this] {
        auto& engine = Eng<ITWCapture>();
        engine.StopCapture();
        m_tm->stop();
        SetItemEnabled(QStringLiteral("mnuCaptureStop"), false);
        SetItemEnabled(QStringLiteral("STOP_CAPTURE"), false);
        SetItemEnabled(QStringLiteral("OPTIONS"), true);
        SetItemEnabled(QStringLiteral("mnuFileSetCapFile"), true);
        const bool audio = Item(QStringLiteral("mnuCaptureStreamAudio"))->isChecked();
        const bool video = Item(QStringLiteral("mnuCaptureStreamVideo"))->isChecked();
        if (audio)
            for (const char* name : {"mnuToolsAudioFromats", "mnuToolsAudioSettings"})
                SetItemEnabled(QString::fromLatin1(name), true);
        if (video)
            SetItemEnabled(QStringLiteral("mnuToolsVideoSettings"), true);
        SetItemEnabled(QStringLiteral("mnuCaptureStreamAudio"), true);
        SetItemEnabled(QStringLiteral("mnuCaptureStreamVideo"), true);

        LastCapturedFile = m_captureFile;
        for (const char* name : {"mnuCaptureLCFtoML", "mnuFilePLCFile", "mnuFileSaveas"})
            SetItemEnabled(QString::fromLatin1(name), true);

        if (engine.BuildGraph()) {
            if (video)
                engine.SetVideoWindow(m_picMainWorkspace);
            engine.RunGraph();
            ApplyPreviewRule();
        } else {
            FullRebuild();
        }

        if (VideoDeviceOk)
            engine.SetVideoPosition(0, 0, m_picMainWorkspace->width(), m_picMainWorkspace->height());
        for (const char* name : {"mnuCaptureStart", "mnuCaptureOptions", "mnuToolsTakeSnap", "mnuFilePLCFile", "mnuCaptureLCFtoML"})
            SetItemEnabled(QString::fromLatin1(name), true);
        SetSyncEntriesEnabled(true);
        if (!LastSnapFile.trimmed().isEmpty()) {
            SetItemEnabled(QStringLiteral("mnuFilePLCFrame"), true);
            SetItemEnabled(QStringLiteral("mnuCaptureLStoML"), true);
        }
        for (const char* key : {"START_CAPTURE", "OPTIONS", "TAKE_SNAP", "SET_CAPTURE_FILE", "CAPTURE_SETTINGS"})
            SetItemEnabled(QString::fromLatin1(key), true);
        SetItemEnabled(QStringLiteral("STOP_CAPTURE"), false);
        SetStatusImage(QStringLiteral("CAPTURE_STATUS"), QStringLiteral("CAPTURE_OFF"));
    });
}

void frmCapture::mnuCapturePreview_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuCapturePreview_Click"), [this] {
        // The entry has already changed its tick.
        Eng<ITWCapture>().SetPreviewing(Item(QStringLiteral("mnuCapturePreview"))->isChecked());
    });
}

void frmCapture::mnuCaptureStreamAudio_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuCaptureStreamAudio_Click"), [this] {
        auto& engine = Eng<ITWCapture>();
        QAction* audio = Item(QStringLiteral("mnuCaptureStreamAudio"));
        const bool video = Item(QStringLiteral("mnuCaptureStreamVideo"))->isChecked();
        const auto entries = {"mnuToolsAudioFromats", "mnuToolsAudioSettings", "AUDIO_SETTINGS", "AUDIO_FORMAT"};
        if (audio->isChecked()) {
            if (!video) {
                MsgBox(QStringLiteral("Atleast one stream (Video or Audio) should be kept selected."), QmMsgBox::Icon::Information);
                return;
            }
            audio->setChecked(false);
            SetSyncEntriesEnabled(false);
            for (const char* name : entries)
                SetItemEnabled(QString::fromLatin1(name), false);
            m_audioStreamOn = false;
            engine.StopCapture();
            engine.ReleaseCapture();
            engine.InitCapture();
            engine.SetVideoDevice(VideoDeviceName);
            engine.BuildGraph();
            engine.SetVideoWindow(m_picMainWorkspace);
            engine.RunGraph();
            Item(QStringLiteral("mnuCapturePreview"))->setChecked(true);
            ResizeToCaptureDimension();
            return;
        }
        audio->setChecked(true);
        for (const char* name : entries)
            SetItemEnabled(QString::fromLatin1(name), true);
        if (video)
            SetSyncEntriesEnabled(true);
        m_audioStreamOn = true;
        engine.StopCapture();
        engine.ReleaseCapture();
        engine.InitCapture();
        engine.SetAudioDevice(AudioDeviceName);
        if (video) {
            engine.SetVideoDevice(VideoDeviceName);
            engine.BuildGraph();
            engine.SetVideoWindow(m_picMainWorkspace);
            engine.RunGraph();
            Item(QStringLiteral("mnuCapturePreview"))->setChecked(true);
        } else {
            engine.BuildGraph();
            engine.RunGraph();
        }
        ResizeToCaptureDimension();
    });
}

void frmCapture::mnuCaptureStreamVideo_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuCaptureStreamVideo_Click"), [this] {
        auto& engine = Eng<ITWCapture>();
        QAction* video = Item(QStringLiteral("mnuCaptureStreamVideo"));
        const bool audio = Item(QStringLiteral("mnuCaptureStreamAudio"))->isChecked();
        const auto entries = {"mnuToolsVideoSettings", "mnuCaptureCameraSettings", "CAMERA_SETTINGS", "VIDEO_SETTINGS"};
        if (video->isChecked()) {
            if (!audio) {
                MsgBox(QStringLiteral("Atleast one stream (Video or Audio) should be kept selected."), QmMsgBox::Icon::Information);
                return;
            }
            video->setChecked(false);
            SetSyncEntriesEnabled(false);
            for (const char* name : entries)
                SetItemEnabled(QString::fromLatin1(name), false);
            m_videoStreamOn = false;
            engine.StopCapture();
            engine.ReleaseCapture();
            engine.InitCapture();
            engine.SetAudioDevice(AudioDeviceName);
            engine.TearDownPreview();
            engine.BuildGraph();
            engine.RunGraph();
            ResizeToCaptureDimension();
            return;
        }
        video->setChecked(true);
        for (const char* name : entries)
            SetItemEnabled(QString::fromLatin1(name), true);
        if (audio)
            SetSyncEntriesEnabled(true);
        m_videoStreamOn = true;
        engine.StopCapture();
        engine.ReleaseCapture();
        engine.InitCapture();
        engine.SetVideoDevice(VideoDeviceName);
        if (audio)
            engine.SetAudioDevice(AudioDeviceName);
        engine.BuildGraph();
        engine.SetVideoWindow(m_picMainWorkspace);
        engine.RunGraph();
        Item(QStringLiteral("mnuCapturePreview"))->setChecked(true);
        ResizeToCaptureDimension();
    });
}

void frmCapture::mnuToolsVideoSettings_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuToolsVideoSettings_Click"), [this] {
        auto& engine = Eng<ITWCapture>();
        const int16_t result = frmDeviceSettings::ShowVideoSettings(this);
        if (result == 0) {
            ResizeToCaptureDimension();
            return;
        }
        if (result == 2)
            MsgBox(QStringLiteral("Video Settings not available with this Video device driver. Please select another device and try again."),
                   QmMsgBox::Icon::Information);
        if (!engine.BuildGraph())
            FullRebuild();
        engine.SetVideoWindow(m_picMainWorkspace);
        engine.RunGraph();
        ResizeToCaptureDimension();
    });
}

void frmCapture::mnuCaptureCameraSettings_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuCaptureCameraSettings_Click"), [this] { frmDeviceSettings::ShowCameraSettings(this); });
}

void frmCapture::mnuToolsAudioSettings_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuToolsAudioSettings_Click"), [this] { frmDeviceSettings::ShowAudioSettings(this); });
}

void frmCapture::mnuToolsAudioFromats_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuToolsAudioFromats_Click"), [this] {
        if (frmDeviceSettings::ShowAudioFormats(this)) {
            // The sound device opens with the new format.
            auto& engine = Eng<ITWCapture>();
            engine.BuildGraph();
            ShowLivePicture();
            engine.RunGraph();
            ApplyPreviewRule();
        }
    });
}

void frmCapture::CaptureSettings_Click()
{
    // The first of the four settings entries that is available.
    for (const char* name : kSettingsEntries) {
        QAction* entry = Item(QString::fromLatin1(name));
        if (entry->isEnabled()) {
            entry->trigger();
            return;
        }
    }
}

void frmCapture::mnutoolsOrignalSize_Click()
{
    ResizeToCaptureDimension();
}

void frmCapture::mnuToolsTakeSnap_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuToolsTakeSnap_Click"), [this] {
        SetStatusImage(QStringLiteral("SNAP_STATUS"), QStringLiteral("SNAP_ON"));
        Panel(QStringLiteral("SNAP_STATUS"))->repaint();
        Panel(kMessagePanel)->setText(moduleCaptureSnap::TakeSnapFile());
        SetStatusImage(QStringLiteral("SNAP_STATUS"), QStringLiteral("SNAP_OFF"));
    });
}

namespace {

// Hands a result to the desktop's program for it: "File not found." for a file that is
// gone, "Application Access Failure." when nothing opens it.
bool OpenResult(const QString& path)
{
    if (!QFileInfo::exists(path)) {
        MsgBox(QStringLiteral("File not found."), QmMsgBox::Icon::Information);
        return true;
    }
    if (!QmDesktop::Open(path)) {
        MsgBox(QStringLiteral("Application Access Failure."), QmMsgBox::Icon::Information);
        return false;
    }
    return true;
}

} // namespace

void frmCapture::mnuFilePLCFile_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuFilePLCFile_Click"), [this] {
        if (!OpenResult(LastCapturedFile.trimmed())) {
            auto& engine = Eng<ITWCapture>();
            engine.StopCapture();
            engine.BuildGraph();
            engine.SetVideoWindow(m_picMainWorkspace);
            engine.RunGraph();
        }
    });
}

void frmCapture::mnuFilePLCFrame_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuFilePLCFrame_Click"), [this] {
        if (!OpenResult(LastSnapFile.trimmed())) {
            auto& engine = Eng<ITWCapture>();
            engine.StopCapture();
            engine.BuildGraph();
            engine.SetVideoWindow(m_picMainWorkspace);
            engine.RunGraph();
        }
    });
}

void frmCapture::mnuCaptureLCFtoML_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuCaptureLCFtoML_Click"), [] {
        moduleTarnwick::OpenResentFile(LastCapturedFile.trimmed());
        ModuleSettings::UpdateResentFileMenu();
    });
}

void frmCapture::mnuCaptureLStoML_Click()
{
    QmTrap::Run(kModule, QStringLiteral("mnuCaptureLStoML_Click"), [] {
        moduleTarnwick::OpenResentFile(LastSnapFile.trimmed());
        ModuleSettings::UpdateResentFileMenu();
    });
}

void frmCapture::mnuFileSaveas_Click()
{
    QmTrap::Run(
        kModule, QStringLiteral("mnuFileSaveas_Click"),
        [this] {
            QmDialogs::FileRequest request;
            request.filter = QStringLiteral("Avi files | *.avi |Asf files | *.asf");
            const QString target = QmDialogs::ShowSave(request).fileName;
            Panel(kMessagePanel)->setText(QStringLiteral("Saving..."));
            moduleUtilities::CopyFileWithShell(LastCapturedFile.trimmed(), target);
            Panel(kMessagePanel)->clear();
        },
        [this](const QmError& error) {
            Panel(kMessagePanel)->clear();
            return error.Number() == QmErr::DialogCancelled;
        });
}

void frmCapture::mnuFileSetCapFile_Click()
{
    frmCaptureValues::ShowFor(QStringLiteral("Set Capture File"), QStringLiteral("OK"));
}

void frmCapture::mnuCaptureOptions_Click()
{
    frmCaptureOptions::ShowOptions();
}

void frmCapture::mnuHelpContents_Click()
{
    mdiTarnwick::ShowHelpTopic(QStringLiteral("3_6A_Capturing_Media.htm"));
}

void frmCapture::mnuFileExit_Click()
{
    close();
}

void frmCapture::closeEvent(QCloseEvent* event)
{
    Form_Unload();
    QMainWindow::closeEvent(event);
}

void frmCapture::Form_Unload()
{
    QmTrap::Run(kModule, QStringLiteral("Form_Unload"), [this] {
        m_tm->stop();
        auto& engine = Eng<ITWCapture>();
        engine.TearDownPreview();
        engine.TearDownCapture();
        engine.ReleaseCapture();
        Eng<ITWProfiles>().CloseProfile();
        moduleProfiles::UnInitProfiles();
        m_loaded = false;
    });
}
