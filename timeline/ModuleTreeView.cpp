#include "timeline/ModuleTreeView.h"

#include "core/QmIcons.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "editing/moduleEdit.h"
#include "editing/moduleTWState.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWMediaFiles.h"
#include "engine/ITWTimeline.h"
#include "history/ModuleHistory.h"
#include "preview/ModuleTWPreview.h"
#include "shell/QmCommands.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"

#include <QHash>
#include <QTreeWidget>

#include <algorithm>
#include <iterator>

using namespace QmShared;

namespace ModuleTreeView {

namespace {

const QString kModule = QStringLiteral("ModuleTreeView");

// A node of the list, with its tag and picture key kept on it.
class ListNode : public QTreeWidgetItem
{
public:
    static constexpr int Type = QTreeWidgetItem::UserType + 1;
    ListNode(const QString& text, const QString& imageKey, int32_t tag)
        : QTreeWidgetItem(QStringList{text}, Type)
        , tag(tag)
        , imageKey(imageKey)
    {
        setIcon(0, QmIcon(imageKey));
    }
    int32_t tag;
    QString imageKey;
};

QTreeWidget* Tree()
{
    return frmTimeline::instance()->Controls()->tvwTimeline;
}

QTreeWidgetItem* MakeNode(QTreeWidgetItem* parent, const QString& text, const QString& imageKey, int32_t tag)
{
    auto* node = new ListNode(text, imageKey, tag);
    if (parent)
        parent->addChild(node);
    return node;
}

QString TrackImage(int32_t track)
{
    if (track == OverlayTrack)
        return QStringLiteral("OVERLAY");
    if (track == moduleTimeline::EffectLaneTag)
        return QStringLiteral("EFFECT");
    return Eng<ITWTimeline>().IsVideoTrack(track) ? QStringLiteral("VIDEO") : QStringLiteral("AUDIO");
}

// The list's one-item buffer of a shuffle or a move between the sound tracks.
int32_t ShuffleStream = 0;
int32_t ShuffleStart = 0;
int32_t ShuffleStop = 0;
int32_t ShuffleMediaStart = 0;
int32_t ShuffleMediaStop = 0;
int16_t ShuffleStretch = 0;
QString ShuffleName;
int16_t ShuffleKeyRed = 0;
int16_t ShuffleKeyGreen = 0;
int16_t ShuffleKeyBlue = 0;

ITWTimeline& Tl()
{
    return Eng<ITWTimeline>();
}

// The list's own cuts, one item into the buffer and out of the engine; not the
// clipboard's.
void EditCutSource(int32_t track, int16_t seq)
{
    auto& tl = Tl();
    ShuffleStream = tl.GetSourceStream(track, seq);
    tl.GetSourceTimes(track, seq, ShuffleStart, ShuffleStop);
    tl.GetSourceMediaTimes(track, seq, ShuffleMediaStart, ShuffleMediaStop);
    ShuffleStretch = tl.GetSourceStretchMode(track, seq);
    tl.RemoveSource(track, seq);
}

void EditCutOverlay(int16_t seq)
{
    auto& key = Eng<ITWKeyTransition>();
    ShuffleKeyRed = key.GetKeyRed(OverlayTrack, seq);
    ShuffleKeyGreen = key.GetKeyGreen(OverlayTrack, seq);
    ShuffleKeyBlue = key.GetKeyBlue(OverlayTrack, seq);
    EditCutSource(OverlayTrack, seq);
    Tl().RemoveTransition(OverlayTrack, seq);
}

void EditCutEffect(int32_t track, int16_t seq)
{
    auto& tl = Tl();
    ShuffleName = tl.GetEffectName(track, seq, 10).trimmed();
    tl.GetEffectTimes(track, seq, ShuffleStart, ShuffleStop);
    ShuffleMediaStart = ShuffleMediaStop = 0;
    tl.RemoveEffect(track, seq);
}

// The engine track of a track node: the effect lane's items live on the video track.
int32_t TrackOfNode(const QTreeWidgetItem* trackNode)
{
    const int32_t tag = TagOf(trackNode);
    return tag == moduleTimeline::EffectLaneTag ? TrackCollection.Item(1) : tag;
}

bool IsTrackNode(const QTreeWidgetItem* node)
{
    return node && node->parent() && !node->parent()->parent();
}

bool IsItemNode(const QTreeWidgetItem* node)
{
    return node && IsTrackNode(node->parent());
}

// The list a shuffle reads its place in: sources or effects.
struct ShuffleList
{
    bool (ITWTimeline::*times)(int32_t, int16_t, int32_t&, int32_t&);
    int16_t (ITWTimeline::*count)(int32_t);
};

const ShuffleList kShuffleSources{&ITWTimeline::GetSourceTimes, &ITWTimeline::GetSourceCount};
const ShuffleList kShuffleEffects{&ITWTimeline::GetEffectTimes, &ITWTimeline::GetEffectCount};

// Where a shuffled item goes in: the start of the item at the drop's place. When the
// drop was on the last node no item stands there any more; the item then goes in last,
// where it stood, unless the last one now ends later.
int32_t ShuffleTarget(int32_t track, const ShuffleList& list, int16_t seq)
{
    auto& tl = Tl();
    int32_t start = 0, stop = 0;
    if ((tl.*list.times)(track, seq, start, stop))
        return start;
    const int16_t n = (tl.*list.count)(track);
    if (n > 0 && (tl.*list.times)(track, static_cast<int16_t>(n - 1), start, stop))
        return std::max(ShuffleStart, stop);
    return ShuffleStart;
}

} // namespace

int32_t TagOf(const QTreeWidgetItem* node)
{
    return node && node->type() == ListNode::Type ? static_cast<const ListNode*>(node)->tag : 0;
}

QString ImageKeyOf(const QTreeWidgetItem* node)
{
    return node && node->type() == ListNode::Type ? static_cast<const ListNode*>(node)->imageKey : QString();
}

void AddTrack(const QString& text, int32_t track)
{
    QmTrap::Run(kModule, QStringLiteral("AddTrack"), [&] { MakeNode(TreeRoot, text, TrackImage(track), track); });
}

void AddSource(const QString& text, const QString& imageKey, int32_t track)
{
    QmTrap::Run(kModule, QStringLiteral("AddSource"), [&] {
        if (!SearchTrack(track))
            return;
        MakeNode(TreeTrackNode, text, imageKey, NextNodeTag++);
        TreeTrackNode->setExpanded(true);
    });
}

void InsertSource(const QString& text, QTreeWidgetItem* trackNode, int position)
{
    QmTrap::Run(kModule, QStringLiteral("InsertSource"), [&] {
        auto* node = MakeNode(nullptr, text, QStringLiteral("SOURCE"), NextNodeTag++);
        trackNode->insertChild(std::clamp(position, 0, trackNode->childCount()), node);
    });
}

bool SearchTrack(int32_t track)
{
    TreeTrackNode = nullptr;
    if (!TreeRoot)
        return false;
    for (int i = 0; i < TreeRoot->childCount(); ++i) {
        if (TagOf(TreeRoot->child(i)) == track) {
            TreeTrackNode = TreeRoot->child(i);
            return true;
        }
    }
    return false;
}

bool SearchSource(int position)
{
    TreeItemNode = nullptr;
    if (!TreeTrackNode || position < 1 || position > TreeTrackNode->childCount())
        return false;
    TreeItemNode = TreeTrackNode->child(position - 1);
    return true;
}

void SetSourceSelected(int32_t track, int position)
{
    QmTrap::Run(kModule, QStringLiteral("SetSourceSelected"), [&] {
        if (SearchTrack(track) && SearchSource(position))
            Tree()->setCurrentItem(TreeItemNode);
    });
}

void EmptyTreeView()
{
    QmTrap::Run(kModule, QStringLiteral("EmptyTreeView"), [] {
        QTreeWidget* tree = Tree();
        tree->clear();
        TreeTrackNode = TreeItemNode = nullptr;
        NextNodeTag = 1;
        TreeRoot = MakeNode(nullptr, QStringLiteral("Timeline"), QStringLiteral("TIMELINE"), 0);
        tree->addTopLevelItem(TreeRoot);
        TreeRoot->setExpanded(true);
        // The track nodes belong to the fixed part: a closed project keeps them. Before
        // the tracks exist, InitTimeline adds each node as it makes its track.
        if (TrackCollection.Count() == 0)
            return;
        AddTrack(QStringLiteral("Video"), moduleTimeline::VideoTrackNode);
        AddTrack(QStringLiteral("Effects"), moduleTimeline::EffectLaneTag);
        AddTrack(QStringLiteral("Overlays"), moduleTimeline::OverlayTrackNode);
        AddTrack(QStringLiteral("Audio 1"), moduleTimeline::Audio1TrackNode);
        AddTrack(QStringLiteral("Audio 2"), moduleTimeline::Audio2TrackNode);
    });
}

namespace {

// Whether the list holds its fixed part as EmptyTreeView makes it.
bool HasFixedPart()
{
    QTreeWidget* tree = Tree();
    if (!TreeRoot || tree->topLevelItemCount() != 1 || tree->topLevelItem(0) != TreeRoot)
        return false;
    if (TrackCollection.Count() == 0)
        return TreeRoot->childCount() == 0;
    const std::pair<const char*, int32_t> tracks[] = {{"Video", moduleTimeline::VideoTrackNode},
                                                      {"Effects", moduleTimeline::EffectLaneTag},
                                                      {"Overlays", moduleTimeline::OverlayTrackNode},
                                                      {"Audio 1", moduleTimeline::Audio1TrackNode},
                                                      {"Audio 2", moduleTimeline::Audio2TrackNode}};
    if (TreeRoot->childCount() != static_cast<int>(std::size(tracks)))
        return false;
    for (int i = 0; i < TreeRoot->childCount(); ++i)
        if (TreeRoot->child(i)->text(0) != QLatin1String(tracks[i].first) || TagOf(TreeRoot->child(i)) != tracks[i].second)
            return false;
    return true;
}

// The texts of a track node's items as the engine holds them: the file names of its
// sources, or for the effect lane the names of the first track's effects. names keeps
// each stream's file name once found.
QStringList ItemTexts(int32_t tag, QHash<int32_t, QString>& names)
{
    auto& tl = Eng<ITWTimeline>();
    QStringList texts;
    if (tag == moduleTimeline::EffectLaneTag) {
        const int32_t first = TrackCollection.Item(1);
        const int16_t n = tl.GetEffectCount(first);
        for (int16_t seq = 0; seq < n; ++seq)
            texts << tl.GetEffectName(first, seq, 10).trimmed();
        return texts;
    }
    const int16_t n = tl.GetSourceCount(tag);
    texts.reserve(n);
    for (int16_t seq = 0; seq < n; ++seq) {
        const int32_t stream = tl.GetSourceStream(tag, seq);
        auto name = names.constFind(stream);
        if (name == names.constEnd())
            name = names.insert(stream, moduleTimeline::GetSourceFileName(tag, seq));
        texts << *name;
    }
    return texts;
}

// A track node's children made to read texts: those that already do at the front and
// at the back stay, the ones between are made anew.
void MatchChildren(QTreeWidgetItem* trackNode, const QStringList& texts)
{
    const int have = trackNode->childCount();
    const int want = static_cast<int>(texts.size());
    int front = 0;
    while (front < have && front < want && trackNode->child(front)->text(0) == texts[front])
        ++front;
    int back = 0;
    while (back < have - front && back < want - front
           && trackNode->child(have - 1 - back)->text(0) == texts[want - 1 - back])
        ++back;
    if (front == 0 && back == 0) {
        qDeleteAll(trackNode->takeChildren());
    } else {
        for (int i = have - back - 1; i >= front; --i)
            delete trackNode->takeChild(i);
    }
    QList<QTreeWidgetItem*> made;
    made.reserve(want - front - back);
    for (int i = front; i < want - back; ++i)
        made << new ListNode(texts[i], QStringLiteral("SOURCE"), 0);
    trackNode->insertChildren(front, made);
}

} // namespace

void UpdateTreeView()
{
    QmTrap::Run(kModule, QStringLiteral("UpdateTreeView"), [] {
        // The list then reads as if emptied and filled again: every item in the engine's
        // order, tags from 1 in the list's order, nothing current, the view at its top.
        // Only the items that differ are made anew, as a long timeline changes little
        // at one command.
        if (!HasFixedPart())
            EmptyTreeView();
        TreeTrackNode = TreeItemNode = nullptr;
        // The nodes are matched while the root is out of the list, which then takes them
        // all at once rather than one row at a time.
        QTreeWidget* tree = Tree();
        tree->takeTopLevelItem(tree->indexOfTopLevelItem(TreeRoot));
        struct Reattach
        {
            QTreeWidget* tree;
            ~Reattach()
            {
                tree->addTopLevelItem(TreeRoot);
                TreeRoot->setExpanded(true);
                for (int i = 0; i < TreeRoot->childCount(); ++i)
                    TreeRoot->child(i)->setExpanded(TreeRoot->child(i)->childCount() > 0);
            }
        } reattach{tree};
        QHash<int32_t, QString> names;
        NextNodeTag = 1;
        for (int t = 0; t < TreeRoot->childCount(); ++t) {
            QTreeWidgetItem* trackNode = TreeRoot->child(t);
            MatchChildren(trackNode, ItemTexts(TagOf(trackNode), names));
            for (int i = 0; i < trackNode->childCount(); ++i)
                static_cast<ListNode*>(trackNode->child(i))->tag = NextNodeTag++;
        }
    });
}

int PlaceOf(const QTreeWidgetItem* node)
{
    const QTreeWidgetItem* parent = node ? node->parent() : nullptr;
    if (!parent)
        return 0;
    const int32_t tag = TagOf(node);
    for (int i = 0; i < parent->childCount(); ++i)
        if (TagOf(parent->child(i)) == tag)
            return i + 1;
    return 0;
}

void OnNodeDragDrop(QTreeWidgetItem* drag, QTreeWidgetItem* drop)
{
    QmTrap::Run(kModule, QStringLiteral("tvwTimeline_OLEDragDrop"), [&] {
        using moduleTWState::IsTrackLocked;
        if (IsItemNode(drag) && (IsItemNode(drop) || IsTrackNode(drop))) {
            QTreeWidgetItem* from = drag->parent();
            const bool ontoTrack = IsTrackNode(drop);
            QTreeWidgetItem* to = ontoTrack ? drop : drop->parent();
            const QString fromText = from->text(0), toText = to->text(0);
            const bool fromAudio = fromText == u"Audio 1" || fromText == u"Audio 2";
            const bool toAudio = toText == u"Audio 1" || toText == u"Audio 2";
            // The effect lane's tag belongs to no row, so no lock stops its shuffle.
            const bool unlocked = !IsTrackLocked(TagOf(from)) && !IsTrackLocked(TagOf(to));
            if (!ontoTrack && from == to) {
                if (unlocked) {
                    ModuleHistory::RemoveDisabledEntries();
                    ModuleHistory::AddOperationToHistory(QStringLiteral("Shuffle"));
                    ShuffleSources(drag, drop);
                    ModuleHistory::StoreCurrentTLImage();
                }
            } else if (fromAudio && toAudio && fromText != toText) {
                if (unlocked) {
                    ModuleHistory::RemoveDisabledEntries();
                    ModuleHistory::AddOperationToHistory(QStringLiteral("Shuffle"));
                    ChangeTrack(TagOf(from), TagOf(to), PlaceOf(drag), ontoTrack ? 1 : PlaceOf(drop));
                }
            }
            // Between the video track and a sound track, or any other way, nothing moves.
        }
        ModuleHistory::StoreCurrentTLImage();
        ProjectModified = true;
        ModuleTWPreview::UpdatePreview();
    });
    QmCommands::RefreshStates();
}

void ShuffleSources(QTreeWidgetItem* drag, QTreeWidgetItem* drop)
{
    QmTrap::Run(kModule, QStringLiteral("ShuffleSources"), [&] {
        auto& tl = Tl();
        QTreeWidgetItem* trackNode = drag->parent();
        const QString lane = trackNode->text(0);
        const bool effects = lane == u"Effects";
        const bool overlay = lane == u"Overlays";
        const int32_t track = TrackOfNode(trackNode);

        const int from = PlaceOf(drag);
        SetSourceSelected(TagOf(trackNode), from);
        if (effects)
            EditCutEffect(track, static_cast<int16_t>(from - 1));
        else if (overlay)
            EditCutOverlay(static_cast<int16_t>(from - 1));
        else
            EditCutSource(track, static_cast<int16_t>(from - 1));
        moduleTimeline::RenderAllBars();

        // The drop's place is counted in the list as it still stands, with the dragged
        // node in it: dragged down, the item lands after the drop item.
        const int p = PlaceOf(drop);
        const auto seq = static_cast<int16_t>(p - 1);
        const ShuffleList& list = effects ? kShuffleEffects : kShuffleSources;
        const int32_t start = ShuffleTarget(track, list, seq);
        // A source comes back at its media length, so a resized one is natural again.
        const int32_t length = effects ? ShuffleStop - ShuffleStart : ShuffleMediaStop - ShuffleMediaStart;
        const auto shiftFrom = static_cast<int16_t>(p + 1);
        if (effects) {
            tl.InsertEffect(track, ShuffleName, seq, start, start + length, 0);
            if (p == 1)
                tl.ShiftEffects(track, shiftFrom, length);
            tl.SetEffectTimes(track, seq, start, start + length);
        } else {
            tl.InsertSource(track, ShuffleStream, seq, start, length);
            if (p == 1)
                tl.ShiftSources(track, shiftFrom, length);
            tl.SetSourceTimes(track, seq, start, start + length);
            tl.SetSourceMediaTimes(track, seq, ShuffleMediaStart, ShuffleMediaStop);
            tl.SetSourceStretchMode(track, seq, ShuffleStretch);
            if (overlay) {
                tl.InsertTransition(track, QStringLiteral("DxtKey"), seq, start, start + length, 0);
                moduleEdit::ApplyTransitionKey(track, seq, ShuffleKeyRed, ShuffleKeyGreen, ShuffleKeyBlue);
                if (p == 1)
                    tl.ShiftTransitions(track, shiftFrom, length);
                tl.SetTransitionTimes(track, seq, start, start + length);
            }
        }

        ++ModuleHistory::HistoryIndex;
        ModuleHistory::RearrangeHistoryCollection();
        moduleTimeline::RenderAllBars();
        moduleScaleRenderer::AdjustScroll();
        ModuleTWPreview::UpdatePreview();
        UpdateTreeView();
        AlignTransitionsToSources();
    });
}

void ChangeTrack(int32_t sourceTrack, int32_t targetTrack, int position, int targetPosition)
{
    QmTrap::Run(kModule, QStringLiteral("ChangeTrack"), [&] {
        Q_UNUSED(position); // each source's node is found at its own place
        auto& tl = Tl();
        for (int32_t track : TrackCollection) {
            // Only the source track gives: a picture cannot go on a sound track.
            if (track != sourceTrack || moduleTWState::IsTrackLocked(track))
                continue;
            int16_t n = tl.GetSourceCount(track);
            for (int16_t seq = 0; seq < n; ++seq) {
                if (!tl.IsSourceSelected(track, seq))
                    continue;
                tl.GetSourceMediaTimes(track, seq, ShuffleMediaStart, ShuffleMediaStop);
                tl.GetSourceTimes(track, seq, ShuffleStart, ShuffleStop);
                ShuffleStream = tl.GetSourceStream(track, seq);
                tl.RemoveSource(track, seq);

                if (SearchTrack(sourceTrack) && SearchSource(seq + 1))
                    delete TreeItemNode;
                TreeItemNode = nullptr;
                const int place = std::clamp(targetPosition, 1, tl.GetSourceCount(targetTrack) + 1);
                if (SearchTrack(targetTrack)) {
                    InsertSource(moduleTimeline::GetMediaFileName(Eng<ITWMediaFiles>().GetStreamFile(ShuffleStream)),
                                 TreeTrackNode, place - 1);
                    TreeTrackNode->setExpanded(true);
                }

                // The source goes in at its place, starting where the one before it
                // ends, and those after it make room by its media length. It is put in
                // at its place rather than added last: the engine keeps a track's items
                // in the order they are given, and the list and the timeline read them
                // in that order.
                int32_t at = 0;
                if (place - 1 > 0) {
                    int32_t before = 0;
                    tl.GetSourceTimes(targetTrack, static_cast<int16_t>(place - 2), before, at);
                }
                const auto newSeq = static_cast<int16_t>(place - 1);
                tl.InsertSource(targetTrack, ShuffleStream, newSeq, at, 0);
                tl.SetSourceTimes(targetTrack, newSeq, at, at + ShuffleStop - ShuffleStart);
                tl.SetSourceMediaTimes(targetTrack, newSeq, ShuffleMediaStart, ShuffleMediaStop);
                tl.ShiftSources(targetTrack, static_cast<int16_t>(place), ShuffleMediaStop - ShuffleMediaStart);
                --seq;
                --n;
            }
        }
        ++ModuleHistory::HistoryIndex;
        ModuleHistory::RearrangeHistoryCollection();
        moduleTimeline::RenderAllBars();
        moduleScaleRenderer::AdjustScroll();
    });
}

void AlignTransitionsToSources()
{
    // The list's name for the alignment that adding to the timeline makes as well.
    moduleTimeline::SyncOverlayTransitions();
}

void OnEditAddtoAudioClick(int audioTrack)
{
    QmTrap::Run(kModule, QStringLiteral("OnEditAddtoAudioClick"), [&] {
        auto& tl = Tl();
        const int32_t target = moduleTimeline::AudioTrackOf(audioTrack - 1);
        const int32_t source = moduleTimeline::AudioTrackOf(audioTrack == 1 ? 1 : 0);
        int position = 0;
        for (int16_t seq = 0; seq < tl.GetSourceCount(source) && position == 0; ++seq)
            if (tl.IsSourceSelected(source, seq))
                position = seq + 1;
        ModuleHistory::RemoveDisabledEntries();
        ModuleHistory::AddOperationToHistory(QStringLiteral("Shuffle"));
        ChangeTrack(source, target, position, tl.GetSourceCount(target) + 1);
        ModuleHistory::StoreCurrentTLImage();
        ProjectModified = true;
        UpdateTreeView();
        ModuleTWPreview::UpdatePreview();
    });
}

void RegisterCommands()
{
    QmCommands::Register(QStringLiteral("mnuEditAddtoAudio1"), [] { OnEditAddtoAudioClick(1); });
    QmCommands::Register(QStringLiteral("mnuEditAddtoAudio2"), [] { OnEditAddtoAudioClick(2); });
}

} // namespace ModuleTreeView
