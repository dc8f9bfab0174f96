#pragma once

#include "core/QmSingleForm.h"
#include "shell/QmPanel.h"

#include <QList>

class QGroupBox;
class QLabel;
class QSlider;
class QTimer;
class QToolButton;
class QmListView;
class QmVideoSurface;

// The media list panel: the rows of the open files, the facts of the selected one,
// and its instant preview with a play button and a slider.
class frmMediaList : public QmPanel, public QmSingleForm<frmMediaList>
{
    Q_OBJECT
    friend QmSingleForm<frmMediaList>;

public:
    ~frmMediaList() override;

    // The form's load: gives the media list's menu entries their commands.
    void Load();
    // Gives the media list's menu entries their commands (once, by the main window).
    static void RegisterCommands();

    QmListView* lvwMediaList = nullptr;
    QGroupBox* fmeMediaInfo = nullptr;
    QLabel* lblFile = nullptr;
    QLabel* lblFileDisplay = nullptr;
    QList<QLabel*> lblInfo;
    QList<QLabel*> lblInfoDisplay;
    QmVideoSurface* picPreviewSmall = nullptr;
    QToolButton* cmdPlay = nullptr;
    QSlider* sldFilePreview = nullptr;
    QTimer* tmFilePreview = nullptr;

    // True while the instant preview plays.
    bool FilePlaying = false;
    // The last press on the list was with the right button.
    bool RightClickPending = false;

    void OnLvwMediaListClick();
    void OnLvwMediaListDblClick();
    void ClearMediaListSelections();
    void SetFileInformationCaptions();
    void ClearFileInformation();
    // The play button's picture: "PLAY" or "STOP".
    void SetPlayPicture(const QString& key);
    QString PlayPicture() const { return m_playPicture; }

    void cmdPlay_Click();
    void tmFilePreview_Timer();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    frmMediaList();
    void lvwMediaList_Click();
    void sldFilePreview_Scroll();
    void SetSliderQuietly(int value);
    // The view modes and their menu and toolbar twins.
    void SetListView(int view);

    bool m_loaded = false;
    bool m_settingSlider = false;
    QString m_playPicture;
};
