#include "shell/mdiTarnwick.h"

#include "core/QmIcons.h"
#include "core/QmMsgBox.h"
#include "core/QmNumbers.h"
#include "core/QmPaths.h"
#include "core/QmShared.h"
#include "core/QmModal.h"
#include "core/QmSettings.h"
#include "core/QmTrap.h"
#include "core/QmWeb.h"
#include "core/QmListView.h"
#include "core/QmStatus.h"
#include "editing/moduleEdit.h"
#include "editing/moduleTWState.h"
#include "capture/frmCapture.h"
#include "export/frmExportTimeline.h"
#include "history/ModuleHistory.h"
#include "media/frmMediaList.h"
#include "preview/frmPreview.h"
#include "project/ModuleProject.h"
#include "shell/QmCommands.h"
#include "shell/QmMenuArray.h"
#include "shell/ModuleAssociateIcon.h"
#include "shell/frmPreferences.h"
#include "shell/frmTools.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleTimeline.h"
#include "timeline/TimelineView.h"
#include "tools/frmAddText.h"
#include "tools/frmTakeSnap.h"
#include "tools/frmStretchMode.h"

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QProgressBar>
#include <QScreen>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <QUrl>
#include <QWhatsThis>

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("mdiTarnwick");

// The toolbar: key, tool tip, image list key, the menu entry it runs ("" for none).
struct ToolButtonDef
{
    const char* key;
    const char* tip;
    const char* image;
    const char* menu;
    bool groupEnd;
};

const ToolButtonDef kToolButtons[] = {
    {"NEW_PROJECT", "New Project", "NEW", "mnuFileNewProject", false},
    {"OPEN_PROJECT", "Open Project", "OPEN", "mnuFileOpenProject", false},
    {"SAVE_PROJECT", "Save Project", "SAVE", "mnuFileSaveProject", true},
    {"IMPORT_FILE", "Open File", "IMPORT_FILE", "mnuFileOpen", false},
    {"ADD_TO_TIMELINE", "Add To Timeline", "ADD_TO_TIMELINE", "mnuEditAddToTimeline", false},
    {"ADD_EFFECT", "Add Effect (To Timeline)", "ADD_EFFECT", "cmdAdd", false},
    {"ADD_TEXT", "Add Text (To Timeline)", "ADD_TEXT", "mnuToolsAddText", true},
    {"CUT", "Cut", "CUT", "mnuEditCut", false},
    {"COPY", "Copy", "COPY", "mnuEditCopy", false},
    {"PASTE", "Paste", "PASTE", "mnuEditPaste", false},
    {"CLEAR", "Delete", "CLEAR", "mnuEditClear", false},
    {"CROP", "Crop", "CROP", "mnuEditCrop", true},
    {"SET_OVERLAY_KEY_COLOR", "Set Overlay Key Color", "OVERLAY_KEY_COLOR", "mnuEditSetOverlayTransparency", false},
    {"SET_STRETCH_MODE", "Set Stretch Mode", "STRETCH_MODE", "mnuEditStretchMode", true},
    {"UNDO", "Undo", "UNDO", "mnuEditUndo", false},
    {"REDO", "Redo", "REDO", "mnuEditRedo", true},
    {"LARGE_ICONS", "Large Icons", "LARGE_ICONS", "mnuViewML_LargeIcon", false},
    {"SMALL_ICONS", "Small Icons", "SMALL_ICONS", "mnuViewML_SmallIcon", false},
    {"LIST", "List", "LIST", "mnuViewML_List", false},
    {"DETAIL", "Detail", "DETAIL", "mnuViewML_Detail", true},
    {"HELP", "", "HELP", "mnuHelpSection", false},
};

// Pop-up entries and the menu entries whose commands they run.
const char* const kPopupTwins[][2] = {
    {"mnuMLC_AddToTimeline", "mnuEditAddToTimeline"},
    {"mnuMLC_AddToOverlay", "mnuEditAddToOverlay"},
    {"mnuMLC_Preview", "mnuFilePreview"},
    {"mnuMLC_Close", "mnuFileClose"},
    {"mnuEC_ZoomIn", "mnuToolsZoomIn"},
    {"mnuEC_ZoomOut", "mnuToolsZoomOut"},
    {"mnuEC_Cut", "mnuEditCut"},
    {"mnuEC_Copy", "mnuEditCopy"},
    {"mnuEC_Paste", "mnuEditPaste"},
    {"mnuEC_Delete", "mnuEditClear"},
    {"mnuEC_Crop", "mnuEditCrop"},
    {"mnuEditContextAddtoAudio1", "mnuEditAddtoAudio1"},
    {"mnuEditContextAddtoAudio2", "mnuEditAddtoAudio2"},
    {"mnuEC_AddMarker", "mnuToolsAddBookmark"},
    {"mnuEC_RemoveMarker", "mnuToolsRemoveBookmark"},
    {"mnuEC_StretchMode", "mnuEditStretchMode"},
    {"mnuEC_SetOverlayTransparency", "mnuEditSetOverlayTransparency"},
    {"mnuEC_SelSliders", "mnuViewSelectionSliders"},
};

} // namespace

mdiTarnwick::mdiTarnwick()
{
    setObjectName(QStringLiteral("mdiTarnwick"));
    setWindowTitle(QStringLiteral("Quillmont"));
    setWindowIcon(QmIcon(QStringLiteral("QUILLMONT")));
    setAttribute(Qt::WA_DeleteOnClose);

    // The form's initialise: the working folder is the program's folder until the
    // settings say otherwise; the preview is 320 by 240.
    WorkingFolder = QmPaths::AppFolder();
    ProjectWidth = 320;
    ProjectHeight = 240;
    HelpFile = QmPaths::HelpFolder();

    m_mdiArea = new QMdiArea(this);
    m_mdiArea->setObjectName(QStringLiteral("mdiArea"));
    m_mdiArea->setBackground(palette().brush(QPalette::Dark));
    m_mdiArea->viewport()->installEventFilter(this);
    m_mdiArea->viewport()->setMouseTracking(true);
    setCentralWidget(m_mdiArea);

    BuildMenus();
    BuildContextMenus();
    BuildToolbar();
    BuildStatusBar();
    QmStatus::Install({[this](const QString& key, const QString& text) {
                           if (QLabel* panel = StatusPanel(key))
                               panel->setText(text);
                       },
                       [this](int value, int maximum) {
                           if (maximum < 0) {
                               m_pbarMain->hide();
                               return;
                           }
                           m_pbarMain->setRange(0, maximum);
                           m_pbarMain->setValue(value);
                           m_pbarMain->show();
                       }});
    DisableEntriesWithoutCommand();
    for (const QString& name : QmCommands::Names())
        OnCommandRegistered(name);
    QmCommands::SetRegisteredListener([this](const QString& name) { OnCommandRegistered(name); });
    QmCommands::SetStateRefresher([this] { EnableOrDisableMenuItems(); });

    const QRect screen = QGuiApplication::primaryScreen() ? QGuiApplication::primaryScreen()->availableGeometry()
                                                          : QRect(0, 0, 1280, 800);
    resize(qMax(800, screen.width() * 9 / 10), qMax(600, screen.height() * 9 / 10));
}

mdiTarnwick::~mdiTarnwick()
{
    QmStatus::Uninstall();
    QmCommands::SetRegisteredListener({});
    QmCommands::SetStateRefresher({});
}

QAction* mdiTarnwick::AddItem(QMenu* menu, const char* name, const char* caption, const char* shortcut)
{
    auto* action = menu->addAction(QString::fromUtf8(caption));
    action->setObjectName(QString::fromLatin1(name));
    if (shortcut && *shortcut)
        action->setShortcut(QKeySequence(QString::fromLatin1(shortcut)));
    const QString menuName = action->objectName();
    m_items.insert(menuName, action);
    connect(action, &QAction::triggered, this, [this, menuName] { RunCommand(menuName); });
    return action;
}

QMenu* mdiTarnwick::AddSubMenu(QMenu* parent, const char* name, const char* caption)
{
    QMenu* sub = parent ? parent->addMenu(QString::fromUtf8(caption)) : menuBar()->addMenu(QString::fromUtf8(caption));
    sub->setObjectName(QString::fromLatin1(name));
    sub->menuAction()->setObjectName(QString::fromLatin1(name));
    return sub;
}

void mdiTarnwick::BuildMenus()
{
    QMenu* file = AddSubMenu(nullptr, "mnuFile", "&File");
    AddItem(file, "mnuFileOpen", "Open &File...", "Ctrl+I");
    AddItem(file, "mnuFileClose", "&Close File");
    file->addSeparator();
    AddItem(file, "mnuFileNewProject", "&New Project...", "Ctrl+N");
    AddItem(file, "mnuFileOpenProject", "&Open Project...", "Ctrl+O");
    AddItem(file, "mnuFileCloseProject", "Clos&e Project");
    file->addSeparator();
    AddItem(file, "mnuFileSaveProject", "&Save Project", "Ctrl+S");
    AddItem(file, "mnuFileSaveProjectAs", "Save Project &As...");
    file->addSeparator();
    AddItem(file, "mnuFileExportTimeline", "Save &Timeline...");
    file->addSeparator();
    AddItem(file, "mnuFilePreview", "Previe&w...", "Ctrl+W");
    file->addSeparator();
    m_mnuFileRP = new QmMenuArray(AddSubMenu(file, "mnuFileResentProjects", "Recent &Projects"),
                                  QStringLiteral("mnuFileRP"), this);
    m_mnuFileRF = new QmMenuArray(AddSubMenu(file, "mnuFileResentFiles", "&Recent Files"),
                                  QStringLiteral("mnuFileRF"), this);
    file->addSeparator();
    AddItem(file, "mnuFileExit", "E&xit");

    QMenu* edit = AddSubMenu(nullptr, "mnuEdit", "&Edit");
    AddItem(edit, "mnuEditUndo", "&Undo", "Ctrl+Z");
    AddItem(edit, "mnuEditRedo", "&Redo", "Ctrl+Y");
    edit->addSeparator();
    AddItem(edit, "mnuEditAddToTimeline", "&Add to Timeline", "F2");
    AddItem(edit, "mnuEditClearTimeline", "Clear &Timeline");
    AddItem(edit, "mnuEditStretchMode", "Set Stretch &Mode", "Ctrl+M");
    edit->addSeparator();
    QMenu* effects = AddSubMenu(edit, "mnuEditAddEffectToTimeline", "Add &Effect to Timeline");
    AddItem(effects, "mnuAddEffectFade", "&Fade");
    AddItem(effects, "mnuAddEffectPixelate", "&Pixelate");
    AddItem(effects, "mnuAddEffectBlur", "&Blur");
    AddItem(effects, "mnuAddEffectWave", "&Wave");
    AddItem(effects, "mnuAddEffectEmboss", "&Emboss");
    AddItem(effects, "mnuAddEffectEngrave", "&Engrave");
    AddItem(edit, "mnuEditClearEffect", "Clear E&ffects");
    edit->addSeparator();
    AddItem(edit, "mnuEditAddToOverlay", "A&dd to Overlay", "F4");
    AddItem(edit, "mnuEditClearOverlay", "Clear O&verlay");
    AddItem(edit, "mnuEditSetOverlayTransparency", "Set Overlay &Key Color", "Ctrl+L");
    edit->addSeparator();
    AddItem(edit, "mnuEditCut", "Cu&t", "Ctrl+X");
    AddItem(edit, "mnuEditCopy", "&Copy", "Ctrl+C");
    AddItem(edit, "mnuEditPaste", "&Paste", "Ctrl+V");
    AddItem(edit, "mnuEditClear", "&Delete", "Del");
    AddItem(edit, "mnuEditCrop", "Cr&op", "Shift+Del");
    AddItem(edit, "mnuEditCropSources", "Crop So&urce(s)", "Ctrl+U");
    edit->addSeparator();
    AddItem(edit, "mnuEditAddtoAudio1", "Move to Audio &1");
    AddItem(edit, "mnuEditAddtoAudio2", "Move to Audio &2");
    edit->addSeparator();
    AddItem(edit, "mnuEditStartSel", "&Start Selection", "Ctrl+T");
    AddItem(edit, "mnuEditEndSel", "E&nd Selection", "Ctrl+D");
    edit->addSeparator();
    AddItem(edit, "mnuEditRestoreSize", "Restore Si&ze", "Ctrl+R");

    QMenu* view = AddSubMenu(nullptr, "mnuView", "&View");
    QAction* timelineList = AddItem(view, "mnuViewTimelineList", "Timeline &List");
    timelineList->setCheckable(true);
    timelineList->setChecked(true);
    view->addSeparator();
    auto* viewModes = new QActionGroup(this);
    for (auto [name, caption] : {std::pair{"mnuViewML_LargeIcon", "&Large Icon"}, std::pair{"mnuViewML_SmallIcon", "Small &Icon"},
                                 std::pair{"mnuViewML_List", "&List"}, std::pair{"mnuViewML_Detail", "&Detail"}}) {
        QAction* mode = AddItem(view, name, caption);
        mode->setCheckable(true);
        viewModes->addAction(mode);
    }
    Item(QStringLiteral("mnuViewML_Detail"))->setChecked(true);
    view->addSeparator();
    AddItem(view, "mnuViewSelectionSliders", "&Selection Sliders", "F5");

    QMenu* tools = AddSubMenu(nullptr, "mnuTools", "&Tools");
    AddItem(tools, "mnuToolsZoomIn", "Zoom &In Timeline Scale", "F6");
    AddItem(tools, "mnuToolsZoomOut", "Zoom &Out Timeline Scale", "F7");
    tools->addSeparator();
    AddItem(tools, "mnuToolsAddBookmark", "&Add Marker", "F8");
    AddItem(tools, "mnuToolsRemoveBookmark", "&Remove Marker", "F9");
    AddItem(tools, "mnueditclearmarkers", "Remove All &Markers");
    tools->addSeparator();
    AddItem(tools, "mnuToolsCapture", "&Capture...", "F3");
    AddItem(tools, "mnuToolsSplitTimeline", "&Split Timeline Tracks", "F11");
    AddItem(tools, "mnuToolsPackTimelineBars", "&Pack Timeline Tracks", "F12");
    AddItem(tools, "mnuToolsTakeSnap", "&Take Snap", "Ctrl+F2");
    AddItem(tools, "mnuToolsRepeatAudio", "Repeat A&udio", "Ctrl+F3");
    AddItem(tools, "mnuToolsAddText", "Add Te&xt", "Ctrl+F5");
    tools->addSeparator();
    AddItem(tools, "mnuToolsOptions", "Optio&ns...");

    QMenu* window = AddSubMenu(nullptr, "mnuWindow", "&Window");
    for (auto [name, caption] : {std::pair{"mnuViewMediaList", "&Media List"}, std::pair{"mnuViewPreview", "&Preview"},
                                 std::pair{"mnuViewTimeline", "&Timeline"}, std::pair{"mnuViewTools", "T&ools"}}) {
        QAction* check = AddItem(window, name, caption);
        check->setCheckable(true);
        check->setChecked(true);
    }
    window->addSeparator();
    AddItem(window, "mnuWindowArrangeAll", "&Arrange All");

    QMenu* help = AddSubMenu(nullptr, "mnuHelp", "&Help");
    AddItem(help, "mnuHelpSection", "&Help Section", "F1");
    AddItem(help, "mnuHelpTutorial", "&Tutorial", "Ctrl+F1");
    help->addSeparator();
    AddItem(help, "mnuHelpWhatsThis", "What's &This?", "Shift+F1");
    help->addSeparator();
    AddItem(help, "mnuHelpReportBugs", "&Report Bugs");
    AddItem(help, "mnuHelpNewFeatureRequest", "&New Feature Request");
    help->addSeparator();
    AddItem(help, "mnuHelpAbout", "&About Quillmont...");
}

void mdiTarnwick::BuildContextMenus()
{
    // The two hidden top items of the menu bar: pop-ups only.
    m_mnuMediaListContext = new QMenu(QStringLiteral("Media List Context"), this);
    m_mnuMediaListContext->setObjectName(QStringLiteral("mnuMediaListContext"));
    AddItem(m_mnuMediaListContext, "mnuMLC_AddToTimeline", "Add to &Timeline");
    AddItem(m_mnuMediaListContext, "mnuMLC_AddToOverlay", "&Add to Overlay");
    AddItem(m_mnuMediaListContext, "mnuMLC_Preview", "&Preview");
    AddItem(m_mnuMediaListContext, "mnuMLC_Close", "&Close");

    m_mnuEditContext = new QMenu(QStringLiteral("&Edit Context"), this);
    m_mnuEditContext->setObjectName(QStringLiteral("mnuEditContext"));
    QMenu* ec = m_mnuEditContext;
    // The separators have names: the timeline shows and hides them with the entries
    // they stand between, by the row pressed.
    auto separator = [ec](const char* name) { ec->addSeparator()->setObjectName(QString::fromLatin1(name)); };
    AddItem(ec, "mnuEC_ZoomIn", "Zoom &In");
    AddItem(ec, "mnuEC_ZoomOut", "Zoo&m Out");
    separator("s21");
    AddItem(ec, "mnuEC_Cut", "Cu&t");
    AddItem(ec, "mnuEC_Copy", "&Copy");
    AddItem(ec, "mnuEC_Paste", "&Paste");
    AddItem(ec, "mnuEC_Delete", "&Delete");
    AddItem(ec, "mnuEC_Crop", "Cr&op");
    separator("s34");
    AddItem(ec, "mnuEditContextAddtoAudio1", "Move to Audio &1");
    AddItem(ec, "mnuEditContextAddtoAudio2", "Move to Audio &2");
    separator("s22");
    AddItem(ec, "mnuEC_AddMarker", "&Add Marker");
    AddItem(ec, "mnuEC_RemoveMarker", "&Remove Marker");
    separator("s23");
    AddItem(ec, "mnuEC_StretchMode", "Set Stretch &Mode");
    separator("sr1");
    AddItem(ec, "mnuEC_SetOverlayTransparency", "Set Overlay &Key Color");
    separator("sr2");
    AddItem(ec, "mnuEC_SelSliders", "&Selection Sliders");

    for (const auto& twin : kPopupTwins)
        m_twins.insert(QString::fromLatin1(twin[0]), QString::fromLatin1(twin[1]));
}

void mdiTarnwick::BuildToolbar()
{
    m_tbr = addToolBar(QStringLiteral("Toolbar"));
    m_tbr->setObjectName(QStringLiteral("tbr"));
    m_tbr->setMovable(false);
    m_tbr->setIconSize(QSize(22, 22));
    m_tbr->installEventFilter(this);
    m_tbr->setMouseTracking(true);
    auto* viewGroup = new QActionGroup(this);
    for (const ToolButtonDef& def : kToolButtons) {
        const QString key = QString::fromLatin1(def.key);
        const QString tip = QString::fromUtf8(def.tip);
        QAction* button = m_tbr->addAction(QmIcon(QString::fromLatin1(def.image)), tip.isEmpty() ? QStringLiteral("Help") : tip);
        button->setObjectName(key);
        m_buttons.insert(key, button);
        if (!tip.isEmpty())
            button->setToolTip(tip);
        const QString menuName = QString::fromLatin1(def.menu);
        m_twins.insert(key, menuName);
        if (key == u"ADD_EFFECT") // the tools panel's Add, with its lock question
            connect(button, &QAction::triggered, this, [] { frmTools::instance()->OnAddClick(); });
        else
            connect(button, &QAction::triggered, this, [this, menuName] { RunCommand(menuName); });
        if (key == u"LARGE_ICONS" || key == u"SMALL_ICONS" || key == u"LIST" || key == u"DETAIL") {
            button->setCheckable(true);
            viewGroup->addAction(button);
        }
        if (def.groupEnd)
            m_tbr->addSeparator();
    }
    ToolButton(QStringLiteral("DETAIL"))->setChecked(true);
}

void mdiTarnwick::BuildStatusBar()
{
    QStatusBar* sbr = statusBar();
    sbr->setObjectName(QStringLiteral("sbr"));
    sbr->setSizeGripEnabled(true);
    auto panel = [sbr](const QString& name, int minimumWidth, bool stretch) {
        auto* label = new QLabel(sbr);
        label->setObjectName(name);
        label->setMinimumWidth(minimumWidth);
        label->setContentsMargins(4, 0, 4, 0);
        if (stretch)
            sbr->addWidget(label, 1);
        else
            sbr->addPermanentWidget(label);
        return label;
    };
    panel(QStringLiteral("sbr_1"), 200, true)->setText(QStringLiteral("Ready"));
    panel(QStringLiteral("SLIDER_POS"), 130, false);
    panel(QStringLiteral("DURATION"), 130, false);
    panel(QStringLiteral("SELECTION"), 220, false);

    m_pbarMain = new QProgressBar(sbr);
    m_pbarMain->setObjectName(QStringLiteral("pbarMain"));
    m_pbarMain->setFixedSize(200, 16);
    m_pbarMain->setTextVisible(false);
    m_pbarMain->hide();
    sbr->installEventFilter(this);
}

QAction* mdiTarnwick::Item(const QString& name) const
{
    return m_items.value(name);
}

QAction* mdiTarnwick::ToolButton(const QString& key) const
{
    return m_buttons.value(key);
}

QMenu* mdiTarnwick::Menu(const QString& name) const
{
    return findChild<QMenu*>(name);
}

QMenu* mdiTarnwick::mnuMediaListContext() const
{
    return m_mnuMediaListContext;
}

QMenu* mdiTarnwick::mnuEditContext() const
{
    return m_mnuEditContext;
}

QmMenuArray& mdiTarnwick::mnuFileRF() const
{
    return *m_mnuFileRF;
}

QmMenuArray& mdiTarnwick::mnuFileRP() const
{
    return *m_mnuFileRP;
}

void mdiTarnwick::OnCommandRegistered(const QString& name)
{
    SetItemEnabled(name, true);
}

bool mdiTarnwick::HasCommand(const QString& menuName) const
{
    return QmCommands::Has(m_twins.value(menuName, menuName));
}

void mdiTarnwick::RunCommand(const QString& menuName)
{
    const QString target = m_twins.value(menuName, menuName);
    QmTrap::Run(kModule, target + QStringLiteral("_Click"), [&target] { QmCommands::Run(target); });
    EnableOrDisableMenuItems();
}

QString mdiTarnwick::WebHost()
{
    QString host = QmSettings::GetSetting(QStringLiteral("Web"), QStringLiteral("Host"), QmWeb::Host).trimmed();
    while (host.endsWith(u'/'))
        host.chop(1);
    return host.isEmpty() ? QmWeb::Host : host;
}

void mdiTarnwick::ShowHelpTopic(const QString& topic)
{
    const qsizetype hash = topic.indexOf(u'#');
    QUrl page = QUrl::fromLocalFile(HelpFile + u'/' + (hash < 0 ? topic : topic.left(hash)));
    if (hash >= 0)
        page.setFragment(topic.mid(hash + 1));
    QmDesktop::Open(page.toString());
}

void mdiTarnwick::OnActionsClick(const QString& caption)
{
    if (caption == u"Add an effect") {
        frmTools::instance()->cmdAdd->click();
        return;
    }
    const QString command = frmTools::CommandOfAction(caption);
    if (!command.isEmpty())
        RunCommand(command);
}

void mdiTarnwick::EnableOrDisableMenuItems()
{
    QmTrap::Run(kModule, QStringLiteral("EnableOrDisableMenuItems*"), [this] {
        using namespace moduleTWState;
        QmListView* list = frmMediaList::instance()->lvwMediaList;
        const bool rows = list->Count() > 0;
        if (rows)
            SetItemEnabled(QStringLiteral("mnuFileCloseProject"), true); // set on only, never off here
        for (const char* name : {"mnuFileSaveProject", "mnuFileSaveProjectAs", "mnuEditAddToTimeline", "mnuFileClose"})
            SetItemEnabled(QString::fromLatin1(name), rows);
        SetItemEnabled(QStringLiteral("mnuFilePreview"), rows && list->SelectedRow() >= 0);

        const bool timeline = !IsTimelineEmpty();
        for (const char* name : {"mnuFileExportTimeline", "mnuEditClearTimeline", "mnuToolsSplitTimeline",
                                 "mnuToolsPackTimelineBars"})
            SetItemEnabled(QString::fromLatin1(name), timeline);

        const bool video = !IsVideoTrackEmpty();
        for (const char* name : {"mnuEditAddToOverlay", "mnuToolsAddText", "mnuToolsTakeSnap"})
            SetItemEnabled(QString::fromLatin1(name), video);
        Menu(QStringLiteral("mnuEditAddEffectToTimeline"))
            ->menuAction()
            ->setEnabled(video && HasCommand(QStringLiteral("mnuAddEffectFade")));
        frmTools::instance()->cmdAdd->setEnabled(video && HasCommand(QStringLiteral("cmdAdd")));
        SetItemEnabled(QStringLiteral("cmdAdd"), video);
        SetItemEnabled(QStringLiteral("mnuToolsRepeatAudio"), video && IsAudioSourceSelected());
        SetItemEnabled(QStringLiteral("mnuEditAddtoAudio2"), IsAudioSourceSelected(1));
        SetItemEnabled(QStringLiteral("mnuEditAddtoAudio1"), IsAudioSourceSelected(2));
        SetItemEnabled(QStringLiteral("mnuEditClearEffect"), !IsEffectTrackEmpty());
        SetItemEnabled(QStringLiteral("mnuEditClearOverlay"), !IsOverlayTrackEmpty());

        const bool editing = IsEditingValid();
        for (const char* name : {"mnuEditCut", "mnuEditCopy", "mnuEditClear", "mnuEditCrop"})
            SetItemEnabled(QString::fromLatin1(name), editing);
        SetItemEnabled(QStringLiteral("mnuEditCropSources"), editing && TimelineView::SelectionShown());
        SetItemEnabled(QStringLiteral("mnuEditPaste"), moduleEdit::IsClipboardFilled());
        SetItemEnabled(QStringLiteral("mnuEditUndo"), ModuleHistory::CanUndo());
        SetItemEnabled(QStringLiteral("mnuEditRedo"), ModuleHistory::CanRedo());

        // The overlay's key colour turns the stretch entries on as well; without it the
        // selected video source decides them alone.
        const bool overlayKey = IsSetOverlayTransparencyValid();
        SetItemEnabled(QStringLiteral("mnuEditSetOverlayTransparency"), overlayKey);
        SetItemEnabled(QStringLiteral("mnuEditStretchMode"), overlayKey || IsVideoSourceSelected());
        SetItemEnabled(QStringLiteral("mnuEditRestoreSize"), IsRestoreSizeValid());

        frmTools::instance()->RefreshActions();
    });
}

void mdiTarnwick::SetItemEnabled(const QString& menuName, bool enabled)
{
    const bool on = enabled && HasCommand(menuName);
    if (QAction* item = Item(menuName))
        item->setEnabled(on);
    for (auto it = m_twins.constBegin(); it != m_twins.constEnd(); ++it) {
        if (it.value() != menuName)
            continue;
        if (QAction* twin = m_buttons.value(it.key(), m_items.value(it.key())))
            twin->setEnabled(on);
    }
}

void mdiTarnwick::DisableEntriesWithoutCommand()
{
    for (QAction* action : std::as_const(m_items))
        action->setEnabled(false);
    for (QAction* button : std::as_const(m_buttons))
        button->setEnabled(false);
    // The recent lists' items keep the states the lists give them; their menus open
    // once the lists have a handler.
    Menu(QStringLiteral("mnuFileResentFiles"))->menuAction()->setEnabled(false);
    Menu(QStringLiteral("mnuFileResentProjects"))->menuAction()->setEnabled(false);
}

QLabel* mdiTarnwick::StatusPanel(const QString& key) const
{
    return statusBar()->findChild<QLabel*>(key);
}

void mdiTarnwick::RegisterCommands()
{
    // The frame's own commands find the frame when they run.
    QmCommands::Register(QStringLiteral("mnuFileExit"), [] { instance()->close(); });
    QmCommands::Register(QStringLiteral("mnuWindowArrangeAll"), [] {
        instance()->ArrangeByVisibility();
        QApplication::processEvents();
        instance()->ArrangeByVisibility();
    });
    QmCommands::Register(QStringLiteral("mnuHelpWhatsThis"), [] { QWhatsThis::enterWhatsThisMode(); });
    QmCommands::Register(QStringLiteral("mnuHelpSection"), [] { ShowHelpTopic(QStringLiteral("1_Welcome.htm")); });
    QmCommands::Register(QStringLiteral("mnuHelpTutorial"), [] { ShowHelpTopic(QStringLiteral("tutorial/index.html")); });
    QmCommands::Register(QStringLiteral("mnuHelpReportBugs"),
                         [] { QmDesktop::Open(WebHost() + QStringLiteral("/Quillmont/report_bug.aspx")); });
    QmCommands::Register(QStringLiteral("mnuHelpNewFeatureRequest"),
                         [] { QmDesktop::Open(WebHost() + QStringLiteral("/Quillmont/new_feature.aspx")); });
    QmCommands::Register(QStringLiteral("mnuHelpAbout"), [] {
        MsgBox(QStringLiteral("Quillmont\r\nVersion 1.8 Release 1\r\n\r\n"
                              "A non-linear video editor: lay out video, sound and pictures on a "
                              "timeline, add effects, text and overlays, and save the result as a movie."),
               QmMsgBox::Icon::Information, QmMsgBox::Buttons::OkOnly, QStringLiteral("About Quillmont"));
    });
    // The Window menu's checks show and hide the panels.
    const std::pair<const char*, QWidget* (*)()> panels[] = {
        {"mnuViewMediaList", [] { return static_cast<QWidget*>(frmMediaList::instance()); }},
        {"mnuViewTimeline", [] { return static_cast<QWidget*>(frmTimeline::instance()); }},
        {"mnuViewPreview", [] { return static_cast<QWidget*>(frmPreview::instance()); }},
    };
    for (const auto& [name, panel] : panels) {
        const QString check = QString::fromLatin1(name);
        QmCommands::Register(check, [check, panel] { instance()->mnuWindowPanel_Click(panel(), instance()->Item(check)); });
    }
    QmCommands::Register(QStringLiteral("mnuViewTools"), [] {
        instance()->m_toolsDock->setVisible(instance()->Item(QStringLiteral("mnuViewTools"))->isChecked());
    });

    // The panels' and modules' own.
    frmMediaList::RegisterCommands();
    frmTimeline::RegisterCommands();
    frmPreview::RegisterCommands();
    ModuleHistory::RegisterCommands();
    moduleEdit::RegisterCommands();
    frmExportTimeline::RegisterCommands();
    frmCapture::RegisterCommands();
    ModuleProject::RegisterCommands();
    frmStretchMode::RegisterCommands();
    frmAddText::RegisterCommands();
    frmTakeSnap::RegisterCommands();
    frmPreferences::RegisterCommands();
}

QMdiSubWindow* mdiTarnwick::AddPanel(QWidget* panel)
{
    QMdiSubWindow* window = m_mdiArea->addSubWindow(panel);
    window->setObjectName(panel->objectName() + QStringLiteral("Window"));
    window->setWindowIcon(QmIcon(QStringLiteral("QUILLMONT")));
    window->installEventFilter(this);
    // A panel's own menu closes it with Ctrl+W, which is File > Preview's: the menu's
    // shortcut wins, and the panel's menu keeps its entry without a key.
    const QKeySequence preview(Qt::CTRL | Qt::Key_W);
    for (QAction* action : window->systemMenu()->actions()) {
        QList<QKeySequence> keys = action->shortcuts();
        if (keys.removeAll(preview) > 0)
            action->setShortcuts(keys);
    }
    m_panelWindows.insert(panel, window);
    return window;
}

QMdiSubWindow* mdiTarnwick::PanelWindow(QWidget* panel) const
{
    return m_panelWindows.value(panel);
}

void mdiTarnwick::Load()
{
    QmTrap::Run(kModule, QStringLiteral("MDIForm_Load"), [this] {
        AddPanel(frmMediaList::instance());
        frmMediaList::instance()->Load();
        frmTimeline::instance()->Load();
        AddPanel(frmTimeline::instance());
        PanelWindow(frmTimeline::instance())->resize(PanelWindow(frmTimeline::instance())->width(),
                                                     frmTimeline::DesignHeight);
        AddPanel(frmPreview::instance());
        frmPreview::instance()->Load();

        m_toolsDock = new QDockWidget(QStringLiteral("Tools"), this);
        m_toolsDock->setObjectName(QStringLiteral("frmToolsDock"));
        m_toolsDock->setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable);
        m_toolsDock->setWidget(frmTools::instance());
        m_toolsDock->installEventFilter(this);
        addDockWidget(Qt::RightDockWidgetArea, m_toolsDock);
        resizeDocks({m_toolsDock}, {240}, Qt::Horizontal);

        // The tools panel offers the actions of the panel last activated.
        connect(m_mdiArea, &QMdiArea::subWindowActivated, this, [](QMdiSubWindow* window) {
            if (!window || !window->widget())
                return;
            const QString name = window->widget()->objectName();
            const int16_t context = name == u"frmMediaList" ? 0 : name == u"frmPreview" ? 1 : name == u"frmTimeline" ? 2 : -1;
            if (context >= 0)
                frmTools::instance()->SetActiveContext(context);
        });

        // The commands are the process's: a frame made again finds them in the table.
        static const bool registered = [] {
            RegisterCommands();
            return true;
        }();
        Q_UNUSED(registered);
        ModuleHistory::Install();
        ModuleProject::Install();
        ModuleAssociateIcon::ApplyFileAssociation();
        ProjectLoadLock = false;
        EnableOrDisableMenuItems();
        for (QMdiSubWindow* window : m_panelWindows)
            window->show();
        ArrangeAllVisible();
        QApplication::processEvents();
    });
}

void mdiTarnwick::StartTutorialIfWanted()
{
    const QString tutorial = QmSettings::GetSetting(QStringLiteral("Save Options"), QStringLiteral("Tutorial"), QString());
    if (tutorial.isEmpty() || tutorial == u"0")
        RunCommand(QStringLiteral("mnuHelpTutorial"));
}

void mdiTarnwick::PlaceTimelineAndTop(std::initializer_list<TopPanel> top)
{
    // W and H: the area's inside; T: the timeline's own height, which it keeps.
    const int w = m_mdiArea->viewport()->width();
    const int h = m_mdiArea->viewport()->height();
    const int t = PanelWindow(frmTimeline::instance())->height();
    PanelWindow(frmTimeline::instance())->setGeometry(0, h - t, w, t);
    for (const TopPanel& panel : top) {
        PanelWindow(panel.form)->setGeometry(QmNumbers::CLng(w * panel.left), 0, QmNumbers::CLng(w * panel.width),
                                             h - t);
    }
}

void mdiTarnwick::ArrangeAllVisible()
{
    PlaceTimelineAndTop({{frmMediaList::instance(), 0.0, 0.62}, {frmPreview::instance(), 0.62, 0.38}});
}

void mdiTarnwick::ArrangeMediaListNotVisible()
{
    PlaceTimelineAndTop({{frmPreview::instance(), 0.0, 1.0}});
}

void mdiTarnwick::ArrangePreviewNotVisible()
{
    PlaceTimelineAndTop({{frmMediaList::instance(), 0.0, 1.0}});
}

void mdiTarnwick::ArrangeByVisibility()
{
    const bool mediaList = Item(QStringLiteral("mnuViewMediaList"))->isChecked();
    const bool preview = Item(QStringLiteral("mnuViewPreview"))->isChecked();
    if (!mediaList)
        ArrangeMediaListNotVisible(); // with the preview hidden too, only the timeline's place matters
    else if (!preview)
        ArrangePreviewNotVisible();
    else
        ArrangeAllVisible();
}

void mdiTarnwick::mnuWindowPanel_Click(QWidget* panel, QAction* check)
{
    PanelWindow(panel)->setVisible(check->isChecked());
    ArrangeByVisibility();
}

void mdiTarnwick::PlacePbarMain()
{
    QStatusBar* sbr = statusBar();
    m_pbarMain->move(sbr->width() - m_pbarMain->width() - 5, (sbr->height() - m_pbarMain->height()) / 2);
    m_pbarMain->raise();
}

bool mdiTarnwick::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == statusBar() && event->type() == QEvent::Resize) {
        PlacePbarMain();
    } else if (watched == m_mdiArea->viewport() && event->type() == QEvent::Resize && !m_panelWindows.isEmpty()) {
        // The panels keep filling the frame when it changes size.
        ArrangeByVisibility();
    } else if ((watched == m_tbr || watched == m_mdiArea->viewport()) && event->type() == QEvent::MouseMove) {
        QmStatus::Show(QStringLiteral("Ready"));
    } else if (event->type() == QEvent::Close) {
        // A panel closed from its window menu is only hidden, and loses its check.
        if (watched == m_toolsDock) {
            Item(QStringLiteral("mnuViewTools"))->setChecked(false);
        } else if (auto* window = qobject_cast<QMdiSubWindow*>(watched)) {
            static const QMap<QString, QString> checks = {
                {QStringLiteral("frmMediaList"), QStringLiteral("mnuViewMediaList")},
                {QStringLiteral("frmTimeline"), QStringLiteral("mnuViewTimeline")},
                {QStringLiteral("frmPreview"), QStringLiteral("mnuViewPreview")},
            };
            event->ignore();
            window->hide();
            if (window->widget())
                Item(checks.value(window->widget()->objectName()))->setChecked(false);
            ArrangeByVisibility();
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

void mdiTarnwick::closeEvent(QCloseEvent* event)
{
    bool cancel = false;
    QmTrap::Run(kModule, QStringLiteral("MDIForm_QueryUnload"), [&] {
        if (InSelectionUpdate || BusyOpening) {
            QmStatus::Show(QStringLiteral("Quillmont is currently busy. Please wait until the current operation is "
                                         "completed and then close the application."));
            cancel = true;
            return;
        }
        if (ProjectModified) {
            const QmMsgBox::Result answer =
                MsgBox(QStringLiteral("Do you want save your changes before closing?"), QmMsgBox::Icon::Question,
                       QmMsgBox::Buttons::YesNoCancel);
            if (answer == QmMsgBox::Cancel) {
                cancel = true;
            } else if (answer == QmMsgBox::Yes) {
                // A save cancelled, or one that failed, keeps the window open rather
                // than lose the work.
                ModuleProject::SaveCancelled = false;
                RunCommand(QStringLiteral("mnuFileSaveProject"));
                cancel = ModuleProject::SaveCancelled || ProjectModified;
            }
        }
    });
    if (cancel) {
        event->ignore();
        return;
    }
    // Unload: every other form of the program goes with the main window.
    frmPreview::instance()->Unload();
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget != this)
            widget->close();
    }
    event->accept();
}
