#include "history/ModuleHistory.h"

#include "core/QmListView.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "editing/moduleEdit.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWTimeline.h"
#include "preview/ModuleTWPreview.h"
#include "shell/frmTools.h"
#include "shell/QmCommands.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/TimelineView.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"


using namespace QmShared;

namespace ModuleHistory {

namespace {

const QString kModule = QStringLiteral("ModuleHistory");

// A routine's trap: what goes wrong is written to the error log, and the routine ends.
void Trapped(const QString& function, const std::function<void()>& body)
{
    QmTrap::Run(kModule, function + u'*', body);
}

QmListView* Rows()
{
    return frmTools::instance()->lvwHistory;
}

ITWTimeline& Tl()
{
    return Eng<ITWTimeline>();
}

// What an operation's word is stored as, and how its row looks.
struct Vocabulary
{
    const char* word;
    const char* type;
    const char* caption;
    const char* icon;
};

const Vocabulary kWords[] = {
    {"AddToTimeline", "Add To Timeline", "Add to Timeline", "ADD_TO_TIMELINE"},
    {"Cut", "Cut", "Cut", "CUT"},
    {"Copy", "Copy", "Copy", "COPY"},
    {"Paste", "Paste", "Paste", "PASTE"},
    {"Effect", "Effect", "Add Effect to Timeline", "ADD_EFFECT"},
    {"Overlay", "Overlay", "Add to Overlay", "ADD_TO_OVERLAY"},
    {"Delete", "Delete", "Delete", "CLEAR"},
    {"Move", "Move", "Move", "MOVE"},
    {"Resize", "Resize", "Resize", "RESIZE"},
    {"Shuffle", "Shuffle", "Shuffle Sources", "SHUFFLE_SOURCES"},
    {"Split", "Split", "Split Timeline Tracks", "SPLIT_TIMELINE"},
    {"Pack", "Pack", "Pack Timeline Tracks", "PACK_TIMELINE"},
    {"Repeat", "Repeat", "Repeat Audio", "REPEAT_AUDIO"},
    {"Clear", "Clear", "Clear Timeline", "CLEAR_TIMELINE"},
    {"Clear Effects", "Clear Effect", "Clear Effect Track", "CLEAR_EFFECT"},
    {"Clear Overlays", "Clear Overlay", "Clear Overlay Track", "CLEAR_OVERLAY"},
    {"Restore", "Restore", "Restore Size", "RESTORE_SIZE"},
    {"CropSources", "CropSources", "Crop Sources", "CROP_SOURCES"},
    {"Crop", "Crop", "Crop", "CROP"},
    {"SetKeyColor", "SetKeyColor", "Set Overlay Key Color", "OVERLAY_TRANSPARENCY"},
};

// The row redo rebuilds, by stored type. The two clear rows are looked for under their
// words ("Clear Effects", "Clear Overlays"), which a stored "Clear Effect" or "Clear
// Overlay" never equals: redo makes no row for them.
struct RedoRow
{
    const char* type;
    const char* caption;
    const char* icon;
};

const RedoRow kRedoRows[] = {
    {"Add To Timeline", "Add to Timeline", "ADD_TO_TIMELINE"},
    {"Cut", "Cut", "CUT"},
    {"Copy", "Copy", "COPY"},
    {"Paste", "Paste", "PASTE"},
    {"Effect", "Add Effect to Timeline", "ADD_EFFECT"},
    {"Overlay", "Add to Overlay", "ADD_TO_OVERLAY"},
    {"Delete", "Delete", "DELETE"},
    {"Move", "Move", "MOVE"},
    {"Resize", "Resize", "RESIZE"},
    {"Shuffle", "Shuffle Sources", "SHUFFLE_SOURCES"},
    {"Split", "Split Timeline Tracks", "SPLIT_TIMELINE"},
    {"Pack", "Pack Timeline Tracks", "PACK_TIMELINE"},
    {"Repeat", "Repeat Audio", "REPEAT_AUDIO"},
    {"Clear", "Clear Timeline", "CLEAR_TIMELINE"},
    {"Clear Effects", "Clear Effect Track", "CLEAR_EFFECT"},
    {"Clear Overlays", "Clear Overlay Track", "CLEAR_OVERLAY"},
    {"Restore", "Restore Size", "RESTORE_SIZE"},
    {"CropSources", "Crop Sources", "CROP_SOURCES"},
    {"Crop", "Crop", "CROP"},
    {"SetKeyColor", "Set Key Color", "OVERLAY_TRANSPARENCY"},
};

void AddRow(const QString& caption, const QString& icon)
{
    QmListView* rows = Rows();
    const int row = rows->AddItem(rows->Count(), caption, icon);
    rows->SetForeColor(row, InForceColor);
}

bool Disabled(int row)
{
    return Rows()->ForeColor(row) == DisabledColor;
}

// The rows read from 1, as the history counts them: row 0 does not exist.
void CheckRow(int row)
{
    if (row < 1 || row > Rows()->Count())
        throw QmError(QmErr::IllegalCall, QStringLiteral("Invalid procedure call or argument"));
}

SourceImage ImageOf(int32_t track, int16_t seq)
{
    auto& tl = Tl();
    SourceImage image;
    image.Track = track;
    tl.GetSourceMediaTimes(track, seq, image.MediaStart, image.MediaStop);
    tl.GetSourceTimes(track, seq, image.Start, image.Stop);
    image.Stream = tl.GetSourceStream(track, seq);
    image.StretchMode = tl.GetSourceStretchMode(track, seq);
    image.Seq = seq;
    return image;
}

TransitionImage TransitionOf(int32_t track, int16_t seq, int32_t nameBuffer)
{
    auto& tl = Tl();
    auto& key = Eng<ITWKeyTransition>();
    TransitionImage image;
    image.Track = track;
    tl.GetTransitionTimes(track, seq, image.Start, image.Stop);
    image.Name = tl.GetTransitionName(track, seq, nameBuffer).trimmed();
    image.KeyRed = key.GetKeyRed(track, seq);
    image.KeyGreen = key.GetKeyGreen(track, seq);
    image.KeyBlue = key.GetKeyBlue(track, seq);
    return image;
}

// Rebuilds the timeline from an image; a false flag from the engine is passed over.
void Rebuild(const QList<SourceImage>& sources, const QList<EffectImage>& effects,
             const QList<TransitionImage>& transitions, const QList<SourceImage>& overlays)
{
    auto& tl = Tl();
    auto place = [&tl](const SourceImage& s) {
        tl.AppendSource(s.Track, s.Stream, s.Start);
        tl.SetSourceTimes(s.Track, s.Seq, s.Start, s.Stop);
        tl.SetSourceMediaTimes(s.Track, s.Seq, s.MediaStart, s.MediaStop);
        tl.SetSourceStretchMode(s.Track, s.Seq, s.StretchMode);
    };
    for (const SourceImage& s : sources)
        place(s);
    for (const EffectImage& e : effects)
        tl.AddEffectAt(e.Track, e.Name, e.Start, e.Stop);
    for (int i = 0; i < transitions.size() && i < overlays.size(); ++i) {
        place(overlays[i]);
        const TransitionImage& t = transitions[i];
        tl.AddTransitionAt(t.Track, t.Name, t.Start, t.Stop);
        moduleEdit::ApplyTransitionKey(t.Track, static_cast<int16_t>(i), t.KeyRed, t.KeyGreen, t.KeyBlue);
    }
}

void Redraw()
{
    moduleTimeline::RenderAllBars();
    moduleScaleRenderer::RenderScale();
    moduleScaleRenderer::AdjustScroll();
}

void MenuUpdate()
{
    QmCommands::RefreshStates();
}


} // namespace

void RegisterCommands()
{
    QmCommands::Register(QStringLiteral("mnuEditUndo"), [] { mnuEditUndo_Click(); });
    QmCommands::Register(QStringLiteral("mnuEditRedo"), [] { mnuEditRedo_Click(); });
}

void Install()
{
    QmListView* rows = Rows();
    QObject::connect(rows, &QmListView::Click, rows, [rows] { lvwHistory_Click(rows->SelectedRow()); });
    QObject::connect(rows, &QmListView::KeyDown, rows, [rows](int key) {
        if (key == Qt::Key_Up || key == Qt::Key_Down || key == Qt::Key_Home || key == Qt::Key_End
            || key == Qt::Key_PageUp || key == Qt::Key_PageDown)
            lvwHistory_Click(rows->SelectedRow());
    });
}

bool CanUndo()
{
    return HistoryIndex > 0;
}

bool CanRedo()
{
    return HistoryIndex != HistoryCollection.Count();
}

void AddOperationToHistory(const QString& word)
{
    Trapped(QStringLiteral("AddOperationToHistory"), [&] {
        if (HistoryIndex > HistoryLimit) {
            HistoryCollection.Remove(1);
            HistoryIndex = static_cast<int16_t>(HistoryCollection.Count());
            Rows()->RemoveItem(0);
        }
        RearrangeHistoryCollection();
        HistoryEntry = std::make_shared<cHistoryData>();
        for (const Vocabulary& v : kWords) {
            if (word == QLatin1String(v.word)) {
                HistoryEntry->SetOperationType(QString::fromLatin1(v.type));
                AddRow(QString::fromLatin1(v.caption), QString::fromLatin1(v.icon));
                break;
            }
        }
        StoreTimelineImage();
        HistoryEntry->SetSrcCount(SourceImageCount);
        HistoryEntry->SetEffectCount(EffectImageCount);
        HistoryEntry->SetTransitionCount(TransitionImageCount);
        SourceImageCount = EffectImageCount = TransitionImageCount = 0;
        HistoryEntry->SetFileOperationData();
        HistoryEntry->SetEditOperationData();
        HistoryEntry->SetEffectOperationData();
        HistoryEntry->SetTransitionOperationData();
        HistoryEntry->SetScrollValue(TimelineView::ScrollValue());
        HistoryCollection.Add(HistoryEntry);
    });
}

void RearrangeHistoryCollection()
{
    Trapped(QStringLiteral("RearrangeHistoryCollection"), [] {
        while (HistoryCollection.Count() > HistoryIndex)
            HistoryCollection.Remove(HistoryCollection.Count());
    });
}

void Undo()
{
    Trapped(QStringLiteral("Undo"), [] {
        if (HistoryIndex == 0)
            return;
        const std::shared_ptr<cHistoryData> entry = HistoryCollection.Item(HistoryIndex);
        UndoInProgress = true;
        EmptyTimeline();
        RestoreTimeline();
        Redraw();
        const int32_t most = TimelineView::ScrollMaximum();
        TimelineView::SetScrollValue(entry->GetScrollValue() > most ? most : entry->GetScrollValue());
        --HistoryIndex;
        UndoInProgress = false;
        ModuleTreeView::UpdateTreeView();
        ModuleTWPreview::UpdatePreview();
    });
}

void Redo()
{
    Trapped(QStringLiteral("Redo"), [] {
        const int n = HistoryCollection.Count();
        if (HistoryIndex == n)
            return;
        RedoInProgress = true;
        EmptyTimeline();
        if (HistoryIndex + 1 == n)
            RestoreLastTLImage();
        else
            RestoreTimeline();
        QmListView* rows = Rows();
        if (HistoryIndex + 1 <= rows->Count() && Disabled(HistoryIndex)) {
            rows->SetForeColor(HistoryIndex, InForceColor);
            RowRestored = true;
            ModuleTreeView::UpdateTreeView();
        }
        // A blank entry stands in when no row was made again: the view then goes back
        // to its start.
        cHistoryData scrollFrom;
        if (HistoryIndex == rows->Count() && !RowRestored) {
            scrollFrom = *HistoryCollection.Item(HistoryIndex + 1);
            const QString type = scrollFrom.GetOperationType();
            for (const RedoRow& r : kRedoRows) {
                if (type == QLatin1String(r.type)) {
                    AddRow(QString::fromLatin1(r.caption), QString::fromLatin1(r.icon));
                    break;
                }
            }
            ModuleTreeView::UpdateTreeView();
        }
        ++HistoryIndex;
        Redraw();
        TimelineView::SetScrollValue(scrollFrom.GetScrollValue());
        RedoInProgress = false;
        RowRestored = false;
        // Whichever way the row came back, the player takes the timeline rebuilt.
        ModuleTWPreview::UpdatePreview();
    });
}

void DeleteLastEntry()
{
    Trapped(QStringLiteral("DeleteLastEntry"), [] {
        HistoryCollection.Remove(HistoryCollection.Count());
        Rows()->RemoveItem(Rows()->Count() - 1);
        if (HistoryIndex > 0)
            --HistoryIndex;
    });
}

void RemoveDisabledEntries()
{
    // When the rows run out, the read of row 0 fails: the trap ends the walk, and the
    // command goes on with its next step.
    Trapped(QStringLiteral("RemoveDisabledEntries"), [] {
        if (HistoryIndex > HistoryLimit)
            return;
        QmListView* rows = Rows();
        if (rows->Count() == 0)
            return;
        for (;;) {
            const int r = rows->Count();
            CheckRow(r);
            if (!Disabled(r - 1))
                return;
            rows->RemoveItem(r - 1);
            const int m = rows->Count();
            HistoryCollection.Remove(m); // one below the row removed, as it always was
        }
    });
}

void EmptyHistory()
{
    Trapped(QStringLiteral("EmptyHistory"), [] {
        while (HistoryCollection.Count() > 0)
            HistoryCollection.Remove(HistoryCollection.Count());
        Rows()->Clear();
        HistoryIndex = 0;
    });
}

void mnuEditUndo_Click()
{
    if (InSelectionUpdate)
        return;
    InSelectionUpdate = true;
    Trapped(QStringLiteral("mnuEditUndo_Click"), [] {
        Undo();
        QmListView* rows = Rows();
        if (rows->Count() > 0) {
            if (!Disabled(rows->Count() - 1))
                rows->RemoveItem(rows->Count() - 1);
            else
                rows->SetForeColor(HistoryIndex, DisabledColor);
        }
    });
    InSelectionUpdate = false;
    MenuUpdate();
}

void mnuEditRedo_Click()
{
    if (InSelectionUpdate)
        return;
    InSelectionUpdate = true;
    Redo();
    InSelectionUpdate = false;
    MenuUpdate();
}

void lvwHistory_Click(int row)
{
    if (Rows()->Count() == 0 || row < 0)
        return;
    if (Rows()->ForeColor(row) == InForceColor)
        OnUndoHistoryListClick(row);
    else
        OnRedoHistoryClick(row);
    MenuUpdate();
}

void OnUndoHistoryListClick(int row)
{
    Trapped(QStringLiteral("OnUndoHistoryListClick"), [row] {
        QmListView* rows = Rows();
        for (int r = row; r < rows->Count(); ++r)
            rows->SetForeColor(r, DisabledColor);
        HistoryIndex = static_cast<int16_t>(row + 1);
        Undo();
        ProjectModified = true;
    });
}

void OnRedoHistoryClick(int row)
{
    Trapped(QStringLiteral("OnRedoHistoryClick"), [row] {
        QmListView* rows = Rows();
        for (int r = 0; r <= row; ++r)
            rows->SetForeColor(r, InForceColor);
        HistoryIndex = static_cast<int16_t>(row);
        Redo();
        ModuleTreeView::UpdateTreeView();
        ProjectModified = true;
    });
}

TimelineImage ReadTimelineImage(int32_t transitionNameBuffer)
{
    auto& tl = Tl();
    TimelineImage image;
    using TimelineView::RowKind;
    const int tracks = TimelineView::RowCount(RowKind::Video) + TimelineView::RowCount(RowKind::Audio);
    for (int i = 1; i <= tracks && i <= TrackCollection.Count(); ++i) {
        const int32_t track = TrackCollection.Item(i);
        const int16_t n = tl.GetSourceCount(track);
        for (int16_t seq = 0; seq < n; ++seq)
            image.sources.append(ImageOf(track, seq));
    }
    if (TrackCollection.Count() > 0) {
        const int32_t video = TrackCollection.Item(1);
        const int16_t n = tl.GetEffectCount(video);
        for (int16_t seq = 0; seq < n; ++seq) {
            EffectImage effect;
            effect.Track = video;
            tl.GetEffectTimes(video, seq, effect.Start, effect.Stop);
            effect.Name = tl.GetEffectName(video, seq, 10).trimmed(); // the image's width for names
            image.effects.append(effect);
        }
    }
    const int16_t n = tl.GetSourceCount(OverlayTrack);
    for (int16_t seq = 0; seq < n; ++seq) {
        image.overlays.append(ImageOf(OverlayTrack, seq));
        image.transitions.append(TransitionOf(OverlayTrack, seq, transitionNameBuffer));
    }
    return image;
}

void StoreTimelineImage()
{
    Trapped(QStringLiteral("StoreTimelineImage"), [] {
        // Counts start at what they are: the arrays are cut to them, then grow.
        const TimelineImage now = ReadTimelineImage(10);
        SourceImages = SourceImages.mid(0, SourceImageCount) + now.sources;
        EffectImages = EffectImages.mid(0, EffectImageCount) + now.effects;
        TransitionImages = TransitionImages.mid(0, TransitionImageCount) + now.transitions;
        OverlaySourceImages = OverlaySourceImages.mid(0, TransitionImageCount) + now.overlays;
        SourceImageCount = static_cast<int16_t>(SourceImages.size());
        EffectImageCount = static_cast<int16_t>(EffectImages.size());
        TransitionImageCount = static_cast<int16_t>(TransitionImages.size());
    });
}

void StoreCurrentTLImage()
{
    Trapped(QStringLiteral("StoreCurrentTLImage"), [] {
        LastSourceImages.clear();
        LastEffectImages.clear();
        LastTransitionImages.clear();
        LastOverlaySourceImages.clear();
        const TimelineImage now = ReadTimelineImage(20);
        LastSourceImages = now.sources;
        LastEffectImages = now.effects;
        LastTransitionImages = now.transitions;
        LastOverlaySourceImages = now.overlays;
    });
}

void EmptyTimeline()
{
    Trapped(QStringLiteral("EmptyTimeline"), [] {
        using moduleEdit::ItemList;
        const int videoRows = TimelineView::RowCount(TimelineView::RowKind::Video);
        for (int i = 0; i < videoRows && i < TrackCollection.Count(); ++i)
            moduleEdit::RemoveAllItems(TrackCollection.Item(i + 1), ItemList::Effects);
        for (int32_t track : TrackCollection)
            moduleEdit::RemoveAllItems(track, ItemList::Sources);
        moduleEdit::RemoveAllItems(OverlayTrack, ItemList::Transitions);
        moduleEdit::RemoveAllItems(OverlayTrack, ItemList::Sources);
        Redraw();
    });
}

void RestoreTimeline()
{
    Trapped(QStringLiteral("RestoreTimeline"), [] {
        const int item = RedoInProgress ? (Rows()->Count() == 0 ? 1 : HistoryIndex + 2) : HistoryIndex;
        const std::shared_ptr<cHistoryData> entry = HistoryCollection.Item(item);
        entry->GetEditOperationData();
        entry->GetEffectOperationData();
        entry->GetTransitionOperationData();
        Rebuild(SourceImages.mid(0, entry->GetSrcCount()), EffectImages.mid(0, entry->GetEffectCount()),
                TransitionImages.mid(0, entry->GetTransitionCount()), OverlaySourceImages.mid(0, entry->GetTransitionCount()));
    });
}

void RestoreLastTLImage()
{
    Trapped(QStringLiteral("RestoreLastTLImage"),
            [] { Rebuild(LastSourceImages, LastEffectImages, LastTransitionImages, LastOverlaySourceImages); });
}

} // namespace ModuleHistory
