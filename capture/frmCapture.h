#pragma once

#include "core/QmSingleForm.h"

#include <QHash>
#include <QMainWindow>

#include <cstdint>

class QAction;
class QLabel;
class QMenu;
class QTimer;
class QToolBar;
class QmVideoSurface;

// The capture window: the live picture of the camera in picMainWorkspace, recording
// into an AVI or ASF file with its stop rules, snaps, and the way of the results into
// the media list. The devices are the engine's (ITWCapture); the window keeps the
// session's state, the rules about files, and the order of the engine's calls.
class frmCapture : public QMainWindow, public QmSingleForm<frmCapture>
{
    Q_OBJECT
    friend QmSingleForm<frmCapture>;

public:
    ~frmCapture() override;

    // Tools > Capture... of the main window.
    static void RegisterCommands();
    // Opens the window, loading it the first time.
    static void ShowCapture();
    // Whether snaps are offered: a screen of 24 bits a pixel or more.
    static bool SnapsOffered();

    void Form_Load();

    int16_t CaptureFormat() const { return m_captureFormat; }
    void SetCaptureFormat(int16_t format) { m_captureFormat = format; }
    int16_t StopMode() const { return m_stopMode; }
    void SetStopMode(int16_t mode) { m_stopMode = mode; }
    int32_t CaptureDuration() const { return m_captureDuration; }
    void SetCaptureDuration(int32_t seconds) { m_captureDuration = seconds; }
    QString CaptureFile() const { return m_captureFile; }
    void SetCaptureFile(const QString& file) { m_captureFile = file; }
    int16_t ShowStartDialog() const { return m_showStartDialog; }
    void SetShowStartDialog(int16_t show) { m_showStartDialog = show; }
    void SetCaptureProfileName(const QString& name) { m_captureProfileName = name; }
    void SetCaptureProfileIndex(int16_t index) { m_captureProfileIndex = index; }
    void SetCaptureVideoDimension(int16_t width, int16_t height);
    int16_t CaptureWidth() const { return m_captureWidth; }
    int16_t CaptureHeight() const { return m_captureHeight; }
    // Whether the options dialogue must read the profiles at its next opening.
    bool ProfilesPending() const { return m_profilesPending; }
    void SetProfilesPending(bool pending) { m_profilesPending = pending; }

    void ResizeToCaptureDimension();
    // The live picture into picMainWorkspace, when there is a video stream to show.
    void ShowLivePicture();
    // With Preview unticked, the engine shows no picture.
    void ApplyPreviewRule();
    // Both stream entries ticked and their entries enabled.
    void TickStreamsOn();

    // Menu entries and toolbar buttons by their names and keys.
    QAction* Item(const QString& name) const;
    QAction* Button(const QString& key) const;
    void SetItemEnabled(const QString& name, bool enabled);
    // The panel of a key: "sbr_1", "CAPTURE_STATUS", "SNAP_STATUS".
    QLabel* Panel(const QString& key) const;
    QTimer* tm() const { return m_tm; }
    QmVideoSurface* picMainWorkspace() const { return m_picMainWorkspace; }

    void StartCapture();

public slots:
    void mnuCaptureStart_Click();
    void mnuCaptureStop_Click();
    void tm_Timer();
    void mnuCapturePreview_Click();
    void mnuCaptureStreamAudio_Click();
    void mnuCaptureStreamVideo_Click();
    void mnuToolsVideoSettings_Click();
    void mnuCaptureCameraSettings_Click();
    void mnuToolsAudioSettings_Click();
    void mnuToolsAudioFromats_Click();
    void mnutoolsOrignalSize_Click();
    void mnuToolsTakeSnap_Click();
    void mnuFilePLCFile_Click();
    void mnuFilePLCFrame_Click();
    void mnuCaptureLCFtoML_Click();
    void mnuCaptureLStoML_Click();
    void mnuFileSaveas_Click();
    void mnuFileSetCapFile_Click();
    void mnuCaptureOptions_Click();
    void mnuHelpContents_Click();
    void mnuFileExit_Click();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    explicit frmCapture(QWidget* parent = nullptr);

    void BuildMenus();
    void BuildToolbar();
    void BuildStatusBar();
    QAction* AddItem(QMenu* menu, const char* name, const char* caption, void (frmCapture::*handler)(),
                     const char* shortcut = nullptr);
    void SetCaptureIcons();
    void SetStatusImage(const QString& panel, const QString& key);
    void DisableAllMenuItems();
    void EnableAllMenuItems();
    void SetSyncEntriesEnabled(bool enabled);
    // The device entries after a failed start: sound's if its device is usable, the
    // picture's if its device is.
    void EnableDeviceEntries();
    // Released, made again on the stored devices, both streams ticked.
    void FullRebuild();
    void CaptureSettings_Click();
    void Form_Unload();
    int32_t Tick() const;

    QmVideoSurface* m_picMainWorkspace = nullptr;
    QToolBar* m_tbr = nullptr;
    QTimer* m_tm = nullptr;
    QHash<QString, QAction*> m_items;
    QHash<QString, QAction*> m_buttons;
    QHash<QString, QLabel*> m_panels;
    bool m_loaded = false;

    int16_t m_captureFormat = 0;
    int16_t m_stopMode = 0;
    int32_t m_captureDuration = 0;
    QString m_captureFile = QString(128, u' ');
    int16_t m_showStartDialog = 1;
    int16_t m_captureWidth = 320;
    int16_t m_captureHeight = 240;
    QString m_captureProfileName;
    int16_t m_captureProfileIndex = 0;
    bool m_audioStreamOn = true;
    bool m_videoStreamOn = true;
    int32_t m_captureStartTick = 0;
    bool m_profilesPending = true;
};
