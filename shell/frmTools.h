#pragma once

#include "core/QmSingleForm.h"
#include "shell/QmPanel.h"

#include <cstdint>

class QTabWidget;
class QToolButton;
class QTreeWidget;
class QTreeWidgetItem;
class QmListView;

// The tools panel: the actions of the active panel, the effects to add, and the history
// of operations, on three tabs.
class frmTools : public QmPanel, public QmSingleForm<frmTools>
{
    Q_OBJECT
    friend QmSingleForm<frmTools>;

public:
    // Which panel the actions are for: 0 media list, 1 preview, 2 timeline.
    int16_t ActiveContext = 0;

    QTabWidget* tbsTools = nullptr;
    QTreeWidget* tvwActions = nullptr;
    QmListView* lvwEffects = nullptr;
    QToolButton* cmdAdd = nullptr;
    QmListView* lvwHistory = nullptr;

    void SetActiveContext(int16_t context);
    void RefreshActions();
    void ActionsClear();
    void AddNode(const QString& key, const QString& text);
    void ActionsBuildMediaList();
    void ActionsBuildPreview();
    void ActionsBuildTimeline();
    void ActionsBuildCommon();
    // cmdAdd's click: adds the effect chosen in the list.
    void OnAddClick();
    // The command a node's text runs ("" for none).
    static QString CommandOfAction(const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    frmTools();
    void tvwActions_NodeClick(QTreeWidgetItem* node);
    bool m_leftPressed = false;
};
