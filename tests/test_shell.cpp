// The main window's frame and the settings store: the menus against their table,
// commands and their twins, panel placement, the panels' controls by their design
// names, the close query, the recent lists.
#include "QmTestSupport.h"

#include "core/QmListView.h"
#include "core/QmSettings.h"
#include "core/QmShared.h"
#include "core/QmStatus.h"
#include "core/QmTrap.h"
#include "core/QmVideoSurface.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "media/frmMediaList.h"
#include "media/moduleTarnwick.h"
#include "preview/frmPreview.h"
#include "shell/ModuleSettings.h"
#include "shell/QmMenuArray.h"
#include "shell/QmCommands.h"
#include "shell/frmTools.h"
#include "shell/mdiTarnwick.h"
#include "timeline/frmTimeline.h"
#include "tools/frmVolume.h"

#include <QDockWidget>
#include <QGroupBox>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QProgressBar>
#include <QSlider>
#include <QStatusBar>
#include <QTabWidget>
#include <QToolBar>
#include <QToolButton>
#include <QTreeWidget>

#include <tuple>

using namespace QmShared;
using QmTest::Main;

namespace {

// The menu bar as it stands: name|caption|shortcut, two blanks per level, "-" a rule.
const char* const kMenuTable = R"(mnuFile|&File
  mnuFileOpen|Open &File...|Ctrl+I
  mnuFileClose|&Close File
  -
  mnuFileNewProject|&New Project...|Ctrl+N
  mnuFileOpenProject|&Open Project...|Ctrl+O
  mnuFileCloseProject|Clos&e Project
  -
  mnuFileSaveProject|&Save Project|Ctrl+S
  mnuFileSaveProjectAs|Save Project &As...
  -
  mnuFileExportTimeline|Save &Timeline...
  -
  mnuFilePreview|Previe&w...|Ctrl+W
  -
  mnuFileResentProjects|Recent &Projects
    mnuFileRP_0|Empty
  mnuFileResentFiles|&Recent Files
    mnuFileRF_0|Empty
  -
  mnuFileExit|E&xit
mnuEdit|&Edit
  mnuEditUndo|&Undo|Ctrl+Z
  mnuEditRedo|&Redo|Ctrl+Y
  -
  mnuEditAddToTimeline|&Add to Timeline|F2
  mnuEditClearTimeline|Clear &Timeline
  mnuEditStretchMode|Set Stretch &Mode|Ctrl+M
  -
  mnuEditAddEffectToTimeline|Add &Effect to Timeline
    mnuAddEffectFade|&Fade
    mnuAddEffectPixelate|&Pixelate
    mnuAddEffectBlur|&Blur
    mnuAddEffectWave|&Wave
    mnuAddEffectEmboss|&Emboss
    mnuAddEffectEngrave|&Engrave
  mnuEditClearEffect|Clear E&ffects
  -
  mnuEditAddToOverlay|A&dd to Overlay|F4
  mnuEditClearOverlay|Clear O&verlay
  mnuEditSetOverlayTransparency|Set Overlay &Key Color|Ctrl+L
  -
  mnuEditCut|Cu&t|Ctrl+X
  mnuEditCopy|&Copy|Ctrl+C
  mnuEditPaste|&Paste|Ctrl+V
  mnuEditClear|&Delete|Del
  mnuEditCrop|Cr&op|Shift+Del
  mnuEditCropSources|Crop So&urce(s)|Ctrl+U
  -
  mnuEditAddtoAudio1|Move to Audio &1
  mnuEditAddtoAudio2|Move to Audio &2
  -
  mnuEditStartSel|&Start Selection|Ctrl+T
  mnuEditEndSel|E&nd Selection|Ctrl+D
  -
  mnuEditRestoreSize|Restore Si&ze|Ctrl+R
mnuView|&View
  mnuViewTimelineList|Timeline &List
  -
  mnuViewML_LargeIcon|&Large Icon
  mnuViewML_SmallIcon|Small &Icon
  mnuViewML_List|&List
  mnuViewML_Detail|&Detail
  -
  mnuViewSelectionSliders|&Selection Sliders|F5
mnuTools|&Tools
  mnuToolsZoomIn|Zoom &In Timeline Scale|F6
  mnuToolsZoomOut|Zoom &Out Timeline Scale|F7
  -
  mnuToolsAddBookmark|&Add Marker|F8
  mnuToolsRemoveBookmark|&Remove Marker|F9
  mnueditclearmarkers|Remove All &Markers
  -
  mnuToolsCapture|&Capture...|F3
  mnuToolsSplitTimeline|&Split Timeline Tracks|F11
  mnuToolsPackTimelineBars|&Pack Timeline Tracks|F12
  mnuToolsTakeSnap|&Take Snap|Ctrl+F2
  mnuToolsRepeatAudio|Repeat A&udio|Ctrl+F3
  mnuToolsAddText|Add Te&xt|Ctrl+F5
  -
  mnuToolsOptions|Optio&ns...
mnuWindow|&Window
  mnuViewMediaList|&Media List
  mnuViewPreview|&Preview
  mnuViewTimeline|&Timeline
  mnuViewTools|T&ools
  -
  mnuWindowArrangeAll|&Arrange All
mnuHelp|&Help
  mnuHelpSection|&Help Section|F1
  mnuHelpTutorial|&Tutorial|Ctrl+F1
  -
  mnuHelpWhatsThis|What's &This?|Shift+F1
  -
  mnuHelpReportBugs|&Report Bugs
  mnuHelpNewFeatureRequest|&New Feature Request
  -
  mnuHelpAbout|&About Quillmont...)";

void Dump(const QMenu* menu, int depth, QStringList& lines)
{
    const QString indent(depth * 2, u' ');
    for (QAction* action : menu->actions()) {
        if (action->isSeparator()) {
            lines << indent + u'-' + action->objectName();
            continue;
        }
        QString line = indent + action->objectName() + u'|' + action->text().replace(QLatin1String("&&"), QLatin1String("&"));
        if (!action->shortcut().isEmpty())
            line += u'|' + action->shortcut().toString();
        lines << line;
        if (action->menu())
            Dump(action->menu(), depth + 1, lines);
    }
}

QRect Geometry(QWidget* panel)
{
    return Main()->PanelWindow(panel)->geometry();
}

QString Setting(const char* section, const QString& key)
{
    return QmSettings::GetSetting(QString::fromLatin1(section), key, QStringLiteral("<missing>"));
}

} // namespace

class TestShell : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void menusStandAsTheyShould();
    void toolbarAndStatusBar();
    void commandsRunFromEntriesTwinsAndShortcuts();
    void commandTableRegistersOnceAndRefusesUnknownNames();
    void panelsArePlaced();
    void panelsHideAndComeBack();
    void controlsCarryTheirDesignNames();
    void closeQuery();

    void settingsDefaultsAndRoundTrip();
    void recentFilesNewestFirstAndFour();
    void recentProjectsComeBackOneAtStart();

private:
    QStringList m_ran;
};

void TestShell::initTestCase()
{
    QmTest::StartMainWindow(1200, 800);
}

void TestShell::cleanup()
{
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
    InSelectionUpdate = BusyOpening = ProjectModified = false;
}

void TestShell::menusStandAsTheyShould()
{
    QStringList lines;
    for (QAction* top : Main()->menuBar()->actions()) {
        lines << top->objectName() + u'|' + top->text();
        Dump(top->menu(), 1, lines);
    }
    const QStringList expected = QString::fromUtf8(kMenuTable).split(u'\n');
    for (int i = 0; i < qMin(lines.size(), expected.size()); ++i)
        QCOMPARE(lines[i], expected[i]);
    QCOMPARE(lines.size(), expected.size());

    // The checks that start set.
    for (const char* name : {"mnuViewTimelineList", "mnuViewML_Detail", "mnuViewMediaList", "mnuViewPreview",
                             "mnuViewTimeline", "mnuViewTools"})
        QVERIFY2(Main()->Item(QString::fromLatin1(name))->isChecked(), name);
    QVERIFY(!Main()->Item(QStringLiteral("mnuViewML_List"))->isChecked());

    // The hidden pop-ups, with the captions of their twins and no shortcuts.
    QStringList popups;
    Dump(Main()->mnuMediaListContext(), 0, popups);
    QCOMPARE(popups, (QStringList{"mnuMLC_AddToTimeline|Add to &Timeline", "mnuMLC_AddToOverlay|&Add to Overlay",
                                  "mnuMLC_Preview|&Preview", "mnuMLC_Close|&Close"}));
    QCOMPARE(Main()->mnuMediaListContext()->title(), QStringLiteral("Media List Context"));
    popups.clear();
    Dump(Main()->mnuEditContext(), 0, popups);
    QCOMPARE(popups.join(u','),
             QStringLiteral("mnuEC_ZoomIn|Zoom &In,mnuEC_ZoomOut|Zoo&m Out,-s21,mnuEC_Cut|Cu&t,mnuEC_Copy|&Copy,"
                            "mnuEC_Paste|&Paste,mnuEC_Delete|&Delete,mnuEC_Crop|Cr&op,-s34,"
                            "mnuEditContextAddtoAudio1|Move to Audio &1,mnuEditContextAddtoAudio2|Move to Audio &2,-s22,"
                            "mnuEC_AddMarker|&Add Marker,mnuEC_RemoveMarker|&Remove Marker,-s23,"
                            "mnuEC_StretchMode|Set Stretch &Mode,-sr1,mnuEC_SetOverlayTransparency|Set Overlay &Key Color,"
                            "-sr2,mnuEC_SelSliders|&Selection Sliders"));
    QCOMPARE(Main()->mnuEditContext()->title(), QStringLiteral("&Edit Context"));
    QVERIFY(!Main()->menuBar()->actions().contains(Main()->mnuEditContext()->menuAction()));
}

void TestShell::toolbarAndStatusBar()
{
    auto* tbr = Main()->findChild<QToolBar*>(QStringLiteral("tbr"));
    QVERIFY(tbr);
    QStringList keys;
    for (QAction* action : tbr->actions()) {
        if (!action->isSeparator())
            keys << action->objectName() + u'=' + action->toolTip();
    }
    QCOMPARE(keys.join(u','),
             QStringLiteral("NEW_PROJECT=New Project,OPEN_PROJECT=Open Project,SAVE_PROJECT=Save Project,"
                            "IMPORT_FILE=Open File,ADD_TO_TIMELINE=Add To Timeline,ADD_EFFECT=Add Effect (To Timeline),"
                            "ADD_TEXT=Add Text (To Timeline),CUT=Cut,COPY=Copy,PASTE=Paste,CLEAR=Delete,CROP=Crop,"
                            "SET_OVERLAY_KEY_COLOR=Set Overlay Key Color,SET_STRETCH_MODE=Set Stretch Mode,UNDO=Undo,"
                            "REDO=Redo,LARGE_ICONS=Large Icons,SMALL_ICONS=Small Icons,LIST=List,DETAIL=Detail,"
                            "HELP=Help"));
    for (QAction* action : tbr->actions())
        QVERIFY2(action->isSeparator() || !action->icon().isNull(), qPrintable(action->objectName()));
    QVERIFY(Main()->ToolButton(QStringLiteral("DETAIL"))->isChecked());

    QCOMPARE(Main()->StatusPanel(QStringLiteral("sbr_1"))->text(), QStringLiteral("Ready"));
    for (const char* key : {"SLIDER_POS", "DURATION", "SELECTION"})
        QVERIFY(Main()->StatusPanel(QString::fromLatin1(key)));

    // The progress bar keeps 5 pixels from the status bar's right end as it resizes.
    QProgressBar* bar = Main()->pbarMain();
    QVERIFY(bar && bar->isHidden());
    for (int width : {1000, 1300}) {
        Main()->resize(width, 800);
        QCoreApplication::processEvents();
        QCOMPARE(bar->x(), Main()->statusBar()->width() - bar->width() - 5);
    }

    // Pointer over the frame: "Ready".
    QmStatus::Show(QStringLiteral("something else"));
    QTest::mouseMove(Main()->mdiArea()->viewport(), QPoint(5, 5));
    QMouseEvent move(QEvent::MouseMove, QPointF(5, 5), QPointF(5, 5), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(tbr, &move);
    QCOMPARE(Main()->StatusPanel(QStringLiteral("sbr_1"))->text(), QStringLiteral("Ready"));
}

void TestShell::commandsRunFromEntriesTwinsAndShortcuts()
{
    mdiTarnwick* main = Main();
    // Without a command an entry is off, and asking to enable it changes nothing (taking
    // a snap, its command withdrawn for the while).
    QmCommands::Command snapCommand = QmCommands::Withdraw(QStringLiteral("mnuToolsTakeSnap"));
    main->SetItemEnabled(QStringLiteral("mnuToolsTakeSnap"), false);
    QAction* snap = main->Item(QStringLiteral("mnuToolsTakeSnap"));
    QVERIFY(!main->HasCommand(QStringLiteral("mnuToolsTakeSnap")));
    QVERIFY(!snap->isEnabled());
    main->SetItemEnabled(QStringLiteral("mnuToolsTakeSnap"), true);
    QVERIFY(!snap->isEnabled());
    QmCommands::Register(QStringLiteral("mnuToolsTakeSnap"), std::move(snapCommand));
    QVERIFY(main->HasCommand(QStringLiteral("mnuToolsTakeSnap")));
    QAction* cut = main->Item(QStringLiteral("mnuEditCut"));
    QVERIFY(main->Item(QStringLiteral("mnuFileExit"))->isEnabled());
    QVERIFY(main->Item(QStringLiteral("mnuWindowArrangeAll"))->isEnabled());

    // Stand-ins record what ran.
    QmTest::StandIn(QStringLiteral("mnuFileOpenProject"), [] {});
    QMap<QString, QmCommands::Command> kept;
    for (const char* name : {"mnuEditCut", "mnuFileOpen", "mnuFileOpenProject"}) {
        const QString entry = QString::fromLatin1(name);
        kept[entry] = QmCommands::Replace(entry, [this, entry] { m_ran << entry; });
    }
    // The menus follow the timeline after every command: cutting wants something to cut.
    auto& tl = Eng<ITWTimeline>();
    const int32_t video = TrackCollection.Item(1);
    const int32_t file = Eng<ITWCoreRoot>().OpenFile(QmTest::Fixture(QStringLiteral("video.avi")));
    tl.AppendSource(video, Eng<ITWMediaFiles>().OpenStream(file, 0), -1);
    main->EnableOrDisableMenuItems();
    QVERIFY(!cut->isEnabled());
    tl.SetSourceSelected(video, 0, true);
    main->EnableOrDisableMenuItems();
    QVERIFY(cut->isEnabled());
    QVERIFY(main->ToolButton(QStringLiteral("CUT"))->isEnabled());
    QVERIFY(main->Item(QStringLiteral("mnuEC_Cut"))->isEnabled());

    // Entry, tool button and pop-up run the one command.
    cut->trigger();
    main->ToolButton(QStringLiteral("CUT"))->trigger();
    main->Item(QStringLiteral("mnuEC_Cut"))->trigger();
    QCOMPARE(m_ran, QStringList(3, QStringLiteral("mnuEditCut")));
    main->SetItemEnabled(QStringLiteral("mnuEditCut"), false);
    QVERIFY(!main->Item(QStringLiteral("mnuEC_Cut"))->isEnabled());
    QVERIFY(!main->ToolButton(QStringLiteral("CUT"))->isEnabled());

    // Ctrl+I opens files; Ctrl+O is the project.
    m_ran.clear();
    main->activateWindow();
    QTest::keyClick(main, Qt::Key_I, Qt::ControlModifier);
    QTest::keyClick(main, Qt::Key_O, Qt::ControlModifier);
    QCOMPARE(m_ran, (QStringList{"mnuFileOpen", "mnuFileOpenProject"}));
    // Ctrl+W is File > Preview's, whichever panel is active: the panels' own close key
    // gives way.
    kept[QStringLiteral("mnuFilePreview")] =
        QmCommands::Replace(QStringLiteral("mnuFilePreview"), [this] { m_ran << QStringLiteral("mnuFilePreview"); });
    for (QWidget* panel : {static_cast<QWidget*>(frmMediaList::instance()), static_cast<QWidget*>(frmPreview::instance())}) {
        main->mdiArea()->setActiveSubWindow(main->PanelWindow(panel));
        m_ran.clear();
        main->SetItemEnabled(QStringLiteral("mnuFilePreview"), true); // as with a media list row selected
        QTest::keyClick(main, Qt::Key_W, Qt::ControlModifier);
        QCOMPARE(m_ran, QStringList{QStringLiteral("mnuFilePreview")});
        QVERIFY(main->PanelWindow(panel)->isVisible());
    }
    m_ran.clear();

    // A command that fails is trapped; nothing escapes into the event loop.
    kept[QStringLiteral("mnuEditCopy")] =
        QmCommands::Replace(QStringLiteral("mnuEditCopy"), [] { throw QmError(5, QStringLiteral("x")); });
    main->Item(QStringLiteral("mnuEditCopy"))->trigger();
    tl.RemoveSource(video, 0);
    for (auto it = kept.begin(); it != kept.end(); ++it)
        QmCommands::Replace(it.key(), it.value());
    main->EnableOrDisableMenuItems();
}

void TestShell::commandTableRegistersOnceAndRefusesUnknownNames()
{
    QStringList reports;
    QmTrap::SetReporter([&reports](const QString&, const QString& function, const QmError& error) {
        reports << function + u' ' + QString::number(error.Number());
    });
    // Every entry of the frame's own and of the modules is there once the window stands.
    for (const char* name : {"mnuFileExit", "mnuHelpAbout", "mnuViewTools", "mnuFileOpen", "mnuEditCut", "mnuEditUndo",
                             "mnuToolsZoomIn", "mnuEditAddToTimeline", "cmdAdd", "DoPreviewAction:Play"})
        QVERIFY2(QmCommands::Has(QString::fromLatin1(name)), name);

    // A name registered twice is refused, and the first command stays.
    int ran = 0;
    QmCommands::Register(QStringLiteral("testOnce"), [&ran] { ++ran; });
    try {
        QmCommands::Register(QStringLiteral("testOnce"), [] {});
        QFAIL("a second registration went through");
    } catch (const QmError& error) {
        QCOMPARE(error.Number(), QmErr::IllegalCall);
    }
    QmCommands::Run(QStringLiteral("testOnce"));
    QCOMPARE(ran, 1);

    // An unknown name is never passed over: run from the frame it reaches the trap's
    // report under its own name, and the menus still follow.
    Main()->RunCommand(QStringLiteral("mnuNoSuchEntry"));
    QCOMPARE(reports, QStringList{QStringLiteral("mnuNoSuchEntry_Click 5")});
    try {
        QmCommands::Run(QStringLiteral("mnuNoSuchEntry"));
        QFAIL("an unknown command ran");
    } catch (const QmError& error) {
        QCOMPARE(error.Number(), QmErr::IllegalCall);
    }
    QmTrap::SetReporter({});
}

void TestShell::panelsArePlaced()
{
    mdiTarnwick* main = Main();
    main->resize(1100, 760);
    QCoreApplication::processEvents();
    const int w = main->mdiArea()->viewport()->width();
    const int h = main->mdiArea()->viewport()->height();
    const int t = Geometry(frmTimeline::instance()).height();
    QCOMPARE(t, frmTimeline::DesignHeight);

    main->ArrangeAllVisible();
    const int split = qRound(w * 0.62);
    QCOMPARE(Geometry(frmTimeline::instance()), QRect(0, h - t, w, t));
    QCOMPARE(Geometry(frmMediaList::instance()), QRect(0, 0, split, h - t));
    QCOMPARE(Geometry(frmPreview::instance()).topLeft(), QPoint(split, 0));
    QCOMPARE(Geometry(frmPreview::instance()).height(), h - t);
    QVERIFY(qAbs(Geometry(frmPreview::instance()).width() - w * 0.38) <= 1);

    main->ArrangeMediaListNotVisible();
    QCOMPARE(Geometry(frmPreview::instance()), QRect(0, 0, w, h - t));
    main->ArrangePreviewNotVisible();
    QCOMPARE(Geometry(frmMediaList::instance()), QRect(0, 0, w, h - t));
    QCOMPARE(Geometry(frmTimeline::instance()), QRect(0, h - t, w, t));

    // Arrange All puts everything back; a larger frame is filled again.
    main->Item(QStringLiteral("mnuWindowArrangeAll"))->trigger();
    QCOMPARE(Geometry(frmMediaList::instance()), QRect(0, 0, split, h - t));
    main->resize(1300, 900);
    QCoreApplication::processEvents();
    QCOMPARE(Geometry(frmTimeline::instance()).width(), main->mdiArea()->viewport()->width());
    QCOMPARE(Geometry(frmTimeline::instance()).bottom(), main->mdiArea()->viewport()->height() - 1);
}

void TestShell::panelsHideAndComeBack()
{
    mdiTarnwick* main = Main();
    const int w = main->mdiArea()->viewport()->width();
    const int h = main->mdiArea()->viewport()->height();
    const int t = Geometry(frmTimeline::instance()).height();

    // Unchecking the preview hides it, and the media list takes the width.
    QAction* preview = main->Item(QStringLiteral("mnuViewPreview"));
    preview->trigger();
    QVERIFY(!preview->isChecked());
    QVERIFY(main->PanelWindow(frmPreview::instance())->isHidden());
    QCOMPARE(Geometry(frmMediaList::instance()), QRect(0, 0, w, h - t));
    preview->trigger();
    QVERIFY(main->PanelWindow(frmPreview::instance())->isVisible());
    QCOMPARE(Geometry(frmMediaList::instance()).width(), qRound(w * 0.62));

    // Closing a panel's window only hides it and clears its check.
    QVERIFY(!main->PanelWindow(frmMediaList::instance())->close());
    QVERIFY(main->PanelWindow(frmMediaList::instance())->isHidden());
    QVERIFY(frmMediaList::exists());
    QVERIFY(!main->Item(QStringLiteral("mnuViewMediaList"))->isChecked());
    QCOMPARE(Geometry(frmPreview::instance()), QRect(0, 0, w, h - t));
    main->Item(QStringLiteral("mnuViewMediaList"))->trigger();
    QVERIFY(main->PanelWindow(frmMediaList::instance())->isVisible());

    main->ToolsDock()->close();
    QVERIFY(!main->Item(QStringLiteral("mnuViewTools"))->isChecked());
    main->Item(QStringLiteral("mnuViewTools"))->trigger();
    QVERIFY(main->ToolsDock()->isVisible());
}

void TestShell::controlsCarryTheirDesignNames()
{
    // Each form's control by its design name is the one widget of that name, and the
    // form's member for it points there (not at a twin made beside the form's own).
    frmMediaList* list = frmMediaList::instance();
    frmPreview* preview = frmPreview::instance();
    frmTools* tools = frmTools::instance();
    frmVolume* volume = frmVolume::instance();
    const std::tuple<QWidget*, const char*, QWidget*> controls[] = {
        {list, "lvwMediaList", list->lvwMediaList},
        {list, "fmeMediaInfo", list->fmeMediaInfo},
        {list, "lblFile", list->lblFile},
        {list, "lblFileDisplay", list->lblFileDisplay},
        {list, "lblInfo_0", list->lblInfo.value(0)},
        {list, "lblInfo_4", list->lblInfo.value(4)},
        {list, "lblInfoDisplay_0", list->lblInfoDisplay.value(0)},
        {list, "lblInfoDisplay_4", list->lblInfoDisplay.value(4)},
        {list, "picPreviewSmall", list->picPreviewSmall},
        {list, "cmdPlay", list->cmdPlay},
        {list, "sldFilePreview", list->sldFilePreview},
        {preview, "fmeDisplay", preview->fmeDisplay},
        {preview, "picDisplay", preview->picDisplay},
        {preview, "shpOutlineRect", preview->shpOutlineRect},
        {preview, "sldSeekBar", preview->sldSeekBar},
        {preview, "lblCurrentTime", preview->lblCurrentTime},
        {preview, "lblDuration", preview->lblDuration},
        {preview, "cmdPlay", preview->cmdPlay},
        {preview, "cmdRepeat", preview->cmdRepeat},
        {preview, "cmdMute", preview->cmdMute},
        {tools, "tbsTools", tools->tbsTools},
        {tools, "tvwActions", tools->tvwActions},
        {tools, "lvwEffects", tools->lvwEffects},
        {tools, "cmdAdd", tools->cmdAdd},
        {tools, "lvwHistory", tools->lvwHistory},
        {volume, "sldVolume", volume->sldVolume},
    };
    QCOMPARE(list->lblInfo.size(), 5);
    QCOMPARE(list->lblInfoDisplay.size(), 5);
    for (const auto& [form, name, member] : controls) {
        const QList<QWidget*> named = form->findChildren<QWidget*>(QString::fromLatin1(name));
        QVERIFY2(member && named == QList<QWidget*>{member}, name);
    }
}

void TestShell::closeQuery()
{
    mdiTarnwick* main = Main();
    // Busy: the close is refused with the text in the status bar.
    InSelectionUpdate = true;
    QVERIFY(!main->close());
    QCOMPARE(main->StatusPanel(QStringLiteral("sbr_1"))->text(),
             QStringLiteral("Quillmont is currently busy. Please wait until the current operation is completed and "
                            "then close the application."));
    InSelectionUpdate = false;
    BusyOpening = true;
    QVERIFY(!main->close());
    BusyOpening = false;

    // Unsaved work: Cancel stays; Yes saves, and stays when the save is cancelled.
    ProjectModified = true;
    QmScript::AnswerMessage(QmMsgBox::Cancel);
    QVERIFY(!main->close());
    QmScript::AnswerMessage(QmMsgBox::Yes);
    QmScript::CancelDialog();
    QVERIFY(!main->close());
    QCOMPARE(QmScript::TakeDialogs().size(), 1);
    const QList<QmScript::ShownMessage> asked = QmScript::TakeMessages();
    QCOMPARE(asked.size(), 2);
    QCOMPARE(asked[0].text, QStringLiteral("Do you want save your changes before closing?"));
    QCOMPARE(asked[0].buttons, QmMsgBox::Buttons::YesNoCancel);
    QCOMPARE(asked[0].icon, QmMsgBox::Icon::Question);
    QVERIFY(main->isVisible());

    // A saved project closes after its save; No closes without one. Closing the main
    // window closes the program's other windows with it.
    int saves = 0;
    const QmCommands::Command save = [&] {
        ++saves;
        ProjectModified = false;
    };
    QmTest::StandIn(QStringLiteral("mnuFileSaveProject"), save);
    QmScript::AnswerMessage(QmMsgBox::Yes);
    QPointer<mdiTarnwick> closing = main;
    auto* other = new QWidget;
    other->setAttribute(Qt::WA_DeleteOnClose);
    other->show();
    QPointer<QWidget> otherGuard = other;
    QVERIFY(main->close());
    QCOMPARE(saves, 1);
    QCOMPARE(QmTest::TakeMessageTexts().size(), 1);
    QTRY_VERIFY(closing.isNull());
    QTRY_VERIFY(otherGuard.isNull());

    // Unmodified: no question at all. (A new frame, as the last one is gone.)
    Main()->Load();
    Main()->show();
    ProjectModified = false;
    QVERIFY(Main()->close());
}

void TestShell::settingsDefaultsAndRoundTrip()
{
    QmSettings::DeleteSetting(QStringLiteral("Color Settings"));
    QmSettings::DeleteSetting(QStringLiteral("Working DIR"));
    QmSettings::DeleteSetting(QStringLiteral("Save Options"));
    VideoBarFill = AudioBarFill = EffectBarFill = OverlayBarFill = 0;
    ModuleSettings::GetGeneralSettingsFromReg();
    QCOMPARE(VideoBarFill, 0xFFFF80);
    QCOMPARE(AudioBarFill, 0x80FFFF);
    QCOMPARE(EffectBarFill, 0x80FF80);
    QCOMPARE(OverlayBarFill, 0xC0E0FF);
    QCOMPARE(WorkingFolder, Eng<ITWCoreRoot>().GetWorkingFolder(500));

    ModuleSettings::GetSaveOptionsFromReg();
    QCOMPARE(ModuleSettings::VideoCompressorName, QStringLiteral("Uncompressed"));
    QCOMPARE(ModuleSettings::VideoDimensionText, QStringLiteral("320 x 240"));
    QCOMPARE(ModuleSettings::SaveFrameRate, 15);
    QCOMPARE(ModuleSettings::SaveQuality, 75);
    QCOMPARE(ModuleSettings::PreviewAfterSave, int16_t(1));
    QCOMPARE(ModuleSettings::HideTutorial, int16_t(0));
    QCOMPARE(ModuleSettings::AudioProfileName, QStringLiteral("Audio for CD-quality (96 Kbps stereo)"));

    // Stored as text; numbers in decimal; an empty value counts as missing.
    VideoBarFill = 0x123456;
    WorkingFolder = QStringLiteral("/work/films");
    ModuleSettings::StoreGeneralSettingsInReg();
    QCOMPARE(Setting("Color Settings", QStringLiteral("VideoBarColor")), QString::number(0x123456));
    QmSettings::SaveSetting(QStringLiteral("Color Settings"), QStringLiteral("AudioBarColor"), QString());
    ModuleSettings::SaveQuality = 90;
    ModuleSettings::StoreSaveOptionsToReg();
    QCOMPARE(Setting("Save Options", QStringLiteral("Quality")), QStringLiteral("90"));
    VideoBarFill = 0;
    ModuleSettings::SaveQuality = 0;
    ModuleSettings::GetGeneralSettingsFromReg();
    ModuleSettings::GetSaveOptionsFromReg();
    QCOMPARE(VideoBarFill, 0x123456);
    QCOMPARE(AudioBarFill, 0x80FFFF);
    QCOMPARE(WorkingFolder, QStringLiteral("/work/films"));
    QCOMPARE(ModuleSettings::SaveQuality, 90);
}

void TestShell::recentFilesNewestFirstAndFour()
{
    QmSettings::DeleteSetting(QStringLiteral("Recent Files"));
    FileNotFoundShown = false;
    ModuleSettings::GetResentFilesFromReg();
    QmMenuArray& menu = Main()->mnuFileRF();
    QCOMPARE(menu.Count(), 1);
    QCOMPARE(menu.Caption(0), QStringLiteral("Empty"));
    QVERIFY(!menu.Item(0)->isEnabled());
    QCOMPARE(Setting("Recent Files", QStringLiteral("File")), QString()); // the bare key is written

    // With no file open there is nothing to add: "File not found.", once.
    ModuleSettings::UpdateResentFileMenu();
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList{QStringLiteral("File not found.")});
    FileNotFoundShown = true;
    ModuleSettings::UpdateResentFileMenu();
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());

    // Five files, each added as it is opened: the four newest show, newest first.
    auto& root = Eng<ITWCoreRoot>();
    QStringList paths;
    for (const char* name : {"video.avi", "audio.wav", "image.bmp", "audio.mp3", "video.wmv"}) {
        const QString path = QmTest::Fixture(QString::fromLatin1(name));
        FileCollection.Add(root.OpenFile(path));
        paths.prepend(path);
        ModuleSettings::UpdateResentFileMenu();
    }
    QCOMPARE(menu.Count(), 4);
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(menu.Caption(i), paths[i]);
        QCOMPARE(Setting("Recent Files", QStringLiteral("File%1").arg(i)), paths[i]);
    }
    QCOMPARE(Setting("Recent Files", QStringLiteral("File4")), QStringLiteral("<missing>"));
    QVERIFY(menu.Item(0)->isEnabled());
    QCOMPARE(ModuleSettings::RecentFileCount, 5);

    // A path with "&" shows as itself and is stored as itself.
    FileCollection.Clear();
    const QString odd = QmTest::Root().path() + QStringLiteral("/work/Tom & Jerry.wav");
    QFile::copy(QmTest::Fixture(QStringLiteral("audio.wav")), odd);
    FileCollection.Add(root.OpenFile(odd));
    ModuleSettings::UpdateResentFileMenu();
    QCOMPARE(menu.Item(0)->text(), QString(odd).replace(u'&', QStringLiteral("&&")));
    QCOMPARE(Setting("Recent Files", QStringLiteral("File0")), odd);

    // At the next start all four come back.
    for (int i = menu.Count() - 1; i >= 1; --i)
        menu.Unload(i);
    ModuleSettings::GetResentFilesFromReg();
    QCOMPARE(menu.Count(), 4);
    QCOMPARE(menu.Caption(1), paths[0]);
    FileCollection.Clear();
}

void TestShell::recentProjectsComeBackOneAtStart()
{
    QmSettings::DeleteSetting(QStringLiteral("Recent Projects"));
    ModuleSettings::GetResentProjectFilesFromReg();
    QmMenuArray& menu = Main()->mnuFileRP();
    QCOMPARE(menu.Caption(0), QStringLiteral("Empty"));
    QVERIFY(!menu.Item(0)->isEnabled());

    for (const char* name : {"/p/one.qpj", "/p/two.qpj", "/p/three.qpj"}) {
        ModuleSettings::NewRecentProject = QString::fromLatin1(name);
        ModuleSettings::UpdateResentProjectMenu();
    }
    QCOMPARE(menu.Count(), 3);
    QCOMPARE(menu.Caption(0), QStringLiteral("/p/three.qpj"));
    QCOMPARE(Setting("Recent Projects", QStringLiteral("Project2")), QStringLiteral("/p/one.qpj"));

    // At start only the newest comes back: the later entries are looked for in a
    // section that holds nothing.
    for (int i = menu.Count() - 1; i >= 1; --i)
        menu.Unload(i);
    ModuleSettings::GetResentProjectFilesFromReg();
    QCOMPARE(menu.Count(), 1);
    QCOMPARE(menu.Caption(0), QStringLiteral("/p/three.qpj"));
    QCOMPARE(ModuleSettings::RecentProjectCount, 1);
    // The next store keeps what the menu shows.
    ModuleSettings::StoreResentProjectsFilesinReg();
    QCOMPARE(Setting("Recent Projects", QStringLiteral("Project1")), QStringLiteral("<missing>"));
}

QM_TEST_MAIN(TestShell)
#include "test_shell.moc"
