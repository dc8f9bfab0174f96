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
// Every menu entry, pop-up entry and tool button runs a command by the entry's design
// name. An entry whose command has not been given (SetCommand) stays disabled whatever
// asks to enable it: nothing pretends to work.
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

    // Gives the entry its command; its pop-up twins and tool button run it too.
    void SetCommand(const QString& menuName, std::function<void()> command);
    bool HasCommand(const QString& menuName) const;
    // Runs the command of an entry by name, under a trap.
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

    // Status bar: panel 1 (the hint and progress text) and the panels by key
    // (SLIDER_POS, DURATION, SELECTION).
    void SetStatusText(const QString& text);
    QLabel* StatusPanel(const QString& key) const;
    // A panel's text (panel 1 unless a key is given) from anywhere, once the main window
    // exists; before that there is nowhere to say it.
    static void ShowStatus(const QString& text, const QString& key = QStringLiteral("sbr_1"));
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
    QMdiSubWindow* AddPanel(QWidget* panel, const char* checkName);
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
    QMap<QString, std::function<void()>> m_commands;
    QMap<QString, QString> m_twins; // pop-up entry or tool button -> its menu entry
    QMap<QWidget*, QMdiSubWindow*> m_panelWindows;
};
