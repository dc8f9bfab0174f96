#pragma once

#include "core/QmSingleForm.h"

#include <QMainWindow>
#include <QMap>

#include <functional>
#include <initializer_list>

class QDockWidget;
class QLabel;
class QMdiArea;
class QMdiSubWindow;
class QProgressBar;
class QToolBar;
class QmMenuArray;

// The frame of Quillmont: the panels (media list, timeline and preview in the
// multiple-document area, tools at the side), the menu bar with its two hidden pop-up
// menus, the toolbar tbr, the status bar sbr and the progress bar pbarMain.
//
// Every menu entry, pop-up entry and tool button runs a command of the command table
// (QmCommands) by the entry's design name. An entry whose command nobody registered stays
// disabled whatever asks to enable it: nothing pretends to work.
class mdiTarnwick : public QMainWindow, public QmSingleForm<mdiTarnwick>
{
    Q_OBJECT
    friend QmSingleForm<mdiTarnwick>;

public:
    ~mdiTarnwick() override;

    // The form's load: loads the panels in their order and places them.
    void Load();
    // Opens the tutorial while the "Tutorial" setting is "" or "0" (the main window's
    // last step of loading).
    void StartTutorialIfWanted();

    // A menu entry, pop-up entry or tool button (tool buttons by their key, inside tbr).
    QAction* Item(const QString& name) const;
    QAction* ToolButton(const QString& key) const;
    QMenu* Menu(const QString& name) const;
    QMenu* mnuMediaListContext() const;
    QMenu* mnuEditContext() const;
    QmMenuArray& mnuFileRF() const;
    QmMenuArray& mnuFileRP() const;

    // Whether the entry (or the menu entry its pop-up twin or tool button stands for) has
    // a command in the command table.
    bool HasCommand(const QString& menuName) const;
    // Runs the command of an entry by name (a twin runs its menu entry's), under a trap,
    // then brings the menus in line.
    void RunCommand(const QString& menuName);
    // Enables an entry, its pop-up twins and its tool button, if it has a command.
    void SetItemEnabled(const QString& menuName, bool enabled);
    // Brings every entry's enabled state in line with the timeline and the media list,
    // then the tools panel's actions.
    void EnableOrDisableMenuItems();
    // Runs the command a node of the tools panel names by its text.
    void OnActionsClick(const QString& caption);
    // Opens a page of the help in the desktop's browser ("1_Welcome.htm",
    // "3_6A_1_2_Capture_Menu.htm#Options").
    static void ShowHelpTopic(const QString& topic);
    // The web host of the report and request pages: the setting "Web"/"Host".
    static QString WebHost();

    // Status bar panels by key: sbr_1 (the hint and progress text), SLIDER_POS, DURATION,
    // SELECTION. Modules set their texts through QmStatus, which the window installs.
    QLabel* StatusPanel(const QString& key) const;
    QProgressBar* pbarMain() const { return m_pbarMain; }

    // Panel placement within the multiple-document area.
    void ArrangeAllVisible();
    void ArrangeMediaListNotVisible();
    void ArrangePreviewNotVisible();
    // The arrangement that fits the panels now visible.
    void ArrangeByVisibility();
    QMdiArea* mdiArea() const { return m_mdiArea; }
    QMdiSubWindow* PanelWindow(QWidget* panel) const;
    QDockWidget* ToolsDock() const { return m_toolsDock; }

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    mdiTarnwick();

    void BuildMenus();
    void BuildContextMenus();
    void BuildToolbar();
    void BuildStatusBar();
    QAction* AddItem(QMenu* menu, const char* name, const char* caption, const char* shortcut = nullptr);
    QMenu* AddSubMenu(QMenu* parent, const char* name, const char* caption);
    QMdiSubWindow* AddPanel(QWidget* panel);
    // A panel above the timeline, from left to left + width, as shares of the width.
    struct TopPanel
    {
        QWidget* form;
        double left;
        double width;
    };
    void PlaceTimelineAndTop(std::initializer_list<TopPanel> top);
    void PlacePbarMain();
    void DisableEntriesWithoutCommand();
    // Gives the command table every command of the program, once in its life.
    static void RegisterCommands();
    void OnCommandRegistered(const QString& name);
    void mnuWindowPanel_Click(QWidget* panel, QAction* check);

    QMdiArea* m_mdiArea = nullptr;
    QDockWidget* m_toolsDock = nullptr;
    QToolBar* m_tbr = nullptr;
    QProgressBar* m_pbarMain = nullptr;
    QMenu* m_mnuMediaListContext = nullptr;
    QMenu* m_mnuEditContext = nullptr;
    QmMenuArray* m_mnuFileRF = nullptr;
    QmMenuArray* m_mnuFileRP = nullptr;
    QMap<QString, QAction*> m_items;   // menu and pop-up entries by name
    QMap<QString, QAction*> m_buttons; // tool buttons by key
    QMap<QString, QString> m_twins; // pop-up entry or tool button -> its menu entry
    QMap<QWidget*, QMdiSubWindow*> m_panelWindows;
};
