#include "shell/frmTools.h"

#include "ui_frmTools.h"

#include "core/QmIcons.h"
#include "core/QmListView.h"
#include "core/QmMsgBox.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmStatus.h"
#include "editing/moduleEdit.h"
#include "editing/moduleTWState.h"
#include "history/ModuleHistory.h"
#include "media/frmMediaList.h"
#include "shell/mdiTarnwick.h"
#include "timeline/moduleTimeline.h"
#include "timeline/TimelineView.h"

#include <QHash>
#include <QMouseEvent>
#include <QToolButton>
#include <QTreeWidget>

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("frmTools");

// Node keys whose picture has a key of its own in the image list.
QString PictureOf(const QString& key)
{
    static const QHash<QString, QString> pictures = {{QStringLiteral("OVERLAY_TRANSPARENCY"), QStringLiteral("OVERLAY_KEY_COLOR")},
                                                     {QStringLiteral("STRETCH"), QStringLiteral("STRETCH_MODE")},
                                                     {QStringLiteral("MUTE"), QStringLiteral("MUTE_FALSE")}};
    return pictures.value(key, key);
}

} // namespace

frmTools::frmTools()
{
    Ui::frmTools ui;
    ui.setupUi(this);
    tbsTools = ui.tbsTools;
    tvwActions = ui.tvwActions;
    lvwEffects = ui.lvwEffects;
    cmdAdd = ui.cmdAdd;
    lvwHistory = ui.lvwHistory;

    tvwActions->viewport()->installEventFilter(this);
    tvwActions->viewport()->setMouseTracking(true);
    connect(tvwActions, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* node) { tvwActions_NodeClick(node); });

    lvwEffects->SetColumns({QStringLiteral("Effect")});
    lvwEffects->SetView(QmListView::List);
    const std::pair<const char*, const char*> kEffects[] = {{"FADE", "Fade"},   {"PIXELATE", "Pixelate"}, {"BLUR", "Blur"},
                                                            {"WAVE", "Wave"},   {"EMBOSS", "Emboss"},     {"ENGRAVE", "Engrave"}};
    for (const auto& [key, text] : kEffects) {
        const int row = lvwEffects->AddItem(lvwEffects->Count(), QString::fromLatin1(text), QStringLiteral("ADD_EFFECT"));
        lvwEffects->SetItemKey(row, QString::fromLatin1(key));
    }
    lvwEffects->SetSelected(0, true);
    lvwEffects->SetCurrentRow(0);
    connect(lvwEffects, &QmListView::DblClick, this, [this] { OnAddClick(); });
    connect(lvwEffects, &QmListView::MouseMoved, this,
            [] { QmStatus::Show(QStringLiteral("Lists all effects that can be added to the timeline")); });
    cmdAdd->setIcon(QmIcon(QStringLiteral("ADD_EFFECT")));
    connect(cmdAdd, &QToolButton::clicked, this, [this] { OnAddClick(); });

    lvwHistory->SetColumns({QStringLiteral("Operation")});
    lvwHistory->SetView(QmListView::Report);
    connect(lvwHistory, &QmListView::MouseMoved, this,
            [] { QmStatus::Show(QStringLiteral("Lists all operations that has been carried out")); });
}

void frmTools::SetActiveContext(int16_t context)
{
    ActiveContext = context;
    RefreshActions();
}

void frmTools::ActionsClear()
{
    tvwActions->clear();
}

void frmTools::AddNode(const QString& key, const QString& text)
{
    auto* node = new QTreeWidgetItem(QStringList{text});
    node->setData(0, Qt::UserRole, key);
    node->setIcon(0, QmIcon(PictureOf(key)));
    // An action whose command Quillmont does not have yet is shown, but cannot be run.
    const QString command = CommandOfAction(text);
    const bool available = mdiTarnwick::exists() && !command.isEmpty()
                           && (command == u"cmdAdd" ? cmdAdd->isEnabled() : mdiTarnwick::instance()->HasCommand(command));
    if (!available)
        node->setFlags(node->flags() & ~Qt::ItemIsEnabled);
    tvwActions->addTopLevelItem(node);
}

void frmTools::RefreshActions()
{
    QmTrap::Run(kModule, QStringLiteral("RefreshActions*"), [this] {
        ActionsClear();
        switch (ActiveContext) {
        case 0:
            ActionsBuildMediaList();
            break;
        case 1:
            ActionsBuildPreview();
            break;
        case 2:
            ActionsBuildTimeline();
            break;
        default:
            break;
        }
        ActionsBuildCommon();
    });
}

void frmTools::ActionsBuildMediaList()
{
    AddNode(QStringLiteral("IMPORT_FILE"), QStringLiteral("Open media file..."));
    if (frmMediaList::instance()->lvwMediaList->Count() > 0)
        AddNode(QStringLiteral("ADD_TO_TIMELINE"), QStringLiteral("Add media file to the timeline"));
    if (!moduleTWState::IsVideoTrackEmpty())
        AddNode(QStringLiteral("ADD_TO_OVERLAY"), QStringLiteral("Add media file to overlay track"));
}

void frmTools::ActionsBuildPreview()
{
    if (moduleTWState::IsTimelineEmpty())
        return;
    AddNode(QStringLiteral("PLAY"), QStringLiteral("Play"));
    AddNode(QStringLiteral("PAUSE"), QStringLiteral("Pause"));
    AddNode(QStringLiteral("STOP"), QStringLiteral("Stop"));
    AddNode(QStringLiteral("REWIND"), QStringLiteral("Rewind"));
    AddNode(QStringLiteral("FORWARD"), QStringLiteral("Forward"));
    AddNode(QStringLiteral("LOOP"), QStringLiteral("Loop playback"));
    AddNode(QStringLiteral("TAKE_SNAP"), QStringLiteral("Take snap"));
    AddNode(QStringLiteral("SAVE_TIMELINE"), QStringLiteral("Save Timeline..."));
}

void frmTools::ActionsBuildTimeline()
{
    using namespace moduleTWState;
    if (ModuleHistory::CanUndo())
        AddNode(QStringLiteral("UNDO"), QStringLiteral("Undo"));
    if (ModuleHistory::CanRedo())
        AddNode(QStringLiteral("REDO"), QStringLiteral("Redo"));
    if (IsTimelineEmpty())
        return;
    AddNode(QStringLiteral("SEL_SLIDERS"), QStringLiteral("Show/Hide selection sliders"));
    if (IsEditingValid()) {
        AddNode(QStringLiteral("CLEAR"), QStringLiteral("Delete selection"));
        AddNode(QStringLiteral("CUT"), QStringLiteral("Cut selection"));
        AddNode(QStringLiteral("COPY"), QStringLiteral("Copy selection"));
        AddNode(QStringLiteral("CROP"), QStringLiteral("Crop selection"));
        if (TimelineView::SelectionShown())
            AddNode(QStringLiteral("CROP_SOURCES"), QStringLiteral("Crop source(s)"));
    }
    if (moduleEdit::IsClipboardFilled())
        AddNode(QStringLiteral("PASTE"), QStringLiteral("Paste"));
    if (IsRestoreSizeValid())
        AddNode(QStringLiteral("RESTORE_SIZE"), QStringLiteral("Restore to original size"));
    if (!IsVideoTrackEmpty())
        AddNode(QStringLiteral("ADD_EFFECT"), QStringLiteral("Add an effect"));
    const bool overlayKey = IsSetOverlayTransparencyValid();
    if (overlayKey)
        AddNode(QStringLiteral("OVERLAY_TRANSPARENCY"), QStringLiteral("Set overlay key color"));
    if (IsVideoSourceSelected() || overlayKey)
        AddNode(QStringLiteral("STRETCH"), QStringLiteral("Set stretch mode..."));
    AddNode(QStringLiteral("SPLIT_TIMELINE"), QStringLiteral("Split timeline tracks"));
    AddNode(QStringLiteral("PACK_TIMELINE"), QStringLiteral("Pack timeline tracks"));
    if (IsAudioSourceSelected())
        AddNode(QStringLiteral("REPEAT_AUDIO"), QStringLiteral("Repeat audio"));
    AddNode(QStringLiteral("ADD_TEXT"), QStringLiteral("Add text as overlay"));
    AddNode(QStringLiteral("SAVE_TIMELINE"), QStringLiteral("Save timeline..."));
}

void frmTools::ActionsBuildCommon()
{
    AddNode(QStringLiteral("NEW"), QStringLiteral("Create a new project"));
    AddNode(QStringLiteral("OPEN"), QStringLiteral("Open an existing project..."));
    if (frmMediaList::instance()->lvwMediaList->Count() > 0)
        AddNode(QStringLiteral("SAVE"), QStringLiteral("Save current project"));
}

QString frmTools::CommandOfAction(const QString& text)
{
    static const QHash<QString, QString> commands = {
        {QStringLiteral("Open media file..."), QStringLiteral("mnuFileOpen")},
        {QStringLiteral("Add media file to the timeline"), QStringLiteral("mnuEditAddToTimeline")},
        {QStringLiteral("Add media file to overlay track"), QStringLiteral("mnuEditAddToOverlay")},
        {QStringLiteral("Play"), QStringLiteral("DoPreviewAction:Play")},
        {QStringLiteral("Pause"), QStringLiteral("DoPreviewAction:Pause")},
        {QStringLiteral("Stop"), QStringLiteral("DoPreviewAction:Stop")},
        {QStringLiteral("Rewind"), QStringLiteral("DoPreviewAction:Rewind")},
        {QStringLiteral("Forward"), QStringLiteral("DoPreviewAction:Forward")},
        {QStringLiteral("Loop playback"), QStringLiteral("DoPreviewAction:Loop playback")},
        {QStringLiteral("Take snap"), QStringLiteral("mnuToolsTakeSnap")},
        {QStringLiteral("Save Timeline..."), QStringLiteral("mnuFileExportTimeline")},
        {QStringLiteral("Save timeline..."), QStringLiteral("mnuFileExportTimeline")},
        {QStringLiteral("Undo"), QStringLiteral("mnuEditUndo")},
        {QStringLiteral("Redo"), QStringLiteral("mnuEditRedo")},
        {QStringLiteral("Show/Hide selection sliders"), QStringLiteral("mnuViewSelectionSliders")},
        {QStringLiteral("Delete selection"), QStringLiteral("mnuEditClear")},
        {QStringLiteral("Cut selection"), QStringLiteral("mnuEditCut")},
        {QStringLiteral("Copy selection"), QStringLiteral("mnuEditCopy")},
        {QStringLiteral("Crop selection"), QStringLiteral("mnuEditCrop")},
        {QStringLiteral("Crop source(s)"), QStringLiteral("mnuEditCropSources")},
        {QStringLiteral("Paste"), QStringLiteral("mnuEditPaste")},
        {QStringLiteral("Restore to original size"), QStringLiteral("mnuEditRestoreSize")},
        {QStringLiteral("Add an effect"), QStringLiteral("cmdAdd")},
        {QStringLiteral("Set overlay key color"), QStringLiteral("mnuEditSetOverlayTransparency")},
        {QStringLiteral("Set stretch mode..."), QStringLiteral("mnuEditStretchMode")},
        {QStringLiteral("Split timeline tracks"), QStringLiteral("mnuToolsSplitTimeline")},
        {QStringLiteral("Pack timeline tracks"), QStringLiteral("mnuToolsPackTimelineBars")},
        {QStringLiteral("Repeat audio"), QStringLiteral("mnuToolsRepeatAudio")},
        {QStringLiteral("Add text as overlay"), QStringLiteral("mnuToolsAddText")},
        {QStringLiteral("Create a new project"), QStringLiteral("mnuFileNewProject")},
        {QStringLiteral("Open an existing project..."), QStringLiteral("mnuFileOpenProject")},
        {QStringLiteral("Save current project"), QStringLiteral("mnuFileSaveProject")},
    };
    return commands.value(text);
}

void frmTools::tvwActions_NodeClick(QTreeWidgetItem* node)
{
    if (!node || !m_leftPressed || !mdiTarnwick::exists())
        return;
    mdiTarnwick::instance()->OnActionsClick(node->text(0));
}

void frmTools::OnAddClick()
{
    QmTrap::Run(kModule, QStringLiteral("OnAddClick"), [] {
        if (moduleTWState::IsEffectLocked(TrackCollection.Item(1))) {
            MsgBox(QStringLiteral("Please unlock the Effect Track before adding an effect to it."),
                   QmMsgBox::Icon::Information);
            return;
        }
        if (mdiTarnwick::exists())
            mdiTarnwick::instance()->RunCommand(QStringLiteral("cmdAdd"));
    });
}

bool frmTools::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == tvwActions->viewport()) {
        if (event->type() == QEvent::MouseButtonPress)
            m_leftPressed = static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton;
        else if (event->type() == QEvent::MouseMove)
            QmStatus::Show(QStringLiteral("Lists all actions possible in the current context"));
    }
    return QmPanel::eventFilter(watched, event);
}
