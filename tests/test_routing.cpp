// Command validity and routing: the questions about the timeline's state in every
// state that matters, the enabled states of menus, pop-ups, tool buttons and the tools
// panel's actions that follow from them, and the way a command reaches its handler from
// an action's text, a tool button or a panel's activation. Real forms, real engine,
// real media.
#include "QmTestSupport.h"
#include "shell/QmCommands.h"

#include "core/QmImageBox.h"
#include "core/QmListView.h"
#include "core/QmShared.h"
#include "editing/moduleEdit.h"
#include "editing/moduleTWState.h"
#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "media/frmMediaList.h"
#include "media/moduleTarnwick.h"
#include "preview/frmPreview.h"
#include "shell/frmTools.h"
#include "shell/mdiTarnwick.h"
#include "timeline/TimelineView.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleTimeline.h"

#include <QCheckBox>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QScrollBar>
#include <QToolButton>
#include <QTreeWidget>

#include <functional>

using namespace QmShared;
using namespace moduleTWState;
using QmTest::Audio1;
using QmTest::Audio2;
using QmTest::Main;
using QmTest::Stream;
using QmTest::Tl;
using QmTest::Video;

namespace {

// The fixture's first stream as the track's last source: at its own length from start,
// or stretched over start to stop; selected if asked.
void Put(int32_t track, const char* fixture, int32_t start, int32_t stop = -1, bool selected = false)
{
    auto& tl = Tl();
    QVERIFY2(tl.AppendSource(track, Stream(fixture), start), fixture);
    const int16_t seq = static_cast<int16_t>(tl.GetSourceCount(track) - 1);
    if (stop >= 0)
        tl.SetSourceTimes(track, seq, start, stop);
    tl.SetSourceSelected(track, seq, selected);
}

void Pick(int32_t track, const char* fixture, int32_t start, int32_t stop = -1)
{
    Put(track, fixture, start, stop, true);
}

// A click on an option's image box of the timeline, by its name ("imgLockVideo_0").
void ClickBox(const char* name)
{
    QTest::mouseClick(QmTest::Find<QmImageBox>(frmTimeline::instance(), QString::fromLatin1(name)), Qt::LeftButton, {},
                      QPoint(4, 4));
}

// Every row's link box off but the one named, as the user leaves them.
void LinkOnly(const char* linked)
{
    for (QCheckBox* box : frmTimeline::instance()->findChildren<QCheckBox*>())
        if (box->objectName().startsWith(u"chkLink"))
            box->setChecked(linked && box->objectName() == QLatin1String(linked));
}

// Two files in the media list, the rows given selected.
void OpenMediaRows(std::initializer_list<int> selected)
{
    for (const char* file : {"video.avi", "audio.wav"})
        moduleTarnwick::OpenResentFile(QmTest::Fixture(QString::fromLatin1(file)));
    frmMediaList::instance()->ClearMediaListSelections();
    for (int row : selected)
        frmMediaList::instance()->lvwMediaList->SetSelected(row, true);
}

// What a state must answer, and the facts of the media list and sliders it was built with.
enum Fact : unsigned {
    Empty = 1u << 0,        // IsTimelineEmpty
    VideoEmpty = 1u << 1,   // IsVideoTrackEmpty
    NoEffects = 1u << 2,    // IsEffectTrackEmpty
    NoOverlay = 1u << 3,    // IsOverlayTrackEmpty
    AudioSel = 1u << 4,     // IsAudioSourceSelected()
    Audio1Sel = 1u << 5,    // IsAudioSourceSelected(1), and IsAnySourceSelected of Audio 1
    Audio2Sel = 1u << 6,    // IsAudioSourceSelected(2), and IsAnySourceSelected of Audio 2
    VideoSel = 1u << 7,     // IsVideoSourceSelected, and IsAnySourceSelected of Video
    OverlaySel = 1u << 8,   // IsOverlaySourceSelected
    EffectSel = 1u << 9,    // IsAnyEffectSelected of Video
    Editing = 1u << 10,     // IsEditingValid
    Restore = 1u << 11,     // IsRestoreSizeValid
    OverlayKey = 1u << 12,  // IsSetOverlayTransparencyValid
    OneFile = 1u << 13,     // IsOneMediaFileSelected
    Clipboard = 1u << 14,   // IsClipboardFilled
    Rows = 1u << 15,        // the media list holds rows
    RowSelected = 1u << 16, // a row of it is selected
    Sliders = 1u << 17,     // both selection sliders shown
};

constexpr unsigned Bare = NoEffects | NoOverlay;

struct State
{
    const char* name;
    std::function<void()> build;
    unsigned facts;
};

// Video fixture: 2 s; audio: 3 s; pictures: 5 s. The selection sliders stand at 1 s
// and 2 s, so that the edges the editing commands take lie a little after those.
const QList<State>& States()
{
    using moduleTimeline::ShowSelSliders;
    static const QList<State> states = {
        {"empty", [] {}, Empty | VideoEmpty | Bare},
        {"video only", [] { Put(Video(), "video.avi", 0); }, Bare},
        {"source selected on Audio 1",
         [] {
             Put(Video(), "video.avi", 0);
             Pick(Audio1(), "audio.wav", 0);
         },
         Bare | AudioSel | Audio1Sel | Editing},
        {"source selected on Audio 2",
         [] {
             Put(Video(), "video.avi", 0);
             Put(Audio1(), "audio.wav", 0);
             Pick(Audio2(), "audio.wav", 0);
         },
         Bare | AudioSel | Audio2Sel | Editing},
        {"audio selected, video track empty", [] { Pick(Audio1(), "audio.wav", 0); },
         VideoEmpty | Bare | AudioSel | Audio1Sel | Editing},
        {"overlay source selected",
         [] {
             Put(Video(), "video.avi", 0);
             Pick(OverlayTrack, "image.gif", 0);
         },
         NoEffects | OverlaySel | Editing | OverlayKey},
        {"video source selected, a resized one not",
         [] {
             Put(Video(), "video.avi", 0, 4000);
             Pick(Video(), "image.jpg", 4000);
         },
         Bare | VideoSel | Editing},
        {"effect selected",
         [] {
             Put(Video(), "video.avi", 0);
             Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 0, 1000);
             Tl().AddEffectAt(Video(), QStringLiteral("Wave"), 1000, 2000);
             Tl().SetEffectSelected(Video(), 1, true);
         },
         NoOverlay | EffectSel | Editing},
        {"resized video source selected", [] { Pick(Video(), "video.avi", 0, 4000); },
         Bare | VideoSel | Editing | Restore},
        {"resized overlay source selected",
         [] {
             Put(Video(), "video.avi", 0);
             Pick(OverlayTrack, "image.gif", 0, 2000);
         },
         NoEffects | OverlaySel | Editing | Restore | OverlayKey},
        {"start slider alone shown",
         [] {
             Pick(Video(), "video.avi", 0, 4000);
             Pick(OverlayTrack, "image.gif", 0, 2000);
             moduleTimeline::ShowStartSelSlider(true);
         },
         NoEffects | VideoSel | OverlaySel | Editing},
        {"sliders over linked tracks",
         [] {
             Pick(Video(), "video.avi", 0, 4000);
             Put(Audio1(), "audio.wav", 0);
             Pick(OverlayTrack, "image.gif", 0, 2000);
             ShowSelSliders(true);
         },
         NoEffects | VideoSel | OverlaySel | Editing | Sliders},
        {"sliders with no track linked",
         [] {
             Pick(Video(), "video.avi", 0);
             Pick(Audio1(), "audio.wav", 0);
             Pick(OverlayTrack, "image.gif", 0);
             Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 0, 3000);
             Tl().SetEffectSelected(Video(), 0, true);
             LinkOnly(nullptr);
             ShowSelSliders(true);
         },
         VideoSel | AudioSel | Audio1Sel | OverlaySel | EffectSel | Sliders},
        {"sliders, only the overlay linked, an edge on an overlay",
         [] {
             Put(Video(), "video.avi", 0);
             Put(OverlayTrack, "image.gif", 1500, 8000); // under the end edge only
             LinkOnly("chkLinkOverlay_0");
             ShowSelSliders(true);
         },
         NoEffects | Editing | Sliders},
        {"sliders, only the overlay linked, no edge on an overlay",
         [] {
             Put(Video(), "video.avi", 0);
             Put(OverlayTrack, "image.gif", 3000, 8000);
             LinkOnly("chkLinkOverlay_0");
             ShowSelSliders(true);
         },
         NoEffects | Sliders},
        {"sliders, only the effect lane linked",
         [] {
             Put(Video(), "video.avi", 0);
             Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 3000, 4000);
             LinkOnly("chkLinkEffect_0");
             ShowSelSliders(true);
         },
         NoOverlay | Editing | Sliders},
        {"selected items on locked rows",
         [] {
             Pick(Video(), "video.avi", 0, 4000);
             Pick(Audio1(), "audio.wav", 0);
             Pick(OverlayTrack, "image.gif", 0, 2000);
             Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 0, 1000);
             Tl().SetEffectSelected(Video(), 0, true);
             for (const char* lock : {"imgLockVideo_0", "imgLockAudio_0", "imgLockOverlay_0", "imgLockEffect_0"})
                 ClickBox(lock);
         },
         VideoSel | AudioSel | Audio1Sel | OverlaySel | EffectSel},
        {"a locked and an unlocked row selected",
         [] {
             Pick(Video(), "video.avi", 0);
             Pick(Audio2(), "audio.wav", 0);
             ClickBox("imgLockVideo_0");
         },
         Bare | VideoSel | AudioSel | Audio2Sel | Editing},
        {"sliders over linked rows that are locked",
         [] {
             Put(Video(), "video.avi", 0);
             Put(OverlayTrack, "image.gif", 0);
             Tl().AddEffectAt(Video(), QStringLiteral("Blur"), 0, 3000);
             ShowSelSliders(true);
             for (const char* lock : {"imgLockVideo_0", "imgLockOverlay_0", "imgLockEffect_0"})
                 ClickBox(lock);
         },
         Sliders},
        {"clipboard filled",
         [] {
             Put(Video(), "video.avi", 0);
             moduleEdit::SourceClips.append(moduleEdit::SourceClip{});
         },
         Bare | Clipboard},
        {"clipboard filled, timeline empty", [] { moduleEdit::EffectClips.append(moduleEdit::EffectClip{}); },
         Empty | VideoEmpty | Bare | Clipboard},
        {"media rows, none selected", [] { OpenMediaRows({}); }, Empty | VideoEmpty | Bare | Rows},
        {"media rows, one selected",
         [] {
             OpenMediaRows({1});
             Put(Video(), "video.avi", 0);
         },
         Bare | Rows | RowSelected | OneFile},
        {"media rows, two selected", [] { OpenMediaRows({0, 1}); }, Empty | VideoEmpty | Bare | Rows | RowSelected},
    };
    return states;
}

// The enabled-states table of the main window: a test over the facts, and the entries,
// pop-up twins, tool buttons and the tools panel's cmdAdd that get its result.
struct EnabledRow
{
    std::function<bool(unsigned)> test;
    QStringList items;
};

const QList<EnabledRow>& EnabledTable()
{
    auto has = [](unsigned fact) { return [fact](unsigned f) { return (f & fact) != 0; }; };
    auto hasNot = [](unsigned fact) { return [fact](unsigned f) { return (f & fact) == 0; }; };
    static const QList<EnabledRow> table = {
        {has(Rows),
         {"mnuFileSaveProject", "mnuFileSaveProjectAs", "mnuEditAddToTimeline", "mnuFileClose", "SAVE_PROJECT",
          "ADD_TO_TIMELINE", "mnuMLC_AddToTimeline", "mnuMLC_Close"}},
        {has(RowSelected), {"mnuFilePreview", "mnuMLC_Preview"}},
        {hasNot(Empty),
         {"mnuFileExportTimeline", "mnuEditClearTimeline", "mnuToolsSplitTimeline", "mnuToolsPackTimelineBars"}},
        {hasNot(VideoEmpty),
         {"mnuEditAddEffectToTimeline", "mnuEditAddToOverlay", "mnuToolsAddText", "mnuToolsTakeSnap", "ADD_EFFECT",
          "ADD_TEXT", "mnuMLC_AddToOverlay", "cmdAdd"}},
        {[](unsigned f) { return !(f & VideoEmpty) && (f & AudioSel); }, {"mnuToolsRepeatAudio"}},
        {has(Audio1Sel), {"mnuEditAddtoAudio2", "mnuEditContextAddtoAudio2"}},
        {has(Audio2Sel), {"mnuEditAddtoAudio1", "mnuEditContextAddtoAudio1"}},
        {hasNot(NoEffects), {"mnuEditClearEffect"}},
        {hasNot(NoOverlay), {"mnuEditClearOverlay"}},
        {has(Editing),
         {"mnuEditCut", "mnuEditCopy", "mnuEditClear", "mnuEditCrop", "CUT", "COPY", "CLEAR", "CROP", "mnuEC_Cut",
          "mnuEC_Copy", "mnuEC_Delete", "mnuEC_Crop"}},
        {[](unsigned f) { return (f & Editing) && (f & Sliders); }, {"mnuEditCropSources"}},
        {has(Clipboard), {"mnuEditPaste", "PASTE", "mnuEC_Paste"}},
        {has(OverlayKey), {"mnuEditSetOverlayTransparency", "mnuEC_SetOverlayTransparency", "SET_OVERLAY_KEY_COLOR"}},
        {[](unsigned f) { return (f & (OverlayKey | VideoSel)) != 0; },
         {"mnuEditStretchMode", "mnuEC_StretchMode", "SET_STRETCH_MODE"}},
        {has(Restore), {"mnuEditRestoreSize"}},
    };
    return table;
}

// An entry, pop-up entry, tool button, sub-menu or the tools panel's cmdAdd, by name.
QObject* Control(const QString& name)
{
    if (name == u"cmdAdd")
        return frmTools::instance()->cmdAdd;
    if (QAction* item = Main()->Item(name))
        return item;
    if (QAction* button = Main()->ToolButton(name))
        return button;
    return Main()->Menu(name)->menuAction();
}

// The tools panel's actions as "KEY=Text", as its builders' tables give them.
QStringList ExpectedActions(int context, unsigned f)
{
    QStringList nodes;
    auto add = [&](bool test, const char* node) {
        if (test)
            nodes << QString::fromLatin1(node);
    };
    const bool timeline = !(f & Empty);
    if (context == 0) {
        add(true, "IMPORT_FILE=Open media file...");
        add(f & Rows, "ADD_TO_TIMELINE=Add media file to the timeline");
        add(!(f & VideoEmpty), "ADD_TO_OVERLAY=Add media file to overlay track");
    } else if (context == 1 && timeline) {
        nodes << QStringList{"PLAY=Play",          "PAUSE=Pause",         "STOP=Stop",
                             "REWIND=Rewind",      "FORWARD=Forward",     "LOOP=Loop playback",
                             "TAKE_SNAP=Take snap", "SAVE_TIMELINE=Save Timeline..."};
    } else if (context == 2 && timeline) {
        add(true, "SEL_SLIDERS=Show/Hide selection sliders");
        if (f & Editing)
            nodes << QStringList{"CLEAR=Delete selection", "CUT=Cut selection", "COPY=Copy selection",
                                 "CROP=Crop selection"};
        add((f & Editing) && (f & Sliders), "CROP_SOURCES=Crop source(s)");
        add(f & Clipboard, "PASTE=Paste");
        add(f & Restore, "RESTORE_SIZE=Restore to original size");
        add(!(f & VideoEmpty), "ADD_EFFECT=Add an effect");
        add(f & OverlayKey, "OVERLAY_TRANSPARENCY=Set overlay key color");
        add(f & (VideoSel | OverlayKey), "STRETCH=Set stretch mode...");
        add(true, "SPLIT_TIMELINE=Split timeline tracks");
        add(true, "PACK_TIMELINE=Pack timeline tracks");
        add(f & AudioSel, "REPEAT_AUDIO=Repeat audio");
        add(true, "ADD_TEXT=Add text as overlay");
        add(true, "SAVE_TIMELINE=Save timeline...");
    }
    add(true, "NEW=Create a new project");
    add(true, "OPEN=Open an existing project...");
    add(f & Rows, "SAVE=Save current project");
    return nodes;
}

// The panel's nodes as "KEY=Text", leaving out Undo and Redo; the disabled ones listed apart.
QStringList ActualActions(QStringList* disabled = nullptr)
{
    QStringList nodes;
    QTreeWidget* tree = frmTools::instance()->tvwActions;
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* node = tree->topLevelItem(i);
        const QString key = node->data(0, Qt::UserRole).toString();
        if (key == u"UNDO" || key == u"REDO")
            continue;
        nodes << key + u'=' + node->text(0);
        if (disabled && !(node->flags() & Qt::ItemIsEnabled))
            *disabled << node->text(0);
    }
    return nodes;
}

QTreeWidgetItem* NodeOf(const QString& text)
{
    const QList<QTreeWidgetItem*> found = frmTools::instance()->tvwActions->findItems(text, Qt::MatchExactly);
    return found.isEmpty() ? nullptr : found.first();
}

// Every text a node can carry but "Add an effect", and the entry whose command it runs;
// the preview's transport runs its own commands.
const QList<std::pair<const char*, const char*>> kActionCommands = {
    {"Open media file...", "mnuFileOpen"}, {"Add media file to the timeline", "mnuEditAddToTimeline"},
    {"Add media file to overlay track", "mnuEditAddToOverlay"}, {"Play", "DoPreviewAction:Play"},
    {"Pause", "DoPreviewAction:Pause"}, {"Stop", "DoPreviewAction:Stop"}, {"Rewind", "DoPreviewAction:Rewind"},
    {"Forward", "DoPreviewAction:Forward"}, {"Loop playback", "DoPreviewAction:Loop playback"},
    {"Take snap", "mnuToolsTakeSnap"}, {"Save Timeline...", "mnuFileExportTimeline"}, {"Undo", "mnuEditUndo"},
    {"Redo", "mnuEditRedo"}, {"Show/Hide selection sliders", "mnuViewSelectionSliders"},
    {"Delete selection", "mnuEditClear"}, {"Cut selection", "mnuEditCut"}, {"Copy selection", "mnuEditCopy"},
    {"Crop selection", "mnuEditCrop"}, {"Crop source(s)", "mnuEditCropSources"}, {"Paste", "mnuEditPaste"},
    {"Restore to original size", "mnuEditRestoreSize"}, {"Set overlay key color", "mnuEditSetOverlayTransparency"},
    {"Set stretch mode...", "mnuEditStretchMode"}, {"Split timeline tracks", "mnuToolsSplitTimeline"},
    {"Pack timeline tracks", "mnuToolsPackTimelineBars"}, {"Repeat audio", "mnuToolsRepeatAudio"},
    {"Add text as overlay", "mnuToolsAddText"}, {"Save timeline...", "mnuFileExportTimeline"},
    {"Create a new project", "mnuFileNewProject"}, {"Open an existing project...", "mnuFileOpenProject"},
    {"Save current project", "mnuFileSaveProject"}};

// The toolbar's keys and the entries whose commands they run (ADD_EFFECT and the view
// buttons apart).
const QList<std::pair<const char*, const char*>> kToolCommands = {
    {"NEW_PROJECT", "mnuFileNewProject"}, {"OPEN_PROJECT", "mnuFileOpenProject"},
    {"SAVE_PROJECT", "mnuFileSaveProject"}, {"IMPORT_FILE", "mnuFileOpen"},
    {"ADD_TO_TIMELINE", "mnuEditAddToTimeline"}, {"ADD_TEXT", "mnuToolsAddText"}, {"CUT", "mnuEditCut"},
    {"COPY", "mnuEditCopy"}, {"PASTE", "mnuEditPaste"}, {"CLEAR", "mnuEditClear"}, {"CROP", "mnuEditCrop"},
    {"SET_OVERLAY_KEY_COLOR", "mnuEditSetOverlayTransparency"}, {"SET_STRETCH_MODE", "mnuEditStretchMode"},
    {"UNDO", "mnuEditUndo"}, {"REDO", "mnuEditRedo"}, {"HELP", "mnuHelpSection"}};

const char* const kEffectEntries[] = {"mnuAddEffectFade", "mnuAddEffectPixelate", "mnuAddEffectBlur",
                                      "mnuAddEffectWave", "mnuAddEffectEmboss",   "mnuAddEffectEngrave"};

} // namespace

class TestRouting : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void trackBoxesAnsweredByHandle();
    void actionsWithoutCommandShownDisabled();
    void eachStateAnswersEnablesAndOffers_data();
    void eachStateAnswersEnablesAndOffers();
    void closeProjectIsOnlyEverTurnedOn();
    void commandsReachTheirEntries();
    void viewButtonsActAsAGroup();
    void addingAnEffectGoesThroughTheToolsPanel();
    void activatingAPanelSetsTheContext();

private:
    // Every entry that the enabled-states table, the toolbar and the actions name gets a
    // command that notes its name, so that the gate leaves the decision to the table.
    void GiveEveryEntryACommand();
    QStringList m_ran;
};

void TestRouting::initTestCase()
{
    QmTest::StartMainWindow(1200, 800);
}

void TestRouting::init()
{
    // A clean timeline, hidden sliders at 1 s and 2 s, rows unlocked and linked, an
    // empty clipboard and media list.
    moduleTimeline::ShowSelSliders(false);
    auto& tl = Tl();
    for (int32_t track : {Video(), Audio1(), Audio2(), OverlayTrack}) {
        while (tl.RemoveSource(track, 0)) {}
        while (tl.IsVideoTrack(track) && tl.RemoveEffect(track, 0)) {}
    }
    moduleTimeline::ReInitLinkLockDisable();
    TimelineView::SetScrollValue(0);
    SelStartPosition = 1000;
    SelEndPosition = 2000;
    moduleTimeline::SetSelSliderPosition(SelStartPosition, true);
    moduleTimeline::SetSelSliderPosition(SelEndPosition, false);
    moduleEdit::ClearSourceClips();
    moduleEdit::ClearEffectClips();
    moduleEdit::ClearTransitionClips();
    moduleTarnwick::CloseAllMediaFiles();
    m_ran.clear();
}

void TestRouting::cleanup()
{
    QCOMPARE(QmTest::TakeMessageTexts(), QStringList());
}

void TestRouting::GiveEveryEntryACommand()
{
    QStringList names = {QStringLiteral("mnuFileCloseProject"), QStringLiteral("cmdAdd")};
    for (const EnabledRow& row : EnabledTable())
        for (const QString& item : row.items)
            if (Main()->Item(item) && !item.startsWith(u"mnuMLC_") && !item.startsWith(u"mnuEC_")
                && !item.startsWith(u"mnuEditContext")) // pop-up twins run their entry's command
                names << item;
    for (const auto& [text, command] : kActionCommands)
        names << QString::fromLatin1(command);
    for (const auto& [key, command] : kToolCommands)
        names << QString::fromLatin1(command);
    for (const char* name : kEffectEntries)
        names << QString::fromLatin1(name);
    for (const QString& name : std::as_const(names))
        QmTest::StandIn(name, [this, name] { m_ran << name; });
}

void TestRouting::trackBoxesAnsweredByHandle()
{
    // Each box answers for its own track and no other: video rows by index, audio rows
    // after them, the overlay row for OverlayTrack, the effect lane for its video track.
    using TimelineView::Option;
    using TimelineView::RowKind;
    const QList<int32_t> tracks = {Video(), Audio1(), Audio2(), OverlayTrack};
    struct Box
    {
        RowKind kind;
        int index;
    };
    struct Boxes
    {
        Option option;
        QList<std::optional<Box>> boxes; // in the order of tracks; none where the row has none
        std::function<bool(int32_t)> question;
    };
    const QList<Boxes> all = {
        {Option::Lock, {Box{RowKind::Video, 0}, Box{RowKind::Audio, 0}, Box{RowKind::Audio, 1}, Box{RowKind::Overlay, 0}},
         IsTrackLocked},
        {Option::Disable,
         {Box{RowKind::Video, 0}, Box{RowKind::Audio, 0}, Box{RowKind::Audio, 1}, Box{RowKind::Overlay, 0}},
         IsTrackDisabled},
        {Option::Lock, {Box{RowKind::Effect, 0}, std::nullopt, std::nullopt, std::nullopt}, IsEffectLocked},
        {Option::Disable, {Box{RowKind::Effect, 0}, std::nullopt, std::nullopt, std::nullopt}, IsEffectDisabled},
    };
    for (const Boxes& kind : all) {
        for (int on = 0; on < tracks.size(); ++on) {
            if (!kind.boxes[on])
                continue;
            const Box box = *kind.boxes[on];
            TimelineView::SetRowOption(box.kind, box.index, kind.option, true);
            for (int t = 0; t < tracks.size(); ++t)
                QVERIFY(kind.question(tracks[t]) == (t == on));
            // Handles that belong to no box.
            for (int32_t none : {0, -1, moduleTimeline::EffectLaneTag})
                QVERIFY(!kind.question(none));
            TimelineView::SetRowOption(box.kind, box.index, kind.option, false);
        }
    }

    // The effect lane's link box says whether it takes part in selection edits.
    QVERIFY(IsEffectSelected(Video()));
    for (int32_t track : {Audio1(), Audio2(), OverlayTrack, int32_t(0)})
        QVERIFY(!IsEffectSelected(track));
    TimelineView::SetRowOption(TimelineView::RowKind::Effect, 0, TimelineView::Option::Link, false);
    QVERIFY(!IsEffectSelected(Video()));
}

void TestRouting::actionsWithoutCommandShownDisabled()
{
    // The snapshot's command withdrawn: its node cannot be run; the transport, saving
    // the timeline and the sliders' toggle can.
    QmCommands::Command snapCommand = QmCommands::Withdraw(QStringLiteral("mnuToolsTakeSnap"));
    Put(Video(), "video.avi", 0);
    frmTools* tools = frmTools::instance();
    QVERIFY(!Main()->HasCommand(QStringLiteral("mnuToolsTakeSnap")));
    QVERIFY(Main()->HasCommand(QStringLiteral("mnuFileExportTimeline")));
    tools->SetActiveContext(1);
    QVERIFY(NodeOf(QStringLiteral("Play"))->flags() & Qt::ItemIsEnabled);
    QVERIFY(NodeOf(QStringLiteral("Save Timeline..."))->flags() & Qt::ItemIsEnabled);
    QVERIFY(!(NodeOf(QStringLiteral("Take snap"))->flags() & Qt::ItemIsEnabled));
    tools->SetActiveContext(2);
    QVERIFY(NodeOf(QStringLiteral("Show/Hide selection sliders"))->flags() & Qt::ItemIsEnabled);
    // Clicking a node that cannot be run does nothing.
    tools->SetActiveContext(1);
    QTreeWidget* tree = tools->tvwActions;
    const QPoint snap = tree->visualItemRect(NodeOf(QStringLiteral("Take snap"))).center();
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, snap);
    QCOMPARE(m_ran, QStringList());
    QmTest::StandIn(QStringLiteral("mnuToolsTakeSnap"), [this] { m_ran << QStringLiteral("mnuToolsTakeSnap"); });
    tools->SetActiveContext(1);
    QVERIFY(NodeOf(QStringLiteral("Take snap"))->flags() & Qt::ItemIsEnabled);
    QmCommands::Replace(QStringLiteral("mnuToolsTakeSnap"), std::move(snapCommand));
}

void TestRouting::eachStateAnswersEnablesAndOffers_data()
{
    QTest::addColumn<int>("state");
    for (int i = 0; i < States().size(); ++i)
        QTest::newRow(States()[i].name) << i;
}

void TestRouting::eachStateAnswersEnablesAndOffers()
{
    GiveEveryEntryACommand();
    QFETCH(int, state);
    States()[state].build();
    const unsigned f = States()[state].facts;
    auto is = [f](unsigned fact) { return (f & fact) != 0; };
    // The facts the state was built with, as the panels show them.
    QCOMPARE(TimelineView::SelectionShown(), is(Sliders));
    QCOMPARE(frmMediaList::instance()->lvwMediaList->Count() > 0, is(Rows));
    QCOMPARE(frmMediaList::instance()->lvwMediaList->SelectedRow() >= 0, is(RowSelected));

    // The questions.
    QCOMPARE(IsTimelineEmpty(), is(Empty));
    QCOMPARE(IsVideoTrackEmpty(), is(VideoEmpty));
    QCOMPARE(IsEffectTrackEmpty(), is(NoEffects));
    QCOMPARE(IsOverlayTrackEmpty(), is(NoOverlay));
    QCOMPARE(IsAudioSourceSelected(), is(AudioSel));
    QCOMPARE(IsAudioSourceSelected(1), is(Audio1Sel));
    QCOMPARE(IsAudioSourceSelected(2), is(Audio2Sel));
    QCOMPARE(IsAnySourceSelected(Audio1()), is(Audio1Sel));
    QCOMPARE(IsAnySourceSelected(Audio2()), is(Audio2Sel));
    QCOMPARE(IsVideoSourceSelected(), is(VideoSel));
    QCOMPARE(IsAnySourceSelected(Video()), is(VideoSel));
    QCOMPARE(IsOverlaySourceSelected(), is(OverlaySel));
    QCOMPARE(IsAnyEffectSelected(Video()), is(EffectSel));
    QVERIFY(!IsAnyEffectSelected(Audio1()));
    QCOMPARE(IsEditingValid(), is(Editing));
    QCOMPARE(IsRestoreSizeValid(), is(Restore));
    QCOMPARE(IsSetOverlayTransparencyValid(), is(OverlayKey));
    QCOMPARE(IsOneMediaFileSelected(), is(OneFile));
    QCOMPARE(moduleEdit::IsClipboardFilled(), is(Clipboard));

    // The enabled states. Each item starts the other way round, so that one left unset shows.
    for (const EnabledRow& row : EnabledTable())
        for (const QString& item : row.items)
            Control(item)->setProperty("enabled", !row.test(f));
    Main()->EnableOrDisableMenuItems();
    QStringList wrong;
    for (const EnabledRow& row : EnabledTable())
        for (const QString& item : row.items)
            if (Control(item)->property("enabled").toBool() != row.test(f))
                wrong << item + (row.test(f) ? QStringLiteral(" off") : QStringLiteral(" on"));
    QCOMPARE(wrong, QStringList());
    for (const char* name : kEffectEntries) // the effects sub-menu's entries keep their own state
        QVERIFY(Main()->Item(QString::fromLatin1(name))->isEnabled());

    // The tools panel's actions in each context, every one of them runnable now; the main
    // window's refresh keeps the panel's context.
    frmTools* tools = frmTools::instance();
    for (int16_t context : {int16_t(0), int16_t(1), int16_t(2)}) {
        tools->SetActiveContext(context);
        QStringList disabled;
        QCOMPARE(ActualActions(&disabled), ExpectedActions(context, f));
        QCOMPARE(disabled, QStringList());
        Main()->EnableOrDisableMenuItems();
        QCOMPARE(ActualActions(), ExpectedActions(context, f));
    }
}

void TestRouting::closeProjectIsOnlyEverTurnedOn()
{
    GiveEveryEntryACommand();
    QAction* close = Main()->Item(QStringLiteral("mnuFileCloseProject"));
    close->setEnabled(false);
    Main()->EnableOrDisableMenuItems();
    QVERIFY(!close->isEnabled()); // an empty list leaves it alone
    OpenMediaRows({});
    Main()->EnableOrDisableMenuItems();
    QVERIFY(close->isEnabled());
    moduleTarnwick::CloseAllMediaFiles();
    Main()->EnableOrDisableMenuItems();
    QVERIFY(close->isEnabled());
}

void TestRouting::commandsReachTheirEntries()
{
    GiveEveryEntryACommand();
    Pick(Video(), "video.avi", 0);
    // An action's text.
    for (const auto& [text, command] : kActionCommands) {
        m_ran.clear();
        Main()->OnActionsClick(QString::fromLatin1(text));
        QCOMPARE(m_ran, QStringList{QString::fromLatin1(command)});
    }
    m_ran.clear();
    Main()->OnActionsClick(QStringLiteral("Cut"));
    Main()->OnActionsClick(QString());
    QCOMPARE(m_ran, QStringList());

    // A node clicked with the left button; the right button runs nothing.
    frmTools::instance()->SetActiveContext(2);
    QTreeWidget* tree = frmTools::instance()->tvwActions;
    const QPoint cut = tree->visualItemRect(NodeOf(QStringLiteral("Cut selection"))).center();
    QTest::mouseClick(tree->viewport(), Qt::RightButton, {}, cut);
    QCOMPARE(m_ran, QStringList());
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, cut);
    QCOMPARE(m_ran, QStringList{QStringLiteral("mnuEditCut")});

    // A tool button, enabled or not by the table, runs its entry's command.
    for (const auto& [key, command] : kToolCommands) {
        QAction* button = Main()->ToolButton(QString::fromLatin1(key));
        button->setEnabled(true);
        m_ran.clear();
        button->trigger();
        QVERIFY2(m_ran == QStringList{QString::fromLatin1(command)}, key);
    }
}

void TestRouting::viewButtonsActAsAGroup()
{
    const QStringList keys = {"LARGE_ICONS", "SMALL_ICONS", "LIST", "DETAIL"};
    const QStringList entries = {"mnuViewML_LargeIcon", "mnuViewML_SmallIcon", "mnuViewML_List", "mnuViewML_Detail"};
    QmListView* list = frmMediaList::instance()->lvwMediaList;
    auto shows = [&](int view) {
        QCOMPARE(int(list->CurrentView()), view);
        for (int i = 0; i < 4; ++i) {
            QVERIFY2(Main()->ToolButton(keys[i])->isChecked() == (i == view), qPrintable(keys[i]));
            QVERIFY2(Main()->Item(entries[i])->isChecked() == (i == view), qPrintable(entries[i]));
        }
    };
    for (int view : {0, 1, 2, 3, 1}) {
        Main()->ToolButton(keys[view])->trigger();
        shows(view);
    }
    // Pressed again, the button stays down; the menu entries do the same.
    Main()->ToolButton(keys[1])->trigger();
    shows(1);
    Main()->Item(entries[2])->trigger();
    shows(2);
    Main()->Item(entries[2])->trigger();
    shows(2);
    Main()->Item(entries[3])->trigger();
    shows(3);
}

void TestRouting::addingAnEffectGoesThroughTheToolsPanel()
{
    // cmdAdd, the ADD_EFFECT button, the action's text and its node all add through the
    // tools panel's Add, which refuses while the effect lane is locked.
    GiveEveryEntryACommand();
    Put(Video(), "video.avi", 0);
    Main()->EnableOrDisableMenuItems();
    frmTools* tools = frmTools::instance();
    tools->SetActiveContext(2);
    auto node = [tools] {
        QTreeWidget* tree = tools->tvwActions;
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, {},
                          tree->visualItemRect(NodeOf(QStringLiteral("Add an effect"))).center());
    };
    const std::pair<const char*, std::function<void()>> ways[] = {
        {"cmdAdd", [tools] { QTest::mouseClick(tools->cmdAdd, Qt::LeftButton); }},
        {"ADD_EFFECT", [] { Main()->ToolButton(QStringLiteral("ADD_EFFECT"))->trigger(); }},
        {"OnActionsClick", [] { Main()->OnActionsClick(QStringLiteral("Add an effect")); }},
        {"node", node},
    };
    for (const auto& [way, add] : ways) {
        m_ran.clear();
        add();
        QVERIFY2(m_ran == QStringList{QStringLiteral("cmdAdd")}, way);
    }

    ClickBox("imgLockEffect_0");
    const QStringList refusal = {QStringLiteral("Please unlock the Effect Track before adding an effect to it.")};
    for (const auto& [way, add] : ways) {
        m_ran.clear();
        add();
        const QStringList shown = QmTest::TakeMessageTexts();
        QVERIFY2(shown == refusal && m_ran.isEmpty(), way);
    }
}

void TestRouting::activatingAPanelSetsTheContext()
{
    GiveEveryEntryACommand();
    Put(Video(), "video.avi", 0);
    QMdiArea* area = Main()->mdiArea();
    frmTools* tools = frmTools::instance();
    const std::pair<QWidget*, int16_t> panels[] = {{frmPreview::instance(), 1},
                                                   {frmTimeline::instance(), 2},
                                                   {frmMediaList::instance(), 0},
                                                   {frmTimeline::instance(), 2},
                                                   {frmPreview::instance(), 1}};
    for (const auto& [panel, context] : panels) {
        area->setActiveSubWindow(Main()->PanelWindow(panel));
        QCOMPARE(area->activeSubWindow(), Main()->PanelWindow(panel));
        QCOMPARE(tools->ActiveContext, context);
        QCOMPARE(ActualActions(), ExpectedActions(context, Bare));
    }
}

QM_TEST_MAIN(TestRouting)
#include "test_routing.moc"
