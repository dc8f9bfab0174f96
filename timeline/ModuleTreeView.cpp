#include "timeline/ModuleTreeView.h"

#include "core/QmIcons.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "engine/ITWTimeline.h"
#include "timeline/frmTimeline.h"
#include "timeline/moduleTimeline.h"

#include <QTreeWidget>

using namespace QmShared;

namespace ModuleTreeView {

namespace {

const QString kModule = QStringLiteral("ModuleTreeView");
constexpr int kTagRole = Qt::UserRole;
constexpr int kImageRole = Qt::UserRole + 1;

QTreeWidget* Tree()
{
    return frmTimeline::instance()->Controls()->tvwTimeline;
}

QTreeWidgetItem* MakeNode(QTreeWidgetItem* parent, const QString& text, const QString& imageKey, int32_t tag)
{
    auto* node = new QTreeWidgetItem(QStringList{text});
    node->setData(0, kTagRole, tag);
    node->setData(0, kImageRole, imageKey);
    node->setIcon(0, QmIcon(imageKey));
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

void AddSourcesOf(int32_t track)
{
    const int16_t n = Eng<ITWTimeline>().GetSourceCount(track);
    for (int16_t seq = 0; seq < n; ++seq)
        AddSource(moduleTimeline::GetSourceFileName(track, seq), QStringLiteral("SOURCE"), track);
}

} // namespace

int32_t TagOf(const QTreeWidgetItem* node)
{
    return node ? node->data(0, kTagRole).toInt() : 0;
}

QString ImageKeyOf(const QTreeWidgetItem* node)
{
    return node ? node->data(0, kImageRole).toString() : QString();
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

void UpdateTreeView()
{
    QmTrap::Run(kModule, QStringLiteral("UpdateTreeView"), [] {
        EmptyTreeView();
        // The nodes are made while the root is out of the list, which then takes them all
        // at once rather than one row at a time.
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
        auto& tl = Eng<ITWTimeline>();
        for (int32_t track : TrackCollection)
            if (tl.IsVideoTrack(track))
                AddSourcesOf(track);
        if (TrackCollection.Count() > 0) {
            const int32_t first = TrackCollection.Item(1);
            const int16_t n = tl.GetEffectCount(first);
            for (int16_t seq = 0; seq < n; ++seq)
                AddSource(tl.GetEffectName(first, seq, 10).trimmed(), QStringLiteral("SOURCE"),
                          moduleTimeline::EffectLaneTag);
        }
        AddSourcesOf(OverlayTrack);
        for (int32_t track : TrackCollection)
            if (!tl.IsVideoTrack(track))
                AddSourcesOf(track);
    });
}

} // namespace ModuleTreeView
